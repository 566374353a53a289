// The files that describe disk devices to the media server and to function t.
#pragma once

// Writes the file `name` in `directory` with the two lines `content` and `second`. "empty" does not
// replace a file that exists. Returns 1 when the file is there; 0 with errno when it is not whole.
int CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                            const char *second);
