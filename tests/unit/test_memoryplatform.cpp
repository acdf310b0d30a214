// The platform that the other tests stand on.
#include <zel/vastr.h>

#include <daemontest.h>
#include <rowfile.h>

#include <sstream>
#include <stdexcept>

namespace zel::pacerd::test {
namespace {

class MemoryClient : public ::testing::Test {
  protected:
    memory::MemoryClient client;
    basalt::ValueList row;

    MemoryClient() {
        memory::Rows rows{aQueue().id(10).named("b").values(), aQueue().id(9).named("a").values()};
        memory::sortById(rows);
        client.setTables({{"QoSQueues", rows}, {"QoSShaper", {}}});
    }

    static basalt::ValueList values(const std::string& column, const std::string& text) {
        basalt::ValueList list;
        list.setValue(column, basalt::Value(text));
        return list;
    }
};

TEST_F(MemoryClient, RowsStandInAscendingIdAsNumbers) {
    EXPECT_EQ(client.selectRow("QoSQueues", 0, {}, row), EResultCode::done);
    EXPECT_EQ(row.getValue("Id").getInteger(), 9);
    EXPECT_EQ(client.selectRow("QoSQueues", 1, {}, row), EResultCode::done);
    EXPECT_EQ(row.getValue("Id").getInteger(), 10);
}

TEST_F(MemoryClient, KeysAreComparedAsText) {
    EXPECT_EQ(client.selectKey("QoSQueues", "Id", "10", {}, row), EResultCode::done);
    EXPECT_EQ(row.getValue("Name").getText(), "b");
    EXPECT_EQ(client.selectKey("QoSQueues", "Id", "010", {}, row), EResultCode::nothingThere);
    EXPECT_EQ(client.selectKey("QoSQueues", "NoColumn", "", {}, row), EResultCode::nothingThere);
    EXPECT_EQ(row.getValue("Name").getText(), "b") << "only success changes the row";
}

TEST_F(MemoryClient, ASelectionLeavesTheOtherColumnsOut) {
    EXPECT_EQ(client.selectRow("QoSQueues", 0, {"Name", "NoColumn"}, row), EResultCode::done);
    EXPECT_EQ(row, values("Name", "a"));
}

TEST_F(MemoryClient, NothingThereIsAnAnswerToEveryOperation) {
    unsigned count = 5;
    EXPECT_EQ(client.size("NoTable", count), EResultCode::nothingThere);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(client.size("QoSShaper", count), EResultCode::done);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(client.selectRow("QoSQueues", 2, {}, row), EResultCode::nothingThere);
    EXPECT_EQ(client.selectRow("NoTable", 0, {}, row), EResultCode::nothingThere);
    EXPECT_EQ(client.updateKey("QoSQueues", "Name", "c", {}), EResultCode::nothingThere);
    EXPECT_EQ(client.updateRow("QoSQueues", 2, {}), EResultCode::nothingThere);
    EXPECT_EQ(client.insertRow("NoTable", {}), EResultCode::nothingThere);
    EXPECT_EQ(client.deleteKey("QoSQueues", "Name", "c"), EResultCode::nothingThere);
    EXPECT_EQ(client.deleteAll("NoTable"), EResultCode::nothingThere);
}

TEST_F(MemoryClient, ATransactionWritesAtCommitAllOrNothing) {
    EXPECT_EQ(client.startTransaction(), EResultCode::done);
    EXPECT_TRUE(client.isTransactionActive());
    EXPECT_EQ(client.deleteKey("QoSQueues", "Name", "a"), EResultCode::done);
    EXPECT_EQ(client.insertRow("NoTable", {}), EResultCode::done);
    EXPECT_EQ(client.tables().at("QoSQueues").size(), 2u);
    EXPECT_EQ(client.commitTransaction(), EResultCode::nothingThere);
    EXPECT_FALSE(client.isTransactionActive());
    EXPECT_EQ(client.tables().at("QoSQueues").size(), 2u);

    EXPECT_EQ(client.startTransaction(), EResultCode::done);
    EXPECT_EQ(client.deleteKey("QoSQueues", "Name", "a"), EResultCode::done);
    EXPECT_EQ(client.commitTransaction(), EResultCode::done);
    EXPECT_EQ(client.tables().at("QoSQueues").size(), 1u);
}

TEST_F(MemoryClient, ARollbackForgetsTheWrites) {
    EXPECT_EQ(client.rollbackTransaction(), EResultCode::invalidTransaction);
    EXPECT_EQ(client.startTransaction(), EResultCode::done);
    EXPECT_EQ(client.deleteAll("QoSQueues"), EResultCode::done);
    EXPECT_EQ(client.rollbackTransaction(), EResultCode::done);
    EXPECT_EQ(client.tables().at("QoSQueues").size(), 2u);
    EXPECT_EQ(client.commitTransaction(), EResultCode::invalidTransaction);
}

memory::Tables read(const std::string& text) {
    std::istringstream input(text);
    return memory::readRows(input);
}

std::string complaintAbout(const std::string& text) {
    try {
        read(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(RowFile, HoldsARowALine) {
    const memory::Tables tables =
        read("# comment\n\nQoSShaper Enable=1 InterfaceName=\"a \\\"b\\\\\"  Rate=-5 \n"
             "QoSQueues\nQoSShaper Id=1 Name=\"\"\n");
    ASSERT_EQ(tables.size(), 2u);
    EXPECT_THAT(tables.at("QoSQueues"), IsEmpty());
    const memory::Rows& rows = tables.at("QoSShaper");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].getValue("InterfaceName").getText(), "a \"b\\");
    EXPECT_EQ(rows[0].getValue("Rate").getInteger(), -5);
    EXPECT_EQ(rows[0].getValue("Id").getInteger(), 1);
    EXPECT_EQ(rows[1].getValue("Name").getDataType().getTypeCode(), basalt::IDataType::textCode);
}

TEST(RowFile, NamesTheLineThatIsWrong) {
    const std::string text = ": expected COLUMN=INTEGER or COLUMN=\"TEXT\" at ";
    EXPECT_EQ(complaintAbout("T A=1\nT A=x\n"), "line 2" + text + "'A'");
    EXPECT_EQ(complaintAbout("T A="), "line 1" + text + "'A'");
    EXPECT_EQ(complaintAbout("T A=1x"), "line 1" + text + "'A'");
    EXPECT_EQ(complaintAbout("T A=\"open"), "line 1" + text + "'A'");
    EXPECT_EQ(complaintAbout("T A"), "line 1" + text + "'A'");
    EXPECT_EQ(complaintAbout("T =1"), "line 1" + text + "''");
}

TEST(Assertions, CarryExpressionAndPlace) {
    try {
        error::Assert::throwAssertionFailed("1 == 2", "there.cpp", 7);
    } catch (const error::AssertionFailed& failure) {
        EXPECT_STREQ(failure.what(), "assertion failed: 1 == 2 (there.cpp:7)");
    }
    EXPECT_THROW(error::Assert::throwAllocationFailed("action", "there.cpp", 7), error::AllocationFailed);
}

TEST(VaStr, FormatsTextsOfAnyLength) {
    const std::string longText(5000, 'x');
    EXPECT_EQ(VAStr("%s-%d%%", longText.c_str(), 3), longText + "-3%");
    EXPECT_EQ(VAStr("%s", ""), "");
}

} // namespace
} // namespace zel::pacerd::test
