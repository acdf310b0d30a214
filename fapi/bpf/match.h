/* Does a rule match a packet? The kernel's programs, the tests and whoever wants to explain a verdict share
 * this one answer. */
#pragma once

#include "layout.h"

static inline __attribute__((always_inline)) int fapi_same_address(const __u32* has, const __u32* wanted,
                                                                   const __u32* mask) {
    return (((has[0] ^ wanted[0]) & mask[0]) | ((has[1] ^ wanted[1]) & mask[1]) |
            ((has[2] ^ wanted[2]) & mask[2]) | ((has[3] ^ wanted[3]) & mask[3])) == 0;
}

static inline __attribute__((always_inline)) int fapi_matches(const struct fapi_rule* rule,
                                                              const struct fapi_facts* facts) {
    const __u32 flags = rule->flags;
    if (rule->protocol != facts->protocol) {
        return 0;
    }
    /* An address, excluded or not, speaks only of packets of its own IP version. */
    if (rule->family != 0 && rule->family != facts->family) {
        return 0;
    }
    if (rule->dscp != FAPI_NONE && rule->dscp != facts->dscp) {
        return 0;
    }
    if ((flags & FAPI_PURE_ACK) && !facts->pure_ack) {
        return 0;
    }
    /* All but the first fragment of a packet have no ports, and match neither a port nor its exclusion. */
    if ((flags & (FAPI_SPORT | FAPI_DPORT)) && !facts->has_ports) {
        return 0;
    }
    if (flags & FAPI_SPORT) {
        const int in = facts->sport >= rule->sport_low && facts->sport <= rule->sport_high;
        if (in == !!(flags & FAPI_SPORT_NOT)) {
            return 0;
        }
    }
    if (flags & FAPI_DPORT) {
        const int in = facts->dport >= rule->dport_low && facts->dport <= rule->dport_high;
        if (in == !!(flags & FAPI_DPORT_NOT)) {
            return 0;
        }
    }
    if (flags & FAPI_SRC) {
        if (fapi_same_address(facts->src, rule->src, rule->src_mask) == !!(flags & FAPI_SRC_NOT)) {
            return 0;
        }
    }
    if (flags & FAPI_DST) {
        if (fapi_same_address(facts->dst, rule->dst, rule->dst_mask) == !!(flags & FAPI_DST_NOT)) {
            return 0;
        }
    }
    return 1;
}
