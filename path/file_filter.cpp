// Accept and deny patterns for file names.
#include "path/file_filter.h"

#include <algorithm>

#include <vdx/find_file.h>

namespace {

constexpr std::size_t MAX_EXPRESSION = 1000;

// An expression engine may recurse once a character, so its input has a limit; no file
// system has longer names.
constexpr std::size_t MAX_EXPRESSION_NAME = 4096;

std::regex compileText(const std::string& text) {
#if defined(__GLIBCXX__)
    // This library tries one way after another unless it is told to follow all ways at
    // once: with four stars, a name of 255 characters takes it minutes then. Only
    // references back to groups need the other way.
    try {
        return std::regex(text, std::regex::ECMAScript | std::regex_constants::__polynomial);
    } catch (const std::regex_error&) {
        return std::regex(text);
    }
#else
    return std::regex(text);
#endif
}

std::regex compile(std::string_view pattern) {
    if (pattern.size() > MAX_EXPRESSION) throw std::regex_error(std::regex_constants::error_complexity);
    return compileText(chFileFilter::fileExpress2REText(std::string(pattern)));
}

}  // namespace

namespace vdx {

void NamePatterns::add(std::string_view pattern) {
    m_pOnly = nullptr;  // What grows below may move, and then run out of memory.
    if (pattern.find('\\') != std::string_view::npos) {
        m_expressions.push_back(compile(pattern));
    } else {
        // Nothing else that a pattern means binds weaker than its bars.
        std::size_t nBar;
        for (std::size_t nBegin = 0; nBegin <= pattern.size(); nBegin = nBar + 1) {
            nBar = std::min(pattern.find('|', nBegin), pattern.size());
            m_wildcards.emplace_back(pattern.substr(nBegin, nBar - nBegin));
        }
    }
    m_pOnly = m_wildcards.size() == 1 && m_expressions.empty() ? &m_wildcards.front() : nullptr;
}

bool NamePatterns::matchSeveral(std::string_view name) const {
    for (const Wildcard& wildcard : m_wildcards) {
        if (wildcard.matches(name)) return true;
    }
    return !m_expressions.empty() && matchAnyExpression(name);
}

bool NamePatterns::matchAnyExpression(std::string_view name) const {
    if (name.size() > MAX_EXPRESSION_NAME) return false;
    for (const std::regex& expression : m_expressions) {
        if (std::regex_match(name.begin(), name.end(), expression)) return true;
    }
    return false;
}

void FilterLists::add(std::string_view filter) {
    std::size_t nBegin = 0;
    while (nBegin < filter.size()) {
        const std::size_t nEnd = std::min(filter.find(';', nBegin), filter.size());
        if (nEnd > nBegin) addWord(filter.substr(nBegin, nEnd - nBegin));
        nBegin = nEnd + 1;
    }
}

void FilterLists::addWord(std::string_view word) {
    const char sign = word[0];
    if (sign == '-' || sign == '+') word.remove_prefix(1);
    (sign == '-' ? m_deny : m_accept).add(word);
}

}  // namespace vdx

void chFileFilter::SetFilter(const std::string& filter) {
    const auto pLists = std::make_shared<vdx::FilterLists>();
    m_pLists = pLists;
    pLists->add(filter);
}

std::string chFileFilter::fileExpress2REText(const std::string& wildcard) {
    std::string text;
    text.reserve(wildcard.size() * 2);
    for (const char c : wildcard) {
        switch (c) {
            case '*':
                text += ".*";
                break;
            case '?':
                text += '.';
                break;
            case '.':
            case '$':
            case '(':
            case ')':
            case '+':
            case '-':
            case '[':
            case ']':
            case '^':
            case '{':
            case '}':
                text += '\\';
                [[fallthrough]];
            default:
                text += c;
        }
    }
    return text;
}

bool chFileFilter::IsAcceptFileName(const std::string& name) const {
    return m_pLists->accepts(name);
}

bool chFileFilter::IsDenyFileName(const std::string& name) const {
    return m_pLists->denies(name);
}
