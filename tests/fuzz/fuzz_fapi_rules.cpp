// The FAPI tools' file of rules: whatever stands in it is refused in one short line, or every record is a
// rule that the tools can list, plan for and hand to the kernel, and would be written as it was read.
#include "failure.h"
#include "input.h"
#include "plan.h"
#include "rulefile.h"

#include <algorithm>
#include <set>

namespace {

fapi::Link vlan;

} // namespace

// In place of the function of that name, see CMakeLists.txt: every interface is a VLAN, so that a PCP is
// wanted.
extern "C" const fapi::Link* __wrap__ZN4fapi5Links7byIndexEi(fapi::Links* /*links*/, int index) { // NOLINT
    vlan.kind = "vlan";
    vlan.index = index;
    return index <= 0 ? nullptr : &vlan;
}

namespace {

void requireWritable(const fapi::RuleTable& table, std::string_view bytes) {
    std::string written;
    for (std::uint32_t slot = 1; slot <= table.size(); ++slot) {
        written.append(reinterpret_cast<const char*>(&table.at(slot)), sizeof(fapi::Rule));
    }
    fuzz::require(written == bytes, "what was read would be written the same");
}

template <std::size_t size>
bool isListed(const std::array<char, size>& text, bool mayBeEmpty = false) {
    const auto end = std::find(text.begin(), text.end(), '\0');
    return end != text.end() && (mayBeEmpty || end != text.begin()) &&
           std::all_of(text.begin(), end, [](char c) { return c > ' ' && c < 0x7f; });
}

void requireListed(const fapi::RuleTable& table) {
    std::uint32_t last = 0;
    std::set<std::uint32_t> slots;
    for (const std::uint32_t slot : table.inOrder()) {
        const fapi::Rule& rule = table.at(slot);
        fuzz::require(rule.used == 1 && rule.sequence >= last, "the order is that of adding");
        last = rule.sequence;
        slots.insert(slot);
        fuzz::require(isListed(rule.name) && isListed(rule.inName) && isListed(rule.outName, !rule.hasOut()),
                      "names are words of one line");
    }
    for (std::uint32_t slot = 1; slot <= table.size(); ++slot) {
        fuzz::require(slots.contains(slot) == (table.at(slot).used != 0), "each rule is tried once");
    }
    fuzz::require(table.empty() == slots.empty(), "a table without rules is empty");
}

// Each rule is reached from its entering interface, along a chain that ends.
void requirePlanned(const fapi::State& state) {
    static fapi::nl::Socket socket;
    fapi::Links links(socket);
    const fapi::ClassifierPlan plan = fapi::classifierPlan(state, links);
    std::size_t reached = 0;
    for (const auto& [index, iface] : plan.ifaces) {
        for (std::uint32_t slot = iface.head; slot != 0; slot = plan.next.at(slot)) {
            fuzz::require(state.rules.at(slot).inIndex == static_cast<int>(index), "chains do not mix");
            fuzz::require(++reached <= state.rules.size(), "a chain ends");
        }
    }
    fuzz::require(reached == state.rules.inOrder().size(), "each rule is in its interface's chain");
    for (const auto& [index, pcp] : plan.pcps) {
        fuzz::require(index > 0 && pcp <= 7, "the kernel takes PCPs from 0 to 7");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    fapi::State state;
    try {
        state.rules = fapi::parseRules(bytes);
    } catch (const fapi::Failure& failure) {
        const std::string what = failure.what();
        fuzz::require(!what.empty() && what.size() < 80 && what.find('\n') == std::string::npos,
                      "a complaint is one short line", what);
        return 0;
    }
    requireWritable(state.rules, bytes);
    requireListed(state.rules);
    requirePlanned(state);
    return 0;
}
