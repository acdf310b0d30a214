// What the kernel does to interfaces, and what the rows say then.
#include "gateways.h"
#include "netwatchdtest.h"
#include "ovsdb/uniquefd.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>

using namespace netwatchd::test;

namespace {

// The socket at which a process hears the kernel's news about links.
ovsdb::UniqueFd newsSocketOf(pid_t process) {
    const ovsdb::UniqueFd handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        const int number = std::stoi(entry.path().filename());
        ovsdb::UniqueFd copy(static_cast<int>(::syscall(SYS_pidfd_getfd, handle.get(), number, 0)));
        int domain = 0;
        socklen_t size = sizeof domain;
        if (copy.valid() && ::getsockopt(copy.get(), SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
            domain == AF_NETLINK) {
            return copy;
        }
    }
    throw std::runtime_error("no netlink socket in process " + std::to_string(process));
}

// As long as it lives, that socket hears nothing of an interface's link.
class Unheard {
  public:
    Unheard(pid_t process, const char* interface) : socket_(newsSocketOf(process)) {
        const auto index = htonl(::if_nametoindex(interface)); // loads convert from network byte order
        constexpr unsigned indexAt = NLMSG_HDRLEN + offsetof(ifinfomsg, ifi_index);
        sock_filter code[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, indexAt),
                              BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, index, 0, 1), BPF_STMT(BPF_RET | BPF_K, 0),
                              BPF_STMT(BPF_RET | BPF_K, UINT32_MAX)};
        const sock_fprog program{std::size(code), code};
        EXPECT_EQ(::setsockopt(socket_.get(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program), 0);
    }
    ~Unheard() {
        const int unused = 0;
        EXPECT_EQ(::setsockopt(socket_.get(), SOL_SOCKET, SO_DETACH_FILTER, &unused, sizeof unused), 0);
    }
    Unheard(const Unheard&) = delete;
    Unheard& operator=(const Unheard&) = delete;

  private:
    ovsdb::UniqueFd socket_;
};

class Interfaces : public NetwatchdTest {
  protected:
    struct Step {
        std::string command;
        std::string row;
    };

    // Each of the steps in turn, ten times. Their times run from just before the command until the database's
    // clients hear of it; one that the machine was busy with something else for does not matter.
    void expectPromptly(const Step& there, const Step& back) {
        std::vector<Milliseconds> times;
        for (int round = 0; round < 10; ++round) {
            for (const Step& step : {there, back}) {
                const auto begin = StatusRecord::Clock::now();
                ip(step.command);
                ASSERT_TRUE(record->waitForRow(step.row)) << record->now("ProviderInternet");
                times.push_back(std::chrono::duration_cast<Milliseconds>(StatusRecord::Clock::now() - begin));
            }
        }
        std::sort(times.begin(), times.end());
        const Milliseconds median = times[times.size() / 2];
        RecordProperty("median_ms", static_cast<int>(median.count()));
        RecordProperty("longest_ms", static_cast<int>(times.back().count()));
        EXPECT_LT(median, Milliseconds(100));
    }
};

TEST_F(Interfaces, AreWrittenAsTheyAreFoundAtTheStart) {
    ip("address add 192.0.2.1/24 dev eth1");
    db.update(e2e::statusTable, 4, {{"IsUp", 1}, {"Addr", "198.51.100.1"}});
    record.emplace();
    startNetwatchd();
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
    // LocalLAN's br0 does not exist, nor does voip0; lo and the row that is off are right already.
    ASSERT_EQ(record->entries().size(), 1U);
    EXPECT_THAT(record->entries()[0].rows,
                UnorderedElementsAre("ProviderInternet up 192.0.2.1", "ProviderVoIP down 0.0.0.0",
                                     "LocalLAN down 0.0.0.0"));
    EXPECT_EQ(record->now("LocalLoopback"), "up 127.0.0.1");
}

TEST_F(Interfaces, ThatAreSwitchedOffAndOnAreWrittenWithinATenthOfASecond) {
    startAndSettle();
    expectPromptly({"link set eth1 down", "ProviderInternet down 0.0.0.0"},
                   {"link set eth1 up", "ProviderInternet up 0.0.0.0"});
}

TEST_F(Interfaces, ThatGetAnAddressAreWrittenWithinATenthOfASecond) {
    startAndSettle();
    expectPromptly({"address add 192.0.2.1/24 dev eth1", "ProviderInternet up 192.0.2.1"},
                   {"address del 192.0.2.1/24 dev eth1", "ProviderInternet up 0.0.0.0"});
}

