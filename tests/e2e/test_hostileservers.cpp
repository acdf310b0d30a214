// What listens at the socket sends nonsense, too much, or is somebody else's.
#include "fakeserver.h"
#include "gatewaytest.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace e2e {

namespace {

class HostileServersTest : public GatewayTest {
  protected:
    std::size_t outagesReported() const {
        const std::vector<LogLine> lines = log.lines();
        return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](const LogLine& line) {
            return line.level == "error" && !isDaemonSource(line.source);
        }));
    }

    // The daemon meets the fake server several times, says so once, and works with a real one afterwards.
    void expectSurvival(const std::function<void(int)>& serve, int meetings = 3) {
        {
            const FakeServer fake(serve);
            daemon.emplace();
            ASSERT_TRUE(eventually([&] { return fake.connections() >= meetings; }));
            EXPECT_EQ(outagesReported(), 1U) << ::testing::PrintToString(log.messages());
            EXPECT_FALSE(log.has("info: initial startup in progress"));
        }
        startServer(smallGateway());
        ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
        settle();
        EXPECT_EQ(outagesReported(), 1U) << ::testing::PrintToString(log.messages());
        bringUp();
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }

    long residentKilobytes() {
        const std::string status = readFile("/proc/" + std::to_string(daemon->process().id()) + "/status");
        return std::atol(status.c_str() + status.find("VmHWM:") + 6);
    }
};

TEST_F(HostileServersTest, OneThatHangsUpAtOnce) {
    expectSurvival([](int) {});
}

TEST_F(HostileServersTest, OneThatSendsGarbage) {
    expectSurvival([](int connection) { FakeServer::send(connection, "HTTP/1.1 400 Bad Request\r\n\r\n"); });
}

TEST_F(HostileServersTest, OneThatSendsBinaryGarbage) {
    std::string noise(5000, '\0');
    unsigned state = 1;
    for (char& byte : noise) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    expectSurvival([&](int connection) { FakeServer::send(connection, noise); });
}

TEST_F(HostileServersTest, OneThatEndsInTheMiddleOfAMessage) {
    expectSurvival(
        [](int connection) { FakeServer::send(connection, R"({"id":1,"error":null,"result":["Gat)"); });
}

TEST_F(HostileServersTest, OneThatSendsJsonThatIsNoMessage) {
    expectSurvival(
        [](int connection) {
            FakeServer::send(connection,
                             R"([]{}"text"{"id":{}}{"method":7,"params":{}}{"result":{},"id":1})");
            FakeServer::waitUntilClosed(connection);
        },
        2);
}

TEST_F(HostileServersTest, OneThatAnswersEveryRequestWithAnError) {
    expectSurvival([](int connection) {
        for (int id = 0; id < 50; ++id) {
            FakeServer::send(connection,
                             R"({"error":"unknown database","result":null,"id":)" + std::to_string(id) + "}");
        }
    });
}

TEST_F(HostileServersTest, OneThatNestsWithoutEnd) {
    expectSurvival([](int connection) { FakeServer::send(connection, std::string(3'000'000, '[')); }, 2);
}

TEST_F(HostileServersTest, OneThatSendsWithoutEndDoesNotDelayAStop) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can let so much wait that there is always more";
    }
    std::string notices;
    while (notices.size() < 1'000'000) {
        notices += R"({"id":null,"method":"locked","params":["x"]})";
    }
    std::atomic<int> rounds = 0;
    constexpr int end = 5000; // many times what is read until patience ends
    const FakeServer fake([&](int connection) {
        const int room = 50'000'000;
        setsockopt(connection, SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room);
        while (rounds < end && FakeServer::send(connection, notices)) {
            ++rounds;
        }
    });
    daemon.emplace();
    ASSERT_TRUE(eventually([&] { return rounds > 20; }));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_LT(rounds, end);
    EXPECT_EQ(outagesReported(), 0U) << ::testing::PrintToString(log.messages());
    rounds = end;
}

#ifndef E2E_SANITIZED // which need memory of their own
TEST_F(HostileServersTest, OneThatSendsAMessageThatIsTooLong) {
    const std::string chunk(1 << 20, 'x');
    long highest = 0;
    expectSurvival(
        [&](int connection) {
            FakeServer::send(connection, R"({"id":1,"error":null,"result":")");
            for (int megabyte = 0; megabyte < 80; ++megabyte) {
                FakeServer::send(connection, chunk);
            }
            highest = std::max(highest, residentKilobytes());
        },
        2);
    EXPECT_LT(highest, 200L * 1024) << "kB";
}
#endif

TEST_F(HostileServersTest, OneThatBelongsToAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can start a server as somebody else";
    }
    constexpr uid_t nobody = 65534;
    std::filesystem::remove("/tmp/theirs.db");
    ASSERT_EQ(run({"ovsdb-tool", "create", "/tmp/theirs.db", schemaFile()}).status, 0);
    ASSERT_EQ(run({"chown", "nobody", "/tmp/theirs.db", "/tmp/.theirs.db.~lock~"}).status, 0);
    Command command{{"ovsdb-server", "--remote=punix:" + std::string(serverSocket), "--unixctl=none",
                     "--no-chdir", "-vconsole:off", "-vsyslog:off", "/tmp/theirs.db"}};
    command.user = nobody;
    Process theirs(command);
    ASSERT_TRUE(eventually([&] {
        try {
            db.replaceAll(smallGateway());
            return true;
        } catch (const std::runtime_error&) { // the socket is there before anybody listens
            return false;
        }
    }));
    db.update(statusTable, internetRow, internetUp());

    daemon.emplace();
    ASSERT_TRUE(eventually([&] { return outagesReported() > 0; }));
    pause(Milliseconds(1200));
    EXPECT_EQ(outagesReported(), 1U);
    EXPECT_FALSE(log.has("info: initial startup in progress"));
    EXPECT_THAT(daemon->commands().all(), IsEmpty());

    theirs.signal(SIGKILL);
    theirs.wait();
    startServer(smallGateway());
    EXPECT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
}

} // namespace

} // namespace e2e
