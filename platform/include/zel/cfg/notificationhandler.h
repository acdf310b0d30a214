// The connection to the configuration server and its change notifications.
#pragma once

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/common/iconfigclient.h>
#include <zel/cfg/iconfighandler.h>

#include <memory>
#include <string>

namespace zel::cfg {

// A platform keeps these promises:
// - A server that is absent, slow, gone or talking nonsense never ends the program. Each outage is reported
//   once, the connection is taken up again by itself from the event loop.
// - The initial call of a handler (empty table name) happens inside the first process() after the database
//   can be read, and never again. After an outage every watched table counts as changed.
// - One transaction of the database gives, for each watched table that it changed and in watched order, one
//   checkConfigChange; processConfigChange follows directly if that returned true.
// - Reads see the state after the transaction that is being reported, and nothing newer.
class NotificationHandler {
  public:
    // `dispatcher` must outlive this object; `name` is how the program calls itself towards the server.
    // `answerSeconds` bounds the wait for one answer of the server, `reconnectMs` is the pause between two
    // attempts to connect. The three flags are part of the interface: whether the client may only read,
    // whether it connects again by itself after an outage, whether it traces its protocol. A platform may do
    // without the first and the last.
    NotificationHandler(const std::string& socketPath, basalt::net::EventDispatcher& dispatcher,
                        const std::string& name, bool readOnly, unsigned int answerSeconds,
                        unsigned int reconnectMs, bool reconnect, bool traceProtocol);
    NotificationHandler(const NotificationHandler&) = delete;
    NotificationHandler& operator=(const NotificationHandler&) = delete;
    ~NotificationHandler();

    // The handler is not owned and must stay alive until it is unregistered.
    void registerConfigHandler(IConfigHandler& handler);
    void unregisterConfigHandler(IConfigHandler& handler);

    // Starts to connect. False if the server cannot be reached now; connecting then goes on in the event
    // loop.
    bool initialize();

    // Takes in what the server has sent and calls the handlers. Call it when handleEvents() returned
    // non-zero.
    void process();

    // Valid as long as this object.
    const common::IConfigClient& getConfigClient() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace zel::cfg
