// What has been read from a pipe and not yet been handed out is kept per descriptor, apart from the
// handles, which callers copy.
#pragma once

// Forgets what is buffered of a descriptor; to be called when it is opened and when it is closed.
void pipe_buffer_reset(int fd);
