#include "fakeserver.h"
#include "ovsdb/session.h"
#include "platformtest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>

namespace zel::test {

namespace {

using ovsdb::Change;
using ovsdb::Session;
using ovsdb::SessionOptions;
using std::chrono::milliseconds;
using testing::ElementsAre;

class Observer : public ovsdb::SessionObserver {
  public:
    void onOutage(const std::string& reason) override { events.push_back("outage: " + reason); }
    void onRecovery() override { events.emplace_back("recovery"); }
    void onSchema(const ovsdb::DatabaseSchema& schema) override {
        events.push_back("schema " + schema.version);
    }

    std::vector<std::string> events;
};

Json schema() {
    const Json columns = {{"Id", {{"type", "integer"}}}, {"Name", {{"type", "string"}}}};
    return {{"name", "Db"}, {"version", "1"}, {"tables", {{"T", {{"columns", columns}}}}}};
}

class SessionTest : public testing::Test {
  protected:
    SessionOptions options() const {
        return {.socketPath = path,
                .database = "Db",
                .tables = {"T"},
                .answerTimeout = milliseconds(20'000),
                .reconnectPause = milliseconds(20),
                .guard = {}};
    }
    void open(const SessionOptions& with) { session.emplace(with, observer); }

    // Polls and processes until the condition holds; collects the changes.
    bool runUntil(const std::function<bool()>& condition) {
        const auto end = Session::Clock::now() + std::chrono::seconds(30);
        while (!condition() && Session::Clock::now() < end) {
            pollfd polled = {session->descriptor(), session->pollEvents(), 0};
            ::poll(&polled, 1, session->hasWork() ? 0 : 5);
            if (auto change = session->process()) {
                changes.push_back(std::move(*change));
            }
        }
        return condition();
    }
    bool runUntilLive() {
        return runUntil([this] { return session->isLive(); });
    }
    bool runUntilEvents(std::size_t count) {
        return runUntil([this, count] { return observer.events.size() >= count; });
    }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const ovsdb::Row& row : session->replica()->find("T")->rows()) {
            all.push_back(row.values.getValue("Name").getText());
        }
        return all;
    }

    Sandbox sandbox;
    std::string path = sandbox / "s";
    Observer observer;
    std::optional<Session> session;
    std::vector<Change> changes;
};

const Json tableWithA = {{"T", rowOf(1, {{"Id", 1}, {"Name", "a"}})}};

void serve(FakePeer& peer) {
    peer.answerSchema(schema());
    peer.answerMonitor(tableWithA);
}

TEST_F(SessionTest, asks_for_the_schema_and_then_for_the_columns_of_its_tables) {
    std::vector<Json> requests;
    {
        const FakeServer server(path, [&](FakePeer& peer, int) {
            requests.push_back(*peer.read());
            peer.reply(requests.back(), schema());
            requests.push_back(*peer.read());
            peer.reply(requests.back(), tableWithA);
            peer.waitUntilClosed();
        });
        SessionOptions wide = options();
        wide.tables.emplace_back("Missing");
        open(wide);
        EXPECT_TRUE(session->start());
        EXPECT_TRUE(runUntilLive());
        session.reset();
    }
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].at("method"), "get_schema");
    EXPECT_EQ(requests[0].at("params"), Json::array({"Db"}));
    EXPECT_EQ(requests[1].at("method"), "monitor");
    EXPECT_EQ(requests[1].at("params")[0], "Db");
    EXPECT_EQ(requests[1].at("params")[2], Json::parse(R"({"T": {"columns": ["Id", "Name"]}})"));
    EXPECT_THAT(observer.events, ElementsAre("schema 1"));
}

TEST_F(SessionTest, reports_the_snapshot_and_then_each_update_alone) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        // All in one piece, so that they arrive together.
        std::string updates;
        for (const char* name : {"b", "c", "d"}) {
            updates += Json{{"id", nullptr},
                            {"method", "update"},
                            {"params", {"replica", {{"T", rowOf(1, {{"Id", 1}, {"Name", name}})}}}}}
                           .dump();
        }
        peer.send(updates);
        peer.waitUntilClosed();
    });
    open(options());
    session->start();
    ASSERT_TRUE(runUntilLive());
    EXPECT_EQ(changes.size(), 1U);
    EXPECT_TRUE(changes[0].snapshot);
    EXPECT_THAT(names(), ElementsAre("a"));
    for (const std::string expected : {"b", "c", "d"}) {
        const std::size_t count = changes.size();
        ASSERT_TRUE(runUntil([&] { return changes.size() > count; }));
        EXPECT_EQ(changes.size(), count + 1);
        EXPECT_FALSE(changes.back().snapshot);
        EXPECT_TRUE(changes.back().touches("T"));
        EXPECT_FALSE(changes.back().touches("U"));
        EXPECT_EQ(changes.back().rows[0].after.getValue("Name").getText(), expected);
        EXPECT_THAT(names(), ElementsAre(expected)) << "and nothing newer";
    }
}

