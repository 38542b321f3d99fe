// Whole files in one call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Reads all bytes of a file, pipes and files of unknown size included. On failure
// false, errno, and an empty result.
bool vdxDumpBinFile(const std::string& path, std::vector<unsigned char>& bytes);

// The same into a text; the bytes are taken as they are.
bool vdxDumpTextFileA(const std::string& path, std::string& text);

// Creates or empties the file and writes all bytes. With bSync it returns only
// when the disk has them. False and errno when anything of this fails, the close
// included; the file may then hold a part.
bool vdxWriteBinFile(const std::string& path, std::string_view bytes, bool bSync = false);
