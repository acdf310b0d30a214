#include "tc.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_mirred.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace fapi::tc {

namespace {

constexpr uint8_t linklayerEthernet = TC_LINKLAYER_ETHERNET; // spares the kernel the obsolete rate tables

tcmsg message(int index, uint32_t parent, uint32_t handle) {
    tcmsg request{};
    request.tcm_family = AF_UNSPEC;
    request.tcm_ifindex = index;
    request.tcm_parent = parent;
    request.tcm_handle = handle;
    return request;
}

tc_ratespec rateSpec(uint64_t bytesPerSecond) {
    tc_ratespec spec{};
    spec.linklayer = linklayerEthernet;
    spec.rate = static_cast<uint32_t>(std::min<uint64_t>(bytesPerSecond, UINT32_MAX));
    return spec;
}

Counters countersOf(const nl::Attributes& attributes) {
    Counters counters;
    const nl::Attributes stats = attributes.nested(TCA_STATS2);
    gnet_stats_basic basic{};
    if (stats.get(TCA_STATS_BASIC, basic)) {
        counters.bytes = basic.bytes;
        counters.packets = basic.packets;
    }
    stats.get(TCA_STATS_PKT64, counters.packets);
    gnet_stats_queue queue{};
    if (stats.get(TCA_STATS_QUEUE, queue)) {
        counters.drops = queue.drops;
        counters.backlogBytes = queue.backlog;
        counters.backlogPackets = queue.qlen;
    }
    return counters;
}

HtbClass htbOf(const nl::Attributes& options) {
    HtbClass htb;
    tc_htb_opt opt{};
    if (options.get(TCA_HTB_PARMS, opt)) {
        htb = {opt.rate.rate, opt.buffer, opt.ceil.rate, opt.cbuffer, opt.quantum, opt.prio};
    }
    options.get(TCA_HTB_RATE64, htb.rate);
    options.get(TCA_HTB_CEIL64, htb.ceil);
    return htb;
}

template <typename Take>
std::optional<nl::KernelError> tryDump(nl::Socket& socket, uint16_t type, const tcmsg& request,
                                       const Take& take) {
    nl::Batch batch;
    batch.begin(type, NLM_F_DUMP, "traffic control listing");
    batch.body(request);
    return socket.tryAsk(batch, [&](const nlmsghdr&, const char* body, size_t size) {
        tcmsg answer{};
        memcpy(&answer, body, sizeof answer);
        take(answer, nl::Attributes(body + NLMSG_ALIGN(sizeof answer), size - NLMSG_ALIGN(sizeof answer)));
    });
}

template <typename Take>
void dump(nl::Socket& socket, uint16_t type, const tcmsg& request, const Take& take) {
    const std::optional<nl::KernelError> failure = tryDump(socket, type, request, take);
    if (failure) {
        throw nl::KernelError(*failure);
    }
}

void beginQdisc(nl::Batch& batch, const char* kind, int index, uint32_t parent, uint32_t handle,
                uint16_t flags) {
    batch.begin(RTM_NEWQDISC, flags, std::string("creating the ") + kind + " qdisc " + textOf(handle));
    batch.body(message(index, parent, handle));
    batch.putText(TCA_KIND, kind);
}

} // namespace

std::string textOf(uint32_t handle) {
    std::array<char, 16> text{};
    if ((handle & 0xffff) != 0) {
        (void)snprintf(text.data(), text.size(), "%x:%x", majorOf(handle), handle & 0xffff);
    } else {
        (void)snprintf(text.data(), text.size(), "%x:", majorOf(handle));
    }
    return text.data();
}

std::vector<Qdisc> qdiscs(nl::Socket& socket) {
    std::vector<Qdisc> found;
    dump(socket, RTM_GETQDISC, message(0, 0, 0), [&](const tcmsg& answer, const nl::Attributes& attributes) {
        Qdisc qdisc{answer.tcm_ifindex,    answer.tcm_handle, answer.tcm_parent, attributes.text(TCA_KIND), 0,
                    countersOf(attributes)};
        if (qdisc.kind == "pfifo") {
            attributes.get(TCA_OPTIONS, qdisc.limit);
        } else if (qdisc.kind == "red") {
            attributes.nested(TCA_OPTIONS).get(TCA_RED_PARMS, qdisc.limit);
        }
        found.push_back(std::move(qdisc));
    });
    return found;
}

