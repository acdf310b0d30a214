#include "capture.h"

#include "net/namespaces.h"
#include "net/throw_errno.h"

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace lab {

namespace {

std::optional<Captured> parse(const unsigned char* bytes, size_t length) {
    Captured packet;
    if (length >= 20 && bytes[0] >> 4 == 4) {
        packet.dscp = bytes[1] >> 2;
        packet.ecn = bytes[1] & 3;
        packet.ipBytes = static_cast<size_t>(bytes[2] << 8 | bytes[3]);
        packet.tag = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
        packet.protocol = bytes[9];
    } else if (length >= 40 && bytes[0] >> 4 == 6) {
        packet.ipv6 = true;
        packet.dscp = (bytes[0] & 0x0f) << 2 | bytes[1] >> 6;
        packet.ecn = bytes[1] >> 4 & 3;
        packet.tag = static_cast<uint16_t>(bytes[2] << 8 | bytes[3]); // the flow label's low bits
        packet.ipBytes = 40 + static_cast<size_t>(bytes[4] << 8 | bytes[5]);
        packet.protocol = bytes[6];
    } else {
        return std::nullopt;
    }
    return packet;
}

} // namespace

Capture::Capture(const std::string& space, const std::string& interface)
    // Cooked: the link header is cut off, so that PPP and Ethernet look alike.
    : socket_(socketIn(space, AF_PACKET, SOCK_DGRAM, 0)) {
    const int yes = 1;
    throwIfNegative(setsockopt(socket_.get(), SOL_PACKET, PACKET_AUXDATA, &yes, sizeof yes),
                    "PACKET_AUXDATA");
    const int buffer = 16 << 20;
    throwIfNegative(setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof buffer),
                    "SO_RCVBUFFORCE");
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    {
        const InNamespace there(space);
        address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    }
    throwIfNegative(address.sll_ifindex == 0 ? -1 : 0, "interface " + interface);
    throwIfNegative(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                    "capture on " + interface);
}

std::optional<Captured> Capture::receive() {
    std::array<unsigned char, 2048> bytes{};
    alignas(cmsghdr) std::array<char, 256> control{};
    sockaddr_ll from{};
    iovec data{bytes.data(), bytes.size()};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t length = recvmsg(socket_.get(), &message, MSG_DONTWAIT);
    if (length <= 0 || from.sll_pkttype == PACKET_OUTGOING) {
        return std::nullopt;
    }
    const size_t skipped = ntohs(from.sll_protocol) == ETH_P_PPP_SES ? 8 : 0; // PPPoE and PPP headers
    if (static_cast<size_t>(length) < skipped) {
        return std::nullopt;
    }
    std::optional<Captured> packet = parse(bytes.data() + skipped, static_cast<size_t>(length) - skipped);
    const cmsghdr* part = CMSG_FIRSTHDR(&message);
    if (packet && part != nullptr && part->cmsg_type == PACKET_AUXDATA) {
        tpacket_auxdata extra{};
        std::memcpy(&extra, CMSG_DATA(part), sizeof extra);
        if ((extra.tp_status & TP_STATUS_VLAN_VALID) != 0) {
            packet->pcp = extra.tp_vlan_tci >> 13;
        }
    }
    return packet;
}

std::vector<Captured> Capture::take(uint16_t tag, size_t count, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::vector<Captured> packets;
    const auto tagged = [&] {
        return static_cast<size_t>(std::count_if(packets.begin(), packets.end(),
                                                 [&](const Captured& packet) { return packet.tag == tag; }));
    };
    while (tagged() < count && std::chrono::steady_clock::now() < end) {
        pollfd ready{socket_.get(), POLLIN, 0};
        if (poll(&ready, 1, 20) > 0) {
            if (const auto packet = receive()) {
                packets.push_back(*packet);
            }
        }
    }
    return packets;
}

} // namespace lab
