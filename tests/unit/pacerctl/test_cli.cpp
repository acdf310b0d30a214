#include "goldengateways.h"
#include "pacerctl/cli.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace pacerctl {

namespace {

using testing::HasSubstr;

class CommandLine : public testing::Test {
  protected:
    int run(const std::vector<std::string>& arguments, bool onTerminal = false) {
        out_.str("");
        err_.str("");
        return pacerctl::run(arguments, out_, err_, onTerminal);
    }
    std::string out() const { return out_.str(); }
    std::string err() const { return err_.str(); }

    test::GoldenGateways gateways_;

  private:
    std::ostringstream out_;
    std::ostringstream err_;
};

TEST_F(CommandLine, ThatIsWrongEndsWithTwo) {
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
             {},
             {"nonsense"},
             {"plan", "--nonsense"},
             {"plan", "stray"},
             {"plan", "--all-up", "--as-is"},
             {"plan", "--file", "minimal.json", "--socket", "/x"},
             {"plan", "--color", "sometimes"},
             {"explain", "--file", "minimal.json", "--proto", "udp"},
             {"explain", "--file", "minimal.json", "--in", "eth0"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--dport", "65536"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--dscp", "64"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--src", "nowhere"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--src", "10.0.0.1",
              "--dst", "::1"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--ack"},
             {"explain", "--file", "minimal.json", "--in", "eth7", "--proto", "udp"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--pcap", "x"},
             {"explain", "--file", "minimal.json", "--in", "eth0", "--pcap", "x", "--packet", "0"},
             {"top", "--file", "minimal.json", "--interval", "0"},
             {"top", "--file", "minimal.json", "--once", "--count", "2"},
         }) {
        EXPECT_EQ(run(wrong), 2) << testing::PrintToString(wrong);
        EXPECT_EQ(out(), "");
        EXPECT_NE(err(), "");
    }
}

TEST_F(CommandLine, ThatIsWrongIsAnsweredWithOneLineThatSaysWhereToLook) {
    const auto complaintOf = [&](const std::vector<std::string>& wrong) {
        run(wrong);
        return err();
    };
    EXPECT_EQ(complaintOf({"stats"}), "pacerctl: there is no 'stats'; see pacerctl --help\n");
    EXPECT_EQ(complaintOf({"\033[2J"}), "pacerctl: there is no '\"\\u001b[2J\"'; see pacerctl --help\n");
    EXPECT_EQ(complaintOf({"plan", "--all"}),
              "pacerctl: The following argument was not expected: --all; see pacerctl plan --help\n");
    EXPECT_EQ(
        complaintOf({"lint", "minimal.json"}),
        "pacerctl: what is 'minimal.json'? A gateway file is given with --file; see pacerctl lint --help\n");
    EXPECT_EQ(complaintOf({"--file", "minimal.json", "lint"}),
              "pacerctl: options stand behind lint; see pacerctl lint --help\n");
    EXPECT_EQ(
        complaintOf({"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--dscp", "64"}),
        "pacerctl: --dscp: '64' is no DSCP: it is a number from 0 to 63, or a name like EF\n");
    EXPECT_EQ(complaintOf({"explain", "--in"}),
              "pacerctl: --in: 1 required INTERFACE missing; see pacerctl explain --help\n");
}

TEST_F(CommandLine, TakesTheWordHelpForTheOption) {
    const auto outputOf = [&](const std::vector<std::string>& arguments) {
        EXPECT_EQ(run(arguments), 0);
        EXPECT_EQ(err(), "");
        return out();
    };
    EXPECT_EQ(outputOf({"help"}), outputOf({"--help"}));
    EXPECT_EQ(outputOf({"help", "plan"}), outputOf({"plan", "--help"}));
}

TEST_F(CommandLine, TakesTheNameOfADscp) {
    const auto outputOf = [&](const std::string& dscp) {
        EXPECT_EQ(
            run({"explain", "--file", "minimal.json", "--in", "eth0", "--proto", "udp", "--dscp", dscp}), 0);
        return out();
    };
    EXPECT_THAT(outputOf("EF"), HasSubstr("DSCP 46, enters eth0"));
    EXPECT_EQ(outputOf("EF"), outputOf("46"));
    EXPECT_EQ(outputOf("af41"), outputOf("34"));
}

TEST_F(CommandLine, FitsTheTerminal) {
    std::ostringstream out;
    std::ostringstream err;
    const auto widest = [&](const std::vector<std::string>& arguments, std::size_t width) {
        out.str("");
        pacerctl::run(arguments, out, err, false, [width] { return TerminalSize{width, 0}; });
        std::size_t columns = 0;
        std::istringstream lines(out.str());
        for (std::string line; std::getline(lines, line);) {
            columns = std::max(columns, line.size());
        }
        return columns;
    };
    EXPECT_GT(widest({"lint", "--file", "broken.json"}, 0), 100U);
    EXPECT_LE(widest({"lint", "--file", "broken.json"}, 80), 80U);
    gateways_.apply("minimal");
    widest({"status", "--file", "minimal-up.json"}, 80);
    EXPECT_THAT(out.str(),
                HasSubstr("\n  QUEUE            IN THE SYSTEM   RANK  APPLIED  PACKETS  DROPS  BACKLOG\n"));
}

TEST_F(CommandLine, WithoutADatabaseEndsWithTwoAndOneLine) {
    EXPECT_EQ(run({"plan", "--file", "absent.json"}), 2);
    EXPECT_EQ(err(), "pacerctl: cannot read 'absent.json': No such file or directory\n");
    std::ofstream("nonsense.json") << "{]";
    EXPECT_EQ(run({"lint", "--file", "nonsense.json"}), 2);
    EXPECT_THAT(err(), HasSubstr("pacerctl: nonsense.json:1:2: "));
    EXPECT_EQ(run({"status", "--socket", "/nonexistent/socket"}), 2);
    EXPECT_THAT(err(), HasSubstr("pacerctl: no configuration server: '/nonexistent/socket' "));
}

TEST_F(CommandLine, WithoutToolsEndsWithTwoWhereTheyAreNeeded) {
    for (const char* tool : {"qcfg", "ifcfg", "classcfg"}) {
        std::filesystem::remove(tool);
    }
    EXPECT_EQ(run({"verify", "--file", "minimal.json"}), 2);
    EXPECT_EQ(err(), "pacerctl: 'ifcfg --show --json' is not in PATH\n");
    EXPECT_EQ(run({"metrics", "--file", "minimal.json"}), 2);
    EXPECT_EQ(run({"top", "--once", "--file", "minimal.json"}), 2);
    EXPECT_EQ(run({"status", "--file", "minimal.json"}), 0);
    EXPECT_THAT(out(), HasSubstr("What is applied is not known: 'ifcfg --show --json' is not in PATH"));
}

TEST_F(CommandLine, ColoursOnATerminalOnly) {
    const std::vector<std::string> status = {"status", "--file", "minimal.json"};
    run(status, false);
    EXPECT_EQ(out().find('\033'), std::string::npos);
    run(status, true);
    EXPECT_NE(out().find('\033'), std::string::npos);
    ::setenv("NO_COLOR", "1", 1);
    run(status, true);
    EXPECT_EQ(out().find('\033'), std::string::npos);
    run({"status", "--color", "always", "--file", "minimal.json"}, false);
    EXPECT_NE(out().find('\033'), std::string::npos);
    ::setenv("NO_COLOR", "", 1);
    run(status, true);
    EXPECT_NE(out().find('\033'), std::string::npos);
    run({"status", "--color", "never", "--file", "minimal.json"}, true);
    EXPECT_EQ(out().find('\033'), std::string::npos);
    ::unsetenv("NO_COLOR");
}

TEST_F(CommandLine, CannotBeMadeToMoveTheTerminalsCursor) {
    std::ofstream("evil.json") << R"({"QoSQueues": [{"Id": 1, "Enable": 1, "Egress": 1, "Name": "a[2J",
        "InterfaceName": "LocalLAN"}], "StatusNetifWatchLogical": [{"Id": 1, "Name": "LocalLAN", "Interface":
        "b]0;x", "IsUp": 1, "Addr": "1[m"}]})";
    for (const char* command : {"plan", "lint", "status", "graph"}) {
        run({command, "--file", "evil.json"});
        EXPECT_NE(out(), "") << command;
        EXPECT_EQ(out().find('\033'), std::string::npos) << command;
    }
}

