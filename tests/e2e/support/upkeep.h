// What a process costs while it runs for long, and whether that grows.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <vector>

namespace e2e {

long openFilesOf(pid_t process);

// Memory of its own and its share of what it shares, in kB. Throws std::runtime_error if it cannot be read.
// It also moves when other programs with the same libraries start and end.
long proportionalSizeOf(pid_t process);
// What it has allocated or written, in kB: shared with nobody.
long ownMemoryOf(pid_t process);

// A quantity, looked at now and then.
class Trend {
  public:
    void add(double when, double value);

    // Of the straight line that fits best: units of the value for each unit of time. 0 for less than two
    // points.
    double slope() const;
    double first() const { return points_.front().value; }
    double last() const { return points_.back().value; }

  private:
    struct Point {
        double when;
        double value;
    };
    std::vector<Point> points_;
};

} // namespace e2e
