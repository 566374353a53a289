// This process, see process.h.
#include "common/unix/processes/process.h"

#include "common/common/text.h"

#include <cerrno>
#include <ctime>
#include <pwd.h>
#include <unistd.h>

void GET_USER_NAME(char *cpName, int iLen) {
    const passwd *user = ::getpwuid(::geteuid());
    text_copy(cpName, iLen, user == nullptr ? "" : user->pw_name);
}

void wait_msec(int iMsec) {
    timespec rest = {iMsec / 1000, (iMsec % 1000) * 1000000L};
    while (iMsec > 0 && ::nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}
