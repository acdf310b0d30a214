#include "cfgctltest.h"

#include <csignal>
#include <string>

namespace cfgctl::test {

namespace {

class Watch : public CfgctlTest {
  protected:
    Watch() { output({"import", exampleFile("minimal")}); }
};

TEST_F(Watch, PrintsALineForEachRowThatChangesAndEndsAfterItsCount) {
    Program watch(words({"watch", "--count", "4"}));
    ASSERT_TRUE(watch.says("watching 7 tables\n"));
    output({"set", "StatusDsl", "Id=1", "Status=4", "StatusString=Showtime"});
    output({"add", "StatusDsl", "Status=1"});
    output({"set", "QoSClassification", "Id=1", "DSCPMatch="});
    output({"del", "StatusDsl", "Id=2"});
    const Outcome outcome = watch.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "StatusDsl Id=1 changed Status: 0 -> 4, StatusString: \"No modem\" -> \"Showtime\"\n"
              "StatusDsl Id=2 added Status: 1, StatusString: \"\"\n"
              "QoSClassification Id=1 changed DSCPMatch: 46 -> nothing\n"
              "StatusDsl Id=2 removed\n");
    EXPECT_EQ(outcome.err, "watching 7 tables\n");
}

TEST_F(Watch, PrintsAChangeAtOnceAndNotOnlyAtItsEnd) {
    const Program watch(words({"watch"}));
    ASSERT_TRUE(watch.says("watching"));
    output({"set", "StatusDsl", "Id=1", "Status=4"});
    EXPECT_TRUE(watch.says("StatusDsl Id=1 changed Status: 0 -> 4\n"));
}

TEST_F(Watch, HearsOnlyOfTheTablesThatAreNamed) {
    Program watch(words({"watch", "StatusDsl", "--count", "1"}));
    ASSERT_TRUE(watch.says("watching 1 table\n"));
    output({"set", "QoSShaper", "Id=1", "ShapingRate=1"});
    output({"set", "StatusDsl", "Id=1", "Status=4"});
    EXPECT_EQ(watch.wait().out, "StatusDsl Id=1 changed Status: 0 -> 4\n");
}

TEST_F(Watch, IsSilentAboutWhatChangesNothing) {
    Program watch(words({"-q", "watch", "--count", "1"}));
    // With --quiet nothing tells that it is ready, so the change is made until it is seen.
    for (int status = 1; status < 200 && watch.out().empty(); ++status) {
        output({"set", "StatusDsl", "Id=1", "Status=" + std::to_string(status)});
        output({"set", "StatusDsl", "Id=1", "Status=" + std::to_string(status)});
    }
    const Outcome outcome = watch.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, testing::MatchesRegex("StatusDsl Id=1 changed Status: [0-9]+ -> [0-9]+\n"));
}

TEST_F(Watch, GivesTheRowsOfATransactionInTheirOrder) {
    Program watch(words({"watch", "--count", "3"}));
    ASSERT_TRUE(watch.says("watching"));
    EXPECT_EQ(run({"import", "--merge", "-"}, R"({"StatusDsl": [{"Id": 30}, {"Id": 4}, {"Id": 12}]})").status,
              0);
    EXPECT_EQ(watch.wait().out, "StatusDsl Id=4 added Status: 0, StatusString: \"\"\n"
                                "StatusDsl Id=12 added Status: 0, StatusString: \"\"\n"
                                "StatusDsl Id=30 added Status: 0, StatusString: \"\"\n");
}

TEST_F(Watch, EndsWhenTheServerGoesAway) {
    Program watch(words({"watch"}));
    ASSERT_TRUE(watch.says("watching"));
    server.stop();
    const Outcome outcome = watch.wait();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err,
                testing::HasSubstr("cfgctl: the configuration server at " + server.socket() + " is gone"));
}

TEST_F(Watch, EndsAtAnInterrupt) {
    Program watch(words({"watch"}));
    ASSERT_TRUE(watch.says("watching"));
    watch.send(SIGINT);
    EXPECT_EQ(watch.wait().status, 128 + SIGINT);
}

} // namespace

} // namespace cfgctl::test
