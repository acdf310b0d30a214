#include "netwatchd/interfacetable.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <algorithm>

namespace netwatchd {

namespace {

// Interfaces above one another; two ends of a cable stand on each other.
constexpr int deepestStack = 8;

std::string toText(in_addr_t address) {
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

} // namespace

void InterfaceTable::apply(const KernelEvent& event) {
    std::visit([this](const auto& news) { take(news); }, event);
}

void InterfaceTable::take(const LinkSeen& link) {
    Interface& interface = interfaces_[link.index];
    if (link.up && (!interface.up || interface.name != link.name)) {
        interface.upPeriod = ++lastPeriod_;
    }
    if (interface.name != link.name) {
        for (Address& address : interface.addresses) {
            address.period = ++lastPeriod_;
        }
    }
    interface.name = link.name;
    interface.up = link.up;
    interface.loopback = link.loopback;
    interface.lower = link.lower;
}

void InterfaceTable::take(const LinkGone& link) {
    interfaces_.erase(link.index);
}

void InterfaceTable::take(const AddressSeen& seen) {
    std::vector<Address>& addresses = interfaces_[seen.index].addresses;
    const auto known = std::find_if(addresses.begin(), addresses.end(),
                                    [&](const Address& each) { return each.address.isSameAs(seen.address); });
    if (known != addresses.end()) {
        known->address = seen.address; // a renewed lease, or a secondary address that has become primary
    } else {
        addresses.push_back({seen.address, ++lastPeriod_});
    }
}

void InterfaceTable::take(const AddressGone& gone) {
    const auto interface = interfaces_.find(gone.index);
    if (interface != interfaces_.end()) {
        std::erase_if(interface->second.addresses,
                      [&](const Address& each) { return each.address.isSameAs(gone.address); });
    }
}

const InterfaceTable::Address* InterfaceTable::best(const Interface& interface) {
    const Address* found = nullptr;
    int foundRank = 0;
    for (const Address& each : interface.addresses) {
        int rank = 0; // highest wins, the first among equals
        if (each.address.scope == RT_SCOPE_UNIVERSE) {
            rank = each.address.secondary ? 2 : 3;
        } else if (interface.loopback && each.address.scope == RT_SCOPE_HOST) {
            rank = 1;
        }
        if (rank > foundRank) {
            found = &each;
            foundRank = rank;
        }
    }
    return found;
}

const InterfaceTable::Interface* InterfaceTable::find(const std::string& name) const {
    const auto entry = std::find_if(interfaces_.begin(), interfaces_.end(),
                                    [&](const auto& each) { return each.second.name == name; });
    return name.empty() || entry == interfaces_.end() ? nullptr : &entry->second;
}

Observation InterfaceTable::observe(const std::string& name) const {
    Observation observation;
    const Interface* interface = find(name);
    if (interface == nullptr) {
        return observation;
    }
    observation.up = interface->up;
    observation.upPeriod = interface->upPeriod;
    if (const Address* address = best(*interface)) {
        observation.address = toText(address->address.local);
        observation.addressPeriod = address->period;
    }
    return observation;
}

bool InterfaceTable::lagsBehind(const std::string& name, std::uint64_t period) const {
    const Interface* interface = find(name);
    if (interface == nullptr || interface->up) {
        return false;
    }
    for (int depth = 0; depth < deepestStack; ++depth) {
        const auto lower = interfaces_.find(interface->lower);
        if (lower == interfaces_.end()) {
            return false;
        }
        interface = &lower->second;
        if (interface->up && interface->upPeriod > period) {
            return true;
        }
    }
    return false;
}

} // namespace netwatchd
