// Small texts in foreign files: numbers, addresses, ports, DSCPs, names.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace importers {

std::string trimmed(const std::string& text);

// Of the letters A to Z; others stay.
std::string lower(std::string text);

// At any of the separators; empty pieces are left out.
std::vector<std::string> split(const std::string& text, const std::string& separators);

// Decimal, the whole text.
std::optional<long long> toNumber(const std::string& text);

// true, false, 1, 0, and the words that UCI also knows: yes, no, on, off, enabled, disabled.
std::optional<bool> toFlag(const std::string& text);

// "5060", "5060-5061" or "5060:5061" as "5060" or "5060:5061"; empty if it is neither or not from 0 to 65535.
std::string toPorts(const std::string& text);

// An IPv4 or IPv6 address, with a prefix length or not, as it is; empty if it is none.
std::string toAddress(const std::string& text);

// The address with a mask: "/24", "24", "10.0.0.0/24" or "255.255.255.0". Empty if it is none of these.
std::string toPrefix(const std::string& address, const std::string& mask);

// "46", "0x2e", or a name such as EF, CS1, AF41 or BE in any case.
std::optional<int> toDscp(const std::string& text);

// Letters, digits and "_": everything else becomes "_". At most `length`.
std::string toWord(const std::string& text, std::size_t length);

} // namespace importers
