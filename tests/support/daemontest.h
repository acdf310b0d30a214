// The fixture of the daemon's tests: a database, a shell and a log, all in memory.
#pragma once

#include "logcheck.h"
#include "recordingshell.h"
#include "rows.h"
#include "scriptedclient.h"

#include <zel/error/assert.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zel::pacerd::test {

using Lines = std::vector<std::string>;
using basalt::protocol::EResultCode;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class DaemonTest : public ::testing::Test {
  protected:
    static constexpr int handle = 42;

    ScriptedClient db;
    RecordingShell shell;
    LogCheck log{handle};

    void TearDown() override { log.verify(); }
};

// The failed expression and the source file, such as "true == this->findShaper() (lowdatapath.cpp)"; if the
// action raises none, a text that says so.
template <class Action>
std::string assertionOf(Action&& action) {
    try {
        action();
    } catch (const error::AssertionFailed& failure) {
        const std::string what = failure.what();
        const std::string begin = "assertion failed: ";
        const std::size_t place = what.rfind(" (");
        const std::size_t line = what.rfind(':');
        if (!what.starts_with(begin) || place == std::string::npos || line < place) {
            return "malformed: " + what;
        }
        const std::string file = what.substr(place + 2, line - place - 2);
        return what.substr(begin.size(), place - begin.size()) + " (" + file.substr(file.rfind('/') + 1) +
               ")";
    }
    return "no assertion failed";
}

} // namespace zel::pacerd::test
