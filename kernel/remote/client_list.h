// The backup clients of the catalogue.
#pragma once

#include "common/unix/trace/trace.h"

#include <string>
#include <vector>

// A client, and how it is reached.
struct s_CLIENT_ENTRY {
    std::string name;
    std::string method;   // "ctrld", "rsh", "ssh"; "unknown (MODE)" for an access mode that is none
    std::string address;  // dotted; "-" when the name has none
    std::string platform; // "-" when its operating system has none
    std::string user;     // who runs commands there; "-" where none are run
    std::string options;  // of the access method, "" for none
};

// Fills the list with all clients, sorted by name. False, with the reason in cpMsg (256 bytes),
// when the catalogue does not answer.
bool list_clients(std::vector<s_CLIENT_ENTRY> *clients, char *cpMsg, str_log strLog);
