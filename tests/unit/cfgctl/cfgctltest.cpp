#include "cfgctltest.h"

namespace cfgctl::test {

std::string exampleFile(const std::string& name) {
    return SHARE_DIR "/examples/" + name + ".json";
}

Outcome cfgctl(std::vector<std::string> words, const std::string& input) {
    words.insert(words.begin(), CFGCTL);
    return zel::test::run(words, input);
}

std::vector<std::string> CfgctlTest::words(const std::vector<std::string>& command) const {
    std::vector<std::string> words = {CFGCTL, "--socket", server.socket()};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

Outcome CfgctlTest::run(const std::vector<std::string>& command, const std::string& input) const {
    return zel::test::run(words(command), input);
}

std::string CfgctlTest::output(const std::vector<std::string>& command) const {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 0) << command.front();
    EXPECT_EQ(outcome.err, "") << command.front();
    return outcome.out;
}

void CfgctlTest::expectRefused(const std::string& json, const std::string& errors) const {
    const Outcome outcome = run({"import", "-"}, json);
    EXPECT_EQ(outcome.status, 1) << json;
    EXPECT_EQ(outcome.out, "") << json;
    EXPECT_EQ(outcome.err, errors) << json;
}

} // namespace cfgctl::test
