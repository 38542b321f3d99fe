// Loading shared libraries.
#include <vdx/dynamic_module.h>

#include <dlfcn.h>
#include <cstdlib>

#include <gtest/gtest.h>

namespace {

const std::string MODULE = VDX_TEST_BIN_DIR "/libtest_path_module.so";

bool isLoaded() {
    void* hModule = dlopen(MODULE.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (hModule) dlclose(hModule);
    return hModule != nullptr;
}

TEST(chDynamicModule, FindsSymbolsOfItsModuleOnly) {
    chDynamicModule module(MODULE);
    const auto pDouble = reinterpret_cast<int (*)(int)>(module.GetMethod("testModuleDouble"));
    ASSERT_NE(pDouble, nullptr);
    EXPECT_EQ(pDouble(21), 42);
    EXPECT_EQ(module.GetMethod("absent"), nullptr);
    EXPECT_EQ(module.GetMethod(""), nullptr);
}

TEST(chDynamicModule, WithoutAModuleNothingIsFound) {
    chDynamicModule module;
    EXPECT_EQ(module.GetMethod("malloc"), nullptr);
    module.CloseDynamicModule();
    EXPECT_EQ(chDynamicModule("/none.so").GetMethod("malloc"), nullptr);
}

TEST(chDynamicModule, ReleasesOnReopenCloseAndDestruction) {
    chDynamicModule module;
    EXPECT_TRUE(module.OpenDynamicModule(MODULE));
    EXPECT_TRUE(isLoaded());
    EXPECT_FALSE(module.OpenDynamicModule(VDX_TEST_BIN_DIR "/none.so"));
    EXPECT_FALSE(isLoaded()) << "released though the second load failed";
    EXPECT_EQ(module.GetMethod("testModuleDouble"), nullptr);
    EXPECT_TRUE(module.OpenDynamicModule(MODULE));
    module.CloseDynamicModule();
    module.CloseDynamicModule();
    EXPECT_FALSE(isLoaded());
    {
        const chDynamicModule scoped(MODULE);
        EXPECT_TRUE(isLoaded());
    }
    EXPECT_FALSE(isLoaded());
}

// The last one: whoever finds a symbol in this way keeps the module loaded.
TEST(chDynamicModule, SymbolsServeModulesLoadedLater) {
    const chDynamicModule module(MODULE);
    EXPECT_NE(module.GetMethod("testModuleDouble"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "testModuleDouble"), module.GetMethod("testModuleDouble"));
}

}  // namespace
