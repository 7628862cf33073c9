#include "launch.h"

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

namespace
{

constexpr int passed_on[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};

volatile pid_t child = -1;

/* A signal from the terminal reaches the child by itself: it goes to all processes there. */
void pass_on(int signal, siginfo_t *info, void *)
{
    if (info->si_code != SI_KERNEL && child > 0) kill(child, signal);
}

std::string own_dir()
{
    char path[PATH_MAX];
    const ssize_t len = readlink("/proc/self/exe", path, sizeof path);
    const std::string exe(path, len > 0 ? static_cast<size_t>(len) : 0);
    return exe.substr(0, exe.rfind('/'));
}

/* The first of the two places that exists, or an empty text. */
std::string find_part(const std::string &in_build, const std::string &installed, int mode)
{
    for (const std::string &path : {in_build, installed})
        if (access(path.c_str(), mode) == 0) return path;
    return {};
}

std::vector<char *> pointers(const std::vector<std::string> &args)
{
    std::vector<char *> argv;
    argv.reserve(args.size() + 1);
    for (const std::string &arg : args)
        argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);
    return argv;
}

} // namespace

std::string find_parts(parts &found)
{
    const std::string dir = own_dir();
    found.preload =
        find_part(dir + "/libvandrel-rehearsal.so", dir + "/../lib/vandrel/libvandrel-rehearsal.so", R_OK);
    if (found.preload.empty()) return "libvandrel-rehearsal.so is not installed";
    if (found.preload.find_first_of(" :") != std::string::npos)
        return found.preload + ": a path with a blank or a colon cannot be preloaded";
    found.stand_in =
        find_part(dir + "/vandrel-rehearsal-tool", dir + "/../lib/vandrel/vandrel-rehearsal-tool", X_OK);
    if (found.stand_in.empty()) return "vandrel-rehearsal-tool is not installed";
    if (const char *const chosen = getenv("VANDREL"); chosen != nullptr && *chosen != '\0')
        found.vandrel = chosen;
    else
        found.vandrel = find_part(dir + "/vandrel", dir + "/../sbin/vandrel", X_OK);
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
