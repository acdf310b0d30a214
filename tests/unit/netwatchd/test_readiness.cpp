#include "netwatchd/readiness.h"
#include "ovsdb/uniquefd.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

class ReadinessTest : public ::testing::Test {
  protected:
    ReadinessTest() { unsetenv("NOTIFY_SOCKET"); }
    ~ReadinessTest() override { unsetenv("NOTIFY_SOCKET"); }

    // Listens at an abstract address, "@name" to the environment.
    static ovsdb::UniqueFd listenAt(const std::string& name) {
        ovsdb::UniqueFd manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path + 1, name.data(), name.size());
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        EXPECT_EQ(::bind(manager.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
        return manager;
    }
    static std::string receive(const ovsdb::UniqueFd& manager) {
        char text[64] = {};
        const ssize_t count = ::recv(manager.get(), text, sizeof text, 0);
        return count < 0 ? "nothing" : std::string(text, static_cast<std::size_t>(count));
    }
};

TEST_F(ReadinessTest, WithoutAServiceManagerNothingHappens) {
    EXPECT_EQ(netwatchd::announceReadiness(), "");
}

TEST_F(ReadinessTest, TheServiceManagerIsTold) {
    const std::string name = "netwatchd-test-" + std::to_string(getpid());
    const ovsdb::UniqueFd manager = listenAt(name);
    setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
    EXPECT_EQ(netwatchd::announceReadiness(), "");
    EXPECT_EQ(receive(manager), "READY=1");
}

TEST_F(ReadinessTest, AServiceManagerThatIsNotThereIsReported) {
    setenv("NOTIFY_SOCKET", "/nonexistent/notify", 1);
    EXPECT_EQ(netwatchd::announceReadiness(), "cannot tell the service manager: No such file or directory");
}

TEST_F(ReadinessTest, APathThatIsTooLongIsReported) {
    setenv("NOTIFY_SOCKET", ("/" + std::string(200, 'x')).c_str(), 1);
    EXPECT_EQ(netwatchd::announceReadiness(), "NOTIFY_SOCKET is too long");
}

} // namespace
