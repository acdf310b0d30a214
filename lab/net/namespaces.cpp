#include "net/namespaces.h"

#include "net/throw_errno.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>

#include <cstdlib>

namespace lab {

InNamespace::InNamespace(const std::string& name)
    : before_(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
    throwIfNegative(before_.get(), "own network namespace");
    const UniqueFd wanted(
        throwIfNegative(open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC), "namespace " + name));
    throwIfNegative(setns(wanted.get(), CLONE_NEWNET), "setns " + name);
}

InNamespace::~InNamespace() {
    if (setns(before_.get(), CLONE_NEWNET) < 0) {
        std::abort(); // whatever came next would happen in the wrong network
    }
}

UniqueFd socketIn(const std::string& name, int family, int type, int protocol) {
    const InNamespace there(name);
    return UniqueFd(throwIfNegative(socket(family, type | SOCK_CLOEXEC, protocol), "socket in " + name));
}

} // namespace lab
