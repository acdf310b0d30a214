#include "failure.h"
#include "session.h"
#include "tools.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace fapi {

namespace {

constexpr const char* ifcfgHelp = R"(usage: ifcfg --ifmap -A|-D IF -tCATEGORY -bBASE -lLOWEST [-gGROUP]
       ifcfg --ifmap -L
       ifcfg --show --json
Says which base port carries the traffic of an interface. See ifcfg(8).
)";
constexpr const char* classcfgHelp = R"(usage: classcfg -A|-M|-D NAME -i IF -p tcp|udp|igmp [--tcp-flags ack]
                [-d [!]ADDRESS[/LENGTH]] [-s [!]ADDRESS[/LENGTH]]
                [--dport [!]PORT[:PORT]] [--sport [!]PORT[:PORT]] [--iphdr-dscp DSCP]
                [-o IF] [-j dscp --actdscp DSCP] [-j vlan --pcp-outer PCP]
                -j mark --mark MARK --mark-loc 1 | -j mark --mark_ing MARK --mark-loc 2
                --priority NUMBER
       classcfg -Lall -iIF
       classcfg --show --json
Classifies packets: the mark chooses the queue. See classcfg(8).
)";
constexpr const char* qcfgHelp = R"(usage: qcfg --port  -A|-M|-D NAME -i IF -s cb --pir KBIT -t egress|ingress
       qcfg --queue -A|-M|-D NAME -i IF -t egress|ingress -l PACKETS
                    -m sp --priority 0..9 | -m wfq --weight 1..1000
                    -d tail|red --map MARK
       qcfg --queue -Lall -iIF [-tegress|-tingress]
       qcfg --show --json
Shapes a port and gives it queues. --force replaces a root qdisc set up by others. See qcfg(8).
)";

struct Tool {
    const char* name;
    const char* help;
    void (*run)(const Words&, Subject&);
};
constexpr Tool tools[] = {
    {"classcfg", classcfgHelp, classcfg}, {"ifcfg", ifcfgHelp, ifcfg}, {"qcfg", qcfgHelp, qcfg}};

// One line, whatever the words of the command line hold. Needs no memory of its own.
void complain(const std::string& tool, const Subject& subject, std::initializer_list<const char*> what) {
    std::array<char, 4096> line{};
    size_t length = 0;
    const auto add = [&](std::string_view text) {
        for (const char c : text) {
            if (length + 1 < line.size()) {
                line[length++] = static_cast<unsigned char>(c) < ' ' || c == 0x7f ? '?' : c;
            }
        }
    };
    add(tool);
    add(": ");
    if (!subject.text.empty()) {
        add(subject.text);
        add(": ");
    }
    for (const char* text : what) {
        add(text);
    }
    line[length++] = '\n';
    (void)fwrite(line.data(), 1, length, stderr);
}

// Wherever it stands: no option takes a value that begins with a dash.
bool asksForHelp(const Words& words) {
    return std::find_if(words.begin(), words.end(), [](const std::string& word) {
               return word == "--help" || word == "-h";
           }) != words.end();
}

// A file opened later must not get the number of a closed standard stream, and a message with it.
void holdStandardStreams() {
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    if (fd >= 0) {
        close(fd);
    }
}

} // namespace

void warn(const char* tool, const Subject& subject, const std::string& what) {
    complain(tool, subject, {"warning: ", what.c_str()});
}

void tell(const char* tool, const Subject& subject, Session& session) {
    if (!session.damage().empty()) {
        warn(tool, subject, "what was remembered is lost: " + session.damage());
    }
    for (const std::string& warning : session.socket().warnings()) {
        warn(tool, subject, warning);
    }
}

bool wantsShow(const Words& words) {
    if (words.empty() || words[0] != "--show") {
        return false;
    }
    if (words != Words{"--show", "--json"}) {
        throw Usage("--show goes with --json and nothing else");
    }
    return true;
}

int run(const std::string& name, const Words& words) {
    holdStandardStreams();
    Subject subject;
    try {
        for (const Tool& tool : tools) {
            if (name != tool.name) {
                continue;
            }
            if (asksForHelp(words)) {
                printf("%s", tool.help);
            } else if (words == Words{"--version"}) {
                printf("%s " FAPI_VERSION "\n", tool.name);
            } else {
                tool.run(words, subject);
            }
            if (fflush(stdout) != 0 || ferror(stdout) != 0) {
                throw Failure("writing the answer failed");
            }
            return 0;
        }
        throw Usage("call this program as ifcfg, qcfg or classcfg");
    } catch (const Failure& failure) {
        complain(name, subject, {failure.what()});
        return failure.status();
    } catch (const std::exception& error) {
        complain(name, subject, {reasonOf(error)});
        return exitFailed;
    }
}

} // namespace fapi
