// Against a real ovsdb-server.
#include "ovsdbserver.h"
#include "platformtest.h"

#include <zel/cfg/notificationhandler.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <syslog.h>

#include <csignal>

namespace zel::test {

namespace {

using cfg::common::IConfigClient;
using testing::ElementsAre;
using testing::IsEmpty;

class NotificationHandlerTest : public PlatformTest {
  protected:
    static std::string nameOf(const IConfigClient& client, unsigned index) {
        basalt::ValueList row;
        return client.selectRow("QoSQueues", index, {}, row).value() == 0 ? row.getValue("Name").getText()
                                                                          : "-";
    }

    // Live, with the initial call behind it.
    void startLive() {
        ASSERT_TRUE(start());
        ASSERT_TRUE(loopUntilCalled("check:"));
        handler.take();
    }

    OvsdbServer server{sandbox.path(), socketPath, gatewaySchema()};
    OtherClient other{socketPath};
};

TEST_F(NotificationHandlerTest, a_normal_start_logs_nothing) {
    startLive();
    loopFor(std::chrono::milliseconds(100));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(NotificationHandlerTest, a_stop_signal_before_the_first_wait_is_not_lost) {
    const auto before = std::signal(SIGTERM, [](int) {});
    start();
    static_cast<void>(std::raise(SIGTERM));
    EXPECT_EQ(dispatcher.handleEvents(10'000), 0) << "whatever the server has sent";
    static_cast<void>(std::signal(SIGTERM, before));
}

TEST_F(NotificationHandlerTest, the_initial_call_comes_from_the_first_process_and_only_once) {
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "voip"}});
    std::string seen;
    handler.onCheck = [&](const IConfigClient& client, const std::string&) {
        seen = nameOf(client, 0);
        return true;
    };
    EXPECT_TRUE(start());
    EXPECT_THAT(handler.calls, IsEmpty()) << "not from initialize()";
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_THAT(handler.take(), ElementsAre("check:", "process"));
    EXPECT_EQ(seen, "voip") << "with a complete snapshot";
    loopFor(std::chrono::milliseconds(100));
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(NotificationHandlerTest, a_row_with_something_to_interpret_is_absent_until_it_is_mended) {
    other.insert("QoSClassification", {{"Id", 1}, {"Name", "voip"}});
    other.insert("QoSClassification", {{"Id", 2}, {"Name", "a;reboot"}});
    startLive();
    unsigned count = 0;
    basalt::ValueList row;
    EXPECT_EQ(client().size("QoSClassification", count).value(), 0);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(client().selectKey("QoSClassification", "Id", "2", {}, row).value(), 10);
    EXPECT_EQ(log.takeTexts(LOG_ERR).size(), 1U);
    server.signal(SIGKILL);
    ASSERT_TRUE(loopUntil([&] { return log.count() > 0; }));
    server.start();
    ASSERT_TRUE(loopUntilCalled("check:QoSClassification"));
    EXPECT_EQ(log.takeTexts(LOG_ERR).size(), 1U) << "the outage alone";
    ovsdb::Transaction mending;
    mending.update("QoSClassification", ovsdb::Json::array({ovsdb::condition("Id", "==", 2)}),
                   {{"Name", "a"}});
    OtherClient(socketPath).transact(mending);
    ASSERT_TRUE(
        loopUntil([&] { return client().size("QoSClassification", count).value() == 0 && count == 2; }));
    log.take();
}

TEST_F(NotificationHandlerTest, processConfigChange_follows_a_true_directly_and_nothing_else) {
    handler.onCheck = [](const IConfigClient&, const std::string& table) { return table == "StatusDsl"; };
    startLive();
    ovsdb::Transaction transaction;
    transaction.insert("QoSQueues", {{"Id", 1}});
    transaction.insert("StatusDsl", {{"Id", 1}});
    transaction.insert("NetworkSetupNode", {{"Id", 1}});
    other.transact(transaction);
    ASSERT_TRUE(loopUntilCalled("check:QoSQueues"));
    EXPECT_THAT(handler.take(),
                ElementsAre("check:NetworkSetupNode", "check:StatusDsl", "process", "check:QoSQueues"));
}

TEST_F(NotificationHandlerTest, one_transaction_gives_one_call_for_each_changed_table_in_watched_order) {
    handler.tables = {"QoSQueues", "StatusDsl", "NetworkSetupNode"};
    startLive();
    ovsdb::Transaction transaction;
    transaction.insert("NetworkSetupNode", {{"Id", 1}});
    transaction.insert("NetworkSetupNode", {{"Id", 2}});
    transaction.insert("QoSShaper", {{"Id", 1}}); // not watched
    transaction.insert("QoSQueues", {{"Id", 1}});
    other.transact(transaction);
    ASSERT_TRUE(loopUntilCalled("check:NetworkSetupNode"));
    EXPECT_THAT(handler.take(), ElementsAre("check:QoSQueues", "check:NetworkSetupNode"));
    loopFor(std::chrono::milliseconds(50));
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(NotificationHandlerTest, insert_change_and_removal_are_all_changes) {
    startLive();
    for (int step = 0; step < 3; ++step) {
        if (step == 0) {
            other.insert("QoSQueues", {{"Id", 1}});
        } else if (step == 1) {
            other.update("QoSQueues", 1, {{"Name", "x"}});
        } else {
            other.remove("QoSQueues", 1);
        }
        ASSERT_TRUE(loopUntilCalled("check:QoSQueues")) << step;
        EXPECT_THAT(handler.take(), ElementsAre("check:QoSQueues")) << step;
    }
}

TEST_F(NotificationHandlerTest, a_transaction_that_changes_nothing_is_no_change) {
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "x"}});
    startLive();
    other.update("QoSQueues", 1, {{"Name", "x"}});
    loopFor(std::chrono::milliseconds(100));
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(NotificationHandlerTest, all_reads_of_one_round_see_the_same_state) {
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "0"}});
    int rounds = 0;
    handler.onCheck = [&](const IConfigClient& client, const std::string& table) {
        if (table.empty()) {
            return true;
        }
        // While this round goes on, the database does not stand still, and neither does the socket.
        const std::string before = nameOf(client, 0);
        other.update("QoSQueues", 1, {{"Name", std::to_string(++rounds)}});
        ::usleep(5000);
        basalt::ValueList row;
        EXPECT_EQ(client.selectKey("QoSQueues", "Id", "1", {}, row).value(), 0);
        EXPECT_EQ(row.getValue("Name").getText(), before);
        return true;
    };
    startLive();
    other.update("QoSQueues", 1, {{"Name", "begin"}});
    std::string last;
    handler.onProcess = [&](const IConfigClient& client) { last = nameOf(client, 0); };
    ASSERT_TRUE(loopUntil([&] { return rounds >= 5; }));
    EXPECT_EQ(last, "4") << "processConfigChange belongs to the round";
}