TEST_F(Interfaces, KeepTheirAddressWhenTheyAreSwitchedOff) {
    startAndSettle();
    ip("address add 192.0.2.1/24 dev eth1");
    EXPECT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
    ip("link set eth1 down");
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 192.0.2.1"));
}

TEST_F(Interfaces, WithoutACarrierAreDown) {
    startAndSettle();
    ip("link set far1 down"); // the kernel itself may take a second to say so
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
    ip("link set far1 up");
    EXPECT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
}

TEST_F(Interfaces, OnALowerInterfaceThatGoesDownAreDown) {
    startAndSettle();
    ipBatch("link add link eth1 name voip0 type macvlan\n"
            "link set voip0 up\n"
            "address add 198.51.100.1/24 dev voip0\n");
    ASSERT_TRUE(record->waitForRow("ProviderVoIP up 198.51.100.1"));
    ip("link set eth1 down");
    EXPECT_TRUE(record->waitForRow("ProviderVoIP down 198.51.100.1"));
}

// The kernel may tell of them up to a second later; here it never does. On a busy machine it may be at it
// still when netwatchd asks.
TEST_F(Interfaces, OnALowerInterfaceThatComesUpAreUpWithItBeforeTheKernelTellsOfThem) {
    ipBatch("link add link eth1 name voip0 type macvlan\n"
            "link set voip0 up\n");
    startAndSettle();
    constexpr int rounds = 5;
    int together = 0;
    for (int round = 0; round < rounds; ++round) {
        ip("link set eth1 down");
        ASSERT_TRUE(record->waitUntil([&] {
            return record->now("ProviderVoIP") == "down 0.0.0.0" &&
                   record->now("ProviderInternet") == "down 0.0.0.0";
        }));
        record->clear();
        const Unheard unheard(netwatchd.id(), "voip0");
        ip("link set eth1 up");
        ASSERT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
        together += record->entries().front().rows.size() == 2 ? 1 : 0;
    }
    EXPECT_GE(together, rounds / 2);
}

// Or each coming of the lower one would wait for it.
TEST_F(Interfaces, ThatStayDownOnALowerOneDoNotHoldItBack) {
    ip("link add link eth1 name voip0 type macvlan");
    startAndSettle();
    expectPromptly({"link set eth1 down", "ProviderInternet down 0.0.0.0"},
                   {"link set eth1 up", "ProviderInternet up 0.0.0.0"});
    EXPECT_EQ(record->now("ProviderVoIP"), "down 0.0.0.0");
}

TEST_F(Interfaces, ThatAppearAndVanishAreFollowed) {
    startAndSettle();
    ipBatch("link add voip0 type veth peer name far2\n"
            "link set far2 up\n"
            "link set voip0 up\n"
            "address add 198.51.100.1/24 dev voip0\n");
    EXPECT_TRUE(record->waitForRow("ProviderVoIP up 198.51.100.1"));
    ip("link del voip0");
    EXPECT_TRUE(record->waitForRow("ProviderVoIP down 0.0.0.0"));
}

TEST_F(Interfaces, ThatAreRenamedAreFoundByTheirNewName) {
    startAndSettle();
    ipBatch("link set eth1 down\n"
            "link set eth1 name voip0\n"
            "link set voip0 up\n"
            "address add 192.0.2.1/24 dev voip0\n");
    EXPECT_TRUE(record->waitForRow("ProviderVoIP up 192.0.2.1"));
    EXPECT_EQ(record->now("ProviderInternet"), "down 0.0.0.0");
}

TEST_F(Interfaces, ThatMoveToAnotherNamespaceAreGone) {
    startAndSettle();
    const e2e::Process other(e2e::Command{{"unshare", "--net", "sleep", "60"}, {}, "", ""});
    const std::string move = "link set eth1 netns " + std::to_string(other.id());
    // Until unshare has done its work that process is still in this namespace, and nothing moves.
    EXPECT_TRUE(record->waitUntil([&] {
        ip(move);
        return e2e::run({"ip", "link", "show", "eth1"}).status != 0;
    }));
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
}

TEST_F(Interfaces, ThatLeaveABridgeAreStillThere) {
    ipBatch("link add br0 type bridge\n"
            "link set br0 up\n"
            "link set eth1 master br0\n");
    startAndSettle();
    ip("link set eth1 nomaster");
    record->listen(Milliseconds(200));
    EXPECT_EQ(record->now("ProviderInternet"), "up 0.0.0.0");
    for (const auto& entry : record->entries()) {
        EXPECT_THAT(entry.rows, ElementsAre("LocalLAN down 0.0.0.0")); // the bridge has lost its only port
    }
}

