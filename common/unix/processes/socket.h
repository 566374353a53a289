// The socket services under the control-daemon client.
#pragma once

// Sets (bNonBlockMode 1) or clears (0) the non-blocking mode. Returns what fcntl returned, below 0
// on failure.
int iSetNonBlockmode(int fdSocket, int bNonBlockMode);

// Sends all iBuflen bytes, over interruptions and short sends; gives up after 30 sends in a row
// that took nothing. Returns the bytes sent, or the negative result of the send that failed.
int iSendBuffer(int iSocket, const char *szBuf, int iBuflen, int iFlags);

// Shuts down and closes iFHandles sockets (ints), those that are 0 or -1 excepted.
void cm_CloseSocketsAndCleanup(int iFHandles, ...);

// The last error number of a socket call, and of the resolver.
int vn_sockerror();
int vn_hsockerror();
