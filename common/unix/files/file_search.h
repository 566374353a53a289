// Searching a text file. Names may hold references ("gv_rw_work:name"), which are resolved; a name
// too long for its buffer is refused, because a cut one would name another file.
#pragma once

// Looks for a text in a file, line by line; "a|AND|b" asks for both in a line, "a|OR|b" for either.
// A "^" at the end of the search text asks for the line: it then replaces the search text, a buffer
// of iLength bytes. Returns 1 when found, 0 when not or when the file cannot be read; the search
// text is then as it was, and errno is 0 or tells why it could not be read.
int file_search(const char *cpFile, char *cpSearchString, int iLength);
