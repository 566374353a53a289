// The files that describe disk devices to the media server and to function t.
#pragma once

// Writes the file `name` in `directory` with the two lines `content` and `second`. "empty" does not
// replace a file that exists. Returns 1 when the file is there; 0 with errno when it is not whole.
int CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                            const char *second);

// The same, but replaces also a file that exists. At every moment the file is the old or the new
// one, as a whole.
int replace_disk_device_file(const char *name, const char *content, const char *directory,
                             const char *second);
