#include "ovsdb/framesplitter.h"

#include <utility>

namespace ovsdb {

namespace {

bool isBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

} // namespace

void FrameSplitter::append(std::string_view bytes) {
    buffer_.append(bytes);
    scan();
}

std::optional<std::string> FrameSplitter::next() {
    if (!fault_.empty()) {
        throw ProtocolError(fault_);
    }
    if (!complete_) {
        return std::nullopt;
    }
    std::string message;
    if (start_ == 0 && scanned_ == buffer_.size()) {
        message = std::exchange(buffer_, {}); // the usual case, without a copy
        scanned_ = 0;
    } else {
        message = buffer_.substr(start_, scanned_ - start_);
        start_ = scanned_;
        dropTaken();
    }
    complete_ = false;
    scan();
    return message;
}

void FrameSplitter::clear() {
    *this = FrameSplitter(maxBytes_, maxDepth_);
}

void FrameSplitter::scan() {
    while (!ready() && scanned_ < buffer_.size()) {
        if (depth_ == 0 && isBlank(buffer_[scanned_])) {
            start_ = ++scanned_;
            continue;
        }
        if (inString_ && !escaped_) {
            skipPlainText();
        }
        if (scanned_ < buffer_.size()) {
            step(buffer_[scanned_++]);
        }
        if (scanned_ - start_ > maxBytes_) {
            fault_ = "a message of more than " + std::to_string(maxBytes_) + " bytes";
        }
    }
    if (start_ == buffer_.size()) {
        buffer_.clear();
        start_ = scanned_ = 0;
    }
}

// Most of a database is the inside of strings.
void FrameSplitter::skipPlainText() {
    const char* const end = buffer_.data() + buffer_.size();
    const char* next = buffer_.data() + scanned_;
    while (next != end && *next != '"' && *next != '\\') {
        ++next;
    }
    scanned_ = static_cast<std::size_t>(next - buffer_.data());
}

void FrameSplitter::step(char byte) {
    if (inString_) {
        if (escaped_) {
            escaped_ = false;
        } else if (byte == '\\') {
            escaped_ = true;
        } else if (byte == '"') {
            inString_ = false;
        }
        return;
    }
    if (depth_ == 0 && byte != '{') {
        fault_ = "something that is not a JSON object";
        return;
    }
    switch (byte) {
    case '"':
        inString_ = true;
        break;
    case '{':
    case '[':
        if (++depth_ > maxDepth_) {
            fault_ = "a message nested deeper than " + std::to_string(maxDepth_) + " levels";
        }
        break;
    case '}':
    case ']':
        complete_ = --depth_ == 0;
        break;
    default:
        break;
    }
}

// Moving the rest to the front once per buffer's length keeps the whole linear.
void FrameSplitter::dropTaken() {
    if (start_ > buffer_.size() / 2) {
        buffer_.erase(0, start_);
        scanned_ -= start_;
        start_ = 0;
    }
}

} // namespace ovsdb
