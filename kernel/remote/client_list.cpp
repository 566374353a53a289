// The clients of the catalogue, see client_list.h.
#include "kernel/remote/client_list.h"

#include "common/common/text.h"
#include "common/unix/database/access.h"
#include "common/unix/database/record_list.h"
#include "kernel/remote/dispatcher.h"

#include <arpa/inet.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr char kStatement[] =
    "select clients.name,clients.accessmode,clients.access_options,oper_systems.platform from "
    "clients left outer join oper_systems on oper_systems.os=clients.os order by clients.name";

std::string address_of(const std::string &name) {
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (::getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0) {
        return "-";
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, ::freeaddrinfo);
    char szAddress[INET_ADDRSTRLEN] = "-";
    const auto *address = reinterpret_cast<const sockaddr_in *>(found->ai_addr);
    ::inet_ntop(AF_INET, &address->sin_addr, szAddress, sizeof szAddress);
    return szAddress;
}

std::string value_of(const DB_REC_LIS_ELEMENT *record, const char *cpColumn) {
    col column = {};
    text_copy(column.szName, cpColumn);
    DB_REC_LIS list = {};
    return iDB_SEL_WRITE_VALUE(&list, record->cpData, &column) == 1 ? column.szValue : "";
}

int add_client(const DB_REC_LIS_ELEMENT *record, void *pContext) {
    const std::string mode = value_of(record, "accessmode");
    const std::string platform = value_of(record, "platform");
    const std::string options = value_of(record, "access_options");
    const char *cpMethod = rcmd_method(mode.c_str());
    const char *cpUser = rcmd_user(platform.c_str());
    s_CLIENT_ENTRY entry;
    entry.name = value_of(record, "name");
    entry.method = cpMethod != nullptr ? cpMethod : "unknown (" + mode + ")";
    entry.address = address_of(entry.name);
    entry.platform = platform.empty() ? "-" : platform;
    entry.user = cpUser != nullptr ? cpUser : "-";
    entry.options = options == "NULL" ? "" : options;
    static_cast<std::vector<s_CLIENT_ENTRY> *>(pContext)->push_back(entry);
    return 1;
}

} // namespace

bool list_clients(std::vector<s_CLIENT_ENTRY> *clients, char *cpMsg, str_log strLog) {
    DB_REC_LIS list = {};
    text_copy(list.szId, "CLIENTS");
    cpMsg[0] = '\0';
    const bool bAnswered = iDB_ACCESS(kStatement, cpMsg, &list, strLog) == 1;
    if (bAnswered) {
        DB_SEL_LOOP_RECORDS(&list, add_client, clients);
    }
    vDB_SEL_FREE(&list);
    return bAnswered;
}
