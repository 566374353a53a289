// The store of named text values that outlive a process and that all programs of an installation
// share: one small file per variable, read and written anew on every call. A reader sees the old
// value or the new one; the last of several writers wins.
#pragma once

#include <string>

// Bytes that a buffer for a value must have, terminator included; longer values are cut and marked.
constexpr int GLBV_VALUE_SIZE = 512;

// One operation on the variable `name`, in which every "\" and "/" becomes "_" in place:
//   'r'  reads it into value (512 bytes),
//   'R'  the same and removes it, unless it cannot be read; value is the answer also when the
//        removal fails, which is reported,
//   'w'  stores value (a buffer of at least 256 bytes, for the reply of a failure),
//   'd'  removes it, or with a "*" in the name all that match that pattern; value is not used.
// Returns value. There is no other result: a value beginning with "?" means "not defined", and a
// failure is a reply in value that begins with "??". Failures other than a missing variable are
// also reported on standard error and in the protocol.
char *glbv(int cFunction, char *name, char *value);

// For who looks at the store and may not change it. The first fills *file with the path of the
// variable's file; false, with what is known of the store's directory, without one. The second
// reads the value from its open file into value (GLBV_VALUE_SIZE bytes) as 'r' does, false for an
// empty file or none that holds values.
bool glbv_file(const char *name, std::string *file);
bool glbv_content(int fd, char *value);
