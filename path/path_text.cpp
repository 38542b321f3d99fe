// Paths as texts: splitting, joining, normalising.
#include <vdx/path.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <vdx/platform.h>

#include "path/path_parts.h"

namespace {

using vdx::findSeparator;
using vdx::isPathSeparator;

// Tidies a path of which the first character is ignored, where it stands.
//
// The kept parts, "/" before each, are gathered at the start of the same text. They
// never overtake the place of reading: whatever part is read, one separator (or the
// ignored first character) has been read before it.
class TidyInPlace {
public:
    explicit TidyInPlace(std::string& text) : m_text(text) {}

    void run() {
        std::size_t nPart = 1;
        while (nPart < m_text.size()) {
            const std::size_t nEnd = findSeparator(m_text, nPart);
            takePart(nPart, nEnd - nPart);
            nPart = nEnd + 1;
        }
        if (m_nKept == 0) m_text[m_nKept++] = '/';
        m_text.resize(m_nKept);
    }

private:
    void takePart(std::size_t nPart, std::size_t nLength) {
        char* pText = m_text.data();
        const char* pPart = pText + nPart;
        if (nLength == 0 || (nLength == 1 && pPart[0] == '.')) return;
        if (nLength == 2 && pPart[0] == '.' && pPart[1] == '.') {
            while (m_nKept > 0 && pText[--m_nKept] != '/')
                continue;
            return;
        }
        pText[m_nKept++] = '/';
        if (m_nKept != nPart) std::memmove(pText + m_nKept, pPart, nLength);
        m_nKept += nLength;
    }

    std::string& m_text;
    std::size_t m_nKept = 0;  // Length of the parts kept so far.
};

}  // namespace

std::string pathTidy(const std::string& path) {
    if (path.empty()) throw std::out_of_range("pathTidy: empty path");
    std::string text = path;
    TidyInPlace(text).run();
    return text;
}

std::string pathGetAbsolutePath(const std::string& path, const std::string& base) {
    if (!path.empty() && path[0] == '/') return pathTidy(path);
    const std::string& start = base.empty() ? pathRemoveLastPart(vdxGetExeFileName()) : base;
    std::string text;
    text.reserve(start.size() + 1 + path.size());
    text.append(start).append(1, '/').append(path);
    TidyInPlace(text).run();
    return text;
}

std::string pathGetRelativePath(const char*, const char*) {
    return {};
}

std::string pathGetFileExtension(const std::string& path) {
    for (std::size_t i = path.size(); i-- > 0 && !isPathSeparator(path[i]);) {
        if (path[i] == '.') return path.substr(i);
    }
    return {};
}

std::string pathGetFileName(const std::string& path) {
    return path.substr(vdx::fileNameBegin(path));
}

std::string pathGetFirstPart(const std::string& path) {
    std::size_t nBegin = 0;
    while (nBegin < path.size() && isPathSeparator(path[nBegin]))
        ++nBegin;
    return path.substr(nBegin, findSeparator(path, nBegin) - nBegin);
}

std::string pathGetLastPart(const std::string& path) {
    return std::string(vdx::lastPart(path));
}

std::string pathRemoveLastPart(const std::string& path) {
    return std::string(vdx::withoutLastPart(path));
}

std::string pathAppend(const std::string& a, const std::string& b) {
    std::size_t nEnd = a.size();
    while (nEnd > 0 && isPathSeparator(a[nEnd - 1]))
        --nEnd;
    std::size_t nBegin = 0;
    while (nBegin < b.size() && isPathSeparator(b[nBegin]))
        ++nBegin;
    std::string joined;
    joined.reserve(nEnd + 1 + b.size() - nBegin);
    joined.append(a, 0, nEnd).append(1, '/').append(b, nBegin);
    return joined;
}

std::string pathReplaceFileName(const std::string& path, const std::string& name) {
    const std::size_t nKept = vdx::fileNameBegin(path);
    std::string replaced;
    replaced.reserve(nKept + name.size());
    replaced.append(path, 0, nKept).append(name);
    return replaced;
}

std::string pathReplaceExtern(const std::string& path, const std::string& ext) {
    const std::size_t nDot = path.rfind('.');
    return nDot == std::string::npos ? ext : path.substr(0, nDot) + ext;
}