std::vector<Class> classes(nl::Socket& socket, int index) {
    std::vector<Class> found;
    dump(socket, RTM_GETTCLASS, message(index, 0, 0),
         [&](const tcmsg& answer, const nl::Attributes& attributes) {
             found.push_back({answer.tcm_handle, answer.tcm_parent, attributes.text(TCA_KIND),
                              htbOf(attributes.nested(TCA_OPTIONS)), countersOf(attributes)});
         });
    return found;
}

std::vector<Filter> filters(nl::Socket& socket, int index, uint32_t parent) {
    std::vector<Filter> found;
    if (tryDump(socket, RTM_GETTFILTER, message(index, parent, 0),
                [&](const tcmsg& answer, const nl::Attributes& attributes) {
                    Filter filter{answer.tcm_parent, answer.tcm_handle,
                                  static_cast<uint16_t>(TC_H_MAJ(answer.tcm_info) >> 16),
                                  attributes.text(TCA_KIND), 0};
                    if (filter.kind == "bpf") {
                        attributes.nested(TCA_OPTIONS).get(TCA_BPF_ID, filter.programId);
                    }
                    found.push_back(std::move(filter));
                })) {
        found.clear(); // the qdisc that would hold them is not there
    }
    return found;
}

void addHtb(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, uint32_t defaultMinor,
            bool replace) {
    beginQdisc(batch, "htb", index, parent, handle,
               static_cast<uint16_t>(NLM_F_CREATE | (replace ? NLM_F_REPLACE : NLM_F_EXCL)));
    const size_t options = batch.nest(TCA_OPTIONS);
    tc_htb_glob glob{};
    glob.version = 3; // of the HTB interface, not of anything here
    glob.rate2quantum = 10;
    glob.defcls = defaultMinor;
    batch.put(TCA_HTB_INIT, glob);
    batch.close(options);
}

void setClass(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, const HtbClass& htb,
              bool exists) {
    batch.begin(RTM_NEWTCLASS, exists ? uint16_t{0} : static_cast<uint16_t>(NLM_F_CREATE | NLM_F_EXCL),
                "setting the htb class " + textOf(handle));
    batch.body(message(index, parent, handle));
    batch.putText(TCA_KIND, "htb");
    const size_t options = batch.nest(TCA_OPTIONS);
    tc_htb_opt opt{};
    opt.rate = rateSpec(htb.rate);
    opt.ceil = rateSpec(htb.ceil);
    opt.buffer = htb.buffer;
    opt.cbuffer = htb.cbuffer;
    opt.quantum = htb.quantum;
    opt.prio = htb.prio;
    batch.put(TCA_HTB_PARMS, opt);
    if (htb.rate > UINT32_MAX) {
        batch.put(TCA_HTB_RATE64, htb.rate);
    }
    if (htb.ceil > UINT32_MAX) {
        batch.put(TCA_HTB_CEIL64, htb.ceil);
    }
    batch.close(options);
}

void addCutter(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, uint32_t frame, bool exists) {
    beginQdisc(batch, "tbf", index, parent, handle,
               static_cast<uint16_t>(exists ? 0 : NLM_F_CREATE | NLM_F_EXCL));
    const size_t options = batch.nest(TCA_OPTIONS);
    // At 10^15 bytes/s every packet costs less than the kernel's nanosecond, so the bucket is never empty and
    // the qdisc never makes its parent wait.
    constexpr uint64_t beyondCounting = 1'000'000'000'000'000;
    tc_tbf_qopt opt{};
    opt.rate = rateSpec(beyondCounting);
    opt.limit = 1024 * frame; // of the kernel's first child, until our own takes its place
    batch.put(TCA_TBF_PARMS, opt);
    batch.put(TCA_TBF_RATE64, beyondCounting);
    batch.put(TCA_TBF_BURST, frame);
    batch.close(options);
}

void addFifo(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, uint32_t packets) {
    beginQdisc(batch, "pfifo", index, parent, handle, NLM_F_CREATE | NLM_F_REPLACE);
    batch.put(TCA_OPTIONS, tc_fifo_qopt{packets});
}

