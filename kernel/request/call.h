// A call as its handler sees it.
#pragma once

// What a handler may need of the call beside the option buffers.
struct s_CALL {
    int argc;       // the command line as typed
    char **argv;    // the command line as typed
    char **argvEnd; // its arguments behind the options
};
