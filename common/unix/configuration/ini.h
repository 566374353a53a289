// Reading configuration. A symbolic identifier ("VN_INI" is the main configuration) names an INI
// file; the central file, found at fixed places, says where each is. Sections are given with their
// brackets ("[Pathes]"); the letter case of sections and keys is ignored; section and key names
// have up to 63 characters (longer ones are not found), lines count up to 1023. Every read
// sees the files as they are, and no change of ours half done. All functions fill cpMsg (iLengthMsg
// bytes, terminated) with the reason of a failure and with an empty text on success.
#pragma once

#include "common/common/LL.h"

#include <string>
#include <vector>

// Where the central file is looked for when the environment variable VORNA_INI does not name it, or
// names one that does not know the identifier. The entries are tried in this order.
struct s_INI_PLACES {
    const char *cpCentral[2];
};
extern s_INI_PLACES gIniPlaces;

// The central files in the order in which they are asked: what VORNA_INI names, when it is set
// (empty when its name is too long), and the two fixed places.
std::vector<std::string> ini_central_files();

// Fills cpValue (iLengthValue bytes) with the path of the identifier's INI file; an identifier that
// begins with "/" is that path, without one "VN_INI" is meant. A VORNA_INI of more than 127
// characters is said on standard error and not used. Returns 1, or 0 when no central file
// knows the identifier.
int i_GET_ROOT_FOR_INI(const char *cpIdentifier, char *cpValue, int iLengthValue, char *cpMsg,
                       int iLengthMsg);

// Fills cpValue (iLengthValue bytes, cut to fit) with one value. Returns 1; 0 with an empty cpValue
// when it is missing or empty.
int i_READ_INI(const char *cpIdentifier, const char *cpSection, const char *cpKey, char *cpValue,
               int iLengthValue, char *cpMsg, int iLengthMsg);

// Appends the values of the numbered keys "<cpKey>1", "<cpKey>2", ... to the list, in file order,
// as terminated texts. Returns the number of elements that the list has then, 0 if none.
int i_READ_INI_LIST(const char *cpIdentifier, const char *cpSection, const char *cpKey,
                    t_LL tllListOfValues, char *cpMsg, int iLengthMsg);

// The reader itself, on the path of an INI file. Without a section (null or empty) the first
// matching key anywhere in the file counts. The first reference "%(key)" of a value is replaced by
// that key's value in the same section, else in "[DEFAULT]". Returns 1; 0 with an empty cpValue
// when the value is missing or empty.
int i_GetPrivateProfileString(const char *cpFilename, const char *cpSection, const char *cpKey,
                              char *cpValue, int iLengthValue, char *cpMsg, int iLengthMsg);

// Appends all values of a key to the list: of every line with exactly that key; with a "#" at the
// end of cpKey, of the keys that have a decimal number in its place; with "##" likewise, each value
// as "<text behind the last _ of the key>:<value>". A value whose reference fails is left out, with
// a trace line. Returns 1; 0 when there is none, the list is then as it was.
int i_GetPrivateProfileList(const char *cpFilename, const char *cpSection, const char *cpKey,
                            t_LL tllListOfValues, char *cpMsg, int iLengthMsg);
