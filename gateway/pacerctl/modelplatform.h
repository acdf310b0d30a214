// What the daemon's classes say while pacerctl uses them.
#pragma once

#include <string>
#include <vector>

namespace pacerctl {

enum class MessageLevel { error, warning, info, trace };

const char* nameOf(MessageLevel level);

struct ModelMessage {
    MessageLevel level = MessageLevel::error;
    std::string source; // the daemon's source file
    std::string text;

    bool operator==(const ModelMessage&) const = default;
};

// Collects every message logged while it lives. One at a time; without one, messages are dropped: pacerctl
// itself writes nothing to the system log.
class MessageCapture {
  public:
    MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;
    ~MessageCapture();

    std::vector<ModelMessage> messages;

  private:
    MessageCapture* outer_;
};

} // namespace pacerctl
