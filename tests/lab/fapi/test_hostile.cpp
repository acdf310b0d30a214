#include "gateway.h"

#include <net/if.h>

#include <filesystem>
#include <fstream>

namespace fapi::test {

// What careless users, crowds, strangers and broken machines do to the tools.
class Hostile : public GatewayTest {
  protected:
    static constexpr const char* queue =
        "qcfg --queue -A q -i ptm0 -t egress -l 5 -m sp --priority 1 -d tail --map 1";
    static constexpr const char* noQueue = "qcfg --queue -D q -i ptm0 -t egress";
    static constexpr const char* rule =
        "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";
    static constexpr const char* noRule = "classcfg -D r -i br0";
    static constexpr const char* nobody =
        "setpriv --reuid 65534 --regid 65534 --clear-groups --bounding-set -all --inh-caps -all ";

    // Where the state of this test's namespace is.
    static std::string folder() {
        for (const auto& entry : std::filesystem::directory_iterator("/run/fapi-qos")) {
            return entry.path();
        }
        return "";
    }

    static void write(const std::string& file, const std::string& text) {
        std::ofstream(folder() + "/" + file, std::ios::binary) << text;
    }
};

TEST_F(Hostile, wordsOfSeveralLinesMakeOneLine) {
    const Result result = shell("qcfg --queue -A \"$(printf 'a\\nb\\033[2J')\" -i ptm0 -t egress");
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("qcfg: 'a?b?[2J' is not a name (1 to 63 printable characters without '/')\n", result.err);
}

TEST_F(Hostile, closedStandardStreamsTakeNoHarm) {
    const std::string before = dump();
    const std::string red = "qcfg --queue -A q -i ptm0 -t egress -l 5 -m sp --priority 1 -d red --map 1";
    EXPECT_EQ(0, shell(red + " <&- >&- 2>&-").status);
    EXPECT_EQ(0, shell("qcfg --queue -Lall -iptm0 >&-").status);
    EXPECT_EQ("q\n", output("qcfg --queue -Lall -iptm0"));
    ok(noQueue);
    EXPECT_EQ(before, dump());
}

TEST_F(Hostile, anAnswerThatCannotBeWrittenIsAFailure) {
    const Result result = shell("qcfg --show --json >/dev/full");
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("qcfg: writing the answer failed\n", result.err);
}

TEST_F(Hostile, twentyCallsOfEachToolAtOnceAllCount) {
    const std::string before = dump();
    EXPECT_EQ(
        "",
        shell("for i in $(seq 1 20); do"
              " classcfg -A r$i -i br0 -p udp --dport $i -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1 &"
              " qcfg --queue -A q$i -i ppp0 -t egress -l 5 -m wfq --weight $i -d tail --map $i &"
              " ifcfg --ifmap -A ppp0 -t$i -bptm0 -lptm0 &"
              " done; wait")
            .err);
    EXPECT_EQ("20 20 20\n", shell("echo $(classcfg -Lall -ibr0 | wc -l) $(qcfg --queue -Lall -ippp0 | wc -l)"
                                  " $(ifcfg --ifmap -L | wc -l)")
                                .out);
    EXPECT_EQ("", shell("for i in $(seq 1 20); do"
                        " classcfg -D r$i -i br0 & qcfg --queue -D q$i -i ppp0 -t egress &"
                        " ifcfg --ifmap -D ppp0 -t$i -bptm0 -lptm0 &"
                        " done; wait")
                      .err);
    EXPECT_EQ(before, dump());
    EXPECT_TRUE(std::filesystem::is_empty("/run/fapi-qos"));
}

TEST_F(Hostile, aReadOnlyStateFolderIsNamedAndNothingChanges) {
    ok(queue);
    ok(rule);
    const std::string before = dump();
    ok("mount -o remount,ro /run");
    fails(1, "classcfg: rule r on br0: " + folder() + "/busy: Read-only file system", noRule);
    EXPECT_EQ("r\n", output("classcfg -Lall -ibr0"));
    EXPECT_EQ(before, dump());
    ok("mount -o remount,rw /run");
    ok(noRule);
    ok(noQueue);
}

TEST_F(Hostile, aFullStateFolderLosesNothing) {
    const std::string before = dump();
    ok("mount -t tmpfs -o size=4k small /run/netns"); // not /run itself: it holds the namespaces' names
    setenv("FAPI_QOS_STATE", "/run/netns/state", 1);
    ok(queue);
    const Result result = command(rule);
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find("No space left on device")) << result.err;
    EXPECT_EQ("q\n", output("qcfg --queue -Lall -iptm0"));
    EXPECT_EQ("", output("classcfg -Lall -ibr0"));
    ok("mount -o remount,size=1m /run/netns");
    ok(rule);
    ok(noRule);
    ok(noQueue);
    unsetenv("FAPI_QOS_STATE");
    ok("umount /run/netns");
    EXPECT_EQ(before, dump());
}

