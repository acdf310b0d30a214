#include "meter/stream.h"

#include "net/namespaces.h"
#include "net/throw_errno.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace lab {

namespace {

using std::chrono::nanoseconds;

struct Header {
    uint64_t stream; // a number of this run's own, so that a stray packet is not taken for ours
    uint64_t sequence;
};

struct Address {
    sockaddr_storage storage{};
    socklen_t length = 0;
    int family() const { return storage.ss_family; }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

Address makeAddress(const std::string& text, uint16_t port) {
    Address address;
    sockaddr_in v4{};
    sockaddr_in6 v6{};
    if (inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        address.length = sizeof v4;
        std::memcpy(&address.storage, &v4, sizeof v4);
    } else if (inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        address.length = sizeof v6;
        std::memcpy(&address.storage, &v6, sizeof v6);
    } else {
        throw std::invalid_argument("not an address: " + text);
    }
    return address;
}

uint32_t headerBytes(int family) {
    return family == AF_INET ? 28 : 48; // IP and UDP
}

int64_t realtime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void setOption(int fd, int level, int name, int value, const char* what) {
    throwIfNegative(setsockopt(fd, level, name, &value, sizeof value), what);
}

UniqueFd openReceiver(const StreamPlan& plan, int family) {
    UniqueFd fd = socketIn(plan.to, family, SOCK_DGRAM, 0);
    setOption(fd.get(), SOL_SOCKET, SO_TIMESTAMPNS, 1, "SO_TIMESTAMPNS");
    // A receiver that is not scheduled for a while must not look like loss in the network.
    setOption(fd.get(), SOL_SOCKET, SO_RCVBUFFORCE, 16 << 20, "SO_RCVBUFFORCE");
    if (family == AF_INET) {
        setOption(fd.get(), IPPROTO_IP, IP_RECVTOS, 1, "IP_RECVTOS");
    } else {
        setOption(fd.get(), IPPROTO_IPV6, IPV6_RECVTCLASS, 1, "IPV6_RECVTCLASS");
    }
    const Address any = makeAddress(family == AF_INET ? "0.0.0.0" : "::", plan.destinationPort);
    throwIfNegative(bind(fd.get(), any.get(), any.length), "bind the receiver");
    return fd;
}

UniqueFd openSender(const StreamPlan& plan, const Address& destination) {
    const int family = destination.family();
    UniqueFd fd = socketIn(plan.from, family, SOCK_DGRAM, 0);
    if (family == AF_INET) {
        setOption(fd.get(), IPPROTO_IP, IP_TOS, plan.dscp << 2, "IP_TOS");
    } else {
        setOption(fd.get(), IPPROTO_IPV6, IPV6_TCLASS, plan.dscp << 2, "IPV6_TCLASS");
    }
    const std::string any = family == AF_INET ? "0.0.0.0" : "::";
    const Address own = makeAddress(plan.source.empty() ? any : plan.source, plan.sourcePort);
    throwIfNegative(bind(fd.get(), own.get(), own.length), "bind the sender");
    throwIfNegative(connect(fd.get(), destination.get(), destination.length), "connect the sender");
    return fd;
}

// The thread goes before all ordinary ones while this lives: a sender that waits for a processor and then
// makes up for it at once is a burst that no telephone sends. Without the right to do so it just measures the
// machine's load, too.
class Foremost {
  public:
    Foremost() {
        pthread_getschedparam(pthread_self(), &policy_, &usual_);
        const sched_param first{1};
        pthread_setschedparam(pthread_self(), SCHED_RR, &first);
    }
    ~Foremost() { pthread_setschedparam(pthread_self(), policy_, &usual_); }
    Foremost(const Foremost&) = delete;
    Foremost& operator=(const Foremost&) = delete;

  private:
    int policy_ = SCHED_OTHER;
    sched_param usual_{};
};

class Receiver {
  public:
    Receiver(int fd, uint64_t stream, size_t packets)
        : fd_(fd), stream_(stream), arrivals_(packets, Sample::lost) {}

    // Returns when all have come or `until` (ns since the epoch, still open while 0) is past.
    void run(const std::atomic<int64_t>& until) {
        while (arrived_ < arrivals_.size() && (until == 0 || realtime() < until)) {
            pollfd ready{fd_, POLLIN, 0};
            if (poll(&ready, 1, 20) > 0) {
                receiveOne();
            }
        }
    }

    int64_t arrival(size_t sequence) const { return arrivals_[sequence]; }
    const std::map<int, uint64_t>& dscps() const { return dscps_; }
    uint64_t duplicates() const { return duplicates_; }

