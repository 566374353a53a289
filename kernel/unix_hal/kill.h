// Stopping the processes that work on a saveset.
#pragma once

#include "common/unix/trace/trace.h"

// Stops the backup client's processes of the saveset cpKeyWord: by an interrupt, and by force those
// that are still there when the waiting is over, together with the agent's own helpers for it.
// Returns 1 when processes were stopped, 2 when none ran, 0 when they could not be listed; cpMsg
// (256 bytes) tells.
int i_KILL_VBC(const char *cpKeyWord, char *cpMsg, str_log strLog);

// Runs the pipeline cpPsEfGrep, which prints process ids, and sends each the signal -ipKillValue
// (nothing for KILL_COUNT_ONLY). *ipNoOfKilledProc gets their number. Lines that are no ids of
// other processes are skipped: neither process 0, 1 or a group is signalled, nor this process.
// Returns 1; 0 when the list cannot be had.
int i_KILL_PROCESSES(const char *cpPsEfGrep, const char *cpKeyword, int ipKillValue,
                     int *ipNoOfKilledProc, str_log strLog);

constexpr int KILL_COUNT_ONLY = 100;

// Reads how the operating system cpDerivat lists its processes from the catalogue: the command (256
// bytes) and the columns of the process and its parent (16 bytes each). When the catalogue does not
// know, the process ends with exit status 0.
void v_GET_PS_POSITION(const char *cpDerivat, char *cpPsCmd, char *cpPosPid, char *cpPosPPid,
                       str_log strLog);

// How long a process may take to end after the interrupt.
struct s_KILL_POLICY {
    int iRounds;
    int iRoundMsec;
};
extern s_KILL_POLICY gKillPolicy;
