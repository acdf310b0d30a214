#include "pacerctl/match.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

namespace pacerctl {

namespace {

constexpr unsigned highestPort = 65535;

std::optional<unsigned> parseNumber(const std::string& text, unsigned highest) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number > highest) {
        return std::nullopt;
    }
    return number;
}

} // namespace

std::string IpAddress::text() const {
    char buffer[INET6_ADDRSTRLEN] = {};
    return inet_ntop(v6 ? AF_INET6 : AF_INET, bytes.data(), buffer, sizeof buffer) == nullptr ? "" : buffer;
}

std::optional<IpAddress> parseAddress(const std::string& text) {
    IpAddress address;
    if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1) {
        return address;
    }
    address.bytes = {};
    address.v6 = true;
    if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1) {
        return address;
    }
    return std::nullopt;
}

bool Prefix::contains(const IpAddress& other) const {
    if (other.v6 != address.v6) {
        return false;
    }
    unsigned left = length;
    for (std::size_t i = 0; i < address.bytes.size() && left > 0; ++i) {
        const unsigned bits = std::min(left, 8U);
        const auto mask = static_cast<std::uint8_t>(0xFF00U >> bits);
        if (((address.bytes[i] ^ other.bytes[i]) & mask) != 0) {
            return false;
        }
        left -= bits;
    }
    return true;
}

bool Prefix::contains(const Prefix& other) const {
    return length <= other.length && contains(other.address);
}

std::optional<Prefix> parsePrefix(const std::string& text) {
    const std::size_t slash = text.find('/');
    const auto address = parseAddress(text.substr(0, slash));
    if (!address) {
        return std::nullopt;
    }
    const unsigned bits = address->v6 ? 128 : 32;
    if (slash == std::string::npos) {
        return Prefix{*address, bits};
    }
    const auto length = parseNumber(text.substr(slash + 1), bits);
    return length ? std::optional(Prefix{*address, *length}) : std::nullopt;
}

std::optional<PortRange> parsePorts(const std::string& text) {
    const std::size_t colon = text.find(':');
    const auto first = parseNumber(text.substr(0, colon), highestPort);
    const auto last = colon == std::string::npos ? first : parseNumber(text.substr(colon + 1), highestPort);
    if (!first || !last || *first > *last) {
        return std::nullopt;
    }
    return PortRange{*first, *last};
}

std::string Packet::text() const {
    const auto endpoint = [](const std::optional<IpAddress>& address, const std::optional<unsigned>& port) {
        std::string host = address ? address->text() : "?";
        if (!port) {
            return host;
        }
        return (address && address->v6 ? "[" + host + "]" : host) + ":" + std::to_string(*port);
    };
    const Ports known = ports.value_or(Ports());
    return protocol + (pureAck ? " ack " : " ") + endpoint(source, known.source) + " -> " +
           endpoint(destination, known.destination) + ", DSCP " + std::to_string(dscp);
}

namespace {

std::string whyNotPort(const char* which, const Criterion& criterion, const Packet& packet,
                       const std::optional<unsigned>& port) {
    const auto range = parsePorts(criterion.text);
    if (criterion.empty()) {
        return "";
    }
    if (!packet.ports) {
        return std::string("the packet has no ") + which + " port";
    }
    if (!port) {
        return std::string("the packet's ") + which + " port is not given";
    }
    if (!range || range->contains(*port) == (criterion.exclude == 1)) {
        return std::string(which) + " port " + std::to_string(*port) + " is " +
               (criterion.exclude == 1 ? "the excluded " : "not ") + criterion.text;
    }
    return "";
}

std::string whyNotAddress(const char* which, const Criterion& criterion, const Packet& packet,
                          const std::optional<IpAddress>& address) {
    const auto prefix = parsePrefix(criterion.text);
    if (criterion.empty()) {
        return "";
    }
    if (prefix && prefix->address.v6 != packet.v6) {
        return std::string("the packet is IPv") + (packet.v6 ? "6" : "4") + ", the " + which + " address " +
               criterion.text + " is not";
    }
    if (!address) {
        return std::string("the packet's ") + which + " address is not given";
    }
    if (!prefix || prefix->contains(*address) == (criterion.exclude == 1)) {
        return std::string(which) + " address " + address->text() + " is " +
               (criterion.exclude == 1 ? "in the excluded " : "not in ") + criterion.text;
    }
    return "";
}

} // namespace

std::string whyNoMatch(const Rule& rule, const Packet& packet) {
    if (rule.protocol != packet.protocol) {
        return "protocol is " + packet.protocol + ", not " + rule.protocol;
    }
    if (rule.tcpAck == 1) { // the row's other criteria do not count
        return packet.pureAck ? "" : "it is no acknowledgement without payload";
    }
    if (rule.dscp && *rule.dscp != static_cast<long long>(packet.dscp)) {
        return "DSCP is " + std::to_string(packet.dscp) + ", not " + std::to_string(*rule.dscp);
    }
    const Ports ports = packet.ports.value_or(Ports());
    for (const std::string& why :
         {whyNotPort("source", rule.sourcePort, packet, ports.source),
          whyNotPort("destination", rule.destinationPort, packet, ports.destination),
          whyNotAddress("source", rule.source, packet, packet.source),
          whyNotAddress("destination", rule.destination, packet, packet.destination)}) {
        if (!why.empty()) {
            return why;
        }
    }
    return "";
}

} // namespace pacerctl
