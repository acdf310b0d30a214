#include "match.h"

#include <gtest/gtest.h>

namespace {

fapi_rule rule(uint8_t protocol) {
    fapi_rule rule{};
    rule.protocol = protocol;
    rule.dscp = FAPI_NONE;
    return rule;
}

fapi_facts packet() {
    fapi_facts facts{};
    facts.family = 4;
    facts.protocol = 17;
    facts.has_ports = 1;
    facts.sport = 1000;
    facts.dport = 2000;
    facts.src[0] = 1;
    facts.dst[0] = 2;
    return facts;
}

} // namespace

TEST(Match, aRuleWithoutCriteriaMatchesItsProtocol) {
    const fapi_rule udp = rule(17);
    const fapi_rule tcp = rule(6);
    const fapi_facts facts = packet();
    EXPECT_TRUE(fapi_matches(&udp, &facts));
    EXPECT_FALSE(fapi_matches(&tcp, &facts));
}

TEST(Match, anExcludedAddressStillBelongsToItsFamily) {
    fapi_rule excluded = rule(17);
    excluded.family = 4;
    excluded.flags = FAPI_SRC | FAPI_SRC_NOT;
    excluded.src[0] = 9;
    excluded.src_mask[0] = ~0U;
    fapi_facts facts = packet();
    EXPECT_TRUE(fapi_matches(&excluded, &facts));
    facts.src[0] = 9;
    EXPECT_FALSE(fapi_matches(&excluded, &facts));
    facts.src[0] = 1;
    facts.family = 6;
    EXPECT_FALSE(fapi_matches(&excluded, &facts));
}

TEST(Match, portsAreInclusiveAndUnknownOnesNeverMatch) {
    fapi_rule range = rule(17);
    range.flags = FAPI_DPORT;
    range.dport_low = 2000;
    range.dport_high = 2001;
    fapi_facts facts = packet();
    EXPECT_TRUE(fapi_matches(&range, &facts));
    facts.dport = 2001;
    EXPECT_TRUE(fapi_matches(&range, &facts));
    facts.dport = 2002;
    EXPECT_FALSE(fapi_matches(&range, &facts));
    range.flags |= FAPI_DPORT_NOT;
    EXPECT_TRUE(fapi_matches(&range, &facts));
    facts.has_ports = 0;
    EXPECT_FALSE(fapi_matches(&range, &facts));
}

TEST(Match, dscpAndAcknowledgementAreComparedWhenAsked) {
    fapi_rule asked = rule(17);
    asked.dscp = 46;
    fapi_facts facts = packet();
    EXPECT_FALSE(fapi_matches(&asked, &facts));
    facts.dscp = 46;
    EXPECT_TRUE(fapi_matches(&asked, &facts));
    asked.flags = FAPI_PURE_ACK;
    EXPECT_FALSE(fapi_matches(&asked, &facts));
    facts.pure_ack = 1;
    EXPECT_TRUE(fapi_matches(&asked, &facts));
}