TEST_F(NotificationHandlerTest, each_transaction_is_a_round_of_its_own_with_its_own_state) {
    startLive();
    std::vector<std::string> seen;
    handler.onCheck = [&](const IConfigClient& client, const std::string&) {
        seen.push_back(nameOf(client, 0));
        return false;
    };
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "a"}});
    other.update("QoSQueues", 1, {{"Name", "b"}});
    other.update("QoSQueues", 1, {{"Name", "c"}});
    // All three are on the socket before the first is taken in.
    ASSERT_TRUE(loopUntil([&] { return seen.size() >= 3; }));
    EXPECT_THAT(seen, ElementsAre("a", "b", "c"));
}

TEST_F(NotificationHandlerTest, what_a_handler_writes_comes_back_as_a_round_of_its_own) {
    startLive();
    handler.onCheck = [](const IConfigClient&, const std::string& table) { return table == "StatusDsl"; };
    handler.onProcess = [](const IConfigClient& client) {
        basalt::ValueList row;
        row.setValue("Id", basalt::Value(9LL));
        EXPECT_EQ(client.insertRow("QoSQueues", row).value(), 0);
        unsigned count = 99;
        EXPECT_EQ(client.size("QoSQueues", count).value(), 0);
        EXPECT_EQ(count, 0U);
    };
    other.insert("StatusDsl", {{"Id", 1}});
    ASSERT_TRUE(loopUntilCalled("check:QoSQueues"));
    EXPECT_THAT(handler.take(), ElementsAre("check:StatusDsl", "process", "check:QoSQueues"));
}

TEST_F(NotificationHandlerTest, an_unregistered_handler_hears_nothing) {
    startLive();
    notification->unregisterConfigHandler(handler);
    other.insert("QoSQueues", {{"Id", 1}});
    loopFor(std::chrono::milliseconds(100));
    EXPECT_THAT(handler.calls, IsEmpty());
    unsigned count = 0;
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
    EXPECT_EQ(count, 1U) << "the client still follows";
    notification.reset();
}

