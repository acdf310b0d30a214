#include "gateway.h"

#include <algorithm>
#include <cstdlib>

namespace fapi::test {

namespace {

// Every system call in turn takes minutes: FAPI_KILL_STEP=1 does it.
int step() {
    const char* chosen = getenv("FAPI_KILL_STEP");
    return chosen == nullptr ? 5 : std::max(1, atoi(chosen));
}

} // namespace

// A tool is killed at a system call that it makes, one after the other; the usual start and stop afterwards
// must leave nothing behind.
class Kill : public GatewayTest {
  protected:
    struct Case {
        std::vector<std::string> before; // commands that are in place
        std::string line;                // the command that is killed
        std::vector<std::string> down;   // the way back
        int step = 1;                    // every step-th system call
    };

    static void killedAnywhere(const Case& c) {
        const std::string clean = dump();
        bool alive = true;
        for (int n = 1; alive; n += step()) {
            for (const std::string& line : c.before) {
                ok(line);
            }
            alive = killedAtSystemCall(c.line, n);
            // The daemon's start: asks what exists, adds or modifies, then everything is taken back.
            const Result again = command(c.line);
            if (again.status != 0) {
                std::string modify = c.line;
                modify.replace(modify.find(" -A "), 4, " -M ");
                ok(modify);
            }
            for (const std::string& line : c.down) {
                ok(line);
            }
            ASSERT_EQ(clean, dump()) << "killed at system call " << n << " of " << c.line;
        }
    }

    // The killed line is not asked for again: its object is there and listed, or nothing of it is. Any other
    // change sees to that, for it finds the mark of the one that was killed.
    static void leavesNothing(const std::string& add, const std::string& list, const std::string& remove) {
        const std::string clean = dump();
        bool alive = true;
        for (int n = 1; alive; n += step()) {
            alive = killedAtSystemCall(add, n);
            ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
            ok("ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0");
            if (!output(list).empty()) {
                ok(remove);
            }
            ASSERT_EQ(clean, dump()) << "killed at system call " << n << " of " << add;
        }
    }
};

TEST_F(Kill, ofTheFirstQueueOfAPort) {
    killedAnywhere({{},
                    "qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d tail --map 1",
                    {"qcfg --queue -D q1 -i ptm0 -t egress"}});
}

TEST_F(Kill, ofTheFirstRule) {
    killedAnywhere(
        {{},
         "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
         {"classcfg -D r -i br0"}});
}

TEST_F(Kill, ofAnIngressQueue) {
    killedAnywhere({{"ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0"},
                    "qcfg --queue -A q1 -i ppp0 -t ingress -l 64 -m sp --priority 1 -d tail --map 1",
                    {"qcfg --queue -D q1 -i ppp0 -t ingress", "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0"}});
}

TEST_F(Kill, ofAQueueIsPutRightByACallForSomethingElse) {
    leavesNothing("qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d tail --map 1",
                  "qcfg --queue -Lall -iptm0", "qcfg --queue -D q1 -i ptm0 -t egress");
}

TEST_F(Kill, ofAnIngressQueueIsPutRightByACallForSomethingElse) {
    leavesNothing("qcfg --queue -A q1 -i ptm0 -t ingress -l 64 -m sp --priority 1 -d tail --map 1",
                  "qcfg --queue -Lall -iptm0 -tingress", "qcfg --queue -D q1 -i ptm0 -t ingress");
}

TEST_F(Kill, ofARemoval) {
    const std::string queue = "qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d tail --map 1";
    const std::string rule =
        "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";
    const std::string clean = dump();
    for (const std::string& removal :
         {std::string("qcfg --queue -D q1 -i ptm0 -t egress"), std::string("classcfg -D r -i br0")}) {
        bool alive = true;
        for (int n = 1; alive; n += step()) {
            ok(queue);
            ok(rule);
            alive = killedAtSystemCall(removal, n);
            // The next start finds it or not, as the listing says, and the stop takes everything back.
            const std::string listed = output("qcfg --queue -Lall -iptm0") + output("classcfg -Lall -ibr0");
            for (std::string line : {queue, rule}) {
                const bool there = listed.find(line == queue ? "q1\n" : "r\n") != std::string::npos;
                line.replace(line.find(" -A "), 4, there ? " -M " : " -A ");
                ok(line);
            }
            ok("classcfg -D r -i br0");
            ok("qcfg --queue -D q1 -i ptm0 -t egress");
            ASSERT_EQ(clean, dump()) << "killed at system call " << n << " of " << removal;
        }
    }
}

} // namespace fapi::test
