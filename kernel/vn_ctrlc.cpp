// vn_ctrlc: runs one command on a host through the host's control daemon.
#include "common/unix/system/option_order.h"
#include "common/unix/trace/trace.h"
#include "control/interrupt.h"
#include "kernel/remote/call/daemon_call.h"
#include "kernel/remote/call/exit_code.h"
#include "kernel/remote/call/rcmd.h"
#include "kernel/tools/daemon_command.h"
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
    "usage: vn_ctrlc -p PORT -l USER [-dsv] [-o port=FIRST-LAST] [-t SECONDS] HOST COMMAND...\n"
    "  -p PORT              of the host's control daemon\n"
    "  -l USER              who runs the command there\n"
    "  -d                   standard error and signals by a second connection, which comes back\n"
    "  -o port=FIRST-LAST   the ports to which it may come back\n"
    "  -s                   no second connection\n"
    "  -t SECONDS           how long to wait for the connections, and at a time for output\n"
    "  -v                   trace to standard error\n"
    "Exit status: the command's; 253 it was not run, 255 its exit status is not known.\n";

[[noreturn]] void usage(std::FILE *stream, int iStatus) {
    std::fputs(kUsage, stream);
    std::exit(iStatus);
}

// "port=9000-9010", "port=9000".
std::string port_option(const std::string &text) {
    constexpr int kMost = 65535;
    const std::size_t iDash = text.find('-');
    if (text.rfind("port=", 0) != 0) {
        tool_fail("wrong port range: " + text);
    }
    const std::string first = text.substr(5, iDash - 5);
    tool_number(first.c_str(), 0, kMost, "port range");
    if (iDash != std::string::npos) {
        tool_number(text.c_str() + iDash + 1, 0, kMost, "port range");
    }
    return " -o " + text;
}

struct s_OPTIONS {
    bool bSecond = false;
    std::string range;
    int iLevel = 0;
};

void take_option(int iOption, RCMD *request, s_OPTIONS *options) {
    constexpr int kMostSeconds = 2000000;
    switch (iOption) {
    case 'p':
        tool_number(optarg, 1, 65535, "port");
        tool_copy(request->szPort, optarg, "port");
        break;
    case 'l':
        tool_copy(request->szUser, optarg, "user");
        break;
    case 'd':
    case 's':
        options->bSecond = iOption == 'd';
        break;
    case 'o':
        options->range = port_option(optarg);
        break;
    case 't':
        request->iTimeout = tool_number(optarg, 0, kMostSeconds, "time limit");
        break;
    case 'v':
        options->iLevel = TRACE_DETAILS;
        break;
    case 'h':
        usage(stdout, 0);
    default:
        usage(stderr, EXIT_NOT_RUN);
    }
}

s_OPTIONS parse(int argc, char **argv, RCMD *request) {
    s_OPTIONS options;
    int iOption = 0;
    while ((iOption = ::getopt(argc, argv, options_in_order("+p:l:t:o:dsvh"))) != -1) {
        take_option(iOption, request, &options);
    }
    if (request->szPort[0] == '\0' || request->szUser[0] == '\0' || argc - optind < 2) {
        usage(stderr, EXIT_NOT_RUN);
    }
    tool_copy(request->szPortOpt, (options.bSecond ? "-d" : "-s") + options.range, "port range");
    tool_copy(request->szClient, argv[optind], "host");
    std::string command;
    if (!daemon_command({argv + optind + 1, argv + argc}, &command)) {
        tool_fail("a control daemon cannot be given these words: no double quotes, no empty word "
                  "at the end, no backslash before the end of a word with blanks");
    }
    tool_copy(request->szCmd, command, "command");
    tool_copy(request->szInFile, "stdin", "input");
    return options;
}

} // namespace

int main(int argc, char **argv) {
    tool_prepare("vn_ctrlc");
    const auto request = std::make_unique<RCMD>();
    str_log log = {};
    log.iFlg = parse(argc, argv, request.get()).iLevel;
    log.iVerify = 1;
    pass_signals_on();
    const int iStatus = ctrlc_lib_call(request.get(), log);
    if (g_hSocket1 == 0) { // the daemon did not let it begin
        tool_say(request->szMsg);
    } else if (exit_code_socket() == 0) {
        tool_say("no exit status came from " + std::string(request->szClient));
    }
    return tool_end(iStatus);
}
