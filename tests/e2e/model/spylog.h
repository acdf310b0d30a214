// The spy's file, read as it grows, in the model's words.
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace e2e::model {

class SpyLog {
  public:
    explicit SpyLog(std::string file) : file_(std::move(file)) {}

    // What the daemon has done so far; the platform's own messages are left out.
    const std::vector<std::string>& events();

  private:
    void take(const std::string& line);

    std::string file_;
    std::streamoff position_ = 0;
    std::vector<std::string> events_;
};

} // namespace e2e::model
