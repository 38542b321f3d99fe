// Parts of saving that are below files: permissions and directories on the disk.
#pragma once

#include <string>

namespace vdx {

// Makes an empty file, with the usual mode or, where a model exists, for its owner
// alone: copyPermissions follows when it is written. False if it cannot be made or its
// name is taken.
bool createFor(const std::string& szName, const std::string& szModel);

// Gives a file the permission bits of another one. True also if that does not exist.
bool copyPermissions(const std::string& szModel, const std::string& szName);

// The name of the directory that holds a file.
std::string directoryOf(const std::string& szName);

// Brings a directory to the disk, so that names in it survive a power cut. True also
// where directories cannot be synced.
bool syncDirectory(const std::string& szDirectory);

}  // namespace vdx
