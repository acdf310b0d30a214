#include "hostiletexts.h"

#include <random>
#include <set>

namespace e2e {

namespace {

// Everything printable that is no letter, digit or allowed mark, and the bytes that separate words.
const std::vector<std::string>& marks() {
    static const std::vector<std::string> all = {
        ";",  "&",    "|",     "<",   ">",  "(",  ")",    "$",    "`",     "\\",    "\"",   "'",
        "*",  "?",    "[",     "]",   "{",  "}",  "~",    "#",    "!",     "^",     " ",    "\t",
        "\n", "\r",   "\v",    "\f",  "\a", "\b", "\x1b", "\x01", "\x7f",  "&&",    "||",   ";;",
        "|&", ">>",   "<<",    "<<<", "<(", ">(", "$(",   "${",   "$((",   "\\\n",  "\r\n", "\n\n",
        "*?", "[!a]", "{a,b}", "!!",  "$$", "$!", "$?",   "$0",   "$PATH", "${IFS}"};
    return all;
}

// Valid UTF-8 that is not what it looks like, or not seen at all.
const std::vector<std::string>& oddities() {
    static const std::vector<std::string> all = {
        "\xC2\xA0",         // no-break space
        "\xC2\x85",         // next line
        "\xC3\xA9",         // e with acute
        "e\xCC\x81",        // the same, combined
        "\xE2\x80\x8B",     // zero width space
        "\xE2\x80\xA8",     // line separator
        "\xE2\x80\xAE",     // right-to-left override
        "\xE2\x81\xA6",     // left-to-right isolate
        "\xEF\xBB\xBF",     // byte order mark
        "\xEF\xBC\x9B",     // fullwidth semicolon
        "\xEF\xBD\x9C",     // fullwidth vertical line
        "\xEF\xBC\x84",     // fullwidth dollar sign
        "\xCD\xBE",         // Greek question mark, a semicolon's double
        "\xD0\xB0",         // Cyrillic a
        "\xE2\x80\x90",     // hyphen
        "\xE2\x88\x92",     // minus sign
        "\xF0\x9F\x92\xA9", // beyond the basic plane
        "\xF3\xA0\x81\x81", // tag letter
    };
    return all;
}

void addAround(std::set<std::string>& texts, const std::string& mark) {
    const std::string run = canary;
    for (const std::string& text : {mark,
                                    "a" + mark,
                                    mark + "a",
                                    "a" + mark + "b",
                                    mark + run,
                                    "a" + mark + run,
                                    mark + run + mark,
                                    "a" + mark + run + mark + "b",
                                    "eth0" + mark + run + "#",
                                    mark + " " + run + " " + mark,
                                    "$(" + run + mark + ")",
                                    "`" + run + mark + "`",
                                    "'" + mark + run + "'",
                                    "\"" + mark + run + "\"",
                                    "a;" + run + mark,
                                    "a\n" + run + mark + "\n",
                                    "x" + mark + "touch /tmp/t",
                                    "x>" + mark + "/tmp/f",
                                    "-" + mark,
                                    "--x=" + mark,
                                    "10.0.0.1" + mark + "/8",
                                    "80" + mark + "81",
                                    mark + ";exec " + run}) {
        texts.insert(text);
    }
}

void addLongAndOptions(std::set<std::string>& texts) {
    for (const char* option : {"-A", "-D", "-M", "-h", "--help", "-", "--", "-Lall", "-i", "-ilo", "--ifmap",
                               "-1", "-e", "-f/etc/passwd", "-rf", "--regexp=.", "-A-D", "-x=y"}) {
        texts.insert(option);
    }
    for (std::size_t length = 65; length < 115; ++length) {
        texts.insert(std::string(length, 'a'));
    }
    for (const std::size_t length : {128U, 255U, 256U, 1000U, 4096U, 70'000U}) {
        texts.insert(std::string(length, 'b'));
        texts.insert("a;" + std::string(length, '/') + "tmp/c");
        std::string path;
        while (path.size() < length) {
            path += "../";
        }
        texts.insert(path);
    }
}

} // namespace

std::vector<std::string> hostileTexts() {
    std::set<std::string> texts;
    for (const std::string& mark : marks()) {
        addAround(texts, mark);
    }
    for (const std::string& oddity : oddities()) {
        addAround(texts, oddity);
    }
    addLongAndOptions(texts);
    std::mt19937 random(5);
    while (texts.size() < 2200) {
        std::string text = random() % 2 == 0 ? "a" : "";
        for (auto count = 1 + random() % 4; count > 0; --count) {
            text += marks()[random() % marks().size()];
            text += random() % 2 == 0 ? canary : "x";
        }
        texts.insert(text);
    }
    return {texts.begin(), texts.end()};
}

} // namespace e2e
