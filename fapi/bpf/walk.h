/* Going through the rules of an entering interface. */
#pragma once

#include "packet.h"

struct walk {
    struct fapi_facts facts;
    __u32 slot; /* of the rule to look at next */
    __u16 found[FAPI_OUTS + 1];
};

/* In functions.h. */
static long step(__u32 index, struct walk* walk);

INLINE void walk_rules(struct walk* walk, __u32 head) {
    walk->slot = head;
    __builtin_memset(walk->found, 0, sizeof walk->found);
    if (head != 0) {
        bpf_loop(FAPI_RULES, step, walk, 0);
    }
}

/* 1 + the index of a leaving interface among those that the rules name, 0 when they don't. */
INLINE __u32 way_out(const struct fapi_iface* iface, __u32 ifindex) {
    __u32 way = 0;
#pragma unroll
    for (int i = 0; i < FAPI_OUTS; ++i) {
        if (iface->outs[i] == ifindex) {
            way = i + 1;
        }
    }
    return way;
}

INLINE __u32 slot_for(const __u16* slots, __u32 way) {
    __u32 slot = 0;
#pragma unroll
    for (int i = 0; i <= FAPI_OUTS; ++i) {
        if (way == (__u32)i) {
            slot = slots[i];
        }
    }
    return slot;
}

INLINE void count_hit(const struct __sk_buff* skb, __u32 slot) {
    struct fapi_hits* hits = bpf_map_lookup_elem(MAP(FAPI_MAP_HITS), &slot);
    if (hits) {
        __sync_fetch_and_add(&hits->packets, 1);
        __sync_fetch_and_add(&hits->bytes, skb->len);
    }
}
