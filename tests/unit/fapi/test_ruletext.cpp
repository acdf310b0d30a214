#include "failure.h"
#include "ruletext.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

namespace fapi {

namespace {

fapi_rule parse(const std::string& line,
                const std::string& mark = " -j mark --mark 5 --mark-loc 1 --priority 5") {
    std::istringstream words(line + mark);
    return readRule(ruleOptions({std::istream_iterator<std::string>(words), {}}));
}

} // namespace

TEST(RuleText, leavesOutWhatIsNotSaid) {
    const fapi_rule rule = parse("-p udp");
    EXPECT_EQ(17, rule.protocol);
    EXPECT_EQ(0U, rule.flags);
    EXPECT_EQ(0, rule.family);
    EXPECT_EQ(FAPI_NONE, rule.dscp);
    EXPECT_EQ(FAPI_NONE, rule.new_dscp);
    EXPECT_EQ(FAPI_NONE, rule.new_pcp);
    EXPECT_EQ(5U, rule.mark);
    EXPECT_EQ(5U, rule.priority);
}

TEST(RuleText, readsAddressesWithPrefixAndExclusion) {
    const fapi_rule v4 = parse("-p udp -s !192.168.1.0/24");
    EXPECT_EQ(FAPI_SRC | FAPI_SRC_NOT, static_cast<int>(v4.flags));
    EXPECT_EQ(4, v4.family);
    EXPECT_EQ(htonl(0xc0a80100), v4.src[0]);
    EXPECT_EQ(htonl(0xffffff00), v4.src_mask[0]);
    EXPECT_EQ(0U, v4.src_mask[1]);
    const fapi_rule v6 = parse("-p udp -d fd00::1/65");
    EXPECT_EQ(FAPI_DST, static_cast<int>(v6.flags));
    EXPECT_EQ(6, v6.family);
    EXPECT_EQ(~0U, v6.dst_mask[1]);
    EXPECT_EQ(htonl(0x80000000), v6.dst_mask[2]);
    EXPECT_EQ(0U, v6.dst_mask[3]);
    EXPECT_EQ(0U, parse("-p udp -d 0.0.0.0/0").dst_mask[0]);
    EXPECT_THROW(parse("-p udp -s 10.0.0.1 -d fd00::1"), Usage);
    EXPECT_THROW(parse("-p udp -s 10.0.0.1/"), Usage);
}

TEST(RuleText, readsPortsAndRanges) {
    const fapi_rule rule = parse("-p tcp --dport 80 --sport !1024:65535");
    EXPECT_EQ(80, rule.dport_low);
    EXPECT_EQ(80, rule.dport_high);
    EXPECT_EQ(1024, rule.sport_low);
    EXPECT_EQ(65535, rule.sport_high);
    EXPECT_EQ(FAPI_DPORT | FAPI_SPORT | FAPI_SPORT_NOT, static_cast<int>(rule.flags));
    EXPECT_THROW(parse("-p tcp --dport 80:"), Usage);
    EXPECT_THROW(parse("-p tcp --dport 81:80"), Usage);
    EXPECT_THROW(parse("-p tcp --dport 65536"), Usage);
    EXPECT_THROW(parse("-p igmp --dport 80"), Usage);
}

TEST(RuleText, readsTheActions) {
    const fapi_rule rule = parse("-p udp --iphdr-dscp 0 -j dscp --actdscp 63 -j vlan --pcp-outer 7");
    EXPECT_EQ(0, rule.dscp);
    EXPECT_EQ(63, rule.new_dscp);
    EXPECT_EQ(7, rule.new_pcp);
    EXPECT_THROW(parse("-p udp -j dscp --actdscp 64"), Usage);
    EXPECT_THROW(parse("-p udp -j vlan --pcp-outer 8"), Usage);
    EXPECT_THROW(parse("-p udp --actdscp 1"), Usage);
    EXPECT_THROW(parse("-p udp -j drop"), Usage);
}

TEST(RuleText, takesOneKindOfMarkWithItsPlace) {
    EXPECT_EQ(9U, parse("-p udp", " -j mark --mark_ing 9 --mark-loc 2 --priority 1").mark);
    EXPECT_THROW(parse("-p udp", " -j mark --mark 9 --mark-loc 2 --priority 1"), Usage);
    EXPECT_THROW(parse("-p udp", " -j mark --mark 9 --mark_ing 9 --mark-loc 1 --priority 1"), Usage);
    EXPECT_THROW(parse("-p udp", " --mark 9 --mark-loc 1 --priority 1"), Usage);
    EXPECT_THROW(parse("-p udp", " -j mark --mark 9 --mark-loc 1"), Usage);
}

} // namespace fapi
