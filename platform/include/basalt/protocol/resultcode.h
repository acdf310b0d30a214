// The result of one operation of the configuration client.
#pragma once

namespace basalt::protocol {

// 1 to 3 are transient: the same request may succeed a second later. 10 is an answer, not a fault. All others
// are permanent: repeating the request will not help.
class EResultCode {
  public:
    enum Code : int {
        done = 0,
        notConnected = 1,
        timedOut = 2,
        serverBusy = 3,
        nothingThere = 10,
        unknownColumn = 11,
        constraintViolated = 12,
        protocolError = 13,
        refused = 14,
        invalidTransaction = 15,
    };

    constexpr EResultCode() = default;
    // Conversions both ways are intended: a result is written as `return EResultCode::done;` and compared
    // with plain numbers.
    constexpr EResultCode(Code code) : code_(code) {} // NOLINT(google-explicit-constructor)

    constexpr int value() const { return code_; }
    constexpr bool isTransient() const {
        return code_ == notConnected || code_ == timedOut || code_ == serverBusy;
    }

    // A short reason for logs. Never null; the text lives as long as the program.
    constexpr const char* strerror() const {
        switch (code_) {
        case done:
            return "done";
        case notConnected:
            return "not connected to the configuration server";
        case timedOut:
            return "no answer in time";
        case serverBusy:
            return "the configuration server cannot do it now";
        case nothingThere:
            return "nothing there";
        case unknownColumn:
            return "unknown column";
        case constraintViolated:
            return "constraint violated";
        case protocolError:
            return "protocol error";
        case refused:
            return "refused by the configuration server";
        case invalidTransaction:
            return "no such transaction state";
        }
        return "unknown result";
    }

    friend constexpr bool operator==(EResultCode, EResultCode) = default;

  private:
    Code code_ = done;
};

} // namespace basalt::protocol
