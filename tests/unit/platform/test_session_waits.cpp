#include "fakeserver.h"
#include "ovsdb/session.h"
#include "platformtest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <optional>

namespace zel::test {

namespace {

using ovsdb::Session;
using ovsdb::SessionOptions;
using ovsdb::Transaction;
using ovsdb::TransactResult;
using Status = TransactResult::Status;
using std::chrono::milliseconds;

Json schemaOfIds() {
    const Json columns = {{"Id", {{"type", "integer"}}}};
    return {{"name", "Db"}, {"tables", {{"T", {{"columns", columns}}}}}};
}

// Operations that wait for the server's answer.
class SessionWaitsTest : public testing::Test {
  protected:
    void open(milliseconds answerTimeout = milliseconds(20'000)) {
        session.emplace(SessionOptions{.socketPath = path,
                                       .database = "Db",
                                       .tables = {"T"},
                                       .answerTimeout = answerTimeout,
                                       .reconnectPause = milliseconds(10'000),
                                       .maxBytes = 1 << 20,
                                       .guard = {}},
                        observer);
    }

    milliseconds timed(const std::function<void()>& action) {
        const auto begin = Session::Clock::now();
        action();
        return std::chrono::duration_cast<milliseconds>(Session::Clock::now() - begin);
    }

    // Far more than anything takes here, and far less than what a wait would take that does not end.
    static constexpr milliseconds patience{15'000};

    std::size_t rows() const { return session->replica()->find("T")->rows().size(); }

    Sandbox sandbox;
    std::string path = sandbox / "s";
    ovsdb::SessionObserver observer;
    std::optional<Session> session;
    Transaction nothing;
};

TEST_F(SessionWaitsTest, without_a_server_they_return_at_once) {
    open();
    EXPECT_LT(timed([&] {
                  EXPECT_EQ(session->waitForSnapshot(patience), Status::notConnected);
                  EXPECT_EQ(session->waitForSchema(), Status::notConnected);
                  EXPECT_EQ(session->transact(nothing).status, Status::notConnected);
              }),
              patience);
}

TEST_F(SessionWaitsTest, they_connect_without_waiting_for_the_pause_to_end) {
    open();
    EXPECT_FALSE(session->start());
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor({{"T", rowOf(1, {{"Id", 1}})}});
        peer.waitUntilClosed();
    });
    EXPECT_EQ(session->waitForSnapshot(patience), Status::answered);
    EXPECT_EQ(rows(), 1U);
    EXPECT_TRUE(session->hasWork()) << "process() has still to report the snapshot";
    const auto change = session->process();
    ASSERT_TRUE(change.has_value());
    EXPECT_TRUE(change->snapshot);
    EXPECT_FALSE(session->hasWork());
}

TEST_F(SessionWaitsTest, a_transaction_gets_its_own_answer_and_leaves_the_changes_to_process) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        const auto request = peer.read();
        peer.update({{"T", rowOf(1, {{"Id", 1}})}});
        peer.send(R"({"id": "e", "method": "echo", "params": []})");
        peer.send(R"({"id": 12345, "result": "somebody else's", "error": null})");
        peer.reply(*request, Json::parse(R"([{"count": 7}])"));
        peer.update({{"T", rowOf(2, {{"Id", 2}})}});
        peer.waitUntilClosed();
    });
    open();
    ASSERT_EQ(session->waitForSnapshot(patience), Status::answered);
    session->process();
    const TransactResult result = session->transact(nothing);
    ASSERT_EQ(result.status, Status::answered);
    EXPECT_EQ(result.results, Json::parse(R"([{"count": 7}])"));
    EXPECT_EQ(rows(), 0U) << "reads do not change under anybody's hands";
    EXPECT_TRUE(session->hasWork());
    EXPECT_TRUE(session->process().has_value());
    EXPECT_EQ(rows(), 1U);
    pollfd polled = {session->descriptor(), POLLIN, 0};
    while (rows() < 2 && (session->hasWork() || ::poll(&polled, 1, 5000) == 1)) {
        session->process();
    }
    EXPECT_EQ(rows(), 2U);
}

TEST_F(SessionWaitsTest, a_transaction_may_come_before_the_first_snapshot) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor({{"T", rowOf(1, {{"Id", 1}})}});
        peer.reply(*peer.read(), Json::array());
        peer.waitUntilClosed();
    });
    open();
    EXPECT_EQ(session->transact(nothing).status, Status::answered);
    EXPECT_EQ(session->replica(), nullptr);
    const auto change = session->process();
    ASSERT_TRUE(change.has_value());
    EXPECT_TRUE(change->snapshot);
    EXPECT_EQ(rows(), 1U);
}

TEST_F(SessionWaitsTest, a_request_that_the_server_refuses_as_a_whole_says_why) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.refuse(*peer.read(), {{"error", "not allowed"}});
        peer.waitUntilClosed();
    });
    open();
    const TransactResult result = session->transact(nothing);
    EXPECT_EQ(result.status, Status::failed);
    EXPECT_EQ(result.error, "not allowed");
}

