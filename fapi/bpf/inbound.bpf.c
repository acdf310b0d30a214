/* Filter of the HTB on a port's ifb: the class of a frame that comes in on the port. The frame is still
 * wrapped; its VLAN, PPPoE session or address tells for which upper interface it is, and that interface's
 * rules give its mark. */
#include "walk.h"

struct frame {
    __u16 vlan;
    __u16 protocol; /* of the packet inside */
    __u8 pppoe;
    __u32 offset; /* of the packet, from the network header */
    __u8 to[6];
};

INLINE int read_frame(struct __sk_buff* skb, struct frame* frame) {
    frame->vlan = skb->vlan_present ? skb->vlan_tci & 0xfff : 0;
    frame->protocol = bpf_ntohs(skb->protocol);
    frame->pppoe = 0;
    frame->offset = 0;
    if (bpf_skb_load_bytes_relative(skb, 0, frame->to, 6, BPF_HDR_START_MAC) != 0) {
        __builtin_memset(frame->to, 0, 6);
    }
    if (frame->protocol == eth_pppoe) {
        struct pppoe_header header;
        if (!load(skb, 0, &header, sizeof header)) {
            return 0;
        }
        const __u16 inner = bpf_ntohs(header.protocol);
        frame->pppoe = 1;
        frame->offset = 8;
        frame->protocol = inner == 0x0021 ? eth_ipv4 : inner == 0x0057 ? eth_ipv6 : 0;
    }
    return 1;
}

INLINE int same_mac(const __u8* a, const __u8* b) {
    __u8 differences = 0;
#pragma unroll
    for (int i = 0; i < 6; ++i) {
        differences |= a[i] ^ b[i];
    }
    return differences == 0;
}

struct search {
    const struct frame* frame;
    __u32 device;
    __u32 ifindex; /* found */
};

static long try_upper(__u32 index, struct search* search);

__attribute__((section("tc"), used)) int fapi_inbound(struct __sk_buff* skb) {
    const __u32 device = skb->ifindex;
    if (controls_link(skb)) {
        return (int)FAPI_CONTROL_CLASS;
    }
    struct frame frame;
    if (!read_frame(skb, &frame)) {
        return 0;
    }
    struct search search = {&frame, device, 0};
    bpf_loop(FAPI_UPPERS, try_upper, &search, 0);
    const __u32 ifindex = search.ifindex;
    const struct fapi_iface* iface = bpf_map_lookup_elem(MAP(FAPI_MAP_IFACES), &ifindex);
    if (!iface) {
        return 0;
    }
    struct walk walk;
    if (read_packet(skb, frame.protocol, frame.offset, &walk.facts)) {
        walk_rules(&walk, iface->head);
        const __u32 slot = walk.found[0];
        const struct fapi_rule* rule = bpf_map_lookup_elem(MAP(FAPI_MAP_RULES), &slot);
        if (rule) {
            const struct fapi_queue_key key = {ifindex, 1, rule->mark};
            const __u32* queue = bpf_map_lookup_elem(MAP(FAPI_MAP_QUEUES), &key);
            if (queue) {
                return (int)*queue;
            }
        }
    }
    return (int)iface->ingress_default;
}

#include "functions.h"

CALLBACK long try_upper(__u32 index, struct search* search) {
    const struct fapi_uppers* uppers = bpf_map_lookup_elem(MAP(FAPI_MAP_UPPERS), &search->device);
    if (!uppers || index >= FAPI_UPPERS || uppers->upper[index].ifindex == 0) {
        return 1;
    }
    const struct fapi_upper* upper = &uppers->upper[index];
    const struct frame* frame = search->frame;
    if ((upper->vlan == 0xffff || upper->vlan == frame->vlan) && upper->pppoe == frame->pppoe &&
        (!upper->has_mac || same_mac(upper->mac, frame->to))) {
        search->ifindex = upper->ifindex;
        return 1;
    }
    return 0;
}
