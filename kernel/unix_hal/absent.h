// What other platforms have and Unix has not: these services exist so that the functions need not
// know the platform.
#pragma once

// Carries out the event-log request of the command line. Unix programs log through syslog, which
// the server reads by other means: does nothing.
void event_log_lib_interface(int argc, char **argv);

// Stops the media server's process of a drive: nothing to be done on this platform.
void VNS_SHUTDOWN(int iNum);

// Sets the label of a disk volume: disks of this platform have none. Returns 1.
int i_SET_VOLUME_LABEL(const char *cpVolume, const char *cpLabel, char mode, char *cpMsg,
                       int iMsgSize);
