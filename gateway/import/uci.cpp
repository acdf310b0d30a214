#include "import/uci.h"

#include "import/precedences.h"
#include "import/ucirules.h"
#include "import/words.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

namespace importers {

namespace {

using Kind = Remark::Kind;

constexpr long long maxRate = 10'000'000; // kbit/s

constexpr KnownReason optionReasons[] = {
    {"avgrate", "a weighted queue has its share, and no guaranteed rate beside it"},
    {"comment", "a rule has a name and no comment"},
    {"halfduplex", "each direction is shaped by itself"},
    {"limitrate", "a queue has no rate limit of its own here"},
    {"maxsize", "packets are not sorted by size"},
    {"overhead", "rates are not reduced; choose them a little below what the line carries"},
    {"packetdelay", "a weighted queue has its share, and no delay to keep"},
    {"packetsize", "a weighted queue has its share, and no delay to keep"},
};

class UciImporter {
  public:
    UciImporter(const std::string& fileName, const std::string& text, const Interfaces& interfaces)
        : interfaces_(interfaces), faults_(fileName), sections_(parseUci(text, faults_)) {
        faults_.throwIfAny();
    }

    Imported import();

  private:
    void importInterface(UciSection& section);
    void importShaper(UciSection& section, const char* option, bool ingress, bool enable,
                      const std::string& port);
    // Returns the marks of the classes.
    std::map<std::string, int> importClasses(UciSection& interface, const std::string& logical, bool enable,
                                             bool hasDownload);
    void addQueue(const std::string& className, Queue queue);
    std::string logicalOf(const UciSection& section);
    UciSection* find(const std::string& type, const std::string& name);
    long long number(const UciOption& option, long long min, long long max);
    void remarkUnread();
    void remark(std::size_t line, const std::string& subject, Kind kind, const std::string& reason) {
        remarks_.push_back({line, subject, kind, reason});
    }

