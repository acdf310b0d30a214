// The whole model on one gateway: every command line, in order, from the first WAN up to the stop.
#include "config/confighandler.h"
#include "config/stopflag.h"

#include <daemontest.h>
#include <gateways.h>

namespace zel::pacerd::test {
namespace {

const Lines listings{
    R"(ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*")",
    R"(ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*")",
    R"(ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*")",
    R"(ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*")",
    R"(ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.8.*")",
    R"(ifcfg --ifmap -L | grep -q "INGGRP 2.*ptm0.8.*")",
    "qcfg --queue -Lall -ippp0 | grep -qw ppp0_def_queue",
    "qcfg --queue -Lall -ippp0 | grep -qw ppp0_q1",
    "qcfg --queue -Lall -ippp0 -tingress | grep -qw ppp0_q1_ing",
    "qcfg --queue -Lall -iptm0.8 | grep -qw ptm0.8_q2",
    "qcfg --queue -Lall -ibr0 | grep -qw br0_q4",
    "qcfg --queue -Lall -ilo | grep -qw lo_q3",
    "classcfg -Lall -ippp0 | grep -qw voip-in",
    "classcfg -Lall -ippp0 | grep -qw ack-in",
    "classcfg -Lall -ibr0 | grep -qw voip-out",
    "classcfg -Lall -ibr0 | grep -qw tv-join",
    "classcfg -Lall -ilo | grep -qw self-dns",
};

const Lines applying{
    "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2",
    "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ptm0.8 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ptm0.8 -t2 -bptm0 -lptm0 -g2",
    "qcfg --queue -A ppp0_def_queue -i ppp0 -t egress -l 200 -m sp --priority 8 -d tail --map 8",
    "qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 20 -m sp --priority 1 -d tail --map 1",
    "qcfg --queue -A ppp0_q1_ing -i ppp0 -t ingress -l 20 -m sp --priority 1 -d tail --map 1",
    "qcfg --queue -A ptm0.8_q2 -i ptm0.8 -t egress -l 100 -m wfq --weight 30 -d red --map 2",
    "qcfg --queue -A br0_q4 -i br0 -t egress -l 100 -m wfq --weight 10 -d tail --map 4",
    "qcfg --queue -A lo_q3 -i lo -t egress -l 50 -m sp --priority 3 -d tail --map 3",
    "classcfg -A voip-in -i ppp0 -p udp --sport 5060 -j mark --mark_ing 2 --mark-loc 2 --priority 2",
    "classcfg -A ack-in -i ppp0 -p tcp --tcp-flags ack -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A voip-out -i br0 -p udp --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j vlan --pcp-outer 6 "
    "-j mark "
    "--mark 5 --mark-loc 1 --priority 5",
    "classcfg -A tv-join -i br0 -p igmp -o ptm0.8 -j dscp --actdscp 34 -j vlan --pcp-outer 4 -j mark --mark "
    "4 "
    "--mark-loc 1 --priority 4",
    "classcfg -A self-dns -i lo -p udp --dport 53 --iphdr-dscp 46 -o ppp0 -j mark --mark 1 --mark-loc 1 "
    "--priority 1",
    "qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress",
    "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress",
};

const Lines removingClassifiers{
    "classcfg -D self-dns -i lo -p udp --dport 53 --iphdr-dscp 46 -o ppp0 -j mark --mark 1 --mark-loc 1 "
    "--priority 1",
    "classcfg -D tv-join -i br0 -p igmp -o ptm0.8 -j dscp --actdscp 34 -j vlan --pcp-outer 4 -j mark --mark "
    "4 "
    "--mark-loc 1 --priority 4",
    "classcfg -D voip-out -i br0 -p udp --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j vlan --pcp-outer 6 "
    "-j mark "
    "--mark 5 --mark-loc 1 --priority 5",
    "classcfg -D ack-in -i ppp0 -p tcp --tcp-flags ack -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -D voip-in -i ppp0 -p udp --sport 5060 -j mark --mark_ing 2 --mark-loc 2 --priority 2",
};

const Lines removingTheRest{
    "qcfg --queue -D lo_q3 -i lo -t egress -l 50 -m sp --priority 3 -d tail --map 3",
    "qcfg --queue -D br0_q4 -i br0 -t egress -l 100 -m wfq --weight 10 -d tail --map 4",
    "qcfg --queue -D ptm0.8_q2 -i ptm0.8 -t egress -l 100 -m wfq --weight 30 -d red --map 2",
    "qcfg --queue -D ppp0_q1_ing -i ppp0 -t ingress -l 20 -m sp --priority 1 -d tail --map 1",
    "qcfg --queue -D ppp0_q1 -i ppp0 -t egress -l 20 -m sp --priority 1 -d tail --map 1",
    "qcfg --queue -D ppp0_def_queue -i ppp0 -t egress -l 200 -m sp --priority 8 -d tail --map 8",
    "qcfg --port -D shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress",
    "qcfg --port -D shape_wan -i ptm0 -s cb --pir 50000 -t egress",
    "ifcfg --ifmap -D ptm0.8 -t2 -bptm0 -lptm0 -g2",
    "ifcfg --ifmap -D ptm0.8 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0 -g2",
    "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0",
};

