#include <basalt/protocol/resultcode.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace basalt::protocol {

namespace {

TEST(ResultCode, zero_is_done_and_what_there_is_at_first) {
    EXPECT_EQ(EResultCode().value(), 0);
    EXPECT_EQ(EResultCode(), EResultCode::done);
}

TEST(ResultCode, exactly_one_to_three_are_transient) {
    for (int number = 0; number <= 20; ++number) {
        const EResultCode code(static_cast<EResultCode::Code>(number));
        EXPECT_EQ(code.isTransient(), number >= 1 && number <= 3) << number;
    }
}

TEST(ResultCode, ten_is_that_there_is_nothing) {
    EXPECT_EQ(EResultCode(EResultCode::nothingThere).value(), 10);
    EXPECT_FALSE(EResultCode(EResultCode::nothingThere).isTransient());
}

TEST(ResultCode, each_has_a_text_of_its_own) {
    std::set<std::string> texts;
    for (const int number : {0, 1, 2, 3, 10, 11, 12, 13, 14, 15, 99}) {
        texts.insert(EResultCode(static_cast<EResultCode::Code>(number)).strerror());
    }
    EXPECT_EQ(texts.size(), 11U);
    EXPECT_EQ(texts.count("unknown result"), 1U) << "a platform's own code is no crash";
}

} // namespace

} // namespace basalt::protocol
