/* On the egress side of an interface that has queues or that rules name with -o: applies the rule that was
 * found when the packet came in (or, for the gateway's own packets, finds it now) and chooses the packet's
 * class by its mark. */
#include "walk.h"

struct found {
    __u32 slot;
    __u8 done;     /* counted and rewritten when it came in */
    __u8 old_dscp; /* to restore */
};

INLINE struct found of_own_packet(struct __sk_buff* skb) {
    struct found found = {0, 0, FAPI_NONE};
    const __u32 loopback = 1;
    const struct fapi_iface* own = bpf_map_lookup_elem(MAP(FAPI_MAP_IFACES), &loopback);
    if (!own || own->head == 0) {
        return found;
    }
    struct walk walk;
    if (!read_packet(skb, bpf_ntohs(skb->protocol), 0, &walk.facts)) {
        return found;
    }
    walk_rules(&walk, own->head);
    found.slot = slot_for(walk.found, way_out(own, skb->ifindex));
    return found;
}

INLINE struct found of_forwarded_packet(struct __sk_buff* skb) {
    struct found found = {0, 0, FAPI_NONE};
    const __u32 number = skb->tc_index;
    const struct fapi_verdict* verdict = bpf_map_lookup_elem(MAP(FAPI_MAP_VERDICTS), &number);
    /* The entering interface is compared because a number may come from elsewhere: another namespace, another
     * user. */
    if (number == 0 || !verdict || verdict->iif != skb->ingress_ifindex) {
        return found;
    }
    const __u32 iif = verdict->iif;
    const struct fapi_iface* iface = bpf_map_lookup_elem(MAP(FAPI_MAP_IFACES), &iif);
    if (!iface) {
        return found;
    }
    found.slot = slot_for(verdict->slot, way_out(iface, skb->ifindex));
    found.done = verdict->done;
    if (found.slot != verdict->slot[0]) {
        found.old_dscp = verdict->old_dscp;
    }
    return found;
}

INLINE __u32 class_of(const struct fapi_iface* iface, __u32 ifindex, const struct fapi_rule* rule) {
    if (rule) {
        const struct fapi_queue_key key = {ifindex, 0, rule->mark};
        const __u32* queue = bpf_map_lookup_elem(MAP(FAPI_MAP_QUEUES), &key);
        if (queue) {
            return *queue;
        }
    }
    return iface->egress_default;
}

__attribute__((section("tc"), used)) int fapi_egress(struct __sk_buff* skb) {
    const __u32 ifindex = skb->ifindex;
    const __u32 major = skb->priority >> 16;
    if (major == FAPI_PORT_MAJOR || major == FAPI_REST_MAJOR || major == FAPI_PCP >> 16) {
        return 0; /* chosen on the interface above this one */
    }
    const struct fapi_iface* iface = bpf_map_lookup_elem(MAP(FAPI_MAP_IFACES), &ifindex);
    if (!iface) {
        return 0;
    }
    const struct found found = skb->ingress_ifindex == 0 ? of_own_packet(skb) : of_forwarded_packet(skb);
    const __u32 slot = found.slot;
    const struct fapi_rule* rule = bpf_map_lookup_elem(MAP(FAPI_MAP_RULES), &slot);
    if (rule && !found.done) {
        const __u8 dscp = rule->new_dscp != FAPI_NONE ? rule->new_dscp : found.old_dscp;
        if (dscp != FAPI_NONE) {
            write_dscp(skb, iface->header_bytes, dscp);
        }
        count_hit(skb, slot);
    }
    const __u32 class = class_of(iface, ifindex, rule);
    skb->tc_index = 0;
    if (rule && rule->new_pcp != FAPI_NONE) {
        skb->priority = FAPI_PCP + rule->new_pcp;
        /* The port turns this back into a class (port.bpf.c). */
        skb->tc_index = (__u16)((class & 0xfff) | (class >> 16 == FAPI_REST_MAJOR ? 0x8000 : 0));
    } else if (class != 0) {
        skb->priority = class;
    } else if (rule) {
        skb->priority = rule->priority;
    }
    return 0;
}

#include "functions.h"
