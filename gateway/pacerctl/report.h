// How every subcommand writes: colours, columns, and the frame of the JSON form.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace pacerctl {

struct Counters;

using Json = nlohmann::ordered_json; // keeps the documented order

enum class ExitStatus {
    fine = 0,
    finding = 1, // something an operator should look at
    usage = 2,   // or no database
};

// 0: as much as there is to show.
struct TerminalSize {
    std::size_t columns = 0;
    std::size_t rows = 0;
};

// Where the report goes.
struct Terminal {
    std::ostream& out;
    std::ostream& err;
    bool colour = false;
    bool json = false;
    std::function<TerminalSize()> size = [] { return TerminalSize(); }; // may change at any time
};

class Style {
  public:
    explicit Style(bool colour) : colour_(colour) {}

    std::string heading(const std::string& text) const { return paint("1", text); }
    std::string dim(const std::string& text) const { return paint("2", text); }
    std::string good(const std::string& text) const { return paint("32", text); }
    std::string warn(const std::string& text) const { return paint("33", text); }
    std::string bad(const std::string& text) const { return paint("31", text); }

  private:
    std::string paint(const char* code, const std::string& text) const;

    bool colour_;
};

// Aligned columns. Numbers are for the caller to mark; a heading row is optional.
class Columns {
  public:
    // `alignment`: one character per column, 'l' or 'r'.
    explicit Columns(std::string alignment) : alignment_(std::move(alignment)) {}

    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    bool empty() const { return rows_.empty(); }
    std::size_t size() const { return rows_.size(); }
    // Each line begins with `indent` blanks and has none at its end.
    std::string text(std::size_t indent) const;
    // Where that is wider than `width` (not 0), the columns with these headings are left out one after the
    // other until it is not.
    std::string text(std::size_t indent, std::size_t width, const std::vector<std::string>& expendable) const;

  private:
    std::vector<std::size_t> widths() const;
    void drop(const std::string& heading);

    std::string alignment_;
    std::vector<std::vector<std::string>> rows_;
};

// Control characters as JSON writes them, so that no value can move the terminal's cursor.
std::string printable(const std::string& text);

// `indent` blanks before each line, and new lines between words where they get wider than `width` (not 0). A
// line feed at the end.
std::string paragraph(const std::string& text, std::size_t indent, std::size_t width);

// "a, b and c"
std::string listed(const std::vector<std::string>& items);

// {"format": "pacerctl COMMAND", "version": 1, "source": ...}: the head of every JSON report.
Json jsonHead(const std::string& command, const std::string& source);

Json toJson(const Counters& counters);

// One document and a line feed; bytes that are not UTF-8 are replaced.
void writeJson(std::ostream& out, const Json& json);

} // namespace pacerctl
