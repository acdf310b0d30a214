// What the file of rules may hold. A rule that the kernel refuses, or that a program trips over, would come
// back at every call of the tools.
#include "failure.h"
#include "rulefile.h"

#include <gtest/gtest.h>

#include <functional>

namespace fapi {

namespace {

// classcfg -A voip -i br0 -p udp -o ppp0 -j vlan --pcp-outer 5 ...
Rule voip() {
    Rule rule{};
    rule.used = 1;
    rule.sequence = 7;
    std::copy_n("voip", 4, rule.name.begin());
    std::copy_n("br0", 3, rule.inName.begin());
    rule.inIndex = 5;
    std::copy_n("ppp0", 4, rule.outName.begin());
    rule.outIndex = 7;
    rule.match.protocol = 17;
    rule.match.dscp = FAPI_NONE;
    rule.match.new_dscp = FAPI_NONE;
    rule.match.new_pcp = 5;
    rule.match.out = 1;
    return rule;
}

std::string bytesOf(const std::vector<Rule>& rules) {
    return {reinterpret_cast<const char*>(rules.data()), rules.size() * sizeof(Rule)};
}

std::string complaintAbout(const std::string& bytes) {
    try {
        (void)parseRules(bytes);
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

std::string complaintAbout(const std::function<void(Rule&)>& change) {
    std::vector<Rule> rules = {voip(), voip(), voip()};
    change(rules[1]);
    return complaintAbout(bytesOf(rules));
}

} // namespace

TEST(RuleFile, givesEachRuleTheSlotOfItsRecord) {
    Rule other = voip();
    other.sequence = 3;
    const std::string bytes = bytesOf({voip(), Rule{}, other});
    const RuleTable table = parseRules(bytes);
    EXPECT_EQ(3U, table.size());
    EXPECT_EQ((std::vector<uint32_t>{3, 1}), table.inOrder());
    EXPECT_EQ(bytes, bytesOf({table.at(1), table.at(2), table.at(3)}));
}

TEST(RuleFile, ofNothingIsNothing) {
    EXPECT_EQ(0U, parseRules("").size());
}

TEST(RuleFile, holdsWholeRecords) {
    const std::string bytes = bytesOf({voip(), voip()});
    for (const size_t size : {size_t{1}, sizeof(Rule) - 1, sizeof(Rule) + 1}) {
        EXPECT_EQ("the last rule is cut off", complaintAbout(bytes.substr(0, size))) << size;
    }
}

TEST(RuleFile, holdsNoMoreRulesThanTheKernelsMap) {
    EXPECT_EQ("", complaintAbout(std::string(16383 * sizeof(Rule), '\0')));
    EXPECT_EQ("more than 16383 rules", complaintAbout(std::string(16384 * sizeof(Rule), '\0')));
}

TEST(RuleFile, aRecordThatClasscfgNeverWritesIsDamaged) {
    const std::pair<const char*, std::function<void(Rule&)>> damages[] = {
        {"neither used nor free", [](Rule& rule) { rule.used = 2; }},
        {"a name without end", [](Rule& rule) { rule.name.fill('a'); }},
        {"no name", [](Rule& rule) { rule.name.fill('\0'); }},
        {"a name of two lines", [](Rule& rule) { rule.name[1] = '\n'; }},
        {"an entering interface without end", [](Rule& rule) { rule.inName.fill('a'); }},
        {"an entering interface without name", [](Rule& rule) { rule.inName.fill('\0'); }},
        {"an entering interface without index", [](Rule& rule) { rule.inIndex = 0; }},
        {"a leaving interface without end", [](Rule& rule) { rule.outName.fill('a'); }},
        {"a leaving interface without name", [](Rule& rule) { rule.outName.fill('\0'); }},
        {"a leaving interface without index", [](Rule& rule) { rule.outIndex = 0; }},
        {"a leaving interface with a negative index", [](Rule& rule) { rule.outIndex = -7; }},
        {"a leaving interface without number", [](Rule& rule) { rule.match.out = 0; }},
        {"a leaving interface beyond the last", [](Rule& rule) { rule.match.out = 8; }},
        {"only the name of a leaving interface", [](Rule& rule) { rule.outIndex = rule.match.out = 0; }},
        {"IP of version 5", [](Rule& rule) { rule.match.family = 5; }},
        {"no protocol", [](Rule& rule) { rule.match.protocol = 0; }},
        {"a DSCP of seven bits", [](Rule& rule) { rule.match.dscp = 64; }},
        {"a new DSCP of seven bits", [](Rule& rule) { rule.match.new_dscp = 64; }},
        {"a new PCP of four bits", [](Rule& rule) { rule.match.new_pcp = 8; }},
    };
    for (const auto& [what, damage] : damages) {
        EXPECT_EQ("rule 2 is damaged", complaintAbout(damage)) << what;
    }
}

TEST(RuleFile, theLimitsThemselvesAreWhole) {
    EXPECT_EQ("", complaintAbout([](Rule& rule) {
                  rule.name.fill('n');
                  rule.name.back() = '\0';
                  rule.inName.fill('i');
                  rule.inName.back() = '\0';
                  rule.match.family = 6;
                  rule.match.dscp = rule.match.new_dscp = 63;
                  rule.match.new_pcp = 7;
                  rule.match.out = 7;
              }));
    EXPECT_EQ("", complaintAbout([](Rule& rule) {
                  rule.outName.fill('\0');
                  rule.outIndex = rule.match.out = 0;
              }));
}

} // namespace fapi
