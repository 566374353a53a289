// Signals that a user sends to a remote command: the daemon gets the signal's number as a byte on
// the second connection, and passes it on.
#pragma once

#include <csignal>

// Asks for it: from the next data phase with a second connection on, SIGINT, SIGTERM and SIGHUP go
// to the remote command instead of ending this process. Without a second connection they end it.
void pass_signals_on();

// For the data phase: while it exists the three signals wait to be taken, when pass_signals_on has
// been called and bPossible is set.
class signal_passing {
public:
    explicit signal_passing(bool bPossible);
    signal_passing(const signal_passing &) = delete;
    signal_passing &operator=(const signal_passing &) = delete;
    ~signal_passing();

private:
    bool bActive_;
    sigset_t old_;
};

// The signals that are blocked while the data phase waits; null: as they are. One that comes then,
// or came before, interrupts the wait.
const sigset_t *signals_while_waiting();

// The signal that came last, also one that no wait has let in yet, once; 0 when none came.
int take_signal();
