#include "ovsdb/uniquefd.h"

#include <zel/daemon.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <bsd/libutil.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <system_error>
#include <utility>

namespace {

// What stands at the pid file's place.
struct Found {
    ovsdb::UniqueFd file; // for reading, which is all that a lock needs
    int error = 0;        // why it could not be opened
    std::string fault;    // why it is no pid file
};

// What nobody but its owner could have opened: another name that somebody has given to a running instance's
// file takes nothing from it.
bool isHeldByItsOwner(int fd, const struct stat& status) {
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    if ((status.st_mode & others) != 0) {
        return false;
    }
    const bool held = ::flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (!held) {
        ::flock(fd, LOCK_UN);
    }
    return held;
}

// Somebody else may have put it there, to have it written to or to hold its lock for ever.
std::string whyNoPidFile(int fd, const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
        return "it belongs to user " + std::to_string(status.st_uid);
    }
    if (status.st_nlink > 1 && !isHeldByItsOwner(fd, status)) {
        return "it is a hard link, one of " + std::to_string(status.st_nlink);
    }
    return "";
}

// Not O_CREAT: looking must leave no trace.
Found find(const std::string& path) {
    Found found;
    found.file = ovsdb::UniqueFd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    found.error = found.file.valid() ? 0 : errno;
    struct stat status = {};
    if ((found.file.valid() ? ::fstat(found.file.get(), &status) : ::lstat(path.c_str(), &status)) == 0) {
        found.fault = whyNoPidFile(found.file.get(), status);
    }
    return found;
}

bool isSameFile(int fd, const std::string& path) {
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(fd, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// For who may not open the file: the kernel's list of locks, where that can be read.
bool isListedAsLocked(const std::string& path) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0) {
        return false;
    }
    const std::string file =
        VAStr(" %02x:%02x:%llu 0 EOF", major(status.st_dev), minor(status.st_dev),
              static_cast<unsigned long long>(status.st_ino)); // NOLINT(google-runtime-int): as printf has it
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        if (line.find(" FLOCK ") != std::string::npos && line.ends_with(file)) {
            return true;
        }
    }
    return false;
}

// Whoever creates the file locks it and then looks whether it is still the one of that name, so removing it
// under the lock takes it from nobody.
void removeNobodys(const Found& found, const std::string& path) {
    if (found.fault.empty() && found.file.valid() && ::flock(found.file.get(), LOCK_EX | LOCK_NB) == 0 &&
        isSameFile(found.file.get(), path)) {
        ::unlink(path.c_str());
    }
}

// Whatever stands there already is never opened for writing, however it came there; and a file made anew
// is none that others could have opened before, when its lock would be anybody's to take.
Found create(const std::string& path) {
    Found found = find(path);
    if (!found.fault.empty() || (found.error != 0 && found.error != ENOENT)) {
        return found;
    }
    removeNobodys(found, path);
    constexpr mode_t ownersAlone = 0600; // flock() asks for no more than a file opened for reading
    found.file = ovsdb::UniqueFd(
        ::flopen(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_CLOEXEC, ownersAlone));
    found.error = found.file.valid() ? 0 : errno;
    return found;
}

bool isTaken(int error) {
    return error == EEXIST || error == EWOULDBLOCK;
}

// Returns 0 or what errno says.
int writeId(int fd) {
    const std::string id = std::to_string(::getpid());
    if (::ftruncate(fd, 0) != 0) {
        return errno;
    }
    const ssize_t written = ::pwrite(fd, id.data(), id.size(), 0);
    return written < 0 ? errno : written == static_cast<ssize_t>(id.size()) ? 0 : ENOSPC;
}

void logFailure(const std::string& path, const std::string& reason) {
    ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul("daemon"), "daemon.cpp", __LINE__,
                          VAStr("pid file '%s' cannot be written: %s", path.c_str(), reason.c_str()));
}

} // namespace

struct ZEL_Daemon::Impl {
    std::string path;
    ovsdb::UniqueFd own; // locked
};

ZEL_Daemon::ZEL_Daemon() : impl(std::make_unique<Impl>()) {}

ZEL_Daemon::~ZEL_Daemon() = default;

void ZEL_Daemon_construct(ZEL_Daemon& daemon, const std::string& name, const std::string& directory) {
    daemon.impl->own.reset();
    daemon.impl->path = directory + "/" + name + ".pid";
}

bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& daemon) {
    const ZEL_Daemon::Impl& impl = *daemon.impl;
    if (impl.own.valid()) {
        return false; // held by this process itself
    }
    const Found found = find(impl.path);
    if (!found.fault.empty()) {
        return false;
    }
    if (!found.file.valid()) {
        return found.error == EACCES && isListedAsLocked(impl.path);
    }
    // A shared lock, given back at once when the file is closed, so that two who look do not see each other.
    return ::flock(found.file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
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
    Found found;
    for (int attempt = 0; !impl.own.valid() && attempt < attempts; ++attempt) {
        if (attempt > 0) {
            ::usleep(pauseUs);
        }
        found = create(impl.path);
        if (!found.fault.empty()) {
            logFailure(impl.path, found.fault + "; remove it and start again");
            return ZEL_Daemon_PidFile::failed;
        }
        if (found.error != 0 && !isTaken(found.error)) {
            break;
        }
        impl.own = std::move(found.file);
    }
    if (impl.own.valid()) {
        found.error = writeId(impl.own.get());
        if (found.error == 0) {
            return ZEL_Daemon_PidFile::written;
        }
        ZEL_Daemon_deletePidFile(daemon);
    } else if (isTaken(found.error) || (found.error == EACCES && isListedAsLocked(impl.path))) {
        return ZEL_Daemon_PidFile::heldByOther;
    }
    logFailure(impl.path, std::strerror(found.error));
    return ZEL_Daemon_PidFile::failed;
}

void ZEL_Daemon_deletePidFile(ZEL_Daemon& daemon) {
    ZEL_Daemon::Impl& impl = *daemon.impl;
    if (!impl.own.valid()) {
        removeNobodys(find(impl.path), impl.path);
        return;
    }
    if (isSameFile(impl.own.get(), impl.path)) {
        ::unlink(impl.path.c_str());
    }
    impl.own.reset();
}
