// A file that takes a command's output. What it fails to take must not go unnoticed.
#pragma once

#include "common/common/owner.h"
#include "kernel/remote/call/rcmd.h"

#include <cstdio>
#include <string_view>

// Empty, a file that it has opened and closes, or a stream of someone else's.
class output_file {
public:
    output_file() = default;
    explicit output_file(std::FILE *borrowed) : file_(borrowed) {}
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    // Opens a file for writing or, with bAppend, for appending. False, with the message in
    // pRCmd->szMsg, when it cannot be opened.
    bool open(const char *cpName, bool bAppend, RCMD *pRCmd);

    // Uses a stream of someone else's.
    void borrow(std::FILE *file) { file_ = file; }

    explicit operator bool() const { return file_ != nullptr; }
    bool is_owned() const { return static_cast<bool>(owned_); }
    std::FILE *stream() const { return file_; }

    // Writes and flushes; the first failure is remembered.
    void write(std::string_view text);

    // Closes what open has opened. False, with the system's report and the message in pRCmd->szMsg,
    // when it has not taken everything.
    bool close(const char *cpName, RCMD *pRCmd);

private:
    unique_file owned_;
    std::FILE *file_ = nullptr;
    int iFirstError_ = 0; // errno of the first write that failed
};

// Opens a file of a call. Null, with the file's name and the cause in pRCmd->szMsg, when it cannot
// be opened.
unique_file open_call_file(const char *cpName, const char *cpMode, RCMD *pRCmd);
