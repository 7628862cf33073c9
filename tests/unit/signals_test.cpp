#include "base/signals.h"

#include <csignal>
#include <gtest/gtest.h>

TEST(signals, one_that_is_ignored_asks_for_nothing)
{
    const auto before = signal(SIGHUP, SIG_IGN);
    {
        const hold_signals hold;
        raise(SIGHUP);
        EXPECT_FALSE(hold_signals::is_pending());
        raise(SIGTERM);
        EXPECT_TRUE(hold_signals::is_pending());
        signal(SIGTERM, SIG_IGN); /* takes it back */
    }
    signal(SIGTERM, SIG_DFL);
    signal(SIGHUP, before);
}
