#include "netwatchd/kernelevent.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <netlink/attr.h>
#include <netlink/msg.h>

#include <memory>
#include <string>

using namespace netwatchd;

namespace {

constexpr unsigned running = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;

// An rtnetlink message as the kernel builds it.
class Message {
  public:
    template <typename Header>
    Message(int type, const Header& header) : message_(nlmsg_alloc_simple(type, 0)) {
        nlmsg_append(message_.get(), const_cast<Header*>(&header), sizeof header, NLMSG_ALIGNTO);
    }
    Message& with(int attribute, const std::string& text) {
        nla_put_string(message_.get(), attribute, text.c_str());
        return *this;
    }
    Message& with(int attribute, unsigned char number) {
        nla_put_u8(message_.get(), attribute, number);
        return *this;
    }
    Message& withNumber(int attribute, unsigned number) {
        nla_put_u32(message_.get(), attribute, number);
        return *this;
    }
    Message& withAddress(int attribute, const char* address) {
        nla_put_u32(message_.get(), attribute, inet_addr(address));
        return *this;
    }
    std::optional<KernelEvent> parsed() const { return parseKernelEvent(*header()); }
    nlmsghdr* header() const { return nlmsg_hdr(message_.get()); }

  private:
    struct Free {
        void operator()(nl_msg* message) const { nlmsg_free(message); }
    };
    std::unique_ptr<nl_msg, Free> message_;
};

Message linkMessage(unsigned flags, int type = RTM_NEWLINK, unsigned char family = AF_UNSPEC) {
    ifinfomsg header = {};
    header.ifi_family = family;
    header.ifi_index = 7;
    header.ifi_flags = flags;
    return {type, header};
}

bool isUp(unsigned flags, unsigned char state) {
    const auto event = linkMessage(flags).with(IFLA_IFNAME, "eth1").with(IFLA_OPERSTATE, state).parsed();
    return std::get<LinkSeen>(event.value()).up;
}

Message addressMessage(int type = RTM_NEWADDR, unsigned char flags = 0) {
    ifaddrmsg header = {};
    header.ifa_family = AF_INET;
    header.ifa_prefixlen = 24;
    header.ifa_scope = RT_SCOPE_UNIVERSE;
    header.ifa_flags = flags;
    header.ifa_index = 7;
    return {type, header};
}

TEST(KernelEvent, ALinkHasIndexNameAndState) {
    const auto event =
        linkMessage(running).with(IFLA_IFNAME, "eth1").with(IFLA_OPERSTATE, IF_OPER_UP).parsed();
    const auto& link = std::get<LinkSeen>(event.value());
    EXPECT_EQ(link.index, 7);
    EXPECT_EQ(link.name, "eth1");
    EXPECT_TRUE(link.up);
    EXPECT_FALSE(link.loopback);
}

TEST(KernelEvent, ALinkStandsOnAnotherOrOnNone) {
    const auto lowerOf = [](const Message& message) {
        return std::get<LinkSeen>(message.parsed().value()).lower;
    };
    EXPECT_EQ(lowerOf(linkMessage(running).with(IFLA_IFNAME, "eth1")), 0);
    EXPECT_EQ(lowerOf(linkMessage(running).with(IFLA_IFNAME, "eth1.8").withNumber(IFLA_LINK, 3)), 3);
    EXPECT_EQ(lowerOf(linkMessage(running)
                          .with(IFLA_IFNAME, "eth1.8")
                          .withNumber(IFLA_LINK, 3)
                          .withNumber(IFLA_LINK_NETNSID, 0)),
              0)
        << "an index in another namespace";
    EXPECT_EQ(
        lowerOf(
            linkMessage(running).with(IFLA_IFNAME, "eth1.8").with(IFLA_LINK, static_cast<unsigned char>(3))),
        0)
        << "an index of one byte";
}

TEST(KernelEvent, TheLoopbackInterfaceIsKnownAsSuch) {
    const auto event = linkMessage(running | IFF_LOOPBACK).with(IFLA_IFNAME, "lo").parsed();
    EXPECT_TRUE(std::get<LinkSeen>(event.value()).loopback);
}

TEST(KernelEvent, UpAndUnknownWithACarrierCountAsUp) {
    EXPECT_TRUE(isUp(running, IF_OPER_UP));
    EXPECT_TRUE(isUp(running, IF_OPER_UNKNOWN));
    EXPECT_FALSE(isUp(running, IF_OPER_DORMANT));
    EXPECT_FALSE(isUp(running, IF_OPER_TESTING));
    EXPECT_FALSE(isUp(running, IF_OPER_NOTPRESENT));
}

TEST(KernelEvent, ADownStateWithACarrierIsOldAndNotWaitedFor) {
    EXPECT_TRUE(isUp(IFF_UP | IFF_LOWER_UP, IF_OPER_DOWN));
    EXPECT_TRUE(isUp(IFF_UP | IFF_LOWER_UP, IF_OPER_LOWERLAYERDOWN));
    EXPECT_FALSE(isUp(IFF_UP, IF_OPER_DOWN));
    EXPECT_FALSE(isUp(IFF_UP, IF_OPER_LOWERLAYERDOWN));
}

TEST(KernelEvent, ADownStateIsWaitedForWhereAnAuthenticationMayFollow) {
    EXPECT_FALSE(isUp(IFF_UP | IFF_LOWER_UP | IFF_DORMANT, IF_OPER_DOWN));
    const auto event = linkMessage(IFF_UP | IFF_LOWER_UP)
                           .with(IFLA_IFNAME, "eth1")
                           .with(IFLA_OPERSTATE, static_cast<unsigned char>(IF_OPER_DOWN))
                           .with(IFLA_LINKMODE, static_cast<unsigned char>(IF_LINK_MODE_DORMANT))
                           .parsed();
    EXPECT_FALSE(std::get<LinkSeen>(event.value()).up);
}

TEST(KernelEvent, WithoutACarrierOrWhenSwitchedOffALinkIsDown) {
    EXPECT_FALSE(isUp(IFF_UP, IF_OPER_UP));
    EXPECT_FALSE(isUp(IFF_UP, IF_OPER_UNKNOWN));
    EXPECT_FALSE(isUp(IFF_LOWER_UP, IF_OPER_UP));
    EXPECT_FALSE(isUp(0, IF_OPER_UNKNOWN));
}

TEST(KernelEvent, ALinkWithoutAStateIsTakenAsUnknown) {
    const auto event = linkMessage(running).with(IFLA_IFNAME, "eth1").parsed();
    EXPECT_TRUE(std::get<LinkSeen>(event.value()).up);
}

TEST(KernelEvent, ADeletedLinkHasItsIndex) {
    const auto event = linkMessage(running, RTM_DELLINK).with(IFLA_IFNAME, "eth1").parsed();
    EXPECT_EQ(std::get<LinkGone>(event.value()).index, 7);
}

TEST(KernelEvent, APortThatLeavesABridgeIsNotADeletedLink) {
    EXPECT_FALSE(linkMessage(running, RTM_DELLINK, AF_BRIDGE).with(IFLA_IFNAME, "eth1").parsed().has_value());
    EXPECT_FALSE(linkMessage(running, RTM_NEWLINK, AF_BRIDGE).with(IFLA_IFNAME, "eth1").parsed().has_value());
}

TEST(KernelEvent, AnAddressIsTheLocalOneOfAPointToPointLink) {
    const auto event =
        addressMessage().withAddress(IFA_ADDRESS, "192.0.2.254").withAddress(IFA_LOCAL, "192.0.2.1").parsed();
    const auto& seen = std::get<AddressSeen>(event.value());
    EXPECT_EQ(seen.index, 7);
    EXPECT_EQ(seen.address.local, inet_addr("192.0.2.1"));
    EXPECT_EQ(seen.address.peer, inet_addr("192.0.2.254"));
    EXPECT_EQ(seen.address.prefixLength, 24U);
    EXPECT_EQ(seen.address.scope, static_cast<unsigned>(RT_SCOPE_UNIVERSE));
    EXPECT_FALSE(seen.address.secondary);
}

TEST(KernelEvent, AnAddressWithoutALocalOneIsItsOwn) {
    const auto event = addressMessage().withAddress(IFA_ADDRESS, "192.0.2.1").parsed();
    EXPECT_EQ(std::get<AddressSeen>(event.value()).address.local, inet_addr("192.0.2.1"));
}

TEST(KernelEvent, ASecondaryAddressIsKnownAsSuch) {
    const auto event =
        addressMessage(RTM_NEWADDR, IFA_F_SECONDARY).withAddress(IFA_LOCAL, "192.0.2.2").parsed();
    EXPECT_TRUE(std::get<AddressSeen>(event.value()).address.secondary);
}

TEST(KernelEvent, ARemovedAddressIsReported) {
    const auto event = addressMessage(RTM_DELADDR).withAddress(IFA_LOCAL, "192.0.2.1").parsed();
    EXPECT_EQ(std::get<AddressGone>(event.value()).address.local, inet_addr("192.0.2.1"));
}

TEST(KernelEvent, OtherAndDamagedMessagesArePassedOver) {
    EXPECT_FALSE(linkMessage(running, RTM_NEWROUTE).parsed().has_value());
    EXPECT_FALSE(linkMessage(running).parsed().has_value()) << "no name";
    EXPECT_FALSE(addressMessage().parsed().has_value()) << "no address";
    EXPECT_FALSE(addressMessage().with(IFA_LOCAL, static_cast<unsigned char>(1)).parsed().has_value())
        << "an address of one byte";
    const Message ipv6(RTM_NEWADDR, ifaddrmsg{AF_INET6, 64, 0, 0, 7});
    EXPECT_FALSE(ipv6.parsed().has_value());
    Message cut = linkMessage(running);
    cut.with(IFLA_IFNAME, "eth1");
    cut.header()->nlmsg_len = sizeof(nlmsghdr) + 4;
    EXPECT_FALSE(cut.parsed().has_value());
}

} // namespace
