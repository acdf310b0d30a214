#include "pacerctl/capture.h"
#include "pacerctl/cli.h"

#include <gtest/gtest.h>
#include <pcap/pcap.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

namespace pacerctl {

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Without a checksum, which nobody looks at. `size`: of what follows.
Bytes ipv4(std::uint8_t protocol, std::size_t size, std::uint8_t tos = 0, std::uint16_t fragment = 0) {
    const std::size_t total = 20 + size;
    return {0x45,
            tos,
            static_cast<std::uint8_t>(total >> 8U),
            static_cast<std::uint8_t>(total),
            0,
            1,
            static_cast<std::uint8_t>(fragment >> 8U),
            static_cast<std::uint8_t>(fragment),
            64,
            protocol,
            0,
            0,
            192,
            168,
            1,
            5,
            198,
            51,
            100,
            7};
}

Bytes ipv6(std::uint8_t next, std::size_t size, std::uint8_t dscp = 0) {
    Bytes header = {
        static_cast<std::uint8_t>(0x60U | dscp >> 2U), static_cast<std::uint8_t>(dscp << 6U), 0,    0,
        static_cast<std::uint8_t>(size >> 8U),         static_cast<std::uint8_t>(size),       next, 64};
    for (const std::uint8_t last : Bytes{1, 2}) {
        header = header + Bytes{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, last};
    }
    return header;
}

Bytes udp() {
    return {0x9c, 0x40, 0x13, 0xc4, 0, 8, 0, 0}; // 40000 to 5060
}

Bytes tcp(std::uint8_t flags, const Bytes& payload = {}) {
    return Bytes{0x9c, 0x40, 0x01, 0xbb, 0, 0, 0, 0, 0, 0, 0, 0, 0x50, flags, 0, 0, 0, 0, 0, 0} + payload;
}

TEST(IpPacket, OfIpv4GivesAddressesPortsAndDscp) {
    const auto packet = parseIpPacket(ipv4(17, 8, 46U << 2U) + udp());
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->text(), "udp 192.168.1.5:40000 -> 198.51.100.7:5060, DSCP 46");
}

TEST(IpPacket, OfIpv6GivesAddressesPortsAndDscp) {
    const auto packet = parseIpPacket(ipv6(17, 8, 46) + udp());
    ASSERT_TRUE(packet);
    EXPECT_TRUE(packet->v6);
    EXPECT_EQ(packet->text(), "udp [2001:db8::1]:40000 -> [2001:db8::2]:5060, DSCP 46");
}

TEST(IpPacket, IsAPureAcknowledgementWithoutPayloadAndOtherFlags) {
    EXPECT_TRUE(parseIpPacket(ipv4(6, 20) + tcp(0x10))->pureAck);
    EXPECT_TRUE(parseIpPacket(ipv4(6, 20) + tcp(0x18))->pureAck); // PSH does not matter
    EXPECT_FALSE(parseIpPacket(ipv4(6, 20) + tcp(0x12))->pureAck);
    EXPECT_FALSE(parseIpPacket(ipv4(6, 20) + tcp(0x11))->pureAck);
    EXPECT_FALSE(parseIpPacket(ipv4(6, 20) + tcp(0x14))->pureAck);
    EXPECT_FALSE(parseIpPacket(ipv4(6, 20) + tcp(0x02))->pureAck);
    EXPECT_FALSE(parseIpPacket(ipv4(6, 21) + tcp(0x10, {7}))->pureAck);
    EXPECT_TRUE(
        parseIpPacket(ipv4(6, 20) + tcp(0x10, {0, 0, 0, 0, 0, 0}))->pureAck); // padding of a short frame
}

TEST(IpPacket, ThatIsALaterFragmentHasNoPorts) {
    EXPECT_TRUE(parseIpPacket(ipv4(17, 8, 0, 0x2000) + udp())->ports);
    EXPECT_FALSE(parseIpPacket(ipv4(17, 8, 0, 0x2001) + udp())->ports);
    const Bytes first = {17, 0, 0x00, 0x01, 0, 0, 0, 1};
    const Bytes later = {17, 0, 0x00, 0x08, 0, 0, 0, 1};
    EXPECT_TRUE(parseIpPacket(ipv6(44, 16) + first + udp())->ports);
    EXPECT_FALSE(parseIpPacket(ipv6(44, 16) + later + udp())->ports);
}

TEST(IpPacket, OfIpv6IsReadBehindItsExtensionHeaders) {
    const Bytes options = {17, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(parseIpPacket(ipv6(0, 24) + options + udp())->protocol, "udp");
}

TEST(IpPacket, OfMulticastListenerDiscoveryCountsAsIgmp) {
    for (const std::uint8_t type : Bytes{130, 131, 132, 143}) {
        EXPECT_EQ(parseIpPacket(ipv6(58, 1) + Bytes{type})->protocol, "igmp");
    }
    EXPECT_EQ(parseIpPacket(ipv6(58, 1) + Bytes{128})->protocol, "icmpv6");
}

TEST(IpPacket, MayBeCutShortAnywhere) {
    const Bytes whole = ipv6(0, 44) + Bytes{44, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0} +
                        Bytes{6, 0, 0, 1, 0, 0, 0, 1} + tcp(0x10);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const auto packet = parseIpPacket(std::span(whole).first(size));
        EXPECT_EQ(packet.has_value(), size >= 40) << size;
    }
    const Bytes older = ipv4(6, 20) + tcp(0x10);
    for (std::size_t size = 0; size <= older.size(); ++size) {
        const auto packet = parseIpPacket(std::span(older).first(size));
        EXPECT_EQ(packet.has_value(), size >= 20) << size;
        EXPECT_EQ(packet && packet->ports, size >= 24) << size;
        EXPECT_EQ(packet && packet->pureAck, size >= 34) << size;
    }
}

