// Stands before a FAPI tool under its name, and cuts the power in the middle of one call: daemon, database
// server and tool are killed within the same few microseconds, whatever they are doing.
//
// /tmp/cut: "CHANGES SYSTEM-CALL PID..." counts the calls that change something (-A, -M, -D) down; the one
// that makes CHANGES 0 runs to that system call of its own (0: to its end), and then the power goes for it
// and for those processes. Without the file, or with 0, the tool runs as always.
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* plan = "/tmp/cut";

struct Plan {
    int changes = 0;
    int systemCall = 0;
    std::vector<pid_t> processes;
};

Plan readPlan() {
    Plan read;
    std::ifstream file(plan);
    file >> read.changes >> read.systemCall;
    for (pid_t process = 0; file >> process;) {
        read.processes.push_back(process);
    }
    return read;
}

void writePlan(const Plan& next) {
    std::ofstream file(plan);
    file << next.changes << ' ' << next.systemCall;
    for (const pid_t process : next.processes) {
        file << ' ' << process;
    }
}

bool changesSomething(char** words) {
    for (int position = 1; position <= 2 && words[position] != nullptr; ++position) {
        const std::string_view word = words[position];
        if (word == "-A" || word == "-M" || word == "-D") {
            return true;
        }
    }
    return false;
}

// Entry and return are two stops; a kill at either is a kill at another moment.
void runTo(int systemCall, const char* tool, char** words) {
    const pid_t child = fork();
    if (child == 0) {
        if (systemCall > 0) {
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        }
        execv(tool, words);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int stop = 0; WIFSTOPPED(status) && stop < systemCall;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        stop += WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80) ? 1 : 0;
    }
    kill(child, SIGKILL);
}

} // namespace

int main(int, char** words) {
    const std::string_view called = words[0];
    const std::string tool = LAB_PROGRAM_FOLDER "/" + std::string(called.substr(called.rfind('/') + 1));
    Plan next = readPlan();
    if (next.changes > 0 && changesSomething(words)) {
        --next.changes;
        writePlan(next);
        if (next.changes == 0) {
            runTo(next.systemCall, tool.c_str(), words);
            for (const pid_t process : next.processes) {
                kill(process, SIGKILL);
            }
            return 128 + SIGKILL;
        }
    }
    execv(tool.c_str(), words);
    return 127;
}
