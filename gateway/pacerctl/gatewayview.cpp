#include "pacerctl/gatewayview.h"

#include "config/tables.h"
#include "model/wanproviders.h"
#include "qos/stackname.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace pacerctl {

namespace {

namespace dbm = zel::pacerd::dbm;
using basalt::ValueList;

std::string text(const ValueList& row, const char* column) {
    return row.getValue(column).getText();
}

long long number(const ValueList& row, const char* column) {
    return row.getValue(column).getInteger();
}

Node toNode(const ValueList& row) {
    return {number(row, dbm::nsn::colId), number(row, dbm::nsn::colEn), text(row, dbm::nsn::colIfName),
            text(row, dbm::nsn::colParentIf), text(row, dbm::nsn::colType)};
}

Service toService(const ValueList& row) {
    namespace status = dbm::statusNifWLogic;
    return {number(row, "Id"), text(row, status::colName), text(row, status::colPhyName),
            number(row, status::colIsup), text(row, status::colAddr)};
}

Shaper toShaper(const ValueList& row) {
    namespace shaper = dbm::qosShaper;
    return {number(row, "Id"),
            number(row, shaper::colEn),
            text(row, shaper::colIfName),
            number(row, shaper::colEgress),
            number(row, shaper::colIngress),
            number(row, shaper::colRate)};
}

// Reads what the daemon's queue reads: numbers, each followed by at most one comma.
void readTrafficClasses(Queue& queue) {
    std::istringstream stream(queue.trafficClassText);
    int trafficClass = 0;
    while (stream >> trafficClass) {
        queue.trafficClasses.push_back(trafficClass);
        if (stream.peek() == ',') {
            stream.ignore();
        }
    }
    // An overflow reads as the largest int.
    const bool overflow = trafficClass == std::numeric_limits<int>::max();
    queue.trafficClassesCut = !stream.eof() || overflow;
}

Queue toQueue(const ValueList& row) {
    namespace queue = dbm::qosQueue;
    Queue result;
    result.id = number(row, "Id");
    result.enable = number(row, queue::colEn);
    result.name = text(row, queue::colName);
    result.service = text(row, queue::colLogIf);
    result.ingress = number(row, queue::colIngress);
    result.egress = number(row, queue::colEgress);
    result.trafficClassText = text(row, queue::colTrClass);
    result.length = number(row, queue::colBuf);
    result.scheduler = text(row, queue::colSchedule);
    result.weight = number(row, queue::colWfgWeight);
    result.precedence = number(row, queue::colPreced);
    result.dropAlgorithm = text(row, queue::colDropAlgo);
    readTrafficClasses(result);
    return result;
}

Action toAction(const ValueList& row) {
    namespace action = dbm::qosClassAction;
    return {number(row, action::colId),      text(row, action::colName), number(row, action::colDscp),
            number(row, action::colEthPrio), number(row, action::colTC), text(row, action::colLogicQIf)};
}

void readDscp(Rule& rule, const ValueList& row) {
    const basalt::Value& value = row.getValue(dbm::qosClassRule::colDSCP);
    rule.hasDscp = row.hasValue(dbm::qosClassRule::colDSCP);
    rule.dscpIsText = value.getDataType().getTypeCode() == basalt::IDataType::textCode;
    rule.dscpText = value.getText();
    if (!rule.hasDscp) {
        return;
    }
    try {
        const long long dscp = rule.dscpIsText ? std::stoi(rule.dscpText) : value.getInteger();
        rule.dscp = dscp == -1 ? std::nullopt : std::optional(dscp);
    } catch (const std::exception&) {
        rule.dscp = std::nullopt; // the daemon ends on it
    }
}

Rule toRule(const ValueList& row) {
    namespace rule = dbm::qosClassRule;
    Rule result;
    result.id = number(row, rule::colId);
    result.name = text(row, rule::colName);
    result.enable = number(row, rule::colEn);
    result.actionId = number(row, rule::colClActionId);
    result.service = text(row, rule::colLogClIf);
    result.destination = {text(row, rule::colDstIp), number(row, rule::colDstIpExcl)};
    result.source = {text(row, rule::colSrcIp), number(row, rule::colSrcIpExcl)};
    result.protocol = text(row, rule::colProto);
    result.destinationPort = {text(row, rule::colDstPort), number(row, rule::colDstPortExcl)};
    result.sourcePort = {text(row, rule::colSrcPort), number(row, rule::colSrcPortExcl)};
    result.tcpAck = number(row, rule::colTcpAck);
    result.dscpExclude = number(row, rule::colDSCPExcl);
    readDscp(result, row);
    return result;
}

template <typename Item, typename Convert>
std::vector<Item> convert(const Rows& rows, Convert toItem) {
    std::vector<Item> items;
    items.reserve(rows.size());
    for (const ValueList& row : rows) {
        items.push_back(toItem(row));
    }
    return items;
}

template <typename Item, typename Predicate>
const Item* findFirst(const std::vector<Item>& items, Predicate matches) {
    const auto found = std::find_if(items.begin(), items.end(), matches);
    return found == items.end() ? nullptr : &*found;
}

} // namespace

