#include "config/dbaccess.h"

#include <daemontest.h>

#include <type_traits>

namespace zel::pacerd::test {
namespace {

static_assert(std::has_virtual_destructor_v<dbAccess>);

class DbAccess : public DaemonTest {
  protected:
    dbAccess access{handle, db};
    basalt::ValueList row = QueueRow().id(77).values(); // what the caller had before
    const basalt::ValueList before = row;
};

TEST_F(DbAccess, SelectRowFillsAllColumnsOfTheRowAtThatPosition) {
    db.add(aQueue().named("first"));
    db.add(aQueue().named("second"));
    db.forgetCalls();
    EXPECT_TRUE(access.selectRow("QoSQueues", 1, row));
    EXPECT_EQ(row, aQueue().named("second").id(2).values());
    EXPECT_THAT(db.calls(), ElementsAre("selectRow QoSQueues 1 columns:all"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(DbAccess, SelectRowPastTheEndIsAPermanentFailureWithoutAPause) {
    EXPECT_FALSE(access.selectRow("StatusDsl", 0, row));
    EXPECT_EQ(db.callsOf(Operation::selectRow, "StatusDsl"), 1u);
    EXPECT_THAT(shell.pauses(), IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("warning: DB access failed @table 'StatusDsl', operation: '8' (fail "
                                        "reason: nothing there), retry (1)",
                                        "error: DB access failed @table 'StatusDsl', operation: 8 (fail "
                                        "reason: nothing there), retry (1)"));
}

TEST_F(DbAccess, SelectKeyReadsTheRowWithThatKey) {
    db.add(aQueue().named("first"));
    db.add(aQueue().named("second"));
    db.forgetCalls();
    EXPECT_TRUE(access.selectKey("QoSQueues", "Name", "second", row, true));
    EXPECT_EQ(row, aQueue().named("second").id(2).values());
    EXPECT_THAT(db.calls(), ElementsAre("selectKey QoSQueues Name=second columns:all"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(DbAccess, AKeyThatMatchesNothingIsAnEmptyRowIfItNeedNotExist) {
    db.add(aQueue().named("first"));
    EXPECT_TRUE(access.selectKey("QoSQueues", "Name", "other", row, false));
    EXPECT_TRUE(row.empty());
    EXPECT_THAT(log.take(), ElementsAre("trace: selectkey on table 'QoSQueues', key 'Name', value 'other' "
                                        "failed with reason 'nothing there'"));
}

TEST_F(DbAccess, ATableThatDoesNotExistIsAnEmptyRowIfItNeedNotExist) {
    EXPECT_TRUE(access.selectKey("NoSuchTable", "Name", "x", row, false));
    EXPECT_TRUE(row.empty());
    EXPECT_THAT(log.take(), ElementsAre("trace: selectkey on table 'NoSuchTable', key 'Name', value 'x' "
                                        "failed with reason 'nothing there'"));
}

TEST_F(DbAccess, AKeyThatMatchesNothingFailsIfItMustExist) {
    EXPECT_FALSE(access.selectKey("QoSQueues", "Name", "other", row, true));
    EXPECT_TRUE(row.empty());
    EXPECT_THAT(
        log.take(),
        ElementsAre(
            "trace: selectkey on table 'QoSQueues', key 'Name', value 'other' failed with reason 'nothing "
            "there'",
            "trace: selectkey return with empty value on request: table 'QoSQueues', 'Name'=='other'"));
}

TEST_F(DbAccess, ARowWithoutIdCountsAsMissing) {
    class WithoutId : public memory::MemoryClient {
      public:
        WithoutId() { setTables({{"QoSQueues", {aQueue().named("x").values()}}}); }
    } client;
    const dbAccess other(handle, client);
    EXPECT_TRUE(other.selectKey("QoSQueues", "Name", "x", row, false));
    EXPECT_EQ(row.getValue("Name").getText(), "x");
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_FALSE(other.selectKey("QoSQueues", "Name", "x", row, true));
    EXPECT_THAT(
        log.take(),
        ElementsAre("trace: selectkey return with empty value on request: table 'QoSQueues', 'Name'=='x'"));
}

TEST_F(DbAccess, AFailedSelectKeyFailsEvenIfTheRowNeedNotExist) {
    db.answer(EResultCode::refused, Operation::selectKey, "QoSQueues", 2);
    EXPECT_FALSE(access.selectKey("QoSQueues", "Name", "x", row, false));
    EXPECT_FALSE(access.selectKey("QoSQueues", "Name", "x", row, true));
    const std::string warning =
        "warning: DB access failed @table 'QoSQueues', operation: '7' (fail reason: refused "
        "by the configuration server), retry (1)";
    const std::string error =
        "error: DB access failed @table 'QoSQueues', operation: 7 (fail reason: refused by "
        "the configuration server), retry (1)";
    EXPECT_THAT(log.take(), ElementsAre(warning, error, warning, error));
}

TEST_F(DbAccess, SizeCountsTheRows) {
    db.add(aQueue());
    db.add(aQueue());
    db.forgetCalls();
    unsigned count = 99;
    EXPECT_TRUE(access.size("QoSQueues", count));
    EXPECT_EQ(count, 2u);
    EXPECT_THAT(db.calls(), ElementsAre("size QoSQueues"));
}

TEST_F(DbAccess, SizeOfAnEmptyTableIsZero) {
    unsigned count = 99;
    EXPECT_TRUE(access.size("QoSQueues", count));
    EXPECT_EQ(count, 0u);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(DbAccess, AFailedSizeLeavesTheCountAlone) {
    unsigned count = 99;
    EXPECT_FALSE(access.size("NoSuchTable", count));
    EXPECT_EQ(count, 99u);
    EXPECT_THAT(log.take(), ElementsAre("warning: DB access failed @table 'NoSuchTable', operation: '9' "
                                        "(fail reason: nothing there), retry (1)",
                                        "error: DB access failed @table 'NoSuchTable', operation: 9 (fail "
                                        "reason: nothing there), retry (1)"));
}

TEST_F(DbAccess, TheSizeOperationLeavesOneEntryInTheValues) {
    db.add(aQueue());
    EXPECT_TRUE(access.cfgClientOperation(9, "QoSQueues", 0, "", "", row));
    basalt::ValueList expected;
    expected.setValue("size", basalt::Value(1LL));
    EXPECT_EQ(row, expected);
}

TEST_F(DbAccess, FortyNineTransientFailuresStillEndInSuccess) {
    db.add(aQueue());
    db.answer(EResultCode::timedOut, Operation::selectRow, "QoSQueues", 49);
    EXPECT_TRUE(access.selectRow("QoSQueues", 0, row));
    EXPECT_EQ(row, aQueue().id(1).values());
    EXPECT_EQ(db.callsOf(Operation::selectRow, "QoSQueues"), 50u);
    EXPECT_EQ(shell.pauses(), std::vector<unsigned>(49, 1000000));
    Lines warnings;
    for (int retry = 1; retry <= 49; ++retry) {
        warnings.push_back(
            "warning: DB access failed @table 'QoSQueues', operation: '8' (fail reason: no answer in "
            "time), retry (" +
            std::to_string(retry) + ")");
    }
    EXPECT_EQ(log.take(), warnings);
}

TEST_F(DbAccess, FiftyTransientFailuresEndWithoutAFurtherMessage) {
    db.answer(EResultCode::notConnected, Operation::size, "QoSQueues", 1000);
    unsigned count = 99;
    EXPECT_FALSE(access.size("QoSQueues", count));
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(db.callsOf(Operation::size, "QoSQueues"), 50u);
    EXPECT_EQ(shell.pauses(), std::vector<unsigned>(50, 1000000));
    Lines warnings;
    for (int retry = 1; retry <= 50; ++retry) {
        warnings.push_back(
            "warning: DB access failed @table 'QoSQueues', operation: '9' (fail reason: not connected "
            "to the configuration server), retry (" +
            std::to_string(retry) + ")");
    }
    EXPECT_EQ(log.take(), warnings);
}

TEST_F(DbAccess, ExactlyTheResultsOneToThreeAreTriedAgain) {
    db.add(aQueue());
    for (const auto code : {EResultCode::notConnected, EResultCode::timedOut, EResultCode::serverBusy}) {
        db.answer(code, Operation::selectRow, "QoSQueues");
        EXPECT_TRUE(access.selectRow("QoSQueues", 0, row)) << code;
    }
    EXPECT_EQ(shell.pauses().size(), 3u);
    EXPECT_EQ(log.takeWarnings().size(), 3u);
    for (const auto code :
         {EResultCode::unknownColumn, EResultCode::constraintViolated, EResultCode::protocolError,
          EResultCode::refused, EResultCode::invalidTransaction}) {
        db.answer(code, Operation::selectRow, "QoSQueues");
        EXPECT_FALSE(access.selectRow("QoSQueues", 0, row)) << code;
    }
    EXPECT_EQ(shell.pauses().size(), 3u);
    EXPECT_EQ(log.takeWarnings().size(), 5u);
    EXPECT_EQ(log.takeErrors().size(), 5u);
}

TEST_F(DbAccess, TheRetryNumberGoesOnWhenATransientFailureBecomesPermanent) {
    db.answer(EResultCode::serverBusy, Operation::selectRow, "QoSQueues");
    db.answer(EResultCode::unknownColumn, Operation::selectRow, "QoSQueues");
    EXPECT_FALSE(access.selectRow("QoSQueues", 0, row));
    EXPECT_EQ(shell.pauses(), std::vector<unsigned>{1000000});
    EXPECT_THAT(
        log.take(),
        ElementsAre("warning: DB access failed @table 'QoSQueues', operation: '8' (fail reason: the "
                    "configuration server cannot do it now), retry (1)",
                    "warning: DB access failed @table 'QoSQueues', operation: '8' (fail reason: unknown "
                    "column), retry (2)",
                    "error: DB access failed @table 'QoSQueues', operation: 8 (fail reason: unknown "
                    "column), retry (2)"));
}

TEST_F(DbAccess, NothingThereAfterARetryIsStillAnEmptyRow) {
    db.answer(EResultCode::timedOut, Operation::selectKey, "QoSQueues");
    EXPECT_TRUE(access.selectKey("QoSQueues", "Name", "x", row, false));
    EXPECT_TRUE(row.empty());
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(DbAccess, AnUnknownOperationNeverReachesTheClient) {
    db.forgetCalls();
    EXPECT_FALSE(access.cfgClientOperation(0, "QoSQueues", 0, "", "", row));
    EXPECT_FALSE(access.cfgClientOperation(12, "QoSQueues", 0, "", "", row));
    EXPECT_THAT(db.calls(), IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("error: unknown operation '0'", "error: unknown operation '12'"));
}

TEST_F(DbAccess, UpdateKeyPassesItsArgumentsOn) {
    db.add(aQueue().named("voip"));
    db.forgetCalls();
    basalt::ValueList values;
    values.setValue("Precedence", basalt::Value(6LL));
    EXPECT_TRUE(access.updateKey("QoSQueues", "Name", "voip", values));
    EXPECT_THAT(db.calls(), ElementsAre("updateKey QoSQueues Name=voip Precedence:6"));
}

TEST_F(DbAccess, UpdateKeyOfAMissingRowFailsAtOnceWithATrace) {
    EXPECT_FALSE(access.updateKey("QoSQueues", "Name", "voip", row));
    EXPECT_EQ(db.callsOf(Operation::updateKey, "QoSQueues"), 1u);
    EXPECT_THAT(shell.pauses(), IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("trace: updatekey on table 'QoSQueues', key 'Name', value 'voip' "
                                        "failed with reason 'nothing there'"));
}

TEST_F(DbAccess, UpdateRowPassesItsArgumentsOn) {
    db.add(aQueue());
    db.add(aQueue());
    db.forgetCalls();
    basalt::ValueList values;
    values.setValue("Precedence", basalt::Value(6LL));
    EXPECT_TRUE(access.updateRow("QoSQueues", 1, values));
    EXPECT_THAT(db.calls(), ElementsAre("updateRow QoSQueues 1 Precedence:6"));
}

TEST_F(DbAccess, UpdateRowPastTheEndIsAPermanentFailure) {
    EXPECT_FALSE(access.updateRow("QoSQueues", 3, row));
    EXPECT_THAT(log.take(), ElementsAre("warning: DB access failed @table 'QoSQueues', operation: '2' (fail "
                                        "reason: nothing there), retry (1)",
                                        "error: DB access failed @table 'QoSQueues', operation: 2 (fail "
                                        "reason: nothing there), retry (1)"));
}

TEST_F(DbAccess, InsertRowAddsARow) {
    db.forgetCalls();
    basalt::ValueList values;
    values.setValue("Id", basalt::Value(4LL));
    EXPECT_TRUE(access.insertRow("QoSQueues", values));
    EXPECT_THAT(db.calls(), ElementsAre("insertRow QoSQueues Id:4"));
    EXPECT_EQ(db.tables().at("QoSQueues").size(), 1u);
}

TEST_F(DbAccess, DeleteKeyRemovesTheRow) {
    db.add(aQueue().named("voip"));
    db.forgetCalls();
    EXPECT_TRUE(access.deleteKey("QoSQueues", "Name", "voip"));
    EXPECT_THAT(db.calls(), ElementsAre("deleteKey QoSQueues Name=voip"));
    EXPECT_THAT(db.tables().at("QoSQueues"), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(DbAccess, DeleteKeyOfAMissingRowSucceedsWithATrace) {
    EXPECT_TRUE(access.deleteKey("QoSQueues", "Name", "voip"));
    EXPECT_THAT(shell.pauses(), IsEmpty());
    EXPECT_THAT(log.take(),
                ElementsAre("trace: no row to delete  @table 'QoSQueues' with key 'Name' = 'voip'"));
}

TEST_F(DbAccess, DeleteAllEmptiesTheTable) {
    db.add(aQueue());
    db.forgetCalls();
    EXPECT_TRUE(access.deleteAll("QoSQueues"));
    EXPECT_THAT(db.calls(), ElementsAre("deleteAll QoSQueues"));
    EXPECT_THAT(db.tables().at("QoSQueues"), IsEmpty());
}

TEST_F(DbAccess, TheOperationsFiveAndSixAreTheSame) {
    db.forgetCalls();
    EXPECT_TRUE(access.cfgClientOperation(5, "QoSQueues", 0, "", "", row));
    EXPECT_TRUE(access.cfgClientOperation(6, "QoSQueues", 0, "", "", row));
    EXPECT_THAT(db.calls(), ElementsAre("deleteAll QoSQueues", "deleteAll QoSQueues"));
    db.answer(EResultCode::nothingThere, Operation::deleteAll, "QoSQueues");
    EXPECT_FALSE(access.cfgClientOperation(6, "QoSQueues", 0, "", "", row));
    EXPECT_THAT(log.take(), ElementsAre("warning: DB access failed @table 'QoSQueues', operation: '6' (fail "
                                        "reason: nothing there), retry (1)",
                                        "error: DB access failed @table 'QoSQueues', operation: 6 (fail "
                                        "reason: nothing there), retry (1)"));
}

TEST_F(DbAccess, TheWritesAreVirtual) {
    class Overriding : public dbAccess {
      public:
        using dbAccess::dbAccess;
        bool insertRow(const std::string&, basalt::ValueList) const override { return false; }
        bool deleteAll(const std::string&) const override { return false; }
    };
    const Overriding overriding(handle, db);
    const dbAccess& base = overriding;
    EXPECT_FALSE(base.insertRow("QoSQueues", row));
    EXPECT_FALSE(base.deleteAll("QoSQueues"));
}

TEST_F(DbAccess, TheOperationsTenAndElevenStartAndCommitATransaction) {
    db.forgetCalls();
    EXPECT_TRUE(access.cfgClientOperation(10, "", 0, "", "", row));
    EXPECT_TRUE(access.cfgClientOperation(11, "", 0, "", "", row));
    EXPECT_THAT(db.calls(), ElementsAre("startTransaction", "commitTransaction"));
    EXPECT_EQ(row, before);
}

TEST_F(DbAccess, AsksOnceForAnOpenTransactionAndNeverRollsBackWhatItDidNotOpen) {
    db.forgetCalls();
    { const dbAccess other(handle, db); }
    EXPECT_THAT(db.calls(), ElementsAre("isTransactionActive"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(DbAccess, LogsUnderItsOwnName) {
    EXPECT_FALSE(access.cfgClientOperation(0, "", 0, "", "", row));
    EXPECT_THAT(log.takeErrors(), ElementsAre("unknown operation '0'"));
    EXPECT_THAT(log.sources(), ElementsAre("dbaccess.cpp"));
}

// What a build would do that writes. The level of these messages is open, so that only the texts are looked
// at.
class DbAccessTransaction : public DaemonTest {
  protected:
    Lines takeTexts() {
        Lines texts = log.take();
        for (std::string& text : texts) {
            text.erase(0, text.find(": ") + 2);
        }
        return texts;
    }
};

TEST_F(DbAccessTransaction, StartsAndCommitsItsOwn) {
    dbAccess access(handle, db);
    db.forgetCalls();
    EXPECT_TRUE(access.startTransaction());
    EXPECT_FALSE(access.startTransaction());
    EXPECT_TRUE(access.commitTransaction());
    EXPECT_FALSE(access.commitTransaction());
    EXPECT_THAT(db.calls(), ElementsAre("startTransaction", "commitTransaction"));
    EXPECT_THAT(takeTexts(), ElementsAre("transaction started successfully!",
                                         "internal transaction already started, skip start",
                                         "transaction committed successfully",
                                         "internal transaction not in progress, skip commit"));
}

TEST_F(DbAccessTransaction, LeavesAnExternalOneAlone) {
    EXPECT_EQ(db.startTransaction(), EResultCode::done);
    db.forgetCalls();
    {
        dbAccess access(handle, db);
        EXPECT_FALSE(access.startTransaction());
        EXPECT_FALSE(access.commitTransaction());
    }
    EXPECT_THAT(db.calls(), ElementsAre("isTransactionActive"));
    EXPECT_THAT(takeTexts(), ElementsAre("external transaction in progress, skip start",
                                         "external transaction in progress, skip commit"));
}

TEST_F(DbAccessTransaction, ReportsAFailedStartAndAFailedCommit) {
    db.answer(EResultCode::refused, Operation::startTransaction, "");
    db.answer(EResultCode::refused, Operation::commitTransaction, "");
    {
        dbAccess access(handle, db);
        EXPECT_FALSE(access.startTransaction());
        EXPECT_THAT(takeTexts(), Contains("failed starting transaction!"));
        EXPECT_TRUE(access.startTransaction());
        EXPECT_FALSE(access.commitTransaction());
        EXPECT_THAT(takeTexts(), Contains("failed committing transaction!"));
    }
    // Still its own, so that the destructor rolls it back.
    EXPECT_THAT(log.take(),
                Contains("warning: found active transaction, roll back cause anything may went wrong"));
}

TEST_F(DbAccessTransaction, RollsBackItsOwnAtTheEnd) {
    db.add(aQueue());
    {
        dbAccess access(handle, db);
        EXPECT_TRUE(access.startTransaction());
        EXPECT_TRUE(access.deleteAll("QoSQueues"));
        log.take();
        db.forgetCalls();
    }
    EXPECT_THAT(db.calls(), ElementsAre("rollbackTransaction"));
    EXPECT_THAT(log.take(),
                ElementsAre("warning: found active transaction, roll back cause anything may went wrong"));
    EXPECT_EQ(db.tables().at("QoSQueues").size(), 1u);
}

TEST_F(DbAccessTransaction, WhatWasRolledBackIsNotRolledBackAgain) {
    {
        dbAccess access(handle, db);
        EXPECT_TRUE(access.startTransaction());
        EXPECT_TRUE(access.rollbackTransaction());
        db.forgetCalls();
        log.take();
    }
    EXPECT_THAT(db.calls(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(DbAccessTransaction, ARollbackWithoutAStartIsSkipped) {
    dbAccess access(handle, db);
    db.forgetCalls();
    EXPECT_FALSE(access.rollbackTransaction());
    EXPECT_THAT(db.calls(), IsEmpty());
    EXPECT_THAT(takeTexts(), ElementsAre("skip roll back transaction, transaction not started"));
}

} // namespace
} // namespace zel::pacerd::test
