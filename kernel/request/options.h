// The state of a call: what the command line and the configuration gave it. ARGUMENTS fills it,
// the function's handler reads it. The sizes are the lengths that are honoured, longer texts are
// cut.
#pragma once

#include "common/unix/trace/trace.h"

struct s_FLAG {
    unsigned int Remote : 1; // called from remote: the caller reads the record, not the variables
    unsigned int Help : 1;
};

constexpr char FUNCTION_UNKNOWN = '?';

extern char gcFunc; // the function letter
extern s_FLAG gFlag;

extern char gszId[256];         // -i, the request identifier
extern char gszClientHost[160]; // -c
extern char gszCtrlHost[160];   // -C or the configuration: the backup server
extern char gszMyName[160];     // the local computer, for "LOCAL"; stays empty
extern char gszPort[160];       // port of the transfer daemon
extern char gszMissingArg[192]; // the options that the agent had to supply itself

extern char gszOpt_b[16];
extern char gszOpt_c[256];
extern char gszOpt_d[512];
extern char gszOpt_l[256]; // -l and -p
extern char gszOpt_m[3];
extern char gszOpt_n[512];
extern char gszOpt_s[512];
extern char gszOpt_t[512];
extern char gszOpt_u[256];
extern char gszOpt_end[256]; // the arguments behind the options, joined by blanks

// Directories of the installation, each ending in "/".
extern char gszRo[512];    // programs
extern char gszRoVns[512]; // programs of the media server
extern char gszRwIni[512]; // INI files that change
extern char gszRwVbc[512]; // log files of the backup client
extern char gszRwTmp[512];
extern char gszRwWork[512]; // the process works in it
extern char gszRw[512];     // stays empty: names below it are relative to the work directory

// Remembers that the text of an option did not fit its buffer, and tells whether that was so. A cut
// text may be shown, but not be used as the name of a file or as a command.
void v_MARK_CUT(const char *cpBuffer);
bool bIS_CUT(const char *cpBuffer);

extern str_log strLog;
extern char tmp_sc[34500]; // scratch text
