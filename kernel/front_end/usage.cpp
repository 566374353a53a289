// The help text, see usage.h. Operators' scripts cut columns out of it: lines keep their width.
#include "kernel/front_end/usage.h"

#include "common/common/text.h"

#include <cstdio>
#include <cstdlib>

const char gszVersion[] = "vn_client " VN_VERSION;

namespace {

constexpr const char *kHelp[] = {
    "vn_client [-r] [-i <id>] [-c <client>] -f <function> [-C <server>] [-v] [-h]",
    "-r                 is called from remote, avoids recursive calls",
    "-i <id>            unique identifier for this request",
    "-c <client>        client node, default local computer",
    "-C <server>        VORNA server, default vns.ini [Server] name",
    "-v verbose mode",
    "-h help",
    "-f <function>  with function codes:",
    "c|configure -d <iDrives>      configure vns.ini with iDrives devices",
    "dir [-r] <directory>          list [recursive] directory",
    "D|Dircreate -n <directory>    check and creates a directory",
    "e|existfile -n <file>         check existence of file",
    "f|filecopy  -m <g|p> [-s <source_dir>] [-t <target_dir>] -n <file>",
    "            -m g[d]|p[d]          get | put [and delete after copy]",
    "i|init  -l <label> -d <device> [-b <blocksize>] [-t <disk_path>]",
    "k|kill -s <saveset|pattern>   kill given process",
    "m|move -s <saveset>           copy HDR & TRL file to client, sel. restore",
    "p|performance -d <device> -s <VNS-number> request performance info",
    "              -d <device>:<VNS-number>",
    "              -t <timer-max_cnt>[:<timer-seconds>] ( default 1 )",
    "t|tapestatus -d <device> [-b <blocksize>] [-t <disk_path>]",
    "r|read_event_log [-l <log name>]|[-p <provider>] [-t <number of entries>]",
    "u|usefile -n <file> [-m <mode>] [-s <string>] [-t <1|2|3>]",
    "          -m <mode>   c = create and write  (not appending)",
    "                      d = delete file",
    "                      e = check existence (default)",
    "                      f = find and read requested string",
    "                      m = chmod file",
    "                      r = read file",
    "                      w = write append to file",
    "                      x = check if file is executable",
    "          -s <string to find, read or write>  max. length is 256",
    "             use '-' to read from stdin in case of mode c or w",
    "          -s <mode>  for -m: new file mode (e.g. 755)",
    "          -t <1|2|...>  to delete files accessed before .. days",
    "G|GLBVread -n <name>          read GLBV",
    "R|ReadAndDelete -n <name>     read + delete GLBV",
    "W|Write -n <name> -s <string> write GLBV string may contain blanks",
    "x -u <user> -s <command>   execute command for user if allowed",
    "",
    "<device> is the HW device, e.g. \"\\.\\Tape0\" or \"/dev/nst0a\"",
    "Trace with -v or set gv_client_trace to function switch e.g. 'brfigcdekmGRWp'",
};

} // namespace

void USAGE() {
    std::printf("%s\n", gszVersion);
    for (const char *cpLine : kHelp) {
        std::printf("%-79s\n", cpLine);
    }
    std::exit(1);
}
