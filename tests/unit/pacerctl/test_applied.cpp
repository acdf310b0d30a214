#include "fakepath.h"
#include "pacerctl/applied.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pacerctl {

namespace {

Applied ofCommand(const std::string& command) {
    Applied applied;
    EXPECT_TRUE(addCommand(command, applied)) << command;
    return applied;
}

std::string failureOf(const std::string& text) {
    Applied applied;
    try {
        addDocument("qcfg", text, applied);
    } catch (const ToolFailure& failure) {
        return failure.what();
    }
    return "";
}

TEST(Command, OfAQueueIsTakenApart) {
    const Applied applied =
        ofCommand("qcfg --queue -M ptm0_q3_ing -i ptm0 -t ingress -l 64 -m wfq --weight 20 -d red --map 3");
    ASSERT_EQ(applied.queues.size(), 1U);
    const AppliedQueue& queue = applied.queues.front();
    EXPECT_EQ(queue.name, "ptm0_q3_ing");
    EXPECT_EQ(queue.interface, "ptm0");
    EXPECT_EQ(queue.direction, "ingress");
    EXPECT_EQ(queue.length, 64);
    EXPECT_EQ(queue.scheduler, "wfq");
    EXPECT_EQ(queue.value, 20);
    EXPECT_EQ(queue.drop, "red");
    EXPECT_EQ(queue.map, 3);
}

TEST(Command, OfARuleIsTakenApart) {
    const Applied applied =
        ofCommand("classcfg -A web -i ptm0 -p tcp -d 10.0.0.2 -s !192.168.1.10 --dport 80 --sport "
                  "!1:9 --iphdr-dscp 0 -o ppp0 -j dscp --actdscp 46 -j vlan --pcp-outer 5 -j mark "
                  "--mark 7 --mark-loc 1 --priority 7");
    ASSERT_EQ(applied.rules.size(), 1U);
    const AppliedRule& rule = applied.rules.front();
    EXPECT_EQ(rule.name, "web");
    EXPECT_EQ(rule.interface, "ptm0");
    EXPECT_EQ(rule.protocol, "tcp");
    EXPECT_EQ(rule.tcpFlags, "");
    EXPECT_EQ(rule.destination, "10.0.0.2");
    EXPECT_EQ(rule.source, "!192.168.1.10");
    EXPECT_EQ(rule.destinationPorts, "80");
    EXPECT_EQ(rule.sourcePorts, "!1:9");
    EXPECT_EQ(rule.dscp, 0);
    EXPECT_EQ(rule.leaving, "ppp0");
    EXPECT_EQ(rule.setDscp, 46);
    EXPECT_EQ(rule.setPcp, 5);
    EXPECT_FALSE(rule.downstream);
    EXPECT_EQ(rule.mark, 7);
    EXPECT_EQ(rule.priority, 7);
}

TEST(Command, OfARuleForWhatComesInIsTakenApart) {
    const AppliedRule rule =
        ofCommand(
            "classcfg -A ack -i ptm0 -p tcp --tcp-flags ack -j mark --mark_ing 5 --mark-loc 2 --priority 5")
            .rules.front();
    EXPECT_EQ(rule.tcpFlags, "ack");
    EXPECT_TRUE(rule.downstream);
    EXPECT_EQ(rule.mark, 5);
    EXPECT_EQ(rule.dscp, std::nullopt);
    EXPECT_EQ(rule.setDscp, std::nullopt);
}

TEST(Command, OfAnInterfaceMapCountsItsUses) {
    Applied applied = ofCommand("ifcfg --ifmap -A ppp0 -t3 -bptm0 -lptm0 -g2");
    ASSERT_EQ(applied.ifMaps.size(), 1U);
    EXPECT_EQ(applied.ifMaps[0].interface, "ppp0");
    EXPECT_EQ(applied.ifMaps[0].category, 3);
    EXPECT_EQ(applied.ifMaps[0].base, "ptm0");
    EXPECT_EQ(applied.ifMaps[0].lowest, "ptm0");
    EXPECT_EQ(applied.ifMaps[0].group, 2);
    addCommand("ifcfg --ifmap -A ppp0 -t3 -bptm0 -lptm0", applied);
    addCommand("ifcfg --ifmap -A ppp0 -t3 -bptm0 -lptm0 -g2", applied);
    ASSERT_EQ(applied.ifMaps.size(), 2U);
    EXPECT_EQ(applied.ifMaps[0].uses, 2);
    EXPECT_EQ(applied.ifMaps[1].uses, 1);
}

TEST(Command, OfASecondShaperOfAPortReplacesTheFirst) {
    Applied applied = ofCommand("qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress");
    addCommand("qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 90000 -t ingress", applied);
    addCommand("qcfg --port -A shape_wan -i ptm0 -s cb --pir 60000 -t egress", applied);
    ASSERT_EQ(applied.shapers.size(), 2U);
    EXPECT_EQ(applied.shapers[0].rate, 60000);
    EXPECT_EQ(applied.shapers[1].rate, 90000);
}

TEST(Command, OfAnotherProgramIsNone) {
    Applied applied;
    EXPECT_FALSE(addCommand("ip link set ptm0.7 type vlan egress-qos-map 0:0", applied));
    EXPECT_FALSE(addCommand("", applied));
}

TEST(Document, OfAToolMayLackWhatItDoesNotKnow) {
    Applied applied;
    addDocument("qcfg", R"({"queues": [{"name": "a", "scheduler": "sp", "priority": 3}], "news": 1})",
                applied);
    ASSERT_EQ(applied.queues.size(), 1U);
    EXPECT_EQ(applied.queues[0].value, 3);
    EXPECT_EQ(applied.queues[0].counters.packets, 0U);
}

TEST(Document, ThatCannotBeReadNamesItsTool) {
    for (const char* text : {"", "{", "[]", "7", R"({"queues": 1})", R"({"queues": [{"name": 1}]})",
                             R"({"queues": [1]})", R"({"queues": [{"packets": "many"}]})"}) {
        EXPECT_THAT(failureOf(text), testing::HasSubstr("'qcfg --show --json' ")) << text;
    }
}

TEST(Tools, AreAskedInOneGo) {
    const test::FakePath path;
    path.add("ifcfg", R"(echo '{"ifmaps": [{"interface": "ppp0"}]}')");
    path.add(
        "qcfg",
        R"(echo '{"queues": [{"name": "a"}], "shapers": [{"name": "s"}], "unclassified": [{"port": "p"}]}')");
    path.add("classcfg", R"(echo '{"rules": [{"name": "r"}]}')");
    const Applied applied = readApplied();
    EXPECT_EQ(applied.ifMaps.size() + applied.queues.size() + applied.shapers.size() + applied.rests.size() +
                  applied.rules.size(),
              5U);
}

TEST(Tools, ThatFailAreNamed) {
    const test::FakePath path;
    const auto failure = [] {
        try {
            readApplied();
        } catch (const ToolFailure& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ(failure(), "'ifcfg --show --json' is not in PATH");
    path.add("ifcfg", "exit 3");
    EXPECT_EQ(failure(), "'ifcfg --show --json' exits with status 3");
    path.add("ifcfg", "kill -9 $$");
    EXPECT_EQ(failure(), "'ifcfg --show --json' is ended by signal 9");
}

} // namespace

} // namespace pacerctl
