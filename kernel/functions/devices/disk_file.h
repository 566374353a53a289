// The files that describe disk devices to the media server and to function t.
#pragma once

// Writes the file `name` in `directory` with the two lines `content` and `second`. "empty" does not
// replace a file that exists. Returns 1 when the file is there; 0 with errno when it is not whole.
int CREATE_DISK_DEVICE_FILE(const char *name, const char *content, const char *directory,
                            const char *second);

// The same in two steps, for a file that replaces whatever is there: the first one writes it beside
// its place, which is all that a full disk can hinder, the second one puts it there. False with
// errno, nothing is left then; 1, or 0 with errno.
bool prepare_disk_device_file(const char *name, const char *content, const char *directory,
                              const char *second);
int place_disk_device_file(const char *name, const char *content, const char *directory,
                           const char *second);

// Removes what the first step has written.
void drop_disk_device_file(const char *name, const char *directory);
