// The first connection of a call: from the host's name to a socket that is connected to its daemon.
#pragma once

#include "common/unix/files/descriptor.h"

#include <netinet/in.h>

constexpr int kHighestPort = 65535;

// The pauses between the tries of a call, milliseconds.
struct s_CTRL_POLICY {
    int iResolve; // before the host's name is looked up again
    int iConnect; // between looks at a connect that is under way, ten to a second
    int iAccept;  // between looks for the daemon's connecting back, a hundred to a second
    int iUrgent;  // at most, for the exit code behind a refusal
};
extern s_CTRL_POLICY gCtrlPolicy;

// Finds the host's address and puts its canonical name into the caller's buffer of 1024 bytes.
// False, with the text kept, when there is none.
bool resolve_host(char *cpRemoteHost, in_addr *address);

// An unconnected socket; empty, with errno, on failure.
unique_fd new_socket();

// The address in the form of the socket calls; the port is a number in the byte order of this host.
sockaddr_in address_of(in_addr host, int iPort);
const sockaddr *generic(const sockaddr_in *address);

// Connects to the daemon within iTimeout seconds, below 1 without a limit of ours. False, with the
// text kept, on failure.
bool connect_to(int fd, const sockaddr_in &remote, const char *cpHost, int iTimeout);

// Set the options of the two connections: no delay of small packets, a look now and then whether a
// silent peer is still there, and 60 s for what is unsent at the close. Return 1, 0 on failure.
int Set1stSocketProperties(int hSD1);
int Set2ndSocketProperties(int hSD2);

// Has the close of a socket wait at most iSeconds for what is unsent, with 0 not at all: the system
// goes on sending it without us.
void limit_linger(int hSD, int iSeconds);
