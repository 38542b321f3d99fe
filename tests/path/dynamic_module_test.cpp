// Loading shared libraries.
#include <vdx/dynamic_module.h>

#include <dlfcn.h>

#include <gtest/gtest.h>

namespace {

const std::string MODULE = VDX_TEST_BIN_DIR "/libtest_path_module.so";

bool isLoaded() {
    void* hModule = dlopen(MODULE.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (hModule) dlclose(hModule);
    return hModule != nullptr;
}

TEST(chDynamicModule, OwnsOneModuleOrNone) {
    chDynamicModule module("/none.so");
    EXPECT_EQ(module.GetMethod("malloc"), nullptr) << "found in the process, not in a module";
    EXPECT_TRUE(module.OpenDynamicModule(MODULE));
    const auto pDouble = reinterpret_cast<int (*)(int)>(module.GetMethod("testModuleDouble"));
    EXPECT_EQ(pDouble(21), 42);
    EXPECT_FALSE(module.OpenDynamicModule("/none.so"));
    EXPECT_FALSE(isLoaded()) << "released though the second load failed";
    EXPECT_NE(chDynamicModule(MODULE).GetMethod("testModuleDouble"), nullptr);
    EXPECT_FALSE(isLoaded()) << "released by the destructor";
    EXPECT_TRUE(module.OpenDynamicModule(MODULE));
    module.CloseDynamicModule();
    module.CloseDynamicModule();
    EXPECT_FALSE(isLoaded());
    // The last one: whoever finds a symbol in the process keeps its module loaded.
    EXPECT_TRUE(module.OpenDynamicModule(MODULE));
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "testModuleDouble"), module.GetMethod("testModuleDouble"));
}

}  // namespace
