// A network namespace of the test's own, with interfaces made in it.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace peer {

inline bool runs(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// Each test runs in a namespace in which only the loop-back interface exists. Skipped
// where the kernel grants none.
class InNamespace : public ::testing::Test {
protected:
    void SetUp() override {
        m_nHome = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        if (unshare(CLONE_NEWNET) != 0) {
            close(m_nHome);
            m_nHome = -1;
            GTEST_SKIP() << "the kernel refuses a network namespace: " << std::strerror(errno);
        }
        ASSERT_TRUE(runs("ip link set lo up"));
    }
    void TearDown() override {
        if (m_nHome < 0) return;
        EXPECT_EQ(setns(m_nHome, CLONE_NEWNET), 0);
        close(m_nHome);
    }

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
    int m_nHome = -1;
};

}  // namespace peer
