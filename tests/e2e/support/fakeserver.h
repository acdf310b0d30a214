// Something that listens at the configuration server's socket and is none.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace e2e {

class FakeServer {
  public:
    // `serve` is called with each connection, one after the other, on a thread of its own; the connection is
    // closed when it returns.
    explicit FakeServer(std::function<void(int connection)> serve);
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;
    ~FakeServer();

    int connections() const { return connections_; }

    // Returns false, and early, if the other side has gone.
    static bool send(int connection, const std::string& text);
    static void waitUntilClosed(int connection);

  private:
    void listen();

    std::function<void(int)> serve_;
    int socket_;
    std::atomic<bool> stop_ = false;
    std::atomic<int> connections_ = 0;
    std::thread thread_;
};

} // namespace e2e
