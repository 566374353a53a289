// The client end of the control daemon's protocol: opens the connections to the daemon of another
// host, sends the request, reads the verdict. IPv4 only; one call at a time.
#pragma once

// Result of a call that failed here or in the network.
constexpr int VN_CTRL_FAILED = 253;

// Opens the connection (and a second one, on which the daemon connects back, when hpSD2 is not
// null) and has the daemon start cpCMD for cpUser. cpRemoteHost, a buffer of 1024 bytes, gets the
// host's canonical name. The second connection's port is the first free one from i2ndPortStart to
// i2ndPortEnd, with 0 any; *hpSD2 is -1 when none could be had, the first carries everything then.
// iTimeout: seconds for the connect and for the daemon's connecting back; below 1 no limit for the
// connect and 10 s for the latter. Returns 0 with connected sockets, which the caller closes with
// cm_CloseSocketsAndCleanup; VN_CTRL_FAILED, or the daemon's exit code when it refuses, with
// nothing open and the reason in vn_ctrl_geterror.
int vn_ctrl(char *cpRemoteHost, int iMainPort, int i2ndPortStart, int i2ndPortEnd,
            const char *cpUser, const char *cpCMD, int *hpSD1, int *hpSD2, int iTimeout);

// The text of the first failure since the last call; the next failure is kept anew.
char *vn_ctrl_geterror();

// Keeps an error text (at most 259 characters, line ends and blanks at its end removed) unless one
// is kept already.
void vn_processerror(const char *cpErrorMsg);

// Returns iExit: the one exit of failures.
int vn_ctrl_cleanup(int iExit);

// Set the options of the two connections: no delay of small packets, and 60 s for what is unsent at
// the close. Return 1, 0 on failure.
int Set1stSocketProperties(int hSD1);
int Set2ndSocketProperties(int hSD2);

// The pauses between the tries of a call, milliseconds.
struct s_CTRL_POLICY {
    int iResolve; // before the host's name is looked up again
    int iConnect; // between looks at a connect that is under way, ten to a second
    int iAccept;  // between looks for the daemon's connecting back, a hundred to a second
    int iUrgent;  // at most, for the exit code behind a refusal
};
extern s_CTRL_POLICY gCtrlPolicy;