Lines joined(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class WholeGateway : public DaemonTest {
  protected:
    pacerdConfigHandler handler{handle};

    WholeGateway() {
        stopFlag = 0;
        addTriplePlay(db);
    }

    void notify(const std::string& table) {
        if (handler.checkConfigChange(db, table)) {
            handler.processConfigChange(db);
        }
    }

    void setLine(long long status) {
        db.change("StatusDsl", "Id", "1", "Status", basalt::Value(status));
        notify("StatusDsl");
    }
};

TEST_F(WholeGateway, UpDownUpStop) {
    notify("");
    EXPECT_EQ(shell.take(), joined(listings, applying));
    EXPECT_THAT(log.takeWarnings(), ElementsAre("skip searching upper interface for 'off' at 'ProviderTR069'",
                                                "skip setting queue interface, no value found"));
    const Lines infos = log.takeInfos();
    EXPECT_THAT(infos, Contains("skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:6}"));
    EXPECT_THAT(infos, Contains("skb=>pcp map for if 'ptm0.8': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:4}{7:0}"));
    EXPECT_EQ(infos.back(),
              "apply success: 'qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress'");

    setLine(1);
    EXPECT_EQ(shell.take(), joined(removingClassifiers, removingTheRest));

    setLine(4);
    EXPECT_EQ(shell.take(), joined(listings, applying));
    log.takeWarnings();

    handler.removeQosConfig(db);
    EXPECT_EQ(shell.take(), joined(removingClassifiers, removingTheRest));
    EXPECT_EQ(stopFlag, 0);
}

TEST_F(WholeGateway, ADisabledRuleRunsAnEmptyLineAndKeepsAllClassifiersFromBeingRemoved) {
    db.add(aRule().named("off").on("LocalLoopback").action(4).disabled());
    notify("");
    Lines expected = applying;
    expected.insert(expected.end() - 2, "");
    EXPECT_EQ(shell.takeChanges(), expected);
    log.take();
    setLine(1);
    EXPECT_EQ(shell.take(), removingTheRest);
    EXPECT_THAT(log.takeErrors(),
                ElementsAre("failed creating rm command from ''", "failed getting command remove list"));
}

TEST_F(WholeGateway, TheNthCommandThatFailsEndsTheApplyAndTheStopRemovesEverything) {
    for (unsigned nth = 1; nth <= applying.size(); ++nth) {
        stopFlag = 0;
        pacerdConfigHandler fresh(handle);
        shell.answerNth(nth, RecordingShell::exit1);
        EXPECT_TRUE(fresh.checkConfigChange(db, ""));
        fresh.processConfigChange(db);
        EXPECT_EQ(shell.takeChanges(), Lines(applying.begin(), applying.begin() + nth));
        EXPECT_EQ(stopFlag, 1);
        const Lines errors = log.takeErrors();
        ASSERT_EQ(errors.size(), 3u);
        EXPECT_EQ(errors[0], "failed cmd '" + applying[nth - 1] + "' (retcode: 256)");
        EXPECT_EQ(errors[2], "failed appliing qos config");
        fresh.removeQosConfig(db);
        EXPECT_EQ(shell.take(), joined(removingClassifiers, removingTheRest));
        log.take();
    }
    stopFlag = 0;
}

TEST_F(WholeGateway, WhatExistsIsModifiedOrLeftAlone) {
    for (const std::string& listing : listings) {
        shell.finds(listing);
    }
    notify("");
    Lines expected(applying.begin() + 6, applying.end());
    for (std::string& line : expected) {
        const std::size_t flag = line.find(" -A ");
        if (line.find("--port") == std::string::npos) {
            line.replace(flag, 4, " -M ");
        }
    }
    EXPECT_EQ(shell.takeChanges(), expected);
    const Lines warnings = log.takeWarnings();
    EXPECT_THAT(
        warnings,
        Contains("ifmap command list is empty, check log if this is caused by already applied rules in "
                 "case further processing fails!"));
    setLine(1);
    EXPECT_EQ(shell.take(),
              joined(removingClassifiers, Lines(removingTheRest.begin(), removingTheRest.begin() + 8)));
}

} // namespace
} // namespace zel::pacerd::test
