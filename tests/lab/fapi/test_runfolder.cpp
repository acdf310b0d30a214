#include "gateway.h"

#include <regex>

namespace fapi::test {

// Where the tools keep what they remember cannot be written: they refuse, and the kernel stays as it was.
class RunFolder : public GatewayTest {
  protected:
    static void fill() {
        ok("mount -o remount,size=1M /run");
        command("dd if=/dev/zero of=/run/filler bs=4k count=1000"); // as much as goes in
    }

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
    ok(first);
    const std::string with = dumpOfAnyPrograms();
    fill();
    for (const char* line : {second, voiceRule}) {
        const Result result = command(line);
        EXPECT_EQ(1, result.status) << line;
        EXPECT_NE(std::string::npos, result.err.find("No space left on device")) << result.err;
        EXPECT_EQ(with, dumpOfAnyPrograms()) << line;
    }
    EXPECT_EQ("q1\n", output("qcfg --queue -Lall -iptm0"));
    ok("qcfg --queue -D q1 -i ptm0 -t egress"); // the last one needs no room
    EXPECT_EQ(before, dump());
    EXPECT_EQ(1, command(first).status);
    EXPECT_EQ(before, dump());
    ok("rm /run/filler");
    ok(first);
    ok("qcfg --queue -D q1 -i ptm0 -t egress");
    EXPECT_EQ(before, dump());
}

// What is left must be written down anew, and so must the way back.
TEST_F(RunFolder, thatIsFullLetsADeletionFailThatTookEffect) {
    const std::string before = dump();
    ok(first);
    const std::string with = dumpOfAnyPrograms();
    ok(voiceRule);
    fill();
    const Result result = command("classcfg -D r -i br0");
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find("No space left on device; the next call cleans up"))
        << result.err;
    EXPECT_EQ("", output("classcfg -Lall -ibr0"));
    ok("rm /run/filler");
    fails(1, "classcfg: rule r on br0: no such rule", "classcfg -D r -i br0");
    EXPECT_EQ(with, dumpOfAnyPrograms());
    ok("qcfg --queue -D q1 -i ptm0 -t egress");
    EXPECT_EQ(before, dump());
}

} // namespace fapi::test
