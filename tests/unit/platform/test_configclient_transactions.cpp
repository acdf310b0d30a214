// Transactions against a real ovsdb-server, and error words that one cannot easily be made to say.
#include "fakeserver.h"
#include "ovsdbserver.h"
#include "platformtest.h"
#include "zel/configclient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace zel::test {

namespace {

using basalt::Value;
using basalt::ValueList;

ValueList queue(int id, const std::string& name) {
    return ValueList({{"Id", Value(static_cast<long long>(id))}, {"Name", Value(name)}});
}

class TransactionsTest : public PlatformTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(start());
        ASSERT_TRUE(loopUntilCalled("check:"));
        handler.take();
    }
    std::size_t rows() { return other.rows("QoSQueues").size(); }

    OvsdbServer server{sandbox.path(), socketPath, gatewaySchema()};
    OtherClient other{socketPath};
};

TEST_F(TransactionsTest, nothing_is_sent_before_the_commit_and_everything_at_once) {
    EXPECT_FALSE(client().isTransactionActive());
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_TRUE(client().isTransactionActive());
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(2, "b")).value(), 0);
    EXPECT_EQ(client().insertRow("StatusDsl", ValueList({{"Id", Value(1LL)}})).value(), 0);
    EXPECT_EQ(client().updateKey("QoSQueues", "Name", "b", queue(3, "c")).value(), 0);
    EXPECT_EQ(client().deleteKey("QoSQueues", "Name", "a").value(), 0);
    EXPECT_EQ(client().deleteKey("QoSQueues", "Name", "nobody").value(), 0);
    EXPECT_EQ(rows(), 0U);
    EXPECT_EQ(client().commitTransaction().value(), 0);
    EXPECT_FALSE(client().isTransactionActive());
    ASSERT_EQ(rows(), 1U);
    EXPECT_EQ(other.rows("QoSQueues")[0]["Name"], "c");
    ASSERT_TRUE(loopUntilCalled("check:QoSQueues"));
    EXPECT_THAT(handler.take(), testing::ElementsAre("check:StatusDsl", "check:QoSQueues"));
}

TEST_F(TransactionsTest, a_rollback_forgets_everything) {
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 0);
    EXPECT_EQ(client().rollbackTransaction().value(), 0);
    EXPECT_FALSE(client().isTransactionActive());
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().commitTransaction().value(), 0) << "an empty one";
    EXPECT_EQ(rows(), 0U);
}

TEST_F(TransactionsTest, a_commit_does_all_or_nothing) {
    other.insert("QoSQueues", {{"Id", 2}});
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(2, "taken")).value(), 0);
    EXPECT_EQ(client().commitTransaction().value(), 12);
    EXPECT_EQ(rows(), 1U);
    EXPECT_TRUE(client().isTransactionActive()) << "to be committed again or rolled back";
    other.remove("QoSQueues", 2);
    EXPECT_EQ(client().commitTransaction().value(), 0);
    EXPECT_EQ(rows(), 2U);
}

TEST_F(TransactionsTest, an_update_without_its_row_undoes_the_whole) {
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 0);
    EXPECT_EQ(client().updateKey("QoSQueues", "Name", "nobody", queue(2, "b")).value(), 0);
    EXPECT_EQ(client().commitTransaction().value(), 10);
    EXPECT_EQ(rows(), 0U);
}

TEST_F(TransactionsTest, wrong_requests_are_refused_when_they_are_made) {
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", ValueList({{"Colour", Value(1LL)}})).value(), 11);
    EXPECT_EQ(client().updateKey("QoSQueues", "Id", "x", queue(1, "a")).value(), 10) << "no such number";
    EXPECT_EQ(client().commitTransaction().value(), 0) << "they are not part of it";
}

TEST_F(TransactionsTest, start_commit_and_rollback_have_an_order) {
    EXPECT_EQ(client().commitTransaction().value(), 15);
    EXPECT_EQ(client().rollbackTransaction().value(), 15);
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().startTransaction().value(), 15);
}

TEST_F(TransactionsTest, what_is_collected_survives_an_outage) {
    EXPECT_EQ(client().startTransaction().value(), 0);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 0);
    server.stop();
    EXPECT_EQ(client().commitTransaction().value(), 1);
    server.start();
    EXPECT_EQ(client().commitTransaction().value(), 0);
    EXPECT_EQ(rows(), 1U);
    log.take();
}

class ErrorWordsTest : public PlatformTest {};

TEST_F(ErrorWordsTest, each_word_has_its_result) {
    const std::map<std::string, int> expected = {
        {"constraint violation", 12},
        {"referential integrity violation", 12},
        {"domain error", 12},
        {"range error", 12},
        {"resources exhausted", 3},
        {"not owner", 3},
        {"timed out", 3},
        {"I/O error", 3},
        {"unknown table", 10},
        {"unknown column", 11},
        {"syntax error", 13},
        {"permission error", 14},
        {"not supported", 14},
        {"something new", 14},
    };
    std::vector<std::string> words;
    for (const auto& [word, code] : expected) {
        words.push_back(word);
    }
    const FakeServer fake(socketPath, [&](FakePeer& peer, int) {
        peer.answerSchema(gatewaySchema());
        peer.answerMonitor();
        for (const std::string& word : words) {
            if (const auto request = peer.read()) {
                peer.reply(*request, Json::array({Json{{"error", word}, {"details", "why"}}}));
            }
        }
        if (const auto request = peer.read()) {
            peer.reply(*request, "no list of results");
        }
        if (const auto request = peer.read()) {
            peer.refuse(*request, "not at all");
        }
        peer.waitUntilClosed();
    });
    ASSERT_TRUE(start());
    for (const auto& [word, code] : expected) {
        const auto result = client().insertRow("QoSQueues", queue(1, "a"));
        EXPECT_EQ(result.value(), code) << word;
        EXPECT_EQ(result.isTransient(), code <= 3) << word;
    }
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 13);
    EXPECT_EQ(client().insertRow("QoSQueues", queue(1, "a")).value(), 14);
    notification.reset();
}

} // namespace

} // namespace zel::test
