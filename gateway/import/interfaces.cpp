#include "import/interfaces.h"

#include <algorithm>
#include <set>

namespace importers {

Interfaces::Interfaces(const std::vector<Json>& nodes, const std::vector<Json>& logicals,
                       std::map<std::string, std::string> chosen)
    : chosen_(std::move(chosen)) {
    static const std::set<std::string> wanTypes = {"MPoA", "WANoE", "XDSL"};
    for (const Json& node : nodes) {
        nodes_.emplace(node.at("InterfaceName"),
                       Node{node.at("ParentInterface"), wanTypes.count(node.at("Type")) != 0});
    }
    for (const Json& row : logicals) {
        const std::string carrier = row.at("Interface");
        if (carrier != "off" && carriers_.emplace(row.at("Name"), carrier).second) {
            logicals_.push_back(row.at("Name"));
        }
    }
}

std::string Interfaces::chosen(const std::string& word) const {
    const auto found = chosen_.find(word);
    return found == chosen_.end() ? "" : found->second;
}

std::vector<std::string> Interfaces::on(const std::string& linuxName) const {
    std::vector<std::string> direct;
    std::vector<std::string> above;
    for (const std::string& logical : logicals_) {
        const std::vector<std::string> names = stack(carrier(logical));
        if (names.front() == linuxName) {
            direct.push_back(logical);
        } else if (std::find(names.begin(), names.end(), linuxName) != names.end()) {
            above.push_back(logical);
        }
    }
    return direct.empty() ? above : direct;
}

std::string Interfaces::wanPort(const std::string& linuxName) const {
    const std::string root = stack(linuxName).back();
    const auto node = nodes_.find(root);
    return node != nodes_.end() && node->second.isWanPort ? root : "";
}

bool Interfaces::isProvider(const std::string& logical) {
    return logical.rfind("Provider", 0) == 0;
}

std::string Interfaces::describe() const {
    std::string text;
    for (const std::string& logical : logicals_) {
        text += (text.empty() ? "\"" : ", \"") + logical + "\"";
    }
    return text.empty() ? "none, the database has no logical interface" : text;
}

std::vector<std::string> Interfaces::stack(const std::string& linuxName) const {
    std::vector<std::string> names = {linuxName};
    while (names.size() <= nodes_.size()) {
        const auto node = nodes_.find(names.back());
        if (node == nodes_.end() || node->second.parent == "root" ||
            names.back().find("atm") != std::string::npos) {
            break;
        }
        names.push_back(node->second.parent);
    }
    return names;
}

} // namespace importers
