// Traffic control objects: requests that create and delete them, and what the kernel has. Kernel names and
// units are those of linux/pkt_sched.h.
#pragma once

#include "netlink.h"

#include <linux/gen_stats.h>
#include <linux/pkt_sched.h>

#include <cstdint>
#include <string>
#include <vector>

namespace fapi::tc {

constexpr uint32_t handleOf(uint32_t major, uint32_t minor) {
    return major << 16 | minor;
}
constexpr uint32_t majorOf(uint32_t handle) {
    return handle >> 16;
}
std::string textOf(uint32_t handle); // "fa91:10", as tc writes it

struct Counters {
    uint64_t bytes = 0;
    uint64_t packets = 0;
    uint32_t drops = 0;
    uint32_t backlogBytes = 0;
    uint32_t backlogPackets = 0;
};

struct HtbClass {
    uint64_t rate = 0;    // bytes/s
    uint32_t buffer = 0;  // ticks of 64 ns: how long the saved-up burst may be sent at `rate`
    uint64_t ceil = 0;    // bytes/s
    uint32_t cbuffer = 0; // ticks, of the ceil
    uint32_t quantum = 0; // bytes
    uint32_t prio = 0;    // 0 (first) to 7
    bool operator==(const HtbClass&) const = default;
};
constexpr uint32_t ticksOf(uint64_t nanoseconds) {
    return static_cast<uint32_t>(nanoseconds >> 6);
}

struct Qdisc {
    int index = 0; // interface
    uint32_t handle = 0;
    uint32_t parent = 0;
    std::string kind;
    uint32_t limit = 0; // of a pfifo: packets; of a red: bytes
    Counters counters;
};

struct Class {
    uint32_t handle = 0;
    uint32_t parent = 0;
    std::string kind;
    HtbClass htb;
    Counters counters;
};

struct Filter {
    uint32_t parent = 0;
    uint32_t handle = 0;
    uint16_t pref = 0;
    std::string kind;
    uint32_t programId = 0; // of a bpf filter
};

std::vector<Qdisc> qdiscs(nl::Socket& socket); // of all interfaces
std::vector<Class> classes(nl::Socket& socket, int index);
std::vector<Filter> filters(nl::Socket& socket, int index, uint32_t parent);

struct RedLimits {
    uint32_t packets; // queue length
    uint32_t frame;   // bytes of a full frame
};

// Requests. `replace` takes the place of what hangs there, otherwise it must be free.
void addHtb(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, uint32_t defaultMinor,
            bool replace);
void setClass(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, const HtbClass& htb,
              bool exists);
// A queue that never delays and whose only work is to cut segmentation-offload frames into packets of `frame`
// bytes.
void addCutter(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, uint32_t frame, bool exists);
void addFifo(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, uint32_t packets);
void addRed(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, const RedLimits& limits);
void addClsact(nl::Batch& batch, int index);
struct BpfFilter {
    uint32_t parent;
    uint16_t pref;
    int program;    // descriptor; the program answers 0 for "not mine", a class id, or -1
    int redirectTo; // index of the interface to which matching packets are sent, 0 for none
};
void setFilter(nl::Batch& batch, int index,
               const BpfFilter& filter); // new or in place of the one with this pref
void deleteFilter(nl::Batch& batch, int index, uint32_t parent, uint16_t pref);
void deleteQdisc(nl::Batch& batch, int index, uint32_t parent, uint32_t handle);
void deleteClass(nl::Batch& batch, int index, uint32_t handle);

} // namespace fapi::tc
