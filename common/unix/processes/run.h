// Running another program to its end. Before every start the environment is prepared for the
// program; every abnormal end is reported on standard error, in the trace and in the protocol. The
// callers block without a time limit.
#pragma once

// What i_cm_execvp returns when the environment could not be prepared: no wait status.
constexpr int kNotPrepared = 999;

// Runs the command line through /bin/sh and waits. Returns its exit code (0-255; 0 too for a shell
// that a signal killed); 1 without a command, -1 when no process could be made, 127 when how it
// ended could not be learnt. A shell that could not be started gives errno + 160.
int i_cm_system(const char *cpCmd);

// The same for callers to whom a shell that was killed is no success: fills *piStatus with the raw
// wait status.
int i_cm_system_status(const char *cpCmd, int *piStatus);

// The same as one number: 128 and the signal for a shell that was killed, as a shell tells of its
// programs.
int i_cm_system_state(const char *cpCmd);

// The same as i_cm_system.
int start_system(const char *cpCmd);

// The same for a command whose program (the first word) must exist as it stands or in the directory
// gv_ro_bin; -3 when it does not.
int start_proc(const char *cpCmd);

// Runs the program cpFile, searched along PATH, with the argument vector argv, and waits. Returns
// the raw wait status; kNotPrepared when the environment could not be prepared. A program that
// could not be started gives the exit code errno + 128. Ends the process with 1 when no process
// could be made.
int i_cm_execvp(const char *cpFile, char **argv);

// The same, but -1 when no process could be made.
int i_cm_execvp_status(const char *cpFile, char **argv);

// 1 when the first word of cpCmd exists as a file in the directory gv_ro_bin, else 0. iLen is not
// used.
int bSetInterpreter(const char *cpCmd, int iLen);

// 1 and "... is existing" in cpMsg (iLen bytes) when the file exists, whatever its permissions; 0
// and "... not found" when not.
int bIsFileExecutable(const char *cpFile, char *cpMsg, int iLen);

// Writes the protocol event for a command (cpSubject) that failed with cpText.
void v_PROT_COMMAND_ERROR(const char *cpSubject, const char *cpText);
