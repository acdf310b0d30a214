#include "interrupted.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <regex>

namespace fapi::test {

namespace {

// Every allocation in turn takes many minutes: FAPI_ALLOCATION_STEP=1 does it.
int step() {
    const char* chosen = getenv("FAPI_ALLOCATION_STEP");
    return chosen == nullptr ? 97 : std::max(1, atoi(chosen));
}

// Even the shortest of these calls allocates more often than this.
constexpr int fewestAllocations = 50;

// One success may be an allocation that can be done without: std::stable_sort() has another way. After so
// many the call needs no more.
constexpr int enough = 3;

// The tool with the allocations failing that starving.cpp reads from `plan`.
Result starved(const std::string& line, const std::string& plan) {
    return commandOf(FAPI_STARVING_TOOL, line, "FAPI_STARVE", plan);
}

} // namespace

// A tool gets no more memory in the middle of its call.
class NoMemoryTest : public InterruptedTest {
  protected:
    // It says so in one line, and is not ended by a signal.
    static void expectToldSo(const Result& result, const std::string& line) {
        static const std::regex told(
            "(qcfg|ifcfg|classcfg): ([^\n]*: )?no memory left(; the next call cleans up)?\n");
        EXPECT_EQ(1, result.status) << line;
        EXPECT_TRUE(std::regex_match(result.err, told)) << line << ": " << result.err;
        EXPECT_EQ("", result.out) << line;
    }
};

class NoMemoryAnywhereTest : public NoMemoryTest, public testing::WithParamInterface<Interrupted> {};

INSTANTIATE_TEST_SUITE_P(Line, NoMemoryAnywhereTest, testing::ValuesIn(interruptedCalls()),
                         [](const auto& given) { return given.param.name; });

// When one allocation fails there is memory for the way back: everything is as it was, but for a foreign root
// qdisc that was replaced. When all that follow fail, too, it is for the next call to put right what is left.
TEST_P(NoMemoryAnywhereTest, isToldAndLeavesEverythingAsItWas) {
    const Interrupted& c = GetParam();
    prepareFor(c.needs);
    if (!goesOn()) {
        return;
    }
    const std::string clean = dump();
    const std::string nothing = dumpWithoutNumbers();
    run(c.before);
    const std::string before = dumpWithoutNumbers();
    ok(c.line);
    const std::string done = dumpWithoutNumbers();
    run(c.after);
    for (const bool allThatFollow : {false, true}) {
        int failures = 0;
        int successes = 0; // in a row
        for (int allocation = std::min((step() + 1) / 2, fewestAllocations); successes < enough;
             allocation += step()) {
            SCOPED_TRACE("allocation " + std::to_string(allocation) +
                         (allThatFollow ? " and all that follow" : ""));
            run(c.before);
            const Result result = starved(c.line, std::to_string(allocation) + (allThatFollow ? "+" : ""));
            if (result.status == 0) {
                ++successes;
                ASSERT_EQ(done, dumpWithoutNumbers());
                run(c.after);
                continue;
            }
            successes = 0;
            ++failures;
            expectToldSo(result, c.line);
            if (!allThatFollow && !(c.replacesForeign && dumpWithoutNumbers() == nothing)) {
                ASSERT_EQ(before, dumpWithoutNumbers());
            }
            again(c);
            ASSERT_EQ(done, dumpWithoutNumbers());
            run(c.after);
            ASSERT_EQ(clean, dump());
            expectNothingRemembered();
        }
        EXPECT_GE(failures, std::max(1, fewestAllocations / step()));
    }
}

// A call that finds the mark of a killed one puts the port right, gets no memory for a moment of that, and
// goes on with its own change: from what the kernel has by then.
TEST_F(NoMemoryTest, whilePuttingRightWhatAKilledCallLeftDoesNotLeadItsOwnChangeAstray) {
    constexpr int every = 37;
    constexpr int beyondTheLast = 1000;
    run({addQueue, addSecondQueue});
    const std::string done = dumpWithoutNumbers();
    ok(deleteSecondQueue);
    int failures = 0;
    for (int allocation = every; allocation < beyondTheLast; allocation += every) {
        SCOPED_TRACE("allocation " + std::to_string(allocation));
        EXPECT_EQ(0, shell("touch $(echo /run/fapi-qos/net-*)/busy").status);
        ok("tc qdisc del dev ptm0 parent fa91:2");
        const Result result = starved(addSecondQueue, std::to_string(allocation));
        if (result.status != 0) {
            ++failures;
            expectToldSo(result, addSecondQueue);
            again(addSecondQueue);
        }
        ASSERT_EQ(done, dumpWithoutNumbers());
        ok(deleteSecondQueue);
    }
    EXPECT_GT(failures, 3);
    ok(deleteQueue);
    expectNothingRemembered();
}

#ifndef FAPI_SANITIZED // a sanitizer needs much memory of its own
// The tools as they are installed, with more and more memory until it is enough. With very little the C
// library is ended by a signal before the tool's first instruction.
TEST_F(NoMemoryTest, isToldWhereverALimitEndsIt) {
    constexpr int more = 24; // kB
    constexpr int plenty = 8192;
    const std::string clean = dump();
    for (const int resource : {RLIMIT_DATA, RLIMIT_AS}) {
        for (const auto& [add, remove] :
             {std::pair(addIngressQueue, deleteIngressQueue), {addRule, deleteRule}}) {
            int told = 0;
            Result result;
            for (int kilobytes = 64; kilobytes < plenty && result.status != 0; kilobytes += more) {
                result = limited(add, resource, kilobytes);
                SCOPED_TRACE(std::to_string(kilobytes) + " kB");
                if (result.status != 0 && (told > 0 || result.status == 1)) {
                    ++told;
                    expectToldSo(result, add);
                    ASSERT_EQ(clean, dump());
                }
            }
            EXPECT_GE(told, 3) << add;
            ok(remove);
            ASSERT_EQ(clean, dump());
            expectNothingRemembered();
        }
    }
}
#endif

} // namespace fapi::test
