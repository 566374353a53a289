// Pipes to child processes: a shell command whose standard output and standard error the caller
// reads line by line, from one loop. Calling order: open; read both channels in turn until each has
// returned 0 (iMax_read is 0 then); close, always, else the child stays behind as a zombie. There
// is no time limit: a child that keeps its pipes open without writing blocks the reader.
#pragma once

#include <sys/select.h>
#include <sys/types.h>

// The handle of a pipe, owned by the caller. 0 in a descriptor field means "none".
struct DB_PROC_PIP {
    pid_t iChildPid;   // 0 when there is none
    int ifdOut;        // read end of the child's standard output
    int ifdErr;        // read end of the child's standard error
    fd_set fdset_read; // the read ends that are not yet at their end
    int iMax_read;     // highest descriptor of these plus 1; 0 when there is none
    int iFdOldStdin;   // always 0: see iPIPE_OPEN_STDIN
};

// Starts the command through the shell. cpMode is a set of letters: "r" captures standard output,
// "e" standard error; with "w" the child reads the caller's standard input. Returns 0; -1 with the
// reason in cpMsg (iMsgLen bytes) and nothing left open.
int iPIPE_OPEN(const char *cpCmd, const char *cpMode, char *cpMsg, int iMsgLen, DB_PROC_PIP *pPP);

// The same with the file cpFile as standard input ("stdin" or "-": the caller's own); cpMode must
// hold "w". The file becomes, and stays, the standard input of the calling process itself. Returns
// 0; -1 with the reason in the trace.
int iPIPE_OPEN_STDIN(const char *cpCmd, const char *cpMode, const char *cpFile, char *cpMsg,
                     int iMsgLen, DB_PROC_PIP *pPP);

// True for the two names that mean the caller's own standard input.
bool names_standard_input(const char *cpFile);

// Closes the read ends, waits for the child and clears the handle. Returns the child's exit code
// (0-255), 0 too for a child that a signal ended.
int iPIPE_CLOSE(DB_PROC_PIP *pPP);

// The same for callers to whom a child that a signal ended is no success: fills *piStatus with the
// raw wait status.
int iPIPE_CLOSE_status(DB_PROC_PIP *pPP, int *piStatus);
