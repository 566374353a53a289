// A task in parts that several threads work on, the caller's own among them. What a part reads and
// writes must not be another's; what was written before `open` is seen by the parts that it opens,
// what the parts have written after `finish`.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <pthread.h>

// When a directory is worth threads, and how many there are.
struct s_CREW_POLICY {
    std::size_t iLarge; // entries
    unsigned iMembers;  // at most: a file server is not to be flooded
    // Members for parts that wait for nothing; 0: as the machine has processors.
    unsigned iProcessors;
    std::size_t iStack; // bytes of a thread's stack
    int iSlowUsec;      // a part that takes longer waits for something
};
extern s_CREW_POLICY gCrewPolicy;

class crew {
public:
    static constexpr unsigned kMostMembers = 16;

    // Calls work(task, iPart, iMember) for each part; iMember is 0 for the caller's thread. Parts
    // are taken in rising order. `work` must not need memory.
    using t_WORK = void (*)(void *task, std::size_t iPart, unsigned iMember);
    crew(t_WORK task_work, void *task) : work_(task_work), task_(task) {}
    crew(const crew &) = delete;
    crew &operator=(const crew &) = delete;
    ~crew() { finish(); }

    // Starts threads until the crew has iMembers, and once a part was slow iWhenSlow, as far as the
    // policy allows and the system gives them; without any the caller does all. They receive no
    // signals. More threads than processors only make way for each other unless they wait.
    void hire(unsigned iMembers, unsigned iWhenSlow = 0);

    // From now on the parts below iEnd may be worked on.
    void open(std::size_t iEnd);

    // Works on what is left. Returns when all parts that were opened are done and the threads gone.
    void finish();

private:
    static void *run(void *self);
    void take_parts(std::unique_lock<std::mutex> *lock, unsigned iMember);
    bool do_part(std::size_t iPart, unsigned iMember);

    const t_WORK work_;
    void *const task_;
    std::mutex mutex_; // for what follows
    std::condition_variable changed_;
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    bool closed_ = false; // no part will be opened any more
    bool slow_ = false;   // a part was
    unsigned started_ = 0;
    unsigned hired_ = 0; // what follows is of the caller's thread alone
    unsigned when_slow_ = 0;
    pthread_t threads_[kMostMembers - 1] = {};
};

// As many members as there are processors, for parts that wait for nothing.
unsigned members_by_processors();