    const Interfaces& interfaces_;
    Faults faults_;
    std::vector<UciSection> sections_;
    QosRows rows_;
    std::vector<UciWan> wans_;
    std::map<std::string, std::string> carriers_; // the section that each Linux interface is for
    std::vector<Remark> remarks_;
};

Imported UciImporter::import() {
    if (!interfaces_.has("LocalLAN")) {
        faults_.add(1, "the gateway has no LocalLAN, which rules for outgoing packets begin at");
    }
    for (UciSection& section : sections_) {
        if (section.type() == "interface") {
            importInterface(section);
        }
    }
    faults_.throwIfAny();
    UciRules(
        wans_, rows_,
        [this](std::size_t line, const std::string& subject, Kind kind, const std::string& reason) {
            remark(line, subject, kind, reason);
        },
        faults_)
        .import(sections_);
    faults_.throwIfAny();
    remarkUnread();
    std::stable_sort(remarks_.begin(), remarks_.end(),
                     [](const Remark& left, const Remark& right) { return left.line < right.line; });
    return {rows_.file(), remarks_};
}

long long UciImporter::number(const UciOption& option, long long min, long long max) {
    const auto value = toNumber(option.value);
    if (!value || *value < min || *value > max) {
        faults_.add(option.line, option.name + " \"" + option.value +
                                     "\" is not allowed; allowed: an integer from " + std::to_string(min) +
                                     " to " + std::to_string(max));
        return min;
    }
    return *value;
}

std::string UciImporter::logicalOf(const UciSection& section) {
    std::string logical = interfaces_.chosen(section.name());
    if (logical.empty()) {
        logical = section.name() == "wan" ? "ProviderInternet" : section.name();
    }
    if (!Interfaces::isProvider(logical) || !interfaces_.has(logical)) {
        faults_.add(section.line(),
                    "interface \"" + section.name() +
                        "\" is none of this gateway's provider interfaces; say which it is with "
                        "--interface " +
                        section.name() + "=NAME; the gateway has " + interfaces_.describe());
        return "";
    }
    const auto [known, isNew] = carriers_.emplace(interfaces_.carrier(logical), section.name());
    if (!isNew) {
        faults_.add(section.line(), "interface \"" + section.name() + "\" is " + known->first +
                                        " here, and so is interface \"" + known->second + "\"");
    }
    return logical;
}

UciSection* UciImporter::find(const std::string& type, const std::string& name) {
    const auto found = std::find_if(sections_.begin(), sections_.end(), [&](const UciSection& section) {
        return section.type() == type && section.name() == name;
    });
    return found == sections_.end() ? nullptr : &*found;
}

void UciImporter::importInterface(UciSection& section) {
    const std::string logical = logicalOf(section);
    if (logical.empty()) {
        return;
    }
    bool enable = true;
    if (const UciOption* enabled = section.read("enabled")) {
        const auto value = toFlag(enabled->value);
        if (!value) {
            faults_.add(enabled->line, "enabled \"" + enabled->value + "\" is not allowed; allowed: 0, 1");
        }
        enable = value.value_or(false);
    }
    const std::string port = interfaces_.wanPort(interfaces_.carrier(logical));
    if (port.empty()) {
        faults_.add(section.line(), "interface \"" + section.name() + "\": there is no WAN port below " +
                                        interfaces_.carrier(logical));
        return;
    }
    const bool hasDownload = section.read("download") != nullptr;
    importShaper(section, "upload", false, enable, port);
    importShaper(section, "download", true, enable, port);
    UciWan wan;
    wan.logical = logical;
    wan.hasDownload = hasDownload;
    wan.marks = importClasses(section, logical, enable, hasDownload);
    if (enable) {
        wans_.push_back(std::move(wan));
    } else {
        remark(section.line(), "config interface " + section.name(), Kind::changed,
               "its queues and shapers are there but disabled; rules for it are left out, because disabled "
               "rules "
               "keep all rules from being taken back on WAN down");
    }
}

void UciImporter::importShaper(UciSection& section, const char* option, bool ingress, bool enable,
                               const std::string& port) {
    const UciOption* rate = section.read(option);
    if (rate != nullptr && !rows_.addShaper(enable, port, ingress, number(*rate, 1, maxRate))) {
        remark(rate->line, "config interface " + section.name() + ": " + option + " " + rate->value,
               Kind::dropped, "the WAN port " + port + " has a shaper already");
    }
}

std::map<std::string, int> UciImporter::importClasses(UciSection& interface, const std::string& logical,
                                                      bool enable, bool hasDownload) {
    const UciOption* groupOption = interface.read("classgroup");
    const std::string groupName = groupOption == nullptr ? "Default" : groupOption->value;
    UciSection* group = find("classgroup", groupName);
    const UciOption* classes = group == nullptr ? nullptr : group->read("classes");
    if (classes == nullptr) {
        faults_.add(groupOption == nullptr ? interface.line() : groupOption->line,
                    "classgroup \"" + groupName + "\": the file has no such section with classes");
        return {};
    }
    const UciOption* defaultOption = group->read("default");
    const std::vector<std::string> names = split(classes->value, " \t");
    if (defaultOption != nullptr &&
        std::find(names.begin(), names.end(), defaultOption->value) == names.end()) {
        faults_.add(defaultOption->line,
                    "default \"" + defaultOption->value + "\" is not one of the group's classes");
    }
    std::vector<WantedPrecedence> wanted;
    wanted.reserve(names.size());
    for (const std::string& name : names) {
        wanted.push_back({static_cast<long long>(wanted.size()) + 1,
                          defaultOption != nullptr && defaultOption->value == name});
    }
    const auto precedences = assignPrecedences(wanted);
    if (!precedences) {
        faults_.add(classes->line, "too many classes; allowed: 7 before and 7 behind the default one");
        return {};
    }
    std::map<std::string, int> marks;
    for (std::size_t i = 0; i < names.size(); ++i) {
        Queue queue;
        queue.enable = enable;
        queue.interface = logical;
        queue.precedence = precedences->at(i);
        queue.trafficClasses = std::to_string(queue.precedence);
        addQueue(names[i], queue);
        if (hasDownload) {
            queue.ingress = true;
            addQueue(names[i], queue);
        }
        marks.emplace(names[i], queue.precedence);
    }
    remark(interface.line(), "config interface " + interface.name(), Kind::assumed,
           "queues of " + std::to_string(assumedBufferLen) +
               " packets with tail drop, and their precedences by the order of the classes");
    return marks;
}

void UciImporter::addQueue(const std::string& className, Queue queue) {
    UciSection* section = find("class", className);
    const UciOption* weight = section == nullptr ? nullptr : section->read("priority");
    queue.name = className.substr(0, maxQueueName);
    if (queue.ingress) {
        UciSection* down = find("class", className + "_down");
        const UciOption* downWeight = down == nullptr ? nullptr : down->read("priority");
        weight = downWeight == nullptr ? weight : downWeight;
        queue.name = (className + "_down").substr(0, maxQueueName);
    }
    queue.scheduler = "WFQ";
    queue.weight = weight == nullptr ? 1 : static_cast<int>(number(*weight, 1, maxWeight));
    if (weight == nullptr) {
        const std::size_t line = section == nullptr ? 1 : section->line();
        remark(line, "class " + queue.name, Kind::assumed, "a weight of 1, because it has no priority");
    }
    rows_.addQueue(queue);
}

void UciImporter::remarkUnread() {
    for (const UciSection& section : sections_) {
        for (const UciOption& option : section.unread()) {
            const std::string subject = "config " + section.type() +
                                        (section.name().empty() ? "" : " " + section.name()) + ": " +
                                        option.name + " " + option.value;
            std::string reason = knownReason(optionReasons, option.name);
            if (reason.empty()) {
                reason = "the option is unknown here";
            }
            if (option.name == "priority" || option.name == "classes" || option.name == "default") {
                reason = "no interface uses it";
            }
            remark(option.line, subject, Kind::dropped, reason);
        }
    }
}

} // namespace

Imported fromUci(const std::string& fileName, const std::string& text, const Interfaces& interfaces) {
    requireText(fileName, text);
    return UciImporter(fileName, text, interfaces).import();
}

} // namespace importers
