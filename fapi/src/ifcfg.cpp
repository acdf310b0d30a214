// ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2

#include "failure.h"
#include "options.h"
#include "session.h"
#include "show.h"
#include "tools.h"
#include "values.h"

#include <algorithm>
#include <cstdio>

namespace fapi {

namespace {

constexpr uint64_t highestNumber = 255; // of categories and groups

struct WantedMap {
    std::string upper;
    int category;
    std::string base;
    std::string lowest;
    std::optional<int> group;
};

WantedMap readWanted(const Options& options, const std::string& upper) {
    WantedMap wanted{upper, static_cast<int>(readNumber("-t", options.need("-t"), 0, highestNumber)),
                     options.need("-b"), options.need("-l"), std::nullopt};
    if (const std::string* group = options.find("-g")) {
        wanted.group = static_cast<int>(readNumber("-g", *group, 0, highestNumber));
    }
    checkInterfaceName("-b", wanted.base);
    checkInterfaceName("-l", wanted.lowest);
    return wanted;
}

bool matches(const IfMap& map, const WantedMap& wanted) {
    return map.upper.name == wanted.upper && map.category == wanted.category &&
           map.base.name == wanted.base && map.lowest.name == wanted.lowest && map.group == wanted.group;
}

// An interface stands on one port, whatever number of mappings say so.
void refuseOtherBase(const State& state, const IfMap& map) {
    for (const IfMap& other : state.ifMaps) {
        if (other.upper == map.upper && !(other.base == map.base)) {
            throw Failure("already mapped to the base " + other.base.name);
        }
    }
}

void add(Session& session, const WantedMap& wanted) {
    State next = session.state();
    for (IfMap& map : next.ifMaps) {
        if (matches(map, wanted)) {
            ++map.uses;
            session.commit(next, false);
            return;
        }
    }
    const IfMap map{session.interface(wanted.upper),  wanted.category, session.interface(wanted.base),
                    session.interface(wanted.lowest), wanted.group,    1};
    refuseOtherBase(next, map);
    next.ifMaps.push_back(map);
    session.commit(next, false);
}

void remove(Session& session, const WantedMap& wanted) {
    State next = session.state();
    const auto found = std::find_if(next.ifMaps.begin(), next.ifMaps.end(),
                                    [&](const IfMap& map) { return matches(map, wanted); });
    if (found == next.ifMaps.end()) {
        throw Failure("no such mapping");
    }
    if (--found->uses == 0) {
        next.ifMaps.erase(found);
    }
    session.commit(next, false);
}

// "BASE CAT 2 ppp0", with the base first: whoever looks for "CAT 2.*ptm0" asks for a mapping of ptm0, not for
// one onto it.
void list(Session& session) {
    for (const IfMap& map : session.state().ifMaps) {
        if (map.group) {
            printf("%s INGGRP %d %s\n", map.base.name.c_str(), *map.group, map.upper.name.c_str());
        } else {
            printf("%s CAT %d %s\n", map.base.name.c_str(), map.category, map.upper.name.c_str());
        }
    }
}

} // namespace

void ifcfg(const Words& words, Subject& subject) {
    if (wantsShow(words)) {
        Session session(Access::read);
        puts(showIfMaps(session).c_str());
        return;
    }
    if (words.empty() || words[0] != "--ifmap") {
        throw Usage("the first option must be --ifmap (see --help)");
    }
    const Options options(Words(words.begin() + 1, words.end()), {{"-A", Arg::needed},
                                                                  {"-D", Arg::needed},
                                                                  {"-L", Arg::none},
                                                                  {"-t", Arg::needed},
                                                                  {"-b", Arg::needed},
                                                                  {"-l", Arg::needed},
                                                                  {"-g", Arg::needed}});
    const Operation operation = operationOf(options, "-A, -D and -L");
    if (operation == Operation::list) {
        Session session(Access::read);
        list(session);
        return;
    }
    const std::string& upper = objectOf(options, operation);
    checkInterfaceName(operation == Operation::add ? "-A" : "-D", upper);
    subject.text = "ifmap " + upper;
    const WantedMap wanted = readWanted(options, upper);
    subject.text += " on " + wanted.base;
    needPrivileges();
    Session session(Access::write);
    if (operation == Operation::add) {
        add(session, wanted);
    } else {
        remove(session, wanted);
    }
    tell("ifcfg", subject, session);
}

} // namespace fapi
