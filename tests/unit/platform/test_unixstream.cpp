#include "fakeserver.h"
#include "ovsdb/unixstream.h"
#include "platformtest.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>

namespace zel::test {

namespace {

using ovsdb::UnixStream;
using Connect = UnixStream::Connect;
using Receive = UnixStream::Receive;

const std::vector<uid_t> me = {::geteuid()};

bool waitFor(const UnixStream& stream, short events) {
    pollfd polled = {stream.descriptor(), events, 0};
    return ::poll(&polled, 1, 30'000) == 1;
}

TEST(UnixStream, says_why_there_is_no_connection) {
    const Sandbox sandbox;
    UnixStream stream;
    EXPECT_EQ(stream.connect(sandbox / "nothing", me), Connect::unreachable);
    EXPECT_EQ(stream.lastError(), "No such file or directory");
    EXPECT_FALSE(stream.isOpen());
    EXPECT_EQ(stream.descriptor(), -1);
    EXPECT_EQ(stream.connect(sandbox / std::string(200, 'x'), me), Connect::unreachable);
    EXPECT_EQ(stream.lastError(), "File name too long");
    {
        const FakeServer server(sandbox / "gone", [](FakePeer&, int) {});
    }
    ASSERT_EQ(::mknod((sandbox / "file").c_str(), S_IFREG | 0600, 0), 0);
    EXPECT_EQ(stream.connect(sandbox / "file", me), Connect::unreachable);
    EXPECT_EQ(stream.lastError(), "Connection refused");
}

TEST(UnixStream, never_blocks_and_is_not_inherited) {
    const Sandbox sandbox;
    const FakeServer server(sandbox / "s", [](FakePeer& peer, int) { peer.waitUntilClosed(); });
    UnixStream stream;
    ASSERT_EQ(stream.connect(sandbox / "s", me), Connect::connected);
    EXPECT_TRUE(stream.isOpen());
    EXPECT_NE(::fcntl(stream.descriptor(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(stream.descriptor(), F_GETFL) & O_NONBLOCK, 0);
    std::string bytes;
    EXPECT_EQ(stream.receive(bytes, 100), Receive::nothingYet);
}

TEST(UnixStream, refuses_a_peer_that_nobody_trusts) {
    const Sandbox sandbox;
    const FakeServer server(sandbox / "s", [](FakePeer& peer, int) { peer.waitUntilClosed(); });
    UnixStream stream;
    EXPECT_EQ(stream.connect(sandbox / "s", {::geteuid() + 1, ::geteuid() + 2}), Connect::foreignPeer);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_EQ(stream.lastError(),
              "the socket belongs to user " + std::to_string(::geteuid()) + ", who is not trusted");
}

TEST(UnixStream, follows_a_link_but_still_looks_at_the_peer) {
    const Sandbox sandbox;
    const FakeServer server(sandbox / "s", [](FakePeer& peer, int) { peer.waitUntilClosed(); });
    std::filesystem::create_symlink(sandbox / "s", sandbox / "link");
    UnixStream stream;
    EXPECT_EQ(stream.connect(sandbox / "link", {::geteuid() + 1}), Connect::foreignPeer);
}

TEST(UnixStream, receives_what_was_sent_and_then_the_end) {
    const Sandbox sandbox;
    const FakeServer server(sandbox / "s", [](FakePeer& peer, int) { peer.send("hello"); });
    UnixStream stream;
    ASSERT_EQ(stream.connect(sandbox / "s", me), Connect::connected);
    std::string bytes = ">";
    ASSERT_TRUE(waitFor(stream, POLLIN));
    EXPECT_EQ(stream.receive(bytes, 3), Receive::data);
    EXPECT_EQ(bytes, ">hel") << "no more than asked for, behind what is there";
    EXPECT_EQ(stream.receive(bytes, 100), Receive::data);
    EXPECT_EQ(bytes, ">hello");
    ASSERT_TRUE(waitFor(stream, POLLIN));
    EXPECT_EQ(stream.receive(bytes, 100), Receive::closed);
    EXPECT_EQ(stream.lastError(), "closed by the server");
}

TEST(UnixStream, keeps_what_the_socket_does_not_take_now) {
    const Sandbox sandbox;
    std::atomic<bool> mayRead = false;
    std::atomic<bool> whole = false;
    const std::string text = "{\"a\":\"" + std::string(1'000'000, 'x') + "\"}";
    const FakeServer server(sandbox / "s", [&](FakePeer& peer, int) {
        while (!mayRead) {
            ::usleep(1000);
        }
        const auto message = peer.read();
        whole = message && message->dump() == text;
    });
    UnixStream stream;
    ASSERT_EQ(stream.connect(sandbox / "s", me), Connect::connected);
    stream.send(text);
    EXPECT_GT(stream.unsentBytes(), 0U);
    mayRead = true;
    while (stream.unsentBytes() != 0) {
        ASSERT_TRUE(waitFor(stream, POLLOUT));
        ASSERT_TRUE(stream.flush());
    }
    ASSERT_TRUE(waitFor(stream, POLLIN)); // closed: the script is through
    EXPECT_TRUE(whole);
}

// Without MSG_NOSIGNAL this test would end the test program.
TEST(UnixStream, sending_to_a_server_that_has_gone_is_no_more_than_an_error) {
    const Sandbox sandbox;
    const FakeServer server(sandbox / "s", [](FakePeer&, int) {});
    UnixStream stream;
    ASSERT_EQ(stream.connect(sandbox / "s", me), Connect::connected);
    ASSERT_TRUE(waitFor(stream, POLLIN));
    stream.send("{}");
    EXPECT_FALSE(stream.flush());
    EXPECT_EQ(stream.lastError(), "Broken pipe");
}

} // namespace

} // namespace zel::test
