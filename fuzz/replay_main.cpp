// Runs a fuzz target over every file of the folders named on the command line.
#include <cstdint>
#include <cstdio>

#include "support/temp_dir.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

int main(int argc, char** argv) {
    int nFiles = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            const std::string bytes = TempDir::read(entry.path());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++nFiles;
        }
    }
    std::printf("%d corpus files replayed\n", nFiles);
    return nFiles > 0 ? 0 : 1;
}
