// Figures beside their targets: a table for people, JSON for machines.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
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

double median(std::vector<double> values);
double quantile(std::vector<double> values, double part); // 0.99 of them are not larger

} // namespace bench
