// A module for the tests to load.

extern "C" int testModuleDouble(int n) {
    return 2 * n;
}
