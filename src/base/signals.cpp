#include "base/signals.h"

#include <iterator>

constexpr int held_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};
constexpr int end_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

static volatile sig_atomic_t noted_signal;
static sigset_t mask_while_waiting;

hold_signals::hold_signals()
{
    sigset_t held;
    sigemptyset(&held);
    for (const int s : held_signals)
        sigaddset(&held, s);
    sigprocmask(SIG_BLOCK, &held, &before_);
}

hold_signals::~hold_signals()
{
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool hold_signals::is_pending()
{
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    for (const int s : end_signals) {
        struct sigaction now = {};
        sigaction(s, nullptr, &now);
        /* One that is ignored, as nohup has it, stays pending while it is held and asks for nothing. */
        if (sigismember(&pending, s) == 1 && now.sa_handler != SIG_IGN) return true;
    }
    return false;
}

void hold_signals::ignore_in_child() const
{
    for (const int s : held_signals)
        signal(s, SIG_IGN);
    signal(SIGPIPE, SIG_DFL); /* ignored here, but a program expects it as usual */
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

void reset_signals_in_child()
{
    for (const int s : held_signals)
        signal(s, SIG_DFL);
    signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

static void note_signal(int s)
{
    noted_signal = s;
}

note_end_signals::note_end_signals()
{
    static_assert(std::size(end_signals) == num_signals);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGWINCH);
    sigaddset(&blocked, SIGTSTP);
    for (const int s : end_signals)
        sigaddset(&blocked, s);
    sigprocmask(SIG_BLOCK, &blocked, &mask_before_);
    mask_while_waiting = mask_before_;

    struct sigaction note = {};
    note.sa_handler = note_signal;
    for (int i = 0; i < num_signals; ++i) {
        sigaction(end_signals[i], nullptr, &before_[i]);
        /* One that was ignored from the start stays so: nohup means it. */
        if (before_[i].sa_handler != SIG_IGN) sigaction(end_signals[i], &note, nullptr);
    }
}

note_end_signals::~note_end_signals()
{
    /* One still pending is noted before the old handlers come back. */
    sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
    for (int i = 0; i < num_signals; ++i)
        sigaction(end_signals[i], &before_[i], nullptr);
}

const sigset_t *waiting_mask()
{
    return &mask_while_waiting;
}

bool end_is_requested()
{
    return noted_signal != 0;
}

void obey_end_request()
{
    if (noted_signal == 0) return;
    signal(noted_signal, SIG_DFL);
    raise(noted_signal);
}