TEST_F(SessionTest, reads_on_only_when_everything_it_has_is_taken_in) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        const Json tables = {{"T", rowOf(1, {{"Id", 1}, {"Name", std::string(500, 'x')}})}};
        const std::string update =
            Json{{"id", nullptr}, {"method", "update"}, {"params", {"replica", tables}}}.dump();
        while (peer.send(update)) {
        }
    });
    open(options());
    session->start();
    ASSERT_TRUE(runUntilLive());
    // A flood: each call takes one update; what waits is in the socket and not in this process.
    for (int i = 0; i < 500; ++i) {
        const std::size_t before = changes.size();
        ASSERT_TRUE(runUntil([&] { return changes.size() > before; }));
        ASSERT_EQ(changes.size(), before + 1);
    }
    session.reset();
}

TEST_F(SessionTest, has_nothing_to_wake_for_while_it_is_live) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        peer.waitUntilClosed();
    });
    open(options());
    session->start();
    EXPECT_NE(session->deadline(), std::nullopt);
    ASSERT_TRUE(runUntilLive());
    EXPECT_EQ(session->deadline(), std::nullopt);
    EXPECT_FALSE(session->hasWork());
    EXPECT_EQ(session->pollEvents(), POLLIN);
}

TEST_F(SessionTest, answers_echo_requests) {
    std::atomic<bool> answered = false;
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        peer.send(R"({"id": "probe", "method": "echo", "params": [1, "two"]})");
        const auto answer = peer.read();
        answered = answer == Json::parse(R"({"id": "probe", "result": [1, "two"], "error": null})");
        peer.waitUntilClosed();
    });
    open(options());
    session->start();
    EXPECT_TRUE(runUntil([&] { return answered.load(); }));
    EXPECT_THAT(observer.events, ElementsAre("schema 1"));
}

TEST_F(SessionTest, does_not_collect_answers_for_a_server_that_never_reads_them) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        const std::string echo =
            Json{{"id", 1}, {"method", "echo"}, {"params", {std::string(60'000, 'x')}}}.dump();
        for (int i = 0; i < 200 && peer.send(echo); ++i) {
        }
        ::usleep(100'000);
    });
    open(options());
    session->start();
    ASSERT_TRUE(runUntilEvents(2));
    EXPECT_EQ(observer.events[1], "outage: sent echo requests without reading the answers");
}

TEST_F(SessionTest, passes_over_notices_and_late_answers_that_concern_it_not) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        peer.send(R"({"id": null, "method": "locked", "params": ["x"]})");
        peer.send(R"({"id": 999, "result": {}, "error": null})");
        peer.send(R"({"id": null, "method": "update", "params": ["other monitor", {}]})");
        peer.update({{"T", rowOf(2, {{"Id", 2}, {"Name", "b"}})}});
        peer.waitUntilClosed();
    });
    open(options());
    session->start();
    ASSERT_TRUE(runUntil([&] { return changes.size() == 2; }));
    EXPECT_THAT(names(), ElementsAre("a", "b"));
    EXPECT_THAT(observer.events, ElementsAre("schema 1"));
}

TEST_F(SessionTest, takes_a_changed_set_of_tables_from_a_new_connection) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        peer.waitUntilClosed();
    });
    open(options());
    session->start();
    ASSERT_TRUE(runUntilLive());
    session->watch({"T"});
    EXPECT_TRUE(session->isLive()) << "nothing new";
    session->watch({"T", "U"});
    EXPECT_FALSE(session->isLive());
    EXPECT_THAT(names(), ElementsAre("a")) << "meanwhile the old snapshot stands";
    ASSERT_TRUE(runUntilLive());
    EXPECT_EQ(server.connections(), 2);
    EXPECT_THAT(observer.events, ElementsAre("schema 1", "schema 1")) << "which is no outage";
}

