// Builders for database rows: each starts as a complete, ordinary row, a test names only what matters to it.
#pragma once

#include <basalt/valuelist.h>

#include <string>
#include <utility>

namespace zel::pacerd::test {

class Row {
  public:
    const std::string& table() const { return table_; }
    const basalt::ValueList& values() const { return values_; }

  protected:
    explicit Row(std::string table) : table_(std::move(table)) {}

    void set(const std::string& column, long long number) { values_.setValue(column, basalt::Value(number)); }
    void set(const std::string& column, const std::string& text) {
        values_.setValue(column, basalt::Value(text));
    }
    void drop(const std::string& column);

  private:
    std::string table_;
    basalt::ValueList values_;
};

template <class Self>
class RowBuilder : public Row {
  public:
    Self& with(const std::string& column, long long number) {
        set(column, number);
        return self();
    }
    Self& with(const std::string& column, const std::string& text) {
        set(column, text);
        return self();
    }
    Self& without(const std::string& column) {
        drop(column);
        return self();
    }
    Self& id(long long id) { return with("Id", id); }
    Self& enabled(long long value) { return with("Enable", value); }
    Self& disabled() { return enabled(0); }

  protected:
    using Row::Row;

  private:
    Self& self() { return static_cast<Self&>(*this); }
};

// An enabled strict-priority egress queue of ProviderInternet.
class QueueRow : public RowBuilder<QueueRow> {
  public:
    QueueRow();
    QueueRow& named(const std::string& name) { return with("Name", name); }
    QueueRow& on(const std::string& logicalInterface) { return with("InterfaceName", logicalInterface); }
    QueueRow& serving(const std::string& classes) { return with("TrafficClasses", classes); }
    QueueRow& length(long long packets) { return with("BufferLen", packets); }
    QueueRow& sp(long long precedence) { return with("Scheduler", "SP").with("Precedence", precedence); }
    QueueRow& wfq(long long precedence, long long weight) {
        return with("Scheduler", "WFQ").with("Precedence", precedence).with("WFQWeight", weight);
    }
    QueueRow& red() { return with("DropAlgorithm", "RED"); }
    QueueRow& egress(long long value) { return with("Egress", value); }
    QueueRow& ingress(long long value) { return with("Ingress", value); }
};

// An enabled UDP rule on LocalLAN without further criteria, with the action 1.
class RuleRow : public RowBuilder<RuleRow> {
  public:
    RuleRow();
    RuleRow& named(const std::string& name) { return with("Name", name); }
    RuleRow& on(const std::string& logicalInterface) { return with("ClassifyInterface", logicalInterface); }
    RuleRow& action(long long id) { return with("QoSClassificationActionId", id); }
    RuleRow& protocol(const std::string& name) { return with("Protocol", name); }
    RuleRow& to(const std::string& address) { return with("DestIP", address); }
    RuleRow& from(const std::string& address) { return with("SourceIP", address); }
    RuleRow& toPort(const std::string& range) { return with("DestPortRange", range); }
    RuleRow& fromPort(const std::string& range) { return with("SourcePortRange", range); }
    RuleRow& tcpAck(long long value) { return with("TCPACK", value); }
    RuleRow& dscp(long long value) { return with("DSCPMatch", value); }
    RuleRow& dscp(const std::string& value) { return with("DSCPMatch", value); }
};

// The action 1: traffic class 5 into the queues of ProviderInternet, without remarking.
class ActionRow : public RowBuilder<ActionRow> {
  public:
    ActionRow();
    ActionRow& named(const std::string& name) { return with("Name", name); }
    ActionRow& into(const std::string& logicalInterface) { return with("QueueInterface", logicalInterface); }
    ActionRow& trafficClass(long long number) { return with("TrafficClass", number); }
    ActionRow& dscp(long long mark) { return with("DSCPMark", mark); }
    ActionRow& pcp(long long mark) { return with("EthPriorityMark", mark); }
};

// An enabled egress shaper.
class ShaperRow : public RowBuilder<ShaperRow> {
  public:
    explicit ShaperRow(const std::string& interface);
    ShaperRow& rate(long long rate) { return with("ShapingRate", rate); }
    ShaperRow& egress(long long value) { return with("ShapeEgress", value); }
    ShaperRow& ingress(long long value) { return with("ShapeIngress", value); }
};

// An enabled node at the bottom of a stack.
class NodeRow : public RowBuilder<NodeRow> {
  public:
    NodeRow(const std::string& interface, const std::string& type);
    NodeRow& above(const std::string& parent) { return with("ParentInterface", parent); }
};

// A logical interface that is up with an address.
class LogicalInterfaceRow : public RowBuilder<LogicalInterfaceRow> {
  public:
    LogicalInterfaceRow(const std::string& name, const std::string& interface);
    LogicalInterfaceRow& isUp(long long value) { return with("IsUp", value); }
    LogicalInterfaceRow& address(const std::string& address) { return with("Addr", address); }
};

class DslRow : public RowBuilder<DslRow> {
  public:
    DslRow(long long status, const std::string& text);
};

inline QueueRow aQueue() {
    return {};
}
inline RuleRow aRule() {
    return {};
}
inline ActionRow anAction() {
    return {};
}
inline ShaperRow aShaper(const std::string& interface) {
    return ShaperRow(interface);
}
inline NodeRow aNode(const std::string& interface, const std::string& type) {
    return {interface, type};
}
inline LogicalInterfaceRow aLogicalInterface(const std::string& name, const std::string& interface) {
    return {name, interface};
}
inline DslRow aDslLine(long long status, const std::string& text) {
    return {status, text};
}

} // namespace zel::pacerd::test
