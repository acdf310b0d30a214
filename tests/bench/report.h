// Figures beside their targets: a table for people, JSON for machines.
#pragma once

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

struct Figure {
    std::string what;
    double value;
    std::string unit;
    std::optional<double> atMost = std::nullopt; // the target, if there is one
    std::string note = {};
};

// One file of figures: FOLDER/NAME.json, with more detail in `details`.
class Report {
  public:
    Report(std::string folder, std::string name) : folder_(std::move(folder)), name_(std::move(name)) {}

    void add(Figure figure) { figures_.push_back(std::move(figure)); }
    nlohmann::json& details() { return details_; }

    // Prints the figures and writes the file. Returns how many targets were missed.
    int finish() const;

  private:
    std::string folder_;
    std::string name_;
    std::vector<Figure> figures_;
    nlohmann::json details_ = nlohmann::json::object();
};

// Writes into a folder; returns how many targets were missed.
using Measurement = std::function<int(const std::string& folder)>;
using Measurements = std::vector<std::pair<std::string, Measurement>>;

// Those with these names, or all if there are none; at the end says whether a target was missed.
void measure(const Measurements& measurements, const std::string& folder,
             const std::vector<std::string>& names);

double median(std::vector<double> values);
double quantile(std::vector<double> values, double part); // 0.99 of them are not larger

} // namespace bench
