#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

extern char** environ; // NOLINT: the system's own

namespace e2e {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        result.push_back(name + "=" + value);
    }
    return result;
}

// The program is looked for in the PATH that it will see.
std::string findProgram(const std::string& name, const std::map<std::string, std::string>& environment) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    const auto own = environment.find("PATH");
    const char* path = own != environment.end() ? own->second.c_str() : std::getenv("PATH");
    std::string rest = path == nullptr ? "/usr/sbin:/usr/bin:/sbin:/bin" : path;
    rest += ":/usr/sbin:/sbin";
    for (std::size_t begin = 0; begin <= rest.size();) {
        const std::size_t end = std::min(rest.find(':', begin), rest.size());
        const std::string candidate = rest.substr(begin, end - begin) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        begin = end + 1;
    }
    return name;
}

// Between fork and exec: nothing but system calls.
[[noreturn]] void becomeProgram(const Command& command, const char* program, char* const* words,
                                char* const* environment, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(127);
    }
    const auto redirect = [](const std::string& file, int target) {
        const char* path = file.empty() ? "/dev/null" : file.c_str();
        dup2(open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644), target);
    };
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    redirect(command.output, STDOUT_FILENO);
    redirect(command.errors, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0); // what this process was started with is not the program's
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (command.user != 0 && setuid(command.user) != 0) {
        _exit(127);
    }
    execve(program, words, environment);
    _exit(127);
}

} // namespace

Process::Process(const Command& command) {
    std::vector<std::string> words = command.words;
    std::vector<std::string> environment = environmentWith(command.environment);
    const std::string program = findProgram(words.front(), command.environment);
    const std::vector<char*> wordPointers = pointers(words);
    const std::vector<char*> environmentPointers = pointers(environment);
    const pid_t parent = getpid();
    id_ = fork();
    if (id_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (id_ == 0) {
        becomeProgram(command, program.c_str(), wordPointers.data(), environmentPointers.data(), parent);
    }
}

Process Process::adopt(pid_t id) {
    Process process;
    process.id_ = id;
    return process;
}

Process::Process(Process&& other) noexcept : id_(std::exchange(other.id_, -1)) {}

Process& Process::operator=(Process&& other) noexcept {
    std::swap(id_, other.id_);
    return *this;
}

Process::~Process() {
    if (running()) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
}

void Process::signal(int number) const {
    if (running()) {
        ::kill(id_, number);
    }
}

std::optional<int> Process::wait(Milliseconds limit) {
    if (!running()) {
        return std::nullopt;
    }
    pollfd ended = {static_cast<int>(syscall(SYS_pidfd_open, id_, 0)), POLLIN, 0};
    const int count = ::poll(&ended, 1, static_cast<int>(limit.count()));
    ::close(ended.fd);
    int status = 0;
    if (count <= 0 || ::waitpid(id_, &status, 0) != id_) {
        return std::nullopt;
    }
    id_ = -1;
    return status;
}

int Process::exitStatus(Milliseconds limit) {
    const std::optional<int> status = wait(limit);
    if (!status) {
        return -1;
    }
    return WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status);
}

Outcome run(const std::vector<std::string>& words, const std::map<std::string, std::string>& environment) {
    static int count = 0;
    const std::string base = "/tmp/run." + std::to_string(getpid()) + "." + std::to_string(++count);
    Process process(Command{words, environment, base + ".out", base + ".err"});
    const int status = process.exitStatus();
    Outcome outcome{status, readFile(base + ".out"), readFile(base + ".err")};
    ::unlink((base + ".out").c_str());
    ::unlink((base + ".err").c_str());
    return outcome;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
}

void pause(Milliseconds time) {
    std::this_thread::sleep_for(time);
}

} // namespace e2e
