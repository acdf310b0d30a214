// What the compiler and the linker were asked to do is in the programs.
#include "gatewaytest.h"

namespace e2e {

namespace {

#ifndef E2E_SANITIZED // sanitizers bring their own

std::string outputOf(const std::vector<std::string>& command) {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return outcome.output;
}

class HardeningTest : public ::testing::TestWithParam<const char*> {
  protected:
    const std::string program = programFolder() + "/" + GetParam();
};

INSTANTIATE_TEST_SUITE_P(Program, HardeningTest,
                         ::testing::Values("pacerd_ng", "cfgctl", "netwatchd", "pacerctl"),
                         [](const auto& name) { return std::string(name.param); });

TEST_P(HardeningTest, LoadsAnywhereAndItsTablesCannotBeWritten) {
    const std::string dynamic = outputOf({"readelf", "-dW", program});
    EXPECT_THAT(dynamic, HasSubstr("BIND_NOW"));
    EXPECT_THAT(dynamic, HasSubstr("NOW PIE"));
    const std::string segments = outputOf({"readelf", "-lW", program});
    EXPECT_THAT(segments, HasSubstr("GNU_RELRO"));
    EXPECT_THAT(segments, ::testing::ContainsRegex("GNU_STACK .* RW  0x"));
}

TEST_P(HardeningTest, ChecksItsStackItsBuffersAndItsContainers) {
    const std::string symbols = outputOf({"nm", "-D", program});
    EXPECT_THAT(symbols, HasSubstr("__stack_chk_fail"));
    EXPECT_THAT(symbols, HasSubstr("__glibcxx_assert_fail"));
    EXPECT_THAT(symbols, HasSubstr("_chk@")) << "_FORTIFY_SOURCE";
}

// Linked statically and to a fixed place: it is started for each object, and loading would take longer than
// its work.
TEST(HardeningOfTheToolsTest, ChecksItsStackItsBuffersAndItsContainersAndItsTablesCannotBeWritten) {
    const std::string tool = programFolder() + "/qcfg";
    const std::string segments = outputOf({"readelf", "-lW", tool});
    EXPECT_THAT(segments, HasSubstr("GNU_RELRO"));
    EXPECT_THAT(segments, ::testing::ContainsRegex("GNU_STACK .* RW  0x"));
    const std::string symbols = outputOf({"nm", tool});
    EXPECT_THAT(symbols, HasSubstr("__stack_chk_fail"));
    EXPECT_THAT(symbols, HasSubstr("__glibcxx_assert_fail"));
    EXPECT_THAT(symbols, HasSubstr("printf_chk")) << "_FORTIFY_SOURCE";
}

// What the packages hold, as ./run lists it, is what the tests above look into.
TEST(HardeningOfTheToolsTest, NoInstalledProgramIsLeftOut) {
    const std::string script = readFile(E2E_SOURCE_FOLDER "/run");
    EXPECT_THAT(script, HasSubstr("\nINSTALLED=\"pacerd_ng cfgctl netwatchd pacerctl qcfg\"\n"));
}

#endif

} // namespace

} // namespace e2e
