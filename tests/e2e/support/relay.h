// Stands between the daemon and a running server, and stops in the middle of what the server says.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

namespace e2e {

// Takes the server's place at its socket until it is destroyed; then the server is there again. Connections
// that are there already stay with the server. The daemon's requests are always passed on.
class Relay {
  public:
    Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;
    ~Relay();

    // From the next connection on: passes on that many messages of the server, and of the next one the first
    // half if `half`, and then nothing more until resume().
    void stopAfter(int messages, bool half);

    // Whether that message of the server has come, and with `half` its first half has been passed on.
    bool waitUntilStopped() const;

    void resume(); // everything from here on passes
    void cut();    // closes the connection where it stands; the next one passes whole

  private:
    void listen();
    void serve(int daemon, int server);

    int socket_;
    std::atomic<int> messages_ = -1; // -1: no stop
    std::atomic<bool> half_ = false;
    std::atomic<bool> stopped_ = false;
    std::atomic<bool> cut_ = false;
    std::atomic<bool> end_ = false;
    std::thread thread_;
};

} // namespace e2e
