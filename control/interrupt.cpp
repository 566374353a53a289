// Signals for a remote command, see interrupt.h. They are blocked except while the relay waits: so
// none comes between a look and the wait behind it.
#include "control/interrupt.h"

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool bWanted = false;
bool bActive = false;
sigset_t whileWaiting;
volatile std::sig_atomic_t iTaken = 0;

void keep_signal(int iSignal) {
    iTaken = iSignal;
}

} // namespace

void pass_signals_on() {
    bWanted = true;
}

signal_passing::signal_passing(bool bPossible) : bActive_(bWanted && bPossible), old_() {
    if (!bActive_) {
        return;
    }
    sigset_t blocked;
    ::sigemptyset(&blocked);
    for (const int iSignal : kSignals) {
        ::sigaddset(&blocked, iSignal);
    }
    ::sigprocmask(SIG_BLOCK, &blocked, &old_);
    whileWaiting = old_;
    for (const int iSignal : kSignals) {
        struct sigaction action = {};
        ::sigaction(iSignal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) { // a caller's nohup holds
            action.sa_handler = keep_signal;
            ::sigaction(iSignal, &action, nullptr);
        }
        ::sigdelset(&whileWaiting, iSignal);
    }
    bActive = true;
}

signal_passing::~signal_passing() {
    if (bActive_) {
        bActive = false;
        for (const int iSignal : kSignals) {
            struct sigaction action = {};
            ::sigaction(iSignal, nullptr, &action);
            if (action.sa_handler == keep_signal) {
                ::signal(iSignal, SIG_DFL);
            }
        }
        ::sigprocmask(SIG_SETMASK, &old_, nullptr);
    }
}

const sigset_t *signals_while_waiting() {
    return bActive ? &whileWaiting : nullptr;
}

int take_signal() {
    if (bActive) { // the wait lets none in while there is always something to receive
        sigset_t blocked;
        ::sigprocmask(SIG_SETMASK, &whileWaiting, &blocked);
        ::sigprocmask(SIG_SETMASK, &blocked, nullptr);
    }
    const int iSignal = iTaken;
    iTaken = 0;
    return iSignal;
}
