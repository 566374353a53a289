// INI files.
#include "tests/probe/probe.h"

#include "common/unix/cm_kernel.h"
#include "common/unix/configuration/ini_file.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace vn_probe {
namespace {

using t_READER = int (*)(const char *, const char *, const char *, char *, int, char *, int);
using t_LISTER = int (*)(const char *, const char *, const char *, t_LL, char *, int);

// FILE SECTION KEY [SIZE OF THE VALUE AND OF THE MESSAGE]
template <t_READER reader>
void read_value(Words &words) {
    const char *file = words.text(), *section = words.text(), *key = words.text();
    const long value_size = words.more() ? words.number() : 2048;
    Buffer value((size_t)value_size, '~'), msg(words.more() ? (size_t)words.number() : 512, '~');
    const int done =
        reader(file, section, key, value.data(), (int)value.size(), msg.data(), (int)msg.size());
    std::printf("%d \"%s\"%s%s\n", done, value.data(), msg[0] == '\0' ? "" : " ", msg.data());
}

int read_root(const char *id, const char *, const char *, char *value, int size, char *msg,
              int msg_size) {
    return i_GET_ROOT_FOR_INI(id, value, size, msg, msg_size);
}

// FILE SECTION KEY
template <t_LISTER lister>
void read_list(Words &words) {
    const char *file = words.text(), *section = words.text(), *key = words.text();
    const t_LL list = ConsLL();
    char msg[512] = "~";
    std::printf("%d", lister(file, section, key, list, msg, sizeof msg));
    for (void *e = FirstElmLL(list); IsElmLL(e) != 0; e = NextElmLL(e)) {
        std::printf(" \"%.*s\"", (int)IsElmLL(e) - 1, static_cast<const char *>(e));
    }
    std::printf("%s%s\n", msg[0] == '\0' ? "" : " ", msg);
    DestLL(list);
}

// FILE SECTION KEY VALUE
void run_change(Words &words) {
    const char *file = words.text(), *section = words.text(), *key = words.text();
    char msg[512] = "~";
    std::printf("%d", i_CHANGE_INI_VALUE(file, section, key, words.text(), msg, sizeof msg));
    struct sigaction signal = {};
    sigaction(SIGXFSZ, nullptr, &signal);
    std::printf("%s%s%s\n", msg[0] == '\0' ? "" : " ", msg,
                signal.sa_handler == SIG_DFL ? "" : ", another signal");
}

void run_short_change(Words &words) {
    const char *file = words.text(), *section = words.text(), *key = words.text();
    std::printf("%d\n", i_change_ini(file, section, key, words.text()));
}

// Without words shows what is set, else sets the two places of the central file.
void run_places(Words &words) {
    if (words.more()) {
        const char *first = words.text();
        gIniPlaces = {{first, words.text()}};
        return;
    }
    std::printf("%s %s, %d %d\n", gIniPlaces.cpCentral[0], gIniPlaces.cpCentral[1],
                gIniLockPolicy.iReadMsec, gIniLockPolicy.iChangeMsec);
}

// The functions behind it are called without the superuser's rights.
void run_nobody(Words &) {
    if (geteuid() == 0 && setuid(65534) != 0) {
        std::perror("setuid");
    }
}

const Function kFunctions[] = {
    {"gIniPlaces", run_places},
    {"i_GET_ROOT_FOR_INI", read_value<read_root>},
    {"i_READ_INI", read_value<i_READ_INI>},
    {"i_GetPrivateProfileString", read_value<i_GetPrivateProfileString>},
    {"i_READ_INI_LIST", read_list<i_READ_INI_LIST>},
    {"i_GetPrivateProfileList", read_list<i_GetPrivateProfileList>},
    {"i_CHANGE_INI_VALUE", run_change},
    {"i_change_ini", run_short_change},
    {"nobody", run_nobody},
};

} // namespace

const std::span<const Function> kIni = kFunctions;

} // namespace vn_probe
