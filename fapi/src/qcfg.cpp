// qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress
// qcfg --queue -A ptm0_q3 -i ptm0 -t egress -l 64 -m sp --priority 3 -d tail --map 3

#include "failure.h"
#include "options.h"
#include "session.h"
#include "show.h"
#include "tools.h"
#include "values.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace fapi {

namespace {

constexpr uint64_t highestMark = UINT32_MAX;

Direction readDirection(const Options& options) {
    const std::string& text = options.need("-t");
    if (text != "egress" && text != "ingress") {
        throw Usage("option -t: '" + text + "' is neither egress nor ingress");
    }
    return text == "egress" ? Direction::egress : Direction::ingress;
}

const std::string& interfaceIn(const Options& options) {
    const std::string& name = options.need("-i");
    checkInterfaceName("-i", name);
    return name;
}

// What the line is about: its object's name and interface, which every error names from then on.
void introduce(const Options& options, Operation operation, const char* kind, Subject& subject) {
    const std::string& name = objectOf(options, operation);
    checkName("name", name);
    subject.text = std::string(kind) + " " + name;
    subject.text += " on " + interfaceIn(options);
}

// ---- shapers

Shaper readShaper(const Options& options, Operation operation) {
    Shaper shaper;
    shaper.name = objectOf(options, operation);
    shaper.port.name = interfaceIn(options);
    shaper.direction = readDirection(options);
    if (operation == Operation::remove) {
        return shaper; // the rest of the line only repeats what was added
    }
    if (options.need("-s") != "cb") {
        throw Usage("option -s: only 'cb' is known, not '" + options.need("-s") + "'");
    }
    shaper.kbit = readNumber("--pir", options.need("--pir"), 1, highestKbit);
    return shaper;
}

Missing changeShaper(Session& session, Operation operation, Shaper shaper, bool force) {
    State next = session.state();
    shaper.port = session.interface(shaper.port.name);
    const auto found = std::find_if(next.shapers.begin(), next.shapers.end(), [&](const Shaper& other) {
        return other.port == shaper.port && other.direction == shaper.direction;
    });
    const bool exists = found != next.shapers.end();
    const bool other = exists && found->name != shaper.name;
    if (operation == Operation::add && other) {
        throw Failure("the port already has the shaper " + found->name);
    }
    if (operation != Operation::add && (!exists || other)) {
        throw Failure("no such shaper" + (other ? " (the port has " + found->name + ")" : ""));
    }
    if (operation == Operation::remove) {
        next.shapers.erase(found);
    } else if (exists) {
        *found = shaper;
    } else {
        next.shapers.push_back(shaper);
    }
    return session.commit(next, force);
}

void warnOf(const Missing& missing, const Subject& subject) {
    if (missing.cutter) {
        warn("qcfg", subject, "the kernel has no tbf; offloaded packets are not cut and delay others");
    }
    if (!missing.freed) {
        warn("qcfg", subject,
             "a class on the port that is not ours, or not any more, is used by others and stays");
    }
}

void port(const Words& words, Subject& subject) {
    const Options options(words, {{"-A", Arg::needed},
                                  {"-M", Arg::needed},
                                  {"-D", Arg::needed},
                                  {"-i", Arg::needed},
                                  {"-s", Arg::needed},
                                  {"--pir", Arg::needed},
                                  {"-t", Arg::needed},
                                  {"--force", Arg::none}});
    const Operation operation = operationOf(options, "-A, -M and -D");
    introduce(options, operation, "shaper", subject);
    const Shaper shaper = readShaper(options, operation);
    needPrivileges();
    Session session(Access::write);
    warnOf(changeShaper(session, operation, shaper, options.has("--force")), subject);
    tell("qcfg", subject, session);
}

// ---- queues

void readScheduler(const Options& options, Queue& queue) {
    const std::string& scheduler = options.need("-m");
    if (scheduler != "sp" && scheduler != "wfq") {
        throw Usage("option -m: '" + scheduler + "' is neither sp nor wfq");
    }
    const bool strict = scheduler == "sp";
    if (options.has(strict ? "--weight" : "--priority")) {
        throw Usage(strict ? "option --weight does not go with -m sp"
                           : "option --priority does not go with -m wfq");
    }
    queue.scheduler = strict ? Scheduler::strict : Scheduler::weighted;
    queue.value = static_cast<uint32_t>(
        strict ? readNumber("--priority", options.need("--priority"), 0, highestPrecedence)
               : readNumber("--weight", options.need("--weight"), 1, highestWeight));
}

Queue readQueue(const Options& options, Operation operation) {
    Queue queue;
    queue.name = objectOf(options, operation);
    queue.owner.name = interfaceIn(options);
    queue.direction = readDirection(options);
    if (operation == Operation::remove) {
        return queue; // the rest of the line only repeats what was added
    }
    queue.length = static_cast<uint32_t>(readNumber("-l", options.need("-l"), 0, highestLength));
    readScheduler(options, queue);
    const std::string& drop = options.need("-d");
    if (drop != "tail" && drop != "red") {
        throw Usage("option -d: '" + drop + "' is neither tail nor red");
    }
    queue.drop = drop == "tail" ? Drop::tail : Drop::red;
    queue.mark = static_cast<uint32_t>(readNumber("--map", options.need("--map"), 0, highestMark));
    return queue;
}

// Not taken by any queue, on whatever port: a later interface map may bring queues together.
uint16_t freeMinor(const State& state) {
    std::set<uint16_t> taken;
    for (const Queue& queue : state.queues) {
        taken.insert(queue.minor);
    }
    for (uint16_t minor = firstQueueMinor; minor <= lastQueueMinor; ++minor) {
        if (!taken.contains(minor)) {
            return minor;
        }
    }
    throw Failure("there is no room for another queue");
}

void refuseSharedMark(const State& state, const Queue& queue) {
    for (const Queue& other : state.queues) {
        if (other.owner == queue.owner && other.direction == queue.direction && other.mark == queue.mark &&
            other.name != queue.name) {
            throw Failure("the queue " + other.name + " already takes mark " + std::to_string(queue.mark));
        }
    }
}

Missing changeQueue(Session& session, Operation operation, Queue queue, bool force) {
    State next = session.state();
    queue.owner = session.interface(queue.owner.name);
    const auto found = std::find_if(next.queues.begin(), next.queues.end(), [&](const Queue& other) {
        return other.owner == queue.owner && other.direction == queue.direction && other.name == queue.name;
    });
    const bool exists = found != next.queues.end();
    if (exists && operation == Operation::add) {
        throw Failure("the name is in use");
    }
    if (!exists && operation != Operation::add) {
        throw Failure("no such queue");
    }
    if (operation == Operation::remove) {
        next.queues.erase(found);
        return session.commit(next, force);
    }
    refuseSharedMark(next, queue);
    if (exists) {
        queue.minor = found->minor;
        *found = queue;
    } else {
        queue.minor = freeMinor(next);
        next.queues.push_back(queue);
    }
    return session.commit(next, force);
}

void listQueues(const Options& options) {
    if (options.need("-L") != "all") {
        throw Usage("option -L: only 'all' is known, not '" + options.need("-L") + "'");
    }
    const std::string& owner = interfaceIn(options);
    const Direction direction = options.has("-t") ? readDirection(options) : Direction::egress;
    Session session(Access::read);
    (void)session.interface(owner); // a mistyped one is not one without queues
    for (const Queue& queue : session.state().queues) {
        if (queue.owner.name == owner && queue.direction == direction) {
            puts(queue.name.c_str());
        }
    }
}

void queue(const Words& words, Subject& subject) {
    const Options options(words, {{"-A", Arg::needed},
                                  {"-M", Arg::needed},
                                  {"-D", Arg::needed},
                                  {"-L", Arg::needed},
                                  {"-i", Arg::needed},
                                  {"-t", Arg::needed},
                                  {"-l", Arg::needed},
                                  {"-m", Arg::needed},
                                  {"--priority", Arg::needed},
                                  {"--weight", Arg::needed},
                                  {"-d", Arg::needed},
                                  {"--map", Arg::needed},
                                  {"--force", Arg::none}});
    const Operation operation = operationOf(options);
    if (operation == Operation::list) {
        subject.text = "queues";
        listQueues(options);
        return;
    }
    introduce(options, operation, "queue", subject);
    const Queue wanted = readQueue(options, operation);
    needPrivileges();
    Session session(Access::write);
    const Missing missing = changeQueue(session, operation, wanted, options.has("--force"));
    if (missing.red && wanted.drop == Drop::red && operation != Operation::remove) {
        warn("qcfg", subject, "the kernel has no RED; the queue drops at its tail");
    }
    warnOf(missing, subject);
    tell("qcfg", subject, session);
}

} // namespace

void qcfg(const Words& words, Subject& subject) {
    if (wantsShow(words)) {
        Session session(Access::read);
        puts(showPorts(session).c_str());
        return;
    }
    if (words.empty() || (words[0] != "--port" && words[0] != "--queue")) {
        throw Usage("the first option must be --port or --queue (see --help)");
    }
    const Words rest(words.begin() + 1, words.end());
    if (words[0] == "--port") {
        port(rest, subject);
    } else {
        queue(rest, subject);
    }
}

} // namespace fapi
