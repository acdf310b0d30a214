#include "netlink.h"

#include "failure.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace fapi::nl {

namespace {

constexpr size_t receiveBytes = 65536; // the kernel fills at most 32 KiB per dump message
constexpr size_t requestsPerSend = 64; // so that the answers fit the socket's receive buffer

size_t aligned(size_t size) {
    return (size + NLA_ALIGNTO - 1) & ~static_cast<size_t>(NLA_ALIGNTO - 1);
}

// The kernel's sentence behind its answer, when it gave one.
std::string sentenceOf(const nlmsghdr& message) {
    nlmsgerr error{};
    memcpy(&error, reinterpret_cast<const char*>(&message) + NLMSG_HDRLEN, sizeof error);
    if ((message.nlmsg_flags & NLM_F_ACK_TLVS) != 0) {
        size_t offset = NLMSG_HDRLEN + sizeof error;
        if ((message.nlmsg_flags & NLM_F_CAPPED) == 0) {
            offset += error.msg.nlmsg_len - sizeof error.msg;
        }
        offset = aligned(offset);
        if (offset < message.nlmsg_len) {
            const Attributes attributes(reinterpret_cast<const char*>(&message) + offset,
                                        message.nlmsg_len - offset);
            return attributes.text(NLMSGERR_ATTR_MSG);
        }
    }
    return {};
}

int errorOf(const nlmsghdr& message) {
    nlmsgerr error{};
    memcpy(&error, reinterpret_cast<const char*>(&message) + NLMSG_HDRLEN, sizeof error);
    return -error.error;
}

std::string explanation(const nlmsghdr& message) {
    const std::string sentence = sentenceOf(message);
    return strerror(errorOf(message)) + (sentence.empty() ? sentence : " (" + sentence + ")");
}

} // namespace

void Batch::begin(uint16_t type, uint16_t flags, std::string what) {
    nlmsghdr header{};
    header.nlmsg_len = sizeof header;
    header.nlmsg_type = type;
    header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    starts_.push_back(bytes_.size());
    names_.push_back(std::move(what));
    bytes_.insert(bytes_.end(), reinterpret_cast<const char*>(&header),
                  reinterpret_cast<const char*>(&header + 1));
}

void Batch::append(const void* data, size_t size) {
    const char* from = static_cast<const char*>(data);
    bytes_.insert(bytes_.end(), from, from + size);
    bytes_.resize(aligned(bytes_.size()));
    const auto length = static_cast<uint32_t>(bytes_.size() - starts_.back());
    memcpy(bytes_.data() + starts_.back(), &length, sizeof length);
}

void Batch::putBytes(uint16_t attribute, const void* data, size_t size) {
    const nlattr head{static_cast<uint16_t>(sizeof(nlattr) + size), attribute};
    const char* from = reinterpret_cast<const char*>(&head);
    bytes_.insert(bytes_.end(), from, from + sizeof head);
    append(data, size);
}

void Batch::putText(uint16_t attribute, std::string_view text) {
    const std::string terminated(text);
    putBytes(attribute, terminated.c_str(), terminated.size() + 1);
}

size_t Batch::nest(uint16_t attribute) {
    const size_t start = bytes_.size();
    putBytes(attribute, nullptr, 0);
    return start;
}

void Batch::close(size_t nest) {
    const auto length = static_cast<uint16_t>(bytes_.size() - nest);
    memcpy(bytes_.data() + nest, &length, sizeof length);
}

void Batch::clear() {
    bytes_.clear();
    starts_.clear();
    names_.clear();
}

Attributes::Attributes(const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size >= sizeof(nlattr)) {
        nlattr head{};
        memcpy(&head, at, sizeof head);
        if (head.nla_len < sizeof head || head.nla_len > size) {
            return;
        }
        found_.emplace_back(static_cast<uint16_t>(head.nla_type & NLA_TYPE_MASK),
                            std::string_view(at + sizeof head, head.nla_len - sizeof head));
        const size_t step = std::min(aligned(head.nla_len), size);
        at += step;
        size -= step;
    }
}

const std::string_view* Attributes::find(uint16_t type) const {
    for (const auto& [key, value] : found_) {
        if (key == type) {
            return &value;
        }
    }
    return nullptr;
}

std::string_view Attributes::raw(uint16_t type) const {
    const std::string_view* found = find(type);
    return found == nullptr ? std::string_view{} : *found;
}

