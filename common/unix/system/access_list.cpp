// Access lists, see access_list.h.
#include "common/unix/system/access_list.h"

#include <sys/types.h>
#if defined(__linux__)
#include <sys/xattr.h>
#elif defined(__FreeBSD__) || defined(__NetBSD__)
#include <sys/acl.h>
#endif

#if defined(__linux__)

bool has_access_list(const std::string &path) {
    return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

#elif defined(__FreeBSD__) || defined(__NetBSD__)

namespace {

// A list that says no more than the mode is trivial; a file system has lists of one type at most.
bool is_listed(const std::string &path, acl_type_t type) {
    acl_t list = ::acl_get_file(path.c_str(), type);
    int iTrivial = 1;
    const bool bTold = list != nullptr && ::acl_is_trivial_np(list, &iTrivial) == 0;
    if (list != nullptr) {
        ::acl_free(list);
    }
    return bTold && iTrivial == 0;
}

} // namespace

bool has_access_list(const std::string &path) {
    return is_listed(path, ACL_TYPE_NFS4) || is_listed(path, ACL_TYPE_ACCESS);
}

#else // OpenBSD has no access lists

bool has_access_list(const std::string &) {
    return false;
}

#endif
