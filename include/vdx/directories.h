// Where an application keeps its files.
#pragma once

#include <string>

#include <vdx/export.h>

// Example:
//   vdxSetAppDocPath(vdxGetHomeDirectory() + "/notes");
//   consolePrintf(false, "documents in %s", vdxGetAppDocPath().c_str());
//   consolePrintf(false, "logs in %s", getDiagnoseInfoPath().c_str());
//
// All paths are UTF-8 with '/' as separator, without one at the end unless they were
// given so. None of the directories is created here.

// The application's root directory: the environment variable "APP_ROOT", or, where
// it is unset or empty, getApplicationSupportPath(). Back-slashes become '/'. It is
// computed at the first call and stays: later changes of the variable have no effect.
// The result lives to the very end of the process.
//
// Thread-safety: full. A second thread that comes during the computation waits for it.
VDX_API const std::string& appRootPath();

// A copy of appRootPath().
VDX_API std::string vdxGetAppRootPath();

// Where logs go: appRootPath() + "/log".
VDX_API std::string getDiagnoseInfoPath();

// Sets the application's document path; back-slashes become '/'.
// Thread-safety: none. Set it once at the start, before other threads read it.
VDX_API void vdxSetAppDocPath(const std::string& path);

// The document path; empty until one was set. Both names give the same.
VDX_API std::string vdxGetAppDocPath();
VDX_API std::string vdxGetAppDataRootPath();

// What the platform offers; empty where it has no answer.
//
//                              Apple systems                     other systems
// getApplicationSupportPath    ~/Library/Application Support     $XDG_DATA_HOME, or ~/.local/share
//                              + the bundle's executable         + the executable's name
// getAppDocumentsPath          the user's documents              ~/Documents
// getAppPath                   the main bundle                   the executable's directory
// getAppResourcePath           the main bundle's resources       the executable's directory
//
// On Apple systems each call also writes its answer to the system log.
VDX_API std::string getApplicationSupportPath();
VDX_API std::string getAppDocumentsPath();
VDX_API std::string getAppPath();
VDX_API std::string getAppResourcePath();
