/* What every kernel program needs. */
#pragma once

#include "layout.h"

#include <bpf/bpf_endian.h>
#include <bpf/bpf_helpers.h>
#include <linux/bpf.h>

#define INLINE static inline __attribute__((always_inline))

/* The tools put the map's file descriptor here: they know this constant when they load the program. */
#define MAP(number)                                                                                          \
    ({                                                                                                       \
        void* map_;                                                                                          \
        asm("%0 = %1 ll" : "=r"(map_) : "i"(0xfa91000000000000ULL + (number)));                              \
        map_;                                                                                                \
    })

enum { eth_ipv4 = 0x0800, eth_ipv6 = 0x86dd, eth_vlan = 0x8100, eth_qinq = 0x88a8, eth_pppoe = 0x8864 };

struct pppoe_header {
    __u8 version_type, code;
    __be16 session, length;
    __be16 protocol; /* of PPP */
};

/* Frames that keep the link itself going: ARP, PPPoE discovery, LCP and whatever else is neither IP nor may
 * hold it. They are few, and a line that starves them is lost. */
INLINE int controls_link(struct __sk_buff* skb) {
    const __u16 protocol = bpf_ntohs(skb->protocol);
    if (protocol == eth_pppoe) {
        struct pppoe_header header;
        return bpf_skb_load_bytes_relative(skb, 0, &header, sizeof header, BPF_HDR_START_NET) == 0 &&
               bpf_ntohs(header.protocol) >= 0x8000;
    }
    return protocol != eth_ipv4 && protocol != eth_ipv6 && protocol != eth_vlan && protocol != eth_qinq;
}
