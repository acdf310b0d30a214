#include "privatemachine.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace e2e {

namespace {

void require(int result, const std::string& what) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

// Without root, a user namespace in which this user is root gives the right to mount.
void unshareNamespaces() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const int namespaces = CLONE_NEWNS | CLONE_NEWPID;
    require(unshare(user == 0 ? namespaces : namespaces | CLONE_NEWUSER), "unshare");
    if (user != 0) {
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "make mounts private");
}

// The first process of the new namespace: when it ends, the kernel ends all the others. The original process
// only passes its status on.
void continueAsFirstProcess() {
    const pid_t first = fork();
    require(first < 0 ? -1 : 0, "fork");
    if (first == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        return;
    }
    int status = 0;
    while (waitpid(first, &status, 0) < 0 && errno == EINTR) {
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

void mountEmpty(const std::string& path) {
    require(mount("tmpfs", path.c_str(), "tmpfs", 0, "mode=1777"), "mount a tmpfs on " + path);
}

void bind(const std::string& from, const std::string& to) {
    require(mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr), "bind " + from);
}

// Only what a shell and the tools need. /dev/log is the tests' to make.
void mountDevices() {
    const std::string staging = "/tmp/dev";
    fs::create_directory(staging);
    mountEmpty(staging);
    for (const char* device : {"null", "zero", "full", "random", "urandom", "tty"}) {
        const std::string target = staging + "/" + device;
        writeFile(target, "");
        bind(std::string("/dev/") + device, target);
    }
    fs::create_directory(staging + "/shm");
    fs::create_symlink("/proc/self/fd", staging + "/fd");
    require(mount(staging.c_str(), "/dev", nullptr, MS_MOVE, nullptr), "mount /dev");
    fs::remove(staging);
}

bool isBelow(const std::string& path, const std::string& folder) {
    return path.compare(0, folder.size() + 1, folder + "/") == 0;
}

} // namespace

void enterPrivateMachine(const std::vector<std::string>& kept) {
    unshareNamespaces();
    continueAsFirstProcess();
    // Processes by their numbers in here, where the kernel allows a second /proc.
    mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
    const std::string before = fs::current_path();
    // Opened before they are covered: a checkout may lie below /tmp.
    std::vector<std::pair<int, std::string>> folders;
    for (const std::string& folder : kept) {
        if (isBelow(folder, "/tmp") || isBelow(folder, "/run")) {
            folders.emplace_back(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC), folder);
        }
    }
    mountEmpty("/tmp");
    mountEmpty("/run");
    mountDevices();
    for (const auto& [fd, folder] : folders) {
        fs::create_directories(folder);
        bind("/proc/self/fd/" + std::to_string(fd), folder);
        close(fd);
    }
    if (!fs::is_symlink("/var/run")) {
        bind("/run", "/var/run");
    }
    umask(022);
    // Relative paths lead to the covered folder until the name is looked up again.
    std::error_code gone;
    fs::current_path(before, gone);
    if (gone) {
        fs::current_path("/tmp");
    }
}

} // namespace e2e
