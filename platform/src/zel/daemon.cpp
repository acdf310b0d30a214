#include "ovsdb/uniquefd.h"

#include <zel/daemon.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <bsd/libutil.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <system_error>

namespace {

struct PidFileCloser {
    void operator()(pidfh* handle) const { ::pidfile_close(handle); }
};

// Not O_CREAT: looking must leave no trace.
ovsdb::UniqueFd openExisting(const std::string& path) {
    return ovsdb::UniqueFd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
}

bool isSameFile(int fd, const std::string& path) {
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(fd, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// Nothing stands there, or a file as it should.
bool isFreeForFile(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

// What pidfile_open says of a file that another process has locked; the last two when that process has not
// written a proper number into it.
bool isLocked(int error) {
    return error == EEXIST || error == EAGAIN || error == EINVAL;
}

void logFailure(const std::string& path, const char* reason) {
    ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul("daemon"), "daemon.cpp", __LINE__,
                          VAStr("pid file '%s' cannot be written: %s", path.c_str(), reason));
}

} // namespace

struct ZEL_Daemon::Impl {
    std::string path;
    std::unique_ptr<pidfh, PidFileCloser> own;
};

ZEL_Daemon::ZEL_Daemon() : impl(std::make_unique<Impl>()) {}

ZEL_Daemon::~ZEL_Daemon() = default;

void ZEL_Daemon_construct(ZEL_Daemon& daemon, const std::string& name, const std::string& directory) {
    daemon.impl->own.reset();
    daemon.impl->path = directory + "/" + name + ".pid";
}

bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& daemon) {
    if (daemon.impl->own != nullptr) {
        return false; // held by this process itself
    }
    const ovsdb::UniqueFd file = openExisting(daemon.impl->path);
    // A shared lock, given back at once when `file` is closed, so that two who look do not see each other.
    return file.valid() && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

void ZEL_Daemon_daemonize(ZEL_Daemon& /*daemon*/) {
    // The parent leaves without flushing, and the child's streams lead nowhere.
    std::cout.flush();
    static_cast<void>(std::fflush(nullptr));
    if (::daemon(0, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot go into the background");
    }
}

ZEL_Daemon_PidFile ZEL_Daemon_createPidFile(ZEL_Daemon& daemon) {
    ZEL_Daemon::Impl& impl = *daemon.impl;
    // Somebody who merely looks, or deletes what nobody holds, has the lock for a few microseconds: only who
    // keeps it is another instance.
    constexpr int attempts = 10;
    constexpr useconds_t pauseUs = 10'000;
    int error = 0;
    for (int attempt = 0; impl.own == nullptr && attempt < attempts; ++attempt) {
        if (attempt > 0) {
            ::usleep(pauseUs);
        }
        if (!isFreeForFile(impl.path)) {
            logFailure(impl.path, "not a regular file");
            return ZEL_Daemon_PidFile::failed;
        }
        pid_t other = 0;
        impl.own.reset(::pidfile_open(impl.path.c_str(), 0644, &other));
        error = errno;
    }
    if (impl.own == nullptr && isLocked(error)) {
        return ZEL_Daemon_PidFile::heldByOther;
    }
    if (impl.own == nullptr) {
        logFailure(impl.path, std::strerror(error));
        return ZEL_Daemon_PidFile::failed;
    }
    // A lock that the commands inherit would outlive this process.
    ::fcntl(::pidfile_fileno(impl.own.get()), F_SETFD, FD_CLOEXEC);
    if (::pidfile_write(impl.own.get()) != 0) {
        logFailure(impl.path, std::strerror(errno));
        impl.own.reset();
        return ZEL_Daemon_PidFile::failed;
    }
    return ZEL_Daemon_PidFile::written;
}

void ZEL_Daemon_deletePidFile(ZEL_Daemon& daemon) {
    ZEL_Daemon::Impl& impl = *daemon.impl;
    if (impl.own != nullptr) {
        ::pidfile_remove(impl.own.release());
        return;
    }
    const ovsdb::UniqueFd file = openExisting(impl.path);
    // Whoever creates the file locks it and then looks whether it is still the one of that name, so removing
    // it under the lock takes it from nobody.
    if (file.valid() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 && isSameFile(file.get(), impl.path)) {
        ::unlink(impl.path.c_str());
    }
}
