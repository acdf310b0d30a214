// Stands in for the FAPI QoS tools: one program under the names qcfg, classcfg and ifcfg, put first in PATH.
//
// PACERD_RECORD names the file to which each call appends its command line: the tool's name and the
// arguments, joined by blanks. Beside it:
//   $PACERD_RECORD.objects  what exists, one object a line; the listings answer from it
//   $PACERD_RECORD.fail     if it exists: the numbers of the changing calls (-A, -M, -D; counted from 1 over
//   the whole
//                           record) that are to fail with status 1 and without effect
//
// Changes: -A creates or replaces, but interface maps are counted, since every stack adds the one of its
// root; -M and -D fail with status 1 if there is no such object. Wrong usage is status 2. Listings print one
// name a line, of the given interface, and for queues of one direction (egress without -tingress). An
// interface map prints as "BASE CAT n INTERFACE" or "BASE INGGRP n INTERFACE".
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

[[noreturn]] void stop(int status, const std::string& reason) {
    const std::string line = "recording tool: " + reason + "\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    std::exit(status);
}

int openOrStop(const std::string& path, int flags) {
    const int fd = open(path.c_str(), flags | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        stop(2, path + ": " + std::strerror(errno));
    }
    return fd;
}

std::string readAll(int fd) {
    std::string text;
    char buffer[65536];
    for (ssize_t count = 0; (count = read(fd, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

void writeAll(int fd, const std::string& text) {
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        stop(2, std::string("cannot write: ") + std::strerror(errno));
    }
}

Lines split(const std::string& text, const char* separators) {
    Lines parts;
    for (std::size_t begin = 0; (begin = text.find_first_not_of(separators, begin)) != std::string::npos;) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return parts;
}

// The value of "-x VALUE" or "-xVALUE"; the first one counts.
std::optional<std::string> option(const Lines& arguments, const std::string& name) {
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        if (arguments[index] == name && index + 1 < arguments.size()) {
            return arguments[index + 1];
        }
        if (arguments[index].starts_with(name) && arguments[index].size() > name.size()) {
            return arguments[index].substr(name.size());
        }
    }
    return std::nullopt;
}

std::string required(const Lines& arguments, const std::string& name) {
    if (auto value = option(arguments, name)) {
        return *value;
    }
    stop(2, "option " + name + " is missing");
}

// An object's line is a prefix that one listing has in common, and what the listing prints of it.
struct Object {
    std::string scope;
    std::string name;
    std::string line() const { return scope + name; }
};

Object interfaceMap(const std::string& name, const Lines& arguments) {
    const auto group = option(arguments, "-g");
    const std::string field = group ? "INGGRP " + *group : "CAT " + required(arguments, "-t");
    return {"ifmap ", required(arguments, "-b") + " " + field + " " + name};
}

Object object(const std::string& kind, const std::string& name, const Lines& arguments) {
    if (kind == "--ifmap") {
        return name.empty() ? Object{"ifmap ", ""} : interfaceMap(name, arguments);
    }
    const std::string interface = required(arguments, "-i");
    if (kind == "classifier") {
        return {"classifier " + interface + " ", name};
    }
    return {kind.substr(2) + " " + interface + " " + option(arguments, "-t").value_or("egress") + " ", name};
}

bool isChange(const Lines& words) {
    return words.size() > 1 &&
           std::any_of(words.begin(), words.begin() + std::min<long>(3, std::ssize(words)),
                       [](const std::string& w) { return w == "-A" || w == "-M" || w == "-D"; });
}

bool isToFail(const std::string& record) {
    const int fd = open((record + ".fail").c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const Lines numbers = split(readAll(fd), " \n");
    const Lines calls = split(readAll(openOrStop(record, O_RDONLY)), "\n");
    const auto count = std::count_if(calls.begin(), calls.end(),
                                     [](const std::string& call) { return isChange(split(call, " ")); });
    return std::find(numbers.begin(), numbers.end(), std::to_string(count)) != numbers.end();
}

int list(const Lines& objects, const std::string& scope) {
    std::string output;
    for (const std::string& line : objects) {
        if (line.starts_with(scope)) {
            output += line.substr(scope.size()) + "\n";
        }
    }
    writeAll(STDOUT_FILENO, output);
    return 0;
}

int change(const std::string& flag, const std::string& line, Lines objects, int file) {
    const auto found = std::find(objects.begin(), objects.end(), line);
    if (flag == "-A" && (found == objects.end() || line.starts_with("ifmap "))) {
        lseek(file, 0, SEEK_END);
        writeAll(file, line + "\n");
        return 0;
    }
    if (found == objects.end()) {
        stop(1, "there is no " + line);
    }
    if (flag == "-D") {
        objects.erase(found);
        std::string rest;
        for (const std::string& other : objects) {
            rest += other + "\n";
        }
        if (lseek(file, 0, SEEK_SET) != 0 || ftruncate(file, 0) != 0) {
            stop(2, std::string("cannot rewrite the objects: ") + std::strerror(errno));
        }
        writeAll(file, rest);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const char* record = std::getenv("PACERD_RECORD");
    if (record == nullptr) {
        stop(2, "PACERD_RECORD is not set");
    }
    const std::string path = argv[0];
    const std::string tool = path.substr(path.rfind('/') + 1);
    Lines arguments(argv + 1, argv + argc);
    std::string call = tool;
    for (const std::string& argument : arguments) {
        call += " " + argument;
    }

    // Held until the end: calls that overlap come one after the other.
    const int file = openOrStop(std::string(record) + ".objects", O_RDWR);
    flock(file, LOCK_EX);
    writeAll(openOrStop(record, O_WRONLY | O_APPEND), call + "\n");

    std::string kind = "classifier";
    if (tool != "classcfg") {
        kind = arguments.empty() ? "" : arguments.front();
        if (tool == "ifcfg" ? kind != "--ifmap" : kind != "--queue" && kind != "--port") {
            stop(2, "unknown sub-command in '" + call + "'");
        }
        arguments.erase(arguments.begin());
    }
    const std::string flag = arguments.empty() ? "" : arguments.front();
    const Lines objects = split(readAll(file), "\n");
    if (flag == "-L" || flag == "-Lall") {
        return list(objects, object(kind, "", {arguments.begin() + 1, arguments.end()}).scope);
    }
    if ((flag != "-A" && flag != "-M" && flag != "-D") || arguments.size() < 2) {
        stop(2, "no -A, -M, -D or -L in '" + call + "'");
    }
    if (isToFail(record)) {
        stop(1, "told to fail '" + call + "'");
    }
    const Object changed = object(kind, arguments[1], {arguments.begin() + 2, arguments.end()});
    return change(flag, changed.line(), objects, file);
}
