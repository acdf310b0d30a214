// Build tool: turns a compiled kernel program into a C++ source file that holds it, so that the tools carry
// their programs inside and need neither a loader library nor a file on the router.
//
//   bpf2cpp NAME program.o > program.cpp
//
// Takes the section "tc" (the program first, then the functions it hands to helpers) and its type
// information, which the kernel wants for such functions. Map references are already in their final form
// (packet.h).

#include <elf.h>
#include <linux/bpf.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr uint32_t mapMagic = 0xfa910000;

template <typename T>
T at(const std::string& bytes, size_t offset) {
    T value{};
    if (offset + sizeof value > bytes.size()) {
        throw std::runtime_error("the object ends early");
    }
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

class Object {
  public:
    explicit Object(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
        const auto header = at<Elf64_Ehdr>(bytes_, 0);
        if (memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_machine != EM_BPF) {
            throw std::runtime_error(path + " is not a BPF object");
        }
        for (size_t i = 0; i < header.e_shnum; ++i) {
            sections_.push_back(at<Elf64_Shdr>(bytes_, header.e_shoff + i * sizeof(Elf64_Shdr)));
        }
        names_ = content(sections_.at(header.e_shstrndx));
    }

    std::string section(const std::string& name) const {
        for (const Elf64_Shdr& section : sections_) {
            if (name == names_.c_str() + section.sh_name) {
                return content(section);
            }
        }
        return {};
    }

    // Start of the symbol within its section.
    uint64_t symbolValue(uint32_t index) const {
        return at<Elf64_Sym>(section(".symtab"), index * sizeof(Elf64_Sym)).st_value;
    }

  private:
    std::string content(const Elf64_Shdr& section) const {
        return bytes_.substr(section.sh_offset, section.sh_size);
    }

    std::string bytes_;
    std::vector<Elf64_Shdr> sections_;
    std::string names_;
};

std::vector<bpf_insn> instructions(const Object& object) {
    const std::string code = object.section("tc");
    std::vector<bpf_insn> found;
    for (size_t offset = 0; offset < code.size(); offset += sizeof(bpf_insn)) {
        found.push_back(at<bpf_insn>(code, offset));
    }
    // Addresses of our own functions: the kernel wants the distance from the instruction.
    const std::string relocations = object.section(".reltc");
    for (size_t offset = 0; offset < relocations.size(); offset += sizeof(Elf64_Rel)) {
        const auto relocation = at<Elf64_Rel>(relocations, offset);
        const size_t index = relocation.r_offset / sizeof(bpf_insn);
        bpf_insn& insn = found.at(index);
        if (insn.code != (BPF_LD | BPF_IMM | BPF_DW)) {
            throw std::runtime_error("a call into a library: the program must be self-contained");
        }
        const uint64_t target = object.symbolValue(static_cast<uint32_t>(ELF64_R_SYM(relocation.r_info))) +
                                static_cast<uint32_t>(insn.imm);
        insn.src_reg = BPF_PSEUDO_FUNC;
        insn.imm = static_cast<int32_t>(target / sizeof(bpf_insn)) - static_cast<int32_t>(index) - 1;
    }
    for (size_t i = 0; i + 1 < found.size(); ++i) {
        const bool wide = found[i].code == (BPF_LD | BPF_IMM | BPF_DW);
        if (wide && static_cast<uint32_t>(found[i + 1].imm) == mapMagic) {
            found[i].src_reg =
                BPF_PSEUDO_MAP_FD; // imm stays the map's number until the tool puts the descriptor there
            found[i + 1].imm = 0;
        }
    }
    return found;
}

// (instruction, type) of each function, from .BTF.ext.
std::vector<bpf_func_info> functions(const Object& object) {
    const std::string extra = object.section(".BTF.ext");
    const auto headerBytes = at<uint32_t>(extra, 4);
    const size_t start = headerBytes + at<uint32_t>(extra, 8);
    const auto recordBytes = at<uint32_t>(extra, start);
    const auto count = at<uint32_t>(extra, start + 8); // of the first section, which is "tc"
    std::vector<bpf_func_info> found;
    for (size_t i = 0; i < count; ++i) {
        auto info = at<bpf_func_info>(extra, start + 12 + i * recordBytes);
        info.insn_off /= sizeof(bpf_insn);
        found.push_back(info);
    }
    return found;
}

uint64_t digest(const std::string& bytes) {
    uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    return hash;
}

void write(const std::string& name, const Object& object) {
    printf("// Generated from %s.bpf.c.\n#include \"program.h\"\n\nnamespace fapi::bpf {\n\nnamespace {\n\n",
           name.c_str());
    printf("constexpr bpf_insn code[] = {\n");
    for (const bpf_insn& insn : instructions(object)) {
        printf("    {%d, %d, %d, %d, %d},\n", insn.code, insn.dst_reg, insn.src_reg, insn.off, insn.imm);
    }
    printf("};\n\nconstexpr unsigned char types[] = {");
    const std::string types = object.section(".BTF");
    for (size_t i = 0; i < types.size(); ++i) {
        printf("%s%d,", i % 24 == 0 ? "\n    " : "", static_cast<unsigned char>(types[i]));
    }
    printf("\n};\n\nconstexpr bpf_func_info functions[] = {");
    for (const bpf_func_info& info : functions(object)) {
        printf("{%u, %u}, ", info.insn_off, info.type_id);
    }
    printf("};\n\n} // namespace\n\nextern const Program %sProgram;\n", name.c_str());
    printf("const Program %sProgram = {\"fapi_%s\", code, types, functions, 0x%llx};\n\n} // namespace "
           "fapi::bpf\n",
           name.c_str(), name.c_str(), static_cast<unsigned long long>(digest(object.section("tc"))));
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 3) {
            throw std::runtime_error("usage: bpf2cpp NAME OBJECT");
        }
        write(argv[1], Object(argv[2]));
        return 0;
    } catch (const std::exception& error) {
        (void)fprintf(stderr, "bpf2cpp: %s\n", error.what());
        return 1;
    }
}
