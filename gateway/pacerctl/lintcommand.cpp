#include "pacerctl/commands.h"
#include "pacerctl/findings.h"

#include <algorithm>
#include <ostream>

namespace pacerctl {

namespace {

std::string place(const Finding& finding) {
    std::string text = finding.table;
    if (finding.rowId != 0) {
        text += " Id=" + std::to_string(finding.rowId);
    }
    if (!finding.rowName.empty()) {
        text += " '" + printable(finding.rowName) + "'";
    }
    return text + (finding.column.empty() ? "" : ", " + finding.column);
}

std::string painted(const Style& style, Severity severity) {
    const std::string text = nameOf(severity);
    switch (severity) {
    case Severity::error:
        return style.bad(text);
    case Severity::warning:
        return style.warn(text);
    case Severity::note:
        break;
    }
    return style.dim(text);
}

std::string counted(std::ptrdiff_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string summary(const std::vector<Finding>& findings) {
    const auto count = [&](Severity severity) {
        return std::count_if(findings.begin(), findings.end(),
                             [&](const Finding& finding) { return finding.severity == severity; });
    };
    return counted(count(Severity::error), "error") + ", " + counted(count(Severity::warning), "warning") +
           ", " + counted(count(Severity::note), "note");
}

} // namespace

Json toJson(const std::vector<Finding>& findings) {
    Json json = Json::array();
    for (const Finding& finding : findings) {
        Json entry;
        entry["check"] = finding.check;
        entry["severity"] = nameOf(finding.severity);
        entry["table"] = finding.table;
        entry["id"] = finding.rowId == 0 ? Json() : Json(finding.rowId);
        entry["name"] = finding.rowName.empty() ? Json() : Json(finding.rowName);
        entry["column"] = finding.column.empty() ? Json() : Json(finding.column);
        entry["why"] = finding.why;
        entry["advice"] = finding.advice;
        json.push_back(std::move(entry));
    }
    return json;
}

void printFindings(const Terminal& terminal, const std::vector<Finding>& findings) {
    constexpr std::size_t indent = 4;
    const Style style(terminal.colour);
    const std::size_t width = terminal.size().columns;
    for (const Finding& finding : findings) {
        terminal.out << painted(style, finding.severity) << " [" << finding.check << "] "
                     << style.heading(place(finding)) << '\n'
                     << paragraph(printable(finding.why) + ".", indent, width)
                     << paragraph(style.dim(finding.advice), indent, width);
    }
}

ExitStatus lintCommand(const Terminal& terminal, const Snapshot& snapshot) {
    const std::vector<Finding> findings = lint(snapshot);
    if (terminal.json) {
        Json json = jsonHead("lint", snapshot.source());
        json["findings"] = toJson(findings);
        writeJson(terminal.out, json);
    } else {
        printFindings(terminal, findings);
        terminal.out << summary(findings) << '\n';
    }
    const bool clean = std::all_of(findings.begin(), findings.end(),
                                   [](const Finding& finding) { return finding.severity == Severity::note; });
    return clean ? ExitStatus::fine : ExitStatus::finding;
}

ExitStatus listLintChecks(const Terminal& terminal) {
    if (terminal.json) {
        Json json = jsonHead("lint --list", "");
        json["checks"] = Json::array();
        for (const LintCheck& check : lintChecks()) {
            json["checks"].push_back(
                {{"check", check.id}, {"severity", nameOf(check.severity)}, {"title", check.title}});
        }
        writeJson(terminal.out, json);
        return ExitStatus::fine;
    }
    Columns columns("lll");
    for (const LintCheck& check : lintChecks()) {
        columns.add({check.id, painted(Style(terminal.colour), check.severity), check.title});
    }
    terminal.out << columns.text(0);
    return ExitStatus::fine;
}

} // namespace pacerctl
