#include "gateway.h"
#include "import/uci.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

// Lines after it stand in line 10 and so on.
const std::string line = "config interface wan\n"
                         "option upload 1000\n"
                         "option download 2000\n"
                         "config classgroup Default\n"
                         "option classes 'High Low'\n"
                         "option default Low\n"
                         "config class High\n"
                         "option priority 20\n"
                         "config class Low\n";
const std::string toHigh = "config classify\noption target High\n";

std::string uciRows(const std::string& text, std::size_t table) {
    const Imported imported = fromUci("f", text, dslGateway());
    return gateway::writeGatewayFile({imported.file.at(table)});
}

std::string uciRules(const std::string& text) {
    return uciRows(text, 3);
}

const std::string noRules = "{\n  \"QoSClassification\": []\n}\n";

std::string uciRemarks(const std::string& text) {
    return remarkLines("f", fromUci("f", text, dslGateway()));
}

TEST(Uci, BringsAWholeConfigurationOver) {
    const Imported imported =
        fromUci("home.uci", testFile("home.uci"), dslGateway({{"wan2", "ProviderIPTV"}}));
    EXPECT_EQ(gateway::writeGatewayFile(imported.file), testFile("home.uci.json"));
    EXPECT_EQ(remarkLines("home.uci", imported), testFile("home.uci.remarks"));
}

TEST(Uci, AnInterfaceMustBeAProvidersHere) {
    const std::string allowed =
        "; say which it is with --interface dmz=NAME; the gateway has \"LocalLoopback\", "
        "\"LocalLAN\", \"ProviderInternet\", \"ProviderIPTV\", \"ProviderTR069\"";
    EXPECT_THAT(
        faultsOf(fromUci, "config interface dmz\n"),
        ElementsAre("f:1: interface \"dmz\" is none of this gateway's provider interfaces" + allowed));
    EXPECT_THAT(faultsOf(fromUci, "config interface LocalLAN\n"),
                ElementsAre(HasSubstr("is none of this gateway's")));
}

TEST(Uci, LinesInAnotherEncodingAreAFault) {
    EXPECT_THAT(
        faultsOf(fromUci, "config classify\n# gr\xFC\xDF\n# gr\xC3\xBC\xC3\x9F\n\toption target '\xFF'\n"),
        ElementsAre("f:2: is not UTF-8", "f:4: is not UTF-8"));
}

TEST(Uci, ANullCharacterIsAFault) {
    EXPECT_THAT(faultsOf(fromUci, std::string("config classify\n\toption target '\0Bulk'\n", 39)),
                ElementsAre("f:2: holds a null character"));
}

TEST(Uci, TwoInterfacesOnOneLinuxInterfaceAreAFault) {
    EXPECT_THAT(faultsOf(fromUci, line + "config interface ProviderTR069\n"),
                ElementsAre("f:10: interface \"ProviderTR069\" is ppp0 here, and so is interface \"wan\""));
}

TEST(Uci, TheSecondShaperOfAPortIsLeftAway) {
    EXPECT_THAT(
        uciRemarks(line + "config interface ProviderIPTV\noption upload 5\n"),
        HasSubstr("f:11: config interface ProviderIPTV: upload 5: not carried over: the WAN port ptm0 has a "
                  "shaper already\n"));
}

TEST(Uci, WithoutADownloadRateNothingComesInThroughQueues) {
    std::string text = line + toHigh + "option ports 22\n";
    text.erase(text.find("option download 2000\n"), 21);
    EXPECT_THAT(uciRows(text, 0), Not(HasSubstr("ShapeIngress")));
    EXPECT_THAT(uciRows(text, 1), Not(HasSubstr("Ingress")));
    EXPECT_THAT(uciRules(text), Not(HasSubstr("ProviderInternet")));
    EXPECT_THAT(
        uciRemarks(text + "option direction in\n"),
        HasSubstr("not carried over: no enabled interface has a class \"High\" and a download rate\n"));
}

TEST(Uci, RulesThatOverrideComeFirstAndTheLastOfThemWins) {
    const std::string rules = uciRules(line + "config default a\noption target Low\noption proto udp\n" +
                                       "config classify b\noption target High\noption proto udp\n" +
                                       "config reclassify c\noption target High\noption proto udp\n" +
                                       "config reclassify d\noption target Low\noption proto udp\n");
    const auto place = [&rules](const std::string& name) { return rules.find("\"Name\": \"" + name + "\""); };
    EXPECT_LT(place("d"), place("c"));
    EXPECT_LT(place("c"), place("b"));
    EXPECT_LT(place("b"), place("a"));
    EXPECT_LT(place("a"), rules.size());
}

