#include "netwatchd/kernelevent.h"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <netlink/attr.h>
#include <netlink/msg.h>

#include <cstdint>
#include <cstring>
#include <memory>

namespace netwatchd {

namespace {

// The attributes of a message behind its fixed part of type Header.
template <typename Header, std::size_t count>
const Header* parse(const nlmsghdr& message, nlattr* (&attributes)[count]) {
    nlmsghdr* header = const_cast<nlmsghdr*>(&message); // libnl only reads here
    if (nlmsg_parse(header, sizeof(Header), attributes, static_cast<int>(count) - 1, nullptr) < 0) {
        return nullptr;
    }
    return static_cast<const Header*>(nlmsg_data(header));
}

std::string textOf(const nlattr* attribute) {
    const char* text = static_cast<const char*>(nla_data(attribute));
    return {text, strnlen(text, static_cast<std::size_t>(nla_len(attribute)))};
}

// RFC 2863's operational state, and the carrier besides: the kernel works the state out at most once a
// second, so that it may follow the carrier late. It calls an interface down, or the one below it, only
// without a carrier; with one such a state is of before, and what it will be is up, unless something waits
// for an authentication.
bool isUp(unsigned flags, unsigned state, unsigned linkMode) {
    if ((flags & IFF_UP) == 0 || (flags & IFF_LOWER_UP) == 0) {
        return false;
    }
    const bool isOld = state == IF_OPER_DOWN || state == IF_OPER_LOWERLAYERDOWN;
    const bool waits = (flags & IFF_DORMANT) != 0 || linkMode != IF_LINK_MODE_DEFAULT;
    return state == IF_OPER_UP || state == IF_OPER_UNKNOWN || (isOld && !waits);
}

unsigned byteOf(const nlattr* attribute, unsigned otherwise) {
    return attribute != nullptr && nla_len(attribute) >= 1 ? nla_get_u8(attribute) : otherwise;
}

// An index in another namespace says nothing here.
int lowerOf(const nlattr* const* attributes) {
    const nlattr* link = attributes[IFLA_LINK];
    if (link == nullptr || nla_len(link) < static_cast<int>(sizeof(std::uint32_t)) ||
        attributes[IFLA_LINK_NETNSID] != nullptr) {
        return 0;
    }
    return static_cast<int>(nla_get_u32(link));
}

std::optional<KernelEvent> parseLink(const nlmsghdr& message) {
    nlattr* attributes[IFLA_MAX + 1] = {};
    const auto* link = parse<ifinfomsg>(message, attributes);
    // A port that leaves a bridge is announced as a deleted link too, of the family AF_BRIDGE.
    if (link == nullptr || link->ifi_family != AF_UNSPEC) {
        return std::nullopt;
    }
    if (message.nlmsg_type == RTM_DELLINK) {
        return LinkGone{link->ifi_index};
    }
    if (attributes[IFLA_IFNAME] == nullptr) {
        return std::nullopt;
    }
    const unsigned state = byteOf(attributes[IFLA_OPERSTATE], IF_OPER_UNKNOWN);
    const unsigned mode = byteOf(attributes[IFLA_LINKMODE], IF_LINK_MODE_DEFAULT);
    return LinkSeen{link->ifi_index, textOf(attributes[IFLA_IFNAME]), isUp(link->ifi_flags, state, mode),
                    (link->ifi_flags & IFF_LOOPBACK) != 0, lowerOf(attributes)};
}

std::optional<in_addr_t> ipv4Of(const nlattr* attribute) {
    if (attribute == nullptr || nla_len(attribute) != sizeof(in_addr_t)) {
        return std::nullopt;
    }
    return nla_get_u32(attribute);
}

std::optional<KernelEvent> parseAddress(const nlmsghdr& message) {
    nlattr* attributes[IFA_MAX + 1] = {};
    const auto* header = parse<ifaddrmsg>(message, attributes);
    if (header == nullptr || header->ifa_family != AF_INET) {
        return std::nullopt;
    }
    // On a point-to-point link IFA_ADDRESS is the other end's.
    const std::optional<in_addr_t> peer = ipv4Of(attributes[IFA_ADDRESS]);
    const std::optional<in_addr_t> local = ipv4Of(attributes[IFA_LOCAL]);
    if (!local && !peer) {
        return std::nullopt;
    }
    const Ipv4Address address{local ? *local : *peer, peer ? *peer : *local, header->ifa_prefixlen,
                              header->ifa_scope, (header->ifa_flags & IFA_F_SECONDARY) != 0};
    const int index = static_cast<int>(header->ifa_index);
    if (message.nlmsg_type == RTM_DELADDR) {
        return AddressGone{index, address};
    }
    return AddressSeen{index, address};
}

} // namespace

std::optional<KernelEvent> parseKernelEvent(const nlmsghdr& message) {
    switch (message.nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK:
        return parseLink(message);
    case RTM_NEWADDR:
    case RTM_DELADDR:
        return parseAddress(message);
    default:
        return std::nullopt;
    }
}

} // namespace netwatchd
