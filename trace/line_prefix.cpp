// What stands before the text of every trace line.
#include "trace/line_prefix.h"

#include <charconv>
#include <cstdint>
#include <cstring>

#include <vdx/platform.h>
#include <vdx/time.h>

#include "base/fork_hooks.h"

namespace vdx {

namespace {

// The parts that seldom change, as text.
struct PrefixCache {
    SYSTEMTIME second;  // Its milliseconds are 0.
    char time[14];      // "MM-DD hh:mm:ss".
    char ids[24];       // "+process:task] ".
    std::uint8_t nIds;  // Length of that; 0: not filled in.
    bool bTime;
};
[[gnu::tls_model("initial-exec")]] thread_local PrefixCache t_cache{};

char* putDigits(char* p, std::uint32_t nValue, int nDigits) {
    for (int i = nDigits - 1; i >= 0; --i) {
        p[i] = static_cast<char>('0' + nValue % 10);
        nValue /= 10;
    }
    return p + nDigits;
}

void fillTime(PrefixCache& cache, const SYSTEMTIME& second) {
    char* p = putDigits(cache.time, second.wMonth, 2);
    *p++ = '-';
    p = putDigits(p, second.wDay, 2);
    *p++ = ' ';
    p = putDigits(p, second.wHour, 2);
    *p++ = ':';
    p = putDigits(p, second.wMinute, 2);
    *p++ = ':';
    putDigits(p, second.wSecond, 2);
    cache.second = second;
    cache.bTime = true;
}

// A forked child has other ids; only the forking thread lives on there.
[[maybe_unused]] const bool s_bForkHooks =
    (setForkHooks(ForkOrder::LinePrefix, {nullptr, nullptr, [] { t_cache.nIds = 0; }}), true);

void fillIds(PrefixCache& cache) {
    char* pEnd = cache.ids + sizeof cache.ids;
    char* p = cache.ids;
    *p++ = '+';
    p = std::to_chars(p, pEnd, vdxGetCurrentProcessId()).ptr;
    *p++ = ':';
    p = std::to_chars(p, pEnd, static_cast<int>(vdxGetCurrentTaskId())).ptr;
    *p++ = ']';
    *p++ = ' ';
    cache.nIds = static_cast<std::uint8_t>(p - cache.ids);
}

char* putText(char* p, const char* pText, std::size_t nLength) {
    std::memcpy(p, pText, nLength);
    return p + nLength;
}

}  // namespace

void appendLinePrefix(qv::text_buffer& out, const char* szModule) {
    SYSTEMTIME now;
    vdxGetLocalTime(&now);
    const std::uint32_t nMilliseconds = now.wMilliseconds;
    now.wMilliseconds = 0;
    PrefixCache& cache = t_cache;
    if (!cache.bTime || std::memcmp(&now, &cache.second, sizeof now) != 0) fillTime(cache, now);
    if (cache.nIds == 0) fillIds(cache);

    char buffer[sizeof cache.ids + sizeof cache.time + 32];
    char* p = putText(buffer, cache.ids, cache.nIds);
    p = putText(p, cache.time, sizeof cache.time);
    *p++ = '.';
    p = putDigits(p, nMilliseconds, 3);
    *p++ = ' ';
    const chTick boot = chTimer::GetTickFromBoot();
    p = std::to_chars(p, buffer + sizeof buffer, static_cast<std::uint32_t>(boot.seconds)).ptr;
    *p++ = '.';
    p = putDigits(p, static_cast<std::uint32_t>(boot.microseconds), 6);
    *p++ = ' ';
    out.append('[');
    out.append(szModule && *szModule ? szModule : "D:Who?");
    out.append({buffer, static_cast<std::size_t>(p - buffer)});
}

}  // namespace vdx
