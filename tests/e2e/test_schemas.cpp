// Databases that are not exactly ours: laxer, richer, poorer.
#include "gatewaytest.h"

#include <csignal>
#include <fstream>

namespace e2e {

namespace {

// The shipped schema, changed.
class SchemasTest : public GatewayTest {
  protected:
    SchemasTest() : schema(Json::parse(readFile(schemaFile()))) {}

    void startWithSchema(const Json& configuration) {
        writeFile("/tmp/changed.schema", schema.dump());
        own.emplace("/tmp/changed.schema");
        own->start();
        db.replaceAll(configuration);
        daemon.emplace(Texts{"-d", "2"});
        ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    }

    Json& columns(const char* table) { return schema["tables"][table]["columns"]; }

    static Json with(const char* table, std::size_t index, const char* column, const Json& value) {
        Json configuration = smallGateway();
        configuration[table][index][column] = value;
        return configuration;
    }

    Json schema;
    std::optional<OvsdbServer> own;
};

TEST_F(SchemasTest, ADscpThatIsATextGivesTheSameCommand) {
    columns("QoSClassification")["DSCPMatch"] = {{"type", {{"key", "string"}, {"min", 0}, {"max", 1}}}};
    startWithSchema(with("QoSClassification", 1, "DSCPMatch", "46"));
    bringUp();
    EXPECT_THAT(daemon->commands().changes(),
                Contains(HasSubstr("classcfg -A calls -i ppp0 -p udp --iphdr-dscp 46 ")));
    EXPECT_THAT(daemon->commands().changes(),
                Contains(HasSubstr("classcfg -A phone -i br0 -p udp -s 192.168.1.30 "
                                   "--dport 5060:5061 -o ppp0 ")));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

TEST_F(SchemasTest, ADscpTextThatIsNoNumberEndsTheDaemonWithStatus1) {
    columns("QoSClassification")["DSCPMatch"] = {{"type", {{"key", "string"}, {"min", 0}, {"max", 1}}}};
    startWithSchema(with("QoSClassification", 1, "DSCPMatch", "EF"));
    db.update(statusTable, internetRow, internetUp());
    EXPECT_EQ(daemon->exitStatus(), 1);
    EXPECT_EQ(log.messages().back(), "error: stoi");
    EXPECT_THAT(daemon->commands().changes(), IsEmpty());
}

TEST_F(SchemasTest, MoreTablesAndColumnsAreNoneOfItsBusiness) {
    columns("QoSQueues")["Comment"] = {{"type", "string"}};
    columns("StatusDsl")["Margins"] = {
        {"type", {{"key", "string"}, {"value", "real"}, {"min", 0}, {"max", "unlimited"}}}};
    columns("NetworkSetupNode")["Peers"] = {{"type", {{"key", "uuid"}, {"min", 0}, {"max", "unlimited"}}}};
    schema["tables"]["Firewall"] = {{"columns", {{"Rule", {{"type", "string"}}}}}, {"isRoot", true}};
    startWithSchema(with("QoSQueues", 0, "Comment", "for the telephone"));
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    log.clear();
    db.insert("Firewall", {{"Rule", "drop"}});
    settle();
    EXPECT_EQ(looks(), 2U) << "the other table's change was looked at";
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectNoErrors();
}

TEST_F(SchemasTest, WithoutConstraintsTheSameConfigurationGivesTheSameCommands) {
    for (auto& [name, table] : schema["tables"].items()) {
        for (auto& [column, description] : table["columns"].items()) {
            Json& key = description["type"]["key"];
            key = key.is_object() ? key["type"] : key;
        }
        table.erase("indexes");
    }
    startWithSchema(with("QoSQueues", 0, "Scheduler", "sp"));
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 9U);
    EXPECT_EQ(log.count("error: invalid scheduler algorithm config 'sp'"), 2U);
    EXPECT_TRUE(log.has("error: could not gen egress queue command for queue 'voice'"));
    EXPECT_TRUE(log.has("error: could not gen ingress queue command for queue 'voice'"));
}

TEST_F(SchemasTest, AMissingTableIsNamedAndWhatCanWorkWorks) {
    schema["tables"].erase("StatusDsl");
    Json configuration = smallGateway();
    configuration.erase("StatusDsl");
    configuration["NetworkSetupNode"][0]["Type"] = "WANoE";
    startWithSchema(configuration);
    EXPECT_THAT(log.messages(), Contains(::testing::AllOf(::testing::StartsWith("error: "),
                                                          HasSubstr("StatusDsl"), HasSubstr("Gateway"))));
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor(
        "info: apply success: 'qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 20000 -t ingress'"));
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(SchemasTest, AMissingColumnIsNamedAndReadsAsNothing) {
    columns("QoSShaper").erase("ShapeIngress");
    columns("QoSClassificationAction").erase("DSCPMark");
    Json configuration = smallGateway();
    configuration["QoSShaper"][0].erase("ShapeIngress");
    configuration["QoSClassificationAction"][0].erase("DSCPMark");
    startWithSchema(configuration);
    for (const char* name : {"ShapeIngress", "DSCPMark"}) {
        EXPECT_THAT(log.messages(),
                    Contains(::testing::AllOf(::testing::StartsWith("error: "), HasSubstr(name))));
    }
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 10U);
    EXPECT_THAT(daemon->commands().changes(), Contains(HasSubstr("-o ppp0 -j vlan --pcp-outer 6 ")));
}

TEST_F(SchemasTest, WithoutAQosTableTheDaemonEndsWhenTheWanComesUp) {
    schema["tables"].erase("QoSShaper");
    Json configuration = smallGateway();
    configuration.erase("QoSShaper");
    startWithSchema(configuration);
    db.update(statusTable, internetRow, internetUp());
    EXPECT_EQ(daemon->exitStatus(), 1);
    EXPECT_TRUE(log.has("error: could not get soze of table 'QoSShaper'"));
    EXPECT_THAT(log.messages().back(),
                ::testing::StartsWith("error: assertion failed: true == this->findShaper() ("));
}

TEST_F(SchemasTest, RowsComeInTheOrderOfTheirIds) {
    Json configuration = smallGateway();
    configuration["QoSQueues"][0]["Id"] = 70;
    configuration["QoSQueues"][1]["Id"] = 8;
    configuration["QoSQueues"][2]["Id"] = 600;
    startWithSchema(configuration);
    bringUp();
    const Texts changes = daemon->commands().changes();
    ASSERT_EQ(changes.size(), 11U);
    EXPECT_THAT(changes[3], HasSubstr("ppp0_def_queue"));
    EXPECT_THAT(changes[4], HasSubstr("ppp0_q3 "));
}

} // namespace

} // namespace e2e
