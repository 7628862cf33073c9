#include "workflows/update.h"

#include "base/files.h"
#include "base/settings.h"
#include "base/signals.h"
#include "base/trace.h"
#include "device/dev.h"
#include "ui/dialogs.h"
#include "ui/pager.h"

#include <sys/stat.h>

constexpr mode_t update_umask = 022;
constexpr mode_t new_directory_mode = 0777; /* less the umask */
constexpr size_t command_line_size = 8192;
constexpr int max_attempts = 7; /* one more than the script makes */
constexpr unsigned pause_s = 10;

/* The command as a shell would take it: every word but the first in single quotes. A quote inside a word is
 * not escaped. */
static std::string join_command(const Cmd &cmd)
{
    std::string line = cmd.words.front();
    for (size_t i = 1; i < cmd.words.size(); ++i)
        line += " '" + cmd.words[i] + "'";
    return format_text(command_line_size, "%s", line.c_str());
}

/* Everything that goes into the script goes whole: whenever a signal ends the run, what is on disk can be
 * run. */
static void write_script_entry(FILE *script, const std::string &line)
{
    const hold_signals hold;
    fprintf(script, "for count in $(seq 1 6); do\n");
    fprintf(script, "    %s\n", line.c_str());
    fprintf(script, "    if [ $? -eq 0 ]; then break; fi\n");
    fprintf(script, "    sleep 10\n");
    fprintf(script, "done\n");
    if (fflush(script) == EOF) perror(COMMANDS);
}

/* Appends one line to the log, if the log can be opened. */
static void log_line(const char *log_path, const std::string &line)
{
    file_ptr log = append_file(log_path);
    if (log) fprintf(log.get(), "%s\n", line.c_str());
    close_written(std::move(log), log_path);
}

/* Attempts until one succeeds, pausing after each failure, or until the run is asked to end. Returns false
 * when all of them failed. */
static bool flash_with_retries(Dev *dev, const Cmd &cmd, const char *line, const update_args &args)
{
    unsigned errors = 0;
    for (int attempt = 0; attempt < max_attempts; ++attempt) {
        const attempt_result result = flash_once(dev, cmd, line, args);
        if (result == attempt_succeeded) return true;
        if (result == attempt_not_started) break; /* not counted as an error of the drive's */
        ++errors;
        pause_for(pause_s);
        if (hold_signals::is_pending()) break;
    }
    return errors == 0;
}

void do_update_one_device(gpointer data, gpointer user_data)
{
    auto *dev = static_cast<Dev *>(data);
    auto *args = static_cast<update_args *>(user_data);
    if (!dev || !dev->selected) return;
    if (hold_signals::is_pending()) {
        dev->selected = 0; /* nothing is begun any more, and nothing is to be told of this drive */
        return;
    }
    trace("do_update_one_device(data=%p, user_data=%p)\n", data, user_data);

    dev->fw_update_successful = 0;
    const std::unique_ptr<Cmd> cmd = dev->fw_update(dev);
    if (!cmd) {
        ++args->numerrors;
        log_line(args->log_path, "No command");
        return; /* args->i stays: the next drive is shown under this number */
    }

    const std::string line = join_command(*cmd);
    trace("Now executing: %s\n", line.c_str());
    trace("    log_path=\"%s\"\n", args->log_path);
    log_line(args->log_path, "Now executing: " + line);
    if (args->script) write_script_entry(args->script, line);

    dev->fw_update_successful = flash_with_retries(dev, *cmd, line.c_str(), *args) ? 1 : 0;
    if (!dev->fw_update_successful) ++args->numerrors;
    ++args->i;
}

/* Moves the log of an earlier run out of the way and makes a new one that nobody else has a hand in. What
 * can't be made is said by whoever opens it to write. A tree that was copied together may lack the log's
 * directory. */
static void start_log(const std::string &path)
{
    mkdir(path.substr(0, path.rfind('/')).c_str(), new_directory_mode);
    if (!move_aside(path.c_str())) perror(path.c_str());
    create_file(path.c_str());
}

static void offer_log(const update_args *args)
{
    const std::string question = format_text(question_size, "Finished %s\nDo you want to view the log file",
                                             args->numerrors ? "WITH ERRORS!" : "without errors.");
    if (!yorn(question.c_str())) return;
    showfile(args->log_path);
    obey_end_request();
}

void start_update(GList *devlist, update_args *argsp)
{
    trace("start_update(devlist=%p, argsp=%p)\n", static_cast<void *>(devlist), static_cast<void *>(argsp));
    const mode_t old_umask = umask(update_umask);
    file_ptr script = create_file(COMMANDS);
    if (!script) {
        perror(COMMANDS);
        umask(old_umask);
        return;
    }
    /* From here on the process keeps this umask: every file of the run gets the same permissions. */
    argsp->script = script.get();
    fprintf(script.get(), "#! /bin/bash\n"); /* on disk with the first drive's lines */
    start_log(Log_path);

    argsp->numerrors = 0;
    argsp->i = 1;
    argsp->log_path = Log_path.c_str();
    g_list_foreach(devlist, do_update_one_device, argsp);

    argsp->script = nullptr;
    close_written(std::move(script), COMMANDS);
    if (!argsp->yes) offer_log(argsp);
}
