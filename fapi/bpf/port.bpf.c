/* Filter of a port's HTB, for packets whose priority is not their class: those that had to carry their PCP
 * through a VLAN interface, and the link's own frames, which no interface above has seen. */
#include "kernel.h"

__attribute__((section("tc"), used)) int fapi_port(struct __sk_buff* skb) {
    if ((skb->priority & ~7u) == FAPI_PCP && (skb->tc_index & 0xfff) != 0) {
        const __u32 index = skb->tc_index;
        return (int)((index & 0x8000 ? FAPI_REST_MAJOR : FAPI_PORT_MAJOR) << 16 | (index & 0xfff));
    }
    return controls_link(skb) ? (int)FAPI_CONTROL_CLASS : 0;
}
