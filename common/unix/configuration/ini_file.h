// The text of an INI file, read by many processes while one of them changes it. Our own readers and
// changes take turns by a lock on the open file; a foreign reader sees, at every moment, the lines
// of the old text or of the new one.
#pragma once

#include "common/unix/files/descriptor.h"
#include "common/unix/files/line_reader.h"

#include <memory>
#include <string>

// How long the lock is waited for. A change holds it for less than a millisecond: who holds it
// longer is stopped or means no good. A read then goes on without it, a change is refused.
struct s_INI_LOCK_POLICY {
    int iReadMsec;
    int iChangeMsec;
};
extern s_INI_LOCK_POLICY gIniLockPolicy;

// When a text that was read may stand for its file: a change that comes later than the file was
// read must show in the file's status. It does when the file had rested for longer than the steps
// of any file system's clock; what else may delay it, such as a network's file system that keeps a
// status for some time, is bounded by the second figure.
struct s_INI_MEMORY_POLICY {
    int iRestedMsec; // a file that was changed later than this before the read is read again
    int iTrustMsec;  // what was read longer ago is read again
};
extern s_INI_MEMORY_POLICY gIniMemoryPolicy;

// The text of an INI file that may be kept.
using t_INI_TEXT = std::shared_ptr<const std::string>;

// The lines of the file as they are now, and none of a change of ours half done: waits until no
// change is under way, and keeps changes away until the reader goes. A process that has once waited
// in vain does not wait again. A small file whose device, inode, size and times are those of an
// earlier read is not read again: *text has then its text, or nothing, and must outlive the reader.
line_reader ini_lines(const char *cpFile, t_INI_TEXT *text);

// While one exists, files count as unchanged that were read, or found unchanged, since it began, as
// long as a text may be trusted: for a procedure that reads many values and changes none, and wants
// them of one moment. One at a time.
class ini_moment {
public:
    ini_moment();
    ~ini_moment();
    ini_moment(const ini_moment &) = delete;
    ini_moment &operator=(const ini_moment &) = delete;
};

// Opens a regular file for a change, alone until it is closed. Owns nothing, with errno, when that
// fails: EWOULDBLOCK when another process held the lock all the time.
unique_fd open_ini_for_change(const char *cpFile);

// The same for a file that is open. False, with errno EWOULDBLOCK, when another process held the
// lock for all of iMsec milliseconds.
bool lock_for_change(int fd, int iMsec);
