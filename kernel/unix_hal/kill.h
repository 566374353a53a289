// Stopping the processes that work on a saveset.
#pragma once

#include "common/unix/trace/trace.h"

// Stops the backup client's processes of the saveset cpKeyWord: by an interrupt, and by force those
// that are still there when the waiting is over, together with the agent's own helpers for it.
// Returns 1 when processes were stopped, or would not be; 2 when none ran, or when the catalogue's
// listing command does not fit; 0 when they could not be listed. cpMsg (256 bytes) tells.
int i_KILL_VBC(const char *cpKeyWord, char *cpMsg, str_log strLog);

// Runs the pipeline cpPsEfGrep, which prints process ids, and sends each the signal -ipKillValue
// (nothing for KILL_COUNT_ONLY). *ipNoOfKilledProc gets their number. Lines that are no ids of
// other processes are skipped: neither process 0, 1 or a group is signalled, nor this process.
// Returns 1; 0 when the list cannot be had.
int i_KILL_PROCESSES(const char *cpPsEfGrep, const char *cpKeyword, int ipKillValue,
                     int *ipNoOfKilledProc, str_log strLog);

constexpr int KILL_COUNT_ONLY = 100;

// How long a process may take to end: after the interrupt, and after the forced kill.
struct s_KILL_POLICY {
    int iRounds = 30;
    int iRoundMsec = 4000;
    int iForcedRounds = 10;
    int iForcedRoundMsec = 100;
};
extern s_KILL_POLICY gKillPolicy;
