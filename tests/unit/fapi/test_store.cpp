// Where the tools' state lies, and who may have a hand in it.
#include "failure.h"
#include "process/sandbox.h"
#include "store.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace fapi {

namespace {

namespace fs = std::filesystem;

class StoreTest : public testing::Test {
  protected:
    StoreTest() { setenv("FAPI_QOS_STATE", root.c_str(), 1); }
    ~StoreTest() override { unsetenv("FAPI_QOS_STATE"); }
    StoreTest(const StoreTest&) = delete;
    StoreTest& operator=(const StoreTest&) = delete;

    static std::string failureOf(Access access) {
        try {
            const Store store(access);
            return "";
        } catch (const Failure& failure) {
            return failure.what();
        }
    }

    zel::test::Sandbox sandbox;
    std::string root = sandbox.path("fapi-qos");
};

TEST_F(StoreTest, makes_its_folder_for_itself_alone) {
    EXPECT_EQ(failureOf(Access::read), "") << "nothing was ever configured";
    EXPECT_FALSE(fs::exists(root)) << "and reading leaves no trace";
    EXPECT_EQ(failureOf(Access::write), "");
    EXPECT_EQ(fs::status(root).permissions() & (fs::perms::group_write | fs::perms::others_write),
              fs::perms::none);
}

TEST_F(StoreTest, does_not_follow_a_link_in_its_folders_place) {
    const std::string victim = sandbox.path("victim");
    fs::create_directory(victim);
    fs::create_directory_symlink(victim, root);
    for (const Access access : {Access::read, Access::write}) {
        EXPECT_EQ(failureOf(access), "state folder " + root + ": Not a directory");
        setenv("FAPI_QOS_STATE", (root + "//").c_str(), 1);
        EXPECT_EQ(failureOf(access), "state folder " + root + ": Not a directory");
        setenv("FAPI_QOS_STATE", root.c_str(), 1);
    }
    EXPECT_TRUE(fs::is_empty(victim));
}

TEST_F(StoreTest, refuses_a_folder_that_others_may_write) {
    fs::create_directory(root);
    fs::permissions(root, fs::perms::all);
    for (const Access access : {Access::read, Access::write}) {
        EXPECT_EQ(failureOf(access), "state folder " + root + " can be written by others than its owner");
    }
}

TEST_F(StoreTest, refuses_a_folder_of_another_user) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a folder away";
    }
    fs::create_directory(root);
    ASSERT_EQ(chown(root.c_str(), 65534, 65534), 0);
    for (const Access access : {Access::read, Access::write}) {
        EXPECT_EQ(failureOf(access), "state folder " + root + " belongs to user 65534, who is not trusted");
    }
}

TEST_F(StoreTest, a_file_in_its_folders_place_is_named) {
    sandbox.write("fapi-qos", "");
    EXPECT_EQ(failureOf(Access::write), "state folder " + root + ": Not a directory");
}

// The namespace's folder; it has only one.
std::string folderBelow(const std::string& root) {
    return fs::directory_iterator(root)->path().string();
}

TEST_F(StoreTest, tells_the_next_call_that_one_was_killed) {
    EXPECT_FALSE(Store(Access::write).markBusy());
    {
        Store next(Access::write);
        EXPECT_TRUE(next.markBusy());
        next.save({}, {});
        next.markDone();
    }
    EXPECT_TRUE(fs::is_empty(root));
    EXPECT_FALSE(Store(Access::write).markBusy());
}

TEST_F(StoreTest, clears_away_what_a_killed_call_had_half_written) {
    (void)Store(Access::write).markBusy();
    sandbox.write("fapi-qos/" + fs::path(folderBelow(root)).filename().string() + "/state.new", "sha");
    Store next(Access::write);
    (void)next.markBusy();
    next.save({}, {});
    next.markDone();
    EXPECT_TRUE(fs::is_empty(root));
}

// With something stored.
class StoredTest : public StoreTest {
  protected:
    StoredTest() {
        Store store(Access::write);
        (void)store.markBusy();
        store.save(stored(), {});
        store.markDone();
        folder = folderBelow(root);
    }

    static State stored() {
        State state = parseState("shaper s ptm0 3 egress 20000\n");
        Rule& rule = state.rules.edit(1);
        rule.used = 1;
        rule.sequence = 1;
        rule.name[0] = 'r';
        rule.inName[0] = 'i';
        rule.inIndex = 5;
        rule.match.protocol = 6;
        return state;
    }

    static std::string failureOfLoading(Access access) {
        try {
            (void)Store(access).load();
            return "";
        } catch (const Failure& failure) {
            return failure.what();
        }
    }

