#include "upkeep.h"

#include "process.h"

#include <filesystem>
#include <iterator>
#include <stdexcept>

namespace e2e {

namespace {

std::string folderOf(pid_t process) {
    return "/proc/" + std::to_string(process) + "/";
}

// "Pss:                 751 kB"
long rollupOf(pid_t process, const std::string& field) {
    const std::string rollup = readFile(folderOf(process) + "smaps_rollup");
    const std::size_t at = rollup.find("\n" + field + ":");
    if (at == std::string::npos) {
        throw std::runtime_error("no " + field + " of process " + std::to_string(process));
    }
    return std::atol(rollup.c_str() + at + field.size() + 2);
}

} // namespace

long openFilesOf(pid_t process) {
    return std::distance(std::filesystem::directory_iterator(folderOf(process) + "fd"),
                         std::filesystem::directory_iterator());
}

long proportionalSizeOf(pid_t process) {
    return rollupOf(process, "Pss");
}

long ownMemoryOf(pid_t process) {
    return rollupOf(process, "Anonymous");
}

void Trend::add(double when, double value) {
    points_.push_back({when, value});
}

double Trend::slope() const {
    double meanWhen = 0;
    double meanValue = 0;
    const auto count = static_cast<double>(points_.size());
    for (const Point& point : points_) {
        meanWhen += point.when / count;
        meanValue += point.value / count;
    }
    double together = 0;
    double spread = 0;
    for (const Point& point : points_) {
        together += (point.when - meanWhen) * (point.value - meanValue);
        spread += (point.when - meanWhen) * (point.when - meanWhen);
    }
    return spread > 0 ? together / spread : 0;
}

} // namespace e2e
