#include "cfgctltest.h"

#include <string>

namespace cfgctl::test {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

TEST(Init, MakesADatabaseByItsOwnSchema) {
    const Sandbox sandbox;
    const std::string file = sandbox.path("gateway.db");
    const Outcome outcome = cfgctl({"init", file});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, file + ": made\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(zel::test::run({"ovsdb-tool", "db-name", file}).out, "Gateway\n");
    EXPECT_EQ(zel::test::run({"ovsdb-tool", "schema-version", SHARE_DIR "/gateway.ovsschema"}).out,
              zel::test::run({"ovsdb-tool", "db-version", file}).out);
}

TEST(Init, TakesAnotherSchema) {
    const Sandbox sandbox;
    const std::string schema = sandbox.write(
        "s",
        R"({"name": "Gateway", "version": "7.8.9", "tables": {"T": {"columns": {"Id": {"type": "integer"}}}}})");
    EXPECT_EQ(cfgctl({"init", "--schema", schema, sandbox.path("db")}).status, 0);
    EXPECT_EQ(zel::test::run({"ovsdb-tool", "db-version", sandbox.path("db")}).out, "7.8.9\n");
}

TEST(Init, LeavesAnExistingFileAsItIs) {
    const Sandbox sandbox;
    const std::string file = sandbox.write("notes", "mine");
    const Outcome outcome = cfgctl({"init", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "cfgctl: " + file + " exists already; it is left as it is\n");
    EXPECT_EQ(sandbox.read("notes"), "mine");
}

TEST(Init, DoesNotFollowALinkThatLeadsNowhere) {
    const Sandbox sandbox;
    std::filesystem::create_symlink(sandbox.path("target"), sandbox.path("link"));
    EXPECT_EQ(cfgctl({"init", sandbox.path("link")}).status, 1);
    EXPECT_FALSE(std::filesystem::exists(sandbox.path("target")));
}

TEST(Init, TakesAFileNameForWhatItIs) {
    const Sandbox sandbox;
    const std::string file = sandbox.path("-x; touch $HOME 'ü");
    EXPECT_EQ(cfgctl({"init", "--", file}).status, 0);
    EXPECT_EQ(zel::test::run({"ovsdb-tool", "db-name", file}).out, "Gateway\n");
}

TEST(Init, RefusesWhatIsNoSchemaOfTheConfigurationDatabase) {
    const Sandbox sandbox;
    const std::string notJson = sandbox.write("a", "nonsense");
    EXPECT_EQ(cfgctl({"init", "--schema", notJson, sandbox.path("db")}).err,
              "cfgctl: " + notJson + ": not a database schema\n");
    EXPECT_EQ(cfgctl({"init", "--schema", exampleFile("minimal"), sandbox.path("db")}).err,
              "cfgctl: " + exampleFile("minimal") + ": not a database schema\n");
    const std::string other = sandbox.write("b", R"({"name": "Other", "version": "1.0.0", "tables": {}})");
    EXPECT_EQ(cfgctl({"init", "--schema", other, sandbox.path("db")}).err,
              "cfgctl: " + other +
                  ": the schema of a database \"Other\"; the configuration database is called "
                  "\"Gateway\"\n");
    const Outcome absent = cfgctl({"init", "--schema", sandbox.path("none"), sandbox.path("db")});
    EXPECT_EQ(absent.status, 1);
    EXPECT_EQ(absent.err, "cfgctl: " + sandbox.path("none") + ": No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(sandbox.path("db")));
}

TEST(Init, SaysThatTheFileCannotBeMade) {
    const Sandbox sandbox;
    const Outcome outcome = cfgctl({"init", sandbox.path("nowhere/db")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("No such file or directory"));
    EXPECT_THAT(outcome.err, EndsWith("cfgctl: " + sandbox.path("nowhere/db") + " could not be made\n"));
}

TEST(Init, SaysThatTheToolIsMissing) {
    const Sandbox sandbox;
    const Outcome outcome =
        zel::test::run({"env", "PATH=" + sandbox.path(""), CFGCTL, "init", sandbox.path("db")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "cfgctl: cannot run ovsdb-tool: No such file or directory\n");
}

} // namespace

} // namespace cfgctl::test
