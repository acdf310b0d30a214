// bpf(2): the few commands that the tools need. libbpf's wrappers of the same calls would bring an ELF reader
// into each tool, which has nothing to read.
#pragma once

#include "program.h"
#include "unique_fd.h"

#include <linux/bpf.h>

#include <cstdint>
#include <string>
#include <vector>

namespace fapi::bpf {

// Throws Failure naming the map.
UniqueFd createMap(const char* name, bpf_map_type type, uint32_t keyBytes, uint32_t valueBytes,
                   uint32_t entries, uint32_t flags);
// An invalid descriptor when there is no such map or program any more.
UniqueFd mapById(uint32_t id);
UniqueFd programById(uint32_t id);
uint32_t idOfMap(const UniqueFd& map);
uint32_t idOfProgram(const UniqueFd& program);

void update(const UniqueFd& map, const void* key, const void* value); // throws Failure
bool lookup(const UniqueFd& map, const void* key, void* value);
void erase(const UniqueFd& map, const void* key); // no matter whether it is there

// maps: by number. All of them are bound to the program, used or not: they live as long as any program does.
UniqueFd load(const Program& program, const std::vector<UniqueFd>& maps);
// Matches every packet.
UniqueFd loadMatchAll();

} // namespace fapi::bpf
