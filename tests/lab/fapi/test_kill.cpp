#include "interrupted.h"

#include <algorithm>
#include <cstdlib>

namespace fapi::test {

namespace {

// Every system call in turn takes many minutes: FAPI_KILL_STEP=1 does it.
int step() {
    const char* chosen = getenv("FAPI_KILL_STEP");
    return chosen == nullptr ? 41 : std::max(1, atoi(chosen));
}

// Even the shortest of these calls can be killed at more moments than this.
constexpr int fewestMoments = 80;

} // namespace

// A tool is killed at each moment of its call, one after the other.
class KillTest : public InterruptedTest {
  protected:
    // Prepares, kills the line and calls `killed`, as long as the moment comes within the line. Fails if that
    // happens too seldom.
    template <typename Prepare, typename Killed>
    static void atEachMoment(const std::string& line, Prepare prepare, Killed killed) {
        int kills = 0;
        for (int moment = 1; !HasFatalFailure(); moment += step()) {
            prepare();
            const bool inTime = killedAtSystemCall(line, moment);
            kills += inTime ? 1 : 0;
            SCOPED_TRACE((inTime ? "killed at stop " : "not killed before stop ") + std::to_string(moment) +
                         " of " + line);
            killed();
            if (!inTime) {
                break;
            }
        }
        EXPECT_TRUE(HasFatalFailure() || kills >= fewestMoments / step()) << kills << " kills in " << line;
    }

    struct Killed {
        const char *add, *list, *remove;
        std::function<void()> somethingElse;
    };

    static void somethingElsePutsRight(const Killed& one) {
        const std::string clean = dump();
        const std::string nothingListed = output(one.list);
        atEachMoment(
            one.add, [] {},
            [&] {
                one.somethingElse();
                if (output(one.list) != nothingListed) {
                    ok(one.remove);
                }
                ASSERT_EQ(clean, dump());
                expectNothingRemembered();
            });
    }

    static void map() { run({addMap, deleteMap}); }

    static void mistake() {
        fails(1, "qcfg: queue other on ptm0: no such queue", "qcfg --queue -D other -i ptm0 -t egress");
    }
};

class KillAnywhereTest : public KillTest, public testing::WithParamInterface<Interrupted> {};

INSTANTIATE_TEST_SUITE_P(Line, KillAnywhereTest, testing::ValuesIn(interruptedCalls()),
                         [](const auto& given) { return given.param.name; });

// The next call of the same kind does what the killed one was to do, and the way back leaves nothing.
TEST_P(KillAnywhereTest, isPutRightByTheNextCall) {
    const Interrupted& c = GetParam();
    prepareFor(c.needs);
    if (!goesOn()) {
        return;
    }
    const std::string clean = dump();
    run(c.before);
    ok(c.line);
    const std::string done = dumpWithoutNumbers();
    run(c.after);
    ASSERT_EQ(clean, dump()) << "without a kill";
    atEachMoment(
        c.line, [&] { run(c.before); },
        [&] {
            again(c);
            ASSERT_EQ(done, dumpWithoutNumbers());
            run(c.after);
            ASSERT_EQ(clean, dump());
            expectNothingRemembered();
        });
}

// The killed line is not asked for again: its object is there and listed, or nothing of it is. Any other
// change sees to that, also one that fails, for it finds the mark of the one that was killed.
TEST_F(KillTest, isPutRightByACallForSomethingElse) {
    for (const Killed& one :
         {Killed{addQueue, "qcfg --queue -Lall -iptm0", deleteQueue, mistake},
          Killed{addIngressQueue, "qcfg --queue -Lall -ippp0 -tingress", deleteIngressQueue, map},
          Killed{addIngressShaper, "qcfg --show --json", deleteIngressShaper, mistake}}) {
        somethingElsePutsRight(one);
    }
}

TEST_F(KillTest, ofAPcpRuleIsPutRightByACallForSomethingElse) {
    prepareFor(Needs::vlan);
    if (goesOn()) {
        somethingElsePutsRight({addPcpRule, "classcfg -Lall -ibr0", deletePcpRule, mistake});
    }
}

// Without another --force: the foreign root is there as it was, or gone with all that came in its place.
TEST_F(KillTest, withForceLeavesTheForeignRootOrTheDefault) {
    const std::string clean = dump();
    ok(addForeignRoot);
    const std::string foreign = dump();
    ok(deleteForeignRoot);
    int kept = 0;
    int gone = 0;
    atEachMoment(
        forceQueue, [] { ok(addForeignRoot); },
        [&] {
            mistake();
            if (output("qcfg --queue -Lall -iptm0").empty()) {
                const bool isGone = dump() == clean;
                ++(isGone ? gone : kept);
                if (!isGone) {
                    ASSERT_EQ(foreign, dump());
                    ok(deleteForeignRoot);
                }
            } else {
                ok(deleteQueue);
            }
            ASSERT_EQ(clean, dump());
            expectNothingRemembered();
        });
    EXPECT_GT(kept, 0);
    EXPECT_GT(gone, 0);
}

// After a killed deletion the next life adds or modifies, as the listing says.
TEST_F(KillTest, ofADeletionIsPutRightByTheNextLife) {
    const std::string clean = dump();
    for (const std::string removal : {deleteQueue, deleteRule}) {
        atEachMoment(
            removal,
            [] {
                run({addQueue, addRule});
            },
            [&] {
                again(addQueue);
                again(addRule);
                run({deleteRule, deleteQueue});
                ASSERT_EQ(clean, dump());
            });
    }
}

// Without room for another file what is left is written over the old text.
TEST_F(KillTest, onAFullDiskIsPutRight) {
    const std::string clean = dump();
    ok(addQueue);
    const std::string left = dumpWithoutNumbers();
    ok(deleteQueue);
    atEachMoment(
        deleteRule,
        [] {
            run({addQueue, addRule});
            fillRun();
        },
        [&] {
            again(deleteRule);
            ASSERT_EQ(left, dumpWithoutNumbers());
            EXPECT_EQ("q1\n", output("qcfg --queue -Lall -iptm0"));
            ok(deleteQueue);
            ASSERT_EQ(clean, dump());
            expectNothingRemembered();
            emptyRun();
        });
}

// The call that puts right what one left that was killed in the middle is killed, too.
TEST_F(KillTest, ofWhatPutsRightIsPutRight) {
    constexpr int inTheMiddle = 140;
    const std::string clean = dump();
    ok(addIngressQueue);
    const std::string done = dumpWithoutNumbers();
    ok(deleteIngressQueue);
    atEachMoment(
        addIngressQueue, [] { ASSERT_TRUE(killedAtSystemCall(addIngressQueue, inTheMiddle)); },
        [&] {
            again(addIngressQueue);
            ASSERT_EQ(done, dumpWithoutNumbers());
            ok(deleteIngressQueue);
            ASSERT_EQ(clean, dump());
            expectNothingRemembered();
        });
}

} // namespace fapi::test
