#include "syslogcapture.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <regex>
#include <system_error>

namespace e2e {

namespace {

constexpr const char* logPath = "/dev/log";

std::string levelName(int priority) {
    switch (LOG_PRI(priority)) {
    case LOG_ERR:
        return "error";
    case LOG_WARNING:
        return "warning";
    case LOG_INFO:
        return "info";
    case LOG_DEBUG:
        return "trace";
    default:
        return "priority " + std::to_string(LOG_PRI(priority));
    }
}

// "<30>Nov 21 10:42:00 pacerd_ng[12]: dataflows.cpp:34: text", the text possibly over several lines.
LogLine parse(const std::string& datagram, std::chrono::steady_clock::time_point received) {
    static const std::regex shape(
        R"(<(\d+)>[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d ([^\[]*)\[(\d+)\]: (?:([\w.]+):\d+: )?)");
    // The text may be longer than what the library's expressions can be asked about.
    constexpr std::size_t longestHead = 500;
    const std::string head = datagram.substr(0, longestHead);
    std::smatch match;
    if (!std::regex_search(head, match, shape, std::regex_constants::match_continuous)) {
        return {"unreadable", -1, "", 0, "", datagram, received};
    }
    const int priority = std::atoi(match[1].str().c_str());
    return {levelName(priority),
            (priority & LOG_FACMASK) >> 3,
            match[2],
            static_cast<pid_t>(std::atoi(match[3].str().c_str())),
            match[4],
            datagram.substr(static_cast<std::size_t>(match.length())),
            received};
}

} // namespace

std::string levelAndText(const LogLine& line) {
    return line.level + ": " + line.text;
}

SyslogCapture::SyslogCapture() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {AF_UNIX, {}};
    std::char_traits<char>::copy(address.sun_path, logPath, sizeof "/dev/log");
    ::unlink(logPath);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), logPath);
    }
    thread_ = std::thread([this] { receive(); });
}

SyslogCapture::~SyslogCapture() {
    stop_ = true;
    thread_.join();
    ::close(socket_);
    ::unlink(logPath);
}

void SyslogCapture::receive() {
    while (!stop_) {
        pollfd waiting = {socket_, POLLIN, 0};
        if (::poll(&waiting, 1, 20) > 0) {
            const std::lock_guard lock(mutex_);
            takeWhatWaits();
        }
    }
}

void SyslogCapture::takeWhatWaits() const {
    ssize_t length = 0;
    while ((length = ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT)) > 0) {
        waiting_.push_back({std::string(buffer_.data(), static_cast<std::size_t>(length)),
                            std::chrono::steady_clock::now()});
    }
}

// Only when somebody asks, so that what is measured does not share its processor with this.
void SyslogCapture::readWhatWasTaken() const {
    takeWhatWaits();
    for (const Datagram& datagram : waiting_) {
        lines_.push_back(parse(datagram.text, datagram.received));
    }
    waiting_.clear();
}

// A process that has ended may have left messages in the socket.
std::vector<LogLine> SyslogCapture::lines() const {
    const std::lock_guard lock(mutex_);
    readWhatWasTaken();
    return lines_;
}

std::vector<std::string> SyslogCapture::messages() const {
    const std::vector<LogLine> all = lines();
    std::vector<std::string> result;
    std::transform(all.begin(), all.end(), std::back_inserter(result), levelAndText);
    return result;
}

std::size_t SyslogCapture::count(const std::string& message) const {
    const std::lock_guard lock(mutex_);
    readWhatWasTaken();
    return static_cast<std::size_t>(std::count_if(
        lines_.begin(), lines_.end(), [&](const LogLine& line) { return levelAndText(line) == message; }));
}

bool SyslogCapture::waitFor(const std::string& message, std::size_t times, Milliseconds limit) const {
    return eventually([&] { return count(message) >= times; }, limit);
}

void SyslogCapture::clear() {
    const std::lock_guard lock(mutex_);
    readWhatWasTaken();
    lines_.clear();
}

} // namespace e2e
