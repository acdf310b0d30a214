// What the command line does, to the letter.
#include "gatewaytest.h"

#include <csignal>
#include <set>

namespace e2e {

namespace {

const std::string usage = "Usage: pacerd_ng [options]\n"
                          " Options:\n"
                          "  -h: Print this help\n"
                          "  -b: Start as daemon instead of starting in foreground\n"
                          "  -d: Enable debug output (0 => NO, 1 => STD, 2 => ALL)\n";

class OptionsTest : public ::testing::Test {
  protected:
    static Outcome runWith(Texts options) {
        options.insert(options.begin(), programFolder() + "/pacerd_ng");
        return run(options);
    }
};

TEST_F(OptionsTest, HelpGoesToStandardErrorWithStatus0) {
    const Outcome outcome = runWith({"-h"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, usage);
}

TEST_F(OptionsTest, VersionGoesToStandardOutputWithStatus0) {
    const Outcome outcome = runWith({"-v"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "pacerd version: 1.0.2\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(OptionsTest, OptionsActInTheirOrder) {
    Outcome outcome = runWith({"-b", "-h"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "Daemonize: 1\n");
    EXPECT_EQ(outcome.errors, usage);

    outcome = runWith({"-v", "-b"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "pacerd version: 1.0.2\n");
    EXPECT_EQ(outcome.errors, "");

    outcome = runWith({"-b", "-v", "-x"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "Daemonize: 1\npacerd version: 1.0.2\n");
    EXPECT_EQ(outcome.errors, "");

    outcome = runWith({"-hx"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, usage);
}

TEST_F(OptionsTest, AnUnknownOptionIsNamedByItsNumberAndStatusIs1) {
    const Outcome outcome = runWith({"-x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
              programFolder() + "/pacerd_ng: invalid option -- 'x'\nUnknown option: 63\n" + usage);
}

TEST_F(OptionsTest, TheTraceLevelNeedsAnArgument) {
    const Outcome outcome = runWith({"-d"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, programFolder() +
                                  "/pacerd_ng: option requires an argument -- 'd'\nUnknown option: 63\n" +
                                  usage);
}

class TraceLevelTest : public GatewayTest {
  protected:
    // The trace messages of a start, WAN up and a stop.
    Texts tracesWith(const Texts& options) {
        log.clear();
        if (!server.running()) {
            server.start();
        }
        db.replaceAll(smallGateway());
        startDaemon(options);
        bringUp();
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        Texts traces;
        for (const std::string& message : log.messages()) {
            if (message.starts_with("trace")) {
                traces.push_back(message);
            }
        }
        EXPECT_TRUE(log.has("info: apply WAN QoS settings..."));
        EXPECT_TRUE(log.has("warning: skip setting queue interface, no value found"));
        return traces;
    }
};

TEST_F(TraceLevelTest, NoLevelZeroAndNoNumberShowNoTrace) {
    EXPECT_THAT(tracesWith({}), IsEmpty());
    EXPECT_THAT(tracesWith({"-d", "0"}), IsEmpty());
    EXPECT_THAT(tracesWith({"-d", "x"}), IsEmpty());
    EXPECT_THAT(tracesWith({"-d", "2", "-d", "0"}), IsEmpty());
}

TEST_F(TraceLevelTest, TwoShowsEverythingAndEveryOtherNumberTheSamePart) {
    const Texts all = tracesWith({"-d", "2"});
    EXPECT_THAT(all, Contains("trace: skip logicalInterface 'LocalLAN' in searching"));
    EXPECT_THAT(all, Contains("trace: construct upper datapath for stack 'ppp0 <=> ptm0.7 <=> ptm0'"));

    const Texts standard = tracesWith({"-d", "1"});
    EXPECT_THAT(standard, Contains("trace: construct upper datapath for stack 'ppp0 <=> ptm0.7 <=> ptm0'"));
    EXPECT_LT(standard.size(), all.size());
    EXPECT_THAT(std::set<std::string>(all.begin(), all.end()),
                ::testing::IsSupersetOf(std::set<std::string>(standard.begin(), standard.end())));
    EXPECT_EQ(tracesWith({"-d", "7"}), standard);
    EXPECT_EQ(tracesWith({"-d", "-1"}), standard);
    EXPECT_EQ(tracesWith({"-d", "3rd"}), standard);
}

} // namespace

} // namespace e2e
