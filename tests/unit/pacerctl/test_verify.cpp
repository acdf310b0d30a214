#include "pacerctl/verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pacerctl {

namespace {

Applied of(const std::vector<std::string>& commands) {
    Applied applied;
    for (const std::string& command : commands) {
        EXPECT_TRUE(addCommand(command, applied));
    }
    return applied;
}

std::vector<std::string> differences(const std::vector<std::string>& wanted,
                                     const std::vector<std::string>& actual) {
    std::vector<std::string> all;
    for (const Difference& difference : compare(of(wanted), of(actual))) {
        all.push_back(std::string(nameOf(difference.kind)) + " " + difference.object +
                      (difference.detail.empty() ? "" : ": " + difference.detail));
    }
    return all;
}

using Lines = std::vector<std::string>;

const std::string queue =
    "qcfg --queue -A ppp0_q4 -i ppp0 -t egress -l 64 -m sp --priority 4 -d tail --map 4";
const std::string shaper = "qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress";
const std::string ifMap = "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0";
const std::string ruleTail = " -j mark --mark 4 --mark-loc 1 --priority 4";
const std::string rule = "classcfg -A dns -i br0 -p udp --dport 53" + ruleTail;

TEST(Verify, FindsNothingInWhatIsTheSame) {
    EXPECT_EQ(differences({ifMap, queue, rule, shaper}, {shaper, rule, queue, ifMap}), Lines());
    EXPECT_EQ(differences({}, {}), Lines());
}

TEST(Verify, FindsWhatIsMissingAndWhatIsExtra) {
    EXPECT_EQ(
        differences({ifMap, queue, rule, shaper}, {}),
        (Lines{"missing interface map ppp0 on ptm0, category 2", "missing queue ppp0_q4 on ppp0, egress",
               "missing rule dns on br0", "missing shaper shape_wan on ptm0, egress"}));
    EXPECT_EQ(differences({}, {ifMap, queue, rule, shaper}),
              (Lines{"extra interface map ppp0 on ptm0, category 2", "extra queue ppp0_q4 on ppp0, egress",
                     "extra rule dns on br0", "extra shaper shape_wan on ptm0, egress"}));
}

TEST(Verify, FindsEveryAttributeThatDiffers) {
    EXPECT_EQ(
        differences({queue},
                    {"qcfg --queue -A ppp0_q4 -i ppp0 -t egress -l 32 -m wfq --weight 4 -d red --map 5"}),
        Lines{"different queue ppp0_q4 on ppp0, egress: the scheduler is wfq, should be sp; the length is "
              "32, should "
              "be 64; the drop algorithm is red, should be tail; the map is 5, should be 4"});
    EXPECT_EQ(
        differences({queue},
                    {"qcfg --queue -A ppp0_q4 -i ppp0 -t egress -l 64 -m sp --priority 5 -d tail --map 4"}),
        Lines{"different queue ppp0_q4 on ppp0, egress: the priority is 5, should be 4"});
    EXPECT_EQ(differences({shaper}, {"qcfg --port -A shape_wan -i ptm0 -s cb --pir 10000 -t egress"}),
              Lines{"different shaper shape_wan on ptm0, egress: the rate is 10000, should be 20000"});
    EXPECT_EQ(
        differences({ifMap, ifMap}, {ifMap}),
        Lines{"different interface map ppp0 on ptm0, category 2: the number of its uses is 1, should be 2"});
    EXPECT_EQ(differences({ifMap}, {"ifcfg --ifmap -A ppp0 -t2 -bptm0 -leth4"}),
              Lines{"different interface map ppp0 on ptm0, category 2: the lowest interface is eth4, should "
                    "be ptm0"});
}

TEST(Verify, FindsEveryAttributeOfARule) {
    const std::string wanted = "classcfg -A r -i br0 -p tcp" + ruleTail;
    const std::pair<std::string, std::string> others[] = {
        {"classcfg -A r -i br0 -p udp" + ruleTail, "the protocol is udp, should be tcp"},
        {"classcfg -A r -i br0 -p tcp --tcp-flags ack" + ruleTail, "the TCP flags is ack, should be none"},
        {"classcfg -A r -i br0 -p tcp -d 10.0.0.1" + ruleTail,
         "the destination is 10.0.0.1/32, should be none"},
        {"classcfg -A r -i br0 -p tcp -s !10.0.0.1" + ruleTail, "the source is !10.0.0.1/32, should be none"},
        {"classcfg -A r -i br0 -p tcp --dport 1:2" + ruleTail, "the destination port is 1:2, should be none"},
        {"classcfg -A r -i br0 -p tcp --sport 7" + ruleTail, "the source port is 7, should be none"},
        {"classcfg -A r -i br0 -p tcp --iphdr-dscp 0" + ruleTail, "the DSCP to match is 0, should be none"},
        {"classcfg -A r -i br0 -p tcp -o ppp0" + ruleTail, "the leaving interface is ppp0, should be none"},
        {"classcfg -A r -i br0 -p tcp -j dscp --actdscp 8" + ruleTail,
         "the DSCP to set is 8, should be none"},
        {"classcfg -A r -i br0 -p tcp -j vlan --pcp-outer 3" + ruleTail,
         "the PCP to set is 3, should be none"},
        {"classcfg -A r -i br0 -p tcp -j mark --mark_ing 4 --mark-loc 2 --priority 4",
         "the direction is downstream, should be upstream"},
        {"classcfg -A r -i br0 -p tcp -j mark --mark 5 --mark-loc 1 --priority 4",
         "the mark is 5, should be 4"},
        {"classcfg -A r -i br0 -p tcp -j mark --mark 4 --mark-loc 1 --priority 3",
         "the priority is 3, should be 4"},
    };
    for (const auto& [command, detail] : others) {
        EXPECT_EQ(differences({wanted}, {command}), Lines{"different rule r on br0: " + detail});
    }
}

TEST(Verify, TakesDifferentSpellingsOfAMatchForTheSame) {
    EXPECT_EQ(
        differences(
            {"classcfg -A r -i br0 -p tcp -s !192.168.1.7/24 -d 2001:db8:0::1 --dport 22 --sport !1:1" +
             ruleTail},
            {"classcfg -A r -i br0 -p tcp -s !192.168.1.0/24 -d 2001:db8::1/128 --dport 22:22 --sport !1" +
             ruleTail}),
        Lines());
    EXPECT_EQ(differences({"classcfg -A r -i br0 -p tcp -s 192.168.1.0/24" + ruleTail},
                          {"classcfg -A r -i br0 -p tcp -s 192.168.1.0/25" + ruleTail})
                  .size(),
              1U);
}

TEST(Verify, KeepsObjectsOfDifferentInterfacesAndDirectionsApart) {
    EXPECT_EQ(
        differences({queue},
                    {"qcfg --queue -A ppp0_q4 -i ppp0 -t ingress -l 64 -m sp --priority 4 -d tail --map 4"}),
        (Lines{"missing queue ppp0_q4 on ppp0, egress", "extra queue ppp0_q4 on ppp0, ingress"}));
    EXPECT_EQ(differences({rule}, {"classcfg -A dns -i lo -p udp --dport 53" + ruleTail}),
              (Lines{"missing rule dns on br0", "extra rule dns on lo"}));
    EXPECT_EQ(differences({ifMap}, {ifMap + " -g2"}),
              (Lines{"missing interface map ppp0 on ptm0, category 2",
                     "extra interface map ppp0 on ptm0, category 2, group 2"}));
}

TEST(Verify, FindsRulesInTheWrongOrder) {
    const auto named = [](const std::string& name, const std::string& interface) {
        return "classcfg -A " + name + " -i " + interface + " -p udp" + ruleTail;
    };
    const Lines wanted = {named("a", "br0"), named("b", "br0"), named("c", "br0"), named("x", "lo")};
    EXPECT_EQ(
        differences(wanted, {named("x", "lo"), named("a", "br0"), named("b", "br0"), named("c", "br0")}),
        Lines());
    EXPECT_EQ(
        differences(wanted, {named("a", "br0"), named("c", "br0"), named("b", "br0"), named("x", "lo")}),
        Lines{"different the order of the rules on br0: c is tried where b should be"});
    EXPECT_EQ(differences(wanted, {named("a", "br0"), named("c", "br0"), named("x", "lo")}),
              Lines{"missing rule b on br0"}); // and not that c stands too early
}

} // namespace

} // namespace pacerctl
