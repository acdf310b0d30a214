#include "process/program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

namespace zel::test {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds saysTimeout{60};
constexpr std::chrono::seconds runTimeout{120};
constexpr std::chrono::milliseconds pause{5};

// In the child; does not return.
[[noreturn]] void become(char* const* words, const std::string& in, const std::string& out,
                         const std::string& err) {
    constexpr int notStarted = 127;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP, SIGPIPE}) {
        ::signal(signal, SIG_DFL); // a test in the background of a shell inherits some of them ignored
    }
    const int input = ::open(in.c_str(), O_RDONLY);
    const int output = ::open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int errors = ::open(err.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (::dup2(input, STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0 ||
        ::dup2(errors, STDERR_FILENO) < 0) {
        ::_exit(notStarted);
    }
    ::execvp(words[0], words);
    ::_exit(notStarted);
}

} // namespace

Program::Program(const std::vector<std::string>& words, const std::string& input) {
    std::vector<std::string> own = words;
    std::vector<char*> arguments;
    for (std::string& word : own) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const std::string in = sandbox_.write("in", input);
    const std::string out = sandbox_.path("out");
    const std::string err = sandbox_.path("err");
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid_ == 0) {
        become(arguments.data(), in, out, err);
    }
}

Program::~Program() {
    if (!poll()) {
        send(SIGKILL);
        wait();
    }
}

bool Program::says(const std::string& text) const {
    const auto end = steady_clock::now() + saysTimeout;
    while (out().find(text) == std::string::npos && err().find(text) == std::string::npos) {
        if (steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

void Program::send(int signal) const {
    if (!status_) {
        ::kill(pid_, signal);
    }
}

std::optional<int> Program::poll() {
    int status = 0;
    if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) {
        status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
    return status_;
}

Outcome Program::wait() {
    const auto end = steady_clock::now() + runTimeout;
    while (!poll()) {
        if (steady_clock::now() >= end) {
            send(SIGKILL);
        }
        std::this_thread::sleep_for(pause);
    }
    return {*status_, out(), err()};
}

Outcome run(const std::vector<std::string>& words, const std::string& input) {
    return Program(words, input).wait();
}

} // namespace zel::test
