// From the function letter to its handler.
#pragma once

// What a handler may need of the call beside the option buffers.
struct s_CALL {
    int argc;       // the command line as typed
    char **argv;    // the command line as typed
    char **argvEnd; // its arguments behind the options
};

// Checks the options that the function of the call requires and carries it out. Ends the process.
[[noreturn]] void DISPATCH(s_CALL *call);
