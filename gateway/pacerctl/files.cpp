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

[[noreturn]] void fail(const std::string& file, int error) {
    throw FileFailure("cannot write '" + file + "': " + std::strerror(error));
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
    // Beside the file, under a name of its own: nothing that somebody else put there is followed or replaced.
    std::string temporary = file + ".XXXXXX";
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) {
        fail(file, errno);
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
        fail(file, error);
    }
}

} // namespace pacerctl
