// Single instance, pid file and going into the background.
#pragma once

#include <memory>
#include <string>

// One program's pid file, DIRECTORY/NAME.pid. Whoever holds the file's lock is the running instance: a file
// left behind by a killed process holds nothing, whatever number stands in it. Nor does anything that another
// user than root or one's own may have put there; it is left alone. Only its owner can open the file, or
// anybody could lock it.
struct ZEL_Daemon {
    ZEL_Daemon();
    ZEL_Daemon(const ZEL_Daemon&) = delete;
    ZEL_Daemon& operator=(const ZEL_Daemon&) = delete;
    ~ZEL_Daemon();

    struct Impl;
    std::unique_ptr<Impl> impl;
};

enum class ZEL_Daemon_PidFile {
    written,
    heldByOther, // another process was faster
    failed,      // not writable; the reason has been logged
};

void ZEL_Daemon_construct(ZEL_Daemon& daemon, const std::string& name, const std::string& directory);

// Whether a running process holds the pid file. Writes nothing.
bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& daemon);

// Returns in the background process only, detached from its terminal, with "/" as its directory.
// Throws std::system_error if there can be no such process.
void ZEL_Daemon_daemonize(ZEL_Daemon& daemon);

// Takes the pid file's lock and writes this process's id.
ZEL_Daemon_PidFile ZEL_Daemon_createPidFile(ZEL_Daemon& daemon);

// Removes the pid file if it is this process's own or nobody's. Another running instance keeps its file.
void ZEL_Daemon_deletePidFile(ZEL_Daemon& daemon);
