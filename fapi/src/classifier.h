// The classifier in the kernel: its maps, its programs, and their places on the interfaces. Nothing is
// pinned; maps and programs are found again by the ids in the state, and live as long as a program stands
// anywhere.
#pragma once

#include "bpf.h"
#include "plan.h"
#include "ports.h"
#include "store.h"

#include <optional>
#include <set>

namespace fapi {

class Classifier {
  public:
    Classifier(nl::Socket& socket, Links& links, Ports& ports, Store& store)
        : socket_(socket), links_(links), ports_(ports), store_(store) {}

    // Is the interface's ingress program there?
    bool standsAt(const Interface& in);
    // Has each interface that programs stand at still its clsact?
    bool intact(const ClassifierPlan& plan);

    // Takes away programs and map entries that `after` has no use for; to be called before ports lose their
    // devices.
    void retreat(const State& stored, const ClassifierPlan& before, const ClassifierPlan& after, bool all);
    // Brings what `after` needs, and writes ids and ownership into `next`. stored and held: what the maps
    // hold; standing: the hooks that are in place; rebuild: everything anew.
    void advance(const State& stored, const ClassifierPlan& held, const std::set<Hook>& standing, State& next,
                 const ClassifierPlan& after, bool rebuild);
    // Deletes what has no program left: clsact qdiscs of ours. Writes ownership into `next`.
    void tidy(State& next, const ClassifierPlan& after);

    // Packets and bytes that a rule was applied to.
    fapi_hits hitsOf(const Kernel& kernel, uint32_t slot);

  private:
    bool openMaps(const Kernel& kernel);
    const UniqueFd& map(fapi_map which);
    const std::vector<UniqueFd>& allMaps();
    void createMaps(Kernel& kernel);
    void writeMaps(const State& before, const ClassifierPlan& had, const State& next,
                   const ClassifierPlan& after);
    void writeRules(const State& before, const ClassifierPlan& had, const State& next,
                    const ClassifierPlan& after);
    void eraseRules(const State& before, const State& next);
    const UniqueFd& program(Kernel& kernel, Place place);
    void needClsact(State& next, const State& stored, const Interface& interface, Place place);
    void attach(State& next, const State& stored, const Hook& hook);
    void detach(const Hook& hook);
    void removeStrays(const ClassifierPlan& after);
    void setPcps(State& next, const ClassifierPlan& after, bool all);
    const tc::Qdisc* ingressQdisc(int index);

    nl::Socket& socket_;
    Links& links_;
    Ports& ports_;
    Store& store_;
    std::array<uint32_t, FAPI_MAPS> mapIds_{};
    std::vector<UniqueFd> maps_; // by fapi_map, open or not yet; none before openMaps() or createMaps()
    std::map<Place, UniqueFd> programs_;
    std::set<int> fresh_; // interfaces that got their clsact in this call
};

} // namespace fapi
