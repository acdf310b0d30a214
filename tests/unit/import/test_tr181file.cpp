#include "import/tr181file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> tr181Faults(const std::string& text) {
    Faults faults("f");
    const Tr181File file(text, faults);
    try {
        faults.throwIfAny();
    } catch (const ImportError& error) {
        return error.lines();
    }
    return {};
}

TEST(Tr181File, TakesBlanksQuotesCommentsAndLineEndsOfBothKinds) {
    Faults faults("f");
    Tr181File file("# a comment\r\n\n  Device.A.1.B = \"x = y\" \r\nDevice.A.1.C=\n", faults);
    faults.throwIfAny();
    EXPECT_EQ(file.read("Device.A.1.B")->value, "x = y");
    EXPECT_EQ(file.read("Device.A.1.B")->line, 3U);
    EXPECT_EQ(file.read("Device.A.1.C")->value, "");
    EXPECT_EQ(file.read("Device.A.1.D"), nullptr);
}

TEST(Tr181File, FindsTheInstancesOfATableByNumber) {
    Faults faults("f");
    const Tr181File file(
        "Device.A.10.B=1\nDevice.A.2.B=1\nDevice.A.2.A=1\nDevice.A.x.B=1\nDevice.A.Count=2\n", faults);
    const std::vector<Object> objects = file.objects("Device.A.");
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(objects[0].path, "Device.A.2.");
    EXPECT_EQ(objects[0].line, 2U);
    EXPECT_EQ(objects[1].instance, 10);
}

TEST(Tr181File, KnowsWhatNobodyHasRead) {
    Faults faults("f");
    Tr181File file("Device.A.1.B=1\nDevice.A.1.C=1\nDevice.B.1=1\nDevice.C=1", faults);
    file.read("Device.C");
    EXPECT_THAT(file.unread(), ElementsAre("Device.A.1.B", "Device.A.1.C", "Device.B.1"));
    file.readAll("Device.A.1.");
    EXPECT_THAT(file.unread(), ElementsAre("Device.B.1"));
}

TEST(Tr181File, EveryLineOfAnotherFormIsAFault) {
    EXPECT_THAT(
        tr181Faults("Device.A=1\nDevice.QoS.Queue.1.Enable true\nInternetGatewayDevice.A=1\nDevice.A.=1\n"
                    "Device.A..B=1\nDevice.A b=1\n=1\n"),
        ElementsAre("f:2: \"Device.QoS.Queue.1.Enable true\" is no parameter; allowed: a full path, "
                    "\"=\" and a value, such as Device.QoS.Queue.1.Precedence=3",
                    ::testing::StartsWith("f:3: "), ::testing::StartsWith("f:4: "),
                    ::testing::StartsWith("f:5: "), ::testing::StartsWith("f:6: "),
                    ::testing::StartsWith("f:7: ")));
}

TEST(Tr181File, AParameterThatComesTwiceIsAFault) {
    EXPECT_THAT(tr181Faults("Device.A=1\n\nDevice.A=1\n"),
                ElementsAre("f:3: Device.A stands in line 1 already"));
    EXPECT_THAT(tr181Faults(""), IsEmpty());
}

} // namespace

} // namespace importers
