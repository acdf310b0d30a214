#include "import/tr181reader.h"

#include "import/words.h"

#include <algorithm>
#include <set>

namespace importers {

namespace {

std::string withoutLastDot(const std::string& path) {
    return !path.empty() && path.back() == '.' ? path.substr(0, path.size() - 1) : path;
}

} // namespace

Tr181Reader::Tr181Reader(const std::string& fileName, const std::string& text, const Interfaces& interfaces)
    : faults_(fileName), file_(text, faults_), interfaces_(interfaces) {}

std::string Tr181Reader::text(const Object& object, const std::string& name) {
    const Parameter* parameter = file_.read(object.path + name);
    return parameter == nullptr ? "" : parameter->value;
}

void Tr181Reader::complain(const Parameter& parameter, const std::string& path, const std::string& allowed) {
    faults_.add(parameter.line, path + ": \"" + parameter.value + "\" is not allowed; allowed: " + allowed);
}

bool Tr181Reader::flag(const Object& object, const std::string& name) {
    const Parameter* parameter = file_.read(object.path + name);
    if (parameter == nullptr) {
        return false;
    }
    const auto value = toFlag(parameter->value);
    if (!value) {
        complain(*parameter, object.path + name, "true, false, 1, 0");
    }
    return value.value_or(false);
}

long long Tr181Reader::number(const Object& object, const std::string& name, long long min, long long max,
                              long long otherwise) {
    const Parameter* parameter = file_.read(object.path + name);
    if (parameter == nullptr) {
        return otherwise;
    }
    const auto value = toNumber(parameter->value);
    if (!value || *value < min || *value > max) {
        complain(*parameter, object.path + name,
                 "an integer from " + std::to_string(min) + " to " + std::to_string(max));
        return otherwise;
    }
    return *value;
}

bool Tr181Reader::enabled(const Object& object) {
    const bool isEnabled = flag(object, "Enable");
    if (file_.read(object.path + "Enable") == nullptr) {
        remark(Remark::Kind::assumed, object, "not enabled, because it does not say Enable=true");
    }
    return isEnabled;
}

std::vector<std::string> Tr181Reader::linuxNames(const std::string& reference) {
    std::vector<std::string> names;
    std::vector<std::string> paths = {withoutLastDot(reference)};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::string path = paths[i];
        const std::string chosen = interfaces_.chosen(path);
        if (!chosen.empty()) {
            names.push_back(interfaces_.carrier(chosen));
        } else if (path.rfind("Device.", 0) != 0) {
            names.push_back(path); // some write the Linux name itself
        } else if (const Parameter* name = file_.read(path + ".Name")) {
            names.push_back(name->value);
        }
        if (const Parameter* layers = file_.read(path + ".LowerLayers")) {
            for (const std::string& layer : split(layers->value, ", ")) {
                const std::string lower = withoutLastDot(layer);
                if (std::find(paths.begin(), paths.end(), lower) == paths.end()) {
                    paths.push_back(lower);
                }
            }
        }
    }
    return names;
}

std::vector<std::string> Tr181Reader::logicals(const Object& object) {
    std::vector<std::string> found;
    if (flag(object, "AllInterfaces")) {
        found = interfaces_.logicals();
        file_.read(object.path + "Interface"); // means nothing then
    } else {
        const std::string path = object.path + "Interface";
        const Parameter* reference = file_.read(path);
        if (reference == nullptr || reference->value.empty()) {
            return {};
        }
        for (const std::string& name : linuxNames(reference->value)) {
            found = interfaces_.on(name);
            if (!found.empty()) {
                break;
            }
        }
        if (found.empty()) {
            const std::string word = withoutLastDot(reference->value);
            faults_.add(reference->line, path + "=" + reference->value +
                                             ": leads to no interface of this gateway; say which it is with "
                                             "--interface " +
                                             word + "=NAME, where NAME is one of " + interfaces_.describe());
        }
    }
    std::set<std::string> carriers;
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&](const std::string& logical) {
                                   return !carriers.insert(interfaces_.carrier(logical)).second;
                               }),
                found.end());
    return found;
}

std::string Tr181Reader::wanPort(const Object& object) {
    for (const std::string& name : linuxNames(text(object, "Interface"))) {
        std::string port = interfaces_.wanPort(name);
        if (!port.empty()) {
            return port;
        }
    }
    return "";
}

void Tr181Reader::remark(Remark::Kind kind, const std::string& path, const std::string& reason) {
    const Parameter& parameter = file_.at(path);
    remarks_.push_back({parameter.line, path + "=" + parameter.value, kind, reason});
}

void Tr181Reader::remark(Remark::Kind kind, const Object& object, const std::string& reason) {
    remarks_.push_back({object.line, object.path, kind, reason});
}

void Tr181Reader::leaveOut(const Object& object, const std::string& reason) {
    file_.readAll(object.path);
    remark(Remark::Kind::dropped, object, reason);
}

} // namespace importers
