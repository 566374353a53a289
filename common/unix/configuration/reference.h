// References in names: "<name>:<rest>" stands for a configured directory and what follows it. A
// name that begins with "/" is a path and refers to nothing.
#pragma once

#include <string>
#include <string_view>

// Where a reference's name is looked up.
enum e_REFERENCE_STORE {
    REFERENCE_VARIABLE, // the variable store
    REFERENCE_PATHES,   // section "[Pathes]" of the main INI file
    REFERENCE_ANY       // the variable store, and if that does not know it, "[Pathes]"
};

// What a name with a reference stands for: value and rest, one behind the other.
struct s_REFERENCE {
    bool bKnown = false; // there is such a name; if not, value is the text as it was given
    bool bWhole = true;  // false: the stored value is longer than can be read
    std::string value;
    std::string rest;
};

// Looks the reference in a text of any length up.
s_REFERENCE look_up_reference(std::string_view text, e_REFERENCE_STORE eStore);

// Fills szName (iSize bytes) with the text in which the reference is resolved; cpName may be szName
// itself. False when what it stands for does not fit: szName is then cut and names nothing.
bool resolve_whole(const char *cpName, char *szName, int iSize, e_REFERENCE_STORE eStore);

// The same for the name of a file: REFERENCE_ANY.
bool resolve_name(const char *cpName, char *szName, int iSize);

// The three below expand in place, in a buffer of `size` bytes, and cut to fit: use the two above
// for what is acted on.

// Expands "<name>:<rest>" (or "<name>") to the value of the variable of that name followed by the
// rest. Returns 1; 0 with the text unchanged when there is no such variable.
int resolve_glbv(char *cpName, int size);

// Expands "<key>:<rest>" (or "<key>") to the value of the key in "[Pathes]" followed by the rest
// (at most 511 characters). An unknown key leaves the text unchanged. Always returns 1.
int resolve_path(char *cpPath, int size);

// Expands through the variables, and if these do not know the name, through "[Pathes]". Returns 1.
int resolve_reference(char *cpName, int size);
