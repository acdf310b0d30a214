/* On the ingress side of an interface that rules name with -i: finds the rule of each packet and leaves its
 * number in skb->tc_index, which the packet carries to the interface by which it leaves. (The netfilter mark
 * is left alone: it belongs to policy routing and to the administrator.)
 *
 * Which rule it is can depend on where the packet leaves, and that is known only after routing; and address
 * translation comes in between, so that looking again on the way out would see other addresses. Hence the
 * number stands for a verdict: one rule for each way out. */
#include "walk.h"

INLINE int same_verdict(const struct fapi_verdict* a, const struct fapi_verdict* b) {
    const __u32* left = (const __u32*)a;
    const __u32* right = (const __u32*)b;
    __u32 differences = 0;
#pragma unroll
    for (unsigned i = 0; i < sizeof *a / sizeof *left; ++i) {
        differences |= left[i] ^ right[i];
    }
    return differences == 0;
}

/* The number of a verdict, a new one if it has none yet. Numbers are given out in turn and come round after
 * 4095; a verdict whose number now stands for another one gets a new number. */
INLINE __u16 number_of(const struct fapi_verdict* verdict) {
    const __u32* known = bpf_map_lookup_elem(MAP(FAPI_MAP_IDS), verdict);
    if (known) {
        const __u32 number = *known;
        const struct fapi_verdict* kept = bpf_map_lookup_elem(MAP(FAPI_MAP_VERDICTS), &number);
        if (kept && same_verdict(kept, verdict)) {
            return (__u16)number;
        }
    }
    const __u32 zero = 0;
    __u32* counter = bpf_map_lookup_elem(MAP(FAPI_MAP_COUNTER), &zero);
    if (!counter) {
        return 0;
    }
    const __u32 number = __sync_fetch_and_add(counter, 1) % 4095 + 1;
    bpf_map_update_elem(MAP(FAPI_MAP_VERDICTS), &number, verdict, BPF_ANY);
    bpf_map_update_elem(MAP(FAPI_MAP_IDS), verdict, &number, BPF_ANY);
    return (__u16)number;
}

INLINE int same_everywhere(const __u16* slots) {
    __u16 differences = 0;
#pragma unroll
    for (int i = 1; i <= FAPI_OUTS; ++i) {
        differences |= slots[i] ^ slots[0];
    }
    return differences == 0;
}

INLINE int matched_nowhere(const __u16* slots) {
    return slots[0] == 0 && same_everywhere(slots);
}

__attribute__((section("tc"), used)) int fapi_ingress(struct __sk_buff* skb) {
    const __u32 ifindex = skb->ifindex;
    const struct fapi_iface* iface = bpf_map_lookup_elem(MAP(FAPI_MAP_IFACES), &ifindex);
    if (!iface) {
        return 0;
    }
    skb->tc_index = 0;
    struct walk walk;
    if (!read_packet(skb, bpf_ntohs(skb->protocol), 0, &walk.facts)) {
        return 0;
    }
    walk_rules(&walk, iface->head);
    if (matched_nowhere(walk.found)) {
        return 0;
    }
    struct fapi_verdict verdict;
    __builtin_memset(&verdict, 0, sizeof verdict);
    verdict.iif = ifindex;
    __builtin_memcpy(verdict.slot, walk.found, sizeof verdict.slot);
    verdict.done = (__u8)same_everywhere(walk.found);
    verdict.old_dscp = FAPI_NONE;

    const __u32 slot = walk.found[0];
    const struct fapi_rule* rule = bpf_map_lookup_elem(MAP(FAPI_MAP_RULES), &slot);
    if (rule && rule->new_dscp != FAPI_NONE) {
        /* Done now, because the packet may leave where nobody of ours looks; undone there if another rule
         * holds. */
        if (!verdict.done) {
            verdict.old_dscp = walk.facts.dscp;
        }
        write_dscp(skb, iface->header_bytes, rule->new_dscp);
    }
    if (verdict.done) {
        count_hit(skb, slot);
    }
    skb->tc_index = number_of(&verdict);
    return 0;
}

#include "functions.h"
