// Sockets in the lab's network namespaces. A socket stays in the namespace it was made in, whoever uses it.
#pragma once

#include "net/unique_fd.h"

#include <string>

namespace lab {

// While it lives, the calling thread is in the named namespace of /run/netns. Throws std::system_error.
class InNamespace {
  public:
    explicit InNamespace(const std::string& name);
    InNamespace(const InNamespace&) = delete;
    InNamespace& operator=(const InNamespace&) = delete;
    ~InNamespace();

  private:
    UniqueFd before_;
};

// socket(2) in a namespace. Throws std::system_error.
UniqueFd socketIn(const std::string& name, int family, int type, int protocol);

} // namespace lab
