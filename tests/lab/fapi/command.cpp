#include "command.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace fapi::test {

namespace {

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

[[noreturn]] void execute(std::vector<std::string> words, const char* program = nullptr) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const std::string path = std::string(FAPI_BIN) + ":/usr/sbin:/usr/bin:/sbin:/bin";
    setenv("PATH", path.c_str(), 1);
    execvp(program == nullptr ? arguments[0] : program, arguments.data());
    _exit(127);
}

std::string readAll(int fd) {
    std::string text;
    char block[4096];
    ssize_t got = 0;
    while ((got = read(fd, block, sizeof block)) > 0) {
        text.append(block, static_cast<size_t>(got));
    }
    close(fd);
    return text;
}

int statusOf(int wait) {
    return WIFEXITED(wait) ? WEXITSTATUS(wait) : 128 + WTERMSIG(wait);
}

// `prepare` is called in the process that becomes the program.
Result run(
    const std::vector<std::string>& words, const std::function<void()>& prepare = [] {},
    const char* program = nullptr) {
    int out[2];
    char errName[] = "/tmp/fapi-test-XXXXXX";
    const int err = mkstemp(errName);
    unlink(errName);
    if (pipe2(out, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(out[1], 1);
        dup2(err, 2);
        prepare();
        execute(words, program);
    }
    close(out[1]);
    Result result;
    result.out = readAll(out[0]);
    int wait = 0;
    waitpid(child, &wait, 0);
    lseek(err, 0, SEEK_SET);
    result.err = readAll(err);
    result.status = statusOf(wait);
    return result;
}

} // namespace

Result command(const std::string& line) {
    return run(wordsOf(line));
}

Result shell(const std::string& line) {
    return run({"sh", "-c", line});
}

Result commandOf(const std::string& program, const std::string& line, const char* variable,
                 const std::string& value) {
    return run(
        wordsOf(line), [&] { setenv(variable, value.c_str(), 1); }, program.c_str());
}

Result limited(const std::string& line, int resource, int kilobytes) {
    return run(wordsOf(line), [&] {
        const rlimit limit{static_cast<rlim_t>(kilobytes) * 1024, static_cast<rlim_t>(kilobytes) * 1024};
        setrlimit(static_cast<__rlimit_resource>(resource), &limit);
    });
}

bool killedAtSystemCall(const std::string& line, int n) {
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        // The leak check cannot run under a tracer.
        const char* options = getenv("ASAN_OPTIONS");
        setenv("ASAN_OPTIONS", (std::string(options == nullptr ? "" : options) + ":detect_leaks=0").c_str(),
               1);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execute(wordsOf(line));
    }
    int wait = 0;
    waitpid(child, &wait, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int stop = 0;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &wait, 0);
        if (WIFEXITED(wait) || WIFSIGNALED(wait)) {
            if (statusOf(wait) != 0) {
                throw std::runtime_error(line + ": status " + std::to_string(statusOf(wait)));
            }
            return false;
        }
        if (WSTOPSIG(wait) == (SIGTRAP | 0x80) && ++stop == n) {
            kill(child, SIGKILL);
            waitpid(child, &wait, 0);
            return true;
        }
    }
}

KernelLog::KernelLog() : fd_(open("/dev/kmsg", O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    if (fd_ < 0 || lseek(fd_, 0, SEEK_END) != 0) {
        throw std::runtime_error("/dev/kmsg");
    }
}

KernelLog::~KernelLog() {
    close(fd_);
}

void KernelLog::readOn() {
    char record[8192];
    ssize_t got = 0;
    while ((got = read(fd_, record, sizeof record)) > 0 || errno == EPIPE) { // EPIPE: some were overwritten
        records_.emplace_back(record, static_cast<size_t>(std::max<ssize_t>(got, 0)));
        errno = 0;
    }
}

int KernelLog::count(const std::string& words) {
    readOn();
    return static_cast<int>(std::count_if(records_.begin(), records_.end(), [&](const std::string& text) {
        return text.find(words) != std::string::npos;
    }));
}

// "4,1234,5678,-;text": facility times 8 plus level, of which 4 is a warning.
int KernelLog::warnings(const std::string& words) {
    readOn();
    return static_cast<int>(std::count_if(records_.begin(), records_.end(), [&](const std::string& text) {
        return (atoi(text.c_str()) & 7) <= 4 && text.find(words) != std::string::npos;
    }));
}

} // namespace fapi::test
