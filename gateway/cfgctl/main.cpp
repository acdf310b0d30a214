// cfgctl: the configuration database at a person's hand.

#include "cfgctl/commands.h"
#include "cfgctl/failure.h"
#include "cfgctl/initdb.h"
#include "config/tableprinter.h"

#include <CLI/CLI.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace cfgctl {

namespace {

struct Options {
    std::string socket = defaultSocket;
    unsigned int timeout = static_cast<unsigned int>(defaultAnswerTimeout.count()); // seconds
    bool quiet = false;
    std::string schemaFile;
    std::string file;
    std::string format = "json";
    bool merge = false;
    bool dryRun = false;
    bool print = false;
    std::vector<std::string> interfaces;
    std::vector<std::string> tables;
    std::string table;
    std::string key;
    std::vector<std::string> values;
    std::size_t count = 0;
};

// Lines longer than the terminal would be broken by it.
std::size_t outputWidth() {
    winsize size = {};
    if (::isatty(STDOUT_FILENO) != 0 && ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return gateway::unlimitedWidth;
}

// What was done, for a person.
std::ostream& report(const Options& options) {
    static std::ostream nowhere(nullptr);
    return options.quiet ? nowhere : std::cout;
}

Database connect(const Options& options) {
    return {options.socket, std::chrono::seconds(options.timeout)};
}

ImportMode importMode(const Options& options) {
    if (options.print) {
        return ImportMode::print;
    }
    if (options.dryRun) {
        return ImportMode::dryRun;
    }
    return options.merge ? ImportMode::merge : ImportMode::replace;
}

ImportFormat importFormat(const Options& options) {
    if (options.format == "tr181") {
        return ImportFormat::tr181;
    }
    return options.format == "uci" ? ImportFormat::uci : ImportFormat::json;
}

void addInit(CLI::App& app, Options& options) {
    CLI::App* init = app.add_subcommand("init", "Make a database file");
    init->add_option("--schema", options.schemaFile,
                     "Schema to make it by, instead of the one that came with cfgctl")
        ->type_name("FILE");
    init->add_option("DB", options.file, "The new file; an existing one is not touched")
        ->required()
        ->type_name("");
    init->callback([&options] {
        createDatabase(options.file, options.schemaFile.empty() ? ownSchemaFile() : options.schemaFile);
        report(options) << options.file << ": made\n";
    });
}

void addImport(CLI::App& app, Options& options) {
    CLI::App* command = app.add_subcommand(
        "import", "Read a configuration, all of it or nothing; the tables that the file names are replaced");
    command->add_option("FILE", options.file, "The file, - for standard input")->required()->type_name("");
    command->add_option("--from", options.format, "The file's format: json, tr181 or uci")
        ->check(CLI::IsMember({"json", "tr181", "uci"}))
        ->capture_default_str()
        ->type_name("FORMAT");
    command
        ->add_option("--interface", options.interfaces,
                     "What the file's word for an interface is here, wan2=ProviderIPTV; for tr181 and uci")
        ->type_name("WORD=NAME")
        ->allow_extra_args(false);
    CLI::Option* merge = command->add_flag("--merge", options.merge,
                                           "Keep the tables' other rows; replace those with the same Id");
    command->add_flag("--dry-run", options.dryRun, "Only check the file against the database's schema")
        ->excludes(merge);
    command->add_flag("--print", options.print, "Only write as JSON what would be imported")->excludes(merge);
    command->callback([&options] {
        const Assignments interfaces = parseAssignments(options.interfaces, "WORD=NAME", "interface");
        const bool foreign = options.format != "json";
        if (!foreign && !interfaces.empty()) {
            throw Failure(ExitStatus::usage, "--interface is for --from tr181 and --from uci");
        }
        if (foreign && options.merge) {
            throw Failure(ExitStatus::usage, "--merge is for JSON: the other formats bring no Ids");
        }
        Database database = connect(options);
        importFile(database, {options.file, importFormat(options), importMode(options), interfaces},
                   options.print ? std::cout : report(options), std::cerr);
    });
}

CLI::App* addReader(CLI::App& app, Options& options, const char* name, const char* purpose) {
    CLI::App* command = app.add_subcommand(name, purpose);
    command->add_option("TABLE", options.tables, "All tables if none is named")->type_name("");
    return command;
}

void addReaders(CLI::App& app, Options& options) {
    addReader(app, options, "export", "Write tables as JSON, in the form that import reads")
        ->callback([&options] {
            Database database = connect(options);
            exportTables(database, options.tables, std::cout);
        });
    addReader(app, options, "show", "Print tables")->callback([&options] {
        Database database = connect(options);
        showTables(database, options.tables, outputWidth(), std::cout);
    });
    CLI::App* watch = addReader(app, options, "watch", "Print a line for every row that changes");
    watch->add_option("--count", options.count, "End after so many lines")
        ->type_name("N")
        ->check(CLI::Range(1ULL, 1'000'000'000ULL));
    watch->callback([&options] {
        static std::ostream nowhere(nullptr);
        Database database = connect(options);
        watchTables(database, options.tables, options.count, std::cout, options.quiet ? nowhere : std::cerr);
    });
}

void addWriters(CLI::App& app, Options& options) {
    CLI::App* set = app.add_subcommand("set", "Change the rows where a column has a value");
    set->add_option("TABLE", options.table, "Table of the rows")->required()->type_name("");
    set->add_option("KEY=VALUE", options.key, "Which rows; compared as text")->required()->type_name("");
    set->add_option("COLUMN=VALUE", options.values, "New values; an empty one empties an optional column")
        ->required()
        ->type_name("");
    set->callback([&options] {
        const Assignment key = parseAssignments({options.key}).front();
        const Assignments values = parseAssignments(options.values);
        Database database = connect(options);
        setRows(database, options.table, key, values, report(options));
    });

    CLI::App* add = app.add_subcommand("add", "Add a row; without an Id it gets the highest one plus 1");
    add->add_option("TABLE", options.table, "Table of the row")->required()->type_name("");
    add->add_option("COLUMN=VALUE", options.values, "Its values; the others have their default")
        ->type_name("");
    add->callback([&options] {
        const Assignments values = parseAssignments(options.values);
        Database database = connect(options);
        addRow(database, options.table, values, report(options));
    });

    CLI::App* del = app.add_subcommand("del", "Delete the rows where a column has a value");
    del->add_option("TABLE", options.table, "Table of the rows")->required()->type_name("");
    del->add_option("KEY=VALUE", options.key, "Which rows; compared as text")->required()->type_name("");
    del->callback([&options] {
        const Assignment key = parseAssignments({options.key}).front();
        Database database = connect(options);
        deleteRows(database, options.table, key, report(options));
    });
}

int toExit(ExitStatus status) {
    return static_cast<int>(status);
}

int run(int argc, char** argv) {
    Options options;
    CLI::App app("The gateway's configuration database at a person's hand.", "cfgctl");
    app.set_version_flag("--version", "cfgctl " CFGCTL_VERSION);
    app.add_option("--socket", options.socket, "The configuration server's socket")
        ->capture_default_str()
        ->type_name("PATH");
    app.add_option("--timeout", options.timeout, "How long to wait for an answer of the server")
        ->capture_default_str()
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 86'400U));
    app.add_flag("-q,--quiet", options.quiet, "Say nothing about what was done");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer("Exit status: 0 done, 1 failed, 2 wrong usage or no database.");
    addInit(app, options);
    addImport(app, options);
    addReaders(app, options);
    addWriters(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        const bool unknownCommand = app.get_subcommands().empty() && !app.remaining().empty();
        std::cerr << "cfgctl: "
                  << (unknownCommand ? "unknown command \"" + app.remaining().front() + "\"" : error.what())
                  << "\nRun cfgctl --help for more information.\n";
        return toExit(ExitStatus::usage);
    } catch (const Failure& failure) {
        for (const std::string& line : failure.lines()) {
            std::cerr << "cfgctl: " << line << '\n';
        }
        return toExit(failure.status());
    }
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "cfgctl: standard output cannot be written\n";
        return toExit(ExitStatus::failure);
    }
    return toExit(ExitStatus::done);
}

} // namespace

} // namespace cfgctl

int main(int argc, char** argv) {
    try {
        return cfgctl::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "cfgctl: " << error.what() << '\n';
        return 1;
    }
}
