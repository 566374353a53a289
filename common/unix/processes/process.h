// This process: its user, and pauses.
#pragma once

// Fills cpName (iLen bytes) with the login name of the effective user; empty when it has none.
void GET_USER_NAME(char *cpName, int iLen);

// Sleeps iMsec milliseconds, also over interruptions.
void wait_msec(int iMsec);