class CaptureFile : public testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove(file_); }

    const std::string& write(int linkType, const std::vector<Bytes>& frames) {
        file_ = testing::TempDir() + "pacerctl-" + std::to_string(::getpid()) + ".pcap";
        pcap_t* pcap = pcap_open_dead(linkType, 65535);
        pcap_dumper_t* dumper = pcap_dump_open(pcap, file_.c_str());
        for (const Bytes& frame : frames) {
            pcap_pkthdr header = {};
            header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
            pcap_dump(reinterpret_cast<u_char*>(dumper), &header, frame.data());
        }
        pcap_dump_close(dumper);
        pcap_close(pcap);
        return file_;
    }

    static Bytes ethernet(std::uint16_t type) {
        return {2,
                0,
                0,
                0,
                0,
                1,
                2,
                0,
                0,
                0,
                0,
                2,
                static_cast<std::uint8_t>(type >> 8U),
                static_cast<std::uint8_t>(type)};
    }

    std::string failure(std::size_t number) const {
        try {
            readCapturedPacket(file_, number);
        } catch (const CaptureError& error) {
            std::string what = error.what();
            return what.replace(what.find(file_), file_.size(), "FILE");
        }
        return "";
    }

    std::string file_;
    const Bytes udpPacket_ = ipv4(17, 8) + udp();
    const std::string udpText_ = "udp 192.168.1.5:40000 -> 198.51.100.7:5060, DSCP 0";
};

TEST_F(CaptureFile, GivesThePacketOfThatNumber) {
    write(DLT_EN10MB, {ethernet(0x0800) + ipv4(6, 20) + tcp(0x10), ethernet(0x0800) + udpPacket_});
    EXPECT_EQ(readCapturedPacket(file_, 1).protocol, "tcp");
    EXPECT_EQ(readCapturedPacket(file_, 2).text(), udpText_);
    EXPECT_EQ(failure(3), "'FILE' has 2 packets, not 3");
}

TEST_F(CaptureFile, IsReadBehindVlanTagsAndAPppoeSession) {
    const Bytes tag = {0, 7, 0x88, 0xa8};
    const Bytes innerTag = {0, 9, 0x88, 0x64};
    const Bytes session = {0x11, 0, 0, 1, 0, 30, 0x00, 0x21};
    write(DLT_EN10MB, {ethernet(0x8100) + tag + innerTag + session + udpPacket_});
    EXPECT_EQ(readCapturedPacket(file_, 1).text(), udpText_);
}

TEST_F(CaptureFile, MayBeOfAnyInterface) {
    Bytes any(16, 0);
    any[14] = 0x08;
    write(DLT_LINUX_SLL, {any + udpPacket_});
    EXPECT_EQ(readCapturedPacket(file_, 1).text(), udpText_);
    write(DLT_RAW, {udpPacket_});
    EXPECT_EQ(readCapturedPacket(file_, 1).text(), udpText_);
}

TEST_F(CaptureFile, SaysWhatIsNoIpPacket) {
    write(DLT_EN10MB, {ethernet(0x0806) + Bytes(28, 0), {1, 2, 3}});
    EXPECT_EQ(failure(1), "packet 1 of 'FILE' is no IP packet");
    EXPECT_EQ(failure(2), "packet 2 of 'FILE' is no IP packet");
}

TEST_F(CaptureFile, GivesExplainThePacketThatItsOptionsWouldDescribe) {
    write(DLT_EN10MB, {ethernet(0x0800) + ipv4(6, 20) + tcp(0x10), ethernet(0x0800) + udpPacket_});
    const auto explain = [](std::vector<std::string> packet) {
        std::ostringstream out;
        std::ostringstream err;
        packet.insert(
            packet.begin(),
            {"explain", "--file", PACERD_SOURCE_DIR "/share/examples/dsl-tripleplay.json", "--in", "br0"});
        EXPECT_EQ(run(packet, out, err, false), 0) << err.str();
        return out.str();
    };
    EXPECT_EQ(explain({"--pcap", file_, "--packet", "2"}),
              explain({"--proto", "udp", "--src", "192.168.1.5", "--sport", "40000", "--dst", "198.51.100.7",
                       "--dport", "5060"}));
    EXPECT_EQ(explain({"--pcap", file_}),
              explain({"--proto", "tcp", "--src", "192.168.1.5", "--sport", "40000", "--dst", "198.51.100.7",
                       "--dport", "443", "--ack"}));
}

TEST_F(CaptureFile, SaysWhyItCannotBeRead) {
    file_ = testing::TempDir() + "pacerctl-nothing.pcap";
    EXPECT_NE(failure(1).find("cannot read 'FILE'"), std::string::npos);
}

} // namespace

} // namespace pacerctl
