#include <zel/daemon.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

// The lock belongs to the open file: it ends with the process, and O_CLOEXEC keeps it from the programs that
// the daemon starts.
struct ZEL_Daemon::Impl {
    std::string path;
    int fd = -1; // open and locked while this process holds the pid file

    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() { release(); }

    bool lock(int flags) {
        release();
        fd = open(path.c_str(), flags | O_CLOEXEC, 0644);
        if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        const int reason = errno;
        release();
        errno = reason;
        return false;
    }

    void release() {
        if (fd >= 0) {
            close(fd);
            fd = -1;
        }
    }

    ZEL_Daemon_PidFile failed() const {
        syslog(LOG_ERR, "cannot write pid file %s: %s", path.c_str(), std::strerror(errno));
        return ZEL_Daemon_PidFile::failed;
    }

    // False if the file that was locked has been removed from its name meanwhile.
    bool stillNamed() const {
        struct stat opened {};
        struct stat named {};
        return fstat(fd, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
               opened.st_dev == named.st_dev;
    }
};

ZEL_Daemon::ZEL_Daemon() : impl(std::make_unique<Impl>()) {}
ZEL_Daemon::~ZEL_Daemon() = default;

void ZEL_Daemon_construct(ZEL_Daemon& daemon, const std::string& name, const std::string& directory) {
    const char* other = std::getenv("PACERD_MEMORY_PIDDIR");
    daemon.impl->path = (other != nullptr ? other : directory) + "/" + name + ".pid";
}

bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& daemon) {
    if (daemon.impl->fd >= 0) {
        return false;
    }
    if (daemon.impl->lock(O_RDONLY)) {
        daemon.impl->release();
        return false;
    }
    return errno == EWOULDBLOCK;
}

void ZEL_Daemon_daemonize(ZEL_Daemon&) {
    if (::daemon(0, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot become a daemon");
    }
}

ZEL_Daemon_PidFile ZEL_Daemon_createPidFile(ZEL_Daemon& daemon) {
    do {
        if (!daemon.impl->lock(O_RDWR | O_CREAT)) {
            if (errno == EWOULDBLOCK) {
                return ZEL_Daemon_PidFile::heldByOther;
            }
            return daemon.impl->failed();
        }
    } while (!daemon.impl->stillNamed());
    if (ftruncate(daemon.impl->fd, 0) != 0 || dprintf(daemon.impl->fd, "%d\n", getpid()) < 0) {
        return daemon.impl->failed();
    }
    return ZEL_Daemon_PidFile::written;
}

void ZEL_Daemon_deletePidFile(ZEL_Daemon& daemon) {
    if (daemon.impl->fd >= 0 || daemon.impl->lock(O_RDONLY)) {
        if (daemon.impl->stillNamed()) {
            unlink(daemon.impl->path.c_str());
        }
        daemon.impl->release();
    }
}