TEST_F(Hostile, damagedStateIsDroppedWithAllThatItStoodFor) {
    // Clsacts of nobody known stay: give the interfaces some beforehand.
    for (const char* interface : {"br0", "ppp0", "ptm0"}) {
        ok(std::string("tc qdisc add dev ") + interface + " clsact");
    }
    const std::string clean = dump();
    for (const auto& [file, text] : {std::pair<std::string, std::string>{"state", "garbage"},
                                     {"state", "queue q ptm0 3 egress 5 str"},
                                     {"state", std::string(3000, '\xff')},
                                     {"rules", std::string(100, 'x')},
                                     {"rules", std::string(2560, '\x01')}}) {
        ok(queue);
        ok(rule);
        write(file, text);
        EXPECT_EQ(1, command("qcfg --queue -Lall -iptm0").status) << file;
        const Result result = command(queue);
        EXPECT_EQ(0, result.status) << file;
        EXPECT_EQ(0U, result.err.find("qcfg: queue q on ptm0: warning: what was remembered is lost: "))
            << result.err;
        EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
        EXPECT_EQ("", output("classcfg -Lall -ibr0"));
        ok(noQueue);
        EXPECT_EQ(clean, dump()) << file;
    }
}

TEST_F(Hostile, aDeletionCleansUpAfterAnInterruptedCall) {
    const std::string before = dump();
    ok(queue);
    write("busy", "");
    ok(noQueue);
    EXPECT_EQ(before, dump());
    EXPECT_TRUE(std::filesystem::is_empty("/run/fapi-qos"));
}

TEST_F(Hostile, aRenamedPortIsFreed) {
    ok(queue);
    ok(rule);
    ok("ip link set ptm0 down");
    ok("ip link set ptm0 name ptm9");
    fails(1, "qcfg: queues: no such interface 'ptm0'", "qcfg --queue -Lall -iptm0");
    ok(noRule); // any change does it
    const std::string left = output("tc qdisc show");
    EXPECT_EQ(std::string::npos, left.find("fa91")) << left;
    EXPECT_EQ(std::string::npos, left.find("clsact")) << left;
    EXPECT_TRUE(std::filesystem::is_empty("/run/fapi-qos"));
}

TEST_F(Hostile, aPortThatWentTakesItsIfbAlong) {
    ok("ip link add usb0 type veth peer name usb1");
    ok("qcfg --port -A down -i usb0 -s cb --pir 1000 -t ingress");
    EXPECT_NE("", output("ip -o link show type ifb"));
    ok("ip link del usb0");
    // What the daemon does then: it fails, and yet nothing is left.
    fails(1, "qcfg: shaper down on usb0: no such interface 'usb0'", "qcfg --port -D down -i usb0 -t ingress");
    EXPECT_EQ("", output("ip -o link show type ifb"));
    EXPECT_TRUE(std::filesystem::is_empty("/run/fapi-qos"));
}

TEST_F(Hostile, portsWhoseLongNamesDifferInTheirEndHaveIfbsOfTheirOwn) {
    const std::string before = dump();
    const std::string one = "abcdefghijklmn1"; // as long as the kernel allows
    const std::string two = "abcdefghijklmn2";
    ok("ip link add " + one + " type veth peer name " + two);
    for (const std::string& port : {one, two}) {
        ok("qcfg --port -A " + port + "_shaper -i " + port + " -s cb --pir 1000 -t ingress");
    }
    const auto ifbs = [] { return output("ip -o link show type ifb"); };
    for (const std::string& port : {one, two}) {
        const std::string device = "fapi-in" + std::to_string(if_nametoindex(port.c_str()));
        EXPECT_NE(std::string::npos, ifbs().find(device + ":"));
        EXPECT_NE(std::string::npos, output("ip link show " + device).find("alias ingress of " + port));
    }
    ok("qcfg --port -D " + one + "_shaper -i " + one + " -t ingress");
    EXPECT_EQ(std::string::npos, ifbs().find(one));
    EXPECT_NE(std::string::npos, ifbs().find(two));
    ok("qcfg --port -D " + two + "_shaper -i " + two + " -t ingress");
    ok("ip link del " + one);
    EXPECT_EQ(before, dump());
}

