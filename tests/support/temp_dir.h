// A directory of its own for each test, removed with all it holds.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <string>

class TempDir {
public:
    TempDir() : m_path(std::filesystem::temp_directory_path().string() + "/vdx_test_XXXXXX") {
        if (!mkdtemp(m_path.data())) throw std::runtime_error("mkdtemp");
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }

    // The full path of a name in the directory.
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    // Writes a file (and the directories on the way to it); returns its full path.
    std::string write(const std::string& name, const std::string& bytes = "x") const {
        const std::filesystem::path full = *this / name;
        std::filesystem::create_directories(full.parent_path());
        std::ofstream(full, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return full.string();
    }

    // Makes files ("a/name", which holds its name), directories ("name/") and symbolic links ("name>target",
    // where a relative target is seen from the link's directory).
    void make(std::initializer_list<std::string> entries) const {
        for (const std::string& entry : entries) {
            const std::size_t nArrow = entry.find('>');
            if (nArrow != std::string::npos) {
                std::filesystem::create_symlink(entry.substr(nArrow + 1), *this / entry.substr(0, nArrow));
            } else if (entry.back() == '/') {
                makeDir(entry);
            } else {
                write(entry, entry);
            }
        }
    }

    std::string makeDir(const std::string& name) const {
        std::filesystem::create_directories(*this / name);
        return *this / name;
    }

    static std::string read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string m_path;
};
