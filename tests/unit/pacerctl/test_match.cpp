#include "pacerctl/match.h"

#include <gtest/gtest.h>

namespace pacerctl {

namespace {

Rule udpRule() {
    Rule rule;
    rule.enable = 1;
    rule.protocol = "udp";
    return rule;
}

Packet udpPacket() {
    Packet packet;
    packet.protocol = "udp";
    packet.source = parseAddress("192.168.1.5");
    packet.destination = parseAddress("198.51.100.7");
    packet.ports = Ports{40000, 5060};
    return packet;
}

TEST(Prefix, HoldsTheAddressesThatBeginLikeIt) {
    const auto prefix = parsePrefix("192.168.1.64/28");
    ASSERT_TRUE(prefix);
    EXPECT_TRUE(prefix->contains(*parseAddress("192.168.1.64")));
    EXPECT_TRUE(prefix->contains(*parseAddress("192.168.1.79")));
    EXPECT_FALSE(prefix->contains(*parseAddress("192.168.1.80")));
    EXPECT_FALSE(prefix->contains(*parseAddress("192.168.1.63")));
    EXPECT_TRUE(parsePrefix("0.0.0.0/0")->contains(*parseAddress("203.0.113.9")));
    EXPECT_FALSE(parsePrefix("0.0.0.0/0")->contains(*parseAddress("2001:db8::1")));
    EXPECT_TRUE(parsePrefix("2001:db8::/33")->contains(*parseAddress("2001:db8:7fff::1")));
    EXPECT_FALSE(parsePrefix("2001:db8::/33")->contains(*parseAddress("2001:db8:8000::1")));
}

TEST(Prefix, IsNotReadFromAnythingElse) {
    for (const char* text : {"", "192.168.1", "192.168.1.0/33", "192.168.1.0/", "/24", "192.168.1.0/-1",
                             "2001:db8::/129", "192.168.1.0/24 ", "example.net", "!10.0.0.1"}) {
        EXPECT_FALSE(parsePrefix(text)) << text;
    }
}

TEST(PortRange, IsOnePortOrTwoInOrder) {
    EXPECT_TRUE(parsePorts("0")->contains(0));
    EXPECT_TRUE(parsePorts("5060:5061")->contains(5061));
    EXPECT_FALSE(parsePorts("5060:5061")->contains(5062));
    for (const char* text : {"", ":", "5061:5060", "65536", "-1", "1-2", "80,443", "80:", ":80", " 80"}) {
        EXPECT_FALSE(parsePorts(text)) << text;
    }
}

TEST(Rule, WithoutFurtherCriteriaMatchesItsProtocol) {
    EXPECT_EQ(whyNoMatch(udpRule(), udpPacket()), "");
    Packet packet = udpPacket();
    packet.protocol = "tcp";
    EXPECT_EQ(whyNoMatch(udpRule(), packet), "protocol is tcp, not udp");
}

TEST(Rule, SaysWhichAddressDoesNotMatch) {
    Rule rule = udpRule();
    rule.source = {"192.168.1.64/28", 0};
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "source address 192.168.1.5 is not in 192.168.1.64/28");
    rule.source = {"192.168.1.0/24", 1};
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "source address 192.168.1.5 is in the excluded 192.168.1.0/24");
    rule.source = {};
    rule.destination = {"198.51.100.8", 0};
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "destination address 198.51.100.7 is not in 198.51.100.8");
}

TEST(Rule, WithAnAddressSpeaksOfItsOwnIpVersionOnlyEvenExcluded) {
    Rule rule = udpRule();
    rule.source = {"2001:db8::1", 1};
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "the packet is IPv4, the source address 2001:db8::1 is not");
}

TEST(Rule, SaysWhichPortDoesNotMatch) {
    Rule rule = udpRule();
    rule.destinationPort = {"53", 0};
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "destination port 5060 is not 53");
    rule.destinationPort = {"5060:5061", 1};
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "destination port 5060 is the excluded 5060:5061");
    rule.destinationPort = {"5060:5061", 2}; // only exactly 1 excludes
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "");
}

TEST(Rule, WithAPortDoesNotMatchAPacketWithoutOneEvenExcluded) {
    Rule rule = udpRule();
    rule.sourcePort = {"53", 1};
    Packet packet = udpPacket();
    packet.ports.reset();
    EXPECT_EQ(whyNoMatch(rule, packet), "the packet has no source port");
}

TEST(Rule, SaysWhatOfThePacketIsNotKnown) {
    Rule rule = udpRule();
    rule.sourcePort = {"53", 0};
    Packet packet = udpPacket();
    packet.ports = Ports{std::nullopt, 53};
    packet.source.reset();
    EXPECT_EQ(whyNoMatch(rule, packet), "the packet's source port is not given");
    rule.sourcePort = {};
    rule.source = {"10.0.0.1", 0};
    EXPECT_EQ(whyNoMatch(rule, packet), "the packet's source address is not given");
}

TEST(Rule, MatchesADscp) {
    Rule rule = udpRule();
    rule.dscp = 46;
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "DSCP is 0, not 46");
    rule.dscp = 0;
    EXPECT_EQ(whyNoMatch(rule, udpPacket()), "");
}

TEST(Rule, ForAcknowledgementsLeavesAllElseAside) {
    Rule rule = udpRule();
    rule.protocol = "tcp";
    rule.tcpAck = 1;
    rule.destinationPort = {"22", 0};
    rule.dscp = 46;
    Packet packet = udpPacket();
    packet.protocol = "tcp";
    EXPECT_EQ(whyNoMatch(rule, packet), "it is no acknowledgement without payload");
    packet.pureAck = true;
    EXPECT_EQ(whyNoMatch(rule, packet), "");
}

TEST(Packet, IsWrittenOnOneLine) {
    EXPECT_EQ(udpPacket().text(), "udp 192.168.1.5:40000 -> 198.51.100.7:5060, DSCP 0");
    Packet packet = udpPacket();
    packet.source = parseAddress("2001:db8::1");
    packet.destination.reset();
    packet.ports = Ports{std::nullopt, 80};
    packet.pureAck = true;
    EXPECT_EQ(packet.text(), "udp ack 2001:db8::1 -> ?:80, DSCP 0");
    packet.ports = Ports{1, 80};
    EXPECT_EQ(packet.text(), "udp ack [2001:db8::1]:1 -> ?:80, DSCP 0");
}

} // namespace

} // namespace pacerctl