bool Service::isProvider() const {
    return zel::pacerd::isWanProvider(name);
}

bool Rule::hasCommand() const {
    const bool knownProtocol = protocol == "udp" || protocol == "tcp" || protocol == "igmp";
    if (enable == 0 || !knownProtocol) {
        return false;
    }
    if (tcpAck == 1) {
        return protocol == "tcp";
    }
    return !(dscp && dscpExclude == 1);
}

Gateway::Gateway(const Snapshot& snapshot)
    : nodes(convert<Node>(snapshot.rows(dbm::nsn::tblName), toNode)),
      dslLines(convert<DslLine>(
          snapshot.rows("StatusDsl"),
          [](const ValueList& row) {
              return DslLine{number(row, "Id"), number(row, "Status"), text(row, "StatusString")};
          })),
      services(convert<Service>(snapshot.rows(dbm::statusNifWLogic::tblName), toService)),
      shapers(convert<Shaper>(snapshot.rows(dbm::qosShaper::tblName), toShaper)),
      queues(convert<Queue>(snapshot.rows(dbm::qosQueue::tblName), toQueue)),
      actions(convert<Action>(snapshot.rows(dbm::qosClassAction::tblName), toAction)),
      rules(convert<Rule>(snapshot.rows(dbm::qosClassRule::tblName), toRule)) {}

const Node* Gateway::findNode(const std::string& interface) const {
    return findFirst(nodes, [&](const Node& node) { return node.interface == interface; });
}

const Node* Gateway::findNodeOfType(const std::string& type) const {
    return findFirst(nodes, [&](const Node& node) { return node.type == type; });
}

const Service* Gateway::findService(const std::string& name) const {
    return findFirst(services, [&](const Service& service) { return service.name == name; });
}

const Action* Gateway::findAction(long long id) const {
    return findFirst(actions, [&](const Action& action) { return action.id == id; });
}

const Node* Gateway::wanPort() const {
    namespace type = dbm::nsn::colTypeVal;
    for (const char* wanted : {type::mpoa, type::xdsl, type::wanoe}) {
        const Node* node = findNodeOfType(wanted);
        if (node != nullptr && node->enable != 0) {
            return node;
        }
    }
    return nullptr;
}

std::string Gateway::interfaceOf(const std::string& service) const {
    const Service* found = findService(service);
    return found == nullptr ? "" : found->interface;
}

std::vector<const Service*> Gateway::servicesOn(const std::string& interface) const {
    std::vector<const Service*> found;
    for (const Service& service : services) {
        if (service.interface == interface) {
            found.push_back(&service);
        }
    }
    return found;
}

std::string Stack::text() const {
    return zel::pacerd::writeStack(interfaces);
}

Stack findStack(const Gateway& gateway, const std::string& interface) {
    Stack stack;
    std::string current = interface;
    for (std::string parent; parent != "root"; current = parent) {
        const Node* node = gateway.findNode(current);
        if (node == nullptr) {
            stack.end = Stack::End::missing;
            stack.culprit = current;
            return stack;
        }
        const auto& seen = stack.interfaces;
        if (std::find(seen.begin(), seen.end(), current) != seen.end()) {
            stack.end = Stack::End::cycle;
            stack.culprit = current;
            return stack;
        }
        stack.interfaces.push_back(current);
        if (current.find("atm") != std::string::npos) {
            return stack;
        }
        parent = node->parent;
    }
    return stack;
}

std::string fapiQueueName(const std::string& interface, long long precedence, bool ingress) {
    return interface + (precedence == 8 ? "_def_queue" : "_q" + std::to_string(precedence)) +
           (ingress ? "_ing" : "");
}

} // namespace pacerctl
