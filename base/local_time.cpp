// Local time, broken down once a second per thread.
#include <vdx/time.h>

#include <ctime>
#include <mutex>

#include "base/fork_hooks.h"

namespace {

// The C library breaks times down under a lock of its own, which a fork may leave
// held for ever in the child. This one around it is free there.
using TimeMutex = vdx::ForkMutex<vdx::ForkOrder::LocalTime>;

SYSTEMTIME breakDown(time_t nSecond) {
    const std::lock_guard guard(TimeMutex::get());
    tm local{};
    tzset();  // As localtime does, and localtime_r need not.
    localtime_r(&nSecond, &local);
    SYSTEMTIME result{};
    result.wYear = static_cast<std::uint16_t>(local.tm_year + 1900);
    result.wMonth = static_cast<std::uint16_t>(local.tm_mon + 1);
    result.wDayOfWeek = static_cast<std::uint16_t>(local.tm_wday);
    result.wDay = static_cast<std::uint16_t>(local.tm_mday);
    result.wHour = static_cast<std::uint16_t>(local.tm_hour);
    result.wMinute = static_cast<std::uint16_t>(local.tm_min);
    result.wSecond = static_cast<std::uint16_t>(local.tm_sec);
    return result;
}

}  // namespace

void vdxGetLocalTime(SYSTEMTIME* pOut) {
    struct Cache {
        time_t nSecond;
        bool bFilled;
        SYSTEMTIME time;
    };
    // Few bytes, so they fit where the loader keeps room for late libraries: found
    // without a call.
    [[gnu::tls_model("initial-exec")]] static thread_local Cache t_cache{};
    timeval now{};
    gettimeofday(&now, nullptr);
    if (!t_cache.bFilled || t_cache.nSecond != now.tv_sec) {
        t_cache = Cache{now.tv_sec, true, breakDown(now.tv_sec)};
    }
    *pOut = t_cache.time;
    pOut->wMilliseconds = static_cast<std::uint16_t>(now.tv_usec / 1000);
}

chLocalTime::chLocalTime() {
    vdxGetLocalTime(this);
}
