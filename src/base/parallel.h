/* parallel.h - waiting for many things at a time. */
#pragma once

#include <cstddef>
#include <functional>

/* Calls task(i) once for every i below count, at most `at_a_time` of them at the same time and each i in its
 * order of start, and returns when all have returned. Where no more threads can be had, fewer are at work;
 * the calling thread is one of them, so with `at_a_time` 1 there is no other. No signal is delivered to a
 * thread of these: whoever sends one means the program. */
void do_many(size_t count, size_t at_a_time, const std::function<void(size_t i)> &task);
