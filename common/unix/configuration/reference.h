// References in names: "<name>:<rest>" stands for a configured directory and what follows it.
#pragma once

// Expands "<name>:<rest>" (or "<name>") in place, in a buffer of `size` bytes, to the value of the
// variable of that name followed by the rest. Returns 1; 0 with the text unchanged when there is no
// such variable.
int resolve_glbv(char *cpName, int size);

// Expands "<key>:<rest>" (or "<key>") in place, in a buffer of `size` bytes, to the value of the
// key in "[Pathes]" of the main INI file followed by the rest (at most 511 characters). An unknown
// key leaves the text unchanged. Always returns 1.
int resolve_path(char *cpPath, int size);

// Expands a reference in a file name in place, in a buffer of `size` bytes: through the variables,
// and if these do not know it, through "[Pathes]". Returns 1.
int resolve_reference(char *cpName, int size);

// Fills szName (iSize bytes) with a name in which a reference is resolved. False when it does not
// fit: what is there then is not the name.
bool resolve_name(const char *cpName, char *szName, int iSize);
