// The keys of section "[Pathes]" that a call begins with.
#pragma once

struct s_PATH_KEY {
    const char *cpKey;
    const char *cpMissing;
    char *cpBuffer; // null: only the presence counts
    int iSize;
    bool bMediaServerOnly; // other functions do without it
};

// In the order in which they are read; the last has no key.
extern const s_PATH_KEY gPathKeys[];

// The port of the transfer daemon (szPort, iSize bytes) from vtpd.ini, which is where the central
// file says, or, when that does not know it, in the directory of the INI files. False with the
// reader's message. cpFile (iFileSize bytes) receives the file's path.
bool read_transfer_port(const char *cpIniDirectory, char *szPort, int iSize, char *cpFile,
                        int iFileSize, char *cpMsg, int iLength);
