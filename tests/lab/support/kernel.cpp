#include "kernel.h"

#include "process.h"

#include <regex>
#include <stdexcept>

namespace lab {

namespace {

std::string runOrThrow(std::vector<std::string> words) {
    const e2e::Outcome outcome = e2e::run(words);
    if (outcome.status != 0) {
        throw std::runtime_error(words.back() + ": exit status " + std::to_string(outcome.status) + ": " +
                                 outcome.errors);
    }
    return outcome.output;
}

struct ListedQdisc {
    std::string kind;
    std::string attributes; // the first line's rest
    Counters counters;
};

// "qdisc KIND HANDLE: ... limit 64p\n Sent 840 bytes 10 pkt (dropped 0, ...". The listing has it for every
// qdisc.
std::vector<ListedQdisc> listQdiscs(const std::string& space, const std::string& interface) {
    static const std::regex shape(R"(qdisc (\w+) ([^\n]*)\n\s*Sent (\d+) bytes (\d+) pkt \(dropped (\d+),)");
    const std::string listing = shellIn(space, "tc -s qdisc show dev " + interface);
    std::vector<ListedQdisc> result;
    for (std::sregex_iterator match(listing.begin(), listing.end(), shape), end; match != end; ++match) {
        result.push_back(
            {(*match)[1], (*match)[2],
             Counters{std::stoull((*match)[4]), std::stoull((*match)[3]), std::stoull((*match)[5])}});
    }
    return result;
}

} // namespace

std::string shell(const std::string& command) {
    return runOrThrow({"sh", "-c", command});
}

std::string shellIn(const std::string& space, const std::string& command) {
    return runOrThrow({"ip", "netns", "exec", space, "sh", "-c", command});
}

std::string gatewayState() {
    return shell("lab state");
}

std::string difference(const std::string& before, const std::string& after) {
    e2e::writeFile("/tmp/before", before);
    e2e::writeFile("/tmp/after", after);
    return e2e::run({"diff", "-U0", "/tmp/before", "/tmp/after"}).output;
}

Counters queueOfLength(const std::string& interface, uint32_t packets) {
    std::vector<ListedQdisc> found;
    for (const ListedQdisc& qdisc : listQdiscs("gw", interface)) {
        if ((qdisc.attributes + " ").find(" limit " + std::to_string(packets) + "p ") != std::string::npos) {
            found.push_back(qdisc);
        }
    }
    if (found.size() != 1) {
        throw std::runtime_error(std::to_string(found.size()) + " queues of " + std::to_string(packets) +
                                 " packets on " + interface + ":\n" +
                                 shellIn("gw", "tc qdisc show dev " + interface));
    }
    return found.front().counters;
}

Counters rootQueue(const std::string& space, const std::string& interface) {
    for (const ListedQdisc& qdisc : listQdiscs(space, interface)) {
        if (qdisc.attributes.find("root ") != std::string::npos) {
            return qdisc.counters;
        }
    }
    throw std::runtime_error("no root qdisc on " + interface);
}

} // namespace lab
