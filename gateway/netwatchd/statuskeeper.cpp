#include "netwatchd/statuskeeper.h"

#include <algorithm>

namespace netwatchd {

namespace {

constexpr const char* interfaceOff = "off";

bool namesInterface(const StatusRow& row) {
    return !row.interface.empty() && row.interface != interfaceOff;
}

} // namespace

std::vector<StatusUpdate> StatusKeeper::evaluate(const std::vector<StatusRow>& rows,
                                                 const InterfaceTable& interfaces, Clock::time_point now) {
    deadline_.reset();
    std::map<std::string, Interface> current;
    for (const StatusRow& row : rows) {
        if (!namesInterface(row) || current.count(row.interface) != 0) {
            continue;
        }
        const Observation seen = interfaces.observe(row.interface);
        const auto known = interfaces_.find(row.interface);
        Interface interface =
            known != interfaces_.end() ? known->second : firstSight(row.interface, rows, seen);
        advance(interface, seen, now);
        current.emplace(row.interface, std::move(interface));
    }
    interfaces_ = std::move(current);

    std::vector<StatusUpdate> updates;
    for (const StatusRow& row : rows) {
        if (!namesInterface(row)) {
            continue;
        }
        const Interface& interface = interfaces_.at(row.interface);
        StatusUpdate update{row, std::nullopt, std::nullopt};
        if (row.isUp != (interface.up ? 1 : 0)) {
            update.isUp = interface.up;
        }
        if (row.address != interface.address) {
            update.address = interface.address;
        }
        if (update.isUp || update.address) {
            updates.push_back(std::move(update));
        }
    }
    return updates;
}

StatusKeeper::Interface StatusKeeper::firstSight(const std::string& name, const std::vector<StatusRow>& rows,
                                                 const Observation& seen) {
    Interface interface;
    for (const StatusRow& row : rows) {
        if (row.interface == name) {
            interface.up = interface.up || (seen.up && row.isUp == 1);
            if (row.address == seen.address) {
                interface.address = seen.address;
            }
        }
    }
    return interface;
}

void StatusKeeper::advance(Interface& interface, const Observation& seen, Clock::time_point now) {
    if (interface.up || !seen.up) {
        interface.up = seen.up;
        interface.upWait.reset();
    } else {
        interface.up = hasLasted(interface.upWait, seen.upPeriod, now);
    }
    if (interface.address != noAddress || seen.address == noAddress) {
        interface.address = seen.address;
        interface.addressWait.reset();
    } else if (hasLasted(interface.addressWait, seen.addressPeriod, now)) {
        interface.address = seen.address;
    }
}

bool StatusKeeper::hasLasted(std::optional<Wait>& wait, std::uint64_t period, Clock::time_point now) {
    if (!wait || wait->period != period) {
        wait = Wait{period, now};
    }
    const Clock::time_point end = wait->since + holdDown_;
    if (now >= end) {
        wait.reset();
        return true;
    }
    deadline_ = deadline_ ? std::min(*deadline_, end) : end;
    return false;
}

} // namespace netwatchd
