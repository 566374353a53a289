// The drives of a media server as the backup server describes them.
#pragma once

#include <string>

struct s_DRIVE {
    std::string number; // names the disk device file
    std::string device;
    std::string type;
    std::string classOf; // holds "DISK_" for a disk
    std::string tapemark;
    int iStreams;        // the most at a time
    std::string content; // of a disk's device file: the path that it is mounted on, or "empty"
};

// True for a disk, false for a tape drive.
bool is_disk(const s_DRIVE &drive);

// True for a disk that can be changed: its device is the path that it is mounted on.
bool is_changeable(const s_DRIVE &drive);

// Reads the description of drive i from the variable gv_client_c_<i>, which is deleted. A path of a
// changeable disk that is relative lies below the work directory. False with the reason in cpMsg
// (256 bytes).
bool read_drive(int i, s_DRIVE *drive, char *cpMsg);
