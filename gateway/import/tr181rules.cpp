#include "import/tr181rules.h"

#include "import/words.h"

#include <algorithm>

namespace importers {

namespace {

using Kind = Remark::Kind;

constexpr std::size_t maxTr181RuleName = 48; // leaves room for what makes it unique
constexpr int igmp = 2;
constexpr int tcp = 6;
constexpr int udp = 17;

// Criteria that a rule here does not have, with the value by which each says that it is not used.
constexpr std::pair<const char*, const char*> foreignCriteria[] = {
    {"DSAP", "-1"},
    {"DestClientID", ""},
    {"DestMACAddress", ""},
    {"DestUserClassID", ""},
    {"DestVendorClassID", ""},
    {"DestVendorClassIDv6", ""},
    {"DestVendorSpecificInfo", ""},
    {"EthernetDEICheck", "-1"},
    {"EthernetPriorityCheck", "-1"},
    {"Ethertype", "-1"},
    {"IPLengthMax", "0"},
    {"IPLengthMin", "0"},
    {"InnerEthernetPriorityCheck", "-1"},
    {"LLCControl", "-1"},
    {"OutOfBandInfo", ""},
    {"SNAPOUI", "-1"},
    {"SSAP", "-1"},
    {"SourceClientID", ""},
    {"SourceMACAddress", ""},
    {"SourceUserClassID", ""},
    {"SourceVendorClassID", ""},
    {"SourceVendorClassIDv6", ""},
    {"SourceVendorSpecificInfo", ""},
    {"VLANIDCheck", "-1"},
};

// What belongs to one of them and means nothing without it.
constexpr const char* companions[] = {
    "DHCPType",
    "DSAPExclude",
    "DestClientIDExclude",
    "DestMACExclude",
    "DestMACMask",
    "DestUserClassIDExclude",
    "DestVendorClassIDExclude",
    "DestVendorClassIDMode",
    "DestVendorSpecificInfoEnterprise",
    "DestVendorSpecificInfoExclude",
    "DestVendorSpecificInfoSubOption",
    "EthernetDEIExclude",
    "EthernetPriorityExclude",
    "EthertypeExclude",
    "IPLengthExclude",
    "InnerEthernetPriorityExclude",
    "LLCControlExclude",
    "SNAPOUIExclude",
    "SSAPExclude",
    "SourceClientIDExclude",
    "SourceMACExclude",
    "SourceMACMask",
    "SourceUserClassIDExclude",
    "SourceVendorClassIDExclude",
    "SourceVendorClassIDMode",
    "SourceVendorSpecificInfoEnterprise",
    "SourceVendorSpecificInfoExclude",
    "SourceVendorSpecificInfoSubOption",
    "VLANIDExclude",
};

} // namespace

void Tr181Rules::import() {
    std::vector<std::pair<long long, Object>> ordered;
    for (const Object& object : reader_.file().objects("Device.QoS.Classification.")) {
        ordered.emplace_back(reader_.number(object, "Order", 0, anyNumber, anyNumber), object);
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    for (const auto& [order, object] : ordered) {
        importRule(object);
    }
}

void Tr181Rules::importRule(const Object& object) {
    if (!reader_.enabled(object)) {
        reader_.leaveOut(object, "a disabled rule would keep all rules from being taken back on WAN down");
        return;
    }
    Rule rule;
    const std::string obstacle = readRule(object, rule);
    if (!obstacle.empty()) {
        reader_.leaveOut(object, obstacle);
        return;
    }
    const long long trafficClass = reader_.number(object, "TrafficClass", -1, anyNumber, -1);
    const std::vector<std::string> from = reader_.logicals(object);
    if (from.empty()) {
        reader_.leaveOut(object, "it names no interface");
        return;
    }
    const std::vector<QueueTarget> targets = queues_.serving(trafficClass);
    bool used = false;
    for (const std::string& interface : from) {
        used = addRows(object, rule, interface, targets) || used;
    }
    if (!used) {
        reader_.leaveOut(object, "no queue serves TrafficClass " + std::to_string(trafficClass) +
                                     " where such packets can leave");
        return;
    }
    const bool hasPorts = !rule.match.destPort.value.empty() || !rule.match.sourcePort.value.empty();
    if (rule.protocols.size() > 1 && !hasPorts) {
        reader_.remark(Kind::changed, object,
                       "tcp and udp only, because a rule here is for one protocol of tcp, udp and igmp");
    }
}

std::string Tr181Rules::readRule(const Object& object, Rule& rule) {
    rule.name = readName(object);
    for (auto read : {&Tr181Rules::readForeignCriteria, &Tr181Rules::readProtocols, &Tr181Rules::readMatch}) {
        std::string obstacle = (this->*read)(object, rule);
        if (!obstacle.empty()) {
            return obstacle;
        }
    }
    readMarks(object, rule);
    return "";
}

std::string Tr181Rules::readName(const Object& object) {
    const std::string alias = reader_.text(object, "Alias");
    const std::string name = toWord(alias, maxTr181RuleName);
    if (name != alias) {
        reader_.remark(Kind::changed, object.path + "Alias", name + ": letters, digits and _ are safe");
    }
    return name.empty() ? "classification_" + std::to_string(object.instance) : name;
}

std::string Tr181Rules::readForeignCriteria(const Object& object, Rule& /*rule*/) {
    for (const auto& [name, unused] : foreignCriteria) {
        const Parameter* criterion = reader_.file().read(object.path + name);
        if (criterion != nullptr && criterion->value != unused && !criterion->value.empty()) {
            return std::string(name) + "=" + criterion->value +
                   " is a criterion that rules here do not have, and without it the rule would match more";
        }
    }
    for (const char* name : companions) {
        reader_.file().read(object.path + name);
    }
    return "";
}

std::string Tr181Rules::readProtocols(const Object& object, Rule& rule) {
    const long long protocol = reader_.number(object, "Protocol", -1, 255, -1);
    rule.match.tcpAck = reader_.flag(object, "TCPACK");
    if (reader_.flag(object, "ProtocolExclude") && protocol >= 0) {
        return "ProtocolExclude: a protocol cannot be excluded";
    }
    if (reader_.flag(object, "TCPACKExclude") && rule.match.tcpAck) {
        return "TCPACKExclude: acknowledgements cannot be excluded";
    }
    if (protocol == tcp || (protocol < 0 && rule.match.tcpAck)) {
        rule.protocols = {"tcp"};
    } else if (protocol == udp && !rule.match.tcpAck) {
        rule.protocols = {"udp"};
    } else if (protocol == igmp && !rule.match.tcpAck) {
        rule.protocols = {"igmp"};
    } else if (protocol < 0) {
        rule.protocols = {"tcp", "udp"};
    } else {
        return "Protocol=" + std::to_string(protocol) +
               ": rules here are for 6 (tcp), 17 (udp) and 2 (igmp)" +
               (rule.match.tcpAck ? ", acknowledgements for 6" : "");
    }
    return "";
}

std::string Tr181Rules::readMatch(const Object& object, Rule& rule) {
    Match& match = rule.match;
    match.destIp = readAddress(object, "Dest");
    match.sourceIp = readAddress(object, "Source");
    match.destPort = readPorts(object, "Dest");
    match.sourcePort = readPorts(object, "Source");
    const long long dscp = reader_.number(object, "DSCPCheck", -1, 63, -1);
    const bool dscpExcluded = reader_.flag(object, "DSCPExclude");
    if (dscp >= 0) {
        if (dscpExcluded) {
            return "DSCPExclude: a DSCP cannot be excluded";
        }
        match.dscp = static_cast<int>(dscp);
    }
    const bool hasPorts = !match.destPort.value.empty() || !match.sourcePort.value.empty();
    const bool hasMore =
        hasPorts || !match.destIp.value.empty() || !match.sourceIp.value.empty() || match.dscp.has_value();
    if (match.tcpAck && hasMore) {
        return "TCPACK: a rule for acknowledgements leaves all other criteria aside, so it would match more";
    }
    if (hasPorts && rule.protocols.front() == "igmp") {
        return "igmp has no ports";
    }
    return "";
}

Criterion Tr181Rules::readAddress(const Object& object, const std::string& name) {
    const std::string address = reader_.text(object, name + "IP");
    const std::string mask = reader_.text(object, name + "Mask");
    const bool exclude = reader_.flag(object, name + "IPExclude");
    const bool maskIsAddress = address.empty() && mask.find('/') != std::string::npos;
    std::string value;
    if (!address.empty() && !mask.empty()) {
        value = toPrefix(address, mask);
    } else {
        value = toAddress(maskIsAddress ? mask : address);
    }
    if (value.empty() && !address.empty()) {
        const std::string path = object.path + name + "IP";
        reader_.faults().add(reader_.file().at(path).line,
                             path + ": \"" + address + "\"" +
                                 (mask.empty() ? "" : " with mask \"" + mask + "\"") +
                                 " is not allowed; allowed: an IPv4 or IPv6 address, and a mask such as /24, "
                                 "10.0.0.0/24 or 255.255.255.0");
    } else if (value.empty() && !mask.empty()) {
        reader_.remark(Kind::dropped, object.path + name + "Mask", "there is no address to it");
    }
    return {value, exclude};
}

Criterion Tr181Rules::readPorts(const Object& object, const std::string& name) {
    const long long first = reader_.number(object, name + "Port", -1, 65535, -1);
    const long long last = reader_.number(object, name + "PortRangeMax", -1, 65535, -1);
    const bool exclude = reader_.flag(object, name + "PortExclude");
    if (first < 0) {
        return {};
    }
    const std::string text = std::to_string(first) + (last < 0 ? "" : ":" + std::to_string(last));
    const std::string ports = toPorts(text);
    if (ports.empty()) {
        reader_.faults().add(reader_.file().at(object.path + name + "PortRangeMax").line,
                             object.path + name + "PortRangeMax: \"" + std::to_string(last) +
                                 "\" is not allowed; allowed: -1, or an integer from " +
                                 std::to_string(first) + " to 65535");
    }
    return {ports, exclude};
}

void Tr181Rules::readMarks(const Object& object, Rule& rule) {
    rule.dscpMark = readMark(object, "DSCPMark", 63);
    rule.pcpMark = readMark(object, "EthernetPriorityMark", 7);
}

int Tr181Rules::readMark(const Object& object, const std::string& name, int max) {
    const long long mark = reader_.number(object, name, -2, max, -1);
    if (mark == -2) {
        reader_.remark(Kind::dropped, object.path + name, "a mark cannot follow another one");
    } else if (mark == 0) {
        reader_.remark(Kind::dropped, object.path + name, "0 means here that the packet is left as it is");
    }
    return static_cast<int>(std::max(mark, 0LL));
}

bool Tr181Rules::addRows(const Object& object, const Rule& rule, const std::string& from,
                         const std::vector<QueueTarget>& targets) {
    bool added = false;
    for (const QueueTarget& target : targets) {
        // What came in from a provider leaves to the home, not to a provider.
        if (target.interface == from ||
            (Interfaces::isProvider(from) && Interfaces::isProvider(target.interface))) {
            continue;
        }
        if (from == "LocalLoopback" && target.interface == "LocalLAN") {
            reader_.remark(
                Kind::dropped, object,
                "what the gateway itself sends to LocalLAN: a rule cannot be limited to that way out");
            continue;
        }
        Action action;
        action.name = rule.name;
        action.dscpMark = rule.dscpMark;
        action.pcpMark = agreedPcp(object, rule.pcpMark, target);
        action.trafficClass = target.mark;
        action.queueInterface = target.interface;
        const int actionId = rows_.addAction(action);
        for (const std::string& protocol : rule.protocols) {
            Match match = rule.match;
            match.protocol = protocol;
            rows_.addRule(rule.protocols.size() > 1 ? rule.name + "_" + protocol : rule.name, from, match,
                          actionId);
        }
        added = true;
    }
    return added;
}

int Tr181Rules::agreedPcp(const Object& object, int pcp, const QueueTarget& target) {
    if (pcp == 0) {
        return 0;
    }
    const std::string& carrier = reader_.interfaces().carrier(target.interface);
    const int agreed = pcps_.emplace(std::make_pair(carrier, target.mark), pcp).first->second;
    if (agreed != pcp) {
        reader_.remark(Kind::dropped, object.path + "EthernetPriorityMark",
                       "an earlier rule gives packets of that queue on " + carrier + " the priority " +
                           std::to_string(agreed) + ", and there can be only one");
        return 0;
    }
    return pcp;
}

} // namespace importers
