/* signals.h - requests to end the program, and work that must be brought to a good end before they are
 * obeyed. */
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

    /* True when one of them waits to take effect that asks the program to end. */
    static bool is_pending();

  private:
    sigset_t before_;
};

/* While it lives, signals that ask the program to end are only noted, and they, a change of the terminal's
 * size and a request to stop are delivered nowhere but inside ppoll with waiting_mask(): whoever waits for a
 * key sees each. */
class note_end_signals
{
  public:
    note_end_signals();
    ~note_end_signals();
    note_end_signals(const note_end_signals &) = delete;
    note_end_signals &operator=(const note_end_signals &) = delete;

  private:
    static constexpr int num_signals = 4;
    struct sigaction before_[num_signals];
    sigset_t mask_before_;
};

/* The signal mask to wait with while a note_end_signals lives. */
const sigset_t *waiting_mask();

/* True when a signal has been noted that asks the program to end. */
bool end_is_requested();

/* Rests for so many seconds; while signals are held, no longer than until one asks the program to end. */
void pause_for(unsigned seconds);

/* For a process that becomes another program or lives a life of its own: every signal takes its default
 * action again, and none is blocked. */
void reset_signals();

/* While it lives, INT and QUIT are ignored, as by the library's system(): they are for the command that is
 * waited for. */
class leave_keys_to_child
{
  public:
    leave_keys_to_child();
    ~leave_keys_to_child();
    leave_keys_to_child(const leave_keys_to_child &) = delete;
    leave_keys_to_child &operator=(const leave_keys_to_child &) = delete;

  private:
    struct sigaction interrupt_before_;
    struct sigaction quit_before_;
};

/* Ends the program by the noted signal, if there is one. To be called once what a screen left behind is
 * cleaned up. */
void obey_end_request();
