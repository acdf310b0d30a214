#include "qos/queues.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class Queue : public DaemonTest {
  protected:
    // A queue on ptm0, with the messages of its construction taken.
    qosQueue built(const QueueRow& row) {
        qosQueue queue(handle, db, row.values(), "ptm0", {"ProviderInternet"});
        log.take();
        return queue;
    }

    static Lines commandsOf(const qosQueue& queue) {
        Lines commands;
        EXPECT_TRUE(queue.getFapiQosQueueCmds(commands));
        return commands;
    }

    // The traffic classes that a text yields, as the queue reports them.
    Lines classesOf(const std::string& text) {
        const qosQueue queue(handle, db, aQueue().serving(text).named("q").values(), "ptm0", {});
        return log.takeInfos();
    }
};

TEST_F(Queue, ConstructionReportsTheQueueThenItsTrafficClasses) {
    const qosQueue queue(handle, db, aQueue().named("voip").serving("0,1").values(), "ptm0",
                         {"ProviderVoIP"});
    EXPECT_EQ(queue.getQueueName(), "voip");
    EXPECT_THAT(log.take(),
                ElementsAre("trace: construct queue object for queue 'voip' on phy interface 'ptm0'",
                            "info: found traffic class '0' assigned to queue 'voip'",
                            "info: found traffic class '1' assigned to queue 'voip'"));
    EXPECT_THAT(log.sources(), ElementsAre("queues.cpp"));
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(db.calls(), IsEmpty());
}

TEST_F(Queue, TrafficClassesAreSeparatedByCommasOrBlanks) {
    const Lines expected{"found traffic class '0' assigned to queue 'q'",
                         "found traffic class '1' assigned to queue 'q'",
                         "found traffic class '2' assigned to queue 'q'"};
    EXPECT_EQ(classesOf("0,1,2"), expected);
    EXPECT_EQ(classesOf("0 1 2"), expected);
    EXPECT_EQ(classesOf("  0, 1,\t2"), expected);
}

TEST_F(Queue, ParsingStopsQuietlyAtTheFirstStrangeCharacter) {
    EXPECT_THAT(classesOf("3;4"), ElementsAre("found traffic class '3' assigned to queue 'q'"));
    EXPECT_THAT(classesOf("3,,4"), ElementsAre("found traffic class '3' assigned to queue 'q'"));
    EXPECT_THAT(classesOf("3 ,4"), ElementsAre("found traffic class '3' assigned to queue 'q'"));
    EXPECT_THAT(classesOf("3,x"), ElementsAre("found traffic class '3' assigned to queue 'q'"));
}

TEST_F(Queue, TrafficClassesHaveNoRange) {
    EXPECT_THAT(classesOf("9,15"), ElementsAre("found traffic class '9' assigned to queue 'q'",
                                               "found traffic class '15' assigned to queue 'q'"));
    EXPECT_THAT(classesOf("-1"), ElementsAre("found traffic class '-1' assigned to queue 'q'"));
}

TEST_F(Queue, AQueueWithoutTrafficClassesCannotBe) {
    for (const char* text : {"", "x", " ", ",1"}) {
        EXPECT_EQ(assertionOf([&] {
                      const qosQueue queue(handle, db, aQueue().named("q").serving(text).values(), "ptm0",
                                           {});
                  }),
                  "true == this->extractTrafficClasses() (queues.cpp)");
        EXPECT_THAT(log.take(),
                    ElementsAre("trace: construct queue object for queue 'q' on phy interface 'ptm0'",
                                "error: could not find any traffic classes for queue 'q'"));
    }
}

TEST_F(Queue, NamesFollowPrecedenceAndDirection) {
    const qosQueue third = built(aQueue().sp(3));
    EXPECT_EQ(third.genQueueName(1), "ptm0_q3");
    EXPECT_EQ(third.genQueueName(0), "ptm0_q3_ing");
    EXPECT_EQ(third.genQueueName(2), "ptm0_q3");
    EXPECT_EQ(built(aQueue().sp(0)).genQueueName(1), "ptm0_q0");
    EXPECT_EQ(built(aQueue().sp(18)).genQueueName(1), "ptm0_q18");
}

TEST_F(Queue, PrecedenceEightNamesTheDefaultQueue) {
    const qosQueue queue = built(aQueue().sp(8));
    EXPECT_EQ(queue.genQueueName(1), "ptm0_def_queue");
    EXPECT_EQ(queue.genQueueName(0), "ptm0_def_queue_ing");
}