TEST_F(Interfaces, TakeTheirNextAddressWhenTheFirstIsRemoved) {
    startAndSettle();
    ipBatch("address add 192.0.2.1/24 dev eth1\n"
            "address add 192.0.2.2/24 dev eth1\n"
            "address add 198.51.100.1/24 dev eth1\n");
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
    // With the primary address goes the secondary one of its network, unless the system promotes it.
    e2e::writeFile("/proc/sys/net/ipv4/conf/eth1/promote_secondaries", "0");
    ip("address del 192.0.2.1/24 dev eth1");
    EXPECT_TRUE(record->waitForRow("ProviderInternet up 198.51.100.1"));
}

TEST_F(Interfaces, TakeAPromotedAddress) {
    startAndSettle();
    e2e::writeFile("/proc/sys/net/ipv4/conf/eth1/promote_secondaries", "1");
    ipBatch("address add 192.0.2.1/24 dev eth1\n"
            "address add 192.0.2.2/24 dev eth1\n");
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
    ip("address del 192.0.2.1/24 dev eth1");
    EXPECT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.2"));
}

TEST_F(Interfaces, AreWrittenInOneTransactionForABurst) {
    ipBatch("link add link eth1 name voip0 type macvlan\n"
            "link set voip0 up\n");
    startAndSettle();
    std::string lines;
    for (int i = 1; i <= 40; ++i) {
        lines += "address add 192.0.2." + std::to_string(i) + "/24 dev eth1\n";
        lines += "address add 198.51.100." + std::to_string(i) + "/24 dev voip0\n";
    }
    // A busy machine would make several bursts of it. And the kernel lets what stands on an interface follow
    // it a little later.
    netwatchd.signal(SIGSTOP);
    ipBatch(lines + "link set eth1 down\n");
    ASSERT_TRUE(e2e::eventually([] {
        return e2e::run({"ip", "link", "show", "voip0"}).output.find("state LOWERLAYERDOWN") !=
               std::string::npos;
    }));
    netwatchd.signal(SIGCONT);
    ASSERT_TRUE(record->waitForRow("ProviderVoIP down 198.51.100.1"));
    record->listen(Milliseconds(200));
    ASSERT_EQ(record->entries().size(), 1U);
    EXPECT_THAT(record->entries()[0].rows,
                UnorderedElementsAre("ProviderInternet down 192.0.2.1", "ProviderVoIP down 198.51.100.1"));
}

// What comes a moment later still belongs to the burst. A machine that is busy with something else may tear
// some apart.
TEST_F(Interfaces, ThatChangeOneAfterTheOtherAreMostlyWrittenTogether) {
    ipBatch("link add link eth1 name voip0 type macvlan\n"
            "link set voip0 up\n");
    startAndSettle();
    constexpr int rounds = 20;
    int together = 0;
    for (int round = 0; round < rounds; ++round) {
        record->clear();
        const bool there = round % 2 == 0;
        const std::string verb = there ? "add" : "del";
        ipBatch("address " + verb + " 192.0.2.1/24 dev eth1\naddress " + verb +
                " 198.51.100.1/24 dev voip0\n");
        ASSERT_TRUE(
            record->waitForRow("ProviderInternet up " + std::string(there ? "192.0.2.1" : "0.0.0.0")));
        ASSERT_TRUE(record->waitForRow("ProviderVoIP up " + std::string(there ? "198.51.100.1" : "0.0.0.0")));
        together += record->entries().size() == 1 ? 1 : 0;
    }
    EXPECT_GE(together, rounds / 2);
}

TEST_F(Interfaces, AreRightInTheEndWhateverHappensDuringTheStart) {
    for (int round = 0; round < 10; ++round) {
        record.emplace();
        startNetwatchd();
        std::string lines;
        for (int i = 0; i < 30; ++i) {
            lines += "link set eth1 down\nlink set eth1 up\n"
                     "address add 192.0.2.1/24 dev eth1\naddress del 192.0.2.1/24 dev eth1\n";
        }
        const bool down = round % 2 == 0;
        ipBatch(lines + (down ? "link set eth1 down\n" : ""));
        ip("address replace 203.0.113." + std::to_string(round + 1) + "/24 dev eth1");
        const std::string expected =
            std::string(down ? "down" : "up") + " 203.0.113." + std::to_string(round + 1);
        EXPECT_TRUE(record->waitForRow("ProviderInternet " + expected)) << log();
        record->listen(Milliseconds(100));
        EXPECT_EQ(record->now("ProviderInternet"), expected);
        netwatchd.signal(SIGTERM);
        EXPECT_EQ(netwatchd.exitStatus(), 0);
        ip("address flush dev eth1");
    }
}

} // namespace
