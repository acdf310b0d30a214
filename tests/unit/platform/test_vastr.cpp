#include <zel/vastr.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(VAStr, formats_like_printf) {
    EXPECT_EQ(VAStr("WAN up statue %d => %d", 0, 1), "WAN up statue 0 => 1");
    EXPECT_EQ(VAStr("'%s' at offset '%zu'", "QoSQueues", std::size_t{7}), "'QoSQueues' at offset '7'");
    EXPECT_EQ(VAStr("100%%"), "100%");
}

TEST(VAStr, gives_an_empty_text_for_an_empty_format) {
    EXPECT_EQ(VAStr("%s", ""), "");
}

TEST(VAStr, has_no_longest_text) {
    const std::string large(1 << 20, 'x');
    EXPECT_EQ(VAStr("<%s>", large.c_str()), "<" + large + ">");
}

} // namespace
