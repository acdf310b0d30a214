#include "generator.h"

#include <algorithm>
#include <limits>

namespace e2e::model {

namespace {

const std::vector<std::string>& providers() {
    static const std::vector<std::string> names = {"ProviderInternet", "ProviderIPTV", "ProviderVoIP",
                                                   "ProviderTR069"};
    return names;
}

// Names that are awkward for whoever builds command lines, undo commands or log lines from them.
constexpr std::initializer_list<const char*> awkwardNames = {
    "",     "x-A",     "-A",          "y-M",  "z-D",     "two words", "100%s%n", "it's",  "q\"q",  "Küche",
    "a\nb", "$(true)", "back\\slash", "-M-A", "<=> <=>", "root",      "100%s",   "a@b+c", "x=/,:", "x-D-M-A",
};

} // namespace

Generator::Generator(Random& random, const Json& schema)
    : random_(random), schema_(schema), oddness_(random.oneOf({0U, 5U, 15U, 40U})) {}

void Generator::odd(Json& row, const char* column, const Json& value, unsigned percent) {
    if (random_.chance(oddness_) && random_.chance(percent * 8)) {
        if (random_.chance(25)) {
            row.erase(column);
        } else {
            row[column] = value;
        }
    }
}

Json Generator::flag() {
    return random_.chance(oddness_ / 4) ? random_.oneOf({2, -1, 0, 77}) : random_.chance(80) ? 1 : 0;
}

std::string Generator::name(const char* kind, int id) {
    if (random_.chance(oddness_ / 4)) {
        return random_.text(awkwardNames);
    }
    return kind + std::to_string(id);
}

std::string Generator::logicalName() {
    if (random_.chance(oddness_ / 8)) {
        return random_.text({"", "providerinternet", "ProviderInternet ", "LocalWLAN", "LocalLAN2"});
    }
    const unsigned draw = random_.below(10);
    return draw < 5 ? random_.oneOf(providers()) : draw < 8 ? "LocalLAN" : "LocalLoopback";
}

std::string Generator::interfaceName() {
    return random_.oneOf(interfaces_);
}

// --- nodes: one to three roots and stacks above them

Json Generator::node(int id, const std::string& name, const std::string& type, const std::string& parent) {
    Json row = {{"Id", id},
                {"Enable", random_.chance(85) ? 1 : 0},
                {"InterfaceName", name},
                {"Type", type},
                {"ParentInterface", parent}};
    odd(row, "Enable", random_.oneOf({2, -1, 256}));
    return row;
}

void Generator::addNodes(Json& gateway) {
    Json& rows = gateway["NetworkSetupNode"] = Json::array();
    int id = 1 + static_cast<int>(random_.below(3));
    interfaces_.clear();
    const auto add = [&](const std::string& name, const std::string& type, const std::string& parent) {
        rows.push_back(node(++id, name, type, parent));
        interfaces_.push_back(name);
    };
    const unsigned roots = random_.chance(oddness_ / 8) ? 0 : 1 + random_.below(3);
    for (unsigned root = 0; root < roots; ++root) {
        const std::string type = random_.text({"XDSL", "XDSL", "WANoE", "MPoA"});
        const std::string name = type == "XDSL"    ? random_.text({"ptm0", "dsl0", "atm0"})
                                 : type == "WANoE" ? random_.text({"eth1", "eth4"})
                                                   : random_.text({"nas_atm0", "nas0"});
        if (std::find(interfaces_.begin(), interfaces_.end(), name) != interfaces_.end()) {
            continue;
        }
        const bool oddParent = random_.chance(oddness_ / 4) && name.find("atm") != std::string::npos;
        add(name, random_.chance(oddness_ / 6) ? random_.text({"xdsl", "", "Bridge"}) : type,
            oddParent ? "nowhere" : "root");
        const unsigned stacks = random_.below(4);
        for (unsigned stack = 0; stack < stacks; ++stack) {
            std::string below = name;
            const unsigned depth = 1 + random_.below(3);
            for (unsigned level = 0; level < depth; ++level) {
                const std::string above = (level % 2 == 0 ? name + "." : "ppp") +
                                          std::to_string(7 + stack + 10 * root + 40 * level);
                add(above, level % 2 == 0 ? "VLAN" : "PPP", below);
                below = above;
            }
        }
    }
    if (!rows.empty() && random_.chance(oddness_ / 4)) {
        // A second row of a root's name, which is found first where the name is looked up.
        Json twin = rows.front();
        twin["Id"] = 0;
        twin["Type"] = random_.text({"Bridge", "VLAN", "WANoE"});
        rows.insert(rows.begin(), twin);
    }
    if (random_.chance(oddness_ / 6)) {
        add("lost0", "PPP", random_.text({"missing0", ""}));
    }
    if (interfaces_.empty()) {
        interfaces_.push_back("nothing0");
    }
}

// --- what is up

void Generator::addStatus(Json& gateway) {
    Json line = {
        {"Id", 1 + random_.below(3)}, {"Status", random_.chance(80) ? 4 : 0}, {"StatusString", "Showtime"}};
    odd(line, "Status", random_.oneOf({5, 3, -4, 44}));
    odd(line, "StatusString", random_.text(awkwardNames));
    gateway["StatusDsl"] = random_.chance(oddness_ / 6) ? Json::array() : Json::array({line});
    if (random_.chance(10)) {
        gateway["StatusDsl"].push_back(
            {{"Id", 9}, {"Status", random_.oneOf({0, 4})}, {"StatusString", "second"}});
    }

    Json& rows = gateway["StatusNetifWatchLogical"] = Json::array();
    int id = 0;
    const auto add = [&](const std::string& name, const std::string& interface, bool up) {
        Json row = {{"Id", ++id},
                    {"Name", name},
                    {"Interface", interface},
                    {"IsUp", up ? 1 : 0},
                    {"Addr", up ? "203.0.113." + std::to_string(id) : "0.0.0.0"}};
        odd(row, "IsUp", random_.oneOf({2, -1, 0}));
        odd(row, "Addr", random_.text({"", "0.0.0.0", "0.0.0.0 ", "fe80::1"}));
        if (random_.chance(name.starts_with("Local") ? oddness_ / 4 : oddness_ / 10)) {
            row["Interface"] = random_.text({"missing1", "", "", "off", "OFF"});
        }
        rows.push_back(row);
    };
    const auto local = [&](const char* name, const char* interface) {
        const unsigned count = random_.chance(oddness_ / 3) ? random_.below(3) : 1;
        for (unsigned each = 0; each < count; ++each) {
            add(name, random_.chance(oddness_ / 4) ? interfaceName() : interface + std::string(each, '1'),
                true);
        }
    };
    if (random_.chance(50)) {
        local("LocalLoopback", "lo");
    }
    for (const std::string& provider : providers()) {
        if (provider == "ProviderInternet" ? random_.chance(95) : random_.chance(60)) {
            add(provider, random_.chance(8) ? "off" : interfaceName(), random_.chance(75));
        }
    }
    if (random_.chance(oddness_ / 4)) {
        add(random_.oneOf(providers()), interfaceName(), true);
    }
    local("LocalLAN", "br0");
    if (!random_.chance(50)) {
        local("LocalLoopback", "lo");
    }
}

// --- QoS rows

Json Generator::shaper(int id) {
    Json row = {{"Id", id},
                {"Enable", flag()},
                {"InterfaceName", interfaceName()},
                {"ShapeEgress", flag()},
                {"ShapeIngress", random_.below(2)},
                {"ShapingRate", random_.below(100000)}};
    odd(row, "ShapingRate", random_.oneOf({0, -5, std::numeric_limits<int>::max()}), 8);
    odd(row, "InterfaceName", random_.text(awkwardNames));
    return row;
}

std::string Generator::trafficClasses() {
    if (random_.chance(oddness_ / 8)) {
        return random_.text({"", "x", ",1", " ", "none"});
    }
    if (random_.chance(oddness_)) {
        return random_.text({"3;4", "9,15", "1, 2", "1 ,2", "2 3", " 4 ", "5,,6", "0x10", "-1,2", "+3",
                             "1,1,1", "7,x", "4294967296", "1,99999999999", "08,2", "3.5", "1\n2\t3", "2,"});
    }
    std::string text = std::to_string(1 + random_.below(8));
    while (random_.chance(30)) {
        text += "," + std::to_string(random_.below(9));
    }
    return text;
}

Json Generator::queue(int id) {
    Json row = {{"Id", id},
                {"Enable", flag()},
                {"Name", name("queue", id)},
                {"InterfaceName", logicalName()},
                {"Egress", flag()},
                {"Ingress", random_.chance(30) ? flag() : Json(0)},
                {"TrafficClasses", trafficClasses()},
                {"BufferLen", random_.below(300)},
                {"Scheduler", random_.text({"SP", "WFQ"})},
                {"WFQWeight", random_.below(101)},
                {"Precedence", random_.below(9)},
                {"DropAlgorithm", random_.text({"DT", "RED"})}};
    if (random_.chance(oddness_ / 8)) {
        row["InterfaceName"] = "Nowhere"; // counts as carried by the interface ""
        row["TrafficClasses"] = random_.text({"", "1", "none"});
    }
    odd(row, "Scheduler", random_.text({"sp", "wfq", "", "SP "}));
    odd(row, "DropAlgorithm", random_.text({"red", "dt", "", "DTRED"}));
    odd(row, "Precedence", random_.oneOf({9, 15, -1, 8, 100}), 8);
    odd(row, "BufferLen", random_.oneOf({0LL, -1LL, 65536LL, 5000000000LL}));
    odd(row, "WFQWeight", random_.oneOf({0, -3, 5000}));
    return row;
}

Json Generator::action(int id) {
    const int trafficClass = static_cast<int>(1 + random_.below(8));
    Json row = {{"Id", id},
                {"Name", name("action", id)},
                {"QueueInterface", logicalName()},
                {"TrafficClass", trafficClass},
                {"DSCPMark", random_.below(64)},
                // Of the same traffic class as another action, mostly without a conflict.
                {"EthPriorityMark", random_.chance(50) ? 0 : trafficClass % 8}};
    odd(row, "EthPriorityMark", random_.oneOf({8, -1, 3, 7}), 8);
    odd(row, "DSCPMark", random_.oneOf({63, 64, -1, 1000}));
    odd(row, "TrafficClass", random_.oneOf({0, 9, -2, 255}));
    return row;
}

Json Generator::dscpMatch() {
    const int dscp = static_cast<int>(random_.below(64));
    if (random_.chance(20)) {
        return -1;
    }
    if (!random_.chance(oddness_)) {
        return dscp;
    }
    // Texts survive fitted() only where the column is one.
    return random_.oneOf<Json>({" 46", "46abc", "-1", "+7", "0x2e", 0, 64, -2, -2, "-2"});
}

Json Generator::rule(int id) {
    Json row = {{"Id", id},
                {"Enable", random_.chance(95 - oddness_ / 2) ? 1 : 0},
                {"Name", name("rule", id)},
                {"ClassifyInterface", logicalName()},
                {"Protocol", random_.text({"udp", "tcp", "tcp", "igmp"})},
                {"QoSClassificationActionId", 1 + random_.below(4)}};
    const auto maybe = [&](const char* column, const Json& value, unsigned percent) {
        if (random_.chance(percent)) {
            row[column] = value;
        }
    };
    maybe("DestIP", random_.text({"10.0.0.2", "192.0.2.0/24", "", "2001:db8::/32"}), 40);
    maybe("SourceIP", random_.text({"192.168.1.10", ""}), 40);
    odd(row, "SourceIP", random_.text({"10.0.0.1 10.0.0.2", "-1", "a'b"}), 1);
    maybe("DestPortRange", random_.text({"80", "5060:5061", ""}), 40);
    maybe("SourcePortRange", random_.text({"1024:65535", ""}), 30);
    for (const char* column :
         {"DestIPExclude", "SourceIPExclude", "DestPortRangeExclude", "SourcePortRangeExclude"}) {
        maybe(column, flag(), 30);
    }
    maybe("DSCPMatch", dscpMatch(), 40);
    maybe("TCPACK", flag(), row["Protocol"] == "tcp" ? 25 : oddness_ / 8);
    maybe("DSCPMatchExclude", random_.oneOf({0, 1, 2}), oddness_ / 2);
    odd(row, "Protocol", random_.text({"", "UDP", "icmp", "tcp "}), 2);
    odd(row, "QoSClassificationActionId", random_.oneOf({0, 77, -1}), 1);
    if (random_.chance(oddness_ / 4)) {
        row["DSCPMatch"] = random_.text({"", "EF", "99999999999"});
    }
    return row;
}

Json Generator::gateway() {
    Json result;
    addNodes(result);
    addStatus(result);
    const auto fill = [&](const char* table, unsigned count, auto make) {
        result[table] = Json::array();
        for (unsigned each = 1; each <= count; ++each) {
            result[table].push_back((this->*make)(static_cast<int>(each * 3)));
        }
    };
    fill("QoSShaper", random_.below(4), &Generator::shaper);
    fill("QoSQueues", random_.below(9), &Generator::queue);
    fill("QoSClassificationAction", 0, &Generator::action);
    for (int id = 1; id <= 4; ++id) {
        if (!random_.chance(oddness_ / 10)) {
            result["QoSClassificationAction"].push_back(action(id));
        }
    }
    fill("QoSClassification", random_.chance(5) ? 50 : random_.below(9), &Generator::rule);
    return fitted(result);
}

// --- changes

void Generator::toggleInternet(Json& gateway) {
    for (Json& row : gateway["StatusNetifWatchLogical"]) {
        if (row.value("Name", "") == "ProviderInternet") {
            const bool up = row.contains("IsUp") && (row["IsUp"] == 1 || row["IsUp"] == "1");
            row["IsUp"] = up ? 0 : 1;
            row["Addr"] = up ? "0.0.0.0" : "198.51.100." + std::to_string(random_.below(250));
            return;
        }
    }
    changeRow(gateway);
}

void Generator::toggleLine(Json& gateway) {
    if (gateway["StatusDsl"].empty()) {
        gateway["StatusDsl"].push_back({{"Id", 4}, {"Status", 4}, {"StatusString", "back"}});
        return;
    }
    Json& row = gateway["StatusDsl"].front();
    const bool up = row.contains("Status") && (row["Status"] == 4 || row["Status"] == "4");
    row["Status"] = up ? 0 : 4;
    row["StatusString"] = "changed " + std::to_string(random_.below(1000));
}

void Generator::changeRow(Json& gateway) {
    const std::string table =
        random_.text({"QoSShaper", "QoSQueues", "QoSClassificationAction", "QoSClassification"});
    Json& rows = gateway[table];
    const int id = 100 + static_cast<int>(random_.below(100));
    const auto make = [&](int number) {
        return table == "QoSShaper"           ? shaper(number)
               : table == "QoSQueues"         ? queue(number)
               : table == "QoSClassification" ? rule(number)
                                              : action(number);
    };
    const bool taken =
        std::any_of(rows.begin(), rows.end(), [&](const Json& row) { return row["Id"] == id; });
    if (rows.empty() || (random_.chance(30) && !taken)) {
        rows.push_back(make(id));
        return;
    }
    const std::size_t index = random_.below(static_cast<unsigned>(rows.size()));
    if (random_.chance(25) && table != "QoSClassificationAction") {
        rows.erase(index);
    } else {
        rows[index] = make(rows[index]["Id"]);
    }
}

Json Generator::changed(const Json& gateway) {
    Json result = gateway;
    const unsigned draw = random_.below(100);
    if (draw < 50) {
        toggleInternet(result);
    } else if (draw < 65) {
        toggleLine(result);
    } else if (draw < 80) {
        changeRow(result);
    } else if (draw < 90) {
        toggleInternet(result);
        changeRow(result);
        changeRow(result);
    } else {
        result = this->gateway();
    }
    return fitted(result);
}

namespace {

// The value in the column's type; nothing if there is none.
Json inType(const std::string& type, const Json& value) {
    if (type == "string") {
        return value.is_number() ? Json(std::to_string(value.get<long long>())) : value;
    }
    if (value.is_string()) {
        return nullptr;
    }
    if (type == "boolean") {
        return value.is_boolean() ? value : Json(value.get<long long>() == 1);
    }
    return value;
}

Json fittedRow(const Json& row, const Json& columns) {
    Json result = Json::object();
    for (const auto& [column, details] : columns.items()) {
        const Json& type = details["type"];
        const std::string base = type.is_object() ? type["key"] : type;
        const bool optional = type.is_object() && type["min"] == 0;
        const Json value = row.contains(column) ? inType(base, row[column]) : Json();
        if (!value.is_null()) {
            result[column] = value;
        } else if (!optional) {
            result[column] = base == "string" ? Json("") : base == "boolean" ? Json(false) : Json(0);
        }
    }
    return result;
}

} // namespace

Json Generator::fitted(const Json& gateway) const {
    Json result = Json::object();
    for (const auto& [table, description] : schema_["tables"].items()) {
        result[table] = Json::array();
        for (const Json& row : gateway.value(table, Json::array())) {
            result[table].push_back(fittedRow(row, description["columns"]));
        }
    }
    return result;
}

} // namespace e2e::model
