#include "pacerctl/cli.h"

#include "pacerctl/commands.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <ostream>

namespace pacerctl {

namespace {

constexpr const char* defaultSocket = "/tmp/cfgserver.socket";

// What every subcommand takes.
struct CommonOptions {
    std::string socket = defaultSocket;
    std::string file;
    std::string colour = "auto";
    bool json = false;
};

// Without the list of options that one excludes: it comes in no particular order, and the footers say it
// better.
class HelpFormatter final : public CLI::Formatter {
  public:
    std::string make_option_opts(const CLI::Option* option) const override {
        std::string text;
        if (option->get_type_size() != 0) {
            text += " " + option->get_type_name(); // NOLINT(performance-inefficient-string-concatenation)
            text += option->get_default_str().empty() ? "" : " [" + option->get_default_str() + "]";
        }
        return option->get_required() ? text + " (needed)" : text;
    }
};

void addCommon(CLI::App& command, CommonOptions& options) {
    auto* socket = command.add_option("--socket", options.socket, "Configuration server's socket")
                       ->capture_default_str()
                       ->type_name("PATH");
    command.add_option("--file", options.file, "Work on a gateway file instead; no server needed")
        ->type_name("FILE")
        ->excludes(socket);
    command.add_flag("--json", options.json, "Write the report as JSON");
    command.add_option("--color", options.colour, "When to use colours")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str()
        ->type_name("WHEN");
}

bool useColour(const CommonOptions& options, bool onTerminal) {
    if (options.colour != "auto") {
        return options.colour == "always";
    }
    const char* noColour = std::getenv("NO_COLOR");
    return onTerminal && (noColour == nullptr || *noColour == '\0');
}

Snapshot load(const CommonOptions& options) {
    return options.file.empty() ? fetchSnapshot(options.socket) : readSnapshotFile(options.file);
}

void addPlan(CLI::App& app, PlanOptions& options) {
    app.footer(
        "Without --all-up and --as-is the plan takes ProviderInternet as up and every other service as it "
        "is now.\n");
    auto* allUp = app.add_flag_callback(
        "--all-up", [&options] { options.assume = Assume::allUp; },
        "Take every provider that has an interface as up");
    app.add_flag_callback(
           "--as-is", [&options] { options.assume = Assume::nothing; }, "Take nothing as up that is not")
        ->excludes(allUp);
    app.add_flag_callback(
        "--no-checks", [&options] { options.checks = CheckMode::assumeAbsent; },
        "Do not ask the FAPI tools what exists: take it that nothing is configured");
}

void addTop(CLI::App& app, TopOptions& options) {
    constexpr double shortest = 0.1;
    constexpr double longest = 3600;
    app.add_option("--interval", options.interval, "Seconds between two readings")
        ->check(CLI::Range(shortest, longest))
        ->capture_default_str()
        ->type_name("SECONDS");
    auto* count = app.add_option("--count", options.count, "Show so many times, then end")->type_name("N");
    app.add_flag_callback(
           "--once", [&options] { options.count = 1; }, "Show once, then end")
        ->excludes(count);
}

void addExplain(CLI::App& app, ExplainOptions& options) {
    constexpr unsigned highestPort = 65535;
    app.add_option("--in", options.entering, "Where the packet enters; lo: the gateway itself sends it")
        ->required()
        ->type_name("INTERFACE");
    app.add_option("--out", options.leaving, "Where it leaves (default: every way out)")
        ->type_name("INTERFACE");
    auto* capture = app.add_option("--pcap", options.captureFile, "Take the packet from a capture file")
                        ->type_name("FILE");
    app.add_option("--packet", options.captureNumber, "Its number there, from 1")
        ->needs(capture)
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->type_name("N");
    for (CLI::Option* option :
         {app.add_option("--proto", options.protocol, "tcp, udp, igmp, or any other word")
              ->type_name("PROTOCOL"),
          app.add_option("--src", options.source, "Source address")->type_name("ADDRESS"),
          app.add_option("--dst", options.destination, "Destination address")->type_name("ADDRESS"),
          app.add_option("--sport", options.sourcePort, "Source port")
              ->check(CLI::Range(highestPort))
              ->type_name("PORT"),
          app.add_option("--dport", options.destinationPort, "Destination port")
              ->check(CLI::Range(highestPort))
              ->type_name("PORT"),
          app.add_option("--dscp", options.dscp, "Its number, 0 if not said, or its name: EF, AF41, CS5 ...")
              ->type_name("DSCP"),
          app.add_flag("--ack", options.ack, "It is a TCP acknowledgement without payload")}) {
        option->excludes(capture);
    }
    app.footer("An INTERFACE is a Linux interface (br0) or a logical one (LocalLAN). The packet is described "
               "by --proto and what "
               "else is known of it, or it is taken from a file by --pcap.\n");
}

std::string helpOf(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return "pacerctl " + (parsed.empty() ? "" : parsed.front()->get_name() + " ") + "--help";
}

bool isWord(const std::string& argument) {
    return argument.rfind('-', 0) != 0;
}

std::string complaint(const CLI::App& app, const std::vector<std::string>& arguments,
                      const CLI::ParseError& error) {
    const auto command = std::find_if(arguments.begin(), arguments.end(), isWord);
    const auto parsed = app.get_subcommands();
    if (parsed.empty() && command != arguments.end()) {
        return "there is no '" + printable(*command) + "'";
    }
    if (!parsed.empty() && arguments.front() != parsed.front()->get_name()) {
        return "options stand behind " + parsed.front()->get_name();
    }
    if (!parsed.empty() && dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        const auto stray = parsed.front()->remaining();
        if (!stray.empty() && isWord(stray.front())) {
            return "what is '" + printable(stray.front()) + "'? A gateway file is given with --file";
        }
    }
    return printable(error.what());
}

// "help" and "help plan" as "--help" and "plan --help".
std::vector<std::string> withoutHelpWord(std::vector<std::string> arguments) {
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    return arguments;
}

} // namespace

int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err, bool onTerminal,
        const std::function<TerminalSize()>& size) {
    CLI::App app("Shows what the QoS daemon will do, does, and why.", "pacerctl");
    app.set_version_flag("--version", "pacerctl " PACERD_VERSION);
    app.require_subcommand(1);
    app.formatter(std::make_shared<HelpFormatter>());
    CommonOptions common;

    PlanOptions planOptions;
    CLI::App* plan = app.add_subcommand("plan", "What the daemon would run if the WAN came up now");
    addPlan(*plan, planOptions);
    CLI::App* lint = app.add_subcommand("lint", "Traps in the tables, and what to do about them");
    bool listChecks = false;
    lint->add_flag("--list", listChecks, "Only list what is looked for");
    lint->footer("Exits with 1 if there is an error or a warning.\n");
    ExplainOptions explainOptions;
    CLI::App* explain = app.add_subcommand("explain", "What becomes of one packet, and why");
    addExplain(*explain, explainOptions);
    CLI::App* statusApp =
        app.add_subcommand("status", "The WAN, the paths, the queues and rules, and what is applied");
    CLI::App* verify = app.add_subcommand("verify", "Whether what is configured is what should be");
    verify->footer("Exits with 1 if something is missing, extra or different.\n");
    TopOptions topOptions;
    CLI::App* top =
        app.add_subcommand("top", "Rate, packets, drops and backlog of each queue, again and again");
    addTop(*top, topOptions);
    std::string metricsFile;
    CLI::App* metrics = app.add_subcommand("metrics", "The counters in Prometheus text format");
    metrics->add_option("--output", metricsFile, "Replace this file, as a whole")->type_name("FILE");
    std::string svgFile;
    CLI::App* graph = app.add_subcommand("graph", "The way of packets as a graph, in Graphviz's language");
    graph->add_option("--svg", svgFile, "Write a picture (needs Graphviz)")->type_name("FILE");
    for (CLI::App* command : app.get_subcommands({})) {
        addCommon(*command, common);
    }

    std::vector<std::string> reversed = withoutHelpWord(arguments);
    std::reverse(reversed.begin(), reversed.end());
    try {
        app.parse(std::move(reversed));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) { // --help, --version
            return app.exit(error, out, err);
        }
        err << "pacerctl: " << complaint(app, arguments, error) << "; see " << helpOf(app) << '\n';
        return static_cast<int>(ExitStatus::usage);
    }
    const Terminal terminal{out, err, useColour(common, onTerminal), common.json, size};
    ExitStatus status = ExitStatus::fine;
    try {
        if (listChecks) {
            return static_cast<int>(listLintChecks(terminal));
        }
        Snapshot snapshot = load(common);
        if (!lint->parsed()) { // which is there to show them
            for (const std::string& dropped : snapshot.dropRefusedRows()) {
                err << "pacerctl: " << printable(dropped) << '\n';
            }
        }
        if (plan->parsed()) {
            status = planCommand(terminal, snapshot, planOptions);
        } else if (lint->parsed()) {
            status = lintCommand(terminal, snapshot);
        } else if (statusApp->parsed()) {
            status = statusCommand(terminal, snapshot);
        } else if (verify->parsed()) {
            status = verifyCommand(terminal, snapshot);
        } else if (top->parsed()) {
            SystemClock clock;
            topOptions.refresh = onTerminal && topOptions.count != 1;
            status = topCommand(terminal, snapshot, topOptions, clock);
        } else if (metrics->parsed()) {
            status = metricsCommand(terminal, snapshot, metricsFile);
        } else if (graph->parsed()) {
            status = graphCommand(terminal, snapshot, svgFile);
        } else if (explain->parsed()) {
            status = explainCommand(terminal, snapshot, explainOptions);
        }
    } catch (
        const std::runtime_error& error) { // NoDatabase, WrongUsage, ToolFailure, FileFailure, CaptureError
        err << "pacerctl: " << printable(error.what()) << '\n';
        status = ExitStatus::usage;
    }
    return static_cast<int>(status);
}

} // namespace pacerctl
