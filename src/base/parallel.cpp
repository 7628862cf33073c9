#include "base/parallel.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <pthread.h>
#include <vector>

namespace
{
struct work {
    const std::function<void(size_t)> &task;
    size_t count;
    std::atomic<size_t> next;
};
} // namespace

static void *do_work(void *data)
{
    auto *w = static_cast<work *>(data);
    for (size_t i; (i = w->next++) < w->count;)
        w->task(i);
    return nullptr;
}

void do_many(size_t count, size_t at_a_time, const std::function<void(size_t i)> &task)
{
    work w = {.task = task, .count = count, .next = 0};
    const size_t helpers = std::min(count, at_a_time);
    std::vector<pthread_t> threads;
    threads.reserve(helpers);

    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); /* a new thread starts with its maker's mask */
    pthread_t thread;
    /* std::thread would throw where there is no room for another; here it is no reason to stop. */
    while (threads.size() + 1 < helpers && pthread_create(&thread, nullptr, do_work, &w) == 0)
        threads.push_back(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    do_work(&w);
    for (const pthread_t t : threads)
        pthread_join(t, nullptr);
}