TEST_F(Queue, TheExistenceCheckListsTheQueuesOfTheInterface) {
    const qosQueue queue = built(aQueue());
    std::string name = "ptm0_q3";
    EXPECT_FALSE(queue.checkQueueExists(name, 1));
    EXPECT_THAT(shell.take(), ElementsAre("qcfg --queue -Lall -iptm0 | grep -qw ptm0_q3"));
    EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet"));
    name = "ptm0_q3_ing";
    EXPECT_FALSE(queue.checkQueueExists(name, 0));
    EXPECT_FALSE(queue.checkQueueExists(name, 2));
    EXPECT_THAT(shell.take(), ElementsAre("qcfg --queue -Lall -iptm0 -tingress | grep -qw ptm0_q3_ing",
                                          "qcfg --queue -Lall -iptm0 | grep -qw ptm0_q3_ing"));
}

TEST_F(Queue, ExistsOnlyIfTheListingEndsWithStatusZero) {
    const qosQueue queue = built(aQueue());
    std::string name = "ptm0_q3";
    const std::string listing = "qcfg --queue -Lall -iptm0 | grep -qw ptm0_q3";
    shell.finds(listing);
    EXPECT_TRUE(queue.checkQueueExists(name, 1));
    EXPECT_THAT(log.take(), IsEmpty());
    for (const int status : {1, -1, 0x200, 0x7F00}) {
        shell.answer(listing, status);
        EXPECT_FALSE(queue.checkQueueExists(name, 1)) << status;
        EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet"));
    }
}

TEST_F(Queue, AStrictPriorityQueueIsAdded) {
    const qosQueue queue = built(aQueue().sp(3).length(64));
    EXPECT_EQ(queue.genFapiQosSysCallCmd(0, 1),
              "qcfg --queue -A ptm0_q3 -i ptm0 -t egress -l 64 -m sp --priority 3 -d tail --map 3");
}

TEST_F(Queue, AWeightedQueueThatExistsIsModified) {
    const qosQueue queue = built(aQueue().wfq(3, 20).red().length(64));
    shell.finds("qcfg --queue -Lall -iptm0 -tingress | grep -qw ptm0_q3_ing");
    EXPECT_EQ(queue.genFapiQosSysCallCmd(0, 0),
              "qcfg --queue -M ptm0_q3_ing -i ptm0 -t ingress -l 64 -m wfq --weight 20 -d red --map 3");
}

TEST_F(Queue, TheDefaultQueueMapsPrecedenceEight) {
    EXPECT_EQ(built(aQueue().sp(8)).genFapiQosSysCallCmd(0, 1),
              "qcfg --queue -A ptm0_def_queue -i ptm0 -t egress -l 64 -m sp --priority 8 -d tail --map 8");
}

TEST_F(Queue, NumbersAreWrittenAsStored) {
    EXPECT_EQ(built(aQueue().wfq(-2, 3000000000).length(5000000000)).genFapiQosSysCallCmd(1, 1),
              "qcfg --queue -D ptm0_q-2 -i ptm0 -t egress -l 5000000000 -m wfq --weight 3000000000 -d tail "
              "--map -2");
}

TEST_F(Queue, TheDeleteCommandDiffersInTheFlagAloneAndAsksNothing) {
    const qosQueue queue = built(aQueue().wfq(3, 20).red());
    EXPECT_EQ(queue.genFapiQosSysCallCmd(1, 0),
              "qcfg --queue -D ptm0_q3_ing -i ptm0 -t ingress -l 64 -m wfq --weight 20 -d red --map 3");
    EXPECT_EQ(queue.genFapiQosSysCallCmd(1, 1),
              "qcfg --queue -D ptm0_q3 -i ptm0 -t egress -l 64 -m wfq --weight 20 -d red --map 3");
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(Queue, AnyOtherOpModeIsRejectedBeforeAnythingElse) {
    const qosQueue queue = built(aQueue().with("Scheduler", "?"));
    EXPECT_EQ(queue.genFapiQosSysCallCmd(2, 1), "");
    EXPECT_EQ(queue.genFapiQosSysCallCmd(-1, 7), "");
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(),
                ElementsAre("error: invalid op mode given: 2", "error: invalid op mode given: -1"));
}

TEST_F(Queue, AnInvalidDirectionIsRejectedAfterTheExistenceCheck) {
    const qosQueue queue = built(aQueue().with("Scheduler", "?"));
    EXPECT_EQ(queue.genFapiQosSysCallCmd(0, 2), "");
    EXPECT_THAT(shell.take(), ElementsAre("qcfg --queue -Lall -iptm0 | grep -qw ptm0_q3"));
    EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet",
                                        "error: invalid direction argument given: 2"));
}

