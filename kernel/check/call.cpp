// The call of the check itself, see call.h.
#include "kernel/check/call.h"

#include "common/unix/system/option_order.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

constexpr char kHelp[] =
    R"(vn_check [-q] [-p PATH] [-e DIRECTORY]
vn_check [-q] [-p PATH] [-e DIRECTORY] -u USER PROGRAM [ARGUMENT...]
vn_check [-q] [-p PATH] [-e DIRECTORY] -u USER -s COMMAND

Looks at the installation of vn_client and says what is right, doubtful or wrong.
It changes nothing: all files are only read, no program is started.

-q             print only what is not right
-p PATH        the PATH with which the agent is started; without it your own,
               and what is found only with yours is doubtful
-e DIRECTORY   stands for /etc: the central files opt/vorna/vorna.ini and
               vorna2000.ini and the allow list vorna_cmdusers.allow are there
-u USER        would function x run a program for the user, and by which rule?
-s COMMAND     what x gets by its -s; without it PROGRAM and ARGUMENT, which x gets
               behind its options
-h             this text

Each line of the answer is one of
right: WHAT
doubtful: WHAT; mend: HOW
wrong: WHAT; mend: HOW
What could not be looked at is doubtful, with the reason. Bytes that are not
printable are shown as \x and two digits.

Looked at are the central file and those passed over, the lines of the INI files,
the directories of [Pathes] with sem/, vnslis/ and diskmnt/, the global variables
gv_prot, gv_ro_db, gv_ro_bin, gv_client_trace and those of directories, ports,
server, language, what debug.ini traces, PATH and the programs that the agent
starts, the allow list, and who beside root and the installation's owner (who owns
gv_rw) could change what directs the agent. Nobody is connected to, and neither the
catalogue nor vns.ini is read.

A line of the allow list lets the caller run everything else as that user, too: of
the command -s only the program is compared.

Run it as root, or as the user who runs the agent, with the agent's VORNA_INI.

Exit status: 0 all is right (with -u: it is run), 1 something is doubtful,
2 something is wrong (with -u: it is not run), or the call is.
)";

[[noreturn]] void refuse(const std::string &reason) {
    std::fprintf(stderr, "vn_check: %s, see vn_check -h\n", reason.c_str());
    std::exit(2);
}

[[noreturn]] void help() {
    const bool bWritten = std::fputs(kHelp, stdout) >= 0 && std::fflush(stdout) == 0;
    std::exit(bWritten ? 0 : 2);
}

void set_option(int iOption, const char *cpArgument, s_CHECK_CALL *call) {
    switch (iOption) {
    case 'q':
        call->bQuiet = true;
        break;
    case 'p':
        call->cpPath = cpArgument;
        break;
    case 'e':
        call->cpEtc = cpArgument;
        break;
    case 'u':
        call->cpUser = cpArgument;
        break;
    case 's':
        call->cpCommand = cpArgument;
        break;
    case 'h':
        help();
    default:
        refuse(std::string(iOption == ':' ? "no value for option -" : "unknown option -") +
               static_cast<char>(optopt));
    }
}

} // namespace

s_CHECK_CALL CHECK_ARGUMENTS(int argc, char **argv) {
    s_CHECK_CALL call;
    int iOption = 0;
    while ((iOption = ::getopt(argc, argv, options_in_order("+:hqp:e:u:s:"))) != -1) {
        set_option(iOption, optarg, &call);
    }
    call.iWords = argc - optind;
    call.words = argv + optind;
    const bool bCommand = call.cpCommand != nullptr;
    if (call.cpUser == nullptr && (bCommand || call.iWords > 0)) {
        refuse("a program without -u");
    }
    if (call.cpUser != nullptr && !bCommand && call.iWords == 0) {
        refuse("-u without a program");
    }
    if (bCommand && call.iWords > 0) {
        refuse("-s and a program");
    }
    return call;
}
