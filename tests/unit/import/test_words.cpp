#include "import/words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

TEST(Words, AreTrimmedOfBlanksAndLineEnds) {
    EXPECT_EQ(trimmed(" \ta b\r\n"), "a b");
    EXPECT_EQ(trimmed(" \t"), "");
}

TEST(Words, AreSplitWithoutEmptyPieces) {
    EXPECT_THAT(split("22,53,,80 ", ", "), ElementsAre("22", "53", "80"));
    EXPECT_THAT(split("", ","), IsEmpty());
}

TEST(Words, NumbersAreTheWholeTextOrNone) {
    EXPECT_THAT(toNumber("-12"), Optional(-12));
    EXPECT_EQ(toNumber("12x"), std::nullopt);
    EXPECT_EQ(toNumber(""), std::nullopt);
    EXPECT_EQ(toNumber("99999999999999999999"), std::nullopt);
}

TEST(Words, FlagsHaveSeveralSpellings) {
    EXPECT_THAT(toFlag("True"), Optional(true));
    EXPECT_THAT(toFlag("1"), Optional(true));
    EXPECT_THAT(toFlag("off"), Optional(false));
    EXPECT_THAT(toFlag("0"), Optional(false));
    EXPECT_EQ(toFlag("maybe"), std::nullopt);
}

TEST(Words, PortsAreOneOrARange) {
    EXPECT_EQ(toPorts("5060"), "5060");
    EXPECT_EQ(toPorts("5060-5061"), "5060:5061");
    EXPECT_EQ(toPorts("5060:5061"), "5060:5061");
    EXPECT_EQ(toPorts("80-80"), "80");
    EXPECT_EQ(toPorts("0-65535"), "0:65535");
    for (const char* wrong : {"", "65536", "-1", "5-4", "5-", "x", "1-2-3"}) {
        EXPECT_EQ(toPorts(wrong), "") << wrong;
    }
}

TEST(Words, AddressesMayHaveAPrefixLength) {
    for (const char* right : {"192.0.2.1", "192.0.2.0/24", "2001:db8::/32", "::1"}) {
        EXPECT_EQ(toAddress(right), right);
    }
    for (const char* wrong : {"", "192.0.2", "192.0.2.1/33", "2001:db8::/129", "192.0.2.1/", "host", "/24"}) {
        EXPECT_EQ(toAddress(wrong), "") << wrong;
    }
}

TEST(Words, MasksComeInFourForms) {
    EXPECT_EQ(toPrefix("10.1.0.0", "255.255.0.0"), "10.1.0.0/16");
    EXPECT_EQ(toPrefix("10.1.0.0", "0.0.0.0"), "10.1.0.0/0");
    EXPECT_EQ(toPrefix("10.1.0.0", "255.255.255.255"), "10.1.0.0/32");
    EXPECT_EQ(toPrefix("10.1.0.0", "/16"), "10.1.0.0/16");
    EXPECT_EQ(toPrefix("10.1.0.0", "16"), "10.1.0.0/16");
    EXPECT_EQ(toPrefix("10.1.0.0", "10.1.0.0/16"), "10.1.0.0/16");
    EXPECT_EQ(toPrefix("2001:db8::", "2001:db8::/32"), "2001:db8::/32");
    for (const char* wrong : {"255.0.255.0", "33", "x", "10.1/16"}) {
        EXPECT_EQ(toPrefix("10.1.0.0", wrong), "") << wrong;
    }
}

// RFC 2474, RFC 2597, RFC 3246.
TEST(Words, DscpsAreNumbersOrStandardNames) {
    EXPECT_THAT(toDscp("46"), Optional(46));
    EXPECT_THAT(toDscp("0x2e"), Optional(46));
    EXPECT_THAT(toDscp("EF"), Optional(46));
    EXPECT_THAT(toDscp("be"), Optional(0));
    EXPECT_THAT(toDscp("CS5"), Optional(40));
    EXPECT_THAT(toDscp("AF41"), Optional(34));
    EXPECT_THAT(toDscp("af13"), Optional(14));
    for (const char* wrong : {"", "64", "-1", "0x40", "cs8", "af44", "af51", "fast"}) {
        EXPECT_EQ(toDscp(wrong), std::nullopt) << wrong;
    }
}

TEST(Words, NamesKeepOnlyWhatIsSafeInThem) {
    EXPECT_EQ(toWord("cpe-voip -A $(x)", 64), "cpe_voip__A___x_");
    EXPECT_EQ(toWord("abcdef", 3), "abc");
}

} // namespace

} // namespace importers
