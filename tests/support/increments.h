// Many processes that count under one semaphore while its holders are killed. What is counted is a
// list that each holder makes longer in two steps, so that an increment that another process
// overtakes is lost, and seen to be lost.
#pragma once

#include "common/unix/cm_semaphore.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vn_test {

struct Counting {
    int processes;  // at most kMostProcesses
    int increments; // of each process, or of those that take a killed one's place
    int kills;
};

struct Counted {
    int lost = 0;   // increments that their process had finished, and that are not in the list
    int extra = 0;  // in the list beyond those and beyond one of each that was killed at it
    int failed = 0; // processes that could not use the semaphore
    int killed = 0;
    int inside = 0; // those of them that were at an increment
};

inline constexpr int kMostProcesses = 64;

// What all processes share; the list has room for what any run counts.
struct Shared {
    std::atomic<int> length;
    std::atomic<pid_t> holder; // the process that is at an increment, or was
    struct {
        std::atomic<bool> inside; // between taking and releasing
        std::atomic<int> finished;
    } processes[kMostProcesses];
    std::atomic<unsigned char> list[1 << 16];
};

// One process: counts until its increments are finished, now and then asks who holds the semaphore.
[[noreturn]] inline void count_up(Shared *shared, int number, int increments) {
    SCT_SEMA semaphore = {"s", "counter", "", 0};
    auto &own = shared->processes[number];
    while (own.finished < increments) {
        const bool ask = own.finished % 16 == number % 16;
        if ((ask && i_SEMA('?', &semaphore, {}) > SEMA_WARNING) ||
            i_SEMA('+', &semaphore, {}) != SEMA_SUCCESS) {
            _exit(1);
        }
        own.inside = true;
        shared->holder = getpid();
        const int length = shared->length;
        sched_yield();
        shared->list[length] = static_cast<unsigned char>(number);
        shared->length = length + 1;
        ++own.finished;
        own.inside = false;
        if (i_SEMA('-', &semaphore, {}) != SEMA_SUCCESS) {
            _exit(1);
        }
    }
    _exit(0);
}

// The processes of a run, by their numbers; 0: has ended.
struct Crowd {
    const Counting &counting;
    Shared *shared;
    pid_t pids[kMostProcesses] = {};
    int ends[kMostProcesses] = {}; // how many were killed at an increment
    int running = 0;

    void start(int number) {
        pids[number] = fork();
        if (pids[number] == 0) {
            count_up(shared, number, counting.increments);
        }
        ++running;
    }
    int number_of(pid_t pid) const {
        int number = counting.processes - 1;
        while (number >= 0 && pids[number] != pid) {
            --number;
        }
        return number;
    }
    // Kills the holder, or whoever lives, and has another one go on in its place.
    void replace_holder(Counted *result) {
        int number = number_of(shared->holder);
        for (int i = 0; number < 0 && i < counting.processes; i++) {
            number = pids[i] != 0 ? i : -1;
        }
        int state = 0;
        kill(pids[number], SIGKILL);
        waitpid(pids[number], &state, 0);
        pids[number] = 0;
        --running;
        if (!WIFSIGNALED(state)) {
            result->failed += WEXITSTATUS(state);
            return;
        }
        ++result->killed;
        if (shared->processes[number].inside.exchange(false)) {
            ++result->inside;
            ++ends[number];
        }
        start(number);
    }
    // Waits for all; the kills come at even distances.
    void finish(Counted *result) {
        const long total = static_cast<long>(counting.processes) * counting.increments;
        while (running > 0) {
            const long due = (result->killed + 1) * total / (counting.kills + 1);
            if (result->killed < counting.kills && shared->length >= due) {
                replace_holder(result);
                continue;
            }
            int state = 0;
            const pid_t ended = waitpid(-1, &state, WNOHANG);
            if (ended > 0) {
                result->failed += state != 0 ? 1 : 0;
                pids[number_of(ended)] = 0;
                --running;
            } else {
                usleep(200);
            }
        }
    }
    void compare(Counted *result) const {
        int found[kMostProcesses] = {};
        for (int i = 0; i < shared->length; i++) {
            ++found[shared->list[i]];
        }
        for (int i = 0; i < counting.processes; i++) {
            const int more = found[i] - shared->processes[i].finished;
            result->lost += more < 0 ? -more : 0;
            result->extra += more > ends[i] ? more - ends[i] : 0;
        }
    }
};

// Runs the processes to their end and looks at the list. The semaphore is that of the installation
// that VORNA_INI names.
inline Counted count_under_semaphore(const Counting &counting) {
    void *memory =
        // cppcheck-suppress invalidFunctionArg
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("mmap");
        std::abort();
    }
    Crowd crowd = {counting, new (memory) Shared{}};
    for (int i = 0; i < counting.processes; i++) {
        crowd.start(i);
    }
    Counted result;
    crowd.finish(&result);
    crowd.compare(&result);
    munmap(memory, sizeof(Shared));
    return result;
}

} // namespace vn_test
