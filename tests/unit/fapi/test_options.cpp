#include "failure.h"
#include "options.h"

#include <gtest/gtest.h>

namespace fapi {

namespace {

Options parse(const std::vector<std::string>& words) {
    return {words,
            {{"-A", Arg::needed},
             {"-D", Arg::needed},
             {"-i", Arg::needed},
             {"-j", Arg::needed, true},
             {"--pir", Arg::needed},
             {"--force", Arg::none}}};
}

std::string mistake(const std::vector<std::string>& words) {
    try {
        parse(words);
    } catch (const Usage& usage) {
        EXPECT_EQ(2, usage.status());
        return usage.what();
    }
    return "";
}

} // namespace

TEST(Options, takeAValueAttachedOrAsTheNextWord) {
    EXPECT_EQ("ptm0", parse({"-iptm0"}).need("-i"));
    EXPECT_EQ("ptm0", parse({"-i", "ptm0"}).need("-i"));
    EXPECT_EQ("5", parse({"--pir=5"}).need("--pir"));
    EXPECT_EQ("5", parse({"--pir", "5"}).need("--pir"));
}

TEST(Options, keepRepeatableOnesInTheirOrder) {
    const Options options = parse({"-j", "dscp", "-j", "mark"});
    ASSERT_EQ(2U, options.all().size());
    EXPECT_EQ("dscp", options.all()[0].second);
    EXPECT_EQ("mark", options.all()[1].second);
}

TEST(Options, nameTheWordThatIsWrong) {
    EXPECT_EQ("unknown option '-x'", mistake({"-x"}));
    EXPECT_EQ("unknown option '--force=1'", mistake({"--force=1"}));
    EXPECT_EQ("option -i given twice", mistake({"-ia", "-ib"}));
    EXPECT_EQ("option -i needs a value", mistake({"-i"}));
    EXPECT_EQ("option -i needs a value", mistake({"-i", "-A", "x"}));
    EXPECT_EQ("unexpected word 'ptm0'", mistake({"ptm0"}));
    EXPECT_EQ("unexpected word '-'", mistake({"-"}));
}

TEST(Options, sayWhatIsMissing) {
    EXPECT_THROW(parse({}).need("-i"), Usage);
    EXPECT_EQ(nullptr, parse({}).find("-i"));
}

TEST(Operation, isExactlyOneOfTheFour) {
    EXPECT_EQ(Operation::add, operationOf(parse({"-A", "x"})));
    EXPECT_EQ(Operation::remove, operationOf(parse({"-D", "x"})));
    EXPECT_THROW(operationOf(parse({})), Usage);
    EXPECT_THROW(operationOf(parse({"-A", "x", "-D", "x"})), Usage);
}

TEST(Operation, thatIsMissingIsAskedForByWhatTheCommandHas) {
    try {
        operationOf(parse({}), "-A and -D");
        ADD_FAILURE();
    } catch (const Usage& usage) {
        EXPECT_STREQ("one of -A and -D is needed", usage.what());
    }
}

TEST(Operation, hasItsObjectAsItsValue) {
    EXPECT_EQ("x", objectOf(parse({"-A", "x"}), Operation::add));
    EXPECT_EQ("x", objectOf(parse({"-D", "x"}), Operation::remove));
}

} // namespace fapi