TEST_F(SessionTest, without_reconnecting_one_failure_is_the_end_until_somebody_asks) {
    SessionOptions once = options();
    once.reconnect = false;
    open(once);
    EXPECT_FALSE(session->start());
    EXPECT_EQ(session->deadline(), std::nullopt);
    const FakeServer server(path, [&](FakePeer& peer, int) {
        serve(peer);
        peer.waitUntilClosed();
    });
    EXPECT_FALSE(session->process().has_value());
    EXPECT_EQ(session->descriptor(), -1);
    EXPECT_TRUE(session->start());
    EXPECT_TRUE(runUntilLive());
}

TEST_F(SessionTest, without_tables_it_is_live_with_the_schema) {
    const FakeServer server(path, [&](FakePeer& peer, int) {
        peer.answerSchema(schema());
        peer.waitUntilClosed();
    });
    SessionOptions bare = options();
    bare.tables.clear();
    open(bare);
    session->start();
    ASSERT_TRUE(runUntilLive());
    EXPECT_NE(session->schema()->findTable("T"), nullptr);
    EXPECT_EQ(session->replica()->find("T"), nullptr);
}

// --- outages ---

struct Misbehaviour {
    const char* name;
    std::function<void(FakePeer&)> script;
    std::string reason; // how the message begins
};

void PrintTo(const Misbehaviour& misbehaviour, std::ostream* out) {
    *out << misbehaviour.name;
}

class MisbehavingServer : public SessionTest, public testing::WithParamInterface<Misbehaviour> {};

