// Reads parameters of a TR-181 file by type, and keeps account of what cannot be carried over.
#pragma once

#include "import/interfaces.h"
#include "import/tr181file.h"

#include <limits>
#include <string>
#include <vector>

namespace importers {

// The bound of numbers for which the data model has none.
inline constexpr long long anyNumber = std::numeric_limits<int>::max();

class Tr181Reader {
  public:
    Tr181Reader(const std::string& fileName, const std::string& text, const Interfaces& interfaces);

    Tr181File& file() { return file_; }
    const Interfaces& interfaces() const { return interfaces_; }
    Faults& faults() { return faults_; }
    const std::vector<Remark>& remarks() const { return remarks_; }

    // Values of an object's parameters. A value of another form is a fault.
    std::string text(const Object& object, const std::string& name);
    bool flag(const Object& object, const std::string& name);
    long long number(const Object& object, const std::string& name, long long min, long long max,
                     long long otherwise);

    // Whether the object is enabled. The data model's default is that it is not.
    bool enabled(const Object& object);

    // What the object's Interface or AllInterfaces stands for: logical interfaces, one for each Linux
    // interface. An interface that is not of this gateway is a fault.
    std::vector<std::string> logicals(const Object& object);

    // The WAN port below the object's Interface; empty if there is none.
    std::string wanPort(const Object& object);

    void remark(Remark::Kind kind, const std::string& path, const std::string& reason);
    void remark(Remark::Kind kind, const Object& object, const std::string& reason);
    void leaveOut(const Object& object, const std::string& reason);

  private:
    // Linux interfaces that the reference can mean: its own and those below it, the nearest first.
    std::vector<std::string> linuxNames(const std::string& reference);
    void complain(const Parameter& parameter, const std::string& path, const std::string& allowed);

    Faults faults_;
    Tr181File file_;
    const Interfaces& interfaces_;
    std::vector<Remark> remarks_;
};

} // namespace importers
