// The text of a call's first failure, kept until it is asked for.
#pragma once

// Result of a call that failed here or in the network.
constexpr int VN_CTRL_FAILED = 253;

extern char g_szErrorMsg[260];
extern int g_iErrorSet; // 1: a text is kept that later failures must not replace

// Keeps an error text (at most 259 characters, line ends and blanks at its end removed) unless one
// is kept already.
void vn_processerror(const char *cpErrorMsg);

// Returns the text; the next failure is kept anew.
char *vn_ctrl_geterror();

// Returns iExit: the one exit of failures.
int vn_ctrl_cleanup(int iExit);

// Keeps the text of a socket call's failure, with the system's for errno. Returns VN_CTRL_FAILED.
int socket_failure(const char *cpText);
