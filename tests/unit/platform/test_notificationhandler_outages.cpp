// Servers that are absent, gone, strange, or poorer than expected.
#include "fakeserver.h"
#include "ovsdbserver.h"
#include "platformtest.h"

#include <zel/cfg/notificationhandler.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>

namespace zel::test {

namespace {

using cfg::common::IConfigClient;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class OutagesTest : public PlatformTest {
  protected:
    std::string server(const std::string& what) const {
        return "configuration server at '" + socketPath + "' " + what;
    }
    std::string again() const {
        return "connected to the configuration server at '" + socketPath + "' again";
    }

    // The calls of a round in which every watched table counts as changed.
    static std::vector<std::string> everyTable() {
        return {"check:NetworkSetupNode", "check:StatusDsl", "check:StatusNetifWatchLogical",
                "check:QoSShaper",        "check:QoSQueues", "check:QoSClassificationAction",
                "check:QoSClassification"};
    }
};

TEST_F(OutagesTest, a_server_that_is_absent_at_the_start_is_reported_once_and_waited_for) {
    EXPECT_FALSE(start());
    EXPECT_THAT(log.takeTexts(LOG_ERR), ElementsAre(server("cannot be reached: No such file or directory")));
    loopFor(std::chrono::milliseconds(200)); // several attempts
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(handler.calls, IsEmpty());
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_THAT(handler.take(), ElementsAre("check:"))
        << "the first state is the initial one, whenever it comes";
    EXPECT_THAT(log.takeTexts(LOG_INFO), ElementsAre(again()));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(OutagesTest, after_an_outage_every_watched_table_counts_as_changed) {
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    ASSERT_TRUE(start());
    ASSERT_TRUE(loopUntilCalled("check:"));
    handler.take();
    for (int outage = 0; outage < 3; ++outage) {
        real.stop();
        ASSERT_TRUE(loopUntil([&] { return log.count() > 0; }));
        loopFor(std::chrono::milliseconds(150));
        EXPECT_THAT(log.takeTexts(LOG_ERR), ElementsAre(server("is gone: closed by the server")));
        EXPECT_THAT(log.take(), IsEmpty());
        unsigned count = 99;
        EXPECT_EQ(client().size("QoSQueues", count).value(), 0) << "reads go on from the last snapshot";
        EXPECT_THAT(handler.take(), IsEmpty());
        real.start();
        ASSERT_TRUE(loopUntilCalled("check:QoSClassification"));
        EXPECT_EQ(handler.take(), everyTable());
        EXPECT_THAT(log.takeTexts(LOG_INFO), ElementsAre(again()));
    }
}

TEST_F(OutagesTest, the_state_after_an_outage_is_the_servers) {
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    OtherClient(socketPath).insert("QoSQueues", {{"Id", 1}, {"Name", "old"}});
    ASSERT_TRUE(start());
    ASSERT_TRUE(loopUntilCalled("check:"));
    real.stop();
    real.replaceDatabase(gatewaySchema());
    real.start();
    OtherClient(socketPath).insert("QoSQueues", {{"Id", 2}, {"Name", "new"}});
    ASSERT_TRUE(loopUntilCalled("check:QoSClassification"));
    unsigned count = 0;
    basalt::ValueList row;
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(client().selectRow("QoSQueues", 0, {}, row).value(), 0);
    EXPECT_EQ(row.getValue("Name").getText(), "new");
    EXPECT_EQ(log.take().size(), 2U);
}

TEST_F(OutagesTest, a_frozen_server_holds_nobody_up) {
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    ASSERT_TRUE(start());
    ASSERT_TRUE(loopUntilCalled("check:"));
    real.signal(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    unsigned count = 0;
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
    EXPECT_EQ(dispatcher.handleEvents(50), 0);
    notification->process();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    real.signal(SIGCONT);
    OtherClient(socketPath).insert("QoSQueues", {{"Id", 1}});
    EXPECT_TRUE(loopUntilCalled("check:QoSQueues"));
}

TEST_F(OutagesTest, a_write_to_a_frozen_server_ends_in_time_and_the_connection_comes_back) {
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    ASSERT_TRUE(start(1));
    ASSERT_TRUE(loopUntilCalled("check:"));
    real.signal(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 2);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(990));
    EXPECT_THAT(log.takeTexts(LOG_ERR), ElementsAre(server("gave no answer within 1 s")));
    real.signal(SIGCONT);
    ASSERT_TRUE(loopUntilCalled("check:QoSClassification"));
    EXPECT_THAT(log.takeTexts(LOG_INFO), ElementsAre(again()));
}

TEST_F(OutagesTest, a_stop_signal_ends_a_write_at_once) {
    static volatile std::sig_atomic_t stopped = 0;
    stopped = 0;
    const auto before = std::signal(SIGTERM, [](int) { stopped = 1; });
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    ASSERT_TRUE(start());
    ASSERT_TRUE(loopUntilCalled("check:"));
    real.signal(SIGSTOP);
    const pid_t self = ::getpid();
    const pid_t sender = ::fork();
    if (sender == 0) {
        ::usleep(200'000);
        ::kill(self, SIGTERM);
        ::_exit(0);
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 2);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_EQ(stopped, 1);
    EXPECT_EQ(dispatcher.handleEvents(10'000), 0);
    ::waitpid(sender, nullptr, 0);
    real.signal(SIGCONT);
    notification.reset();
    std::signal(SIGTERM, before);
}

TEST_F(OutagesTest, without_a_snapshot_a_read_connects_once_and_answers_1) {
    EXPECT_FALSE(start());
    unsigned count = 77;
    basalt::ValueList row;
    row.setValue("kept", basalt::Value(1LL));
    EXPECT_EQ(client().size("QoSQueues", count).value(), 1);
    EXPECT_EQ(client().selectRow("QoSQueues", 0, {}, row).value(), 1);
    EXPECT_EQ(client().selectKey("QoSQueues", "Id", "1", {}, row).value(), 1);
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 1);
    EXPECT_EQ(count, 77U);
    EXPECT_TRUE(row.hasValue("kept")) << "a failure changes no result";
    EXPECT_EQ(log.takeTexts(LOG_ERR).size(), 1U) << "still one outage";

    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(handler.calls, IsEmpty()) << "handlers are called by process() alone";
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_THAT(handler.take(), ElementsAre("check:"));
    EXPECT_THAT(log.takeTexts(LOG_INFO), ElementsAre(again()));
}

TEST_F(OutagesTest, a_server_without_an_answer_gives_a_read_2) {
    const FakeServer silent(socketPath, [](FakePeer& peer, int) { peer.waitUntilClosed(); });
    EXPECT_TRUE(start());
    unsigned count = 0;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client().size("QoSQueues", count).value(), 2);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
}

TEST_F(OutagesTest, a_server_that_never_answers_is_an_outage_in_the_end) {
    const FakeServer silent(socketPath, [](FakePeer& peer, int) { peer.waitUntilClosed(); });
    EXPECT_TRUE(start(1));
    ASSERT_TRUE(loopUntil([&] { return silent.connections() >= 2; }));
    EXPECT_THAT(log.takeTexts(LOG_ERR), ElementsAre(server("gave no answer within 1 s")));
}

// Listens at `path` as user nobody until it is killed.
pid_t listenAsNobody(const std::string& path) {
    constexpr uid_t nobody = 65534;
    std::array<int, 2> ready = {-1, -1};
    EXPECT_EQ(::pipe2(ready.data(), O_CLOEXEC), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
        const bool listening =
            ::setuid(nobody) == 0 &&
            ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            ::chmod(path.c_str(), 0777) == 0 && ::listen(listener, 16) == 0;
        if (listening && ::write(ready[1], "x", 1) == 1) {
            ::pause();
        }
        ::_exit(1);
    }
    ::close(ready[1]);
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    return child;
}

TEST_F(OutagesTest, a_foreign_process_at_the_socket_is_refused_by_name_and_retried) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can start a process of another user";
    }
    ASSERT_EQ(::chmod(sandbox.path().c_str(), 0777), 0);
    const pid_t foreigner = listenAsNobody(socketPath);
    EXPECT_FALSE(start());
    loopFor(std::chrono::milliseconds(200));
    EXPECT_THAT(log.takeTexts(LOG_ERR),
                ElementsAre(server("is refused: the socket belongs to user 65534, who is not trusted")));
    EXPECT_THAT(log.take(), IsEmpty());
    ::kill(foreigner, SIGKILL);
    ::waitpid(foreigner, nullptr, 0);
    ::unlink(socketPath.c_str());
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_THAT(log.takeTexts(LOG_INFO), ElementsAre(again()));
}

TEST_F(OutagesTest, a_missing_database_is_an_outage_until_it_is_there) {
    Json schema = gatewaySchema();
    schema["name"] = "Other";
    OvsdbServer real(sandbox.path(), socketPath, schema);
    EXPECT_TRUE(start());
    loopFor(std::chrono::milliseconds(200));
    const auto errors = log.takeTexts(LOG_ERR);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_THAT(errors[0], testing::HasSubstr("an error instead of the schema: unknown database"));
    real.stop();
    real.replaceDatabase(gatewaySchema());
    real.start();
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_THAT(log.takeTexts(LOG_INFO), ElementsAre(again()));
}

TEST_F(OutagesTest, a_missing_table_and_a_missing_column_are_named_once_and_the_rest_works) {
    Json schema = gatewaySchema();
    schema["tables"].erase("QoSShaper");
    schema["tables"]["QoSQueues"]["columns"].erase("WFQWeight");
    OvsdbServer real(sandbox.path(), socketPath, schema);
    ASSERT_TRUE(start());
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_THAT(log.takeTexts(LOG_ERR),
                ElementsAre("database 'Gateway' has no column 'WFQWeight' in table 'QoSQueues'",
                            "database 'Gateway' has no table 'QoSShaper'"));
    unsigned count = 0;
    EXPECT_EQ(client().size("QoSShaper", count).value(), 10);
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
    handler.take();
    OtherClient(socketPath).insert("QoSQueues", {{"Id", 1}, {"Name", "x"}});
    EXPECT_TRUE(loopUntilCalled("check:QoSQueues"));

    real.stop();
    real.start();
    ASSERT_TRUE(loopUntilCalled("check:QoSClassification"));
    EXPECT_THAT(log.takeTexts(LOG_ERR), ElementsAre(server("is gone: closed by the server")))
        << "the same lack is not repeated";

    // Repaired, and broken again.
    real.stop();
    real.replaceDatabase(gatewaySchema());
    real.start();
    ASSERT_TRUE(loopUntil([&] { return client().size("QoSShaper", count).value() == 0; }));
    log.take();
    real.stop();
    real.replaceDatabase(schema);
    real.start();
    ASSERT_TRUE(loopUntil([&] { return client().size("QoSShaper", count).value() == 10; }));
    EXPECT_THAT(log.takeTexts(LOG_ERR), Contains("database 'Gateway' has no table 'QoSShaper'"));
    log.take();
}

TEST_F(OutagesTest, a_database_with_none_of_the_tables_can_still_be_followed) {
    OvsdbServer real(sandbox.path(), socketPath,
                     {{"name", "Gateway"},
                      {"version", "1.0.0"},
                      {"tables", {{"Unrelated", {{"columns", {{"x", {{"type", "integer"}}}}}}}}}});
    ASSERT_TRUE(start());
    ASSERT_TRUE(loopUntilCalled("check:"));
    EXPECT_EQ(log.takeTexts(LOG_ERR).size(), 7U);
}

TEST_F(OutagesTest, the_daemons_program_may_end_at_any_time) {
    start();
    log.take();
    notification.reset(); // while disconnected
    OvsdbServer real(sandbox.path(), socketPath, gatewaySchema());
    start();
    notification.reset(); // while the schema is on its way
    start();
    ASSERT_TRUE(loopUntilCalled("check:"));
    notification.reset(); // while live
    EXPECT_EQ(dispatcher.handleEvents(0), 0);
}

} // namespace

} // namespace zel::test
