// The interfaces of the gateway that a configuration is imported into.
#pragma once

#include "import/imported.h"

#include <map>
#include <string>
#include <vector>

namespace importers {

class Interfaces {
  public:
    // Rows of NetworkSetupNode and of StatusNetifWatchLogical in ascending Id. `chosen`: what the user said:
    // the file's word for an interface, and the logical interface that it is here.
    Interfaces(const std::vector<Json>& nodes, const std::vector<Json>& logicals,
               std::map<std::string, std::string> chosen);

    // Logical interfaces that have a Linux interface.
    const std::vector<std::string>& logicals() const { return logicals_; }
    bool has(const std::string& logical) const { return carriers_.count(logical) != 0; }

    // The Linux interface of one of these.
    const std::string& carrier(const std::string& logical) const { return carriers_.at(logical); }

    // What the user chose for that word; empty if nothing.
    std::string chosen(const std::string& word) const;

    // Logical interfaces on that Linux interface; if there are none, those whose stack it is part of.
    std::vector<std::string> on(const std::string& linuxName) const;

    // The WAN port below a Linux interface, which is where a shaper works; empty if there is none.
    std::string wanPort(const std::string& linuxName) const;

    static bool isProvider(const std::string& logical);

    // `"LocalLAN", "ProviderInternet"`, for messages.
    std::string describe() const;

  private:
    struct Node {
        std::string parent;
        bool isWanPort;
    };

    // From that interface down to its root, in the way of the daemon; ends early where the rows do.
    std::vector<std::string> stack(const std::string& linuxName) const;

    std::map<std::string, Node> nodes_;
    std::vector<std::string> logicals_;
    std::map<std::string, std::string> carriers_;
    std::map<std::string, std::string> chosen_;
};

} // namespace importers
