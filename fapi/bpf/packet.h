/* Reading and changing packets from a tc program. */
#pragma once

#include "kernel.h"
#include "match.h"

enum { tcp = 6, udp = 17, igmp = 2, icmpv6 = 58 };
enum { hop_by_hop = 0, routing = 43, fragment = 44, destination = 60 };

struct ipv4_header {
    __u8 version_length, tos;
    __be16 total;
    __be16 id, fragment;
    __u8 ttl, protocol;
    __be16 checksum;
    __u32 src, dst;
};
struct ipv6_header {
    __be32 version_class_flow;
    __be16 payload;
    __u8 next, hops;
    __u32 src[4], dst[4];
};
struct tcp_header {
    __be16 sport, dport;
    __be32 sequence, acknowledged;
    __u8 length, flags;
};

/* Offsets count from the network header: the same on interfaces with and without a link header. */
INLINE int load(struct __sk_buff* skb, __u32 offset, void* to, __u32 size) {
    return bpf_skb_load_bytes_relative(skb, offset, to, size, BPF_HDR_START_NET) == 0;
}

/* start: of the transport header; end: of the packet, by its IP header. */
INLINE void read_transport(struct __sk_buff* skb, __u32 start, __u32 end, struct fapi_facts* facts) {
    struct tcp_header header;
    if (facts->protocol == tcp) {
        if (!load(skb, start, &header, sizeof header)) {
            return;
        }
        const __u32 after = start + (header.length >> 4) * 4;
        facts->pure_ack = (header.flags & 0x17) == 0x10 && after == end; /* ACK, but not SYN, FIN, RST */
    } else if (facts->protocol == udp) {
        if (!load(skb, start, &header, 4)) {
            return;
        }
    } else {
        return;
    }
    facts->has_ports = 1;
    facts->sport = bpf_ntohs(header.sport);
    facts->dport = bpf_ntohs(header.dport);
}

INLINE int read_ipv4(struct __sk_buff* skb, __u32 offset, struct fapi_facts* facts) {
    struct ipv4_header header;
    if (!load(skb, offset, &header, sizeof header) || header.version_length >> 4 != 4) {
        return 0;
    }
    facts->family = 4;
    facts->protocol = header.protocol;
    facts->dscp = header.tos >> 2;
    facts->src[0] = header.src;
    facts->dst[0] = header.dst;
    if ((bpf_ntohs(header.fragment) & 0x1fff) == 0) {
        read_transport(skb, offset + (header.version_length & 15) * 4, offset + bpf_ntohs(header.total),
                       facts);
    }
    return 1;
}

struct extensions {
    struct __sk_buff* skb;
    __u32 start; /* of the header `next` */
    __u8 next;
    __u8 later_fragment;
};

/* Steps over one extension header of IPv6; ends the loop at the first other one. In functions.h, because the
 * kernel enters a program at its first instruction. */
static long skip_extension(__u32 index, struct extensions* at);

INLINE int read_ipv6(struct __sk_buff* skb, __u32 offset, struct fapi_facts* facts) {
    struct ipv6_header header;
    if (!load(skb, offset, &header, sizeof header)) {
        return 0;
    }
    const __u32 first = bpf_ntohl(header.version_class_flow);
    if (first >> 28 != 6) {
        return 0;
    }
    facts->family = 6;
    facts->dscp = first >> 22 & 0x3f;
    __builtin_memcpy(facts->src, header.src, sizeof facts->src);
    __builtin_memcpy(facts->dst, header.dst, sizeof facts->dst);
    struct extensions at = {skb, offset + sizeof header, header.next, 0};
    bpf_loop(8, skip_extension, &at, 0);
    const __u8 next = at.next;
    const __u32 start = at.start;
    facts->protocol = next;
    if (at.later_fragment) {
        return 1;
    }
    if (next == icmpv6) {
        __u8 type = 0;
        if (load(skb, start, &type, 1) && ((type >= 130 && type <= 132) || type == 143)) {
            facts->protocol = igmp; /* multicast listener discovery */
        }
        return 1;
    }
    read_transport(skb, start, offset + sizeof header + bpf_ntohs(header.payload), facts);
    return 1;
}

/* False when the packet is not IP. */
INLINE int read_packet(struct __sk_buff* skb, __u16 protocol, __u32 offset, struct fapi_facts* facts) {
    __builtin_memset(facts, 0, sizeof *facts);
    if (protocol == eth_ipv4) {
        return read_ipv4(skb, offset, facts);
    }
    return protocol == eth_ipv6 && read_ipv6(skb, offset, facts);
}

/* start: of the IP header, from the first byte of the frame. */
INLINE void write_dscp(struct __sk_buff* skb, __u32 start, __u8 dscp) {
    if (skb->protocol == bpf_htons(eth_ipv4)) {
        __u8 word[2]; /* version and length, type of service */
        if (bpf_skb_load_bytes(skb, start, word, sizeof word) != 0) {
            return;
        }
        const __u8 tos = (__u8)((word[1] & 3) | dscp << 2);
        if (tos != word[1]) {
            const __u16 was = (__u16)(word[0] | word[1] << 8);
            const __u16 is = (__u16)(word[0] | tos << 8);
            bpf_l3_csum_replace(skb, start + 10, was, is, 2);
            bpf_skb_store_bytes(skb, start + 1, &tos, 1, 0);
        }
    } else if (skb->protocol == bpf_htons(eth_ipv6)) {
        __u8 word[2]; /* version, class, flow label */
        if (bpf_skb_load_bytes(skb, start, word, sizeof word) != 0) {
            return;
        }
        const __u8 fresh[2] = {(__u8)((word[0] & 0xf0) | dscp >> 2), (__u8)((word[1] & 0x3f) | dscp << 6)};
        if (fresh[0] != word[0] || fresh[1] != word[1]) {
            bpf_skb_store_bytes(skb, start, fresh, sizeof fresh, BPF_F_RECOMPUTE_CSUM);
        }
    }
}