    std::string folder;
};

TEST_F(StoredTest, is_found_again_by_the_next_call) {
    for (const Access access : {Access::read, Access::write}) {
        Store store(access);
        const State state = store.load();
        EXPECT_EQ(formatState(state), formatState(stored()));
        EXPECT_TRUE(state.rules.size() == 1 && state.rules.at(1) == stored().rules.at(1));
        EXPECT_EQ(store.damage(), "");
    }
}

TEST_F(StoredTest, if_damaged_is_named_to_who_reads_with_the_way_out_and_dropped_by_who_writes) {
    const auto damaged = [this](const std::string& file, const std::string& complaint) {
        const std::string sentence = folder + "/" + file + ": " + complaint;
        EXPECT_EQ(failureOfLoading(Access::read), sentence + "; the next change drops it");
        Store next(Access::write);
        EXPECT_TRUE(next.load().empty());
        EXPECT_EQ(next.damage(), sentence);
        EXPECT_TRUE(next.markBusy()) << "the kernel is not known any more";
        EXPECT_FALSE(fs::exists(folder + "/state") || fs::exists(folder + "/rules"));
        next.save(stored(), {});
        next.markDone();
    };
    fs::resize_file(folder + "/rules", sizeof(Rule) - 1);
    damaged("rules", "the last rule is cut off");
    fs::resize_file(folder + "/rules", uintmax_t{1} << 40); // takes no room, unless it is read
    damaged("rules", "more than 16383 rules");
    fs::resize_file(folder + "/state", 3);
    damaged("state", "a line is not understood: sha");
    std::ofstream(folder + "/state") << std::string(1000, 'x');
    damaged("state", "a line is not understood: " + std::string(80, 'x'));
    std::ofstream(folder + "/state").close();
    fs::resize_file(folder + "/state", uintmax_t{1} << 40);
    damaged("state", "a line is not understood: ");
}

TEST_F(StoredTest, is_there_again_after_a_change_that_came_to_nothing) {
    State changed = parseState("shaper s ptm0 3 egress 30000\n");
    changed.rules = stored().rules;
    changed.rules.edit(1).sequence = 3;
    changed.rules.edit(2) = stored().rules.at(1);
    changed.rules.edit(2).sequence = 2;
    for (const bool half : {true, false}) {
        Store store(Access::write);
        const State before = store.load();
        (void)store.markBusy();
        if (half) { // the rules are written, the rest is not
            fs::create_directory(folder + "/state.new");
            EXPECT_THROW(store.save(changed, before), Failure);
            fs::remove(folder + "/state.new");
        } else {
            store.save(changed, before);
        }
        store.saveBack(before, before, changed);
        store.markDone();
        const State after = store.load();
        EXPECT_EQ(formatState(after), formatState(before));
        EXPECT_EQ(after.rules.inOrder().size(), 1U);
        EXPECT_TRUE(after.rules.at(1) == before.rules.at(1));
    }
}

// As on a full disk, where a record that is there can be written again and nothing else.
TEST_F(StoredTest, has_no_rule_of_a_change_that_came_to_nothing_where_there_is_no_room_for_the_way_back) {
    State changed = stored();
    changed.shapers[0].kbit = 30000;
    changed.rules.edit(1).sequence = 3;
    {
        Store store(Access::write);
        const State before = store.load();
        (void)store.markBusy();
        fs::create_directory(folder + "/state.new");
        EXPECT_THROW(store.save(changed, before), Failure);
        State back = before;
        back.kernel.maps[0] = 1; // made anew on the way
        EXPECT_THROW(store.saveBack(back, before, changed), Failure);
        fs::remove(folder + "/state.new");
    }
    EXPECT_TRUE(Store(Access::read).load().rules.at(1) == stored().rules.at(1));
}

TEST_F(StoredTest, is_left_alone_when_it_cannot_be_read) {
    for (const char* name : {"/state", "/rules"}) {
        const std::string file = folder + name;
        fs::rename(file, file + ".kept");
        fs::create_symlink(file, file); // as good as a descriptor that is not to be had
        for (const Access access : {Access::read, Access::write}) {
            EXPECT_EQ(failureOfLoading(access), file + ": Too many levels of symbolic links");
        }
        EXPECT_TRUE(fs::is_symlink(file) && !fs::exists(folder + "/busy"));
        fs::rename(file + ".kept", file);
    }
    EXPECT_EQ(failureOfLoading(Access::write), "");
}

} // namespace

} // namespace fapi
