#include "gateway.h"
#include "import/tr181.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A voice queue on the internet's interface and a rule for it; lines after it stand in line 9 and so on.
const std::string voice = "Device.QoS.Queue.1.Enable=1\n"
                          "Device.QoS.Queue.1.TrafficClasses=5\n"
                          "Device.QoS.Queue.1.Interface=ppp0\n"
                          "Device.QoS.Queue.1.Precedence=5\n"
                          "Device.QoS.Classification.1.Enable=1\n"
                          "Device.QoS.Classification.1.Interface=br0\n"
                          "Device.QoS.Classification.1.Protocol=17\n"
                          "Device.QoS.Classification.1.TrafficClass=5\n";
const std::string rule = "Device.QoS.Classification.1.";

std::string tr181Rows(const std::string& text, std::size_t table,
                      std::map<std::string, std::string> chosen = {}) {
    const Imported imported = fromTr181("f", text, dslGateway(std::move(chosen)));
    return gateway::writeGatewayFile({imported.file.at(table)});
}

std::string tr181Rules(const std::string& text) {
    return tr181Rows(text, 3);
}

std::string tr181Remarks(const std::string& text) {
    return remarkLines("f", fromTr181("f", text, dslGateway()));
}

TEST(Tr181, BringsAWholeConfigurationOver) {
    const Imported imported = fromTr181("home.tr181", testFile("home.tr181"), dslGateway());
    EXPECT_EQ(gateway::writeGatewayFile(imported.file), testFile("home.tr181.json"));
    EXPECT_EQ(remarkLines("home.tr181", imported), testFile("home.tr181.remarks"));
}

TEST(Tr181, AnEmptyFileEmptiesTheTables) {
    const Imported imported = fromTr181("f", "", dslGateway());
    EXPECT_EQ(imported.file.size(), 4U);
    EXPECT_TRUE(imported.remarks.empty());
}

TEST(Tr181, FollowsInterfaceReferencesByNameByLowerLayersAndByWhatTheUserSays) {
    const std::string queue = "Device.QoS.Queue.1.Enable=1\nDevice.QoS.Queue.1.TrafficClasses=1\n"
                              "Device.QoS.Queue.1.Precedence=1\nDevice.QoS.Queue.1.Interface=";
    EXPECT_THAT(tr181Rows(queue + "Device.IP.Interface.1\nDevice.IP.Interface.1.Name=ppp0", 1),
                HasSubstr("\"InterfaceName\": \"ProviderInternet\""));
    EXPECT_THAT(
        tr181Rows(queue +
                      "Device.IP.Interface.1.\nDevice.IP.Interface.1.LowerLayers=Device.PPP.Interface.2.\n"
                      "Device.PPP.Interface.2.Name=ppp0",
                  1),
        HasSubstr("\"InterfaceName\": \"ProviderInternet\""));
    EXPECT_THAT(tr181Rows(queue + "Device.IP.Interface.7", 1, {{"Device.IP.Interface.7", "ProviderIPTV"}}),
                HasSubstr("\"InterfaceName\": \"ProviderIPTV\""));
}

TEST(Tr181, AnInterfaceOfAnotherGatewayIsAFault) {
    EXPECT_THAT(
        faultsOf(fromTr181, voice + "Device.QoS.Queue.2.Enable=1\nDevice.QoS.Queue.2.Interface="
                                    "Device.IP.Interface.9\n"),
        ElementsAre("f:10: Device.QoS.Queue.2.Interface=Device.IP.Interface.9: leads to no interface of this "
                    "gateway; say which it is with --interface Device.IP.Interface.9=NAME, where NAME is one "
                    "of \"LocalLoopback\", \"LocalLAN\", \"ProviderInternet\", \"ProviderIPTV\", "
                    "\"ProviderTR069\""));
}

TEST(Tr181, LowerLayersInACircleEnd) {
    EXPECT_THAT(faultsOf(fromTr181, "Device.QoS.Queue.1.Enable=1\nDevice.QoS.Queue.1.Interface=Device.A.1\n"
                                    "Device.A.1.LowerLayers=Device.A.2\nDevice.A.2.LowerLayers=Device.A.1\n"),
                ElementsAre(HasSubstr("leads to no interface")));
}

TEST(Tr181, AQueueOnAPortIsAQueueOnEveryInterfaceAboveIt) {
    const std::string rows =
        tr181Rows("Device.QoS.Queue.1.Enable=1\nDevice.QoS.Queue.1.Interface=ptm0\n"
                  "Device.QoS.Queue.1.TrafficClasses=3\nDevice.QoS.Queue.1.Precedence=3\n",
                  1);
    EXPECT_THAT(rows, HasSubstr("\"InterfaceName\": \"ProviderInternet\""));
    EXPECT_THAT(rows, HasSubstr("\"InterfaceName\": \"ProviderIPTV\""));
    EXPECT_THAT(rows, ::testing::Not(HasSubstr("ProviderTR069")))
        << "it is on the interface of ProviderInternet";
}

