// The input of a remote command: a child that sends a file over the first connection.
#pragma once

#include "common/unix/trace/trace.h"

#include <cstdio>
#include <sys/types.h>

// The input pump: sends the file's content and the end marker, the 13 bytes "END OF STDIN".
void STDIN_transfer(std::FILE *fd_stdin, int hWriteSocket);

// Starts the pump as a child (fd_stdin null: none). Returns its process id; 0 without one, the
// trace then says why.
pid_t start_input(std::FILE *fd_stdin, int hSocket1, int hSocket2, str_log *strLog);

// Ends the child, whether it has sent everything or not.
void stop_input(pid_t child);
