// Reading the names in one directory.
#include <vdx/find_file.h>

#include "path/dir_entry.h"

chPathWalker::chPathWalker(const std::string& path) {
    if (!path.empty()) OpenPath(path);
}

bool chPathWalker::OpenPath(const std::string& path) {
    m_pDirectory = ::opendir(path.c_str());
    return m_pDirectory != nullptr;
}

void chPathWalker::ClosePath() {
    if (m_pDirectory) ::closedir(m_pDirectory);
    m_pDirectory = nullptr;
}

bool chPathWalker::ReadFileName(std::string& name) {
    name.clear();
    vdx::DirEntry entry;
    if (!m_pDirectory || !vdx::readEntry(m_pDirectory, entry)) return false;
    name = entry.szName;
    return true;
}
