// Files that other programs read.
#pragma once

#include <stdexcept>
#include <string>

namespace pacerctl {

class FileFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Readers see the old content or the new, never a part. What is no regular file, or belongs to another user
// than root or oneself, stays. Throws FileFailure.
void writeFile(const std::string& file, const std::string& content);

} // namespace pacerctl
