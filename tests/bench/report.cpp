#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace bench {

namespace {

bool missed(const Figure& figure) {
    return figure.atMost && figure.value > *figure.atMost;
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text,
                  std::abs(value) >= 100  ? "%.0f"
                  : std::abs(value) >= 10 ? "%.1f"
                                          : "%.3f",
                  value);
    return text;
}

void print(const Figure& figure) {
    std::string target;
    if (figure.atMost) {
        target = "at most " + number(*figure.atMost) + (missed(figure) ? "  MISSED" : "  met");
    }
    std::printf("  %-58s %9s %-6s %-22s %s\n", figure.what.c_str(), number(figure.value).c_str(),
                figure.unit.c_str(), target.c_str(), figure.note.c_str());
}

} // namespace

int Report::finish() const {
    int misses = 0;
    nlohmann::json document = {{"figures", nlohmann::json::array()}, {"details", details_}};
    std::printf("%s\n", name_.c_str());
    for (const Figure& figure : figures_) {
        print(figure);
        nlohmann::json entry = {{"what", figure.what}, {"value", figure.value}, {"unit", figure.unit}};
        if (figure.atMost) {
            entry["atMost"] = *figure.atMost;
            entry["met"] = !missed(figure);
        }
        if (!figure.note.empty()) {
            entry["note"] = figure.note;
        }
        document["figures"].push_back(entry);
        misses += missed(figure) ? 1 : 0;
    }
    std::ofstream(folder_ + "/" + name_ + ".json") << document.dump(2) << "\n";
    std::fflush(stdout);
    return misses;
}

void measure(const Measurements& measurements, const std::string& folder,
             const std::vector<std::string>& names) {
    int missed = 0;
    for (const auto& [name, measurement] : measurements) {
        if (names.empty() || std::find(names.begin(), names.end(), name) != names.end()) {
            missed += measurement(folder);
        }
    }
    std::printf(missed == 0 ? "every target met\n" : "%d targets MISSED\n", missed);
}

double median(std::vector<double> values) {
    return quantile(std::move(values), 0.5);
}

double quantile(std::vector<double> values, double part) {
    if (values.empty()) {
        return std::nan("");
    }
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5);
    return values[index];
}

} // namespace bench
