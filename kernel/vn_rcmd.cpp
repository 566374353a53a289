// vn_rcmd: runs one command on a backup client, by the way in which the catalogue says that the
// client is reached.
#include "common/unix/system/option_order.h"
#include "common/unix/trace/record.h"
#include "kernel/remote/call/exit_code.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/remote/client_list.h"
#include "kernel/remote/dispatcher.h"
#include "kernel/tools/tool.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kUsage[] =
    "usage: vn_rcmd [-nv] [-t SECONDS] CLIENT COMMAND...\n"
    "       vn_rcmd [-v] -l\n"
    "  -l          list the clients: name, method, address, platform, user, options\n"
    "  -n          write no event for the command, nor for an exit status up to 126\n"
    "  -t SECONDS  for a control daemon: how long to wait for connections and output\n"
    "  -v          trace to standard error\n"
    "The words of the command are joined by blanks; the client reads the line as its method does.\n"
    "LOCAL is this host. Exit status: the command's; 253 it was not run, 255 it is not known.\n";

struct s_OPTIONS {
    bool bList = false;
    bool bVerbose = false;
};

[[noreturn]] void usage(std::FILE *stream, int iStatus) {
    std::fputs(kUsage, stream);
    std::exit(iStatus);
}

s_OPTIONS parse(int argc, char **argv, RCMD *request) {
    constexpr int kMostSeconds = 2000000;
    s_OPTIONS options;
    int iOption = 0;
    while ((iOption = ::getopt(argc, argv, options_in_order("+lnt:vh"))) != -1) {
        switch (iOption) {
        case 'l':
            options.bList = true;
            break;
        case 'n':
            request->bAvoidProt = request->bAvoidErrProt = 1;
            break;
        case 't':
            request->iTimeout = tool_number(optarg, 0, kMostSeconds, "time limit");
            break;
        case 'v':
            options.bVerbose = true;
            break;
        case 'h':
            usage(stdout, 0);
        default:
            usage(stderr, EXIT_NOT_RUN);
        }
    }
    if (options.bList ? argc != optind : argc - optind < 2) {
        usage(stderr, EXIT_NOT_RUN);
    }
    return options;
}

void take_command(char **words, RCMD *request) {
    tool_copy(request->szClient, words[0], "client name");
    std::string command = words[1];
    for (char **word = words + 2; *word != nullptr; ++word) {
        command += std::string(" ") + *word;
    }
    tool_copy(request->szCmd, command, "command");
    tool_copy(request->szInFile, "stdin", "input");
    request->bCommandNotFound = 1; // we tell it
}

int print_clients(str_log log) {
    std::vector<s_CLIENT_ENTRY> clients;
    char szMsg[256];
    if (!list_clients(&clients, szMsg, log)) {
        tool_fail(szMsg);
    }
    for (const s_CLIENT_ENTRY &client : clients) {
        std::printf("%-20s %-13s %-15s %-10s %-8s %s\n", client.name.c_str(), client.method.c_str(),
                    client.address.c_str(), client.platform.c_str(), client.user.c_str(),
                    client.options.c_str());
    }
    return tool_end(0);
}

// The exit status of the program, with a message when the command has none of its own. High states
// of a daemon's command come negated.
int told(int iExit, const RCMD &request) {
    constexpr int kHighState = 240;
    if (std::strcmp(request.szPlatform, "NETWARE") == 0) {
        tool_fail("a NetWare host takes no commands");
    }
    if (iExit >= 0) {
        return iExit;
    }
    if (exit_code_socket() == 0) {
        tool_say(request.szMsg[0] != '\0' ? request.szMsg : "no exit status came");
    }
    return iExit <= -kHighState ? -iExit : EXIT_NOT_RUN;
}

} // namespace

int main(int argc, char **argv) {
    tool_prepare("vn_rcmd");
    const auto request = std::make_unique<RCMD>();
    const s_OPTIONS options = parse(argc, argv, request.get());
    str_log log = {};
    v_set_log_main("vn_rcmd.lgc", "VN_RCMD", &log);
    if (options.bVerbose) {
        v_set_log(TRACE_DETAILS, 1, &log);
    }
    if (options.bList) {
        return print_clients(log);
    }
    take_command(argv + optind, request.get());
    return tool_end(told(i_RCMD(request.get(), log), *request));
}
