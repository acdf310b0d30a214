#include "failure.h"
#include "values.h"

#include <gtest/gtest.h>

namespace fapi {

TEST(Numbers, mustBeWholeAndWithinTheirRange) {
    EXPECT_EQ(0U, readNumber("-l", "0", 0, 9));
    EXPECT_EQ(9U, readNumber("-l", "9", 0, 9));
    for (const char* text : {"10", "-1", "+1", " 1", "1 ", "1.0", "0x1", "", "99999999999999999999999"}) {
        EXPECT_THROW(readNumber("-l", text, 0, 9), Usage) << text;
    }
}

TEST(Names, areOneToSixtyThreePrintableCharacters) {
    EXPECT_NO_THROW(checkName("name", "ptm0.7_q3"));
    EXPECT_NO_THROW(checkName("name", std::string(63, 'a')));
    for (const std::string& text : {std::string(), std::string(64, 'a'), std::string("a b"),
                                    std::string("-a"), std::string("a/b"), std::string("a\n")}) {
        EXPECT_THROW(checkName("name", text), Usage) << text;
    }
}

TEST(InterfaceNames, areThoseOfTheKernel) {
    EXPECT_NO_THROW(checkInterfaceName("-i", "ptm0.7"));
    EXPECT_NO_THROW(checkInterfaceName("-i", "abcdefghijklmno"));
    for (const char* text : {"", "abcdefghijklmnop", ".", "..", "a/b", "a b", "-a"}) {
        EXPECT_THROW(checkInterfaceName("-i", text), Usage) << text;
    }
}

} // namespace fapi
