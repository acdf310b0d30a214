#include "gateway.h"

#include <net/if.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace fapi::test {

namespace {

constexpr uint16_t lastId = 0xeeee;
constexpr int tries = 600;
constexpr useconds_t pauseUs = 50'000;

// Commands of ip(8), one a line; @lan and @wan in front run in those namespaces.
constexpr const char* topology = R"(
link set lo up
link add lan1 type veth peer name eth0 netns lan
link add ptm0 address 02:00:00:00:00:04 type veth peer name wan0 netns wan
link add plain0 type veth peer name wan1 netns wan
link add br0 address 02:00:00:00:00:01 type bridge mcast_snooping 0
link set lan1 master br0
link add ppp0 link ptm0 address 02:00:00:00:00:02 type macvlan mode bridge
link add ptm0.8 link ptm0 address 02:00:00:00:00:03 type macvlan mode bridge
link set br0 up
link set lan1 up
link set ptm0 up
link set plain0 up
link set ppp0 up
link set ptm0.8 up
addr add 192.168.1.1/24 dev br0
addr add 10.0.0.1/24 dev ppp0
addr add 10.0.8.1/24 dev ptm0.8
addr add 10.0.9.1/24 dev plain0
addr add fd01::1/64 dev br0 nodad
addr add fd02::1/64 dev ppp0 nodad
addr add fd08::1/64 dev ptm0.8 nodad
neigh add 10.0.0.2 lladdr 02:00:00:00:00:99 dev ppp0
neigh add 10.0.8.2 lladdr 02:00:00:00:00:99 dev ptm0.8
neigh add 10.0.9.2 lladdr 02:00:00:00:00:99 dev plain0
neigh add fd02::2 lladdr 02:00:00:00:00:99 dev ppp0
neigh add fd08::2 lladdr 02:00:00:00:00:99 dev ptm0.8
neigh add 192.168.1.10 lladdr 02:77:77:77:77:77 dev br0
neigh add fd01::10 lladdr 02:77:77:77:77:77 dev br0
@lan link set eth0 up
@wan link set wan0 up
@wan link set wan1 up
)";

void write(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

void buildTopology() {
    for (const char* netns : {"lan", "wan"}) {
        ASSERT_EQ(0, command(std::string("ip netns add ") + netns).status);
        // Silence: no neighbour discovery from these sides.
        command(std::string("ip netns exec ") + netns + " sysctl -qw net.ipv6.conf.default.disable_ipv6=1");
    }
    std::istringstream lines(topology);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            continue;
        }
        const std::string call = line[0] == '@' ? "ip -n " + line.substr(1) : "ip " + line;
        const Result result = command(call);
        ASSERT_EQ(0, result.status) << call << ": " << result.err;
    }
    write("/proc/sys/net/ipv4/ip_forward", "1");
    write("/proc/sys/net/ipv6/conf/all/forwarding", "1");
    write("/proc/sys/net/ipv4/conf/all/rp_filter", "0");
}

// All of this namespace, by name.
std::set<std::string> devices() {
    std::set<std::string> names;
    struct if_nameindex* const all = if_nameindex();
    for (const struct if_nameindex* one = all; one->if_index != 0; ++one) {
        names.insert(one->if_name);
    }
    if_freenameindex(all);
    return names;
}

} // namespace

