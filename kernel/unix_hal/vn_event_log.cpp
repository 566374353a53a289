// The platform's event log, see vn_event_log.h. Programs log through syslog here, which the server
// reads by other means.
#include "kernel/unix_hal/vn_event_log.h"

void event_log_lib_interface(int, char **) {}
