#include "workflows/flash.h"

#include "base/clock.h"
#include "base/files.h"
#include "base/signals.h"
#include "base/trace.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr int bogus_exit_status = 0x2e;
constexpr int exec_failed_status = 1;
constexpr useconds_t spinner_step_us = 50000;

/* The child: its output into the log, then the tool. A log that can't be opened leaves the output where the
 * program's own goes. Nobody could answer a question that stands in the log, so there is no input. In a
 * session of its own the tool gets none of the signals that a terminal or a caller sends to all of this run;
 * beyond that they mean to it what they mean to any program. */
[[noreturn]] static void run_tool(const Cmd &cmd, const char *log_path)
{
    setsid();
    reset_signals();
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        const int log = open_for_append(log_path);
        if (log == -1)
            perror(log_path);
        else
            dup2(log, stream);
    }
    const int no_input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (no_input != -1) dup2(no_input, STDIN_FILENO);
    execvp(cmd.argv[0], cmd.argv.data());
    perror(cmd.argv[0]);
    _exit(exec_failed_status);
}

/* Waits for the child. Returns true when it has ended, false when it still runs (only with WNOHANG). An end
 * that can't be learnt counts as a failure of the tool: nothing says that the drive was written. */
static bool wait_for(pid_t pid, int *wait_status, int flags)
{
    pid_t ended;
    do
        ended = waitpid(pid, wait_status, flags);
    while (ended == -1 && errno == EINTR);
    if (ended == -1) {
        perror("waitpid");
        *wait_status = W_EXITCODE(exec_failed_status, 0);
    }
    return ended != 0;
}

static void wait_with_spinner(pid_t pid, int *wait_status, const update_args &args)
{
    static const char spinner[] = "|/-\\";
    printf("\rFlashing drive %u of %u  ", args.i, args.total);
    for (size_t i = 0; !wait_for(pid, wait_status, WNOHANG); i = (i + 1) % (sizeof spinner - 1)) {
        printf("\b%c", spinner[i]);
        fflush(stdout);
        usleep(spinner_step_us);
    }
    printf("\n");
    fflush(stdout);
}

/* Writes to the error stream and, when it is open, to the log. */
__attribute__((format(printf, 2, 3))) static void report(FILE *log, const char *fmt, ...)
{
    FILE *const streams[] = {stderr, log};
    for (FILE *f : streams) {
        if (!f) continue;
        va_list args;
        va_start(args, fmt);
        vfprintf(f, fmt, args);
        va_end(args);
    }
}

/* The drive family that is told a false error by one controller model. */
static bool is_RE3(const Dev *dev)
{
    return dev->vendor && *dev->vendor == "ATA" && dev->model &&
           dev->model->find("WD5002ABYS-50B1B") != std::string::npos;
}

static bool runs_new_revision_after_all(Dev *dev)
{
    if (!dev->is_Tirsel_3(dev) || !is_RE3(dev)) return false;
    dev->get_device_info(dev);
    return dev->rev == dev->target_rev;
}

attempt_result judge_wait_status(Dev *dev, int wait_status, const char *line, FILE *log)
{
    if (WIFSIGNALED(wait_status)) {
        report(log, "Command \"%s\" died with signal %d\n", line, WTERMSIG(wait_status));
        return attempt_failed;
    }
    if (WIFSTOPPED(wait_status)) {
        report(log, "Command \"%s\" STOPped due to signal %d\n", line, WSTOPSIG(wait_status));
        return attempt_failed;
    }
    const int exit_status = WEXITSTATUS(wait_status);
    if (exit_status == 0) return attempt_succeeded;
    if (exit_status == bogus_exit_status && runs_new_revision_after_all(dev)) {
        if (log) fprintf(log, "Ignoring bogus error 0x2e\n");
        return attempt_succeeded;
    }
    report(log, "Command \"%s\" failed with status %d\n", line, exit_status);
    return attempt_failed;
}

static void report_success(const update_args &args, unsigned seconds, FILE *log)
{
    const std::string message =
        format_text(question_size, "Firmware update of drive %u of %u successful, duration %us!", args.i,
                    args.total, seconds);
    if (!args.yes) {
        printf("%s          \n", message.c_str());
        fflush(stdout);
    }
    if (log) fprintf(log, "%s\n", message.c_str());
}

attempt_result flash_once(Dev *dev, const Cmd &cmd, const char *line, const update_args &args)
{
    const hold_signals hold;
    const time_t start = uptime_s();
    /* A controller library may have changed it; ignored, it would hide how the tool ended. */
    signal(SIGCHLD, SIG_DFL);
    const pid_t pid = fork();
    if (pid == -1) {
        perror("fork");
        return attempt_not_started;
    }
    if (pid == 0) {
        run_tool(cmd, args.log_path);
    }

    int wait_status = 0;
    if (!args.yes)
        wait_with_spinner(pid, &wait_status, args);
    else
        wait_for(pid, &wait_status, 0);
    const auto seconds = static_cast<unsigned>(uptime_s() - start);

    file_ptr log = append_file(args.log_path);
    trace("Command=\"%s\"\n", line);
    trace("exitstat=%#x, WIFEXITED=%d\n", static_cast<unsigned>(wait_status), WIFEXITED(wait_status));
    trace("WEXITSTATUS=%d\n", WEXITSTATUS(wait_status));
    const attempt_result result = judge_wait_status(dev, wait_status, line, log.get());
    if (result == attempt_succeeded) report_success(args, seconds, log.get());
    close_written(std::move(log), args.log_path);
    return result;
}
