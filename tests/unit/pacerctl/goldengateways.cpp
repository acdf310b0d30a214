#include "goldengateways.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace pacerctl::test {

namespace {

namespace fs = std::filesystem;

constexpr const char* tools[] = {"ifcfg", "qcfg", "classcfg"};

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string bringUp(const std::string& text) {
    auto gateway = nlohmann::ordered_json::parse(text);
    gateway["StatusDsl"][0]["Status"] = 4;
    for (auto& service : gateway["StatusNetifWatchLogical"]) {
        if (service["Interface"] != "off" && service["IsUp"] == 0) {
            service["IsUp"] = 1;
            service["Addr"] = "203.0.113." + std::to_string(service["Id"].get<int>());
        }
    }
    return gateway.dump();
}

} // namespace

GoldenGateways::GoldenGateways() : oldDirectory_(fs::current_path()) {
    const fs::path directory = tools_.directory();
    for (const std::string example : {"dsl-tripleplay", "ethernet-wan", "minimal"}) {
        const std::string text = contentOf(PACERD_SOURCE_DIR "/share/examples/" + example + ".json");
        std::ofstream(directory / (example + ".json")) << text;
        std::ofstream(directory / (example + "-up.json")) << bringUp(text);
    }
    fs::copy(PACERD_SOURCE_DIR "/tests/unit/pacerctl/broken.json", directory);
    for (const char* tool : tools) {
        tools_.add(tool,
                   "[ \"$*\" = '--show --json' ] && cat " + tools_.directory() + "/" + tool + ".json\n");
    }
    apply("");
    fs::current_path(directory);
}

GoldenGateways::~GoldenGateways() {
    fs::current_path(oldDirectory_);
}

void GoldenGateways::apply(const std::string& example) const {
    for (const char* tool : tools) {
        const fs::path from =
            fs::path(PACERD_SOURCE_DIR "/tests/unit/pacerctl/show") / example / (std::string(tool) + ".json");
        std::ofstream(fs::path(tools_.directory()) / (std::string(tool) + ".json"))
            << (example.empty() ? std::string("{}") : contentOf(from));
    }
}

void GoldenGateways::replace(const std::string& tool, const std::string& from, const std::string& to) const {
    const fs::path file = fs::path(tools_.directory()) / (tool + ".json");
    std::string text = contentOf(file);
    const std::size_t place = text.find(from);
    if (place == std::string::npos) {
        throw std::runtime_error("no '" + from + "' in what " + tool + " answers");
    }
    std::ofstream(file) << text.replace(place, from.size(), to);
}

} // namespace pacerctl::test
