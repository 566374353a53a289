// The platform's event log.
#pragma once

// Carries out the event-log request of the command line. Unix has no such log: does nothing.
void event_log_lib_interface(int argc, char **argv);
