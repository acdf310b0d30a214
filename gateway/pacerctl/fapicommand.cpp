// The daemon's command lines, taken apart into the objects that they create.
#include "pacerctl/applied.h"

#include <cstdlib>
#include <sstream>

namespace pacerctl {

namespace {

// The options of one command line, "-t" and "egress" of "-t egress" as well as of "-tegress".
class Words {
  public:
    explicit Words(const std::string& command) {
        std::istringstream stream(command);
        for (std::string word; stream >> word;) {
            words_.push_back(word);
        }
    }

    bool startsWith(std::initializer_list<const char*> head) const {
        std::size_t i = 0;
        for (const char* word : head) {
            if (i >= words_.size() || words_[i++] != word) {
                return false;
            }
        }
        return true;
    }

    std::string name() const {
        const std::string added = value("-A");
        return added.empty() ? value("-M") : added;
    }

    std::string value(const std::string& option) const {
        for (std::size_t i = 0; i < words_.size(); ++i) {
            if (words_[i] == option) {
                return i + 1 < words_.size() ? words_[i + 1] : "";
            }
            // A short option's value may follow without a blank.
            if (option.size() == 2 && words_[i].size() > 2 && words_[i].compare(0, 2, option) == 0) {
                return words_[i].substr(2);
            }
        }
        return "";
    }

    long long number(const std::string& option) const {
        return std::strtoll(value(option).c_str(), nullptr, 10);
    }

    std::optional<long long> optionalNumber(const std::string& option) const {
        const std::string text = value(option);
        return text.empty() ? std::nullopt : std::optional(std::strtoll(text.c_str(), nullptr, 10));
    }

  private:
    std::vector<std::string> words_;
};

void addIfMap(const Words& words, Applied& applied) {
    const AppliedIfMap map{words.name(),       words.value("-b"),          words.value("-l"),
                           words.number("-t"), words.optionalNumber("-g"), 1};
    for (AppliedIfMap& known : applied.ifMaps) {
        if (known.interface == map.interface && known.base == map.base && known.lowest == map.lowest &&
            known.category == map.category && known.group == map.group) {
            ++known.uses;
            return;
        }
    }
    applied.ifMaps.push_back(map);
}

// A second one for the same port and direction replaces the first.
void addShaper(const Words& words, Applied& applied) {
    const AppliedShaper shaper{words.name(), words.value("-i"), words.value("-t"), words.number("--pir"), {}};
    for (AppliedShaper& known : applied.shapers) {
        if (known.interface == shaper.interface && known.direction == shaper.direction) {
            known = shaper;
            return;
        }
    }
    applied.shapers.push_back(shaper);
}

void addQueue(const Words& words, Applied& applied) {
    AppliedQueue queue;
    queue.name = words.name();
    queue.interface = words.value("-i");
    queue.direction = words.value("-t");
    queue.scheduler = words.value("-m");
    queue.value = words.number(queue.scheduler == "sp" ? "--priority" : "--weight");
    queue.length = words.number("-l");
    queue.drop = words.value("-d");
    queue.map = words.number("--map");
    applied.queues.push_back(queue);
}

void addRule(const Words& words, Applied& applied) {
    AppliedRule rule;
    rule.name = words.name();
    rule.interface = words.value("-i");
    rule.protocol = words.value("-p");
    rule.tcpFlags = words.value("--tcp-flags");
    rule.destination = words.value("-d");
    rule.source = words.value("-s");
    rule.destinationPorts = words.value("--dport");
    rule.sourcePorts = words.value("--sport");
    rule.dscp = words.optionalNumber("--iphdr-dscp");
    rule.leaving = words.value("-o");
    rule.setDscp = words.optionalNumber("--actdscp");
    rule.setPcp = words.optionalNumber("--pcp-outer");
    rule.downstream = !words.value("--mark_ing").empty();
    rule.mark = words.number(rule.downstream ? "--mark_ing" : "--mark");
    rule.priority = words.number("--priority");
    applied.rules.push_back(rule);
}

} // namespace

bool addCommand(const std::string& command, Applied& applied) {
    const Words words(command);
    if (words.startsWith({"ifcfg", "--ifmap"})) {
        addIfMap(words, applied);
    } else if (words.startsWith({"qcfg", "--port"})) {
        addShaper(words, applied);
    } else if (words.startsWith({"qcfg", "--queue"})) {
        addQueue(words, applied);
    } else if (words.startsWith({"classcfg"})) {
        addRule(words, applied);
    } else {
        return false;
    }
    return true;
}

} // namespace pacerctl
