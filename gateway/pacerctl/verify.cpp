#include "pacerctl/verify.h"

#include "pacerctl/match.h"

#include <algorithm>

namespace pacerctl {

namespace {

std::string written(long long number) {
    return std::to_string(number);
}

std::string written(const std::optional<long long>& number) {
    return number ? std::to_string(*number) : "none";
}

std::string written(const std::string& text) {
    return text.empty() ? "none" : text;
}

// Collects what differs between two objects of one name.
class Details {
  public:
    template <typename Value>
    void compare(const char* what, const Value& actual, const Value& wanted) {
        if (!(actual == wanted)) {
            text_ += (text_.empty() ? "" : "; ") + std::string(what) + " is " + written(actual) +
                     ", should be " + written(wanted);
        }
    }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

std::string objectOf(const AppliedIfMap& map) {
    return "interface map " + map.interface + " on " + map.base + ", category " +
           std::to_string(map.category) + (map.group ? ", group " + std::to_string(*map.group) : "");
}

std::string objectOf(const AppliedShaper& shaper) {
    return "shaper " + shaper.name + " on " + shaper.interface + ", " + shaper.direction;
}

std::string objectOf(const AppliedQueue& queue) {
    return "queue " + queue.name + " on " + queue.interface + ", " + queue.direction;
}

std::string objectOf(const AppliedRule& rule) {
    return "rule " + rule.name + " on " + rule.interface;
}

template <typename Object>
bool sameName(const Object& left, const Object& right) {
    return objectOf(left) == objectOf(right);
}

// "!10.0.0.7/24" as what it matches: "!10.0.0.0/24".
std::string normalAddress(const std::string& text) {
    const bool excluded = !text.empty() && text.front() == '!';
    auto prefix = parsePrefix(text.substr(excluded ? 1 : 0));
    if (!prefix) {
        return text;
    }
    for (std::size_t bit = prefix->length; bit < prefix->address.bytes.size() * 8; ++bit) {
        prefix->address.bytes[bit / 8] &= static_cast<std::uint8_t>(~(0x80U >> (bit % 8)));
    }
    return (excluded ? "!" : "") + prefix->address.text() + "/" + std::to_string(prefix->length);
}

// "22:22" and "22" are the same.
std::string normalPorts(const std::string& text) {
    const bool excluded = !text.empty() && text.front() == '!';
    const auto range = parsePorts(text.substr(excluded ? 1 : 0));
    if (!range) {
        return text;
    }
    return (excluded ? "!" : "") + std::to_string(range->first) +
           (range->first == range->last ? "" : ":" + std::to_string(range->last));
}

std::string detailsOf(const AppliedIfMap& actual, const AppliedIfMap& wanted) {
    Details details;
    details.compare("the lowest interface", actual.lowest, wanted.lowest);
    details.compare("the number of its uses", actual.uses, wanted.uses);
    return details.text();
}

std::string detailsOf(const AppliedShaper& actual, const AppliedShaper& wanted) {
    Details details;
    details.compare("the rate", actual.rate, wanted.rate);
    return details.text();
}

std::string detailsOf(const AppliedQueue& actual, const AppliedQueue& wanted) {
    Details details;
    details.compare("the scheduler", actual.scheduler, wanted.scheduler);
    details.compare(wanted.scheduler == "sp" ? "the priority" : "the weight", actual.value, wanted.value);
    details.compare("the length", actual.length, wanted.length);
    details.compare("the drop algorithm", actual.drop, wanted.drop);
    details.compare("the map", actual.map, wanted.map);
    return details.text();
}

std::string detailsOf(const AppliedRule& actual, const AppliedRule& wanted) {
    Details details;
    details.compare("the protocol", actual.protocol, wanted.protocol);
    details.compare("the TCP flags", actual.tcpFlags, wanted.tcpFlags);
    details.compare("the destination", normalAddress(actual.destination), normalAddress(wanted.destination));
    details.compare("the source", normalAddress(actual.source), normalAddress(wanted.source));
    details.compare("the destination port", normalPorts(actual.destinationPorts),
                    normalPorts(wanted.destinationPorts));
    details.compare("the source port", normalPorts(actual.sourcePorts), normalPorts(wanted.sourcePorts));
    details.compare("the DSCP to match", actual.dscp, wanted.dscp);
    details.compare("the leaving interface", actual.leaving, wanted.leaving);
    details.compare("the DSCP to set", actual.setDscp, wanted.setDscp);
    details.compare("the PCP to set", actual.setPcp, wanted.setPcp);
    details.compare("the direction", std::string(actual.downstream ? "downstream" : "upstream"),
                    std::string(wanted.downstream ? "downstream" : "upstream"));
    details.compare("the mark", actual.mark, wanted.mark);
    details.compare("the priority", actual.priority, wanted.priority);
    return details.text();
}

template <typename Object>
void compareAll(const std::vector<Object>& wanted, const std::vector<Object>& actual,
                std::vector<Difference>& differences) {
    const auto find = [](const std::vector<Object>& objects, const Object& like) {
        return std::find_if(objects.begin(), objects.end(),
                            [&](const Object& object) { return sameName(object, like); });
    };
    for (const Object& object : wanted) {
        const auto found = find(actual, object);
        if (found == actual.end()) {
            differences.push_back({Difference::Kind::missing, objectOf(object), ""});
        } else if (const std::string details = detailsOf(*found, object); !details.empty()) {
            differences.push_back({Difference::Kind::different, objectOf(object), details});
        }
    }
    for (const Object& object : actual) {
        if (find(wanted, object) == wanted.end()) {
            differences.push_back({Difference::Kind::extra, objectOf(object), ""});
        }
    }
}

// Of the rules that both have, the first of each interface that does not stand where it should.
void compareOrder(const Applied& wanted, const Applied& actual, std::vector<Difference>& differences) {
    std::vector<std::string> done;
    for (const AppliedRule& first : wanted.rules) {
        if (std::find(done.begin(), done.end(), first.interface) != done.end()) {
            continue;
        }
        done.push_back(first.interface);
        const auto common = [&](const Applied& of, const Applied& other) {
            std::vector<std::string> names;
            for (const AppliedRule& rule : of.rules) {
                if (rule.interface == first.interface &&
                    other.findRule(rule.interface, rule.name) != nullptr) {
                    names.push_back(rule.name);
                }
            }
            return names;
        };
        const auto should = common(wanted, actual);
        const auto is = common(actual, wanted);
        const auto [wantedName, actualName] =
            std::mismatch(should.begin(), should.end(), is.begin(), is.end());
        if (wantedName != should.end() && actualName != is.end()) {
            differences.push_back({Difference::Kind::different,
                                   "the order of the rules on " + first.interface,
                                   *actualName + " is tried where " + *wantedName + " should be"});
        }
    }
}

} // namespace

const char* nameOf(Difference::Kind kind) {
    static constexpr const char* names[] = {"missing", "extra", "different"};
    return names[static_cast<int>(kind)];
}

std::vector<Difference> compare(const Applied& wanted, const Applied& actual) {
    std::vector<Difference> differences;
    compareAll(wanted.ifMaps, actual.ifMaps, differences);
    compareAll(wanted.queues, actual.queues, differences);
    compareAll(wanted.rules, actual.rules, differences);
    compareOrder(wanted, actual, differences);
    compareAll(wanted.shapers, actual.shapers, differences);
    return differences;
}

} // namespace pacerctl
