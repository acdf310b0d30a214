// Imports of foreign formats by the program. What becomes of their content is tested beside the importers.
#include "cfgctltest.h"

namespace cfgctl::test {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string uci = "config interface wan\n"
                        "option upload 1000\n"
                        "option overhead 1\n"
                        "config classgroup Default\n"
                        "option classes 'High Low'\n"
                        "option default Low\n";
const std::string tr181 = "Device.QoS.Shaper.1.Enable=true\n"
                          "Device.QoS.Shaper.1.Interface=Device.IP.Interface.1\n"
                          "Device.QoS.Shaper.1.ShapingRate=5000000\n";

class Foreign : public CfgctlTest {
  protected:
    Foreign() { output({"import", exampleFile("minimal")}); }

    std::string shapers() const { return output({"export", "QoSShaper"}); }
};

TEST_F(Foreign, ReplacesTheQosTablesAndNoOthers) {
    const std::string nodes = output({"export", "NetworkSetupNode", "StatusNetifWatchLogical", "StatusDsl"});
    const Outcome outcome = run({"import", "--from", "uci", "-"}, uci);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "standard input: 3 rows in 4 tables imported; 1 thing not carried over, 0 changed, 3 "
              "assumed\n");
    EXPECT_THAT(outcome.err,
                HasSubstr("standard input:3: config interface wan: overhead 1: not carried over: "));
    EXPECT_THAT(shapers(), HasSubstr("\"ShapingRate\": 1000}"));
    EXPECT_EQ(output({"export", "QoSClassification"}), "{\n  \"QoSClassification\": []\n}\n");
    EXPECT_EQ(output({"export", "NetworkSetupNode", "StatusNetifWatchLogical", "StatusDsl"}), nodes);
}

TEST_F(Foreign, QuietStillTellsWhatDoesNotComeOver) {
    const Outcome outcome = run({"-q", "import", "--from", "uci", "-"}, uci);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("overhead 1: not carried over: "));
}

TEST_F(Foreign, TheUserCanSayWhichInterfaceIsWhich) {
    EXPECT_EQ(run({"import", "--from", "tr181", "-"}, tr181).status, 1);
    const Outcome outcome = run(
        {"import", "--from", "tr181", "--interface", "Device.IP.Interface.1=ProviderInternet", "-"}, tr181);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(shapers(), HasSubstr("\"ShapingRate\": 5000}"));
}

TEST_F(Foreign, DryRunAndPrintChangeNothing) {
    const std::string before = output({"export"});
    const Outcome dry = run({"import", "--from", "uci", "--dry-run", "-"}, uci);
    EXPECT_THAT(dry.out, StartsWith("standard input: 3 rows in 4 tables checked; "));
    const Outcome printed = run({"import", "--from", "uci", "--print", "-"}, uci);
    EXPECT_EQ(printed.status, 0);
    EXPECT_EQ(output({"export"}), before);
    EXPECT_EQ(printed.err, dry.err);
    EXPECT_EQ(run({"import", "-"}, printed.out).out, "standard input: 3 rows in 4 tables imported\n");
    EXPECT_THAT(shapers(), HasSubstr("\"ShapingRate\": 1000}"));
}

TEST_F(Foreign, AFaultChangesNothingAndIsToldByFileAndLine) {
    const std::string before = output({"export"});
    const std::string file = sandbox.write("qos", uci + "option fast\n");
    const Outcome outcome = run({"import", "--from", "uci", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("cfgctl: " + file + ":7: \"option fast\" is not UCI; allowed: "));
    EXPECT_EQ(output({"export"}), before);
}

TEST_F(Foreign, WrongUsageIsRefused) {
    const auto expectUsageError = [this](const std::vector<std::string>& words, const std::string& message) {
        const Outcome outcome = run(words, uci);
        EXPECT_EQ(outcome.status, 2) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    };
    expectUsageError({"import", "--from", "toml", "-"}, "--from: toml not in {json,tr181,uci}");
    expectUsageError({"import", "--interface", "wan=LocalLAN", "-"},
                     "cfgctl: --interface is for --from tr181 and --from uci\n");
    expectUsageError({"import", "--from", "uci", "--merge", "-"},
                     "cfgctl: --merge is for JSON: the other formats bring no Ids\n");
    expectUsageError({"import", "--from", "uci", "--interface", "wan", "-"},
                     "cfgctl: \"wan\" is not of the form WORD=NAME\n");
    expectUsageError(
        {"import", "--from", "uci", "--interface", "wan=ProviderIPTV", "-"},
        "cfgctl: --interface wan=ProviderIPTV: the gateway has \"LocalLAN\", \"ProviderInternet\"\n");
}

} // namespace

} // namespace cfgctl::test
