#include "base/signals.h"

#include "base/clock.h"

#include <cerrno>
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

/* The signals that would end the program if they were let through. One that is ignored, as nohup has it,
 * stays pending while it is held and asks for nothing. */
static sigset_t effective_end_signals()
{
    sigset_t ends;
    sigemptyset(&ends);
    for (const int s : end_signals) {
        struct sigaction now = {};
        sigaction(s, nullptr, &now);
        if (now.sa_handler != SIG_IGN) sigaddset(&ends, s);
    }
    return ends;
}

bool hold_signals::is_pending()
{
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    const sigset_t ends = effective_end_signals();
    sigset_t both;
    sigandset(&both, &pending, &ends);
    return sigisemptyset(&both) == 0;
}

void pause_for(unsigned seconds)
{
    const sigset_t ends = effective_end_signals();
    const time_t end = uptime_s() + static_cast<time_t>(seconds);
    timespec left = {.tv_sec = static_cast<time_t>(seconds), .tv_nsec = 0};
    for (; left.tv_sec > 0; left.tv_sec = end - uptime_s()) {
        const int s = sigtimedwait(&ends, nullptr, &left);
        if (s == -1 && errno == EINTR)
            continue;          /* by a signal that is handled, such as a resized terminal's */
        if (s != -1) raise(s); /* it was taken off the pending ones */
        return;
    }
}

leave_keys_to_child::leave_keys_to_child() : interrupt_before_{}, quit_before_{}
{
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &interrupt_before_);
    sigaction(SIGQUIT, &ignore, &quit_before_);
}

leave_keys_to_child::~leave_keys_to_child()
{
    sigaction(SIGINT, &interrupt_before_, nullptr);
    sigaction(SIGQUIT, &quit_before_, nullptr);
}

void reset_signals()
{
    for (int s = 1; s < NSIG; ++s)
        signal(s, SIG_DFL); /* of those that can't be set nothing can be inherited */
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
