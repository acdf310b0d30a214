// An uplink that flaps for long, with the real tools and the real kernel: daemon, interface watcher and
// kernel are after hundreds of rounds what they were after the first ones. PACERD_LAB_FLAPS says how often
// (default 6;
// ./run soak: 500).
#include "labtest.h"
#include "upkeep.h"

#include <linux/bpf.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <regex>
#include <set>

namespace lab {

namespace {

using Ids = std::set<uint32_t>;

int flaps() {
    const char* chosen = std::getenv("PACERD_LAB_FLAPS");
    return chosen == nullptr ? 6 : std::atoi(chosen);
}

long bpf(bpf_cmd command, bpf_attr& attributes) {
    return syscall(SYS_bpf, command, &attributes, sizeof attributes);
}

// A program or a map; -1 if there is none with that id.
int openById(bpf_cmd command, uint32_t id) {
    bpf_attr attributes{};
    attributes.prog_id = id; // shares its place with map_id
    const long fd = bpf(command, attributes);
    EXPECT_TRUE(fd >= 0 || errno == ENOENT) << std::strerror(errno);
    return static_cast<int>(fd);
}

// The kernel frees them some time after the last use.
bool goesAway(bpf_cmd command, uint32_t id) {
    return e2e::eventually([&] {
        const int fd = openById(command, id);
        if (fd >= 0) {
            close(fd);
        }
        return fd < 0;
    });
}

// Of the filters in a state: "bpf ... direct-action not_in_hw id 45 name ..."
Ids programsIn(const std::string& state) {
    static const std::regex shape(R"( bpf [^\n]* id (\d+) )");
    Ids ids;
    for (std::sregex_iterator match(state.begin(), state.end(), shape), end; match != end; ++match) {
        ids.insert(static_cast<uint32_t>(std::stoul((*match)[1])));
    }
    return ids;
}

Ids mapsOf(uint32_t program) {
    const int fd = openById(BPF_PROG_GET_FD_BY_ID, program);
    EXPECT_GE(fd, 0) << "program " << program;
    uint32_t maps[64] = {};
    bpf_prog_info info{};
    info.nr_map_ids = std::size(maps);
    info.map_ids = reinterpret_cast<uint64_t>(maps);
    bpf_attr attributes{};
    attributes.info.bpf_fd = static_cast<uint32_t>(fd);
    attributes.info.info_len = sizeof info;
    attributes.info.info = reinterpret_cast<uint64_t>(&info);
    EXPECT_EQ(bpf(BPF_OBJ_GET_INFO_BY_FD, attributes), 0) << std::strerror(errno);
    close(fd);
    return Ids(maps, maps + std::min<std::size_t>(info.nr_map_ids, std::size(maps)));
}

// What the tools keep beside the kernel.
std::string filesOfTheTools() {
    return shell("find /run/fapi-qos -type f -printf '%P %s\\n' | sort");
}

// A process that is to stay as it is.
class Watched {
  public:
    Watched(std::string name, pid_t id) : name_(std::move(name)), id_(id), files_(e2e::openFilesOf(id)) {}

    void look(int flaps) {
        EXPECT_EQ(e2e::openFilesOf(id_), files_) << name_;
        size_.add(flaps / 1000.0, static_cast<double>(e2e::proportionalSizeOf(id_)));
        own_.add(flaps / 1000.0, static_cast<double>(e2e::ownMemoryOf(id_)));
    }

    // Another kB for each hundred flaps is a leak; what the allocator gives and takes is less.
    void expectNoGrowth([[maybe_unused]] int flaps) {
        std::cout << name_ << ": " << files_ << " descriptors; from " << size_.first() << " to "
                  << size_.last() << " kB, " << size_.slope()
                  << " kB more for each 1000 flaps; its own memory from " << own_.first() << " to "
                  << own_.last() << " kB\n";
#ifndef E2E_SANITIZED // which keep freed memory for a while
        EXPECT_LE(own_.last() - own_.first(), 64 + flaps / 100) << name_;
        if (flaps >= 100) { // for a short one the programs of other tests move it more
            EXPECT_LE(size_.last() - size_.first(), 64 + flaps / 100) << name_;
        }
#endif
    }

