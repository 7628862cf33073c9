#include "rehearsal/launch/launch.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rehearsal
{

constexpr int passed_on[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};

static volatile pid_t child = -1;

/* A signal from the terminal reaches the child by itself: it goes to all processes there. */
static void pass_on(int signal, siginfo_t *info, void *)
{
    if (info->si_code != SI_KERNEL && child > 0) kill(child, signal);
}

static std::string own_dir()
{
    char path[PATH_MAX];
    const ssize_t len = readlink("/proc/self/exe", path, sizeof path);
    const std::string exe(path, len > 0 ? static_cast<size_t>(len) : 0);
    return exe.substr(0, exe.rfind('/'));
}

/* The part beside this program, or where it is installed; an empty text when it is in neither place. */
static std::string find_part(const char *installed_dir, const char *name, int mode)
{
    for (const char *place : {"", installed_dir}) {
        std::string path = own_dir().append("/").append(place).append(name);
        if (access(path.c_str(), mode) == 0) return path;
    }
    return {};
}

static std::vector<char *> pointers(const std::vector<std::string> &args)
{
    std::vector<char *> argv;
    argv.reserve(args.size() + 1);
    for (const std::string &arg : args)
        argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);
    return argv;
}

std::string find_parts(parts &found)
{
    const struct {
        std::string &path;
        const char *name;
        int mode;
    } needed[] = {
        {found.preload,  "libvandrel-rehearsal.so",          R_OK},
        {found.stand_in, "vandrel-rehearsal-tool",           X_OK},
        {found.storelib, "libvandrel-rehearsal-storelib.so", R_OK},
    };
    for (const auto &[path, name, mode] : needed) {
        path = find_part("../libexec/vandrel/", name, mode);
        if (path.empty()) return std::string(name) + " is not installed";
    }
    found.shipped_tool = find_part("../sbin/", "vandrel-fw-download", X_OK);
    if (found.preload.find_first_of(" :") != std::string::npos)
        return found.preload + ": a path with a blank or a colon cannot be preloaded";
    if (const char *const chosen = getenv("VANDREL"); chosen && *chosen != '\0')
        found.vandrel = chosen;
    else
        found.vandrel = find_part("../sbin/", "vandrel", X_OK);
    if (found.vandrel.empty()) found.vandrel = "vandrel";
    return {};
}

void exec_program(const std::vector<std::string> &args)
{
    execvp(args[0].c_str(), pointers(args).data());
}

int run_program(const std::vector<std::string> &args)
{
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    for (const int signal : passed_on)
        sigaddset(&blocked, signal);
    sigprocmask(SIG_BLOCK, &blocked, &before); /* until there is somebody to pass them on to */
    const pid_t pid = fork();
    if (pid == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        exec_program(args);
        fprintf(stderr, "vandrel-rehearse: %s: %s\n", args[0].c_str(), strerror(errno));
        _exit(failed_to_start);
    }
    if (pid > 0) {
        child = pid;
        struct sigaction action = {};
        action.sa_sigaction = pass_on;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        for (const int signal : passed_on)
            sigaction(signal, &action, nullptr);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (pid < 0) {
        fprintf(stderr, "vandrel-rehearse: fork: %s\n", strerror(errno));
        return W_EXITCODE(failed_to_start, 0);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    child = -1;
    return status;
}

void end_like(int wait_status)
{
    if (WIFSIGNALED(wait_status)) {
        const rlimit no_core = {0, 0}; /* the program has left its own */
        setrlimit(RLIMIT_CORE, &no_core);
        const int signal = WTERMSIG(wait_status);
        ::signal(signal, SIG_DFL);
        raise(signal);
        _exit(128 + signal);
    }
    _exit(WEXITSTATUS(wait_status));
}

} // namespace rehearsal
