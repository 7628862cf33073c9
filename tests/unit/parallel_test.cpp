#include "base/parallel.h"

#include "base/trace.h"
#include "helpers.h"

#include <atomic>
#include <csignal>
#include <pthread.h>
#include <set>
#include <unistd.h>
#include <vector>

TEST(parallel, all_is_done_once_a_few_at_a_time_and_what_is_said_stays_apart)
{
    static constexpr size_t at_a_time = 4;
    std::vector<std::string> said(20);
    std::atomic<size_t> running = 0, most = 0, deaf = 0;
    const pthread_t self = pthread_self();
    do_many(said.size(), at_a_time, [&](size_t i) {
        const keep_diagnostics keep(&said[i]);
        const size_t now = ++running;
        for (size_t before = most; before < now && !most.compare_exchange_weak(before, now);)
            continue;
        say("%zu ", i);
        usleep(5000);
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        deaf += pthread_equal(pthread_self(), self) || sigismember(&blocked, SIGINT) == 1;
        say("done");
        --running;
    });
    for (size_t i = 0; i < said.size(); ++i)
        EXPECT_EQ(said[i], std::to_string(i) + " done");
    EXPECT_EQ(most, at_a_time);
    EXPECT_EQ(deaf, said.size());
    do_many(3, 1, [&](size_t) { EXPECT_TRUE(pthread_equal(pthread_self(), self)); });
}