TEST_F(CommandLine, ReplacesTheMetricsFileAsAWhole) {
    gateways_.apply("minimal");
    std::ofstream("metrics.prom") << "old";
    EXPECT_EQ(run({"metrics", "--file", "minimal-up.json", "--output", "metrics.prom"}), 0);
    EXPECT_EQ(out(), "");
    std::ifstream file("metrics.prom");
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, HasSubstr("\npacerd_wan_up 1\n"));
    EXPECT_EQ(std::filesystem::status("metrics.prom").permissions(), std::filesystem::perms(0644));
    EXPECT_EQ(run({"metrics", "--file", "minimal-up.json", "--output", "/nonexistent/metrics.prom"}), 2);
    EXPECT_EQ(err(), "pacerctl: cannot write '/nonexistent/metrics.prom': No such file or directory\n");
}

TEST_F(CommandLine, GivesTheGraphToDotAndWritesThePicture) {
    std::ofstream("dot") << "#!/bin/sh\n[ \"$*\" = -Tsvg ] && { echo '<svg>'; /bin/cat; }\n";
    std::filesystem::permissions("dot", std::filesystem::perms(0755));
    EXPECT_EQ(run({"graph", "--file", "minimal.json", "--svg", "x; touch y.svg"}), 0);
    std::ifstream file("x; touch y.svg");
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, testing::StartsWith("<svg>\ndigraph gateway {\n"));
    std::filesystem::remove("dot");
    EXPECT_EQ(run({"graph", "--file", "minimal.json", "--svg", "z.svg"}), 2);
    EXPECT_EQ(err(), "pacerctl: --svg needs Graphviz (package graphviz): 'dot' is not in PATH\n");
    EXPECT_FALSE(std::filesystem::exists("z.svg"));
}

TEST_F(CommandLine, SaysItsVersion) {
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_EQ(out(), "pacerctl 1.0.2\n");
}

} // namespace

} // namespace pacerctl
