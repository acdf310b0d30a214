// The command line: usage, help, and what happens without a server.

#include "cfgctltest.h"

#include <csignal>
#include <string>

namespace cfgctl::test {

namespace {

using ::testing::HasSubstr;

const std::string more = "Run cfgctl --help for more information.\n";

void expectUsageError(const std::vector<std::string>& words, const std::string& line) {
    const Outcome outcome = cfgctl(words);
    EXPECT_EQ(outcome.status, 2) << line;
    EXPECT_EQ(outcome.out, "") << line;
    EXPECT_EQ(outcome.err, "cfgctl: " + line + "\n" + more);
}

TEST(CommandLine, ExplainsItself) {
    const Outcome help = cfgctl({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char* text :
         {"Usage: cfgctl [OPTIONS] SUBCOMMAND", "--socket PATH", "/tmp/cfgserver.socket", "--timeout SECONDS",
          "--version", "init", "import", "export", "show", "set", "add", "del", "watch",
          "Exit status: 0 done, 1 failed, 2 wrong usage or no database."}) {
        EXPECT_THAT(help.out, HasSubstr(text));
    }
}

TEST(CommandLine, ExplainsEachSubcommand) {
    for (const char* command : {"init", "import", "export", "show", "set", "add", "del", "watch"}) {
        const Outcome help = cfgctl({command, "--help"});
        EXPECT_EQ(help.status, 0) << command;
        EXPECT_THAT(help.out, HasSubstr(std::string("Usage: cfgctl ") + command));
    }
}

TEST(CommandLine, TellsItsVersion) {
    const Outcome version = cfgctl({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "cfgctl 1.0.2\n");
}

TEST(CommandLine, RefusesWrongUsage) {
    expectUsageError({}, "A subcommand is required");
    expectUsageError({"frob"}, "unknown command \"frob\"");
    expectUsageError({"show", "--frob"}, "The following argument was not expected: --frob");
    expectUsageError({"init"}, "DB is required");
    expectUsageError({"import"}, "FILE is required");
    expectUsageError({"set", "StatusDsl", "Id=1"}, "COLUMN=VALUE is required");
    expectUsageError({"del", "StatusDsl"}, "KEY=VALUE is required");
    expectUsageError({"import", "--merge", "--dry-run", "x"}, "--merge excludes --dry-run");
    expectUsageError({"watch", "--count", "0"}, "--count: Value 0 not in range 1 to 1000000000");
    expectUsageError({"show", "--timeout", "0"}, "--timeout: Value 0 not in range 1 to 86400");
    expectUsageError({"watch", "--count", "x"}, "--count: Value x not in range 1 to 1000000000");
}

TEST(CommandLine, RefusesWhatIsNoAssignmentBeforeItLooksForAServer) {
    for (const std::string bad : {"Status", "=4", ""}) {
        const Outcome outcome = cfgctl({"--socket", "/nowhere/socket", "set", "StatusDsl", "Id=1", bad});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "cfgctl: \"" + bad + "\" is not of the form COLUMN=VALUE\n");
    }
    const Outcome twice = cfgctl({"--socket", "/nowhere/socket", "add", "StatusDsl", "Id=1", "Id=2"});
    EXPECT_EQ(twice.status, 2);
    EXPECT_EQ(twice.err, "cfgctl: column \"Id\" is given twice\n");
}

TEST(WithoutAServer, EveryCommandThatNeedsOneSaysSo) {
    const std::vector<std::vector<std::string>> commands = {
        {"import", exampleFile("minimal")},
        {"export"},
        {"show"},
        {"set", "StatusDsl", "Id=1", "Status=4"},
        {"add", "StatusDsl", "Id=1"},
        {"del", "StatusDsl", "Id=1"},
        {"watch"},
    };
    for (std::vector<std::string> command : commands) {
        command.insert(command.end(), {"--socket", "/nowhere/socket"});
        const Outcome outcome = cfgctl(command);
        EXPECT_EQ(outcome.status, 2) << command.front();
        EXPECT_EQ(outcome.out, "") << command.front();
        EXPECT_EQ(outcome.err, "cfgctl: the configuration server at /nowhere/socket cannot be reached: "
                               "No such file or directory\n");
    }
}

TEST_F(CfgctlTest, SaysThatAServerIsGone) {
    server.stop();
    const Outcome outcome = run({"show"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err,
                HasSubstr("cfgctl: the configuration server at " + server.socket() + " cannot be reached"));
}

TEST_F(CfgctlTest, ServesItselfAgainWhenTheServerIsBack) {
    output({"import", exampleFile("minimal")});
    const std::string before = output({"export"});
    server.stop();
    server.start();
    EXPECT_EQ(output({"export"}), before);
}

TEST_F(CfgctlTest, RefusesAServerWithoutTheDatabase) {
    const std::string other = sandbox.write(
        "other.ovsschema",
        R"({"name": "Other", "version": "1.0.0", "tables": {"T": {"columns": {"Id": {"type": "integer"}}}}})");
    const OvsdbServer otherServer(other);
    const Outcome outcome = cfgctl({"--socket", otherServer.socket(), "show"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "cfgctl: the configuration server at " + otherServer.socket() +
                               " has no database \"Gateway\"\n");
}

TEST_F(CfgctlTest, DoesNotHangAtAServerThatDoesNotAnswer) {
    server.freeze();
    const Outcome outcome = run({"show", "--timeout", "1"});
    server.thaw();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "cfgctl: the configuration server at " + server.socket() + " gave no answer within 1 s\n");
}

TEST_F(CfgctlTest, SaysNothingAboutWhatWasDoneWhenAskedToBeQuiet) {
    EXPECT_EQ(output({"--quiet", "import", exampleFile("minimal")}), "");
    EXPECT_EQ(output({"set", "StatusDsl", "Id=1", "Status=4", "-q"}), "");
    EXPECT_EQ(output({"del", "-q", "StatusDsl", "Id=1"}), "");
    EXPECT_THAT(output({"-q", "show", "StatusDsl"}), HasSubstr("StatusDsl (0 rows)"));
}

TEST_F(CfgctlTest, FailsIfItsOutputCannotBeWritten) {
    const Outcome outcome = zel::test::run(
        {"sh", "-c", "exec \"$0\" --socket \"$1\" export >/dev/full", CFGCTL, server.socket()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "cfgctl: standard output cannot be written\n");
}

} // namespace

} // namespace cfgctl::test
