#include "interrupted.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace fapi::test {

namespace {

// tc lists qdiscs and classes in the order in which they were made.
std::string withObjectsSorted(const std::string& dump) {
    const auto isObject = [](const std::string& line) {
        return line.rfind("class ", 0) == 0 ||
               (line.rfind("qdisc ", 0) == 0 && line.find(" dev ") != std::string::npos);
    };
    Lines lines;
    std::istringstream in(dump);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line + '\n');
    }
    std::string all;
    for (auto from = lines.begin(); from != lines.end();) {
        const auto to = std::find_if_not(from, lines.end(), isObject);
        std::sort(from, to);
        from = to == lines.end() ? to : to + 1;
    }
    for (const std::string& line : lines) {
        all += line;
    }
    return all;
}

} // namespace

void PrintTo(const Interrupted& one, std::ostream* to) {
    *to << one.name;
}

std::vector<Interrupted> interruptedCalls() {
    return {
        {"addingTheFirstQueue", {}, addQueue, {deleteQueue}},
        {"addingAnotherQueue",
         {addShaper, addQueue},
         addSecondQueue,
         {deleteSecondQueue, deleteQueue, deleteShaper}},
        {"modifyingAQueue", {addQueue, addSecondQueue}, modifyQueue, {deleteSecondQueue, deleteQueue}},
        {"deletingTheLastQueue", {addQueue}, deleteQueue, {}},
        {"deletingOneOfTwoQueues", {addQueue, addSecondQueue}, deleteQueue, {deleteSecondQueue}},
        {"addingAnIngressQueue", {addMap}, addIngressQueue, {deleteIngressQueue, deleteMap}},
        {"deletingAnIngressQueue", {addMap, addIngressQueue}, deleteIngressQueue, {deleteMap}},
        {"addingAShaper", {}, addShaper, {deleteShaper}},
        {"addingAShaperToQueues", {addQueue}, addShaper, {deleteShaper, deleteQueue}},
        {"modifyingAShaper", {addShaper, addQueue}, modifyShaper, {deleteQueue, deleteShaper}},
        {"deletingAShaper", {addShaper}, deleteShaper, {}},
        {"deletingAShaperOfQueues", {addShaper, addQueue}, deleteShaper, {deleteQueue}},
        {"addingAnIngressShaper", {}, addIngressShaper, {deleteIngressShaper}},
        {"modifyingAnIngressShaper", {addIngressShaper}, modifyIngressShaper, {deleteIngressShaper}},
        {"deletingAnIngressShaper", {addIngressShaper}, deleteIngressShaper, {}},
        {"addingAMap", {}, addMap, {deleteMap}},
        {"addingAMapMovesAQueue", {addUpperQueue}, addMap, {deleteMap, deleteUpperQueue}},
        {"addingAMapMovesAnIngressQueue",
         {addIngressQueue},
         addIngressMap,
         {deleteIngressQueue, deleteIngressMap}},
        {"deletingAMap", {addMap}, deleteMap, {}},
        {"deletingAMapMovesAQueue", {addMap, addUpperQueue}, deleteMap, {deleteUpperQueue}},
        {"deletingAMapMovesAnIngressQueue",
         {addIngressMap, addIngressQueue},
         deleteIngressMap,
         {deleteIngressQueue}},
        {"addingTheFirstRule", {}, addRule, {deleteRule}},
        {"modifyingARule", {addUpperQueue, addRule}, modifyRule, {deleteRule, deleteUpperQueue}},
        {"deletingTheLastRule", {addRule}, deleteRule, {}},
        {"addingAPcpRule", {}, addPcpRule, {deletePcpRule}, Needs::vlan},
        {"modifyingAPcpRule", {addPcpRule}, modifyPcpRule, {deletePcpRule}, Needs::vlan},
        {"deletingTheLastPcpRule", {addPcpRule}, deletePcpRule, {}, Needs::vlan},
        {"addingARedQueue", {}, addRedQueue, {deleteQueue}, Needs::red},
        {"deletingARedQueue", {addRedQueue}, deleteQueue, {}, Needs::red},
        {"forcingAShaper", {addForeignRoot}, forceShaper, {deleteShaper}, Needs::nothing, true},
        {"forcingAQueue", {addForeignRoot}, forceQueue, {deleteQueue}, Needs::nothing, true},
    };
}

void InterruptedTest::prepareFor(Needs needs) {
    // What the calls are to write is there, and the dump shows it.
    const auto expectShown = [](const char* add, const char* remove, const std::string& written) {
        if (goesOn()) {
            ok(add);
            EXPECT_NE(std::string::npos, dump().find(written)) << written;
            ok(remove);
        }
    };
    if (needs == Needs::vlan) {
        addVlan();
        expectShown(addPcpRule, deletePcpRule, " 4203741189:5 "); // 0xfa900005
    } else if (needs == Needs::red) {
        needRed();
        expectShown(addRedQueue, deleteQueue, "\nqdisc red ");
    }
}

void InterruptedTest::run(const Lines& lines) {
    for (const std::string& line : lines) {
        ok(line);
    }
}

void InterruptedTest::again(const std::string& line) {
    static const std::regex operation(" -[AM] ");
    if (line.find(" -D ") != std::string::npos) {
        const Result result = command(line);
        if (result.status != 0) {
            EXPECT_EQ(1, result.status) << line;
            EXPECT_NE(std::string::npos, result.err.find(": no such ")) << result.err;
        }
    } else if (line.rfind("ifcfg", 0) == 0) {
        if (output("ifcfg --ifmap -L").empty()) {
            ok(line);
        }
    } else if (command(std::regex_replace(line, operation, " -A ")).status != 0) {
        ok(std::regex_replace(line, operation, " -M "));
    }
}

void InterruptedTest::again(const Interrupted& call) {
    again(call.line);
    for (const std::string& line : call.before) {
        if (call.line.rfind("ifcfg", 0) == 0 && line.rfind("qcfg --queue", 0) == 0) {
            again(line);
        }
    }
}

std::string InterruptedTest::dumpWithoutNumbers() {
    static const std::regex number("[ \t](id|index|load_time|btf_id) [0-9]+");
    static const std::regex ifb("\n[0-9]+: (fapi-in[^\n]*\n *link/ether) [0-9a-f:]+");
    return withObjectsSorted(std::regex_replace(std::regex_replace(dump(), number, ""), ifb, "\n$1"));
}

void InterruptedTest::expectNothingRemembered() {
    EXPECT_EQ("", output("find /run/fapi-qos -type f"));
}

} // namespace fapi::test
