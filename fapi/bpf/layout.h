/* What the tools write into the kernel and the kernel's programs read: map keys and values. Compiled as C for
 * the kernel and as C++ for the tools. */
#pragma once

#include <linux/types.h>

#define FAPI_NONE 0xff   /* no DSCP, no PCP */
#define FAPI_OUTS 7      /* leaving interfaces that the rules of one entering interface may name */
#define FAPI_RULES 16384 /* rules in all */

/* skb->priority of a packet that waits for its PCP: the VLAN device's map has FAPI_PCP + p for each PCP p in
 * use. Above every priority that applications can ask for, and no class of ours has this major. */
#define FAPI_PCP 0xfa900000u
#define FAPI_PORT_MAJOR 0xfa91u
#define FAPI_REST_MAJOR 0xfa92u
#define FAPI_CONTROL_CLASS 0xfa910003u /* frames that keep the link going */

/* Maps, in the order in which the tools create them. */
enum fapi_map {
    FAPI_MAP_RULES,    /* slot (1...) -> fapi_rule */
    FAPI_MAP_HITS,     /* slot -> fapi_hits */
    FAPI_MAP_IFACES,   /* ifindex -> fapi_iface */
    FAPI_MAP_QUEUES,   /* fapi_queue_key -> class id */
    FAPI_MAP_UPPERS,   /* ifindex of an ifb -> fapi_uppers */
    FAPI_MAP_IDS,      /* fapi_verdict -> its number */
    FAPI_MAP_VERDICTS, /* number -> fapi_verdict */
    FAPI_MAP_COUNTER,  /* 0 -> numbers given out so far */
    FAPI_MAPS
};

enum {
    FAPI_SRC = 1,
    FAPI_SRC_NOT = 2,
    FAPI_DST = 4,
    FAPI_DST_NOT = 8,
    FAPI_SPORT = 16,
    FAPI_SPORT_NOT = 32,
    FAPI_DPORT = 64,
    FAPI_DPORT_NOT = 128,
    FAPI_PURE_ACK = 256
};

struct fapi_rule {
    __u32 src[4], src_mask[4]; /* network byte order; IPv4 in the first word */
    __u32 dst[4], dst_mask[4];
    __u16 sport_low, sport_high; /* host byte order, both included */
    __u16 dport_low, dport_high;
    __u32 flags;
    __u32 mark;
    __u32 priority;
    __u32 next;    /* slot of the next rule of the same entering interface, 0 at the end */
    __u8 family;   /* 4 or 6, 0 for both */
    __u8 protocol; /* 6 tcp, 17 udp, 2 igmp (for IPv6: its counterpart, multicast listener discovery) */
    __u8 dscp;     /* to match, or FAPI_NONE */
    __u8 new_dscp; /* to write, or FAPI_NONE */
    __u8 new_pcp;  /* to write, or FAPI_NONE */
    __u8 out;      /* 1 + index into fapi_iface.outs, 0 for any leaving interface */
    __u8 unused[2];
};

struct fapi_hits {
    __u64 packets, bytes;
};

struct fapi_iface {
    __u32 head;            /* slot of its first rule */
    __u32 outs[FAPI_OUTS]; /* ifindexes of the leaving interfaces that its rules name */
    __u32 egress_default;  /* class for packets without a queue of their own, 0 when it has no queues */
    __u32 ingress_default;
    __u32 header_bytes; /* before the network header */
};

struct fapi_queue_key {
    __u32 ifindex, ingress, mark;
};

/* How a frame on a port shows which upper interface it is for. */
struct fapi_upper {
    __u32 ifindex;
    __u16 vlan;   /* id, 0 for none; 0xffff for whatever */
    __u8 pppoe;   /* carried in a PPPoE session */
    __u8 has_mac; /* sent to this address */
    __u8 mac[6];
    __u8 unused[2];
};
#define FAPI_UPPERS 16
struct fapi_uppers {
    __u32 count;
    struct fapi_upper upper[FAPI_UPPERS];
};

/* What was found when a packet came in, kept until it is known where it leaves. */
struct fapi_verdict {
    __u32 iif;
    __u16
        slot[FAPI_OUTS + 1]; /* first matching rule when it leaves by outs[k-1]; [0] by any other interface */
    __u8 done;               /* the rule is the same everywhere, and has been applied */
    __u8 old_dscp;           /* DSCP before slot[0] rewrote it, or FAPI_NONE */
    __u8 unused[2];
};

/* Facts of a packet that rules look at. */
struct fapi_facts {
    __u32 src[4], dst[4]; /* as in fapi_rule */
    __u16 sport, dport;
    __u8 family, protocol, dscp;
    __u8 has_ports;
    __u8 pure_ack; /* TCP acknowledgement without payload, SYN, FIN or RST */
};
