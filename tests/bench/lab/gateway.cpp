#include "gateway.h"

#include "net/namespaces.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/udp.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace bench {

namespace {

// The thread's namespace while a gateway is there.
std::optional<lab::InNamespace>& place() {
    static std::optional<lab::InNamespace> there;
    return there;
}

void inLab(const std::string& command) {
    const e2e::Outcome outcome = e2e::run({"sh", "-c", command});
    if (outcome.status != 0) {
        throw std::runtime_error(command + ": " + outcome.errors);
    }
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

} // namespace

double seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

double milliseconds(Clock::duration time) {
    return 1000 * seconds(time);
}

LabGateway::LabGateway(const std::string& example) {
    inLab("lab clear && lab build " BENCH_SOURCE_FOLDER "/share/examples/" + example + ".json");
    place().emplace("gw");
}

LabGateway::~LabGateway() {
    place().reset();
    e2e::run({"sh", "-c", "lab clear; rm -rf /run/fapi-qos"});
}

void LabGateway::setMtu(int bytes) {
    const std::string mtu = " mtu " + std::to_string(bytes);
    run("ip -n line link set dev ptm0-up" + mtu);
    run("ip link set dev ptm0" + mtu);
    run("ip link set dev ppp0" + mtu);
}

fapi::tc::Counters LabGateway::sentBy(uint32_t handle) {
    fapi::nl::Socket socket;
    for (const fapi::tc::Class& found : fapi::tc::classes(socket, static_cast<int>(if_nametoindex("ptm0")))) {
        if (found.handle == handle) {
            return found.counters;
        }
    }
    throw std::runtime_error("no class " + fapi::tc::textOf(handle));
}

// posix_spawn and not fork: what a fork copies of this process is none of the measured program's cost.
Clock::duration run(const std::string& line) {
    std::vector<std::string> words = wordsOf(line);
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, 2, "/tmp/errors", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t child = 0;
    int status = -1;
    const auto begin = Clock::now();
    const int error = posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environ);
    if (error == 0) {
        waitpid(child, &status, 0);
    }
    const auto end = Clock::now();
    posix_spawn_file_actions_destroy(&files);
    if (status != 0) {
        throw std::runtime_error(line + ": " + e2e::readFile("/tmp/errors"));
    }
    return end - begin;
}

std::string installTools(const std::string& program, const std::string& below) {
    const std::string folder = below + "/installed-" + std::filesystem::path(program).filename().string();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    run("cp " + program + " " + folder + "/qcfg");
    for (const char* tool : {"classcfg", "ifcfg"}) {
        std::filesystem::create_symlink("qcfg", folder + "/" + tool);
    }
    return folder;
}

std::string outputOf(const std::string& line) {
    const e2e::Outcome outcome = e2e::run(wordsOf(line));
    if (outcome.status != 0) {
        throw std::runtime_error(line + ": " + outcome.errors);
    }
    return outcome.output;
}

Load::Load(int port, int mbit)
    : server_(e2e::Command{{"ip", "netns", "exec", "internet", "iperf3", "-s", "-p", std::to_string(port)}}) {
    // The server says nothing when it is ready: the first client that finds it stays.
    const bool sending = e2e::eventually([&] {
        client_ = e2e::Process(e2e::Command{
            {"ip", "netns", "exec", "lan", "iperf3", "-u", "-c", "198.51.100.10", "-p", std::to_string(port),
             "--cport", std::to_string(port), "-t", "60", "-l", "1472", "-b", std::to_string(mbit) + "M"}});
        return !client_.wait(e2e::Milliseconds(300)).has_value();
    });
    if (!sending) {
        throw std::runtime_error("iperf3 does not send");
    }
}

// A blocking socket whose buffer is shorter than the queue: it keeps packets waiting there, and none is
// dropped.
OwnLoad::OwnLoad(int mtu) {
    const int packetBytes = mtu - 28; // without IPv4 and UDP headers
    const int together =
        60'000 / packetBytes; // packets that one system call hands over; the kernel cuts them apart
    constexpr int bufferBytes = 2'000'000; // some 2,000 packets; the kernel doubles it
    constexpr const char* nobody = "203.0.113.77";
    const std::string station = "02:00:00:00:77:77";
    run(std::string("ip neigh replace ") + nobody + " lladdr " + station + " dev ppp0");
    // The wire drops them where it gets them: what lies behind it needs no processor time.
    run("bridge -n line fdb replace " + station + " dev ptm0-up master static");
    socket_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(9);
    inet_pton(AF_INET, nobody, &to.sin_addr);
    if (socket_ < 0 || setsockopt(socket_, SOL_UDP, UDP_SEGMENT, &packetBytes, sizeof packetBytes) != 0 ||
        setsockopt(socket_, SOL_SOCKET, SO_SNDBUFFORCE, &bufferBytes, sizeof bufferBytes) != 0 ||
        connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
        throw std::system_error(errno, std::generic_category(), "a socket for the load");
    }
    sender_ = std::jthread([=, this](const std::stop_token& stop) {
        (void)setpriority(PRIO_PROCESS, 0, -20); // of this thread: others' work must not empty the queue
        const std::string payload(static_cast<std::size_t>(packetBytes * together), 'x');
        while (!stop.stop_requested()) {
            (void)send(socket_, payload.data(), payload.size(), 0);
        }
    });
}

OwnLoad::~OwnLoad() {
    const timeval soon{0, 1}; // the port may stand nearly still
    (void)setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof soon);
    sender_.request_stop();
    sender_.join();
    close(socket_);
}

} // namespace bench
