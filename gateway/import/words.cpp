#include "import/words.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bitset>
#include <cctype>
#include <charconv>
#include <cstdint>

namespace importers {

namespace {

constexpr int maxPort = 65535;
constexpr int maxDscp = 63;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

std::optional<long long> within(const std::string& text, long long min, long long max) {
    const auto number = toNumber(text);
    return number && *number >= min && *number <= max ? number : std::nullopt;
}

// Bits of an address of that family; 0 if it is none.
int addressBits(const std::string& address) {
    in6_addr buffer = {};
    if (::inet_pton(AF_INET, address.c_str(), &buffer) == 1) {
        return 32;
    }
    return ::inet_pton(AF_INET6, address.c_str(), &buffer) == 1 ? 128 : 0;
}

// The prefix length of a dotted mask; nothing if its ones are not all in front.
std::optional<int> dottedLength(const std::string& mask) {
    in_addr buffer = {};
    if (::inet_pton(AF_INET, mask.c_str(), &buffer) != 1) {
        return std::nullopt;
    }
    const std::uint32_t bits = ntohl(buffer.s_addr);
    const std::uint32_t inverted = ~bits;
    return (inverted & (inverted + 1)) == 0 ? std::optional<int>(std::bitset<32>(bits).count())
                                            : std::nullopt;
}

} // namespace

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return text;
}

std::string trimmed(const std::string& text) {
    const char* blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::vector<std::string> split(const std::string& text, const std::string& separators) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return pieces;
}

std::optional<long long> toNumber(const std::string& text) {
    long long number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<long long>(number) : std::nullopt;
}

std::optional<bool> toFlag(const std::string& text) {
    const std::string word = lower(text);
    for (const char* yes : {"true", "1", "yes", "on", "enabled"}) {
        if (word == yes) {
            return true;
        }
    }
    for (const char* no : {"false", "0", "no", "off", "disabled"}) {
        if (word == no) {
            return false;
        }
    }
    return std::nullopt;
}

std::string toPorts(const std::string& text) {
    const std::size_t sign = text.find_first_of("-:");
    const auto first = within(text.substr(0, sign), 0, maxPort);
    const auto last = sign == std::string::npos ? first : within(text.substr(sign + 1), 0, maxPort);
    if (!first || !last || *first > *last) {
        return "";
    }
    return std::to_string(*first) + (first == last ? "" : ":" + std::to_string(*last));
}

std::string toAddress(const std::string& text) {
    const std::size_t slash = text.find('/');
    const int bits = addressBits(text.substr(0, slash));
    const bool lengthFits = slash == std::string::npos || within(text.substr(slash + 1), 0, bits).has_value();
    return bits > 0 && lengthFits ? text : "";
}

std::string toPrefix(const std::string& address, const std::string& mask) {
    if (const auto length = dottedLength(mask)) {
        return toAddress(address + "/" + std::to_string(*length));
    }
    const std::size_t slash = mask.find('/');
    const bool ownAddress = slash != std::string::npos && slash > 0;
    if (ownAddress && toAddress(mask).empty()) {
        return "";
    }
    return toAddress(address + "/" + (slash == std::string::npos ? mask : mask.substr(slash + 1)));
}

std::optional<int> toDscp(const std::string& text) {
    const std::string word = lower(text);
    int number = 0;
    const bool isHex = word.rfind("0x", 0) == 0;
    const char* begin = word.data() + (isHex ? 2 : 0);
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(begin, end, number, isHex ? 16 : 10);
    if (error == std::errc() && stop == end) {
        return number >= 0 && number <= maxDscp ? std::optional<int>(number) : std::nullopt;
    }
    if (word == "ef" || word == "be") {
        return word == "ef" ? 46 : 0;
    }
    // Class selector n is 8n; assured forwarding class n with drop precedence m is 8n + 2m.
    if (word.size() == 3 && word.rfind("cs", 0) == 0 && isDigit(word[2]) && word[2] <= '7') {
        return 8 * (word[2] - '0');
    }
    if (word.size() == 4 && word.rfind("af", 0) == 0 && word[2] >= '1' && word[2] <= '4' && word[3] >= '1' &&
        word[3] <= '3') {
        return 8 * (word[2] - '0') + 2 * (word[3] - '0');
    }
    return std::nullopt;
}

std::string toWord(const std::string& text, std::size_t length) {
    std::string word = text.substr(0, length);
    std::replace_if(
        word.begin(), word.end(), [](char character) { return !isWordCharacter(character); }, '_');
    return word;
}

} // namespace importers
