// A directory of one test's own, gone with everything in it when the test ends.
#pragma once

#include <filesystem>
#include <string>

namespace zel::test {

class Sandbox {
  public:
    Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;
    ~Sandbox();

    // Of a file in it, whether it exists or not. Short enough for a socket's path.
    std::string path(const std::string& name) const { return (directory_ / name).string(); }

    // Writes the file and returns its path.
    std::string write(const std::string& name, const std::string& content) const;
    // Empty if there is none.
    std::string read(const std::string& name) const;

  private:
    std::filesystem::path directory_;
};

} // namespace zel::test
