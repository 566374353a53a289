// What Unix has not, see absent.h.
#include "kernel/unix_hal/absent.h"

#include "common/common/text.h"

void event_log_lib_interface(int, char **) {}

void VNS_SHUTDOWN(int) {}

int i_SET_VOLUME_LABEL(const char *, const char *, char, char *cpMsg, int iMsgSize) {
    text_copy(cpMsg, iMsgSize, "");
    return 1;
}
