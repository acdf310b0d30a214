#include "packets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace fapi::test {

namespace {

constexpr uint8_t firstTtl = 64;
constexpr uint8_t forwardedOnce = firstTtl - 1;

void put16(std::vector<uint8_t>& to, size_t at, unsigned value) {
    to[at] = static_cast<uint8_t>(value >> 8);
    to[at + 1] = static_cast<uint8_t>(value);
}

uint16_t checksum(const uint8_t* bytes, size_t size) {
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < size; i += 2) {
        sum += static_cast<uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    }
    while (sum > 0xffff) {
        sum = (sum & 0xffff) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

std::vector<uint8_t> transport(const Packet& packet) {
    if (packet.protocol == 6) {
        std::vector<uint8_t> header(20);
        put16(header, 0, packet.sport);
        put16(header, 2, packet.dport);
        header[12] = 5 << 4;
        header[13] = packet.tcpFlags;
        return header;
    }
    std::vector<uint8_t> header(8);
    if (packet.protocol == 17) {
        put16(header, 0, packet.sport);
        put16(header, 2, packet.dport);
        put16(header, 4, static_cast<unsigned>(8 + packet.payload));
    } else {
        header[0] = packet.icmpType;
    }
    return header;
}

std::vector<uint8_t> ipv4(const Packet& packet, size_t inside) {
    std::vector<uint8_t> header(20);
    header[0] = 0x45;
    header[1] = static_cast<uint8_t>(packet.dscp << 2 | packet.ecn);
    put16(header, 2, static_cast<unsigned>(20 + inside));
    put16(header, 4, packet.id);
    put16(header, 6, packet.fragmentOffset);
    header[8] = firstTtl;
    header[9] = packet.protocol;
    inet_pton(AF_INET, packet.src.c_str(), &header[12]);
    inet_pton(AF_INET, packet.dst.c_str(), &header[16]);
    put16(header, 10, checksum(header.data(), header.size()));
    return header;
}

std::vector<uint8_t> ipv6(const Packet& packet, size_t inside) {
    std::vector<uint8_t> header(40);
    const unsigned trafficClass = static_cast<unsigned>(packet.dscp << 2 | packet.ecn);
    header[0] = static_cast<uint8_t>(0x60 | trafficClass >> 4);
    header[1] = static_cast<uint8_t>(trafficClass << 4);
    put16(header, 2, packet.id);
    const size_t options = packet.destinationOptions ? 8 : 0;
    put16(header, 4, static_cast<unsigned>(inside + options));
    header[6] = packet.destinationOptions ? 60 : packet.protocol;
    header[7] = firstTtl;
    inet_pton(AF_INET6, packet.src.c_str(), &header[8]);
    inet_pton(AF_INET6, packet.dst.c_str(), &header[24]);
    if (packet.destinationOptions) {
        header.insert(header.end(), {packet.protocol, 0, 1, 4, 0, 0, 0, 0}); // six bytes of padding
    }
    return header;
}

void readTag(msghdr& message, Arrived& packet) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
        tpacket_auxdata extra{};
        if (part->cmsg_level == SOL_PACKET && part->cmsg_type == PACKET_AUXDATA) {
            memcpy(&extra, CMSG_DATA(part), sizeof extra);
            if ((extra.tp_status & TP_STATUS_VLAN_VALID) != 0) {
                packet.vlan = extra.tp_vlan_tci & 0xfff;
                packet.pcp = static_cast<uint8_t>(extra.tp_vlan_tci >> 13);
            }
        }
    }
}

} // namespace

std::vector<uint8_t> Packet::bytes() const {
    std::vector<uint8_t> inner = fragmentOffset == 0 ? transport(*this) : std::vector<uint8_t>{};
    inner.resize(inner.size() + payload);
    std::vector<uint8_t> all = family == 4 ? ipv4(*this, inner.size()) : ipv6(*this, inner.size());
    all.insert(all.end(), inner.begin(), inner.end());
    return all;
}

