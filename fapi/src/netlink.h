// rtnetlink(7) as these tools need it: build a batch of requests, hand it to the kernel in one system call,
// learn which request failed and the kernel's own words for why.
//
// Not libnl: linked statically it drags in the C library's resolver, and it hides the extended
// acknowledgement, which is where the kernel says what it disliked.
#pragma once

#include "unique_fd.h"

#include <linux/netlink.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace fapi::nl {

class KernelError : public std::runtime_error {
  public:
    KernelError(int error, const std::string& text) : std::runtime_error(text), error_(error) {}
    int error() const { return error_; } // errno value

  private:
    int error_;
};

// Requests one after another, as the kernel reads them.
class Batch {
  public:
    // Starts a request; `what` names it in error texts.
    void begin(uint16_t type, uint16_t flags, std::string what);

    template <typename T>
    void body(const T& value) {
        append(&value, sizeof value);
    }
    template <typename T>
    void put(uint16_t attribute, const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        putBytes(attribute, &value, sizeof value);
    }
    void putText(uint16_t attribute, std::string_view text); // NUL-terminated
    void putBytes(uint16_t attribute, const void* data, size_t size);
    size_t nest(uint16_t attribute);
    void close(size_t nest);

    bool empty() const { return starts_.empty(); }
    void clear();

  private:
    friend class Socket;
    void append(const void* data, size_t size);

    std::vector<char> bytes_;
    std::vector<size_t> starts_;
    std::vector<std::string> names_;
};

// Attributes of one received message or nest.
class Attributes {
  public:
    Attributes(const void* data, size_t size);

    template <typename T>
    bool get(uint16_t type, T& value) const {
        const std::string_view* found = find(type);
        if (found == nullptr || found->size() < sizeof value) {
            return false;
        }
        memcpy(&value, found->data(), sizeof value);
        return true;
    }
    std::string text(uint16_t type) const;
    std::string_view raw(uint16_t type) const;
    Attributes nested(uint16_t type) const;
    const std::vector<std::pair<uint16_t, std::string_view>>& all() const { return found_; }

  private:
    const std::string_view* find(uint16_t type) const;
    std::vector<std::pair<uint16_t, std::string_view>> found_;
};

class Socket {
  public:
    Socket();

    // Runs every request of the batch. The first failure is thrown after the whole batch has been answered:
    // the kernel works through all of it, so the caller must expect later requests to have taken effect.
    void run(Batch& batch);

    // What the kernel said about requests that it granted.
    const std::vector<std::string>& warnings() const { return warnings_; }

    // Runs one dump or get request; gives each answer's body to `take`.
    using Take = std::function<void(const nlmsghdr&, const char* body, size_t size)>;
    void ask(Batch& request, const Take& take);
    // The same where a refusal is an answer like others. (A thrown exception costs half a millisecond in a
    // statically linked program, as much as the rest of a call.)
    [[nodiscard]] std::optional<KernelError> tryAsk(Batch& request, const Take& take);

  private:
    void send(const char* bytes, size_t size);
    void receive(const std::function<bool(const nlmsghdr&)>& handle);

    UniqueFd fd_;
    uint32_t sequence_ = 1;
    std::vector<std::string> warnings_;
    std::unique_ptr<char[]> buffer_;
};

} // namespace fapi::nl
