#include "netwatchd/linkmonitor.h"

#include <linux/rtnetlink.h>
#include <netlink/errno.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>

#include <stdexcept>
#include <utility>

namespace netwatchd {

namespace {

// The kernel marks a reading during which something changed; the news would mend it, but a whole one is as
// cheap. A system that never holds still is read as well as it can be.
constexpr int readingAttempts = 5;

class NetlinkError : public std::runtime_error {
  public:
    NetlinkError(const char* what, int libraryCode)
        : std::runtime_error(std::string(what) + ": " + nl_geterror(libraryCode)), code(libraryCode) {}
    int code;
};

void check(int result, const char* what) {
    if (result < 0) {
        throw NetlinkError(what, result);
    }
}

// News that are taken in at a time, so that an endless stream of them does not keep the loop from writing.
constexpr int datagramsPerTurn = 256;

int collect(nl_msg* message, void* target) {
    constexpr unsigned kernel = 0; // other processes with the right to may send to this socket as well
    if (nlmsg_get_src(message)->nl_pid != kernel) {
        return NL_SKIP;
    }
    if (const auto event = parseKernelEvent(*nlmsg_hdr(message))) {
        static_cast<std::vector<KernelEvent>*>(target)->push_back(*event);
    }
    return NL_OK;
}

void collectInto(nl_sock* socket, std::vector<KernelEvent>& events) {
    nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, collect, &events);
}

} // namespace

void LinkMonitor::SocketCloser::operator()(nl_sock* socket) const {
    nl_socket_free(socket);
}

LinkMonitor::LinkMonitor(int receiveBytes) : receiveBytes_(receiveBytes) {}

int LinkMonitor::descriptor() const {
    return events_ != nullptr ? nl_socket_get_fd(events_.get()) : -1;
}

LinkMonitor::Socket LinkMonitor::open() {
    Socket socket(nl_socket_alloc());
    if (socket == nullptr) {
        throw NetlinkError("cannot open a netlink socket", -NLE_NOMEM);
    }
    check(nl_connect(socket.get(), NETLINK_ROUTE), "cannot open a netlink socket");
    return socket;
}

void LinkMonitor::subscribe() {
    events_ = open();
    nl_sock* socket = events_.get();
    nl_socket_disable_seq_check(socket); // news answer no request
    if (receiveBytes_ > 0) {
        check(nl_socket_set_buffer_size(socket, receiveBytes_, 0), "cannot set the receive buffer");
    }
    check(nl_socket_set_nonblocking(socket), "cannot make the netlink socket non-blocking");
    check(nl_socket_add_memberships(socket, RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_NONE),
          "cannot subscribe to link and address news");
}

void LinkMonitor::read(nl_sock* socket, int type, std::vector<KernelEvent>& events) const {
    for (int attempt = 1;; ++attempt) {
        std::vector<KernelEvent> found;
        collectInto(socket, found);
        rtgenmsg request = {};
        request.rtgen_family = static_cast<unsigned char>(type == RTM_GETADDR ? AF_INET : AF_UNSPEC);
        check(nl_send_simple(socket, type, NLM_F_DUMP, &request, sizeof request), "cannot ask the kernel");
        const int result = nl_recvmsgs_default(socket);
        if (result >= 0 || (result == -NLE_DUMP_INTR && attempt >= readingAttempts)) {
            events.insert(events.end(), found.begin(), found.end());
            return;
        }
        if (result != -NLE_DUMP_INTR) {
            throw NetlinkError("cannot read the interfaces", result);
        }
    }
}

void LinkMonitor::readAll() {
    const Socket socket = open();
    std::vector<KernelEvent> events;
    read(socket.get(), RTM_GETLINK, events);
    read(socket.get(), RTM_GETADDR, events);
    table_.clear();
    for (const KernelEvent& event : events) {
        table_.apply(event);
    }
    ++readings_;
}

void LinkMonitor::askForLinks() {
    try {
        std::vector<KernelEvent> events;
        read(open().get(), RTM_GETLINK, events);
        for (const KernelEvent& event : events) {
            table_.apply(event);
        }
    } catch (const NetlinkError& error) {
        complaint_ = error.what(); // the news will come
    }
}

bool LinkMonitor::reopen(Clock::time_point now) {
    if (!reopenAt_ || now < *reopenAt_) {
        return false;
    }
    subscribe();
    readAll();
    reopenAt_.reset();
    return true;
}

bool LinkMonitor::process(Clock::time_point now) {
    bool anything = false;
    try {
        anything = reopen(now);
        for (int turn = 0; events_ != nullptr && turn < datagramsPerTurn; ++turn) {
            std::vector<KernelEvent> events;
            collectInto(events_.get(), events);
            const int result = nl_recvmsgs_default(events_.get());
            for (const KernelEvent& event : events) {
                table_.apply(event);
                anything = true;
            }
            if (result == -NLE_AGAIN) {
                break;
            }
            if (result == -NLE_NOMEM) { // ENOBUFS: the queue of news was full
                complaint_ = "news from the kernel were lost, reading all interfaces anew";
                // What is still queued is older than what was dropped; only a new socket's news follow a
                // reading.
                subscribe();
                readAll();
                return true;
            }
            if (result < 0) {
                throw NetlinkError("cannot receive from the kernel", result);
            }
        }
    } catch (const NetlinkError& error) {
        complaint_ = error.what();
        events_.reset();
        reopenAt_ = now + reopenPause;
    }
    return anything;
}

std::string LinkMonitor::takeComplaint() {
    return std::exchange(complaint_, {});
}

} // namespace netwatchd
