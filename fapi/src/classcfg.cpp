// classcfg -A voip -i br0 -p udp -d 10.0.0.2 --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j mark --mark 5
// --mark-loc 1
//          --priority 5

#include "failure.h"
#include "options.h"
#include "ruletext.h"
#include "session.h"
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

Rule* find(State& state, const Interface& in, const std::string& name) {
    for (Rule& rule : state.rules) {
        if (rule.used != 0 && rule.inIndex == in.index && name == rule.name.data()) {
            return &rule;
        }
    }
    return nullptr;
}

Rule& freeRecord(State& state) {
    uint32_t last = 0;
    Rule* record = nullptr;
    for (Rule& rule : state.rules) {
        last = std::max(last, rule.sequence);
        if (rule.used == 0 && record == nullptr) {
            record = &rule;
        }
    }
    if (record == nullptr) {
        if (state.rules.size() == FAPI_RULES - 1) {
            throw Failure("there are " + std::to_string(FAPI_RULES - 1) + " rules already");
        }
        record = &state.rules.emplace_back();
    }
    *record = {};
    record->sequence = last + 1;
    return *record;
}

// Rules name their leaving interface by a number that is particular to the entering one.
uint8_t numberOfOut(const State& state, const Rule& wanted) {
    std::array<int32_t, FAPI_OUTS> outs{};
    for (const Rule& rule : state.rules) {
        if (rule.used != 0 && &rule != &wanted && rule.inIndex == wanted.inIndex && rule.hasOut()) {
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

struct Wanted {
    std::string name;
    std::string in;
    std::string out; // empty for any
    bool downstream = false;
    fapi_rule match{};
};

void fill(Session& session, const State& state, const Wanted& wanted, Rule& rule) {
    const Interface in = session.interface(wanted.in);
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
        rule.match.out = numberOfOut(state, rule);
    }
}

void change(Session& session, Operation operation, const Wanted& wanted, const Subject& subject) {
    State next = session.state();
    Rule* rule = find(next, session.interface(wanted.in), wanted.name);
    if (rule != nullptr && operation == Operation::add) {
        throw Failure("the name is in use");
    }
    if (rule == nullptr && operation != Operation::add) {
        throw Failure("no such rule");
    }
    if (operation == Operation::remove) {
        *rule = {};
        session.commit(std::move(next), false);
        return;
    }
    fill(session, next, wanted, rule == nullptr ? *(rule = &freeRecord(next)) : *rule);
    const bool pcpInVain = wanted.match.new_pcp != FAPI_NONE &&
                           (wanted.out.empty() || vlansBelow(next, rule->out(), session.links()).empty());
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
    std::vector<const Rule*> rules;
    for (const Rule& rule : session.state().rules) {
        if (rule.used != 0 && in == rule.inName.data()) {
            rules.push_back(&rule);
        }
    }
    std::sort(rules.begin(), rules.end(),
              [](const Rule* a, const Rule* b) { return a->sequence < b->sequence; });
    for (const Rule* rule : rules) {
        puts(rule->name.data());
    }
}

} // namespace

void classcfg(const Words& words, Subject& subject) {
    const Options options(
        words, {{"-A", Arg::needed},          {"-M", Arg::needed},        {"-D", Arg::needed},
                {"-L", Arg::needed},          {"-i", Arg::needed},        {"-p", Arg::needed},
                {"--tcp-flags", Arg::needed}, {"-d", Arg::needed},        {"-s", Arg::needed},
                {"--dport", Arg::needed},     {"--sport", Arg::needed},   {"--iphdr-dscp", Arg::needed},
                {"-o", Arg::needed},          {"-j", Arg::needed, true},  {"--actdscp", Arg::needed},
                {"--pcp-outer", Arg::needed}, {"--mark", Arg::needed},    {"--mark_ing", Arg::needed},
                {"--mark-loc", Arg::needed},  {"--priority", Arg::needed}});
    const Operation operation = operationOf(options);
    if (operation == Operation::list) {
        subject.text = "rules";
        list(options);
        return;
    }
    Wanted wanted;
    wanted.name = options.need(operation == Operation::add      ? "-A"
                               : operation == Operation::modify ? "-M"
                                                                : "-D");
    wanted.in = options.need("-i");
    subject.text = "rule " + wanted.name + " on " + wanted.in;
    checkName("name", wanted.name);
    checkInterfaceName("-i", wanted.in);
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
}

} // namespace fapi
