#include "classifier.h"

#include "failure.h"

#include <linux/pkt_cls.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>

namespace fapi {

namespace {

// Ours among the filters of a qdisc. Before all that tc numbers by itself (49152 and down), the redirection
// behind them.
constexpr uint16_t classifyPref = 4009;
constexpr uint16_t redirectPref = 64145;

uint32_t parentAt(Place place) {
    switch (place) {
    case Place::egress:
        return TC_H_MAKE(TC_H_CLSACT, TC_H_MIN_EGRESS);
    case Place::port:
    case Place::inbound:
        return tc::handleOf(portMajor, 0);
    default:
        return TC_H_MAKE(TC_H_CLSACT, TC_H_MIN_INGRESS);
    }
}

uint16_t prefAt(Place place) {
    return place == Place::redirect ? redirectPref : classifyPref;
}

bool onClsact(Place place) {
    return place == Place::ingress || place == Place::egress || place == Place::redirect;
}

uint64_t programsDigest() {
    return bpf::ingressProgram.digest ^ bpf::egressProgram.digest * 3 ^ bpf::portProgram.digest * 5 ^
           bpf::inboundProgram.digest * 7;
}

UniqueFd loadFor(Place place, const std::vector<UniqueFd>& maps) {
    switch (place) {
    case Place::ingress:
        return bpf::load(bpf::ingressProgram, maps);
    case Place::egress:
        return bpf::load(bpf::egressProgram, maps);
    case Place::port:
        return bpf::load(bpf::portProgram, maps);
    case Place::inbound:
        return bpf::load(bpf::inboundProgram, maps);
    case Place::redirect:
        break;
    }
    return bpf::loadMatchAll();
}

// The rule as the kernel gets it.
fapi_rule kernelRule(const Rule& rule, const ClassifierPlan& plan, uint32_t slot) {
    fapi_rule value = rule.match;
    value.next = plan.next[slot];
    return value;
}

template <typename Map, typename Write, typename Erase>
void applyDifference(const Map& before, const Map& after, const Write& write, const Erase& erase) {
    for (const auto& [key, value] : after) {
        const auto old = before.find(key);
        if (old == before.end() || memcmp(&old->second, &value, sizeof value) != 0) {
            write(key, value);
        }
    }
    for (const auto& [key, value] : before) {
        if (!after.contains(key)) {
            erase(key);
        }
    }
}

} // namespace

const tc::Qdisc* Classifier::ingressQdisc(int index) {
    for (const tc::Qdisc& qdisc : ports_.qdiscs()) {
        if (qdisc.index == index && qdisc.parent == TC_H_CLSACT) {
            return &qdisc;
        }
    }
    return nullptr;
}

bool Classifier::standsAt(const Interface& in) {
    if (ingressQdisc(in.index) == nullptr) {
        return false;
    }
    const std::vector<tc::Filter> filters = tc::filters(socket_, in.index, parentAt(Place::ingress));
    return std::any_of(filters.begin(), filters.end(), [](const tc::Filter& filter) {
        return filter.pref == classifyPref && filter.programId != 0;
    });
}

bool Classifier::intact(const ClassifierPlan& plan) {
    return std::all_of(plan.hooks.begin(), plan.hooks.end(), [&](const Hook& hook) {
        return !onClsact(hook.place) || ingressQdisc(hook.interface.index) != nullptr;
    });
}

// ---- maps

bool Classifier::openMaps(const Kernel& kernel) {
    if (!maps_.empty()) {
        return true;
    }
    if (kernel.digest != programsDigest()) {
        errno = 0;
        return false;
    }
    // Every program holds all of them, so they are there together or not at all.
    std::vector<UniqueFd> maps(FAPI_MAPS);
    maps[FAPI_MAP_RULES] = bpf::mapById(kernel.maps[FAPI_MAP_RULES]);
    if (!maps[FAPI_MAP_RULES]) {
        return false;
    }
    maps_ = std::move(maps);
    mapIds_ = kernel.maps;
    return true;
}

// Opened when first needed: a call needs few of them, and each costs two system calls.
const UniqueFd& Classifier::map(fapi_map which) {
    UniqueFd& found = maps_[which];
    if (!found) {
        found = bpf::mapById(mapIds_[which]);
        if (!found) {
            throw Failure(withErrno("opening a BPF map of the classifier", errno));
        }
    }
    return found;
}

const std::vector<UniqueFd>& Classifier::allMaps() {
    for (uint32_t which = 0; which < FAPI_MAPS; ++which) {
        (void)map(static_cast<fapi_map>(which));
    }
    return maps_;
}

void Classifier::createMaps(Kernel& kernel) {
    struct Kind {
        const char* name;
        bpf_map_type type;
        size_t key, value;
        uint32_t entries;
        uint32_t flags;
    };
    constexpr uint32_t asNeeded = BPF_F_NO_PREALLOC; // memory only for the entries there are
    constexpr Kind kinds[FAPI_MAPS] = {
        {"fapi_rules", BPF_MAP_TYPE_HASH, sizeof(uint32_t), sizeof(fapi_rule), FAPI_RULES, asNeeded},
        {"fapi_hits", BPF_MAP_TYPE_HASH, sizeof(uint32_t), sizeof(fapi_hits), FAPI_RULES, asNeeded},
        {"fapi_ifaces", BPF_MAP_TYPE_HASH, sizeof(uint32_t), sizeof(fapi_iface), 4096, asNeeded},
        {"fapi_queues", BPF_MAP_TYPE_HASH, sizeof(fapi_queue_key), sizeof(uint32_t), 16384, asNeeded},
        {"fapi_uppers", BPF_MAP_TYPE_HASH, sizeof(uint32_t), sizeof(fapi_uppers), 1024, asNeeded},
        {"fapi_ids", BPF_MAP_TYPE_LRU_HASH, sizeof(fapi_verdict), sizeof(uint32_t), 4096, 0},
        {"fapi_verdicts", BPF_MAP_TYPE_ARRAY, sizeof(uint32_t), sizeof(fapi_verdict), 4096, 0},
        {"fapi_counter", BPF_MAP_TYPE_ARRAY, sizeof(uint32_t), sizeof(uint32_t), 1, 0}};
    maps_.clear();
    programs_.clear();
    kernel = {};
    kernel.digest = programsDigest();
    for (size_t i = 0; i < FAPI_MAPS; ++i) {
        const Kind& kind = kinds[i];
        maps_.push_back(bpf::createMap(kind.name, kind.type, static_cast<uint32_t>(kind.key),
                                       static_cast<uint32_t>(kind.value), kind.entries, kind.flags));
        kernel.maps[i] = bpf::idOfMap(maps_.back());
    }
}

void Classifier::writeRules(const State& before, const ClassifierPlan& had, const State& next,
                            const ClassifierPlan& after) {
    std::set<uint32_t> slots;
    for (const uint32_t slot : RuleTable::candidates(before.rules, next.rules)) {
        if (!(before.rules.at(slot) == next.rules.at(slot))) {
            slots.insert(slot);
        }
    }
    for (uint32_t slot = 1; slot <= next.rules.size(); ++slot) {
        if (slot >= had.next.size() || had.next[slot] != after.next[slot]) {
            slots.insert(slot);
        }
    }
    for (const bool existed : {false, true}) { // new ones first: the old ones point to them
        for (const uint32_t slot : slots) {
            const Rule& rule = next.rules.at(slot);
            if (rule.used == 0 || (before.rules.at(slot).used != 0) != existed) {
                continue;
            }
            if (!existed) {
                const fapi_hits none{};
                bpf::update(map(FAPI_MAP_HITS), &slot, &none);
            }
            const fapi_rule value = kernelRule(rule, after, slot);
            bpf::update(map(FAPI_MAP_RULES), &slot, &value);
        }
    }
}

void Classifier::eraseRules(const State& before, const State& next) {
    for (const uint32_t slot : RuleTable::candidates(before.rules, next.rules)) {
        if (before.rules.at(slot).used != 0 && next.rules.at(slot).used == 0) {
            bpf::erase(map(FAPI_MAP_RULES), &slot);
            bpf::erase(map(FAPI_MAP_HITS), &slot);
        }
    }
}

// In an order in which every packet finds either the old chain of rules or the new one.
void Classifier::writeMaps(const State& before, const ClassifierPlan& had, const State& next,
                           const ClassifierPlan& after) {
    const auto syncMap = [this](fapi_map which, const auto& old, const auto& wanted) {
        applyDifference(
            old, wanted, [&](const auto& key, const auto& value) { bpf::update(map(which), &key, &value); },
            [&](const auto& key) { bpf::erase(map(which), &key); });
    };
    syncMap(FAPI_MAP_QUEUES, had.queues, after.queues);
    syncMap(FAPI_MAP_UPPERS, had.uppers, after.uppers);
    writeRules(before, had, next, after);
    syncMap(FAPI_MAP_IFACES, had.ifaces, after.ifaces);
    eraseRules(before, next);
}

fapi_hits Classifier::hitsOf(const Kernel& kernel, uint32_t slot) {
    fapi_hits hits{};
    if (openMaps(kernel)) {
        bpf::lookup(map(FAPI_MAP_HITS), &slot, &hits);
    } else if (errno == EPERM) {
        throw Failure(withErrno("reading the rules' counters", errno));
    }
    return hits; // none, when other programs than these count
}

// ---- programs and their places

const UniqueFd& Classifier::program(Kernel& kernel, Place place) {
    UniqueFd& found = programs_.try_emplace(place).first->second;
    uint32_t& id = kernel.programs[static_cast<size_t>(place)];
    if (!found && id != 0) {
        found = bpf::programById(id);
    }
    if (!found) {
        found = loadFor(place, allMaps());
        id = bpf::idOfProgram(found);
    }
    return found;
}

void Classifier::needClsact(State& next, const State& stored, const Interface& interface, Place place) {
    const tc::Qdisc* there = ingressQdisc(interface.index);
    if (there != nullptr && there->kind != "clsact" && place == Place::egress) {
        throw Failure("the ingress qdisc of " + interface.name +
                      " is not ours; clsact is needed in its place");
    }
    if (there != nullptr || !fresh_.insert(interface.index).second) {
        return;
    }
    // Written down first: a call that is killed in between must not leave a qdisc that nobody owns.
    next.clsacts.push_back(interface);
    State noted = stored;
    noted.clsacts = next.clsacts;
    store_.save(noted, stored);
    nl::Batch batch;
    tc::addClsact(batch, interface.index);
    socket_.run(batch);
}

void Classifier::attach(State& next, const State& stored, const Hook& hook) {
    const Link* device = links_.byIndex(hook.interface.index);
    tc::BpfFilter filter{parentAt(hook.place), prefAt(hook.place), -1, 0};
    if (onClsact(hook.place)) {
        needClsact(next, stored, hook.interface, hook.place);
    }
    const Link* ifb = links_.byName(ifbNameOf(hook.interface.index));
    if (hook.place == Place::inbound) {
        device = ifb;
    } else if (hook.place == Place::redirect) {
        filter.redirectTo = ifb == nullptr ? 0 : ifb->index;
    }
    if (device == nullptr || (hook.place == Place::redirect && ifb == nullptr)) {
        throw Failure("interface " + hook.interface.name + " is gone");
    }
    filter.program = program(next.kernel, hook.place).get();
    nl::Batch batch;
    tc::setFilter(batch, device->index, filter);
    if (hook.place == Place::port || hook.place == Place::inbound) {
        filter.parent = tc::handleOf(restMajor, 0);
        tc::setFilter(batch, device->index, filter);
    }
    socket_.run(batch);
}

// What is gone already is fine.
void Classifier::detach(const Hook& hook) {
    const Link* device = hook.place == Place::inbound ? links_.byName(ifbNameOf(hook.interface.index))
                                                      : links_.byIndex(hook.interface.index);
    if (device == nullptr) {
        return;
    }
    nl::Batch batch;
    tc::deleteFilter(batch, device->index, parentAt(hook.place), prefAt(hook.place));
    if (hook.place == Place::port || hook.place == Place::inbound) {
        tc::deleteFilter(batch, device->index, tc::handleOf(restMajor, 0), prefAt(hook.place));
    }
    try {
        socket_.run(batch);
    } catch (const nl::KernelError&) {
        return;
    }
}

void Classifier::removeStrays(const ClassifierPlan& after) {
    for (const tc::Qdisc& qdisc : ports_.qdiscs()) {
        if (qdisc.parent != TC_H_CLSACT) {
            continue;
        }
        const Link* link = links_.byIndex(qdisc.index);
        for (const Place place : {Place::ingress, Place::egress, Place::redirect}) {
            const Hook hook{{link == nullptr ? "" : link->name, qdisc.index}, place};
            if (!after.hooks.contains(hook)) {
                detach(hook);
            }
        }
    }
}

void Classifier::retreat(const State& stored, const ClassifierPlan& before, const ClassifierPlan& after,
                         bool all) {
    if (all) {
        removeStrays(after);
    }
    for (const Hook& hook : before.hooks) {
        if (after.hooks.contains(hook)) {
            continue;
        }
        // A clsact of ours that nothing of ours will need goes as a whole, later.
        const bool whole =
            onClsact(hook.place) &&
            std::find(stored.clsacts.begin(), stored.clsacts.end(), hook.interface) != stored.clsacts.end() &&
            std::none_of(after.hooks.begin(), after.hooks.end(), [&](const Hook& other) {
                return onClsact(other.place) && other.interface == hook.interface;
            });
        if (!whole || hook.place == Place::redirect) {
            detach(hook);
        }
    }
}

void Classifier::advance(const State& stored, const ClassifierPlan& held, const std::set<Hook>& standing,
                         State& next, const ClassifierPlan& after, bool rebuild) {
    setPcps(next, after, rebuild);
    fresh_.clear();
    if (after.hooks.empty()) {
        next.kernel = {};
        maps_.clear();
        programs_.clear();
        return;
    }
    rebuild = rebuild || !openMaps(next.kernel);
    if (rebuild) {
        createMaps(next.kernel);
    }
    const State nothing;
    const ClassifierPlan nowhere;
    writeMaps(rebuild ? nothing : stored, rebuild ? nowhere : held, next, after);
    for (const Hook& hook : after.hooks) {
        if (rebuild || !standing.contains(hook)) {
            attach(next, stored, hook);
        }
    }
}

void Classifier::tidy(State& next, const ClassifierPlan& after) {
    std::vector<Interface> kept;
    nl::Batch batch;
    for (const Interface& interface : next.clsacts) {
        const bool needed = std::any_of(after.hooks.begin(), after.hooks.end(), [&](const Hook& hook) {
            return onClsact(hook.place) && hook.interface == interface;
        });
        if (needed) {
            kept.push_back(interface);
            continue;
        }
        bool foreign = false;
        for (const Place place : {Place::ingress, Place::egress}) {
            for (const tc::Filter& filter : tc::filters(socket_, interface.index, parentAt(place))) {
                foreign = foreign || (filter.pref != classifyPref && filter.pref != redirectPref);
            }
        }
        if (foreign) {
            // Somebody uses what we made; it is theirs now, without our programs.
            for (const Place place : {Place::ingress, Place::egress, Place::redirect}) {
                detach({interface, place});
            }
        } else {
            tc::deleteQdisc(batch, interface.index, TC_H_CLSACT, 0);
        }
    }
    next.clsacts = kept;
    try {
        socket_.run(batch);
    } catch (const nl::KernelError&) {
        return; // gone before us
    }
}

// ---- PCP

void Classifier::setPcps(State& next, const ClassifierPlan& after, bool all) {
    nl::Batch batch;
    for (const auto& [interface, pcp] : next.pcps) {
        const Link* vlan = links_.byIndex(interface.index);
        if (vlan != nullptr && !after.pcps.contains({interface.index, pcp})) {
            setEgressPcp(batch, *vlan, FAPI_PCP + pcp, 0); // 0 takes the entry out of the map
        }
    }
    if (all) {
        for (const Link& link : links_.all()) {
            for (const auto& [priority, pcp] : link.egressPcp) {
                if ((priority & ~7U) == FAPI_PCP && !after.pcps.contains({link.index, pcp})) {
                    setEgressPcp(batch, link, priority, 0);
                }
            }
        }
    }
    std::vector<std::pair<Interface, uint32_t>> set;
    for (const auto& [index, pcp] : after.pcps) {
        const Link* vlan = links_.byIndex(index);
        if (vlan == nullptr) {
            continue;
        }
        const bool there =
            std::any_of(vlan->egressPcp.begin(), vlan->egressPcp.end(), [pcp = pcp](const auto& entry) {
                return entry.first == FAPI_PCP + pcp && entry.second == pcp;
            });
        if (!there) {
            setEgressPcp(batch, *vlan, FAPI_PCP + pcp, pcp);
        }
        set.emplace_back(Interface{vlan->name, vlan->index}, pcp);
    }
    next.pcps = set;
    socket_.run(batch);
}

} // namespace fapi
