// The fixture of the tests of the program: a real configuration server, and cfgctl at it.
#pragma once

#include "process/ovsdbserver.h"
#include "process/program.h"
#include "process/sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace cfgctl::test {

using zel::test::Outcome;
using zel::test::OvsdbServer;
using zel::test::Program;
using zel::test::Sandbox;

std::string exampleFile(const std::string& name);

// The program with these words, at no particular server.
Outcome cfgctl(std::vector<std::string> words, const std::string& input = "");

class CfgctlTest : public ::testing::Test {
  protected:
    // The words for the program, with the server's socket.
    std::vector<std::string> words(const std::vector<std::string>& command) const;

    Outcome run(const std::vector<std::string>& command, const std::string& input = "") const;

    // Runs a command that must succeed, and returns what it wrote.
    std::string output(const std::vector<std::string>& command) const;

    // A JSON text as an import, which must be refused with exactly these lines.
    void expectRefused(const std::string& json, const std::string& errors) const;

    OvsdbServer server{SHARE_DIR "/gateway.ovsschema"};
    Sandbox sandbox;
};

} // namespace cfgctl::test