  private:
    std::string name_;
    pid_t id_;
    long files_;
    e2e::Trend size_; // with its share of what it shares
    e2e::Trend own_;
};

class LabSoakTest : public LabTest {
  protected:
    void SetUp() override {
        buildGateway(e2e::exampleGateway("ethernet-wan"));
        untouched_ = gatewayState();
        shellIn("gw", "ip link set eth1 down");
        netwatchd_ = e2e::Process(
            e2e::Command{{"ip", "netns", "exec", "gw", "netwatchd"}, {}, "", "/tmp/netwatchd.log"});
        startDaemon();
    }

    void plugIn() {
        setLine("up", "0 => 1");
        shellIn("gw", "ip route replace default via 203.0.113.1"); // went with the interface
    }
    void pullOut() { setLine("down", "1 => 0"); }

    void flap() {
        plugIn();
        pullOut();
    }

    pid_t netwatchd() const { return netwatchd_.id(); }

    // What the first flap leaves behind and every later one finds and leaves again, no two rounds differ in.
    void expectNothingLeftOfAnyFlap() {
        shellIn("gw", "ip link set eth1 up"); // an interface that is down shows no default queue
        // The kernel may say a second later that it is up.
        EXPECT_TRUE(e2e::eventually([&] { return gatewayState() == untouched_; }))
            << difference(untouched_, gatewayState());
    }

  private:
    void setLine(const char* state, const char* transition) {
        log.clear();
        shellIn("gw", std::string("ip link set eth1 ") + state);
        EXPECT_TRUE(log.waitFor(std::string("info: WAN up statue ") + transition));
        EXPECT_TRUE(settlesOrEnds());
        expectNoErrors();
    }

    e2e::Process netwatchd_;
    std::string untouched_; // by any tool
};

TEST_F(LabSoakTest, DaemonWatcherAndKernelStayTheSame) {
    const int rounds = flaps();
    const int looks = rounds < 100 ? 2 : 10;
    for (int round = 0; round < std::max(2, rounds / 50); ++round) { // until all is there that is made once
        flap();
    }
    ASSERT_FALSE(HasFailure());
    const std::string fresh = gatewayState();
    Watched daemonItself("pacerd_ng", daemon->id());
    Watched watcher("netwatchd", netwatchd());
    std::size_t linesWhenUp = 0;
    Ids programs;
    Ids maps;
    int done = 0;
    for (int look = 1; look <= looks && !HasFailure(); ++look) {
        for (; done < rounds * look / looks && !HasFailure(); ++done) {
            flap();
        }
        daemonItself.look(done);
        watcher.look(done);
        EXPECT_EQ(difference(fresh, gatewayState()), "") << "after " << done << " flaps";
        EXPECT_EQ(filesOfTheTools(), "");

        plugIn();
        const std::string state = gatewayState();
        const auto lines = static_cast<std::size_t>(std::count(state.begin(), state.end(), '\n'));
        linesWhenUp = look == 1 ? lines : linesWhenUp;
        EXPECT_EQ(lines, linesWhenUp) << "after " << done << " flaps";
        const Ids now = programsIn(state);
        EXPECT_FALSE(now.empty());
        for (const uint32_t program : now) {
            maps.merge(mapsOf(program));
        }
        programs.insert(now.begin(), now.end());
        pullOut();
    }
    for (const uint32_t program : programs) {
        ASSERT_TRUE(goesAway(BPF_PROG_GET_FD_BY_ID, program)) << "program " << program;
    }
    for (const uint32_t map : maps) {
        ASSERT_TRUE(goesAway(BPF_MAP_GET_FD_BY_ID, map)) << "map " << map;
    }
    std::cout << done << " flaps, " << linesWhenUp << " lines of kernel state when up each time; "
              << programs.size() << " programs and " << maps.size() << " maps were looked at and are gone\n";
    daemonItself.expectNoGrowth(rounds);
    watcher.expectNoGrowth(rounds);
    stopDaemon();
    expectNothingLeftOfAnyFlap();
}

} // namespace

} // namespace lab
