// Finding files in a directory tree.
#include <vdx/find_file.h>

#include <sys/stat.h>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

#include "path/dir_entry.h"
#include "path/file_filter.h"
#include "text/path_separator.h"

namespace {

// One walk. A directory is opened by its full path when all before it are done, so one
// descriptor is enough for any depth.
class FindFileWalk {
public:
    FindFileWalk(const vdx::FilterLists& filter, std::list<std::string>& out, bool bRecursive)
        : m_filter(filter), m_out(out), m_bRecursive(bRecursive), m_known(out.begin(), out.end()) {}

    void run(const std::string& directory) {
        m_waiting.push_back(directory);
        while (!m_waiting.empty() || !m_waitingLinks.empty()) {
            std::vector<std::string>& source = m_waiting.empty() ? m_waitingLinks : m_waiting;
            const std::string next = std::move(source.back());
            source.pop_back();
            walkDirectory(next);
        }
    }

private:
    void walkDirectory(const std::string& directory) {
        const vdx::DirHandle pDirectory(::opendir(directory.c_str()));
        if (!pDirectory || !firstVisit(pDirectory.get())) return;
        startPaths(directory);
        vdx::DirEntry entry;
        while (vdx::readEntry(pDirectory.get(), entry))
            take(pDirectory.get(), entry);
    }

    bool firstVisit(DIR* pDirectory) {
        if (!m_bRecursive) return true;
        struct stat status;
        if (::fstat(::dirfd(pDirectory), &status) != 0) return false;
        return m_visited.emplace(status.st_dev, status.st_ino).second;
    }

    // What stands before the names of this directory.
    void startPaths(const std::string& directory) {
        m_path = directory;
        while (!m_path.empty() && vdx::isPathSeparator(m_path.back()))
            m_path.pop_back();
        m_path += '/';
        m_nPrefix = m_path.size();
    }

    const std::string& fullPath(std::string_view name) {
        m_path.resize(m_nPrefix);
        return m_path.append(name);
    }

    void take(DIR* pDirectory, const vdx::DirEntry& entry) {
        const std::string_view name(entry.szName);
        if (m_filter.denies(name)) return;
        if (isDirectory(pDirectory, entry)) {
            if (!m_bRecursive) return;
            (entry.kind == vdx::EntryKind::Link ? m_waitingLinks : m_waiting).push_back(fullPath(name));
        } else if (m_filter.accepts(name)) {
            add(fullPath(name));
        }
    }

    static bool isDirectory(DIR* pDirectory, const vdx::DirEntry& entry) {
        return entry.kind == vdx::EntryKind::Directory ||
               (entry.kind == vdx::EntryKind::Link && vdx::linkLeadsToDirectory(pDirectory, entry.szName));
    }

    void add(const std::string& path) {
        if (m_known.empty() || !m_known.contains(path)) m_out.push_back(path);
    }

    const vdx::FilterLists& m_filter;
    std::list<std::string>& m_out;
    const bool m_bRecursive;
    const std::unordered_set<std::string_view> m_known;  // What the list held before.
    std::vector<std::string> m_waiting;
    // Links to directories wait until all others are done: a directory that is also
    // reached without a link is then reported under its own name.
    std::vector<std::string> m_waitingLinks;
    std::set<std::pair<dev_t, ino_t>> m_visited;
    std::string m_path;
    std::size_t m_nPrefix = 0;
};

}  // namespace

std::list<std::string> vdxFindFile(const char* szDirectory, const char* szFilter, bool bRecursive) {
    std::list<std::string> found;
    vdxFindFile(std::string(szDirectory ? szDirectory : ""), std::string(szFilter ? szFilter : ""), found,
                bRecursive);
    return found;
}

void vdxFindFile(const std::string& directory, const std::string& filter, std::list<std::string>& out,
                 bool bRecursive) {
    vdx::FilterLists compiled;
    compiled.add(filter);
    FindFileWalk(compiled, out, bRecursive).run(directory);
}
