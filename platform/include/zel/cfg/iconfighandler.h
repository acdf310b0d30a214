// What a program implements to hear of configuration changes.
#pragma once

#include <zel/cfg/common/iconfigclient.h>

#include <list>
#include <string>

namespace zel::cfg {

// Called by the NotificationHandler, only from inside its process(), on the caller's thread.
class IConfigHandler {
  public:
    IConfigHandler() = default;
    IConfigHandler(const IConfigHandler&) = default;
    IConfigHandler& operator=(const IConfigHandler&) = default;
    virtual ~IConfigHandler() = default;

    // Appends the names of the tables to hear of. Asked once, at registration.
    virtual void getWatchedTables(std::list<std::string>& tables) = 0;

    // `table` has changed; an empty name marks the one initial call, made when the database can be read for
    // the first time. Returns whether there is something to process.
    virtual bool checkConfigChange(const common::IConfigClient& client, const std::string& table) = 0;

    // Follows a checkConfigChange that returned true, with nothing in between.
    virtual void processConfigChange(const common::IConfigClient& client) = 0;
};

} // namespace zel::cfg
