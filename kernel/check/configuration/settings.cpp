// Ports, server and language, see settings.h.
#include "kernel/check/configuration/settings.h"

#include "common/common/types.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/trace/record.h"
#include "kernel/check/configuration/ini_lines.h"
#include "kernel/request/path_keys.h"
#include "kernel/unix_hal/access.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace {

s_FAULT port_fault(const std::string &port) {
    int iPort = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), iPort);
    if (error != std::errc() || end != port.data() + port.size() || iPort < 1 || iPort > 65535) {
        return {"\"" + port + "\" is no port", "write a number from 1 to 65535"};
    }
    return {};
}

void say_port(s_CHECK *check, const std::string &title, const std::string &port) {
    if (!say_fault(check, title, port_fault(port))) {
        say_right(check, title + ": " + port + " is a port, who listens there was not looked at");
    }
}

// The port of the transfer daemon, which has a file of its own.
void check_transfer_port(s_CHECK *check) {
    const auto directory = check->paths.find("gv_rw_ini");
    const char *cpDirectory = directory == check->paths.end() ? "" : directory->second.c_str();
    char szPort[160];
    char szFile[1024];
    char szMsg[kMessageSize];
    const bool bFound = read_transfer_port(cpDirectory, szPort, sizeof szPort, szFile,
                                           sizeof szFile, szMsg, sizeof szMsg);
    if (szFile[0] != '/' && cpDirectory[0] == '\0') {
        say_doubtful(check, "VTPD_PORT was not looked at: the directory of vtpd.ini cannot be used",
                     "gv_rw_ini first");
        return;
    }
    const std::string reason = szMsg;
    if (!bFound && reason.find("ACCESS PROBLEM") != std::string::npos) {
        say_doubtful(check,
                     std::string("VTPD_PORT: ") + szFile +
                         " cannot be read, functions c, m, "
                         "p and t take port 11001, the others none",
                     "make it readable, with VTPD_PORT=11001 in section [VTPD_Server]");
        return;
    }
    const s_VALUE_READ read =
        read_checked(check, szFile, "[VTPD_Server]", "VTPD_PORT",
                     "functions c, m, p and t take port 11001, the others none", DOUBTFUL);
    if (!read.bTold) {
        say_port(check, "[VTPD_Server] VTPD_PORT", read.value);
    }
    CHECK_INI_LINES(check, szFile);
    check->vtpd_ini = szFile;
}

void check_daemon_port(s_CHECK *check) {
    const s_VALUE_READ read =
        read_checked(check, check->main_ini, "[CTRLD_Server]", "CTRLD_Port", "", RIGHT);
    char szPort[20];
    char szMsg[kMessageSize];
    const bool bFound = standard_daemon_port(szPort, szMsg, sizeof szMsg);
    if (read.bTold) {
        return;
    }
    if (bFound) {
        say_port(check, "[CTRLD_Server] CTRLD_Port", read.value);
    } else {
        say_right(check,
                  std::string("[CTRLD_Server] CTRLD_Port is not set, the port is ") + szPort);
    }
}

void check_database_port(s_CHECK *check) {
    const s_VALUE_READ read =
        read_checked(check, check->main_ini, "[SERVER]", "gv_port_db",
                     "programs of the database get neither PGPORT nor their PATH", WRONG);
    if (!read.bTold) {
        say_port(check, "[SERVER] gv_port_db", read.value);
    }
}

void check_server(s_CHECK *check) {
    const s_VALUE_READ old =
        read_checked(check, check->main_ini, "[SERVER]", "vorna_server", "", RIGHT);
    const s_VALUE_READ read =
        read_checked(check, check->main_ini, "[SERVER]", "name", "calls without -C are refused",
                     old.bFound ? RIGHT : DOUBTFUL);
    const std::string server = read.bFound ? read.value : old.value;
    if (read.bTold || old.bTold) {
        return;
    }
    if (server.size() > 159) {
        say_wrong(check, "[SERVER] name: the server's name is longer than 159 bytes",
                  "use a shorter name");
    } else {
        say_right(check, "[SERVER] name: the backup server is " + server);
    }
}

void check_language(s_CHECK *check) {
    const s_VALUE_READ read = read_checked(check, check->main_ini, "[SETUP]", "lang", "", RIGHT);
    if (read.bTold) {
        return;
    }
    if (!read.bFound) {
        say_right(check, "[SETUP] lang is not set, messages are English");
    } else if (language_of(read.value.c_str()) == LANG_EN && read.value != "en") {
        say_doubtful(check, "[SETUP] lang: " + read.value + " is not known, messages are English",
                     "write en, de or de_by");
    } else {
        say_right(check, "[SETUP] lang: " + read.value);
    }
}

} // namespace

void CHECK_SETTINGS(s_CHECK *check) {
    check_language(check);
    check_server(check);
    check_database_port(check);
    check_daemon_port(check);
    check_transfer_port(check);
}
