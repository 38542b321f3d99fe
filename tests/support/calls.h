// What a call prints, how long it takes, and signals that interrupt it.
#pragma once

#include <unistd.h>
#include <chrono>
#include <csignal>
#include <string>

#include <gtest/gtest.h>

namespace vdxtest {

// What a call prints, traces and warnings included.
std::string printedBy(auto call) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
}

// Runs a call, which must take at least so many milliseconds, and less than the others.
void expectMs(long nLeast, long nMost, auto call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    EXPECT_GT(took.count(), static_cast<double>(nLeast) - 1);
    EXPECT_LT(took.count(), static_cast<double>(nMost));
}

// For as long as it lives a signal, whose handler does nothing, interrupts the main thread's
// system calls.
struct Signaller {
    Signaller() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        ualarm(7000, 7000);
    }
    ~Signaller() { ualarm(0, 0); }
};

}  // namespace vdxtest
