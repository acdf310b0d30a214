// The kernel programs that the tools carry (compiled from bpf/*.bpf.c by the build).
#pragma once

#include <linux/bpf.h>

#include <cstdint>
#include <span>

namespace fapi::bpf {

struct Program {
    const char* name;
    std::span<const bpf_insn> code; // a map's number stands where its descriptor belongs
    std::span<const unsigned char> types;
    std::span<const bpf_func_info> functions;
    uint64_t digest;
};

extern const Program ingressProgram;
extern const Program egressProgram;
extern const Program portProgram;
extern const Program inboundProgram;

} // namespace fapi::bpf
