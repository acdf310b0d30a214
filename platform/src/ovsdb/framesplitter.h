// Cuts the byte stream of a JSON-RPC peer into JSON texts.
#pragma once

#include "ovsdb/error.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ovsdb {

// OVSDB puts no frame around its messages: each is a JSON object, and the next may follow without any byte
// between them. So the end is found by counting brackets outside of strings. Each byte is looked at once,
// however the stream is cut into pieces. Whether the text between the brackets is JSON is the parser's to
// say.
class FrameSplitter {
  public:
    // Bytes in one message; a gateway's whole database is a few hundred kilobytes.
    static constexpr std::size_t defaultMaxBytes = std::size_t{64} << 20;
    // Nested brackets. Eight are needed by the deepest message of the protocol.
    static constexpr unsigned defaultMaxDepth = 64;

    explicit FrameSplitter(std::size_t maxBytes = defaultMaxBytes, unsigned maxDepth = defaultMaxDepth)
        : maxBytes_(maxBytes), maxDepth_(maxDepth) {}

    // Looks no further than the end of the first message.
    void append(std::string_view bytes);

    // next() has something to say.
    bool ready() const { return complete_ || !fault_.empty(); }
    // Some bytes of a message are there, but not its end.
    bool partial() const { return !ready() && start_ < buffer_.size(); }

    // The next whole message, if it is there. Throws ProtocolError if what follows is too long or too deep,
    // or begins with a byte that begins no message; then only clear() is of use.
    std::optional<std::string> next();

    void clear();

  private:
    void scan();
    void skipPlainText();
    void step(char byte);
    void dropTaken();

    std::size_t maxBytes_;
    unsigned maxDepth_;
    std::string buffer_;
    std::size_t start_ = 0;   // of the message being scanned
    std::size_t scanned_ = 0; // bytes looked at, from the buffer's beginning
    unsigned depth_ = 0;
    bool inString_ = false;
    bool escaped_ = false;
    bool complete_ = false;
    std::string fault_;
};

} // namespace ovsdb
