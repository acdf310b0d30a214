// Decides what the status rows should say.
#pragma once

#include "netwatchd/interfacetable.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace netwatchd {

// A row of StatusNetifWatchLogical.
struct StatusRow {
    std::string uuid;
    std::string name;      // ProviderInternet
    std::string interface; // ppp0, or "off"
    long long isUp = 0;
    std::string address;
};

// What has to be written into a row. Only what differs is there.
struct StatusUpdate {
    StatusRow row;
    std::optional<bool> isUp;
    std::optional<std::string> address;
};

// What gets worse counts at once: an interface that goes down, an address that is lost. What gets better,
// from down to up or from no address to one, counts only after it has lasted for the hold-down time without a
// break. One address in place of another counts at once.
//
// An interface that is looked at for the first time (at the start, or when a row begins to name it) and that
// its row already calls up is taken to have been up all the time: a restart of this program must not take a
// working WAN down.
class StatusKeeper {
  public:
    using Clock = std::chrono::steady_clock;

    explicit StatusKeeper(std::chrono::milliseconds holdDown) : holdDown_(holdDown) {}

    std::vector<StatusUpdate> evaluate(const std::vector<StatusRow>& rows, const InterfaceTable& interfaces,
                                       Clock::time_point now);

    // When something that is held back now will count, if nothing happens until then.
    std::optional<Clock::time_point> deadline() const { return deadline_; }

  private:
    // Something that has got better and has to last.
    struct Wait {
        std::uint64_t period;
        Clock::time_point since;
    };
    struct Interface {
        bool up = false;
        std::string address = noAddress;
        std::optional<Wait> upWait;
        std::optional<Wait> addressWait;
    };

    static Interface firstSight(const std::string& name, const std::vector<StatusRow>& rows,
                                const Observation& seen);
    void advance(Interface& interface, const Observation& seen, Clock::time_point now);
    bool hasLasted(std::optional<Wait>& wait, std::uint64_t period, Clock::time_point now);

    std::chrono::milliseconds holdDown_;
    std::map<std::string, Interface> interfaces_; // that rows name
    std::optional<Clock::time_point> deadline_;
};

} // namespace netwatchd