TEST_F(Hostile, aForeignClassOnAPortGoesUnlessOthersUseIt) {
    const std::string before = dump();
    ok(queue);
    ok("tc class add dev ptm0 parent fa91:1 classid fa91:77 htb rate 1mbit quantum 2000");
    ok("qcfg --queue -A p -i ptm0 -t egress -l 5 -m sp --priority 2 -d tail --map 2");
    EXPECT_FALSE(classes("ptm0").contains("fa91:77"));
    // Used: by a filter that leads to it.
    ok("tc class add dev ptm0 parent fa91:1 classid fa91:77 htb rate 1mbit quantum 2000");
    ok("tc filter add dev ptm0 parent fa91: pref 5 protocol ip u32 match ip dport 5 0xffff flowid fa91:77");
    const std::string warning =
        ": warning: a class on the port that is not ours, or not any more, is used by others and stays\n";
    const Result shaped = command("qcfg --port -A s -i ptm0 -s cb --pir 1000 -t egress");
    EXPECT_EQ(0, shaped.status);
    EXPECT_EQ("qcfg: shaper s on ptm0" + warning, shaped.err);
    EXPECT_TRUE(classes("ptm0").contains("fa91:77"));
    EXPECT_NE(std::string::npos, output("tc class show dev ptm0").find("fa91:1 root rate 1Mbit"));
    const Result removed = command(noQueue);
    EXPECT_EQ(0, removed.status);
    EXPECT_EQ("qcfg: queue q on ptm0" + warning, removed.err);
    // The port's last object takes everything along.
    command("qcfg --queue -D p -i ptm0 -t egress");
    ok("qcfg --port -D s -i ptm0 -t egress");
    EXPECT_EQ(before, dump());
}

TEST_F(Hostile, aStrangerReadsButNeitherLocksNorCounts) {
    ok(rule);
    EXPECT_EQ("r\n", output(std::string(nobody) + "classcfg -Lall -ibr0"));
    fails(1, "classcfg: reading the rules' counters: Operation not permitted",
          std::string(nobody) + "classcfg --show --json");
    EXPECT_NE(0, command(std::string(nobody) + "flock -s /run/fapi-qos true").status);
}

TEST_F(Hostile, aRefusedKernelProgramLeavesNothing) {
    const Result result =
        shell("unshare --user --map-root-user --net sh -c 'ip link add d0 type bridge;"
              " export FAPI_QOS_STATE=$(mktemp -d);"
              " qcfg --queue -A q -i d0 -t egress -l 5 -m sp --priority 1 -d tail --map 1; echo $?;"
              " tc qdisc show dev d0; ls $FAPI_QOS_STATE; rm -r $FAPI_QOS_STATE' 2>&1");
    EXPECT_EQ("qcfg: queue q on d0: creating the BPF map fapi_rules: Operation not permitted\n1\n",
              result.out);
}

TEST_F(Hostile, aQueueThatComesBeforeItsMapMovesToThePort) {
    const std::string before = dump();
    ok("qcfg --queue -A q -i ppp0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    EXPECT_TRUE(classes("ppp0").contains("fa91:10"));
    ok("qcfg --port -A shape -i ptm0 -s cb --pir 1000 -t egress");
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    EXPECT_TRUE(classes("ppp0").empty());
    EXPECT_TRUE(classes("ptm0").contains("fa91:10"));
    EXPECT_EQ("q\n", output("qcfg --queue -Lall -ippp0"));
    ok("ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0");
    EXPECT_TRUE(classes("ppp0").contains("fa91:10"));
    ok("qcfg --queue -D q -i ppp0 -t egress");
    ok("qcfg --port -D shape -i ptm0 -t egress");
    EXPECT_EQ(before, dump());
}

} // namespace fapi::test
