#include "netlink.h"

#include <gtest/gtest.h>

namespace fapi::nl {

namespace {

std::string attribute(uint16_t type, const std::string& value) {
    std::string bytes;
    const auto length = static_cast<uint16_t>(4 + value.size());
    bytes.append(reinterpret_cast<const char*>(&length), 2);
    bytes.append(reinterpret_cast<const char*>(&type), 2);
    bytes += value;
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

} // namespace

TEST(Attributes, areFoundByTheirType) {
    const std::string bytes = attribute(1, std::string("ptm0\0", 5)) + attribute(2, "abcd");
    const Attributes attributes(bytes.data(), bytes.size());
    EXPECT_EQ("ptm0", attributes.text(1));
    uint32_t number = 0;
    EXPECT_TRUE(attributes.get(2, number));
    EXPECT_EQ(0, memcmp("abcd", &number, 4));
    EXPECT_FALSE(attributes.get(3, number));
    EXPECT_EQ("", attributes.text(3));
}

TEST(Attributes, ofAMessageThatEndsEarlyAreThoseThatAreWhole) {
    std::string bytes = attribute(1, "abcd") + attribute(2, "efgh");
    const Attributes cut(bytes.data(), bytes.size() - 1);
    EXPECT_EQ("abcd", cut.raw(1));
    EXPECT_EQ("", cut.raw(2));
    bytes[0] = 1; // shorter than its own head
    EXPECT_TRUE(Attributes(bytes.data(), bytes.size()).all().empty());
}

TEST(Attributes, nest) {
    const std::string bytes = attribute(5, attribute(1, "abcd"));
    EXPECT_EQ("abcd", Attributes(bytes.data(), bytes.size()).nested(5).raw(1));
}

} // namespace fapi::nl
