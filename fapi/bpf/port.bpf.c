/* Filter of a port's HTB: the class of packets whose priority had to carry the PCP through a VLAN interface.
 */
#include "kernel.h"

__attribute__((section("tc"), used)) int fapi_port(struct __sk_buff* skb) {
    if ((skb->priority & ~7u) != FAPI_PCP || (skb->tc_index & 0xfff) == 0) {
        return 0;
    }
    const __u32 index = skb->tc_index;
    return (int)((index & 0x8000 ? FAPI_REST_MAJOR : FAPI_PORT_MAJOR) << 16 | (index & 0xfff));
}
