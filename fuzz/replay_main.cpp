// Runs a fuzz target over every file of the folders named on the command line, then for a second over
// changed ones. The changes are the same in every run, however far it comes.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "support/temp_dir.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

namespace {

void run(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

// A few bytes replaced by another one, by some that stand elsewhere or by nothing, or the end of another
// input.
std::string changed(std::string bytes, const std::string& other, std::mt19937& random) {
    for (auto n = random() % 4; n != 0 && !bytes.empty(); --n) {
        const std::size_t nAt = random() % bytes.size(), nPiece = random() % 4;
        const std::string pieces[] = {std::string(1, static_cast<char>(random())),
                                      bytes.substr(random() % bytes.size(), random() % 8), "",
                                      other.substr(std::min(nAt, other.size()))};
        bytes.replace(nAt, nPiece == 3 ? std::string::npos : random() % 8, pieces[nPiece]);
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file()) files.push_back(TempDir::read(entry.path()));
    if (files.empty()) return 1;
    std::sort(files.begin(), files.end());
    for (const std::string& file : files)
        run(file);
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds(1);
    std::mt19937 random(1);
    int nChanged = 0;
    for (; Clock::now() < end; ++nChanged)
        run(changed(files[random() % files.size()], files[random() % files.size()], random));
    std::printf("%zu corpus files and %d changed ones replayed\n", files.size(), nChanged);
}
