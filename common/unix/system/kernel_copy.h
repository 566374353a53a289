// Copying inside the system, where it can.
#pragma once

// Copies between two files without the bytes coming through this process, as far as the system can;
// what is left, all of it as a rule where one is no regular file, is the caller's to copy. Both
// descriptors stand behind what was copied.
void copy_in_kernel(int iFrom, int iTo);
