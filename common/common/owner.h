// Owners: each closes or frees what it holds when it goes out of scope, so early returns leak
// nothing. A raw pointer lives only in records that an interface defines. Descriptors and
// directories have theirs in common/unix/files/descriptor.h.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

// Restores errno at the end of its scope: reporting an error must not change it.
class errno_keeper {
public:
    errno_keeper() : errno_(errno) {}
    errno_keeper(const errno_keeper &) = delete;
    errno_keeper &operator=(const errno_keeper &) = delete;
    ~errno_keeper() { errno = errno_; }

private:
    int errno_;
};

struct file_closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
struct memory_freer {
    void operator()(void *memory) const { std::free(memory); }
};

using unique_file = std::unique_ptr<std::FILE, file_closer>;
template <typename T>
using unique_memory = std::unique_ptr<T, memory_freer>;
