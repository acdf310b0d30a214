// classcfg -A voip -i br0 -p udp -d 10.0.0.2 --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j mark --mark 5
// --mark-loc 1
//          --priority 5

#include "failure.h"
#include "options.h"
#include "ruletext.h"
#include "session.h"
#include "show.h"
#include "tools.h"
#include "values.h"

#include <algorithm>
#include <cstdio>

namespace fapi {

namespace {

template <size_t size>
void copyText(const std::string& text, std::array<char, size>& to) {
    to.fill(0);
    std::copy_n(text.begin(), std::min(text.size(), size - 1), to.begin());
}

// The rule's slot, 0 when there is none.
uint32_t find(const State& state, const Interface& in, const std::string& name) {
    for (uint32_t slot = 1; slot <= state.rules.size(); ++slot) {
        const Rule& rule = state.rules.at(slot);
        if (rule.used != 0 && rule.inIndex == in.index && name == rule.name.data()) {
            return slot;
        }
    }
    return 0;
}

// A free slot, with its place in the order behind all rules.
uint32_t newRule(State& state) {
    uint32_t last = 0;
    uint32_t free = 0;
    for (uint32_t slot = 1; slot <= state.rules.size(); ++slot) {
        const Rule& rule = state.rules.at(slot);
        last = std::max(last, rule.sequence);
        if (rule.used == 0 && free == 0) {
            free = slot;
        }
    }
    if (free == 0) {
        free = state.rules.size() + 1;
    }
    if (free >= FAPI_RULES) {
        throw Failure("there are " + std::to_string(FAPI_RULES - 1) + " rules already");
    }
    Rule& rule = state.rules.edit(free);
    rule = {};
    rule.sequence = last + 1;
    return free;
}

// Rules name their leaving interface by a number that is particular to the entering one.
uint8_t numberOfOut(const State& state, uint32_t wantedSlot) {
    const Rule& wanted = state.rules.at(wantedSlot);
    std::array<int32_t, FAPI_OUTS> outs{};
    for (uint32_t slot = 1; slot <= state.rules.size(); ++slot) {
        const Rule& rule = state.rules.at(slot);
        if (rule.used != 0 && slot != wantedSlot && rule.inIndex == wanted.inIndex && rule.hasOut()) {
            outs[static_cast<size_t>(rule.match.out - 1)] = rule.outIndex;
        }
    }
    auto place = std::find(outs.begin(), outs.end(), wanted.outIndex);
    if (place == outs.end()) {
        place = std::find(outs.begin(), outs.end(), 0);
    }
    if (place == outs.end()) {
        throw Failure("rules on " + std::string(wanted.inName.data()) + " name " + std::to_string(FAPI_OUTS) +
                      " leaving interfaces already");
    }
    return static_cast<uint8_t>(place - outs.begin() + 1);
}

struct WantedRule {
    std::string name;
    std::string in;
    std::string out; // empty for any
    bool downstream = false;
    fapi_rule match{};
};

void fill(Session& session, State& state, const WantedRule& wanted, uint32_t slot) {
    const Interface in = session.interface(wanted.in);
    Rule& rule = state.rules.edit(slot);
    rule.used = 1;
    copyText(wanted.name, rule.name);
    copyText(in.name, rule.inName);
    rule.inIndex = in.index;
    rule.downstream = wanted.downstream ? 1 : 0;
    rule.match = wanted.match;
    rule.outName.fill(0);
    rule.outIndex = 0;
    if (!wanted.out.empty()) {
        const Interface out = session.interface(wanted.out);
        copyText(out.name, rule.outName);
        rule.outIndex = out.index;
        rule.match.out = numberOfOut(state, slot);
    }
}

void change(Session& session, Operation operation, const WantedRule& wanted, const Subject& subject) {
    State next = session.state();
    uint32_t slot = find(next, session.interface(wanted.in), wanted.name);
    if (slot != 0 && operation == Operation::add) {
        throw Failure("the name is in use");
    }
    if (slot == 0 && operation != Operation::add) {
        throw Failure("no such rule");
    }
    if (operation == Operation::remove) {
        next.rules.edit(slot) = {};
        session.commit(std::move(next), false);
        return;
    }
    if (slot == 0) {
        slot = newRule(next);
    }
    fill(session, next, wanted, slot);
    const bool pcpInVain =
        wanted.match.new_pcp != FAPI_NONE &&
        (wanted.out.empty() || vlansBelow(next, next.rules.at(slot).out(), session.links()).empty());
    session.commit(std::move(next), false);
    if (pcpInVain) {
        warn("classcfg", subject, "no VLAN interface on the way out; the PCP is not set");
    }
}

void list(const Options& options) {
    if (options.need("-L") != "all") {
        throw Usage("option -L: only 'all' is known, not '" + options.need("-L") + "'");
    }
    const std::string& in = options.need("-i");
    checkInterfaceName("-i", in);
    Session session(Access::read);
    (void)session.interface(in); // a mistyped one is not one without rules
    for (const uint32_t slot : session.state().rules.inOrder()) {
        const Rule& rule = session.state().rules.at(slot);
        if (in == rule.inName.data()) {
            puts(rule.name.data());
        }
    }
}

} // namespace

void classcfg(const Words& words, Subject& subject) {
    if (wantsShow(words)) {
        Session session(Access::read);
        puts(showRules(session).c_str());
        return;
    }
    const Options options = ruleOptions(words);
    const Operation operation = operationOf(options);
    if (operation == Operation::list) {
        subject.text = "rules";
        list(options);
        return;
    }
    WantedRule wanted;
    wanted.name = objectOf(options, operation);
    checkName("name", wanted.name);
    subject.text = "rule " + wanted.name;
    wanted.in = options.need("-i");
    checkInterfaceName("-i", wanted.in);
    subject.text += " on " + wanted.in;
    if (operation != Operation::remove) { // otherwise the rest of the line only repeats what was added
        if (const std::string* out = options.find("-o")) {
            checkInterfaceName("-o", *out);
            wanted.out = *out;
        }
        wanted.match = readRule(options);
        wanted.downstream = options.has("--mark_ing");
    }
    needPrivileges();
    Session session(Access::write);
    change(session, operation, wanted, subject);
    tell("classcfg", subject, session);
}

} // namespace fapi