void GatewayTest::SetUp() {
    ASSERT_EQ(0U, geteuid()) << "this test configures the kernel and must run as root";
    ASSERT_EQ(0, unshare(CLONE_NEWNET | CLONE_NEWNS));
    ASSERT_EQ(0, mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
    ASSERT_EQ(0, mount("test", "/run", "tmpfs", 0, nullptr));
    unsetenv("FAPI_QOS_STATE");
    buildTopology();
    waitForLinks();
}

// The kernel tells carriers and bridge port states from a worker of its own, up to a second later. Dumps that
// are compared must not straddle that.
void GatewayTest::waitForLinks() {
    static const std::regex unsettled("NO-CARRIER|state (DOWN|LOWERLAYERDOWN)");
    for (int i = 0; i < tries && std::regex_search(output("ip link show"), unsettled); ++i) {
        usleep(pauseUs);
    }
}

void GatewayTest::skipWithout(const char* what) {
    if (getenv("FAPI_NO_SKIPS") != nullptr) {
        FAIL() << "this kernel has no " << what;
    }
    GTEST_SKIP() << "this kernel has no " << what << ": run it under lab/vm";
}

void GatewayTest::addVlan() {
    if (command("ip link add ptm0.7 link ptm0 type vlan id 7 egress-qos-map 6:6").status != 0) {
        skipWithout("VLAN devices");
        return;
    }
    ok("ip link set ptm0.7 up");
    // The kernel finds out some time after it was made that a new VLAN is up.
    const auto isUp = [] { return output("ip link show ptm0.7").find("state UP") != std::string::npos; };
    for (int i = 0; i < tries && !isUp(); ++i) {
        usleep(pauseUs);
    }
}

void GatewayTest::needRed() {
    if (command("tc qdisc add dev plain0 root red limit 100000 avpkt 1000 bandwidth 10mbit").status != 0) {
        skipWithout("RED");
        return;
    }
    ok("tc qdisc del dev plain0 root");
}

bool GatewayTest::goesOn() {
    return !IsSkipped() && !HasFatalFailure();
}

void GatewayTest::ok(const std::string& line) {
    const Result result = command(line);
    EXPECT_EQ(0, result.status) << line;
    EXPECT_EQ("", result.err) << line;
}

void GatewayTest::fails(int status, const std::string& error, const std::string& line) {
    const Result result = command(line);
    EXPECT_EQ(status, result.status) << line;
    EXPECT_EQ(error + "\n", result.err) << line;
    EXPECT_EQ("", result.out) << line;
}

std::string GatewayTest::output(const std::string& line) {
    const Result result = command(line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result.out;
}

void GatewayTest::fillRun() {
    ok("mount -o remount,size=1M /run");
    command("dd if=/dev/zero of=/run/filler bs=4k count=1000"); // as much as goes in
}

void GatewayTest::emptyRun() {
    ok("rm /run/filler");
}

// One tc answers for all devices, for tests dump some hundred times. It does not say which device a class is
// of: the qdisc of lo, which is always the same, is asked for in front of each.
std::string GatewayTest::dump() {
    std::string questions = "qdisc show\\n";
    for (const std::string& device : devices()) {
        const std::string end = " show dev " + device;
        questions += "qdisc show dev lo\\nclass" + end + "\\nfilter" + end + "\\nfilter" + end +
                     " ingress\\nfilter" + end + " egress\\n";
    }
    const Result answers = shell("printf '" + questions + "' | tc -d -batch -");
    EXPECT_EQ(0, answers.status) << answers.err;
    static const std::regex timers("[a-z_]*timer +[0-9.]+|direct_packets_stat [0-9]+");
    return std::regex_replace(output("ip -d link show") + answers.out, timers, "");
}

std::map<std::string, ClassCounters> GatewayTest::classes(const std::string& device) {
    std::map<std::string, ClassCounters> found;
    std::istringstream lines(output("tc -s class show dev " + device));
    std::string handle;
    for (std::string line; std::getline(lines, line);) {
        char name[32];
        ClassCounters counters;
        if (line.rfind("class ", 0) == 0) {
            handle = sscanf(line.c_str(), "class htb %31s", name) == 1 ? name : "";
        } else if (!handle.empty() && sscanf(line.c_str(), " Sent %lu bytes %lu pkt (dropped %lu",
                                             &counters.bytes, &counters.packets, &counters.drops) == 3) {
            found[handle] = counters;
            handle.clear();
        }
    }
    return found;
}

Wire& GatewayTest::lan() {
    if (!lan_) {
        lan_ = std::make_unique<Wire>("lan", "eth0");
    }
    return *lan_;
}

Wire& GatewayTest::wan() {
    if (!wan_) {
        wan_ = std::make_unique<Wire>("wan", "wan0");
    }
    return *wan_;
}

std::map<uint16_t, Arrived> GatewayTest::throughGateway(std::vector<Packet> packets) {
    wan();
    Packet last; // no rule matches it, and it takes the slowest way: it comes behind all others
    last.protocol = 1;
    last.icmpType = 8;
    last.id = lastId;
    packets.push_back(last);
    for (const Packet& packet : packets) {
        lan().send(bridgeMac, packet);
    }
    std::map<uint16_t, Arrived> byId;
    for (const Arrived& packet : wan().receiveUntil(lastId)) {
        byId[packet.id] = packet;
    }
    EXPECT_EQ(1U, byId.erase(lastId)) << "the last packet did not arrive";
    return byId;
}

} // namespace fapi::test
