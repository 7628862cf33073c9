/* preload_sleep.cpp - the pauses that a program asks for: every one is written to the sleep log of the
 * rehearsal, as "PROGRAM FUNCTION SECONDS", and lasts as long as asked times the factor in
 * VANDREL_REHEARSAL_SLEEP (0 to 1). */
#include "rehearsal/kernel/real_function.h"
#include "rehearsal/machine/machine.h"
#include "rehearsal/text/files.h"
#include "rehearsal/text/text.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

constexpr char factor_variable[] = "VANDREL_REHEARSAL_SLEEP";
constexpr double nanoseconds = 1e9;

static double seconds_of(const timespec &t)
{
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / nanoseconds;
}

static timespec time_of(double seconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_nsec = static_cast<long>((seconds - static_cast<double>(t.tv_sec)) * nanoseconds);
    return t;
}

/* A factor of 1 changes nothing, and neither does a text that is no number. */
static double sleep_factor()
{
    const char *const text = getenv(factor_variable);
    if (!text) return 1;
    char *end = nullptr;
    const double factor = strtod(text, &end);
    return end != text && *end == '\0' && factor >= 0 && factor < 1 ? factor : 1;
}

static void log_pause(const char *function, double seconds)
{
    if (const rehearsal::machine *const m = rehearsal::current_machine())
        rehearsal::append_to_file(
            m->sleep_log_path(),
            rehearsal::format_text("%s %s %.6f\n", program_invocation_short_name, function, seconds));
}

/* Writes the pause down and rests as long as it is to last. Returns like nanosleep: 0, or -1 with errno EINTR
 * and the rest of the shortened time in left. */
static int pause_for(const char *function, double seconds, timespec *left)
{
    static const auto real = rehearsal::find_real<decltype(&nanosleep)>("nanosleep");
    log_pause(function, seconds);
    const timespec t = time_of(seconds * sleep_factor());
    return real(&t, left);
}

REHEARSAL_EXPORT unsigned sleep(unsigned seconds)
{
    timespec left{};
    return pause_for("sleep", seconds, &left) == 0 ? 0 : static_cast<unsigned>(left.tv_sec);
}

REHEARSAL_EXPORT int usleep(useconds_t microseconds)
{
    return pause_for("usleep", microseconds / 1e6, nullptr);
}

REHEARSAL_EXPORT int nanosleep(const timespec *t, timespec *left)
{
    return pause_for("nanosleep", seconds_of(*t), left);
}

/* A pause that a signal may cut short. The shortened one is waited for like the whole. */
REHEARSAL_EXPORT int sigtimedwait(const sigset_t *set, siginfo_t *info, const timespec *t)
{
    static const auto real = rehearsal::find_real<decltype(&sigtimedwait)>("sigtimedwait");
    if (!t) return real(set, info, t);
    log_pause("sigtimedwait", seconds_of(*t));
    const timespec shortened = time_of(seconds_of(*t) * sleep_factor());
    return real(set, info, &shortened);
}

/* Only pauses of a length; a wait for a point in time keeps its meaning. */
REHEARSAL_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec *t, timespec *left)
{
    static const auto real = rehearsal::find_real<decltype(&clock_nanosleep)>("clock_nanosleep");
    if (flags != 0) return real(clock, flags, t, left);
    return pause_for("clock_nanosleep", seconds_of(*t), left) == 0 ? 0 : errno;
}
