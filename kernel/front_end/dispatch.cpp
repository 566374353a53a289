// The function table, see dispatch.h: a row for each letter, with the options that it requires
// in the order in which they are asked for, and those that must be whole.
#include "kernel/front_end/dispatch.h"

#include "common/common/text.h"
#include "kernel/functions/devices/configure.h"
#include "kernel/functions/devices/performance.h"
#include "kernel/functions/devices/tape_status.h"
#include "kernel/functions/file_functions.h"
#include "kernel/functions/saveset_functions.h"
#include "kernel/functions/usefile.h"
#include "kernel/functions/variable_functions.h"
#include "kernel/request/call.h"
#include "kernel/request/finish.h"
#include "kernel/request/options.h"
#include "kernel/request/requirements.h"

namespace {

struct s_FUNCTION {
    char cLetter;
    s_REQUIRED required[2];
    const char *cpWhole; // letters of the options that may not be cut, see REQUIRE_WHOLE
    void (*handler)(s_CALL *call);
};

constexpr char kMissingName[] = "missing option -n name of GLBV";

constexpr s_FUNCTION kFunctions[] = {
    {'c', {{gszOpt_d, "missing option -d", 1}}, "", v_CONFIGURE},
    {'d', {}, "*", v_LIST_DIRECTORY},
    {'D', {}, "n", CREATE_DIR_CLIENT},
    {'e', {{gszOpt_n, "missing option -n", 1}}, "n", v_EXIST_FILE},
    {'f', {}, "nstC", FILE_COPY},
    {'k', {{gszOpt_s, "missing option -s saveset|pattern", 1}}, "s", v_KILL},
    {'m', {{gszOpt_s, "missing option -s saveset", 1}}, "s", v_MOVE},
    {'p', {{gszOpt_d, "missing option -d device", 1}}, "ds", v_PERFORMANCE},
    {'t', {}, "dtn", TAPE_STATUS_CLIENT},
    {'G', {{gszOpt_n, kMissingName, 1}}, "", v_READ_GLBV},
    {'R', {{gszOpt_n, kMissingName, 1}}, "", v_READ_AND_DELETE_GLBV},
    {'W',
     {{gszOpt_n, kMissingName, 1}, {gszOpt_s, "missing option -s string value to write", 1}},
     "",
     v_WRITE_GLBV},
    {'r', {}, "", v_READ_EVENT_LOG},
    {'u', {}, "", USEFILE}, // by its modes,
    {'x', {{gszOpt_u, "missing option -u user", 2}}, "us", EXECUTE_COMMAND},
};

} // namespace

void DISPATCH(s_CALL *call) {
    for (const s_FUNCTION &function : kFunctions) {
        if (function.cLetter == gcFunc) {
            for (const s_REQUIRED &required : function.required) {
                REQUIRE_OPTION(required);
            }
            REQUIRE_WHOLE(function.cpWhole);
            function.handler(call);
        }
    }
    FINISH(1, "unknown keyword");
}
