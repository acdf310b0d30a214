#include "ovsdb/transaction.h"

#include <gtest/gtest.h>

namespace {

using ovsdb::countOf;
using ovsdb::findError;
using ovsdb::Json;
using ovsdb::ProtocolError;
using ovsdb::Transaction;

TEST(Transaction, builds_the_operations_of_the_protocol) {
    Transaction transaction;
    EXPECT_TRUE(transaction.empty());
    transaction.insert("T", {{"a", 1}});
    transaction.update("T", Json::array({ovsdb::condition("a", "==", 1)}), {{"a", 2}});
    transaction.remove("T", Json::array({ovsdb::isRow("u")}));
    transaction.select("T", Json::array());
    transaction.requireRow("T", Json::array({ovsdb::condition("a", "==", 2)}));
    transaction.comment("who");
    EXPECT_EQ(transaction.size(), 6U);
    EXPECT_EQ(Json(transaction.operations()), Json::parse(R"([
        {"op": "insert", "table": "T", "row": {"a": 1}},
        {"op": "update", "table": "T", "where": [["a", "==", 1]], "row": {"a": 2}},
        {"op": "delete", "table": "T", "where": [["_uuid", "==", ["uuid", "u"]]]},
        {"op": "select", "table": "T", "where": []},
        {"op": "wait", "table": "T", "timeout": 0, "where": [["a", "==", 2]], "columns": ["_uuid"],
         "until": "!=", "rows": []},
        {"op": "comment", "comment": "who"}])"));
}

TEST(Transaction, finds_no_error_where_all_is_done) {
    EXPECT_EQ(findError(Json::parse(R"([{}, {"count": 2}, {"uuid": ["uuid", "x"]}])")).error, "");
    EXPECT_EQ(findError(Json::array()).error, "");
}

TEST(Transaction, finds_the_operation_that_failed) {
    const auto error =
        findError(Json::parse(R"([{}, {"error": "timed out", "details": "no such row"}, null])"));
    EXPECT_EQ(error.error, "timed out");
    EXPECT_EQ(error.details, "no such row");
    EXPECT_EQ(error.operation, 1U);
}

TEST(Transaction, finds_a_commit_that_failed_behind_the_operations) {
    const auto error = findError(Json::parse(R"([{}, {"count": 1}, {"error": "constraint violation"}])"));
    EXPECT_EQ(error.error, "constraint violation");
    EXPECT_EQ(error.details, "");
    EXPECT_EQ(error.operation, 2U);
}

TEST(Transaction, refuses_results_that_are_none) {
    EXPECT_THROW(findError(Json()), ProtocolError);
    EXPECT_THROW(findError(Json::object()), ProtocolError);
}

TEST(Transaction, counts_the_rows_of_an_operation) {
    const Json results = Json::parse(R"([{}, {"count": 3}, {"count": "x"}, null])");
    EXPECT_EQ(countOf(results, 0), 0U);
    EXPECT_EQ(countOf(results, 1), 3U);
    EXPECT_EQ(countOf(results, 2), 0U);
    EXPECT_EQ(countOf(results, 3), 0U);
    EXPECT_EQ(countOf(results, 4), 0U);
    EXPECT_EQ(countOf(Json(), 0), 0U);
}

} // namespace
