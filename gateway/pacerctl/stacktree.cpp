#include "pacerctl/stacktree.h"

#include <algorithm>
#include <set>

namespace pacerctl {

namespace {

class TreeBuilder {
  public:
    explicit TreeBuilder(const Gateway& gateway) : gateway_(gateway) {}

    std::vector<StackLine> build() {
        for (const Node& node : gateway_.nodes) {
            if (isRoot(node)) {
                add(node, "", "");
            }
        }
        addOrphans();
        addServicesWithoutNode();
        return std::move(lines_);
    }

  private:
    static bool isRoot(const Node& node) {
        return node.parent == "root" || node.interface.find("atm") != std::string::npos;
    }

    std::string noteFor(const Node& node) const {
        std::string note;
        const Node* port = gateway_.wanPort();
        if (port == &node) {
            note = "WAN port";
        } else if (node.enable == 0) {
            note = "disabled";
        }
        for (const Service* service : gateway_.servicesOn(node.interface)) {
            note += (note.empty() ? "" : ", ") + describe(*service);
        }
        return note;
    }

    static std::string describe(const Service& service) {
        const bool noAddress = service.address == "0.0.0.0" || service.address.empty();
        return service.name + (service.isUp == 0 ? " down" : " up") +
               (noAddress ? " without address" : " " + service.address);
    }

    // `own`: the branch to the node; `below`: what stands in front of its children.
    void add(const Node& node, const std::string& own, const std::string& below) {
        shown_.insert(&node);
        lines_.push_back({own, node.interface + " (" + node.type + ")", noteFor(node), false});
        std::vector<const Node*> children;
        for (const Node& each : gateway_.nodes) {
            if (!isRoot(each) && each.parent == node.interface && shown_.count(&each) == 0) {
                children.push_back(&each);
            }
        }
        for (const Node* child : children) {
            const bool last = child == children.back();
            add(*child, below + (last ? "└─ " : "├─ "), below + (last ? "   " : "│  "));
        }
    }

    // Chains that reach no root.
    void addOrphans() {
        for (const Node& node : gateway_.nodes) {
            if (shown_.count(&node) == 0) {
                const Stack stack = findStack(gateway_, node.interface);
                const std::string why = stack.end == Stack::End::cycle
                                            ? "its parents lead back to " + stack.culprit
                                            : "its parents need a node for " + stack.culprit;
                lines_.push_back({"", node.interface + " (" + node.type + ")", why, true});
            }
        }
    }

    void addServicesWithoutNode() {
        std::set<std::string> done;
        for (const Service& service : gateway_.services) {
            if (gateway_.findNode(service.interface) != nullptr ||
                !done.insert(service.name + service.interface).second) {
                continue;
            }
            if (service.isOff()) {
                lines_.push_back({"", service.name, "off", false});
            } else {
                lines_.push_back({"", service.interface,
                                  describe(service) + (service.isProvider() ? ", has no node" : ""),
                                  service.isProvider()});
            }
        }
    }

    const Gateway& gateway_;
    std::set<const Node*> shown_;
    std::vector<StackLine> lines_;
};

} // namespace

std::vector<StackLine> stackLines(const Gateway& gateway) {
    return TreeBuilder(gateway).build();
}

} // namespace pacerctl
