#include "gateway.h"

#include "net/namespaces.h"

#include <fcntl.h>
#include <net/if.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <sstream>
#include <stdexcept>

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

LabGateway::LabGateway() {
    inLab("lab clear && lab build " BENCH_SOURCE_FOLDER "/share/examples/dsl-tripleplay.json");
    place().emplace("gw");
}

LabGateway::~LabGateway() {
    place().reset();
    e2e::run({"sh", "-c", "lab clear; rm -rf /run/fapi-qos"});
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

} // namespace bench
