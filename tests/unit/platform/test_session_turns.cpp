#include "fakeserver.h"
#include "ovsdb/session.h"
#include "platformtest.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <future>
#include <ostream>

namespace zel::test {

namespace {

using ovsdb::Session;
using ovsdb::TransactResult;

struct Much {
    const char* name;
    std::string bytes; // again and again
};

std::ostream& operator<<(std::ostream& out, const Much& much) {
    return out << much.name;
}

// Whoever calls process() has other things to do, such as to stop. A server that always has more to send must
// not keep him.
class MuchAtOnce : public testing::TestWithParam<Much> {
  protected:
    // Bytes that wait in the socket.
    int unread() const {
        int count = 0;
        EXPECT_EQ(::ioctl(session->descriptor(), FIONREAD, &count), 0);
        return count;
    }

    Sandbox sandbox;
    std::string path = sandbox / "s";
    ovsdb::SessionObserver observer;
    std::optional<Session> session;
};

TEST_P(MuchAtOnce, is_taken_in_parts) {
    constexpr int much = 4'000'000; // bytes
    std::string bytes = GetParam().bytes;
    while (bytes.size() < much) {
        bytes += bytes;
    }
    enum class Sender { ready, notRoot };
    std::promise<Sender> sender;
    const FakeServer server(path, [&](FakePeer& peer, int) {
        const bool room = peer.makeRoom(4 * much);
        peer.answerSchema(Json::parse(R"({"name": "Db", "tables": {"T": {"columns": {}}}})"));
        peer.answerMonitor();
        sender.set_value(room && peer.send(bytes) ? Sender::ready : Sender::notRoot);
        peer.sleepUntilClosed();
    });
    session.emplace(ovsdb::SessionOptions{.socketPath = path, .database = "Db", .tables = {"T"}, .guard = {}},
                    observer);
    ASSERT_EQ(session->waitForSnapshot(std::chrono::seconds(30)), TransactResult::Status::answered);
    std::future<Sender> sent = sender.get_future();
    ASSERT_EQ(sent.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    if (sent.get() == Sender::notRoot) {
        GTEST_SKIP() << "only root can let so much wait";
    }
    const int before = unread();
    for (int turn = 0; turn < 3; ++turn) { // the first may take what was read with the tables
        session->process();
    }
    EXPECT_LT(unread(), before);
    EXPECT_GT(unread(), before - 1'500'000);
    session.reset();
}

INSTANTIATE_TEST_SUITE_P(Kind, MuchAtOnce,
                         testing::Values(Much{"messages",
                                              R"({"id": null, "method": "locked", "params": ["x"]})"},
                                         Much{"one message", R"({"id": ")" + std::string(4'000'000, 'x')}));

} // namespace

} // namespace zel::test
