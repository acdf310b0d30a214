#include "store.h"

#include "failure.h"
#include "rulefile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace fapi {

namespace {

#ifndef SO_NETNS_COOKIE
constexpr int SO_NETNS_COOKIE = 71;
#endif

// Names a network namespace for as long as the machine runs; unlike its inode number it is never used again.
std::string namespaceName() {
    const UniqueFd any(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    uint64_t cookie = 0;
    socklen_t size = sizeof cookie;
    if (any && getsockopt(any.get(), SOL_SOCKET, SO_NETNS_COOKIE, &cookie, &size) == 0) {
        return "net-" + std::to_string(cookie);
    }
    struct stat self {};
    if (stat("/proc/self/ns/net", &self) == 0) { // before Linux 5.14
        return "net-inode-" + std::to_string(self.st_ino);
    }
    return "net";
}

std::string rootFolder() {
    const char* chosen = getenv("FAPI_QOS_STATE");
    std::string folder = chosen != nullptr && *chosen != '\0' ? chosen : "/run/fapi-qos";
    while (folder.size() > 1 && folder.back() == '/') { // with it open() would follow a link
        folder.pop_back();
    }
    return folder;
}

// More than any state takes, less than would hurt: a thousand queues are 60 kB. What is longer is cut off.
constexpr size_t mostRead = size_t{16} << 20; // bytes
static_assert(mostRead > largestRulesFile);

std::string readAll(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file && errno == ENOENT) {
        return {};
    }
    struct stat about {};
    if (!file || fstat(file.get(), &about) != 0) {
        throw Failure(withErrno(path, errno));
    }
    std::string text(std::min(static_cast<size_t>(about.st_size), mostRead), '\0');
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t got = read(file.get(), text.data() + done, text.size() - done);
        if (got < 0) {
            throw Failure(withErrno(path, errno));
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    text.resize(done);
    return text;
}

bool isNothing(const State& state) {
    return state.empty() && state.clsacts.empty();
}

// What a function makes of a file's content; its complaint names the file.
template <typename Parse>
auto parsed(const std::string& path, const std::string& text, const Parse& parse) {
    try {
        return parse(text);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
}

// Returns 0, or what errno says.
int writeAll(int file, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t wrote = write(file, text.data() + done, text.size() - done);
        if (wrote < 0 && errno != EINTR) {
            return errno;
        }
        done += wrote > 0 ? static_cast<size_t>(wrote) : 0;
    }
    return 0;
}

int writeFresh(const std::string& path, const std::string& text) {
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    return file ? writeAll(file.get(), text) : errno;
}

// On a full disk, what takes no more room than the file has. Blank lines, which say nothing, cover the rest
// of the old text until it is cut off.
bool writeOver(const std::string& path, std::string text) {
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    struct stat about {};
    constexpr off_t blockSize = 512; // of st_blocks, everywhere
    const auto size = static_cast<off_t>(text.size());
    if (!file || fstat(file.get(), &about) != 0 || size > about.st_blocks * blockSize) {
        return false;
    }
    text.resize(static_cast<size_t>(std::max(size, about.st_size)), '\n');
    return writeAll(file.get(), text) == 0 && ftruncate(file.get(), size) == 0;
}

} // namespace

// Others than root may read what they know the name of, but not open the folder: whoever opens it can lock
// it.
Store::Store(Access access)
    : root_(rootFolder()), folder_(root_ + "/" + namespaceName()), busy_(folder_ + "/busy"), access_(access) {
    lock(access);
}

// What is read from there becomes the kernel's state, and what is written there must not end up elsewhere:
// nobody but root and this user may have a hand in it. Below it, then, nobody else can put anything.
void Store::requireOwn(int folder) const {
    struct stat about {};
    if (fstat(folder, &about) != 0) {
        throw Failure(withErrno("state folder " + root_, errno));
    }
    if (about.st_uid != 0 && about.st_uid != geteuid()) {
        throw Failure("state folder " + root_ + " belongs to user " + std::to_string(about.st_uid) +
                      ", who is not trusted");
    }
    if ((about.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw Failure("state folder " + root_ + " can be written by others than its owner");
    }
}

void Store::lock(Access access) {
    const auto openRoot = [this] {
        lock_ = UniqueFd(open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    };
    openRoot();
    if (!lock_ && access == Access::write && errno == ENOENT) {
        if (mkdir(root_.c_str(), 0711) != 0 && errno != EEXIST) {
            throw Failure(withErrno("state folder " + root_, errno));
        }
        openRoot();
    }
    if (!lock_) {
        if (access == Access::read && (errno == ENOENT || errno == EACCES)) {
            return; // nothing was ever configured, or it can be read but not locked
        }
        throw Failure(withErrno("state folder " + root_, errno));
    }
    requireOwn(lock_.get());
    const int kind = access == Access::read ? LOCK_SH : LOCK_EX;
    constexpr timespec pause{0, 1'000'000};
    for (int tries = 0; flock(lock_.get(), kind | LOCK_NB) != 0; ++tries) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            throw Failure(withErrno("locking " + root_, errno));
        }
        if (tries == 30'000) {
            throw Failure("another call holds the lock on " + root_ + " for 30 s");
        }
        (void)nanosleep(&pause, nullptr);
    }
}

// A file that cannot be read may be whole, and is left alone.
State Store::load() {
    const std::string lines = folder_ + "/state";
    const std::string records = folder_ + "/rules";
    const std::string lineText = readAll(lines);
    const std::string recordBytes = readAll(records);
    try {
        State state = parsed(lines, lineText, parseState);
        state.rules = parsed(records, recordBytes, parseRules);
        return state;
    } catch (const Failure& failure) {
        if (access_ == Access::read) {
            throw Failure(std::string(failure.what()) + "; the next change drops it");
        }
        damage_ = failure.what();
        (void)markBusy();
        (void)unlink(lines.c_str());
        (void)unlink(records.c_str());
        return {};
    }
}

void Store::makeFolder() {
    if (mkdir(folder_.c_str(), 0755) != 0 && errno != EEXIST) {
        throw Failure(withErrno("state folder " + folder_, errno));
    }
}

void Store::save(const State& state, const State& before) {
    empty_ = isNothing(state);
    if (empty_) {
        (void)unlink((folder_ + "/state").c_str());
        (void)unlink((folder_ + "/rules").c_str());
        return;
    }
    saveRules(state.rules, before.rules);
    const std::string text = formatState(state);
    if (text != formatState(before)) {
        saveText(text);
    }
}

// Writes only what is different, which a full disk may still have room for; the rules first, whose records
// are there already.
void Store::saveBack(const State& state, const State& before, const State& tried) {
    if (!isNothing(state)) {
        saveRules(state.rules, tried.rules);
    }
    save(state, before);
    if (empty_) {
        return;
    }
    const std::string text = formatState(state);
    if (text != readAll(folder_ + "/state")) {
        saveText(text);
    }
}

void Store::saveText(const std::string& text) {
    const std::string file = folder_ + "/state";
    const std::string fresh = file + ".new";
    unfinished_ = true;
    int error = writeFresh(fresh, text);
    if (error == ENOSPC || error == EDQUOT) {
        (void)unlink(fresh.c_str()); // and it gives back what it took
        error = writeOver(file, text) ? 0 : error;
    } else if (error == 0 && rename(fresh.c_str(), file.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        throw Failure(withErrno(fresh, error));
    }
    unfinished_ = false;
}

// A record is written by one call and lies within one page: a kill leaves it as it was or as it should be.
void Store::saveRules(const RuleTable& rules, const RuleTable& before) {
    UniqueFd file;
    const std::string path = folder_ + "/rules";
    for (const uint32_t slot : RuleTable::candidates(rules, before)) {
        const Rule& rule = rules.at(slot);
        if (rule == before.at(slot)) {
            continue;
        }
        if (!file) {
            file = UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        }
        const auto offset = static_cast<off_t>((slot - 1) * sizeof(Rule));
        if (!file || pwrite(file.get(), &rule, sizeof rule, offset) != sizeof rule) {
            throw Failure(withErrno(path, errno));
        }
    }
}

bool Store::interrupted() const {
    return access(busy_.c_str(), F_OK) == 0;
}

bool Store::markBusy() {
    const auto create = [&] {
        return UniqueFd(open(busy_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    };
    UniqueFd busy = create();
    if (!busy && errno == ENOENT) {
        makeFolder();
        busy = create();
    }
    if (!busy && errno != EEXIST) {
        throw Failure(withErrno(busy_, errno));
    }
    unfinished_ = unfinished_ || !busy;
    return !busy;
}

// What may lie about goes first: without the mark no later call looks for it.
void Store::markDone() {
    if (unfinished_) {
        (void)unlink((folder_ + "/state.new").c_str());
    }
    (void)unlink(busy_.c_str());
    if (empty_) {
        (void)rmdir(folder_.c_str());
    }
}

} // namespace fapi
