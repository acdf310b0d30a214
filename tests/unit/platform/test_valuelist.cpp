#include <basalt/valuelist.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace basalt {

namespace {

std::vector<std::string> names(const ValueList& list) {
    std::vector<std::string> result;
    for (const ValueList::Entry& entry : list) {
        result.push_back(entry.first);
    }
    return result;
}

TEST(ValueList, is_empty_at_first_and_after_clear) {
    ValueList list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.size(), 0U);
    list.setValue("Id", Value(1LL));
    EXPECT_FALSE(list.empty());
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list, ValueList());
}

TEST(ValueList, an_absent_column_reads_as_nothing) {
    ValueList list;
    list.setValue("Id", Value(1LL));
    EXPECT_FALSE(list.hasValue("id")) << "names are compared exactly";
    EXPECT_EQ(list.getValue("Name").getInteger(), 0);
    EXPECT_EQ(list.getValue("Name").getText(), "");
    EXPECT_EQ(list.size(), 1U) << "reading adds nothing";
}

TEST(ValueList, keeps_the_order_and_each_name_once) {
    ValueList list;
    list.setValue("Name", Value(std::string("voip")));
    list.setValue("Id", Value(1LL));
    list.setValue("Name", Value(std::string("web")));
    EXPECT_EQ(names(list), (std::vector<std::string>{"Name", "Id"}));
    EXPECT_EQ(list.getValue("Name").getText(), "web");
}

TEST(ValueList, a_copy_does_not_change_with_the_original) {
    ValueList original;
    original.setValue("Id", Value(1LL));
    const ValueList copy = original;
    EXPECT_EQ(&copy.getValue("Id"), &original.getValue("Id")) << "copying copies a pointer";
    original.setValue("Id", Value(2LL));
    original.setValue("Name", Value(std::string("new")));
    EXPECT_EQ(copy.getValue("Id").getInteger(), 1);
    EXPECT_FALSE(copy.hasValue("Name"));
    original = copy;
    original.clear();
    EXPECT_EQ(copy.getValue("Id").getInteger(), 1);
}

TEST(ValueList, lists_are_equal_by_their_entries_in_order) {
    const ValueList::Entry id = {"Id", Value(1LL)};
    const ValueList::Entry name = {"Name", Value(std::string("voip"))};
    EXPECT_EQ(ValueList({id, name}), ValueList({id, name}));
    EXPECT_FALSE(ValueList({id, name}) == ValueList({name, id}));
}

} // namespace

} // namespace basalt
