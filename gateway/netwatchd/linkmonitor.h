// Follows the kernel's links and IPv4 addresses over rtnetlink.
#pragma once

#include "netwatchd/interfacetable.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct nl_sock;

namespace netwatchd {

// One socket hears the news, another reads the whole state. The news are subscribed to before the state is
// read and taken in after it, so that whatever happens meanwhile is seen: each object's last event comes
// last.
class LinkMonitor {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds reopenPause{500};

    // receiveBytes: size of the kernel's queue of news, 0 for the system's default.
    explicit LinkMonitor(int receiveBytes = 0);

    // -1 while there is no socket.
    int descriptor() const;
    // When process() has something to do without any news: a socket to open again.
    std::optional<Clock::time_point> deadline() const { return reopenAt_; }

    // Takes in all news that have come, without waiting. If the kernel had to drop some, or the socket is
    // lost, reads everything anew. Returns whether there was anything.
    bool process(Clock::time_point now);

    // Asks for all links now, without forgetting any. When an interface comes up, those that stand on it do
    // as well, but their news may come up to a second later: the kernel works them off once a second at most.
    void askForLinks();

    // Whether interfaces() is, up to news that are still to be taken in, what the kernel has.
    bool isComplete() const { return events_ != nullptr; }
    const InterfaceTable& interfaces() const { return table_; }

    // What went wrong since the last call, in words; empty if nothing did.
    std::string takeComplaint();

    // How often the whole state was read.
    unsigned readings() const { return readings_; }

  private:
    struct SocketCloser {
        void operator()(nl_sock* socket) const;
    };
    using Socket = std::unique_ptr<nl_sock, SocketCloser>;

    static Socket open();
    void subscribe();
    void readAll();
    void read(nl_sock* socket, int type, std::vector<KernelEvent>& events) const;
    bool reopen(Clock::time_point now);

    int receiveBytes_;
    Socket events_;
    std::optional<Clock::time_point> reopenAt_ = Clock::time_point::min();
    InterfaceTable table_;
    std::string complaint_;
    unsigned readings_ = 0;
};

} // namespace netwatchd
