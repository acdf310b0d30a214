#include "import/ucirules.h"

#include "import/words.h"

#include <algorithm>
#include <utility>

namespace importers {

namespace {

using Kind = Remark::Kind;

constexpr std::size_t maxUciRuleName = 40; // leaves room for what makes it unique

// "config classify voip" as a remark's subject.
std::string subject(const UciSection& section) {
    return "config " + section.type() + (section.name().empty() ? "" : " " + section.name());
}

// A rule of the other direction of the same connections.
Match swapped(Match match) {
    std::swap(match.destIp, match.sourceIp);
    std::swap(match.destPort, match.sourcePort);
    return match;
}

} // namespace

void UciRules::import(std::vector<UciSection>& sections) {
    std::vector<UciSection*> ordered;
    const auto collect = [&](const std::string& type) {
        std::vector<UciSection*> found;
        for (UciSection& section : sections) {
            if (section.type() == type) {
                found.push_back(&section);
            }
        }
        return found;
    };
    // The last one to reclassify a packet decides; of the others it is the first one.
    std::vector<UciSection*> overriding = collect("reclassify");
    std::reverse(overriding.begin(), overriding.end());
    for (const auto& group : {overriding, collect("classify"), collect("default")}) {
        ordered.insert(ordered.end(), group.begin(), group.end());
    }
    for (UciSection* section : ordered) {
        importRule(*section);
    }
}

void UciRules::importRule(UciSection& section) {
    Rule rule;
    const std::string obstacle = readRule(section, rule);
    if (!obstacle.empty()) {
        section.readAll();
        remark_(section.line(), subject(section), Kind::dropped, obstacle);
        return;
    }
    bool used = false;
    for (const UciWan& wan : wans_) {
        used = addRows(toWord(section.label(), maxUciRuleName), rule, wan) || used;
    }
    if (!used) {
        section.readAll();
        remark_(section.line(), subject(section), Kind::dropped,
                "no enabled interface has a class \"" + rule.target + "\"" +
                    (rule.direction == "in" ? " and a download rate" : ""));
        return;
    }
    const Match& first = rule.matches.front();
    if (rule.protocols.size() > 1 && first.destPort.value.empty() && first.sourcePort.value.empty()) {
        remark_(section.line(), subject(section), Kind::changed,
                "tcp and udp only, because a rule here is for one protocol of tcp, udp and igmp");
    }
    if (rule.direction.empty() && first.dscp) {
        remark_(section.line(), subject(section), Kind::changed,
                "packets that come back must carry the DSCP, too, because rules here see packets and not "
                "connections");
    }
}

std::string UciRules::readRule(UciSection& section, Rule& rule) {
    const UciOption* target = section.read("target");
    if (target == nullptr) {
        faults_.add(section.line(), subject(section) + " has no target; allowed: the name of a class");
        return "";
    }
    rule.target = target->value;
    rule.matches.emplace_back();
    for (auto read :
         {&UciRules::readDirection, &UciRules::readProtocols, &UciRules::readRest, &UciRules::readPorts}) {
        std::string obstacle = (this->*read)(section, rule);
        if (!obstacle.empty()) {
            return obstacle;
        }
    }
    return "";
}

std::string UciRules::readDirection(UciSection& section, Rule& rule) {
    const UciOption* direction = section.read("direction");
    rule.direction = direction == nullptr ? "" : lower(direction->value);
    if (rule.direction == "both") {
        rule.direction.clear();
    } else if (direction != nullptr && rule.direction != "in" && rule.direction != "out") {
        faults_.add(direction->line,
                    "direction \"" + direction->value + "\" is not allowed; allowed: in, out, both");
    }
    // Only what "classify" finds is remembered for the packets that come back.
    if (rule.direction.empty() && section.type() != "classify") {
        rule.direction = "out";
    }
    return "";
}

std::string UciRules::readProtocols(UciSection& section, Rule& rule) {
    const UciOption* option = section.read("proto");
    if (option == nullptr) {
        rule.protocols = {"tcp", "udp"};
        return "";
    }
    const std::string protocol = lower(option->value);
    if (protocol == "tcp" || protocol == "6") {
        rule.protocols = {"tcp"};
    } else if (protocol == "udp" || protocol == "17") {
        rule.protocols = {"udp"};
    } else if (protocol == "igmp" || protocol == "2") {
        rule.protocols = {"igmp"};
    } else if (protocol.empty() || protocol == "0" || protocol == "all" || protocol == "tcpudp" ||
               protocol == "tcp udp") {
        rule.protocols = {"tcp", "udp"};
    } else {
        return "proto " + option->value + ": rules here are for tcp, udp and igmp";
    }
    return "";
}

std::string UciRules::readRest(UciSection& section, Rule& rule) {
    for (const char* name : {"connbytes", "ipp2p", "layer7", "mark", "pktsize", "tos"}) {
        if (const UciOption* criterion = section.read(name)) {
            return std::string(name) + " " + criterion->value +
                   " is a criterion that rules here do not have, and without it the rule would match more";
        }
    }
    Match& match = rule.matches.front();
    match.destIp = readHost(section, "dsthost");
    match.sourceIp = readHost(section, "srchost");
    if (const UciOption* dscp = section.read("dscp")) {
        if (dscp->value.rfind('!', 0) == 0) {
            return "dscp " + dscp->value + ": a DSCP cannot be excluded";
        }
        match.dscp = toDscp(dscp->value);
        if (!match.dscp) {
            faults_.add(dscp->line,
                        "dscp \"" + dscp->value +
                            "\" is not allowed; allowed: an integer from 0 to 63, or a name such as "
                            "EF, CS1, AF41");
        }
    }
    if (const UciOption* flags = section.read("tcpflags")) {
        match.tcpAck = lower(flags->value) == "ack" && rule.protocols.front() == "tcp";
        if (!match.tcpAck) {
            return "tcpflags " + flags->value + ": of the flags there is only ACK here, with proto tcp";
        }
        rule.protocols = {"tcp"};
    }
    return "";
}

Criterion UciRules::readHost(UciSection& section, const std::string& name) {
    const UciOption* option = section.read(name);
    if (option == nullptr) {
        return {};
    }
    const bool exclude = option->value.rfind('!', 0) == 0;
    const std::string address = toAddress(trimmed(option->value.substr(exclude ? 1 : 0)));
    if (address.empty()) {
        faults_.add(option->line,
                    name + " \"" + option->value +
                        "\" is not allowed; allowed: an IPv4 or IPv6 address, with a prefix length or "
                        "not, with ! before it or not");
    }
    return {address, exclude};
}

std::vector<Criterion> UciRules::readPortList(UciSection& section, const std::string& name,
                                              std::string& obstacle) {
    std::vector<Criterion> ports;
    const UciOption* option = section.read(name);
    if (option == nullptr) {
        return ports;
    }
    const bool exclude = option->value.rfind('!', 0) == 0;
    for (const std::string& word : split(option->value.substr(exclude ? 1 : 0), ", ")) {
        ports.push_back({toPorts(word), exclude});
        if (ports.back().value.empty()) {
            std::string fault = name + " \"";
            fault += word + "\" is not allowed; allowed: ports from 0 to 65535 and ranges such as "
                            "5060-5061, separated by commas";
            faults_.add(option->line, fault);
        }
    }
    if (exclude && ports.size() > 1) {
        obstacle = name + " " + option->value + ": only one port or range can be excluded";
    }
    return ports;
}

std::string UciRules::readPorts(UciSection& section, Rule& rule) {
    std::string obstacle;
    const std::vector<Criterion> destPorts = readPortList(section, "dstports", obstacle);
    const std::vector<Criterion> sourcePorts = readPortList(section, "srcports", obstacle);
    std::vector<Criterion> eitherPorts = readPortList(section, "ports", obstacle);
    const std::vector<Criterion> range = readPortList(section, "portrange", obstacle);
    eitherPorts.insert(eitherPorts.end(), range.begin(), range.end());
    const bool hasBoth = !destPorts.empty() || !sourcePorts.empty();
    const bool hasPorts = hasBoth || !eitherPorts.empty();
    Match base = rule.matches.front();
    if (!obstacle.empty()) {
        return obstacle;
    }
    if (hasBoth && !eitherPorts.empty()) {
        return "ports together with srcports or dstports cannot be said in one rule here";
    }
    if (!eitherPorts.empty() && eitherPorts.front().exclude) {
        return "ports cannot be excluded for both ends at once";
    }
    if (hasPorts && rule.protocols.front() == "igmp") {
        return "igmp has no ports";
    }
    const bool hasMore = hasPorts || !base.destIp.value.empty() || !base.sourceIp.value.empty() || base.dscp;
    if (base.tcpAck && hasMore) {
        return "tcpflags: a rule for acknowledgements leaves all other criteria aside, so it would match "
               "more";
    }
    rule.matches.clear();
    for (const Criterion& port : eitherPorts) {
        Match match = base;
        match.destPort = port;
        rule.matches.push_back(match);
        rule.matches.push_back(swapped(match));
        std::swap(rule.matches.back().destIp, rule.matches.back().sourceIp); // the hosts stay
    }
    for (const Criterion& source : sourcePorts.empty() ? std::vector<Criterion>(1) : sourcePorts) {
        for (const Criterion& dest : destPorts.empty() ? std::vector<Criterion>(1) : destPorts) {
            if (eitherPorts.empty()) {
                base.sourcePort = source;
                base.destPort = dest;
                rule.matches.push_back(base);
            }
        }
    }
    return "";
}

bool UciRules::addRows(const std::string& name, const Rule& rule, const UciWan& wan) {
    const bool out = rule.direction != "in";
    const bool in = rule.direction != "out" && wan.hasDownload;
    const auto mark = wan.marks.find(rule.target);
    if (mark == wan.marks.end() || (!out && !in)) {
        return false;
    }
    Action action;
    action.name = rule.target;
    action.trafficClass = mark->second;
    action.queueInterface = wan.logical;
    const int actionId = rows_.addAction(action);
    for (const std::string& protocol : rule.protocols) {
        std::string base = name;
        if (rule.protocols.size() > 1) {
            base += "_" + protocol;
        }
        for (Match match : rule.matches) {
            match.protocol = protocol;
            if (out) {
                rows_.addRule(base, "LocalLAN", match, actionId);
            }
            if (in) {
                rows_.addRule(base + "_in", wan.logical, rule.direction == "in" ? match : swapped(match),
                              actionId);
            }
        }
    }
    return true;
}

} // namespace importers
