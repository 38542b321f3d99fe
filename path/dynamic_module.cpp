// Loading shared libraries at run time.
#include <vdx/dynamic_module.h>

#include <dlfcn.h>

bool chDynamicModule::OpenDynamicModule(const std::string& path) {
    CloseDynamicModule();
    m_hModule = ::dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
    return m_hModule != nullptr;
}

void chDynamicModule::CloseDynamicModule() {
    if (m_hModule) ::dlclose(m_hModule);
    m_hModule = nullptr;
}

void* chDynamicModule::GetMethod(const std::string& name) const {
    // To the loader a null handle means the whole process.
    return m_hModule ? ::dlsym(m_hModule, name.c_str()) : nullptr;
}
