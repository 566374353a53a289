// The state of a call: what the command line and the configuration gave it. ARGUMENTS fills it and
// the functions read it; the few things that a function changes are said where they stand. Sizes
// are the lengths that are honoured. A longer text is cut: where it names something to act on, or
// is stored, the function tables have it refused (requirements.h).
#pragma once

#include "common/unix/trace/trace.h"

struct s_FLAG {
    unsigned int Remote : 1; // called from remote: the caller reads the record, not the variables.
                             // Function d takes it as "recursive" and clears it
    unsigned int Help : 1;
};

constexpr char FUNCTION_UNKNOWN = '?'; // no function was named
constexpr char FUNCTION_EMPTY = ' ';   // one was, but by an empty word

extern char gcFunc; // the function letter
extern s_FLAG gFlag;

extern char gszId[256];         // -i, the request identifier
extern char gszClientHost[160]; // -c
extern char gszCtrlHost[160];   // -C or the configuration: the backup server
extern char gszMyName[160];     // the local computer, for "LOCAL"; nobody fills it
extern char gszPort[160];       // port of the transfer daemon
extern char gszMissingArg[192]; // the options that the agent had to supply itself

extern char gszOpt_b[16];
extern char gszOpt_c[256]; // nobody fills it
extern char gszOpt_d[512]; // function p ends it at its colon
extern char gszOpt_l[256]; // -l and -p
extern char gszOpt_m[3];   // function u puts its default there
extern char gszOpt_n[512]; // function u puts the path there that the name stands for
extern char gszOpt_s[512]; // function p puts the text there that follows the colon of -d
extern char gszOpt_t[512];
extern char gszOpt_u[256];
extern char gszOpt_end[4096]; // the arguments behind the options, joined by blanks

// Directories of the installation, each ending in "/".
extern char gszRo[512];    // programs
extern char gszRoVns[512]; // programs of the media server
extern char gszRwIni[512]; // INI files that change
extern char gszRwVbc[512]; // log files of the backup client
extern char gszRwTmp[512];
extern char gszRwWork[512]; // the process works in it
extern int giWorkErrno;     // 0, or why it does not
extern char gszRw[512];     // nobody fills it: names below it are relative to the work directory

extern str_log strLog;
extern char tmp_sc[34500]; // scratch text of FINISH

// Gives the text option (b, C, c, d, i, l, m, n, p, s, t, u) its value; an earlier value of the
// same buffer is forgotten. False when there is no such option.
bool option_set(int iOption, const char *cpText);

// Joins the arguments behind the options.
void option_set_words(int iCount, char **argv);

// Stands for the arguments behind the options where options are named by their letters.
constexpr char OPTION_WORDS = '*';

// The first of the options (their letters) whose value did not fit its buffer; '\0' when all did.
char option_first_cut(const char *cpOptions);