TEST(Tr181, ADisabledQueueStaysDisabledAndADisabledRuleStaysAway) {
    EXPECT_THAT(tr181Rows("Device.QoS.Queue.1.Interface=ppp0\nDevice.QoS.Queue.1.TrafficClasses=1\n", 1),
                HasSubstr("\"Enable\": 0"));
    EXPECT_THAT(
        tr181Remarks("Device.QoS.Queue.1.Interface=ppp0\n"),
        HasSubstr("f:1: Device.QoS.Queue.1.: assumed: not enabled, because it does not say Enable=true\n"));
    EXPECT_THAT(
        tr181Remarks("Device.QoS.Classification.1.Enable=0\n"),
        HasSubstr("f:1: Device.QoS.Classification.1.: not carried over: a disabled rule would keep all rules "
                  "from being taken back on WAN down\n"));
}

TEST(Tr181, ARuleWithoutProtocolBecomesOneForTcpAndOneForUdp) {
    std::string text = voice;
    text.replace(text.find("Protocol=17"), 11, "DestPort=53");
    EXPECT_THAT(tr181Rules(text), HasSubstr(R"("Name": "classification_1_tcp")"));
    EXPECT_THAT(tr181Rules(text), HasSubstr(R"("Name": "classification_1_udp")"));
    EXPECT_THAT(tr181Remarks(text), ::testing::Not(HasSubstr("tcp and udp only")))
        << "nothing else has ports";
}

// Each of them, if it were left away, would let the rule match more than it did.
TEST(Tr181, ARuleWithACriterionThatIsMissingHereIsLeftOutAsAWhole) {
    for (const char* criterion :
         {"VLANIDCheck=7", "SourceMACAddress=02:00:00:00:00:01", "Ethertype=2048", "IPLengthMin=64",
          "EthernetPriorityCheck=0", "DestVendorClassID=x", "OutOfBandInfo=1", "ProtocolExclude=true",
          "DSCPCheck=46\nDevice.QoS.Classification.1.DSCPExclude=true", "TCPACK=true"}) {
        const std::string text = voice + rule + criterion + "\n";
        EXPECT_EQ(tr181Rules(text), "{\n  \"QoSClassification\": []\n}\n") << criterion;
        EXPECT_THAT(tr181Remarks(text), HasSubstr("f:5: Device.QoS.Classification.1.: not carried over: "))
            << criterion;
    }
}

TEST(Tr181, CriteriaThatSayThatTheyAreNotUsedAreNoCriteria) {
    for (const char* criterion :
         {"VLANIDCheck=-1", "SourceMACAddress=", "IPLengthMin=0", "ProtocolExclude=false", "DSCPExclude=true",
          "TCPACKExclude=true", "SourceMACMask=ff:ff:ff:ff:ff:ff"}) {
        const std::string text = voice + rule + criterion + "\n";
        EXPECT_EQ(tr181Rules(text), tr181Rules(voice)) << criterion;
        EXPECT_EQ(tr181Remarks(text), tr181Remarks(voice)) << criterion;
    }
}

TEST(Tr181, AcknowledgementsWithOtherCriteriaAreLeftOut) {
    std::string text = voice;
    text.replace(text.find("Protocol=17"), 11, "Protocol=6");
    text += rule + "TCPACK=1\n";
    EXPECT_THAT(tr181Rules(text), HasSubstr("\"TCPACK\": 1"));
    EXPECT_EQ(tr181Rules(text + rule + "DestPort=80\n"), "{\n  \"QoSClassification\": []\n}\n");
}

TEST(Tr181, APcpThatContradictsAnEarlierOneIsLeftAway) {
    const std::string second = "Device.QoS.Classification.2.";
    const std::string text = voice + rule + "EthernetPriorityMark=5\n" + second + "Enable=1\n" + second +
                             "Interface=br0\n" + second + "Protocol=6\n" + second + "TrafficClass=5\n" +
                             second + "EthernetPriorityMark=6\n";
    EXPECT_THAT(tr181Rows(text, 2), HasSubstr("\"EthPriorityMark\": 5"));
    EXPECT_THAT(tr181Rows(text, 2), ::testing::Not(HasSubstr("\"EthPriorityMark\": 6")));
    EXPECT_THAT(tr181Remarks(text),
                HasSubstr("f:14: Device.QoS.Classification.2.EthernetPriorityMark=6: not carried "
                          "over: an earlier rule gives packets of that queue on ppp0 the priority "
                          "5, and there can be only one\n"));
}