TEST(Uci, OnlyWhatClassifyFindsHoldsForThePacketsThatComeBack) {
    EXPECT_THAT(
        uciRules(line + toHigh + "option proto udp\noption dsthost 192.0.2.1\noption srcports 1-2\n"),
        HasSubstr(R"("ClassifyInterface": "ProviderInternet", "SourceIP": "192.0.2.1", "Protocol": "udp", )"
                  R"("DestPortRange": "1:2"})"));
    EXPECT_THAT(uciRules(line + "config default\noption target High\noption proto udp\n"),
                Not(HasSubstr("ProviderInternet")));
}

TEST(Uci, ARuleForIncomingPacketsIsTakenAsItStands) {
    EXPECT_EQ(uciRules(line + toHigh + "option proto udp\noption direction in\noption srcports 53\n"),
              "{\n  \"QoSClassification\": [\n    {\"Id\": 1, \"Name\": \"classify1_in\", \"Enable\": 1, "
              "\"QoSClassificationActionId\": 1, \"ClassifyInterface\": \"ProviderInternet\", \"Protocol\": "
              "\"udp\", "
              "\"SourcePortRange\": \"53\"}\n  ]\n}\n");
}

// Each of them, if it were left away, would let the rule match more than it did.
TEST(Uci, ARuleWithACriterionThatIsMissingHereIsLeftOutAsAWhole) {
    for (const char* criterion :
         {"option layer7 sip", "option ipp2p all", "option pktsize -128", "option connbytes 1:",
          "option tos 16", "option mark !Low", "option proto icmp", "option proto !tcp", "option dscp !EF",
          "option tcpflags SYN", "option ports 22\noption dstports 23", "option dstports !22,23",
          "option ports !22", "option proto igmp\noption dstports 1",
          "option proto tcp\noption tcpflags ACK\noption dstports 80"}) {
        const std::string text = line + toHigh + criterion + "\n";
        EXPECT_EQ(uciRules(text), noRules) << criterion;
        EXPECT_THAT(uciRemarks(text), HasSubstr("f:10: config classify: not carried over: ")) << criterion;
    }
}

TEST(Uci, OnePortCanBeExcluded) {
    EXPECT_THAT(uciRules(line + toHigh + "option proto tcp\noption dstports !22\noption direction out\n"),
                HasSubstr("\"DestPortRange\": \"22\", \"DestPortRangeExclude\": 1"));
}

TEST(Uci, PortsOfBothEndsAreCombined) {
    const std::string rules = uciRules(
        line + toHigh + "option proto tcp\noption direction out\noption srcports 1,2\noption dstports 3,4\n");
    for (const char* pair : {R"("DestPortRange": "3", "SourcePortRange": "1")",
                             R"("DestPortRange": "4", "SourcePortRange": "1")",
                             R"("DestPortRange": "3", "SourcePortRange": "2")",
                             R"("DestPortRange": "4", "SourcePortRange": "2")"}) {
        EXPECT_THAT(rules, HasSubstr(pair));
    }
}

TEST(Uci, ValuesThatAreNotAllowedAreToldWithWhatIs) {
    EXPECT_THAT(
        faultsOf(fromUci,
                 line + "config classify\n" + toHigh +
                     "option srchost home\noption dstports 70000\noption dscp fast\noption direction up\n"),
        ::testing::UnorderedElementsAre("f:10: config classify has no target; allowed: the name of a class",
                                        "f:13: srchost \"home\" is not allowed; allowed: an IPv4 or IPv6 "
                                        "address, with a prefix length or not, "
                                        "with ! before it or not",
                                        "f:14: dstports \"70000\" is not allowed; allowed: ports from 0 to "
                                        "65535 and ranges such as 5060-5061, "
                                        "separated by commas",
                                        "f:15: dscp \"fast\" is not allowed; allowed: an integer from 0 to "
                                        "63, or a name such as EF, CS1, AF41",
                                        "f:16: direction \"up\" is not allowed; allowed: in, out, both"));
    EXPECT_THAT(faultsOf(fromUci, "config interface wan\noption upload 0\noption enabled perhaps\n"
                                  "option classgroup Fine\n"),
                ::testing::UnorderedElementsAre(
                    "f:2: upload \"0\" is not allowed; allowed: an integer from 1 to 10000000",
                    "f:3: enabled \"perhaps\" is not allowed; allowed: 0, 1",
                    "f:4: classgroup \"Fine\": the file has no such section with classes"));
}

TEST(Uci, TellsOfEveryOptionThatItDoesNotKnow) {
    EXPECT_THAT(uciRemarks(line + toHigh + "option fast 1\nconfig other\noption a b\n"),
                HasSubstr("f:12: config classify: fast 1: not carried over: the option is unknown here\n"
                          "f:14: config other: a b: not carried over: the option is unknown here\n"));
}

} // namespace

} // namespace importers::test
