// What this host is called and what it is.
#pragma once

#include "common/unix/trace/trace.h"

// Fills cpName (160 bytes) with the backup server's name from the configuration, "??2" if it has
// none. iLengthMsg is not used.
void get_my_hostname(int iLengthMsg, char *cpName);

// Fills cpOs (32 bytes) with the operating system that the catalogue has for the backup server's
// own host. Returns 1, or 0 when the catalogue does not tell.
int i_GET_MY_OS(char *cpOs, str_log strLog);

// Fills cpPlatform (5 bytes or more) with the platform's name, "UNIX". Returns it.
char *get_my_platform(char *cpPlatform);
