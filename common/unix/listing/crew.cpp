// Threads for a task in parts, see crew.h. They are the C library's, not the C++ library's: that
// one tells by an exception that the system gives none.
#include "common/unix/listing/crew.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

s_CREW_POLICY gCrewPolicy = {2048, crew::kMostMembers, 0, 131072, 5000};

void *crew::run(void *self) {
    auto *own = static_cast<crew *>(self);
    std::unique_lock lock(own->mutex_);
    const unsigned iMember = ++own->started_;
    own->take_parts(&lock, iMember);
    return nullptr;
}

// Returns whether the part was slow.
bool crew::do_part(std::size_t iPart, unsigned iMember) {
    const auto begin = std::chrono::steady_clock::now();
    work_(task_, iPart, iMember);
    return std::chrono::steady_clock::now() - begin >
           std::chrono::microseconds(gCrewPolicy.iSlowUsec);
}

void crew::take_parts(std::unique_lock<std::mutex> *lock, unsigned iMember) {
    for (;;) {
        changed_.wait(*lock, [this] { return next_ < end_ || closed_; });
        if (next_ == end_) {
            return;
        }
        const std::size_t iPart = next_++;
        lock->unlock();
        const bool bSlow = do_part(iPart, iMember);
        lock->lock();
        slow_ = slow_ || bSlow;
        if (slow_ && iMember == 0) {
            hire(when_slow_);
        }
    }
}

void crew::hire(unsigned iMembers, unsigned iWhenSlow) {
    when_slow_ = std::max(when_slow_, iWhenSlow);
    const unsigned iThreads =
        std::max(1U, std::min({iMembers, gCrewPolicy.iMembers, kMostMembers})) - 1;
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0) {
        return;
    }
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &before); // what a thread starts with
    if (::pthread_attr_setstacksize(&attributes, gCrewPolicy.iStack) == 0) {
        while (hired_ < iThreads &&
               ::pthread_create(&threads_[hired_], &attributes, run, this) == 0) {
            ++hired_;
        }
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::pthread_attr_destroy(&attributes);
}

void crew::open(std::size_t iEnd) {
    bool bSlow = false;
    {
        const std::lock_guard lock(mutex_);
        end_ = iEnd;
        bSlow = slow_;
    }
    changed_.notify_all();
    if (bSlow) {
        hire(when_slow_);
    }
}

void crew::finish() {
    {
        std::unique_lock lock(mutex_);
        closed_ = true;
        changed_.notify_all();
        take_parts(&lock, 0);
    }
    while (hired_ > 0) {
        ::pthread_join(threads_[--hired_], nullptr);
    }
}

unsigned members_by_processors() {
    const unsigned iMachine = std::max(1U, std::thread::hardware_concurrency());
    return std::min({gCrewPolicy.iProcessors == 0 ? iMachine : gCrewPolicy.iProcessors,
                     gCrewPolicy.iMembers, crew::kMostMembers});
}
