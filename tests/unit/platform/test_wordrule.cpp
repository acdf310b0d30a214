#include "zel/wordrule.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using zel::cfg::ColumnClass;
using zel::cfg::whyNoWord;

std::string why(std::string_view text) {
    return whyNoWord(ColumnClass::word, text);
}

TEST(WordRule, takes_what_names_addresses_and_ranges_are_made_of) {
    for (const char* text :
         {"", "voip", "ptm0.7", "nas_atm0", "br-lan", "eth0:1", "192.0.2.0/24", "2001:db8::1/64", "5060:5061",
          "80,443", "user@isp", "+7", "100%", "a=b", "/", "x-A"}) {
        EXPECT_EQ(why(text), "") << text;
    }
}

// Every byte, at the beginning, in the middle and at the end.
TEST(WordRule, takes_letters_digits_and_ten_marks_and_no_other_byte) {
    const std::string marks = "._:/,+@%=-";
    for (int code = 0; code < 256; ++code) {
        const char byte = static_cast<char>(code);
        const bool harmless = (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
                              (code >= '0' && code <= '9') ||
                              (code != 0 && marks.find(byte) != std::string::npos);
        const std::string one(1, byte);
        EXPECT_EQ(why("a" + one + "b").empty(), harmless) << code;
        EXPECT_EQ(why("ab" + one).empty(), harmless) << code;
        EXPECT_EQ(why(one + "ab").empty(), harmless && byte != '-') << code;
    }
}

TEST(WordRule, names_the_first_character_at_fault) {
    EXPECT_EQ(why("a;b|c"), "holds ';'");
    EXPECT_EQ(why("two words"), "holds ' '");
    EXPECT_EQ(why("it's"), "holds '''");
    EXPECT_EQ(why("a\nb"), "holds '\\x0a'");
    EXPECT_EQ(why(std::string_view("a\0b", 3)), "holds '\\x00'");
    EXPECT_EQ(why("K\xC3\xBC"
                  "che"),
              "holds '\\xc3'");
    EXPECT_EQ(why("\x7F"), "holds '\\x7f'");
    EXPECT_EQ(why("-A"), "begins with '-'");
    EXPECT_EQ(why("-$"), "holds '$'");
}

TEST(WordRule, limits_words_to_64_characters_and_interface_names_to_15) {
    EXPECT_EQ(why(std::string(64, 'x')), "");
    EXPECT_EQ(why(std::string(64, 'x') + "yz"), "has 66 characters, from 'y' on more than the 64 allowed");
    EXPECT_EQ(whyNoWord(ColumnClass::interfaceName, "bridge-of-sighs"), "");
    EXPECT_EQ(whyNoWord(ColumnClass::interfaceName, "bridge-of-sighs0"),
              "has 16 characters, from '0' on more than the 15 allowed");
    EXPECT_EQ(whyNoWord(ColumnClass::interfaceName, "a b"), "holds ' '");
}

TEST(WordRule, asks_nothing_of_numbers_and_free_texts) {
    EXPECT_EQ(whyNoWord(ColumnClass::number, "-1"), "");
    EXPECT_EQ(whyNoWord(ColumnClass::freeText, "$(reboot); \n" + std::string(100, 'x')), "");
}

TEST(WordRule, tells_the_rule_in_words) {
    EXPECT_EQ(zel::cfg::allowedWord(ColumnClass::interfaceName),
              "letters, digits and . _ : / , + @ % = -, no - in front, at most 15 characters");
}

} // namespace