// The first three connections go wrong, the fourth is good.
TEST_P(MisbehavingServer, is_reported_once_and_tried_again) {
    const FakeServer server(path, [&](FakePeer& peer, int connection) {
        if (connection < 3) {
            GetParam().script(peer);
            return;
        }
        serve(peer);
        peer.waitUntilClosed();
    });
    SessionOptions limited = options();
    const bool isSilence = GetParam().reason.rfind("gave no answer", 0) == 0;
    limited.answerTimeout = milliseconds(isSilence ? 60 : 20'000);
    limited.maxBytes = 1 << 20;
    open(limited);
    session->start();
    ASSERT_TRUE(runUntilLive());
    EXPECT_EQ(server.connections(), 4);
    std::erase(observer.events, "schema 1");
    ASSERT_EQ(observer.events.size(), 2U);
    EXPECT_EQ(observer.events[0].substr(0, GetParam().reason.size() + 8), "outage: " + GetParam().reason);
    EXPECT_EQ(observer.events[1], "recovery");
    EXPECT_EQ("outage: " + session->lastOutage().substr(0, GetParam().reason.size()),
              "outage: " + GetParam().reason);
    EXPECT_THAT(names(), ElementsAre("a"));
}

std::function<void(FakePeer&)> sends(const std::string& bytes) {
    return [bytes](FakePeer& peer) {
        peer.read();
        peer.send(bytes);
        peer.waitUntilClosed();
    };
}

std::function<void(FakePeer&)> repliesWith(const Json& result) {
    return [result](FakePeer& peer) {
        peer.reply(*peer.read(), result);
        peer.waitUntilClosed();
    };
}

std::function<void(FakePeer&)> monitorsWith(const Json& tables) {
    return [tables](FakePeer& peer) {
        peer.answerSchema(schema());
        peer.answerMonitor(tables);
        peer.waitUntilClosed();
    };
}

const std::vector<Misbehaviour> misbehaviours = {
    {"closes_at_once", [](FakePeer&) {}, "is gone: "},
    {"closes_after_the_request", [](FakePeer& peer) { peer.read(); }, "is gone: closed by the server"},
    {"closes_after_the_schema", [](FakePeer& peer) { peer.answerSchema(schema()); }, "is gone: "},
    {"never_answers", [](FakePeer& peer) { peer.waitUntilClosed(); }, "gave no answer within 60 ms"},
    {"never_answers_the_monitor",
     [](FakePeer& peer) {
         peer.answerSchema(schema());
         peer.waitUntilClosed();
     },
     "gave no answer within 60 ms"},
    {"sends_garbage", sends("HTTP/1.1 400 Bad Request"), "sent something that is not a JSON object"},
    {"sends_broken_JSON", sends("{\"id\":1,}"), "sent a message that is not JSON"},
    {"sends_bytes_that_are_no_text", sends("{\"id\":\"\xff\xfe\"}"), "sent a message that is not JSON"},
    {"sends_half_a_message", sends("{\"id\":1,\"result\":"), "gave no answer within 60 ms"},
    {"sends_a_message_that_never_ends",
     [](FakePeer& peer) {
         const std::string piece(10'000, 'x');
         for (bool alive = peer.send("{\"a\":\""); alive;) {
             alive = peer.send(piece);
         }
     },
     "sent a message of more than 1048576 bytes"},
    {"nests_deeply", sends("{\"a\":" + std::string(100'000, '[')),
     "sent a message nested deeper than 64 levels"},
    {"answers_what_nobody_asked", sends("{}"), "sent an answer to nothing"},
    {"has_no_such_database",
     [](FakePeer& peer) {
         peer.refuse(*peer.read(), {{"error", "unknown database"}, {"details", "no database Db"}});
         peer.waitUntilClosed();
     },
     "sent an error instead of the schema: unknown database (no database Db)"},
    {"refuses_to_monitor",
     [](FakePeer& peer) {
         peer.answerSchema(schema());
         peer.refuse(*peer.read(), "not\ntoday"); // its words end up in a log line
         peer.waitUntilClosed();
     },
     "sent an error instead of the tables: not today"},
    {"sends_a_schema_that_is_none", repliesWith({{"name", "Db"}}), "sent a schema that cannot be read: "},
    {"sends_tables_that_are_none", monitorsWith(Json::array()), "sent an update that cannot be read"},
    {"sends_rows_without_identity", monitorsWith({{"T", {{"1", {{"new", Json::object()}}}}}}),
     "sent a row without a proper identity"},
    {"sends_values_that_are_none", monitorsWith({{"T", rowOf(1, {{"Id", nullptr}})}}),
     "sent a column value that is none: null"},
};

INSTANTIATE_TEST_SUITE_P(Session, MisbehavingServer, testing::ValuesIn(misbehaviours),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_F(SessionTest, each_outage_of_a_live_session_is_reported_once) {
    const FakeServer server(path, [&](FakePeer& peer, int connection) {
        serve(peer);
        switch (connection) {
        case 0:
            peer.send("{\"id\":null,\"method\":\"update\",\"params\":[\"replica\"]}");
            break;
        case 1:
            peer.send("{\"id\":null,\"method\":\"monitor_canceled\",\"params\":[\"replica\"]}");
            break;
        case 2:
            peer.send("{\"half\":");
            break;
        default:
            break;
        }
        peer.waitUntilClosed();
    });
    SessionOptions impatient = options();
    impatient.answerTimeout = milliseconds(80);
    open(impatient);
    session->start();
    ASSERT_TRUE(runUntilEvents(10));
    ASSERT_TRUE(runUntilLive());
    EXPECT_THAT(observer.events,
                ElementsAre("schema 1", "outage: sent an update that cannot be read", "schema 1", "recovery",
                            "outage: no longer serves the database 'Db'", "schema 1", "recovery",
                            "outage: gave no answer within 80 ms", "schema 1", "recovery"));
}

TEST_F(SessionTest, the_last_snapshot_outlives_the_server) {
    open(options());
    {
        const FakeServer server(path, [&](FakePeer& peer, int) {
            serve(peer);
            peer.waitUntilClosed();
        });
        session->start();
        ASSERT_TRUE(runUntilLive());
    }
    ASSERT_TRUE(runUntilEvents(2));
    EXPECT_FALSE(session->isLive());
    EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(SessionTest, a_foreign_peer_is_reported_even_during_another_outage_but_once) {
    SessionOptions strict = options();
    strict.trustedUsers = {::geteuid() + 1};
    open(strict);
    EXPECT_FALSE(session->start());
    const FakeServer server(path, [&](FakePeer& peer, int) { peer.waitUntilClosed(); });
    ASSERT_TRUE(runUntil([&] { return server.connections() >= 3; }));
    EXPECT_THAT(observer.events, ElementsAre("outage: cannot be reached: No such file or directory",
                                             "outage: is refused: the socket belongs to user " +
                                                 std::to_string(::geteuid()) + ", who is not trusted"));
}

TEST_F(SessionTest, pauses_between_two_attempts) {
    SessionOptions slow = options();
    slow.reconnectPause = milliseconds(100);
    open(slow);
    const auto begin = Session::Clock::now();
    session->start();
    ASSERT_TRUE(session->deadline().has_value());
    EXPECT_GE(*session->deadline(), begin + milliseconds(100));
    const FakeServer server(path, [&](FakePeer&, int) {});
    ASSERT_TRUE(runUntil([&] { return server.connections() == 3; }));
    EXPECT_GE(Session::Clock::now() - begin, milliseconds(300));
}

} // namespace

} // namespace zel::test