TEST(Tr181, PacketsOfNoClassGoToTheDefaultQueue) {
    std::string text = voice;
    text.replace(text.find("Classification.1.TrafficClass=5"), 31, "Classification.1.DSCPMark=46");
    EXPECT_THAT(tr181Rows(text, 2), HasSubstr("\"DSCPMark\": 46, \"TrafficClass\": 8"));
    EXPECT_THAT(tr181Rows(text + "Device.QoS.DefaultTrafficClass=5\n", 2), HasSubstr("\"TrafficClass\": 8"));
    EXPECT_THAT(tr181Rows(text + "Device.QoS.DefaultTrafficClass=5\n", 1), HasSubstr("\"Precedence\": 8"));
    EXPECT_THAT(tr181Rows(text + "Device.QoS.DefaultQueue=Device.QoS.Queue.1\n", 1),
                HasSubstr("\"Precedence\": 8"));
}

TEST(Tr181, AShaperNeedsARateInBitsAndAWanPort) {
    const std::string shaper = "Device.QoS.Shaper.1.";
    const std::string enabled = shaper + "Enable=1\n";
    const std::string onPpp = enabled + shaper + "Interface=ppp0\n";
    EXPECT_EQ(tr181Rows(onPpp + shaper + "ShapingRate=101\n", 0),
              "{\n  \"QoSShaper\": [\n    {\"Id\": 1, \"Enable\": 1, \"InterfaceName\": \"ptm0\", "
              "\"ShapeEgress\": 1, "
              "\"ShapingRate\": 1}\n  ]\n}\n");
    const std::string none = "{\n  \"QoSShaper\": []\n}\n";
    EXPECT_EQ(tr181Rows(onPpp, 0), none);
    EXPECT_EQ(tr181Rows(onPpp + shaper + "ShapingRate=100\n", 0), none);
    EXPECT_EQ(tr181Rows(enabled + shaper + "Interface=br0\n" + shaper + "ShapingRate=1000000\n", 0), none);
    EXPECT_THAT(
        tr181Remarks(enabled + shaper + "Interface=br0\n" + shaper + "ShapingRate=1000000\n"),
        HasSubstr("f:1: Device.QoS.Shaper.1.: not carried over: there is no WAN port below its interface\n"));
}

TEST(Tr181, ValuesThatAreNotAllowedAreToldWithWhatIs) {
    EXPECT_THAT(
        faultsOf(fromTr181, voice + "Device.QoS.Queue.1.Weight=1001\n" + rule + "DestPort=65536\n" + rule +
                                "DSCPMark=x\n" + rule + "SourceIP=host\n" +
                                "Device.QoS.Queue.1.SchedulerAlgorithm=FIFO\n" +
                                "Device.QoS.Queue.1.DropAlgorithm=dt\n" +
                                "Device.QoS.Queue.1.AllInterfaces=yes please\n"),
        ::testing::UnorderedElementsAre(
            "f:9: Device.QoS.Queue.1.Weight: \"1001\" is not allowed; allowed: an integer from 0 to 1000",
            "f:10: Device.QoS.Classification.1.DestPort: \"65536\" is not allowed; allowed: an integer from "
            "-1 to 65535",
            "f:11: Device.QoS.Classification.1.DSCPMark: \"x\" is not allowed; allowed: an integer from -2 "
            "to 63",
            "f:12: Device.QoS.Classification.1.SourceIP: \"host\" is not allowed; allowed: an IPv4 or IPv6 "
            "address, and a mask such as /24, 10.0.0.0/24 or 255.255.255.0",
            "f:13: Device.QoS.Queue.1.SchedulerAlgorithm: \"FIFO\" is not allowed; allowed: SP, WFQ, WRR",
            "f:14: Device.QoS.Queue.1.DropAlgorithm: \"dt\" is not allowed; allowed: DT, RED, WRED, BLUE",
            "f:15: Device.QoS.Queue.1.AllInterfaces: \"yes please\" is not allowed; allowed: true, false, 1, "
            "0"));
}

TEST(Tr181, APortRangeThatEndsBeforeItBeginsIsAFault) {
    EXPECT_THAT(
        faultsOf(fromTr181, voice + rule + "DestPort=80\n" + rule + "DestPortRangeMax=79\n"),
        ElementsAre("f:10: Device.QoS.Classification.1.DestPortRangeMax: \"79\" is not allowed; allowed: -1, "
                    "or an integer from 80 to 65535"));
}

TEST(Tr181, TellsOfEveryParameterThatItDoesNotKnow) {
    EXPECT_THAT(
        tr181Remarks(voice + rule + "X_EXAMPLE_Fast=1\n" + rule + "ForwardingPolicy=-1\n"),
        HasSubstr("f:9: Device.QoS.Classification.1.X_EXAMPLE_Fast=1: not carried over: the parameter is "
                  "unknown here\n"));
}

} // namespace

} // namespace importers::test
