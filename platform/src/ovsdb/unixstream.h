// A non-blocking connection to a Unix stream socket.
#pragma once

#include "ovsdb/uniquefd.h"

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace ovsdb {

class UnixStream {
  public:
    enum class Connect {
        connected,
        unreachable,
        foreignPeer, // somebody else's process answers there
    };

    // On anything but connected, lastError() says why. `trustedUsers` are the user ids that may own the other
    // end: the path may lie in a directory where everybody can put a socket.
    Connect connect(const std::string& path, const std::vector<uid_t>& trustedUsers);
    void close();

    bool isOpen() const { return fd_.valid(); }
    int descriptor() const { return fd_.get(); }

    // Queues the bytes and sends what the socket takes now.
    void send(const std::string& bytes);
    // Sends more of what is queued. False: the connection is gone.
    bool flush();
    std::size_t unsentBytes() const { return unsent_.size(); }

    enum class Receive {
        data,
        nothingYet,
        closed,
    };
    // Appends what is there, at most `limit` bytes, to `bytes`. On closed, lastError() says why.
    Receive receive(std::string& bytes, std::size_t limit);

    const std::string& lastError() const { return lastError_; }

  private:
    Connect unreachable(int error);

    UniqueFd fd_;
    std::string unsent_;
    std::string lastError_;
};

} // namespace ovsdb