TEST_F(Queue, AnUnknownSchedulerIsRejectedAfterTheExistenceCheck) {
    const qosQueue queue = built(aQueue().with("Scheduler", "sp").with("DropAlgorithm", "?"));
    EXPECT_EQ(queue.genFapiQosSysCallCmd(0, 1), "");
    EXPECT_EQ(shell.take().size(), 1u);
    EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet",
                                        "error: invalid scheduler algorithm config 'sp'"));
}

TEST_F(Queue, AnUnknownDropAlgorithmIsRejectedAfterTheExistenceCheck) {
    const qosQueue queue = built(aQueue().with("DropAlgorithm", "dt"));
    EXPECT_EQ(queue.genFapiQosSysCallCmd(0, 1), "");
    EXPECT_EQ(shell.take().size(), 1u);
    EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet",
                                        "error: invalid drop algorithm config 'dt'"));
}

TEST_F(Queue, EgressComesBeforeIngress) {
    const qosQueue queue = built(aQueue().egress(1).ingress(1));
    const std::string egress =
        "qcfg --queue -A ptm0_q3 -i ptm0 -t egress -l 64 -m sp --priority 3 -d tail --map 3";
    const std::string ingress =
        "qcfg --queue -A ptm0_q3_ing -i ptm0 -t ingress -l 64 -m sp --priority 3 -d tail --map 3";
    Lines commands{"earlier"};
    EXPECT_TRUE(queue.getFapiQosQueueCmds(commands));
    EXPECT_THAT(commands, ElementsAre("earlier", egress, ingress));
    EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet",
                                        "trace: added queue add cmd '" + egress + "'",
                                        "trace: queue with name 'ptm0_q3_ing' does not exist yet",
                                        "trace: added queue add cmd '" + ingress + "'"));
}

TEST_F(Queue, OnlyADirectionOfExactlyOneIsBuilt) {
    EXPECT_THAT(commandsOf(built(aQueue().egress(2).ingress(2))), IsEmpty());
    EXPECT_THAT(commandsOf(built(aQueue().egress(0).ingress(0))), IsEmpty());
    EXPECT_THAT(
        commandsOf(built(aQueue().egress(-1).ingress(1))),
        ElementsAre(
            "qcfg --queue -A ptm0_q3_ing -i ptm0 -t ingress -l 64 -m sp --priority 3 -d tail --map 3"));
}

TEST_F(Queue, ADisabledQueueYieldsNothingAndAsksNothing) {
    const qosQueue queue = built(aQueue().named("voip").disabled().egress(1).ingress(1));
    EXPECT_THAT(commandsOf(queue), IsEmpty());
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("info: skip disabled queue voip"));
}

TEST_F(Queue, AnyEnableButZeroEnables) {
    EXPECT_EQ(commandsOf(built(aQueue().enabled(2))).size(), 1u);
    EXPECT_EQ(commandsOf(built(aQueue().enabled(-1))).size(), 1u);
}

TEST_F(Queue, AFailedDirectionDoesNotStopTheOther) {
    const qosQueue queue = built(aQueue().named("voip").egress(1).ingress(1).with("Scheduler", "RR"));
    EXPECT_THAT(commandsOf(queue), IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("trace: queue with name 'ptm0_q3' does not exist yet",
                                        "error: invalid scheduler algorithm config 'RR'",
                                        "error: could not gen egress queue command for queue 'voip'",
                                        "trace: queue with name 'ptm0_q3_ing' does not exist yet",
                                        "error: invalid scheduler algorithm config 'RR'",
                                        "error: could not gen ingress queue command for queue 'voip'"));
}

TEST_F(Queue, TheConfiguredNameNeverEntersTheCommand) {
    EXPECT_EQ(commandsOf(built(aQueue().named("first"))), commandsOf(built(aQueue().named("second"))));
}

TEST_F(Queue, ACopyKeepsItsOwnRow) {
    std::vector<qosQueue> copies;
    {
        const qosQueue queue = built(aQueue().named("voip"));
        copies.push_back(queue);
    }
    EXPECT_EQ(copies.front().getQueueName(), "voip");
    EXPECT_EQ(commandsOf(copies.front()).size(), 1u);
}

} // namespace
} // namespace zel::pacerd::test
