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
