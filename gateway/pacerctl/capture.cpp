#include "pacerctl/capture.h"

#include <pcap/pcap.h>

#include <algorithm>
#include <memory>

namespace pacerctl {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr unsigned etherIpv4 = 0x0800;
constexpr unsigned etherIpv6 = 0x86DD;
constexpr unsigned etherVlan = 0x8100;
constexpr unsigned etherOuterVlan = 0x88A8;
constexpr unsigned etherPppoe = 0x8864;
constexpr unsigned pppIpv4 = 0x0021;
constexpr unsigned pppIpv6 = 0x0057;

constexpr unsigned igmp = 2;
constexpr unsigned tcp = 6;
constexpr unsigned udp = 17;
constexpr unsigned icmpv6 = 58;

bool has(Bytes bytes, std::size_t offset, std::size_t size) {
    return offset <= bytes.size() && size <= bytes.size() - offset;
}

unsigned word(Bytes bytes, std::size_t offset) {
    return static_cast<unsigned>(bytes[offset]) << 8U | bytes[offset + 1];
}

IpAddress address(Bytes bytes, std::size_t offset, bool v6) {
    IpAddress result;
    result.v6 = v6;
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), v6 ? 16 : 4, result.bytes.begin());
    return result;
}

std::string protocolName(unsigned number) {
    switch (number) {
    case tcp:
        return "tcp";
    case udp:
        return "udp";
    case igmp:
        return "igmp";
    default:
        return "protocol " + std::to_string(number);
    }
}

// `end`: of the packet, by its IP header.
void readTransport(Packet& packet, Bytes bytes, std::size_t start, std::size_t end, unsigned protocol) {
    if ((protocol != tcp && protocol != udp) || !has(bytes, start, 4)) {
        return;
    }
    packet.ports = Ports{word(bytes, start), word(bytes, start + 2)};
    if (protocol == tcp && has(bytes, start, 14)) {
        constexpr unsigned ack = 0x10;
        constexpr unsigned notPure = 0x07; // FIN, SYN, RST
        const unsigned flags = bytes[start + 13];
        const std::size_t payload = start + std::size_t{bytes[start + 12]} / 16 * 4;
        packet.pureAck = (flags & (ack | notPure)) == ack && payload == end;
    }
}

std::optional<Packet> parseIpv4(Bytes bytes) {
    constexpr std::size_t smallest = 20;
    if (!has(bytes, 0, smallest)) {
        return std::nullopt;
    }
    Packet packet;
    packet.dscp = bytes[1] >> 2U;
    packet.source = address(bytes, 12, false);
    packet.destination = address(bytes, 16, false);
    packet.protocol = protocolName(bytes[9]);
    if ((word(bytes, 6) & 0x1FFFU) == 0) {
        readTransport(packet, bytes, (bytes[0] & 15U) * std::size_t{4}, word(bytes, 2), bytes[9]);
    }
    return packet;
}

std::optional<Packet> parseIpv6(Bytes bytes) {
    constexpr std::size_t header = 40;
    constexpr unsigned hopByHop = 0;
    constexpr unsigned routing = 43;
    constexpr unsigned fragment = 44;
    constexpr unsigned destination = 60;
    if (!has(bytes, 0, header)) {
        return std::nullopt;
    }
    Packet packet;
    packet.v6 = true;
    packet.dscp = (word(bytes, 0) >> 6U) & 0x3FU;
    packet.source = address(bytes, 8, true);
    packet.destination = address(bytes, 24, true);
    unsigned next = bytes[6];
    std::size_t start = header;
    bool later = false;
    while (!later && (next == hopByHop || next == routing || next == fragment || next == destination) &&
           has(bytes, start, 8)) {
        later = next == fragment && (word(bytes, start + 2) & 0xFFF8U) != 0;
        const std::size_t length = next == fragment ? 8 : (bytes[start + 1] + std::size_t{1}) * 8;
        next = bytes[start];
        start += length;
    }
    packet.protocol = protocolName(next);
    if (next == icmpv6) {
        const unsigned type = !later && has(bytes, start, 1) ? bytes[start] : 0;
        const bool listener = (type >= 130 && type <= 132) || type == 143;
        packet.protocol = listener ? "igmp" : "icmpv6";
    } else if (!later) {
        readTransport(packet, bytes, start, header + word(bytes, 4), next);
    }
    return packet;
}

// Steps over VLAN tags and a PPPoE session header. `type`: the EtherType found before `offset`.
std::optional<Packet> parseTagged(Bytes bytes, std::size_t offset, unsigned type) {
    while ((type == etherVlan || type == etherOuterVlan) && has(bytes, offset, 4)) {
        type = word(bytes, offset + 2);
        offset += 4;
    }
    if (type == etherPppoe && has(bytes, offset, 8)) {
        const unsigned inner = word(bytes, offset + 6);
        type = inner == pppIpv4 ? etherIpv4 : inner == pppIpv6 ? etherIpv6 : 0;
        offset += 8;
    }
    return type == etherIpv4 || type == etherIpv6 ? parseIpPacket(bytes.subspan(offset)) : std::nullopt;
}

std::optional<Packet> parseFrame(Bytes bytes, int linkType) {
    struct Link {
        int type;
        std::size_t header;
        std::size_t etherType; // where it stands
    };
    static constexpr Link links[] = {{DLT_EN10MB, 14, 12}, {DLT_LINUX_SLL, 16, 14}, {DLT_LINUX_SLL2, 20, 0}};
    for (const Link& link : links) {
        if (link.type == linkType) {
            return has(bytes, 0, link.header) ? parseTagged(bytes, link.header, word(bytes, link.etherType))
                                              : std::nullopt;
        }
    }
    return linkType == DLT_RAW || linkType == DLT_IPV4 || linkType == DLT_IPV6 ? parseIpPacket(bytes)
                                                                               : std::nullopt;
}

} // namespace

std::optional<Packet> parseIpPacket(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) {
        return std::nullopt;
    }
    const unsigned version = bytes[0] >> 4U;
    return version == 4 ? parseIpv4(bytes) : version == 6 ? parseIpv6(bytes) : std::nullopt;
}

Packet readCapturedPacket(const std::string& file, std::size_t number) {
    char reason[PCAP_ERRBUF_SIZE] = {};
    const std::unique_ptr<pcap_t, decltype(&pcap_close)> capture(pcap_open_offline(file.c_str(), reason),
                                                                 pcap_close);
    if (capture == nullptr) {
        throw CaptureError("cannot read '" + file + "': " + reason);
    }
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    for (std::size_t i = 1; i <= number; ++i) {
        const int result = pcap_next_ex(capture.get(), &header, &data);
        if (result == PCAP_ERROR_BREAK) {
            throw CaptureError("'" + file + "' has " + std::to_string(i - 1) + " packets, not " +
                               std::to_string(number));
        }
        if (result != 1) {
            throw CaptureError("cannot read '" + file + "': " + pcap_geterr(capture.get()));
        }
    }
    const auto packet =
        number == 0 ? std::nullopt : parseFrame({data, header->caplen}, pcap_datalink(capture.get()));
    if (!packet) {
        throw CaptureError("packet " + std::to_string(number) + " of '" + file + "' is no IP packet");
    }
    return *packet;
}

} // namespace pacerctl
