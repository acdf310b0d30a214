// What the shell answers in a model test: the same for the daemon, which asks the preloaded spy, and for the
// model. A plan, not a simulation of the tools.
#pragma once

#include <cstdio>
#include <string>

namespace e2e::model {

class ToolAnswers {
  public:
    ToolAnswers(unsigned seed, unsigned existsPercent, unsigned failAt, int failStatus,
                unsigned removalFailPercent)
        : seed_(seed), existsPercent_(existsPercent), failAt_(failAt), failStatus_(failStatus),
          removalFailPercent_(removalFailPercent) {}

    explicit ToolAnswers(const std::string& text) {
        std::sscanf(text.c_str(), "%u %u %u %d %u", &seed_, &existsPercent_, &failAt_, &failStatus_,
                    &removalFailPercent_);
    }

    std::string text() const {
        return std::to_string(seed_) + " " + std::to_string(existsPercent_) + " " + std::to_string(failAt_) +
               " " + std::to_string(failStatus_) + " " + std::to_string(removalFailPercent_);
    }

    // The status of the next command line, as system() returns it.
    int next(const std::string& command) {
        ++calls_;
        if (command.empty()) {
            return 0; // as a shell answers
        }
        if (command.find(" | grep ") != std::string::npos) {
            return draw() < existsPercent_ ? 0 : 256;
        }
        if (command.find(" -D ") != std::string::npos) {
            return draw() < removalFailPercent_ ? failStatus_ : 0;
        }
        return ++changes_ == failAt_ ? failStatus_ : 0;
    }

  private:
    // 0 to 99, from the seed and the number of the call.
    unsigned draw() const {
        unsigned mixed = seed_ * 2654435761U + calls_ * 2246822519U;
        mixed ^= mixed >> 15;
        mixed *= 3266489917U;
        mixed ^= mixed >> 13;
        return mixed % 100;
    }

    unsigned seed_ = 0;
    unsigned existsPercent_ = 0;
    unsigned failAt_ = 0; // the n-th add or modify command fails, 0: none
    int failStatus_ = 256;
    unsigned removalFailPercent_ = 0;
    unsigned calls_ = 0;
    unsigned changes_ = 0;
};

} // namespace e2e::model
