// What can be wrong with what a server sends.
#pragma once

#include <stdexcept>

namespace ovsdb {

// The server's bytes are not what the protocol allows. what() says in a few words what came instead; the
// connection is of no further use.
class ProtocolError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace ovsdb