std::string Attributes::text(uint16_t type) const {
    const std::string_view found = raw(type);
    return std::string(found.substr(0, found.find('\0')));
}

Attributes Attributes::nested(uint16_t type) const {
    const std::string_view found = raw(type);
    return {found.data(), found.size()};
}

Socket::Socket()
    : fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)),
      buffer_(std::make_unique_for_overwrite<char[]>(receiveBytes)) {
    if (!fd_) {
        throw Failure(withErrno("netlink socket", errno));
    }
    const int on = 1;
    // Both only make errors more readable; a kernel without them still answers.
    (void)setsockopt(fd_.get(), SOL_NETLINK, NETLINK_EXT_ACK, &on, sizeof on);
    (void)setsockopt(fd_.get(), SOL_NETLINK, NETLINK_CAP_ACK, &on, sizeof on);
}

void Socket::send(const char* bytes, size_t size) {
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const ssize_t sent =
        sendto(fd_.get(), bytes, size, 0, reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    if (sent < 0) {
        throw Failure(withErrno("netlink send", errno));
    }
}

void Socket::receive(const std::function<bool(const nlmsghdr&)>& handle) {
    bool more = true;
    while (more) {
        const ssize_t got = recv(fd_.get(), buffer_.get(), receiveBytes, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            throw Failure(withErrno("netlink receive", errno));
        }
        const auto size = static_cast<size_t>(got);
        for (size_t at = 0; at + sizeof(nlmsghdr) <= size;) {
            const auto* message = reinterpret_cast<const nlmsghdr*>(buffer_.get() + at);
            if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > size - at) {
                throw Failure("netlink receive: a message that is cut short");
            }
            more = handle(*message) && more;
            at += aligned(message->nlmsg_len);
        }
    }
}

void Socket::run(Batch& batch) {
    std::optional<KernelError> failure;
    for (size_t first = 0; first < batch.starts_.size(); first += requestsPerSend) {
        const size_t last = std::min(first + requestsPerSend, batch.starts_.size());
        const uint32_t firstSequence = sequence_;
        for (size_t i = first; i < last; ++i) {
            auto* header = reinterpret_cast<nlmsghdr*>(batch.bytes_.data() + batch.starts_[i]);
            header->nlmsg_flags |= NLM_F_ACK;
            header->nlmsg_seq = sequence_++;
        }
        const size_t end = last < batch.starts_.size() ? batch.starts_[last] : batch.bytes_.size();
        send(batch.bytes_.data() + batch.starts_[first], end - batch.starts_[first]);
        size_t open = last - first;
        receive([&](const nlmsghdr& message) {
            const uint32_t index = message.nlmsg_seq - firstSequence;
            if (message.nlmsg_type == NLMSG_ERROR && index < last - first) {
                const std::string& name = batch.names_[first + index];
                if (errorOf(message) != 0 && !failure) {
                    failure.emplace(errorOf(message), name + ": " + explanation(message));
                } else if (errorOf(message) == 0 && !sentenceOf(message).empty()) {
                    warnings_.push_back(name + ": " + sentenceOf(message));
                }
                --open;
            }
            return open > 0;
        });
    }
    batch.clear();
    if (failure) {
        throw KernelError(*failure);
    }
}

std::optional<KernelError> Socket::tryAsk(Batch& request, const Take& take) {
    auto* header = reinterpret_cast<nlmsghdr*>(request.bytes_.data());
    header->nlmsg_seq = sequence_++;
    const uint32_t wanted = header->nlmsg_seq;
    const bool dump = (header->nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
    send(request.bytes_.data(), request.bytes_.size());
    std::optional<KernelError> failure;
    receive([&](const nlmsghdr& message) {
        if (message.nlmsg_seq != wanted) {
            return true;
        }
        if (message.nlmsg_type == NLMSG_DONE) {
            return false;
        }
        if (message.nlmsg_type == NLMSG_ERROR) {
            if (errorOf(message) != 0) {
                failure.emplace(errorOf(message), request.names_.front() + ": " + explanation(message));
            }
            return false;
        }
        take(message, reinterpret_cast<const char*>(&message) + NLMSG_HDRLEN,
             message.nlmsg_len - NLMSG_HDRLEN);
        return dump;
    });
    request.clear();
    return failure;
}

void Socket::ask(Batch& request, const Take& take) {
    const std::optional<KernelError> failure = tryAsk(request, take);
    if (failure) {
        throw KernelError(*failure);
    }
}

} // namespace fapi::nl
