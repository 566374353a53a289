// Nodes of devices, see device_node.h.
#include "common/unix/system/device_node.h"

#include "common/common/owner.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

e_SYSTEM geDeviceSystem = kThisSystem;

bool find_device_node(const char *cpName, std::string *node) {
    const std::string path =
        std::string(std::strchr(cpName, '/') == nullptr ? "/dev/" : "") + cpName;
    const unique_memory<char> real(::realpath(path.c_str(), nullptr));
    struct stat status = {};
    if (!real || ::stat(real.get(), &status) != 0) {
        return false;
    }
    if (!S_ISBLK(status.st_mode) && !S_ISCHR(status.st_mode)) { // FreeBSD's disks are the latter
        errno = ENODEV;
        return false;
    }
    *node = real.get();
    return true;
}
