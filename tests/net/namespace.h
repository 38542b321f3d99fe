// A network namespace of the test's own, with interfaces made in it.
#pragma once

#include <sched.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace peer {

inline bool runs(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// Each test runs in a namespace in which only the loop-back interface exists. Skipped
// where the kernel grants none.
class InNamespace : public ::testing::Test {
protected:
    void SetUp() override {
        if (unshare(CLONE_NEWNET) != 0)
            GTEST_SKIP() << "the kernel refuses a network namespace: " << std::strerror(errno);
        ASSERT_TRUE(runs("ip link set lo up"));
    }
    void TearDown() override { EXPECT_EQ(setns(m_home, CLONE_NEWNET), 0); }

    // An interface of whichever kind the kernel has; it is down.
    static void addInterface(const std::string& name) {
        const std::string add = "ip link add name " + name + " type ";
        const std::string veth = add + "veth peer name p_" + name;
        ASSERT_TRUE(runs(add + "dummy") || runs(veth) || runs(add + "bridge")) << name;
    }
    static void addAddress(const std::string& name, const std::string& address) {
        ASSERT_TRUE(runs("ip addr add " + address + " dev " + name)) << name;
    }

private:
    const Fd m_home{open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)};
};

}  // namespace peer