void addRed(nl::Batch& batch, int index, uint32_t parent, uint32_t handle, const RedLimits& limits) {
    beginQdisc(batch, "red", index, parent, handle, NLM_F_CREATE | NLM_F_REPLACE);
    const size_t options = batch.nest(TCA_OPTIONS);
    // Floyd and Jacobson: maximum threshold three times the minimum, at most one packet in ten dropped
    // between them, average over about as many packets as the minimum holds (weight 2^-Wlog).
    tc_red_qopt opt{};
    opt.limit = limits.packets * limits.frame;
    opt.qth_max = std::max(opt.limit / 2, 4 * limits.frame);
    opt.qth_min = std::max(opt.qth_max / 3, limits.frame);
    const double span = opt.qth_max - opt.qth_min;
    constexpr double dropProbability = 0.1;
    // The kernel wants log2 of span / probability, and of the averaging weight.
    opt.Plog = static_cast<uint8_t>(std::clamp(std::lround(std::log2(span / dropProbability)), 1L, 31L));
    opt.Wlog = static_cast<uint8_t>(std::clamp(
        std::lround(std::log2(1.0 + static_cast<double>(opt.qth_min) / limits.frame)) + 1, 1L, 31L));
    opt.Scell_log = 10; // idle time is counted in units of 2^10 ticks
    batch.put(TCA_RED_PARMS, opt);
    std::array<uint8_t, 256> idleDamping{};
    for (size_t i = 0; i < idleDamping.size(); ++i) {
        // Shift of the average after i units of idle time, each worth one packet.
        idleDamping[i] =
            static_cast<uint8_t>(std::min<size_t>(31, (i + (size_t{1} << opt.Wlog) - 1) >> opt.Wlog));
    }
    batch.put(TCA_RED_STAB, idleDamping);
    const double probability = dropProbability * std::pow(2.0, 32.0) / span;
    batch.put(TCA_RED_MAX_P, static_cast<uint32_t>(std::min(probability, 4294967295.0)));
    batch.close(options);
}

void addClsact(nl::Batch& batch, int index) {
    beginQdisc(batch, "clsact", index, TC_H_CLSACT, handleOf(0xffff, 0), NLM_F_CREATE | NLM_F_EXCL);
}

void setFilter(nl::Batch& batch, int index, const BpfFilter& filter) {
    batch.begin(RTM_NEWTFILTER, NLM_F_CREATE, "attaching a kernel program");
    tcmsg request = message(index, filter.parent, 1);
    request.tcm_info = TC_H_MAKE(static_cast<uint32_t>(filter.pref) << 16, htons(ETH_P_ALL));
    batch.body(request);
    batch.putText(TCA_KIND, "bpf");
    const size_t options = batch.nest(TCA_OPTIONS);
    if (filter.redirectTo != 0) {
        const size_t actions = batch.nest(TCA_BPF_ACT);
        const size_t first = batch.nest(1);
        batch.putText(TCA_ACT_KIND, "mirred");
        const size_t mirred = batch.nest(TCA_ACT_OPTIONS);
        tc_mirred parameters{};
        parameters.action = TC_ACT_STOLEN;
        parameters.eaction = TCA_EGRESS_REDIR;
        parameters.ifindex = static_cast<uint32_t>(filter.redirectTo);
        batch.put(TCA_MIRRED_PARMS, parameters);
        batch.close(mirred);
        batch.close(first);
        batch.close(actions);
    }
    batch.put(TCA_BPF_FD, static_cast<uint32_t>(filter.program));
    batch.putText(TCA_BPF_NAME, "fapi");
    batch.close(options);
}

void deleteFilter(nl::Batch& batch, int index, uint32_t parent, uint16_t pref) {
    batch.begin(RTM_DELTFILTER, 0, "detaching a kernel program");
    tcmsg request = message(index, parent, 0);
    request.tcm_info = TC_H_MAKE(static_cast<uint32_t>(pref) << 16, htons(ETH_P_ALL));
    batch.body(request);
}

void deleteQdisc(nl::Batch& batch, int index, uint32_t parent, uint32_t handle) {
    batch.begin(RTM_DELQDISC, 0, "deleting the qdisc " + textOf(handle));
    batch.body(message(index, parent, handle));
}

void deleteClass(nl::Batch& batch, int index, uint32_t handle) {
    batch.begin(RTM_DELTCLASS, 0, "deleting the class " + textOf(handle));
    batch.body(message(index, 0, handle));
}

} // namespace fapi::tc
