// Parts of saving that are below files: permissions and directories on the disk.
#pragma once

#include <string>

namespace vdx {

// Makes an empty file, with the permission bits of szModel if that exists. False
// if it cannot be made or its name is taken.
bool createLike(const std::string& szName, const std::string& szModel);

// Brings the directory that holds a file to the disk, so that names in it survive
// a power cut. True also where directories cannot be synced.
bool syncDirectoryOf(const std::string& szName);

}  // namespace vdx
