// Rows to commands, one class after the other: each gives one line or none, and each line can be turned into
// its removal.
#include "connector/fapiqosconnector.h"
#include "input.h"
#include "logsink.h"
#include "memoryclient.h"
#include "qos/classifier.h"
#include "qos/ifmap.h"
#include "qos/pcpmap.h"
#include "qos/queues.h"
#include "qos/shaper.h"

#include <zel/error/assert.h>

#include <charconv>
#include <stdexcept>
#include <vector>

namespace {

using namespace zel::pacerd;
using basalt::Value;
using basalt::ValueList;
using Lines = std::vector<std::string>;

int listingStatus = 1;

// "12" is a number, "'12" the text; other texts need no mark. An empty line leaves the column out.
void setColumn(ValueList& row, const char* column, const std::string& text) {
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty()) {
        return;
    }
    if (error == std::errc() && end == text.data() + text.size()) {
        row.setValue(column, Value(number));
    } else {
        row.setValue(column, Value(text.substr(text.front() == '\'' ? 1 : 0)));
    }
}

ValueList readRow(fuzz::Input& input, std::initializer_list<const char*> columns) {
    ValueList row;
    for (const char* column : columns) {
        setColumn(row, column, input.line());
    }
    return row;
}

// What it removes is found by replacing the flag, and is what the object itself calls its removal.
void checkLine(const fapiQosConnector& connector, const std::string& add, const std::string& removal,
               const std::string& flagAt) {
    fuzz::require(add.starts_with(flagAt + "-A ") || add.starts_with(flagAt + "-M "), "the flag stands first",
                  add);
    // An "-A" in a name of an object that exists already is taken for the flag; pacerctl lint says so.
    if (add.starts_with(flagAt + "-M ") && add.find("-A") != std::string::npos) {
        return;
    }
    Lines removals;
    fuzz::require(connector.getReversedRmCmdList({add}, removals), "a removal can be made", add);
    fuzz::require(removals.size() == 1 && removals[0] == removal, "add and removal differ in the flag alone",
                  add + "\n" + removal);
}

template <typename Build>
void tolerate(Build build) {
    try {
        build();
    } catch (const zel::error::AssertionFailed&) {
    } catch (const std::invalid_argument& error) { // a DSCP text that is no number
        fuzz::require(std::string(error.what()) == "stoi", "invalid_argument", error.what());
    } catch (const std::out_of_range& error) {
        fuzz::require(std::string(error.what()) == "stoi", "out_of_range", error.what());
    }
}

void tryQueue(const fapiQosConnector& connector, const zel::memory::MemoryClient& client,
              fuzz::Input& input) {
    const ValueList row =
        readRow(input, {"Enable", "Name", "Egress", "Ingress", "TrafficClasses", "BufferLen", "Scheduler",
                        "WFQWeight", "Precedence", "DropAlgorithm"});
    tolerate([&] {
        const qosQueue queue(0, client, row, "ptm0", {"ProviderInternet"});
        Lines lines;
        fuzz::require(queue.getFapiQosQueueCmds(lines) && lines.size() <= 2, "one line a direction, or none");
        for (const std::string& line : lines) {
            const int direction = line.find(" -t egress") != std::string::npos ? 1 : 0;
            checkLine(connector, line, queue.genFapiQosSysCallCmd(1, direction), "qcfg --queue ");
        }
    });
}

void tryRule(const fapiQosConnector& connector, const zel::memory::MemoryClient& client, fuzz::Input& input,
             int direction) {
    ValueList row =
        readRow(input, {"Enable", "Name", "Protocol", "TCPACK", "DestIP", "DestIPExclude", "SourceIP",
                        "SourceIPExclude", "DestPortRange", "DestPortRangeExclude", "SourcePortRange",
                        "SourcePortRangeExclude", "DSCPMatch", "DSCPMatchExclude"});
    row.setValue("Id", Value(1LL));
    row.setValue("QoSClassificationActionId", Value(1LL));
    tolerate([&] {
        const qosClassifierRule rule(0, client, row, "ptm0", direction);
        const std::string line = rule.getFapiQosClassiferCmd(0);
        if (!line.empty()) {
            checkLine(connector, line, rule.getFapiQosClassiferCmd(1), "classcfg ");
        }
    });
}

void tryShaper(const fapiQosConnector& connector, const zel::memory::MemoryClient& client,
               fuzz::Input& input) {
    const ValueList row =
        readRow(input, {"Enable", "InterfaceName", "ShapeEgress", "ShapeIngress", "ShapingRate"});
    const qosShaper shaper(0, client, row);
    Lines lines;
    fuzz::require(shaper.getFapiQosShaperCmds(lines) && lines.size() <= 2, "one line a direction, or none");
    for (const std::string& line : lines) {
        const int direction = line.ends_with(" -t egress") ? 1 : 0;
        checkLine(connector, line, shaper.genFapiQosSysCallCmd(1, direction), "qcfg --port ");
    }
}

// Whatever the node's type, and whether it has a row at all.
void tryMaps(const fapiQosConnector& connector, const zel::memory::MemoryClient& client, fuzz::Input& input) {
    const Lines stack = {input.line(), input.line()};
    const ifMap map(0, client, stack);
    Lines lines;
    fuzz::require(map.getFapiQosIfMapCmds(lines) && lines.size() <= 3, "three lines at most");
    for (const std::string& line : lines) {
        fuzz::require(line.starts_with("ifcfg --ifmap -A "), "the flag stands first", line);
        Lines removals;
        fuzz::require(connector.getReversedRmCmdList({line}, removals) &&
                          removals[0] == "ifcfg --ifmap -D " + line.substr(17),
                      "and is what the removal replaces", line);
    }
    tolerate([&] {
        lines.clear();
        fuzz::require(pcpMap(0, client, stack).getFapiPcpMapCmds(lines) && lines.size() <= 1,
                      "one line or none");
        fuzz::require(lines.empty() || lines[0].starts_with("ip link set "), "for a VLAN");
    });
}

zel::memory::Tables tablesFrom(fuzz::Input& input) {
    ValueList node = readRow(input, {"InterfaceName", "Type", "ParentInterface"});
    node.setValue("Id", Value(1LL));
    ValueList action =
        readRow(input, {"Name", "QueueInterface", "DSCPMark", "EthPriorityMark", "TrafficClass"});
    action.setValue("Id", Value(1LL));
    const ValueList queue = readRow(input, {"InterfaceName", "TrafficClasses", "Precedence"});
    const ValueList status(
        {{"Name", Value(std::string("ProviderInternet"))}, {"Interface", node.getValue("InterfaceName")}});
    return {{"NetworkSetupNode", {node}},
            {"QoSClassificationAction", {action}},
            {"QoSQueues", {queue}},
            {"StatusNetifWatchLogical", {status}}};
}

} // namespace

// The classes ask with it what exists already; nothing is run.
extern "C" int system(const char* /*line*/) {
    return listingStatus;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel::memory::setLogSink([](const zel::memory::LogRecord&) {});
    fuzz::Input input(data, size);
    const unsigned choice = input.byte();
    listingStatus = (choice & 0x80U) != 0 ? 0 : 256;
    zel::memory::MemoryClient client;
    client.setTables(tablesFrom(input));
    const fapiQosConnector connector(0, {}, {}, {});
    switch (choice % 4) {
    case 0:
        tryQueue(connector, client, input);
        break;
    case 1:
        tryRule(connector, client, input, (choice & 0x40U) != 0 ? 1 : 0);
        break;
    case 2:
        tryShaper(connector, client, input);
        break;
    default:
        tryMaps(connector, client, input);
    }
    return 0;
}
