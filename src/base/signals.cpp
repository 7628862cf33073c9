#include "base/signals.h"

constexpr int held_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};

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

void hold_signals::ignore_in_child() const
{
    for (const int s : held_signals)
        signal(s, SIG_IGN);
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}
