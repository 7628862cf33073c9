/* signals.h - keeping requests to end the program away from work that must not be cut off half-way. */
#pragma once

#include <csignal>

/* While it lives, the signals by which an operator, a terminal or an init system ends or stops a program
 * wait; they take effect when it goes out of scope. */
class hold_signals
{
  public:
    hold_signals();
    ~hold_signals();
    hold_signals(const hold_signals &) = delete;
    hold_signals &operator=(const hold_signals &) = delete;

    /* For a child forked meanwhile: the held signals are ignored from now on, also by the program it
     * executes, and nothing is blocked any more. */
    void ignore_in_child() const;

  private:
    sigset_t before_;
};
