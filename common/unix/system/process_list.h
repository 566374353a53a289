// How the systems list their processes, each with the columns that the callers look at.
#pragma once

#include "common/unix/system/system.h"

struct s_PROCESS_LIST {
    e_SYSTEM eSystem;
    const char *cpAll;      // every process: user, process id, parent's id, command line
    const char *cpPid;      // column of the process id there
    const char *cpParent;   // and of the parent's
    const char *cpCommands; // every process: process id, command line
};

// The letters are BSD's, which every ps takes without a dash: "ax" for the processes of all users
// with and without a terminal, "ww" for whole command lines, "o" for the columns. Widths differ
// (Linux gives an id 7 characters, OpenBSD and FreeBSD 5, NetBSD as many as the longest has), and a
// long user name is cut or becomes a number: columns are found by the blanks between them.
inline constexpr s_PROCESS_LIST kProcessLists[kSystems] = {
    {SYSTEM_LINUX, "ps axwwo user,pid,ppid,command", "2", "3", "ps axwwo pid,command"},
    {SYSTEM_OPENBSD, "ps axwwo user,pid,ppid,command", "2", "3", "ps axwwo pid,command"},
    {SYSTEM_FREEBSD, "ps axwwo user,pid,ppid,command", "2", "3", "ps axwwo pid,command"},
    {SYSTEM_NETBSD, "ps axwwo user,pid,ppid,command", "2", "3", "ps axwwo pid,command"},
    {SYSTEM_OTHER, "ps axwwo user,pid,ppid,command", "2", "3", "ps axwwo pid,command"},
};
static_assert(has_every_system(kProcessLists));