TEST_F(SessionWaitsTest, a_server_that_does_not_answer_in_time_counts_as_lost) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.waitUntilClosed();
    });
    open(milliseconds(150));
    const milliseconds time = timed([&] { EXPECT_EQ(session->transact(nothing).status, Status::noAnswer); });
    EXPECT_GE(time, milliseconds(150));
    EXPECT_LT(time, patience);
    EXPECT_EQ(session->lastOutage(), "gave no answer within 150 ms");
    EXPECT_EQ(session->descriptor(), -1);
}

TEST_F(SessionWaitsTest, a_server_that_does_not_answer_in_time_is_always_named_as_the_reason) {
    const FakeServer server(path, [&](FakePeer& peer, int) { peer.waitUntilClosed(); });
    for (int i = 0; i < 400; ++i) { // of two deadlines that are microseconds apart, either may be the later
        open(milliseconds(2));
        ASSERT_EQ(session->waitForSchema(), Status::noAnswer);
        ASSERT_EQ(session->lastOutage(), "gave no answer within 2 ms") << "in round " << i;
    }
}

TEST_F(SessionWaitsTest, a_server_that_reads_nothing_holds_nobody_up_for_longer) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.sleepUntilClosed();
    });
    open(milliseconds(500));
    Transaction large;
    large.comment(std::string(1'000'000, 'x'));
    EXPECT_LT(timed([&] { EXPECT_EQ(session->transact(large).status, Status::noAnswer); }), patience);
    EXPECT_EQ(session->lastOutage(), "gave no answer within 500 ms");
}

TEST_F(SessionWaitsTest, a_request_that_the_socket_does_not_take_at_once_arrives_whole) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        const auto request = peer.read();
        peer.reply(*request, {{{"count", request->at("params").dump().size()}}});
        peer.waitUntilClosed();
    });
    open();
    Transaction large;
    large.comment(std::string(4'000'000, 'x'));
    const TransactResult result = session->transact(large);
    ASSERT_EQ(result.status, Status::answered);
    EXPECT_GT(ovsdb::countOf(result.results, 0), 4'000'000U);
}

TEST_F(SessionWaitsTest, a_reader_does_not_wait_as_long_as_the_connection_does) {
    const FakeServer server(path, [&](FakePeer& peer, int) { peer.waitUntilClosed(); });
    open(milliseconds(60'000));
    EXPECT_LT(timed([&] { EXPECT_EQ(session->waitForSnapshot(milliseconds(100)), Status::noAnswer); }),
              patience);
    EXPECT_NE(session->descriptor(), -1) << "which goes on waiting";
    EXPECT_EQ(session->lastOutage(), "");
}

TEST_F(SessionWaitsTest, a_server_that_goes_away_meanwhile_is_not_waited_for) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.read();
    });
    open();
    EXPECT_LT(timed([&] { EXPECT_EQ(session->transact(nothing).status, Status::notConnected); }), patience);
    EXPECT_EQ(session->lastOutage(), "is gone: closed by the server");
}

TEST_F(SessionWaitsTest, garbage_instead_of_an_answer_ends_the_wait) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.read();
        peer.send("garbage");
        peer.waitUntilClosed();
    });
    open();
    EXPECT_EQ(session->transact(nothing).status, Status::notConnected);
    EXPECT_EQ(session->lastOutage(), "sent something that is not a JSON object");
}

TEST_F(SessionWaitsTest, the_interrupt_ends_every_wait_and_stays_set) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.waitUntilClosed();
    });
    const ovsdb::UniqueFd interrupt(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    open(milliseconds(60'000));
    session->setInterrupt(interrupt.get());
    ASSERT_EQ(session->waitForSnapshot(patience), Status::answered);
    std::thread signal([&] {
        ::usleep(100'000);
        ASSERT_EQ(::eventfd_write(interrupt.get(), 1), 0);
    });
    EXPECT_LT(timed([&] { EXPECT_EQ(session->transact(nothing).status, Status::noAnswer); }), patience);
    signal.join();
    EXPECT_LT(timed([&] { EXPECT_EQ(session->transact(nothing).status, Status::noAnswer); }), patience);
    EXPECT_TRUE(session->isLive()) << "the server has done nothing wrong";
}

TEST_F(SessionWaitsTest, a_server_that_chats_without_end_and_gives_no_answer_holds_nobody_up) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.read();
        const auto end = Session::Clock::now() + 2 * patience;
        for (int sent = 0; Session::Clock::now() < end; ++sent) { // so that there is always something to read
            constexpr int ahead = 100;
            if (!peer.send(R"({"id": 1, "method": "echo", "params": []})") ||
                (sent > ahead && !peer.read())) {
                return;
            }
        }
    });
    open(milliseconds(500));
    EXPECT_LT(timed([&] { EXPECT_EQ(session->transact(nothing).status, Status::noAnswer); }), patience);
    EXPECT_EQ(session->lastOutage(), "gave no answer within 500 ms");
}

TEST_F(SessionWaitsTest, changes_that_pile_up_behind_an_answer_have_a_limit) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schemaOfIds());
        peer.answerMonitor();
        peer.read();
        const Json update = {{"T", rowOf(1, {{"Id", 1}, {"Name", std::string(10'000, 'x')}})}};
        while (peer.update(update)) {
        }
    });
    open(milliseconds(60'000));
    EXPECT_EQ(session->transact(nothing).status, Status::notConnected);
    EXPECT_EQ(session->lastOutage(), "sent more changes than can be kept");
}

} // namespace

} // namespace zel::test
