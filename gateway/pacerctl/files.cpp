#include "pacerctl/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace pacerctl {

namespace {

[[noreturn]] void fail(const std::string& file, const std::string& why) {
    throw FileFailure("cannot write '" + file + "': " + why);
}

// Why what stands there must stay: a link, /dev/null, or a file that somebody else counts on as his.
std::string whyNotReplaced(const std::string& file) {
    struct stat status = {};
    if (::lstat(file.c_str(), &status) != 0) {
        return ""; // nothing, or nothing that could be written beside
    }
    if (!S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
        return "it belongs to user " + std::to_string(status.st_uid);
    }
    return "";
}

int writeAll(int descriptor, const std::string& content) {
    for (std::size_t written = 0; written < content.size();) {
        const ssize_t count = ::write(descriptor, content.data() + written, content.size() - written);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return 0;
}

} // namespace

void writeFile(const std::string& file, const std::string& content) {
    constexpr mode_t readable = 0644;
    const std::string why = whyNotReplaced(file);
    if (!why.empty()) {
        fail(file, why);
    }
    // Beside the file, under a name that mkstemp() finds free: nothing that stands there is opened, and
    // nothing followed, not even a link that takes the file's place only now.
    std::string temporary = file + ".XXXXXX";
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) {
        fail(file, std::strerror(errno));
    }
    int error = writeAll(descriptor, content);
    if (error == 0 && ::fchmod(descriptor, readable) != 0) {
        error = errno;
    }
    if (::close(descriptor) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && ::rename(temporary.c_str(), file.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
        fail(file, std::strerror(error));
    }
}

} // namespace pacerctl
