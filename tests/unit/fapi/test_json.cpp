#include "json.h"

#include <gtest/gtest.h>

namespace fapi {

TEST(Json, separatesMembersAndElements) {
    Json json;
    json.beginObject();
    json.beginArray("queues");
    for (const uint64_t number : {1U, 2U}) {
        json.beginObject();
        json.text("name", "q");
        json.number("map", number);
        json.endObject();
    }
    json.endArray();
    json.number("count", 2);
    json.endObject();
    EXPECT_EQ(R"({"queues":[{"name":"q","map":1},{"name":"q","map":2}],"count":2})", json.result());
}

TEST(Json, escapesWhatTextMayNotHold) {
    Json json;
    json.beginObject();
    json.text("a\"b", "\\\n\x01");
    json.endObject();
    EXPECT_EQ(R"({"a\"b":"\\\u000a\u0001"})", json.result());
}

} // namespace fapi
