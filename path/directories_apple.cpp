// The platform's directories as the system and the main bundle name them.
#include <vdx/directories.h>

#include <CoreFoundation/CoreFoundation.h>
#include <limits.h>
#include <sysdir.h>

#include <vdx/path.h>
#include <vdx/platform.h>

// Foundation's logging function; its format is a CFString as well.
extern "C" void NSLog(CFStringRef format, ...);
// The C library's name of the program's file.
extern "C" const char* getprogname();

namespace {

std::string toText(CFStringRef string) {
    char buffer[PATH_MAX];
    if (!string || !CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8)) return {};
    return buffer;
}

// Releases the address.
std::string toPath(CFURLRef url) {
    unsigned char buffer[PATH_MAX];
    const bool bFound = url && CFURLGetFileSystemRepresentation(url, true, buffer, sizeof buffer);
    if (url) CFRelease(url);
    return bFound ? reinterpret_cast<const char*>(buffer) : "";
}

// Which of several directories of one kind is meant.
enum class Choice { First, Last };

std::string userDirectory(sysdir_search_path_directory_t kind, Choice choice) {
    char buffer[PATH_MAX];
    std::string found;
    auto state = sysdir_start_search_path_enumeration(kind, SYSDIR_DOMAIN_MASK_USER);
    while ((state = sysdir_get_next_search_path_enumeration(state, buffer)) != 0) {
        found = buffer[0] == '~' ? vdxGetHomeDirectory() + (buffer + 1) : buffer;
        if (choice == Choice::First) break;
    }
    return found;
}

void log(CFStringRef format, const std::string& text) {
    CFStringRef string = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
    if (!string) return;
    NSLog(format, string);
    CFRelease(string);
}

// A program outside a bundle has the name of its file.
std::string executableName() {
    CFBundleRef bundle = CFBundleGetMainBundle();
    const void* pName =
        bundle ? CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleExecutable")) : nullptr;
    const std::string name = toText(static_cast<CFStringRef>(pName));
    return name.empty() ? getprogname() : name;
}

}  // namespace

std::string getAppDocumentsPath() {
    const std::string path = userDirectory(SYSDIR_DIRECTORY_DOCUMENT, Choice::Last);
    log(CFSTR("App Doc Path:%@"), path);
    return path;
}

std::string getApplicationSupportPath() {
    const std::string name = executableName();
    log(CFSTR("applicationExecutableName:%@"), name);
    std::string path = userDirectory(SYSDIR_DIRECTORY_APPLICATION_SUPPORT, Choice::First);
    if (!path.empty()) path = pathAppend(path, name);
    log(CFSTR("App Application Support Path:%@"), path);
    return path;
}

std::string getAppPath() {
    CFBundleRef bundle = CFBundleGetMainBundle();
    const std::string path = bundle ? toPath(CFBundleCopyBundleURL(bundle)) : "";
    log(CFSTR("App Bundle Path:%@"), path);
    return path;
}

std::string getAppResourcePath() {
    CFBundleRef bundle = CFBundleGetMainBundle();
    CFURLRef url = bundle ? CFBundleCopyResourcesDirectoryURL(bundle) : nullptr;
    // The address is relative to the bundle.
    CFURLRef absolute = url ? CFURLCopyAbsoluteURL(url) : nullptr;
    if (url) CFRelease(url);
    const std::string path = toPath(absolute);
    log(CFSTR("App Resource Path:%@"), path);
    return path;
}
