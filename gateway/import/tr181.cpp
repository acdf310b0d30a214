#include "import/tr181.h"

#include "import/tr181rules.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>

namespace importers {

namespace {

using Kind = Remark::Kind;

constexpr long long bitsPerKbit = 1000;
constexpr long long maxPercent = 100;

// Reasons for single parameters of the objects that are carried over, by the parameter's own name.
constexpr KnownReason parameterReasons[] = {
    {"Alias", "it has no name here"},
    {"App", "there are no application objects here"},
    {"CurrentShapingBurstSize", "it is a state"},
    {"CurrentShapingRate", "it is a state"},
    {"DefaultDSCPMark", "packets that no rule matches are not marked"},
    {"DefaultEthernetPriorityMark", "packets that no rule matches are not marked"},
    {"DefaultForwardingPolicy", "there is no policy routing here"},
    {"DefaultPolicer", "there are no policers here"},
    {"EthernetDEIMark", "that mark cannot be set"},
    {"ForwardingPolicy", "there is no policy routing here"},
    {"HardwareAssisted", "it is a property of the other gateway"},
    {"InnerEthernetPriorityMark", "only the outer priority can be set"},
    {"Policer", "there are no policers here"},
    {"REDPercentage", "the queue tool sets the thresholds of RED itself"},
    {"REDThreshold", "the queue tool sets the thresholds of RED itself"},
    {"ShapingBurstSize", "the tools choose the burst themselves"},
    {"ShapingRate", "a queue has no rate limit of its own here"},
    {"Status", "it is a state"},
};

std::string reasonFor(const std::string& path) {
    for (const char* table : {"App", "Flow", "Policer", "QueueStats"}) {
        if (path.rfind(std::string("Device.QoS.") + table + ".", 0) == 0) {
            return std::string("there is no ") + table + " table here";
        }
    }
    const std::string name = path.substr(path.rfind('.') + 1);
    std::string known = knownReason(parameterReasons, name);
    if (!known.empty()) {
        return known;
    }
    const bool isCount = name.rfind("Max", 0) == 0 || name.find("NumberOfEntries") != std::string::npos;
    return isCount ? "it is a property of the other gateway" : "the parameter is unknown here";
}

void importShaper(Tr181Reader& reader, const Object& object, QosRows& rows) {
    const bool enable = reader.enabled(object);
    const long long rate = reader.number(object, "ShapingRate", -1, anyNumber, -1);
    if (rate < 0) {
        reader.leaveOut(object, "it has no ShapingRate");
        return;
    }
    if (rate <= maxPercent) {
        reader.leaveOut(object, "its ShapingRate is a percentage, and the line's rate is not known here");
        return;
    }
    if (reader.flag(object, "AllInterfaces")) {
        reader.leaveOut(object, "a shaper is for one WAN port here");
        return;
    }
    const std::vector<std::string> logicals = reader.logicals(object);
    const std::string port = reader.wanPort(object);
    if (logicals.empty() || port.empty()) {
        reader.leaveOut(object, "there is no WAN port below its interface");
        return;
    }
    if (!rows.addShaper(enable, port, false, std::max(rate / bitsPerKbit, 1LL))) {
        reader.leaveOut(object, "the WAN port " + port + " has a shaper already");
        return;
    }
    if (reader.interfaces().carrier(logicals.front()) != port) {
        reader.remark(Kind::changed, object.path + "Interface",
                      port + ", the WAN port, with everything that goes through it");
    }
    if (rate % bitsPerKbit != 0) {
        reader.remark(Kind::changed, object.path + "ShapingRate", "rounded down to whole kbit/s");
    }
}

// "Device.WiFi." of "Device.WiFi.Radio.1.Enable".
std::string topObject(const std::string& path) {
    return path.substr(0, path.find('.', std::string("Device.").size()) + 1);
}

bool isNothing(const std::string& value) {
    return value.empty() || value == "-1" || value == "false";
}

// Whatever nobody has asked for.
void remarkUnread(Tr181Reader& reader) {
    struct Others {
        std::string firstPath;
        std::size_t count = 0;
    };
    std::map<std::string, Others> others;
    for (const std::string& path : reader.file().unread()) {
        if (path.rfind("Device.QoS.", 0) == 0) {
            if (!isNothing(reader.file().at(path).value)) {
                reader.remark(Kind::dropped, path, reasonFor(path));
            }
            continue;
        }
        Others& other = others[topObject(path)];
        other.count += 1;
        other.firstPath = path;
    }
    for (const auto& [top, other] : others) {
        const Object object = {top, 0, reader.file().at(other.firstPath).line};
        reader.remark(Kind::dropped, object,
                      std::to_string(other.count) + (other.count == 1 ? " parameter" : " parameters") +
                          " outside of Device.QoS.; the tables of interfaces are this gateway's own");
    }
}

} // namespace

Imported fromTr181(const std::string& fileName, const std::string& text, const Interfaces& interfaces) {
    requireText(fileName, text);
    Tr181Reader reader(fileName, text, interfaces);
    reader.faults().throwIfAny();
    QosRows rows;
    for (const Object& object : reader.file().objects("Device.QoS.Shaper.")) {
        importShaper(reader, object, rows);
    }
    const Tr181Queues queues(reader, rows);
    Tr181Rules(reader, queues, rows).import();
    reader.faults().throwIfAny();
    remarkUnread(reader);
    Imported imported{rows.file(), reader.remarks()};
    std::stable_sort(imported.remarks.begin(), imported.remarks.end(),
                     [](const Remark& left, const Remark& right) { return left.line < right.line; });
    return imported;
}

} // namespace importers
