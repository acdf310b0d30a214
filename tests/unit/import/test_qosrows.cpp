#include "import/qosrows.h"

#include <gtest/gtest.h>

namespace importers {

namespace {

TEST(QosRows, AreFourTablesEvenIfTheyAreEmpty) {
    EXPECT_EQ(gateway::writeGatewayFile(QosRows().file()), "{\n"
                                                           "  \"QoSShaper\": [],\n"
                                                           "  \"QoSQueues\": [],\n"
                                                           "  \"QoSClassificationAction\": [],\n"
                                                           "  \"QoSClassification\": []\n"
                                                           "}\n");
}

TEST(QosRows, APortHasOneShaperForEachDirection) {
    QosRows rows;
    EXPECT_TRUE(rows.addShaper(true, "eth1", false, 100));
    EXPECT_TRUE(rows.addShaper(true, "eth1", true, 100));
    EXPECT_TRUE(rows.addShaper(true, "eth2", false, 100));
    EXPECT_FALSE(rows.addShaper(true, "eth1", false, 200));
    EXPECT_TRUE(rows.addShaper(false, "eth1", false, 200)) << "it is disabled";
    EXPECT_EQ(rows.file().at(0).rows.size(), 4U);
}

TEST(QosRows, EqualActionsAreOneRow) {
    QosRows rows;
    EXPECT_EQ(rows.addAction({"a", 46, 0, 1, "LocalLAN"}), 1);
    EXPECT_EQ(rows.addAction({"b", 46, 0, 1, "LocalLAN"}), 1);
    EXPECT_EQ(rows.addAction({"c", 46, 0, 1, "ProviderInternet"}), 2);
    EXPECT_EQ(rows.addAction({"d", 0, 0, 1, "LocalLAN"}), 3);
    EXPECT_EQ(rows.file().at(2).rows.size(), 3U);
}

TEST(QosRows, ARuleWhoseNameIsTakenGetsANumber) {
    QosRows rows;
    Match match;
    match.protocol = "udp";
    for (const char* name : {"a", "a", "a_2", "a"}) {
        rows.addRule(name, "LocalLAN", match, 1);
    }
    std::vector<std::string> names;
    const gateway::GatewayFile file = rows.file();
    for (const gateway::FileRow& row : file.at(3).rows) {
        names.push_back(row.at(1).second);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a", "a_2", "a_2_2", "a_3"}));
}

TEST(QosRows, AnExclusionOfNothingIsNotWritten) {
    QosRows rows;
    Match match;
    match.protocol = "udp";
    match.destIp.exclude = true;
    match.sourceIp = {"192.0.2.1", true};
    rows.addRule("a", "LocalLAN", match, 7);
    EXPECT_EQ(gateway::Json(rows.file().at(3).rows.front()).dump(),
              R"([["Id",1],["Name","a"],["Enable",1],["QoSClassificationActionId",7],)"
              R"(["ClassifyInterface","LocalLAN"],["SourceIP","192.0.2.1"],["SourceIPExclude",1],)"
              R"(["Protocol","udp"]])");
}

} // namespace

} // namespace importers
