// Each trap of pacerctl lint: a gateway that has exactly this one, and one that nearly has it.
#include "linttraps.h"
#include "pacerctl/findings.h"
#include "pacerctl/lint/lint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>

namespace pacerctl {

namespace {

using test::Change;
using test::Trap;

// Each finding as "check Table/Id/Column", in the order reported.
std::vector<std::string> found(const Change& change) {
    Json gateway = test::cleanGateway();
    change(gateway);
    std::vector<std::string> all;
    for (const Finding& finding : lint(test::toSnapshot(gateway))) {
        all.push_back(finding.check + " " + finding.table + "/" + std::to_string(finding.rowId) + "/" +
                      finding.column);
        EXPECT_FALSE(finding.why.empty());
        EXPECT_FALSE(finding.advice.empty());
    }
    return all;
}

std::string checkOf(const Trap& trap) {
    return trap.findings.front().substr(0, trap.findings.front().find(' '));
}

class LintTrap : public testing::TestWithParam<Trap> {};

TEST_P(LintTrap, IsFoundWhereItIs) {
    EXPECT_THAT(found(GetParam().set), testing::UnorderedElementsAreArray(GetParam().findings));
}

TEST_P(LintTrap, IsNotFoundWhereItNearlyIs) {
    const std::string check = checkOf(GetParam()) + " ";
    for (const std::string& finding : found(GetParam().nearMiss)) {
        EXPECT_NE(finding.compare(0, check.size(), check), 0) << finding;
    }
}

std::string nameOfTrap(const testing::TestParamInfo<Trap>& info) {
    std::string name = checkOf(info.param);
    std::replace(name.begin(), name.end(), '-', '_');
    return name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Paths, LintTrap, testing::ValuesIn(test::pathTraps()), nameOfTrap);
INSTANTIATE_TEST_SUITE_P(Queues, LintTrap, testing::ValuesIn(test::queueTraps()), nameOfTrap);
INSTANTIATE_TEST_SUITE_P(Shapers, LintTrap, testing::ValuesIn(test::shaperTraps()), nameOfTrap);
INSTANTIATE_TEST_SUITE_P(Rules, LintTrap, testing::ValuesIn(test::ruleTraps()), nameOfTrap);
INSTANTIATE_TEST_SUITE_P(Matches, LintTrap, testing::ValuesIn(test::matchTraps()), nameOfTrap);
INSTANTIATE_TEST_SUITE_P(Actions, LintTrap, testing::ValuesIn(test::actionTraps()), nameOfTrap);
INSTANTIATE_TEST_SUITE_P(Values, LintTrap, testing::ValuesIn(test::valueTraps()), nameOfTrap);

std::vector<Trap> allTraps() {
    std::vector<Trap> all;
    for (const auto& traps : {test::pathTraps(), test::queueTraps(), test::shaperTraps(), test::ruleTraps(),
                              test::matchTraps(), test::actionTraps(), test::valueTraps()}) {
        all.insert(all.end(), traps.begin(), traps.end());
    }
    return all;
}

// The report of each trap, word for word. After a wanted change run with PACERCTL_WRITE_GOLDEN=1 and read
// the difference.
TEST(Lint, SaysOfEachTrapWhereItIsWhyItIsOneAndWhatToDo) {
    std::ostringstream out;
    const Terminal terminal{out, out, false, false, [] { return TerminalSize{100, 0}; }};
    for (const Trap& trap : allTraps()) {
        Json gateway = test::cleanGateway();
        trap.set(gateway);
        printFindings(terminal, lint(test::toSnapshot(gateway)));
        out << '\n';
    }
    const std::string file = PACERD_SOURCE_DIR "/tests/unit/pacerctl/golden/lint-traps.txt";
    if (std::getenv("PACERCTL_WRITE_GOLDEN") != nullptr) {
        std::ofstream(file, std::ios::binary) << out.str();
        FAIL() << file << " written; read it";
    }
    std::ifstream stream(file, std::ios::binary);
    EXPECT_EQ(out.str(), std::string(std::istreambuf_iterator<char>(stream), {}));
}

TEST(Lint, FindsNothingInACleanGateway) {
    EXPECT_EQ(found(test::nothing), std::vector<std::string>());
}

TEST(Lint, HasATestTrapForEveryCheck) {
    std::set<std::string> tested;
    for (const Trap& trap : allTraps()) {
        tested.insert(checkOf(trap));
    }
    std::set<std::string> known;
    for (const LintCheck& check : lintChecks()) {
        EXPECT_TRUE(known.insert(check.id).second) << check.id;
    }
    EXPECT_EQ(tested, known);
}

TEST(Lint, PutsErrorsBeforeWarningsAndNotes) {
    Json gateway = test::cleanGateway();
    test::action(gateway, 1)["TrafficClass"] =
        5;                                // a warning, and a note for the queue that nothing reaches now
    test::rule(gateway, 3)["Enable"] = 0; // an error
    const std::vector<Finding> findings = lint(test::toSnapshot(gateway));
    ASSERT_EQ(findings.size(), 3U);
    EXPECT_EQ(findings[0].check, "rule-disabled");
    EXPECT_EQ(findings[1].check, "mark-without-queue");
    EXPECT_EQ(findings[2].check, "queue-unreached");
}

TEST(Lint, JudgesProvidersThatAreDownAsIfTheyWereUp) {
    EXPECT_EQ(found([](Json& g) {
                  test::service(g, 1)["IsUp"] = 0;
                  test::service(g, 1)["Addr"] = "0.0.0.0";
              }),
              std::vector<std::string>());
}

} // namespace

} // namespace pacerctl
