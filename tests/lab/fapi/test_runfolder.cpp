#include "gateway.h"

#include <regex>

namespace fapi::test {

// Where the tools keep what they remember cannot be written: they refuse, and the kernel stays as it was.
class RunFolder : public GatewayTest {
  protected:
    // Without the programs' numbers and times: what was on the way is rebuilt.
    static std::string dumpOfAnyPrograms() {
        static const std::regex number(" (id|load_time|btf_id) [0-9]+");
        return std::regex_replace(dump(), number, "");
    }
};

constexpr const char* first = "qcfg --queue -A q1 -i ptm0 -t egress -l 5 -m sp --priority 1 -d tail --map 1";
constexpr const char* second = "qcfg --queue -A q2 -i ptm0 -t egress -l 6 -m sp --priority 2 -d tail --map 2";
constexpr const char* voiceRule =
    "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";

TEST_F(RunFolder, thatIsReadOnlyFromTheBeginning) {
    const std::string before = dump();
    ok("mount -o remount,ro /run");
    fails(1, "qcfg: queue q1 on ptm0: state folder /run/fapi-qos: Read-only file system", first);
    fails(1, "classcfg: rule r on br0: state folder /run/fapi-qos: Read-only file system", voiceRule);
    EXPECT_EQ(before, dump());
    EXPECT_EQ("", output("qcfg --queue -Lall -iptm0"));
}

TEST_F(RunFolder, thatBecomesReadOnlyKeepsWhatThereIs) {
    const std::string before = dump();
    ok(first);
    const std::string with = dump();
    ok("mount -o remount,ro /run");
    for (const char* line : {second, "qcfg --queue -D q1 -i ptm0 -t egress", voiceRule}) {
        const Result result = command(line);
        EXPECT_EQ(1, result.status) << line;
        EXPECT_NE(std::string::npos, result.err.find("Read-only file system")) << result.err;
    }
    EXPECT_EQ(with, dump());
    EXPECT_EQ("q1\n", output("qcfg --queue -Lall -iptm0"));
    ok("mount -o remount,rw /run");
    ok("qcfg --queue -D q1 -i ptm0 -t egress");
    EXPECT_EQ(before, dump());
}

TEST_F(RunFolder, thatIsFull) {
    const std::string before = dump();
    fillRun();
    for (const char* line : {first, voiceRule}) {
        const Result result = command(line);
        EXPECT_EQ(1, result.status) << line;
        EXPECT_NE(std::string::npos, result.err.find("No space left on device")) << result.err;
        EXPECT_EQ(before, dump()) << line;
    }
    emptyRun();
    ok(first);
    const std::string with = dumpOfAnyPrograms();
    fillRun();
    EXPECT_EQ(1, command(voiceRule).status);
    EXPECT_EQ(with, dumpOfAnyPrograms());
    EXPECT_EQ("q1\n", output("qcfg --queue -Lall -iptm0"));
    ok("qcfg --queue -D q1 -i ptm0 -t egress"); // the last one needs no room
    EXPECT_EQ(before, dump());
}

// Each queue takes some 100 bytes: what is written over the list that is there has room up to its page's end.
TEST_F(RunFolder, thatIsFullTakesWhatFitsAndEveryDeletion) {
    const std::string before = dump();
    const auto queue = [](int number) { return std::string(58, 'q') + std::to_string(number); };
    const auto add = [&](int number) {
        const std::string value = std::to_string(number);
        return "qcfg --queue -A " + queue(number) + " -i ptm0 -t egress -l 5 -m wfq --weight " + value +
               " -d tail --map " + value;
    };
    ok(add(100));
    ok(voiceRule);
    fillRun();
    int added = 101;
    std::string with;
    for (;; ++added) {
        ASSERT_LT(added, 200) << "there is no end to it";
        with = dumpOfAnyPrograms();
        const Result result = command(add(added));
        if (result.status != 0) {
            EXPECT_EQ(1, result.status);
            EXPECT_NE(std::string::npos, result.err.find("state.new: No space left on device")) << result.err;
            break;
        }
    }
    EXPECT_GT(added, 110);
    EXPECT_EQ(with, dumpOfAnyPrograms());
    ok("classcfg -D r -i br0");
    EXPECT_EQ("", output("classcfg -Lall -ibr0"));
    for (int number = 100; number < added; ++number) {
        ok("qcfg --queue -D " + queue(number) + " -i ptm0 -t egress");
    }
    EXPECT_EQ(before, dump());
    EXPECT_EQ("", output("ls /run/fapi-qos"));
}

} // namespace fapi::test
