// The network interfaces as the kernel's events describe them.
#pragma once

#include "netwatchd/kernelevent.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace netwatchd {

inline constexpr const char* noAddress = "0.0.0.0";

// An interface at one moment. The two period numbers tell a state that has lasted from one that was lost
// and has come back: they are never the same twice.
struct Observation {
    bool up = false;
    std::uint64_t upPeriod = 0;
    std::string address = noAddress;
    std::uint64_t addressPeriod = 0;
};

class InterfaceTable {
  public:
    // The same event twice, or events older than what is known already, do no harm as long as the last
    // event of each interface and address comes last.
    void apply(const KernelEvent& event);

    // Forgets the interfaces. What is found again counts as new, for nobody knows what it did meanwhile.
    void clear() { interfaces_.clear(); }

    // What `name` is like now; an interface that does not exist is down and has no address. The address is
    // the first one of global scope, primary ones before secondary ones; on the loopback interface, whose own
    // has host scope, that one if there is no other.
    Observation observe(const std::string& name) const;

    // Whether `name` is down although something that it stands on has come up after that period.
    bool lagsBehind(const std::string& name, std::uint64_t period) const;
    // Number of the period that began last.
    std::uint64_t lastPeriod() const { return lastPeriod_; }

  private:
    struct Address {
        Ipv4Address address;
        std::uint64_t period = 0;
    };
    struct Interface {
        std::string name; // empty: only its addresses are known so far
        bool up = false;
        bool loopback = false;
        int lower = 0; // index
        std::uint64_t upPeriod = 0;
        std::vector<Address> addresses; // in order of arrival
    };

    void take(const LinkSeen& link);
    void take(const LinkGone& link);
    void take(const AddressSeen& seen);
    void take(const AddressGone& gone);
    const Interface* find(const std::string& name) const;
    static const Address* best(const Interface& interface);

    std::map<int, Interface> interfaces_; // by index: names change hands
    std::uint64_t lastPeriod_ = 0;
};

} // namespace netwatchd
