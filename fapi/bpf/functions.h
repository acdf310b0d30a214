/* Functions that helpers call back. To be included behind the program, because the kernel enters it at its
 * first instruction. */
#include "walk.h"

#define CALLBACK static __attribute__((section("tc")))

CALLBACK long skip_extension(__u32 index, struct extensions* at) {
    (void)index;
    struct {
        __u8 next, length;
        __be16 fragment;
    } extension;
    const __u8 is = at->next;
    if (is != hop_by_hop && is != routing && is != fragment && is != destination) {
        return 1;
    }
    if (!load(at->skb, at->start, &extension, sizeof extension)) {
        return 1;
    }
    at->next = extension.next;
    at->start += is == fragment ? 8 : (extension.length + 1) * 8;
    at->later_fragment = is == fragment && (bpf_ntohs(extension.fragment) & 0xfff8) != 0;
    return at->later_fragment;
}

/* One rule. The first match for each way out counts; a rule for all ways ends the walk. */
CALLBACK long step(__u32 index, struct walk* walk) {
    (void)index;
    const struct fapi_rule* rule = bpf_map_lookup_elem(MAP(FAPI_MAP_RULES), &walk->slot);
    if (!rule) {
        return 1;
    }
    if (fapi_matches(rule, &walk->facts)) {
        const __u16 slot = (__u16)walk->slot;
        const __u8 out = rule->out;
#pragma unroll
        for (int i = 0; i <= FAPI_OUTS; ++i) {
            if (walk->found[i] == 0 && (out == 0 || out == i)) {
                walk->found[i] = slot;
            }
        }
        if (out == 0) {
            return 1;
        }
    }
    walk->slot = rule->next;
    return walk->slot == 0;
}
