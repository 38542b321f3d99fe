// Ticks and timeouts on the boot clock.
#include <vdx/time.h>

#include "base/normalise.h"
#include "base/platform_port.h"

using vdx::wrapAdd;
using vdx::wrapMul;
using vdx::wrapSub;

namespace {

constexpr std::int32_t MICROSECONDS = 1'000'000;
constexpr std::int32_t NO_LIMIT_SECONDS = 0x7FFFFFFF;

bool neverComes(const chTick& deadline) {
    return deadline.seconds == -1 && deadline.microseconds == -1;
}

// Microseconds between two ticks; wraps after 71.6 minutes.
std::uint32_t elapsed(const chTick& from, const chTick& to) {
    const chTick difference = to - from;
    return static_cast<std::uint32_t>(difference.seconds) * 1'000'000U +
           static_cast<std::uint32_t>(difference.microseconds);
}

}  // namespace

chTick::chTick(int nSeconds, int nMicroseconds) : seconds(nSeconds), microseconds(nMicroseconds) {
    vdx::normalise(seconds, microseconds, MICROSECONDS);
}

chTick chTick::operator+(const chTick& other) const {
    return chTick(wrapAdd(seconds, other.seconds), wrapAdd(microseconds, other.microseconds));
}

chTick chTick::operator-(const chTick& other) const {
    return chTick(wrapSub(seconds, other.seconds), wrapSub(microseconds, other.microseconds));
}

chTick& chTick::operator+=(const chTick& other) {
    return *this = *this + other;
}

bool chTick::operator<(const chTick& other) const {
    return seconds != other.seconds ? seconds < other.seconds : microseconds < other.microseconds;
}

bool chTick::operator>(const chTick& other) const {
    return other < *this;
}

std::uint64_t chTimer::GetTimeFromBoot_ms() {
    // The count is defined as the nanoseconds as a double, over 1e6, truncated. Below
    // 2^53 ns (104 days) the integer division gives the same at a third of the cost.
    const std::uint64_t nNanoseconds = vdx::port::bootNanoseconds();
    if (nNanoseconds < (std::uint64_t{1} << 53)) return nNanoseconds / 1'000'000;
    return static_cast<std::uint64_t>(static_cast<double>(nNanoseconds) / 1e6);
}

chTick chTimer::GetTickFromBoot() {
    const std::uint64_t nNanoseconds = vdx::port::bootNanoseconds();
    const auto nSeconds = static_cast<std::int32_t>(static_cast<double>(nNanoseconds) / 1e9);
    const std::uint64_t nMicroseconds = nNanoseconds / 1000;
    const double dRest = static_cast<double>(nMicroseconds) - static_cast<double>(nSeconds) * 1e6;
    return chTick(nSeconds, static_cast<std::int32_t>(dRest));
}

chTimeout::chTimeout(int nMilliseconds) {
    setTimeout(nMilliseconds);
}

void chTimeout::setTimeout(int nMilliseconds) {
    if (nMilliseconds == -1) {
        deadline.seconds = -1;
        deadline.microseconds = -1;
    } else {
        deadline = chTimer::GetTickFromBoot() + chTick(0, wrapMul(nMilliseconds, 1000));
    }
}

std::uint32_t chTimeout::GetLeftMillisecond() const {
    if (neverComes(deadline)) return 0xFFFFFFFFU;
    const chTick left = deadline - chTimer::GetTickFromBoot();
    if (left.seconds < 0) return 0;
    return static_cast<std::uint32_t>(left.seconds) * 1000U +
           static_cast<std::uint32_t>(left.microseconds) / 1000U;
}

bool chTimeout::IsTimeout() const {
    if (neverComes(deadline)) return false;
    const chTick now = chTimer::GetTickFromBoot();
    if (deadline.seconds != now.seconds) return deadline.seconds <= now.seconds;
    return deadline.microseconds <= now.microseconds;
}

chTickTimer::chTickTimer() : start(chTimer::GetTickFromBoot()) {}

std::uint32_t chTickTimer::GetMicrosecond() const {
    return elapsed(start, chTimer::GetTickFromBoot());
}

std::uint32_t chTickTimer::ResetTickTimer() {
    const chTick now = chTimer::GetTickFromBoot();
    const std::uint32_t nElapsed = elapsed(start, now);
    start = now;
    return nElapsed;
}

chTimeval::chTimeval(int nMilliseconds) {
    setTimeout(nMilliseconds);
}

long chTimeval::setTimeout(int nMilliseconds) {
    seconds = nMilliseconds == -1 ? NO_LIMIT_SECONDS : nMilliseconds / 1000;
    microseconds = nMilliseconds == -1 ? 0 : (nMilliseconds % 1000) * 1000;
    return static_cast<long>(seconds);
}

chException::chException() = default;
chException::~chException() = default;
