#include "ovsdb/framesplitter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

namespace {

using ovsdb::FrameSplitter;
using ovsdb::ProtocolError;

std::vector<std::string> takeAll(FrameSplitter& splitter) {
    std::vector<std::string> messages;
    while (auto message = splitter.next()) {
        messages.push_back(std::move(*message));
    }
    return messages;
}

TEST(FrameSplitter, has_nothing_at_first) {
    FrameSplitter splitter;
    EXPECT_FALSE(splitter.ready());
    EXPECT_FALSE(splitter.partial());
    EXPECT_EQ(splitter.next(), std::nullopt);
}

TEST(FrameSplitter, cuts_messages_that_follow_each_other_without_a_byte_between_them) {
    FrameSplitter splitter;
    splitter.append(R"({"a":1}{"b":[2,{"c":3}]}{})");
    EXPECT_EQ(takeAll(splitter), (std::vector<std::string>{R"({"a":1})", R"({"b":[2,{"c":3}]})", "{}"}));
    EXPECT_FALSE(splitter.partial());
}

TEST(FrameSplitter, passes_over_blanks_between_messages) {
    FrameSplitter splitter;
    splitter.append(" \n{\"a\": 1}\r\n\t{} \n");
    EXPECT_EQ(takeAll(splitter), (std::vector<std::string>{"{\"a\": 1}", "{}"}));
    EXPECT_FALSE(splitter.partial());
}

TEST(FrameSplitter, does_not_count_brackets_inside_of_strings) {
    FrameSplitter splitter;
    const std::string message = R"({"}]{[":"\"}\\","x":"\\\"]"})";
    splitter.append(message + "{}");
    EXPECT_EQ(takeAll(splitter), (std::vector<std::string>{message, "{}"}));
}

TEST(FrameSplitter, finds_the_same_messages_however_the_bytes_arrive) {
    const std::vector<std::string> messages = {R"({"id":1,"result":["a\\",{"b":"}\""}]})", "{}",
                                               R"({"x":[[[]],{}]})", R"({"y":"\u007d"})"};
    std::string stream;
    for (const std::string& message : messages) {
        stream += message + "\n";
    }
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        FrameSplitter splitter;
        std::vector<std::string> found;
        for (std::size_t at = 0; at < stream.size();) {
            const std::size_t length = 1 + random() % 9;
            splitter.append(std::string_view(stream).substr(at, length));
            at += length;
            if (random() % 2 == 0) {
                for (std::string& message : takeAll(splitter)) {
                    found.push_back(std::move(message));
                }
            }
        }
        for (std::string& message : takeAll(splitter)) {
            found.push_back(std::move(message));
        }
        ASSERT_EQ(found, messages);
    }
}

TEST(FrameSplitter, knows_half_a_message) {
    FrameSplitter splitter;
    splitter.append(R"({"a":)");
    EXPECT_FALSE(splitter.ready());
    EXPECT_TRUE(splitter.partial());
    splitter.append("1}");
    EXPECT_TRUE(splitter.ready());
    EXPECT_FALSE(splitter.partial());
}

TEST(FrameSplitter, refuses_what_is_no_object) {
    for (const char* bytes : {"x", "[]", "1", "\"a\"", "}", "]", "\x01", "\xff", ","}) {
        FrameSplitter splitter;
        splitter.append(bytes);
        EXPECT_TRUE(splitter.ready()) << bytes;
        EXPECT_THROW(splitter.next(), ProtocolError) << bytes;
        EXPECT_THROW(splitter.next(), ProtocolError) << bytes;
    }
}

TEST(FrameSplitter, gives_what_stands_before_garbage_before_it_complains) {
    FrameSplitter splitter;
    splitter.append("{\"a\":1}garbage");
    EXPECT_EQ(splitter.next(), "{\"a\":1}");
    EXPECT_TRUE(splitter.ready());
    EXPECT_THROW(splitter.next(), ProtocolError);
}

TEST(FrameSplitter, refuses_a_message_beyond_its_limit_and_takes_one_that_just_fits) {
    FrameSplitter splitter(10);
    splitter.append("{\"a\":1234}");
    EXPECT_EQ(splitter.next(), "{\"a\":1234}");
    splitter.append("{\"a\":12345}");
    EXPECT_THROW(splitter.next(), ProtocolError);
}

TEST(FrameSplitter, refuses_a_long_message_before_its_end_has_come) {
    FrameSplitter splitter(1000);
    splitter.append("{\"a\":\"" + std::string(1000, 'x'));
    EXPECT_TRUE(splitter.ready());
    EXPECT_THROW(splitter.next(), ProtocolError);
}

TEST(FrameSplitter, counts_the_limit_for_each_message_alone) {
    FrameSplitter splitter(10);
    for (int i = 0; i < 100; ++i) {
        splitter.append("{\"a\":1}  ");
        EXPECT_EQ(splitter.next(), "{\"a\":1}");
    }
}

TEST(FrameSplitter, refuses_deep_nesting_and_takes_what_just_fits) {
    FrameSplitter splitter(1000, 4);
    splitter.append(R"({"a":[[{}]]})");
    EXPECT_TRUE(splitter.next().has_value());
    splitter.append(R"({"a":[[[[]]]]})");
    EXPECT_THROW(splitter.next(), ProtocolError);
}

TEST(FrameSplitter, begins_anew_after_clear) {
    FrameSplitter splitter(1000, 2);
    splitter.append("{\"\\");
    splitter.clear();
    EXPECT_FALSE(splitter.partial());
    splitter.append("x");
    splitter.clear();
    splitter.append("{[]}");
    EXPECT_EQ(splitter.next(), "{[]}");
    splitter.append("{[[]]}");
    EXPECT_THROW(splitter.next(), ProtocolError) << "the limits outlive clear()";
}

TEST(FrameSplitter, takes_64_MiB_and_not_a_byte_more) {
    constexpr std::size_t limit = std::size_t{64} << 20;
    FrameSplitter splitter;
    splitter.append("{\"a\":\"");
    splitter.append(std::string(limit - 8, 'x'));
    EXPECT_FALSE(splitter.ready());
    splitter.append("\"}");
    EXPECT_EQ(splitter.next()->size(), limit);
    splitter.append("{\"a\":\"");
    splitter.append(std::string(limit - 5, 'x'));
    EXPECT_THROW(splitter.next(), ProtocolError);
}

// Looking at every byte anew with each piece would take hours here.
TEST(FrameSplitter, looks_at_each_byte_once) {
    FrameSplitter splitter;
    const std::string piece(16, 'x');
    const auto begin = std::chrono::steady_clock::now();
    splitter.append("{\"a\":\"");
    for (int i = 0; i < 2'000'000; ++i) {
        splitter.append(piece);
    }
    splitter.append("\"}");
    EXPECT_EQ(splitter.next()->size(), 32'000'008U);
    std::string many;
    for (int i = 0; i < 300'000; ++i) {
        many += "{\"a\":1}";
    }
    splitter.append(many);
    EXPECT_EQ(takeAll(splitter).size(), 300'000U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

} // namespace
