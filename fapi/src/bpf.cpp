#include "bpf.h"

#include "failure.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace fapi::bpf {

namespace {

int call(bpf_cmd command, bpf_attr& attributes) {
    return static_cast<int>(syscall(SYS_bpf, command, &attributes, sizeof attributes));
}

uint64_t address(const void* pointer) {
    return reinterpret_cast<uint64_t>(pointer);
}

// The kernel refuses attributes whose unused bytes are not zero; {} clears only the union's first member.
bpf_attr zero() {
    bpf_attr attributes{};
    memset(&attributes, 0, sizeof attributes);
    return attributes;
}

// The verifier's last line, which is the reason.
std::string lastLine(const std::string& log) {
    const size_t end = log.find_last_not_of('\n');
    if (end == std::string::npos) {
        return {};
    }
    const size_t before = log.rfind("\nprocessed ", end);
    const size_t stop = before == std::string::npos ? end + 1 : before;
    const size_t start = log.rfind('\n', stop - 1);
    return " (" +
           log.substr(start == std::string::npos ? 0 : start + 1,
                      stop - (start == std::string::npos ? 0 : start + 1)) +
           ")";
}

UniqueFd loadTypes(const Program& program) {
    bpf_attr attributes = zero();
    attributes.btf = address(program.types.data());
    attributes.btf_size = static_cast<uint32_t>(program.types.size());
    UniqueFd types(call(BPF_BTF_LOAD, attributes));
    if (!types) {
        throw Failure(
            withErrno(std::string("type information of the kernel program ") + program.name, errno));
    }
    return types;
}

template <typename Info>
Info infoOf(const UniqueFd& object) {
    Info info{};
    bpf_attr attributes = zero();
    attributes.info.bpf_fd = static_cast<uint32_t>(object.get());
    attributes.info.info_len = sizeof info;
    attributes.info.info = address(&info);
    if (call(BPF_OBJ_GET_INFO_BY_FD, attributes) != 0) {
        throw Failure(withErrno("asking for a BPF object", errno));
    }
    return info;
}

} // namespace

UniqueFd createMap(const char* name, bpf_map_type type, uint32_t keyBytes, uint32_t valueBytes,
                   uint32_t entries, uint32_t flags) {
    bpf_attr attributes = zero();
    attributes.map_type = type;
    attributes.key_size = keyBytes;
    attributes.value_size = valueBytes;
    attributes.max_entries = entries;
    attributes.map_flags = flags;
    strncpy(attributes.map_name, name, sizeof attributes.map_name - 1);
    UniqueFd map(call(BPF_MAP_CREATE, attributes));
    if (!map) {
        throw Failure(withErrno(std::string("creating the BPF map ") + name, errno));
    }
    return map;
}

UniqueFd mapById(uint32_t id) {
    bpf_attr attributes = zero();
    attributes.map_id = id;
    return UniqueFd(call(BPF_MAP_GET_FD_BY_ID, attributes));
}

UniqueFd programById(uint32_t id) {
    bpf_attr attributes = zero();
    attributes.prog_id = id;
    return UniqueFd(call(BPF_PROG_GET_FD_BY_ID, attributes));
}

uint32_t idOfMap(const UniqueFd& map) {
    return infoOf<bpf_map_info>(map).id;
}

uint32_t idOfProgram(const UniqueFd& program) {
    return infoOf<bpf_prog_info>(program).id;
}

void update(const UniqueFd& map, const void* key, const void* value) {
    bpf_attr attributes = zero();
    attributes.map_fd = static_cast<uint32_t>(map.get());
    attributes.key = address(key);
    attributes.value = address(value);
    if (call(BPF_MAP_UPDATE_ELEM, attributes) != 0) {
        throw Failure(withErrno("writing to a BPF map", errno));
    }
}

bool lookup(const UniqueFd& map, const void* key, void* value) {
    bpf_attr attributes = zero();
    attributes.map_fd = static_cast<uint32_t>(map.get());
    attributes.key = address(key);
    attributes.value = address(value);
    return call(BPF_MAP_LOOKUP_ELEM, attributes) == 0;
}

void erase(const UniqueFd& map, const void* key) {
    bpf_attr attributes = zero();
    attributes.map_fd = static_cast<uint32_t>(map.get());
    attributes.key = address(key);
    (void)call(BPF_MAP_DELETE_ELEM, attributes);
}

UniqueFd load(const Program& program, const std::vector<UniqueFd>& maps) {
    std::vector<bpf_insn> code(program.code.begin(), program.code.end());
    for (bpf_insn& insn : code) {
        if (insn.code == (BPF_LD | BPF_IMM | BPF_DW) && insn.src_reg == BPF_PSEUDO_MAP_FD) {
            insn.imm = maps.at(static_cast<size_t>(insn.imm)).get();
        }
    }
    const UniqueFd types = loadTypes(program);
    bpf_attr attributes = zero();
    attributes.prog_type = BPF_PROG_TYPE_SCHED_CLS;
    attributes.insns = address(code.data());
    attributes.insn_cnt = static_cast<uint32_t>(code.size());
    attributes.license = address("GPL"); // of the kernel helpers' interface: without it they are not offered
    attributes.prog_btf_fd = static_cast<uint32_t>(types.get());
    attributes.func_info = address(program.functions.data());
    attributes.func_info_cnt = static_cast<uint32_t>(program.functions.size());
    attributes.func_info_rec_size = sizeof(bpf_func_info);
    strncpy(attributes.prog_name, program.name, sizeof attributes.prog_name - 1);
    UniqueFd loaded(call(BPF_PROG_LOAD, attributes));
    if (!loaded) {
        const int error = errno;
        std::string log(1 << 20, '\0');
        attributes.log_buf = address(log.data());
        attributes.log_size = static_cast<uint32_t>(log.size());
        attributes.log_level = 1;
        (void)call(BPF_PROG_LOAD, attributes);
        log.resize(strlen(log.data()));
        throw Failure(withErrno(std::string("loading the kernel program ") + program.name, error) +
                      lastLine(log));
    }
    for (const UniqueFd& map : maps) {
        bpf_attr bind = zero();
        bind.prog_bind_map.prog_fd = static_cast<uint32_t>(loaded.get());
        bind.prog_bind_map.map_fd = static_cast<uint32_t>(map.get());
        if (call(BPF_PROG_BIND_MAP, bind) != 0 && errno != EEXIST) {
            throw Failure(withErrno("binding a map to a kernel program", errno));
        }
    }
    return loaded;
}

UniqueFd loadMatchAll() {
    const std::array<bpf_insn, 2> code{
        {{BPF_ALU64 | BPF_MOV | BPF_K, 0, 0, 0, -1}, {BPF_JMP | BPF_EXIT, 0, 0, 0, 0}}};
    bpf_attr attributes = zero();
    attributes.prog_type = BPF_PROG_TYPE_SCHED_CLS;
    attributes.insns = address(code.data());
    attributes.insn_cnt = code.size();
    attributes.license = address("GPL");
    UniqueFd loaded(call(BPF_PROG_LOAD, attributes));
    if (!loaded) {
        throw Failure(withErrno("loading a kernel program", errno));
    }
    return loaded;
}

} // namespace fapi::bpf
