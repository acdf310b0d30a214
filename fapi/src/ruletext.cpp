#include "ruletext.h"

#include "failure.h"
#include "rule.h"
#include "values.h"

#include <arpa/inet.h>

#include <algorithm>

namespace fapi {

namespace {

// Takes the "!" from the front of a value.
bool excluded(std::string& text) {
    if (text.empty() || text[0] != '!') {
        return false;
    }
    text.erase(0, 1);
    return true;
}

void readProtocol(const std::string& text, fapi_rule& rule) {
    constexpr std::pair<const char*, uint8_t> protocols[] = {{"tcp", 6}, {"udp", 17}, {"igmp", 2}};
    for (const auto& [name, number] : protocols) {
        if (text == name) {
            rule.protocol = number;
            return;
        }
    }
    throw Usage("option -p: '" + text + "' is none of tcp, udp, igmp");
}

void maskOf(unsigned bits, __u32 (&mask)[4]) {
    for (__u32& word : mask) {
        const unsigned here = std::min(bits, 32U);
        word = htonl(here == 0 ? 0 : ~uint32_t{0} << (32 - here));
        bits -= here;
    }
}

// ADDRESS[/LENGTH]; returns the IP version.
uint8_t readAddress(const std::string& option, const std::string& text, __u32 (&address)[4],
                    __u32 (&mask)[4]) {
    const size_t slash = text.find('/');
    const std::string host = text.substr(0, slash);
    std::fill_n(address, 4, 0);
    const bool v4 = inet_pton(AF_INET, host.c_str(), address) == 1;
    if (!v4 && inet_pton(AF_INET6, host.c_str(), address) != 1) {
        throw Usage("option " + option + ": '" + text +
                    "' is not an IP address with an optional prefix length");
    }
    const unsigned whole = v4 ? 32 : 128;
    maskOf(slash == std::string::npos
               ? whole
               : static_cast<unsigned>(readNumber(option, text.substr(slash + 1), 0, whole)),
           mask);
    return v4 ? 4 : 6;
}

void readAddresses(const Options& options, fapi_rule& rule) {
    const auto read = [&](const char* option, __u32(&address)[4], __u32(&mask)[4], uint32_t flag,
                          uint32_t notFlag) {
        const std::string* value = options.find(option);
        if (value == nullptr) {
            return;
        }
        std::string text = *value;
        rule.flags |= flag | (excluded(text) ? notFlag : 0);
        const uint8_t family = readAddress(option, text, address, mask);
        if (rule.family != 0 && rule.family != family) {
            throw Usage("options -s and -d: one address is IPv4, the other IPv6");
        }
        rule.family = family;
    };
    read("-s", rule.src, rule.src_mask, FAPI_SRC, FAPI_SRC_NOT);
    read("-d", rule.dst, rule.dst_mask, FAPI_DST, FAPI_DST_NOT);
}

void readPorts(const Options& options, fapi_rule& rule) {
    const auto read = [&](const char* option, uint16_t& low, uint16_t& high, uint32_t flag,
                          uint32_t notFlag) {
        const std::string* value = options.find(option);
        if (value == nullptr) {
            return;
        }
        if (rule.protocol == 2) {
            throw Usage(std::string("option ") + option + ": igmp has no ports");
        }
        std::string text = *value;
        rule.flags |= flag | (excluded(text) ? notFlag : 0);
        const size_t colon = text.find(':');
        low = static_cast<uint16_t>(readNumber(option, text.substr(0, colon), 0, UINT16_MAX));
        high = colon == std::string::npos
                   ? low
                   : static_cast<uint16_t>(readNumber(option, text.substr(colon + 1), low, UINT16_MAX));
    };
    read("--sport", rule.sport_low, rule.sport_high, FAPI_SPORT, FAPI_SPORT_NOT);
    read("--dport", rule.dport_low, rule.dport_high, FAPI_DPORT, FAPI_DPORT_NOT);
}

uint8_t readSmall(const Options& options, const char* option, uint64_t highest) {
    const std::string* value = options.find(option);
    return value == nullptr ? FAPI_NONE : static_cast<uint8_t>(readNumber(option, *value, 0, highest));
}

// Each -j announces the option that carries its value; one without the other is a mistake.
void checkActions(const Options& options) {
    constexpr std::pair<const char*, const char*> actions[] = {{"dscp", "--actdscp"},
                                                               {"vlan", "--pcp-outer"}};
    bool marks = false;
    for (const auto& [name, value] : options.all()) {
        if (name != "-j") {
            continue;
        }
        if (value != "dscp" && value != "vlan" && value != "mark") {
            throw Usage("option -j: '" + value + "' is none of dscp, vlan, mark");
        }
        if (std::count(options.all().begin(), options.all().end(), std::pair(name, value)) > 1) {
            throw Usage("option -j " + value + " given twice");
        }
        marks = marks || value == "mark";
    }
    for (const auto& [action, option] : actions) {
        const bool announced =
            std::find(options.all().begin(), options.all().end(),
                      std::pair<std::string, std::string>("-j", action)) != options.all().end();
        if (announced != options.has(option)) {
            throw Usage(std::string("options -j ") + action + " and " + option + " belong together");
        }
    }
    if (!marks) {
        throw Usage("option -j mark is missing");
    }
}

void readMark(const Options& options, fapi_rule& rule) {
    const bool downstream = options.has("--mark_ing");
    if (downstream == options.has("--mark")) {
        throw Usage("option -j mark: exactly one of --mark and --mark_ing is needed");
    }
    const std::string& location = options.need("--mark-loc");
    if (location != (downstream ? "2" : "1")) {
        throw Usage(downstream ? "option --mark_ing goes with --mark-loc 2"
                               : "option --mark goes with --mark-loc 1");
    }
    const char* option = downstream ? "--mark_ing" : "--mark";
    rule.mark = static_cast<uint32_t>(readNumber(option, options.need(option), 0, UINT32_MAX));
}

} // namespace

Options ruleOptions(const std::vector<std::string>& words) {
    return Options(words,
                   {{"-A", Arg::needed},          {"-M", Arg::needed},        {"-D", Arg::needed},
                    {"-L", Arg::needed},          {"-i", Arg::needed},        {"-p", Arg::needed},
                    {"--tcp-flags", Arg::needed}, {"-d", Arg::needed},        {"-s", Arg::needed},
                    {"--dport", Arg::needed},     {"--sport", Arg::needed},   {"--iphdr-dscp", Arg::needed},
                    {"-o", Arg::needed},          {"-j", Arg::needed, true},  {"--actdscp", Arg::needed},
                    {"--pcp-outer", Arg::needed}, {"--mark", Arg::needed},    {"--mark_ing", Arg::needed},
                    {"--mark-loc", Arg::needed},  {"--priority", Arg::needed}});
}

fapi_rule readRule(const Options& options) {
    fapi_rule rule{};
    readProtocol(options.need("-p"), rule);
    if (const std::string* flags = options.find("--tcp-flags")) {
        if (*flags != "ack" || rule.protocol != 6) {
            throw Usage("option --tcp-flags: only 'ack', and only with -p tcp");
        }
        rule.flags |= FAPI_PURE_ACK;
    }
    readAddresses(options, rule);
    readPorts(options, rule);
    rule.dscp = readSmall(options, "--iphdr-dscp", highestDscp);
    checkActions(options);
    rule.new_dscp = readSmall(options, "--actdscp", highestDscp);
    rule.new_pcp = readSmall(options, "--pcp-outer", highestPcp);
    readMark(options, rule);
    rule.priority =
        static_cast<uint32_t>(readNumber("--priority", options.need("--priority"), 0, UINT32_MAX));
    return rule;
}

} // namespace fapi
