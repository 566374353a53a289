// The probe calls single functions of the libraries for the sessions, and prints what they return
// and fill:
//     probe [-LEVEL] FUNCTION ARGUMENT... [: FUNCTION ARGUMENT...]...
// All functions of one call run in one process, traced at the level to standard error (0, as is:
// without a trace).
#pragma once

#include "common/unix/cm_trace.h"

#include <span>
#include <string>
#include <vector>

namespace vn_probe {

extern str_log log; // the call's trace, for services that take a record

// The words behind a function's name, taken one after the other. A word that is missing ends the
// probe with a message; the word "5000*x" is a text of so many letters.
struct Words {
    std::span<char *> left;

    char *text();              // the next word; "NULL" is a null pointer
    char *text_or(char *text); // the same, or the text given when there is none
    long number();
    long number_or(long number_if_none);
    bool more() const { return !left.empty(); }
};

// A buffer of a size that is guarded by the heap's end, filled with '~': what a function writes
// beyond its size is seen by the sanitizers.
using Buffer = std::vector<char>;
Buffer buffer(size_t size, const std::string &text = std::string(1, '\0'));

struct Function {
    const char *name;
    void (*run)(Words &words);
};

// Each file of the probe has one table of functions; they are joined in main.cpp.
extern const std::span<const Function> kUnixHal;
extern const std::span<const Function> kRemote;
extern const std::span<const Function> kControl;
extern const std::span<const Function> kIni;
extern const std::span<const Function> kText;
extern const std::span<const Function> kTrace;
extern const std::span<const Function> kVariables;
extern const std::span<const Function> kDatabase;
extern const std::span<const Function> kFiles;
extern const std::span<const Function> kListing;
extern const std::span<const Function> kMachine;
extern const std::span<const Function> kProcesses;
extern const std::span<const Function> kRequest;
extern const std::span<const Function> kSystem;

} // namespace vn_probe
