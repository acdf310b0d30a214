// The netlink side alone, with real interfaces.
#include "netwatchd/linkmonitor.h"
#include "netwatchdtest.h"
#include "ovsdb/uniquefd.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <netlink/netlink.h>

#include <functional>
#include <utility>

using namespace netwatchd::test;
using netwatchd::LinkMonitor;

namespace {

// Called before each request for interfaces or addresses.
std::function<void(int)> beforeRequest;

} // namespace

extern "C" int nl_send_simple(nl_sock* socket, int type, int flags, void* data, size_t size) {
    using Call = int (*)(nl_sock*, int, int, void*, size_t);
    static const Call libnls = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "nl_send_simple"));
    if (beforeRequest) {
        beforeRequest(type);
    }
    return libnls(socket, type, flags, data, size);
}

namespace {

class LinkMonitorTest : public NetwatchdTest {
  protected:
    static bool isUp(const LinkMonitor& monitor) { return monitor.interfaces().observe("eth1").up; }
    // The kernel itself may take a second to call a link up or down.
    static bool becomes(LinkMonitor& monitor, bool up) {
        return e2e::eventually([&] {
            monitor.process(LinkMonitor::Clock::now());
            return isUp(monitor) == up;
        });
    }
};

TEST_F(LinkMonitorTest, ReadsTheInterfacesOnceAndThenListens) {
    {
        LinkMonitor settling;
        ASSERT_TRUE(becomes(settling, true));
    }
    LinkMonitor monitor;
    EXPECT_EQ(monitor.descriptor(), -1);
    EXPECT_FALSE(monitor.isComplete());
    EXPECT_TRUE(monitor.process(LinkMonitor::Clock::now()));
    EXPECT_TRUE(monitor.isComplete());
    EXPECT_TRUE(isUp(monitor));
    ip("link set eth1 down");
    EXPECT_TRUE(monitor.process(LinkMonitor::Clock::now()));
    EXPECT_FALSE(isUp(monitor));
    EXPECT_FALSE(monitor.process(LinkMonitor::Clock::now())) << "there is nothing new";
    EXPECT_EQ(monitor.readings(), 1U);
    EXPECT_EQ(monitor.takeComplaint(), "");
}

// Between the reading of the interfaces and that of the addresses: news that a later subscription would miss.
TEST_F(LinkMonitorTest, LosesNothingOfWhatHappensWhileItReads) {
    {
        LinkMonitor settling;
        ASSERT_TRUE(becomes(settling, true));
    }
    LinkMonitor monitor;
    bool happened = false;
    beforeRequest = [&happened](int type) {
        if (type == RTM_GETADDR && !std::exchange(happened, true)) {
            ip("link set eth1 down");
        }
    };
    EXPECT_TRUE(monitor.process(LinkMonitor::Clock::now()));
    beforeRequest = nullptr;
    EXPECT_TRUE(happened);
    EXPECT_FALSE(isUp(monitor));
}

TEST_F(LinkMonitorTest, ReadsEverythingAnewWhenTheKernelHadToDropNews) {
    for (const bool up : {false, true}) {
        LinkMonitor monitor(4096);
        monitor.process(LinkMonitor::Clock::now());
        // The kernel drops what no longer fits: the queue then holds the beginning and not the end.
        std::string lines;
        for (int i = 0; i < 50; ++i) {
            lines += "link set eth1 down\nlink set eth1 up\n";
        }
        ipBatch(lines + (up ? "" : "link set eth1 down\n") + "address replace 192.0.2.1/24 dev eth1\n");
        EXPECT_TRUE(monitor.process(LinkMonitor::Clock::now()));
        EXPECT_EQ(monitor.takeComplaint(), "news from the kernel were lost, reading all interfaces anew");
        EXPECT_EQ(monitor.takeComplaint(), "");
        EXPECT_GE(monitor.readings(), 2U);
        EXPECT_TRUE(becomes(monitor, up));
        EXPECT_EQ(monitor.interfaces().observe("eth1").address, "192.0.2.1");

        ip(up ? "link set eth1 down" : "link set eth1 up");
        EXPECT_TRUE(becomes(monitor, !up)) << "it goes on listening";
        ip("link set eth1 up");
    }
}

TEST_F(LinkMonitorTest, OpensItsSocketAgainWhenThatFails) {
    LinkMonitor monitor;
    monitor.process(LinkMonitor::Clock::now());
    // Something else in its place, from which nothing can be received.
    const ovsdb::UniqueFd other(::open("/dev/null", O_RDONLY));
    ASSERT_EQ(::dup2(other.get(), monitor.descriptor()), monitor.descriptor());
    const auto now = LinkMonitor::Clock::now();
    monitor.process(now);
    EXPECT_FALSE(monitor.isComplete());
    EXPECT_THAT(monitor.takeComplaint(), HasSubstr("cannot receive from the kernel"));
    ASSERT_EQ(monitor.deadline(), now + LinkMonitor::reopenPause);

    EXPECT_FALSE(monitor.process(now));
    ip("link set eth1 down");
    EXPECT_TRUE(monitor.process(now + LinkMonitor::reopenPause));
    EXPECT_TRUE(monitor.isComplete());
    EXPECT_FALSE(isUp(monitor));
    EXPECT_EQ(monitor.deadline(), std::nullopt);
}

} // namespace
