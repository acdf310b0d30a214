// A directory of stand-in programs, alone in PATH.
#pragma once

#include <string>

namespace pacerctl::test {

class FakePath {
  public:
    FakePath();
    FakePath(const FakePath&) = delete;
    FakePath& operator=(const FakePath&) = delete;
    ~FakePath();

    // A shell script of that name. The usual programs stay reachable inside of it.
    void add(const std::string& program, const std::string& script) const;
    const std::string& directory() const { return directory_; }
    std::string read(const std::string& file) const;

  private:
    std::string directory_;
    std::string oldPath_;
};

} // namespace pacerctl::test
