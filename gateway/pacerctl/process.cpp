#include "pacerctl/process.h"

#include "pacerctl/listingchecks.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

namespace pacerctl {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{30};
constexpr std::size_t largestOutput = 64U << 20U;

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    int get() const { return number_; }
    void set(int number) {
        close();
        number_ = number;
    }
    void close() {
        if (number_ >= 0) {
            ::close(number_);
        }
        number_ = -1;
    }

  private:
    int number_;
};

struct Pipe {
    Descriptor reader;
    Descriptor writer;

    bool open() {
        std::array<int, 2> ends = {};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            return false;
        }
        reader.set(ends[0]);
        writer.set(ends[1]);
        return true;
    }
};

// The child's ends become its standard input and output.
int spawn(const std::string& file, const std::vector<std::string>& words, const Pipe& input,
          const Pipe& output, pid_t& child) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.reader.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.writer.get(), STDOUT_FILENO);
    const int error = ::posix_spawn(&child, file.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

// Writes and reads at once, because either side may wait for the other. Returns why it gave up, or nothing.
std::string exchange(const std::string& input, Pipe& toChild, Pipe& fromChild,
                     SteadyClock::time_point deadline, std::string& received) {
    ::fcntl(toChild.writer.get(), F_SETFL, O_NONBLOCK);
    std::size_t sent = 0;
    std::array<char, 65536> buffer = {};
    while (true) {
        if (sent == input.size()) {
            toChild.writer.close();
        }
        std::array<pollfd, 2> waits = {pollfd{fromChild.reader.get(), POLLIN, 0},
                                       pollfd{toChild.writer.get(), POLLOUT, 0}};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now()).count();
        const int ready = left <= 0 ? 0 : ::poll(waits.data(), waits.size(), static_cast<int>(left));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return "does not end";
        }
        if ((waits[1].revents & (POLLOUT | POLLERR)) != 0) {
            const ssize_t count = ::write(toChild.writer.get(), input.data() + sent, input.size() - sent);
            if (count < 0 && errno != EAGAIN && errno != EINTR) {
                sent = input.size(); // it does not want to read more
            } else if (count > 0) {
                sent += static_cast<std::size_t>(count);
            }
        }
        if ((waits[0].revents & (POLLIN | POLLHUP)) != 0) {
            const ssize_t count = ::read(fromChild.reader.get(), buffer.data(), buffer.size());
            if (count == 0) {
                return "";
            }
            if (count > 0) {
                received.append(buffer.data(), static_cast<std::size_t>(count));
            }
            if (received.size() > largestOutput) {
                return "writes too much";
            }
        }
    }
}

// A child that has closed its output is about to end; one that does not is ended.
std::string waitFor(pid_t child, SteadyClock::time_point deadline) {
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (SteadyClock::now() >= deadline) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return "does not end";
        }
        ::usleep(1000);
    }
    if (WIFSIGNALED(status)) {
        return "is ended by signal " + std::to_string(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "exits with status " + std::to_string(WEXITSTATUS(status));
}

// A child that stops reading must not end this program.
class IgnoredPipeSignal {
  public:
    IgnoredPipeSignal() : old_(std::signal(SIGPIPE, SIG_IGN)) {}
    IgnoredPipeSignal(const IgnoredPipeSignal&) = delete;
    IgnoredPipeSignal& operator=(const IgnoredPipeSignal&) = delete;
    ~IgnoredPipeSignal() {
        if (old_ != SIG_ERR) {
            static_cast<void>(std::signal(SIGPIPE, old_));
        }
    }

  private:
    void (*old_)(int);
};

} // namespace

ProcessResult runProcess(const std::vector<std::string>& words, const std::string& input) {
    const IgnoredPipeSignal noPipeSignal;
    ProcessResult result;
    const std::string file = findInPath(words.front());
    if (file.empty()) {
        result.failure = "is not in PATH";
        return result;
    }
    Pipe toChild;
    Pipe fromChild;
    pid_t child = 0;
    if (!toChild.open() || !fromChild.open()) {
        result.failure = std::string("cannot be started: ") + std::strerror(errno);
        return result;
    }
    if (const int error = spawn(file, words, toChild, fromChild, child); error != 0) {
        result.failure = std::string("cannot be started: ") + std::strerror(error);
        return result;
    }
    toChild.reader.close();
    fromChild.writer.close();
    const auto deadline = SteadyClock::now() + patience;
    result.failure = exchange(input, toChild, fromChild, deadline, result.output);
    if (!result.failure.empty()) {
        ::kill(child, SIGKILL);
    }
    const std::string end = waitFor(child, deadline);
    if (result.failure.empty()) {
        result.failure = end;
    }
    return result;
}

} // namespace pacerctl