Wire::Wire(const std::string& netns, const std::string& interface) {
    const int own = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    const int other = open(("/run/netns/" + netns).c_str(), O_RDONLY | O_CLOEXEC);
    if (own < 0 || other < 0 || setns(other, CLONE_NEWNET) != 0) {
        throw std::runtime_error("cannot enter the namespace " + netns);
    }
    fd_ = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL));
    index_ = static_cast<int>(if_nametoindex(interface.c_str()));
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = index_;
    const bool bound = bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    const int on = 1;
    setsockopt(fd_, SOL_PACKET, PACKET_AUXDATA, &on, sizeof on); // the tag does not come with the frame
    const int big = 8 << 20;
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &big, sizeof big);
    if (setns(own, CLONE_NEWNET) != 0 || !bound || index_ == 0) {
        throw std::runtime_error("cannot open " + interface + " in " + netns);
    }
    close(own);
    close(other);
}

Wire::~Wire() {
    close(fd_);
}

void Wire::send(const std::string& toMac, const Packet& packet) {
    std::vector<uint8_t> frame(14);
    unsigned mac[6];
    sscanf(toMac.c_str(), "%x:%x:%x:%x:%x:%x", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4], &mac[5]);
    for (size_t i = 0; i < 6; ++i) {
        frame[i] = static_cast<uint8_t>(mac[i]);
        frame[6 + i] = static_cast<uint8_t>(i == 0 ? 2 : 0x77);
    }
    if (packet.vlan != 0) {
        put16(frame, 12, 0x8100);
        frame.resize(18);
        put16(frame, 14, packet.vlan);
    }
    put16(frame, frame.size() - 2, packet.family == 4 ? 0x0800 : 0x86dd);
    const std::vector<uint8_t> inner = packet.bytes();
    frame.insert(frame.end(), inner.begin(), inner.end());
    if (::send(fd_, frame.data(), frame.size(), 0) != static_cast<ssize_t>(frame.size())) {
        throw std::runtime_error(std::string("send: ") + strerror(errno));
    }
}

std::vector<Arrived> Wire::receiveUntil(uint16_t last, size_t count, std::chrono::milliseconds atMost) {
    const auto end = std::chrono::steady_clock::now() + atMost;
    std::vector<Arrived> arrived;
    while (std::chrono::steady_clock::now() < end) {
        pollfd wait{fd_, POLLIN, 0};
        if (poll(&wait, 1, 100) != 1) {
            continue;
        }
        uint8_t frame[2048];
        sockaddr_ll from{};
        alignas(cmsghdr) char extra[CMSG_SPACE(sizeof(tpacket_auxdata))];
        iovec part{frame, sizeof frame};
        msghdr message{&from, sizeof from, &part, 1, extra, sizeof extra, 0};
        const ssize_t got = recvmsg(fd_, &message, 0);
        if (got < 34 || from.sll_pkttype == PACKET_OUTGOING) {
            continue;
        }
        const uint8_t* ip = frame + 14;
        Arrived packet;
        if (frame[12] == 0x08 && frame[13] == 0) {
            packet.family = 4;
            packet.dscp = static_cast<uint8_t>(ip[1] >> 2);
            packet.ecn = ip[1] & 3;
            packet.id = static_cast<uint16_t>(ip[4] << 8 | ip[5]);
            packet.checksumRight = checksum(ip, 20) == 0;
        } else if (frame[12] == 0x86 && frame[13] == 0xdd) {
            const auto trafficClass = static_cast<uint8_t>(ip[0] << 4 | ip[1] >> 4);
            packet.family = 6;
            packet.dscp = static_cast<uint8_t>(trafficClass >> 2);
            packet.ecn = trafficClass & 3;
            packet.id = static_cast<uint16_t>(ip[2] << 8 | ip[3]);
        } else {
            continue;
        }
        readTag(message, packet);
        if ((packet.family == 4 ? ip[8] : ip[7]) != forwardedOnce) {
            continue; // the gateway's own chatter
        }
        arrived.push_back(packet);
        if (packet.id == last || arrived.size() == count) {
            break;
        }
    }
    return arrived;
}

} // namespace fapi::test