TEST_F(NotificationHandlerTest, a_handler_may_unregister_itself_in_the_middle_of_a_round) {
    startLive();
    handler.onCheck = [&](const IConfigClient&, const std::string&) {
        notification->unregisterConfigHandler(handler);
        return true;
    };
    ovsdb::Transaction transaction;
    transaction.insert("QoSQueues", {{"Id", 1}});
    transaction.insert("StatusDsl", {{"Id", 1}});
    other.transact(transaction);
    ASSERT_TRUE(loopUntilCalled("check:StatusDsl"));
    loopFor(std::chrono::milliseconds(50));
    EXPECT_THAT(handler.take(), ElementsAre("check:StatusDsl"));
}

TEST_F(NotificationHandlerTest, a_handler_that_unregisters_itself_takes_no_round_from_the_next) {
    startLive();
    RecordingHandler next;
    next.tables = {"QoSQueues"};
    notification->registerConfigHandler(next);
    ASSERT_TRUE(loopUntil([&] { return !next.calls.empty(); }));
    EXPECT_THAT(next.take(), ElementsAre("check:"));
    handler.onCheck = [&](const IConfigClient&, const std::string&) {
        notification->unregisterConfigHandler(handler);
        return false;
    };
    handler.take();
    other.insert("QoSQueues", {{"Id", 1}});
    ASSERT_TRUE(loopUntilCalled("check:QoSQueues"));
    EXPECT_THAT(next.take(), ElementsAre("check:QoSQueues"));
    notification->unregisterConfigHandler(next);
}

TEST_F(NotificationHandlerTest, a_handler_that_comes_later_gets_its_initial_call) {
    startLive();
    RecordingHandler late;
    late.tables = {"QoSQueues"};
    notification->registerConfigHandler(late);
    ASSERT_TRUE(loopUntil([&] { return !late.calls.empty(); }));
    EXPECT_THAT(late.take(), ElementsAre("check:"));
    EXPECT_THAT(handler.take(), IsEmpty());
    other.insert("QoSQueues", {{"Id", 1}});
    ASSERT_TRUE(loopUntil([&] { return !late.calls.empty(); }));
    EXPECT_THAT(late.take(), ElementsAre("check:QoSQueues"));
    notification->unregisterConfigHandler(late);
}

TEST_F(NotificationHandlerTest, an_exception_of_a_handler_reaches_the_caller_and_breaks_nothing) {
    startLive();
    handler.onCheck = [](const IConfigClient&, const std::string&) -> bool {
        throw std::runtime_error("stoi");
    };
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "x"}});
    EXPECT_THROW(loopUntilCalled("never"), std::runtime_error);
    handler.onCheck = {};
    handler.take();
    EXPECT_EQ(nameOf(client(), 0), "x");
    other.remove("QoSQueues", 1);
    EXPECT_TRUE(loopUntilCalled("check:QoSQueues"));
}

TEST_F(NotificationHandlerTest, process_from_inside_a_handler_does_nothing) {
    startLive();
    handler.onCheck = [&](const IConfigClient& client, const std::string&) {
        other.update("QoSQueues", 1, {{"Name", "later"}});
        ::usleep(5000);
        notification->process();
        EXPECT_EQ(nameOf(client, 0), "now");
        handler.onCheck = {};
        return false;
    };
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "now"}});
    ASSERT_TRUE(loopUntilCalled("check:QoSQueues"));
}

TEST_F(NotificationHandlerTest, while_nothing_changes_the_loop_sleeps) {
    startLive();
    loopFor(std::chrono::milliseconds(50));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(dispatcher.handleEvents(700), 0) << "neither a reconnection nor a probe";
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(700));
}

TEST_F(NotificationHandlerTest, a_thousand_rules_arrive_whole) {
    ovsdb::Transaction transaction;
    for (int id = 1; id <= 1000; ++id) {
        transaction.insert("QoSClassification", {{"Id", id}, {"Name", "rule" + std::to_string(id)}});
    }
    other.transact(transaction);
    startLive();
    unsigned count = 0;
    EXPECT_EQ(client().size("QoSClassification", count).value(), 0);
    EXPECT_EQ(count, 1000U);
    basalt::ValueList row;
    EXPECT_EQ(client().selectRow("QoSClassification", 999, {}, row).value(), 0);
    EXPECT_EQ(row.getValue("Name").getText(), "rule1000");
}

} // namespace

} // namespace zel::test