  private:
    void receiveOne() {
        Header header{};
        iovec data{&header, sizeof header};
        alignas(cmsghdr) std::array<char, 256> control{};
        msghdr message{};
        message.msg_iov = &data;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t length = recvmsg(fd_, &message, MSG_DONTWAIT);
        if (length < static_cast<ssize_t>(sizeof header) || header.stream != stream_ ||
            header.sequence >= arrivals_.size()) {
            return;
        }
        int64_t when = Sample::lost;
        int dscp = 0;
        for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
            if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
                timespec stamp{};
                std::memcpy(&stamp, CMSG_DATA(part), sizeof stamp);
                when = int64_t{stamp.tv_sec} * 1'000'000'000 + stamp.tv_nsec;
            } else if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_TOS) {
                dscp = *CMSG_DATA(part) >> 2;
            } else if (part->cmsg_level == IPPROTO_IPV6 && part->cmsg_type == IPV6_TCLASS) {
                int value = 0;
                std::memcpy(&value, CMSG_DATA(part), sizeof value);
                dscp = value >> 2;
            }
        }
        if (arrivals_[header.sequence] != Sample::lost) {
            ++duplicates_;
            return;
        }
        arrivals_[header.sequence] = when;
        ++dscps_[dscp];
        ++arrived_;
    }

    int fd_;
    uint64_t stream_;
    std::vector<int64_t> arrivals_;
    std::map<int, uint64_t> dscps_;
    size_t arrived_ = 0;
    uint64_t duplicates_ = 0;
};

// Sends at absolute times: a late packet does not shift those behind it.
std::vector<Sample> sendAll(int fd, const StreamPlan& plan, uint64_t stream, size_t packets,
                            uint32_t payload) {
    const Foremost foremost;
    std::vector<char> packet(payload, 0);
    std::vector<Sample> samples(packets);
    timespec start{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (size_t sequence = 0; sequence < packets; ++sequence) {
        if (plan.stop != nullptr && *plan.stop) {
            samples.resize(sequence);
            break;
        }
        const auto offset = static_cast<int64_t>(static_cast<double>(sequence) * 1e9 / plan.packetsPerSecond);
        const int64_t nanos = start.tv_nsec + offset;
        const timespec due{start.tv_sec + nanos / 1'000'000'000, nanos % 1'000'000'000};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr) == EINTR) {
        }
        const Header header{stream, sequence};
        std::memcpy(packet.data(), &header, sizeof header);
        samples[sequence].sent = realtime();
        // A full local queue (ENOBUFS) is loss like any other.
        if (send(fd, packet.data(), packet.size(), 0) < 0 && errno != ENOBUFS && errno != ECONNREFUSED) {
            throwIfNegative(-1, "send");
        }
    }
    return samples;
}

size_t packetsOf(const StreamPlan& plan) {
    const double packets = std::floor(plan.duration.count() * plan.packetsPerSecond);
    if (!(plan.packetsPerSecond > 0) || !(packets >= 1) || packets > 50e6) {
        throw std::invalid_argument("the stream must have between 1 and 50 million packets");
    }
    return static_cast<size_t>(packets);
}

} // namespace

StreamResult runStream(const StreamPlan& plan) {
    const size_t packets = packetsOf(plan);
    const Address destination = makeAddress(plan.destination, plan.destinationPort);
    if (plan.packetBytes < headerBytes(destination.family()) + sizeof(Header) || plan.packetBytes > 65000) {
        throw std::invalid_argument("a packet must have between " +
                                    std::to_string(headerBytes(destination.family()) + sizeof(Header)) +
                                    " and 65000 bytes");
    }
    const UniqueFd receiving = openReceiver(plan, destination.family());
    const UniqueFd sending = openSender(plan, destination);
    const auto stream = static_cast<uint64_t>(realtime());

    Receiver receiver(receiving.get(), stream, packets);
    std::atomic<int64_t> until = 0;
    std::jthread thread([&] { receiver.run(until); });
    StreamResult result;
    try {
        result.samples = sendAll(sending.get(), plan, stream, packets,
                                 plan.packetBytes - headerBytes(destination.family()));
    } catch (...) {
        until = 1;
        throw;
    }
    until = realtime() + std::chrono::duration_cast<nanoseconds>(plan.linger).count();
    thread.join();

    for (size_t sequence = 0; sequence < result.samples.size(); ++sequence) {
        if (receiver.arrival(sequence) != Sample::lost) {
            // The receiver's stamp is taken in the kernel; a clock step could put it before the sender's.
            result.samples[sequence].delay =
                std::max<int64_t>(0, receiver.arrival(sequence) - result.samples[sequence].sent);
        }
    }
    result.dscps = receiver.dscps();
    result.duplicates = receiver.duplicates();
    return result;
}

} // namespace lab
