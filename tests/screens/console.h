/* console.h - the real program on a simulated machine and a terminal of its own: keys go in, and what a
 * person would see there is read back. What is asked of the screen is waited for, up to a time limit; a
 * failure shows the screen. */
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>
#include <vector>
#include <vterm.h>

struct terminal {
    unsigned short rows = 24, cols = 80;
    const char *term = "xterm-256color", *locale = "C.UTF-8";
    bool has_colors = true;
};
// clang-format off
constexpr terminal terminals[] = {{},                {24, 80, "linux", "C"},         {24, 80, "vt100", "C", false},
                                  {200, 400, "linux"}, {10, 40, "xterm-256color", "C"}, {4, 20, "vt100", "C", false}};
// clang-format on

struct console_setup {
    std::string inventory;
    std::map<std::string, std::string> files = {}; /* put below the rehearsal directory before the start */
    terminal on = {};
    std::string option = {};  /* of vandrel's */
    bool is_piped = false;    /* keys come through a pipe, which may end while the terminal lives on */
    bool ignores_hup = false; /* from the start, as nohup has it */
};

/* How a cell is drawn, on black or on the terminal's own background. */
enum color { odd = -1, red = 1, green = 2, usual = 7 };
struct look {
    bool bold, reverse;
    color text;
    bool operator==(const look &) const = default;
};
constexpr look plain = {false, false, usual};

/* How many processes of this parent live, to go by /proc/PID/stat. */
inline long count_children(pid_t parent)
{
    const std::filesystem::directory_iterator processes("/proc");
    return std::count_if(begin(processes), end(processes), [parent](const auto &process) {
        std::ifstream in(process.path() / "stat");
        char state = 'Z';
        pid_t parent_of_it = 0;
        in.ignore(4096, ')') >> state >> parent_of_it;
        return state != 'Z' && parent_of_it == parent;
    });
}

struct console {
    using result = testing::AssertionResult;

    pid_t pid = -1;  /* -1 once it is over */
    std::string raw; /* all that it wrote to the terminal */

    explicit console(const console_setup &setup)
    {
        EXPECT_NE(mkdtemp(dir_.data()), nullptr);
        std::map<std::string, std::string> files = setup.files;
        files["machine"]; /* marks the directory as the rehearsal's */
        files["inventory"] = setup.inventory;
        files["suppressions"] = "leak:new_prescr\n"; /* curses' own, after each failure to start */
        for (const auto &[name, content] : files) {
            const std::filesystem::path path = dir_ + "/" + name;
            create_directories(path.parent_path());
            std::ofstream(path, std::ios::binary) << content;
            chmod(path.c_str(), 0755);
        }
        vt_ = vterm_new(setup.on.rows, setup.on.cols);
        vterm_set_utf8(vt_, 1);
        vterm_output_set_callback(vt_, send, this);
        screen_ = vterm_obtain_screen(vt_);
        vterm_screen_enable_altscreen(screen_, 1);
        vterm_screen_reset(screen_, 1);

        const winsize size = {setup.on.rows, setup.on.cols, 0, 0};
        EXPECT_EQ(openpty(&master_, &slave_, nullptr, nullptr, &size), 0);
        tcgetattr(slave_, &settings_);
        int ends[] = {-1, -1};
        EXPECT_EQ(setup.is_piped ? pipe(ends) : 0, 0);
        for (const int fd : {master_, slave_, ends[1]})
            fcntl(fd, F_SETFD, FD_CLOEXEC);
        fcntl(master_, F_SETFL, O_NONBLOCK);
        const std::string sanitizer = "_OPTIONS=log_path=" + dir_ + "/sanitizer";
        const std::string command = std::string("exec env -i PATH=\"$PATH\" TERM=") + setup.on.term +
                                    " LC_ALL=" + setup.on.locale + " ASAN" + sanitizer + " UBSAN" +
                                    sanitizer + " LSAN_OPTIONS=print_suppressions=0:suppressions=" + dir_ +
                                    "/suppressions TERMINFO='" TERMINFO
                                    "' VANDREL_REHEARSAL_SLEEP=0.01 '" REHEARSE "' --dir " +
                                    dir_ + " " + dir_ + "/inventory " + setup.option;
        prctl(PR_SET_CHILD_SUBREAPER, 1); /* whatever a run leaves behind becomes a child of this process */
        pid = fork();
        if (pid == 0) {
            login_tty(dup(slave_));
            if (setup.is_piped) dup2(ends[0], STDIN_FILENO);
            if (setup.ignores_hup) ::signal(SIGHUP, SIG_IGN);
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        close(ends[0]);
        keys_ = setup.is_piped ? ends[1] : master_;
    }
    console(const console &) = delete;
    ~console() /* no sanitizer may have complained */
    {
        if (pid > 0) kill(pid, SIGKILL);
        if (pid > 0) waitpid(pid, nullptr, 0);
        for (const auto &entry : std::filesystem::directory_iterator(dir_))
            EXPECT_FALSE(entry.path().filename().string().starts_with("sanitizer"))
                << file(entry.path().filename());
        for (const int fd : {master_, slave_, keys_ == master_ ? -1 : keys_})
            close(fd);
        vterm_free(vt_);
        std::filesystem::remove_all(dir_);
    }

    /* Types keys, of which 'v' and '^' stand for the cursor keys. */
    void type(std::string_view keys)
    {
        for (const char key : keys)
            if (key == 'v' || key == '^') /* in the bytes that the terminal sends in its present mode */
                vterm_keyboard_key(vt_, key == 'v' ? VTERM_KEY_DOWN : VTERM_KEY_UP, VTERM_MOD_NONE);
            else
                send(&key, 1, this);
    }
    void resize(unsigned short rows, unsigned short cols)
    {
        vterm_set_size(vt_, rows, cols);
        const winsize size = {rows, cols, 0, 0};
        EXPECT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0); /* the kernel sends SIGWINCH */
    }
    void confirm() /* answers the risk confirmation */
    {
        EXPECT_TRUE(cursor(15, 0));
        type("7q2z\n");
        EXPECT_TRUE(shows("*** Firmware Update"));
    }
    void signal(int number) const
    {
        ASSERT_GT(pid, 0) << "no program to signal"; /* -1 would be every process of the machine */
        ASSERT_EQ(kill(pid, number), 0);
    }
    void end_input() /* of the pipe, or else the terminal is closed */
    {
        if (keys_ == master_) master_ = -1;
        close(std::exchange(keys_, -1));
    }

    result until(const std::string &what, const std::function<bool()> &holds)
    {
        static std::chrono::seconds patience{20}; /* much less after a first disappointment */
        const auto limit = std::chrono::steady_clock::now() + patience;
        do {
            take_output();
            if (holds()) return testing::AssertionSuccess();
        } while (std::chrono::steady_clock::now() < limit);
        patience = std::chrono::seconds(1);
        return testing::AssertionFailure() << "in vain: " << what << "\n"
                                           << screen() << file("root/Data/Vandrel.stderr");
    }
    result shows(const std::string &text)
    {
        return until("shows " + text, [&] { return screen().find(text) != std::string::npos; });
    }
    result row(int row, const std::string &text)
    {
        return until("row " + std::to_string(row) + " is " + text, [&] { return text_of(row) == text; });
    }
    result rows(int first, const std::vector<std::string> &texts)
    {
        result all = row(first, texts[0]);
        for (size_t i = 1; all && i < texts.size(); ++i)
            all = row(first + static_cast<int>(i), texts[i]);
        return all;
    }
    result drawn(int row, look expected) /* all of the row */
    {
        return until("look of row " + std::to_string(row), [&] {
            int column = 0;
            for (VTermScreenCell cell; vterm_screen_get_cell(screen_, {row, column}, &cell); ++column)
                if (look_of(row, column) != expected) return false;
            return column > 0;
        });
    }
    result cursor(int row, int column)
    {
        return until("cursor at " + std::to_string(row) + "," + std::to_string(column), [&] {
            VTermPos at;
            vterm_state_get_cursorpos(vterm_obtain_state(vt_), &at);
            return at.row == row && at.col == column;
        });
    }
    result rests() /* uses no processor time for a while */
    {
        return until("rests", [this, quiet = 0, before = 0L]() mutable {
            clockid_t clock;
            timespec now = {};
            if (clock_getcpuclockid(pid, &clock) == 0) clock_gettime(clock, &now);
            return (quiet = std::exchange(before, now.tv_nsec) == now.tv_nsec ? quiet + 1 : 0) == 5;
        });
    }
    /* Ends with an exit status, or minus a signal, without having been busy; the terminal is as it was before
     * and no process is left behind. */
    result ends(int status = 0)
    {
        if (result ended = until("ends", [&] { return pid == -1; }); !ended) return ended;
        const int got = WIFSIGNALED(status_) ? -WTERMSIG(status_) : WEXITSTATUS(status_);
        if (got != status) return testing::AssertionFailure() << "ended with " << got << "\n" << screen();
        if (used_.ru_utime.tv_sec + used_.ru_stime.tv_sec > 1)
            return testing::AssertionFailure() << "was busy";
        if (!is_restored()) return testing::AssertionFailure() << "left the terminal changed";
        return until("leaves no process", [] { return count_children(getpid()) == 0; });
    }

    [[nodiscard]] std::string text_of(int row) const /* without trailing blanks */
    {
        if (row >= size().row) return {};
        char text[2000];
        const size_t len = vterm_screen_get_text(screen_, text, sizeof text, {row, row + 1, 0, size().col});
        return std::string(text, len).substr(0, std::string_view(text, len).find_last_not_of(' ') + 1);
    }
    [[nodiscard]] look look_of(int row, int column) const
    {
        VTermScreenCell cell = {};
        EXPECT_TRUE(vterm_screen_get_cell(screen_, {row, column}, &cell));
        const bool is_own = (cell.fg.type & VTERM_COLOR_DEFAULT_FG) != 0;
        const bool is_black = (cell.bg.type & VTERM_COLOR_DEFAULT_BG) != 0 || cell.bg.indexed.idx == 0;
        const color text = is_own ? usual : static_cast<color>(cell.fg.indexed.idx);
        return {cell.attrs.bold != 0, cell.attrs.reverse != 0, is_black ? text : odd};
    }
    [[nodiscard]] std::string screen() const /* rows with text, as "ROW|TEXT" */
    {
        std::string all;
        for (int row = 0; row < size().row; ++row)
            if (const std::string text = text_of(row); !text.empty())
                all += std::to_string(row) + "|" + text + "\n";
        return all;
    }
    [[nodiscard]] std::string file(const std::string &name) const /* of the rehearsal directory */
    {
        std::ifstream in(dir_ + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    [[nodiscard]] bool has_sent(const std::string &command) const
    {
        return file("commands.log").find(command) != std::string::npos;
    }

  private:
    static void send(const char *bytes, size_t len, void *self)
    {
        EXPECT_EQ(write(static_cast<console *>(self)->keys_, bytes, len), static_cast<ssize_t>(len));
    }
    void take_output()
    {
        constexpr int look_again_ms = 20; /* for what does not show on the screen: files, processes */
        pollfd output = {.fd = master_, .events = POLLIN, .revents = 0};
        poll(&output, 1, look_again_ms);
        if (pid != -1 && wait4(pid, &status_, WNOHANG, &used_) == pid) pid = -1;
        char bytes[65536];
        for (ssize_t n; (n = read(master_, bytes, sizeof bytes)) > 0;) {
            raw.append(bytes, static_cast<size_t>(n));
            vterm_input_write(vt_, bytes, static_cast<size_t>(n));
        }
    }
    [[nodiscard]] bool is_restored() const
    {
        if (master_ == -1) return true; /* the terminal is gone */
        termios now = {};
        tcgetattr(slave_, &now);
        const size_t begin = raw.rfind("\033[?1049h"); /* of the alternate screen */
        return now.c_lflag == settings_.c_lflag && now.c_iflag == settings_.c_iflag &&
               now.c_oflag == settings_.c_oflag &&
               (begin == std::string::npos || raw.find("\033[?1049l", begin) != std::string::npos);
    }
    [[nodiscard]] VTermPos size() const
    {
        VTermPos size;
        vterm_get_size(vt_, &size.row, &size.col);
        return size;
    }

    std::string dir_ = testing::TempDir() + "vandrel-screens-XXXXXX";
    int master_ = -1, slave_ = -1, keys_ = -1; /* keys_: where typed keys are written to */
    int status_ = 0;                           /* once it is over, as wait4 has it */
    rusage used_ = {};
    termios settings_ = {}; /* before the start */
    VTerm *vt_ = nullptr;
    VTermScreen *screen_ = nullptr;
};

/* A drive's inventory line: sda at 0,0 for 'a' and so on. There is an update for MODEL-A only. */
inline std::string drive(char letter, const std::string &words = "", const std::string &model = "MODEL-A")
{
    return std::string("sd") + letter + ",0," + std::to_string(letter - 'a') + ",ATA,\"" + model +
           "\",0001," + (model == "MODEL-A" ? "0002,\"new.bin\"; " : "-,-; ") + words + "\n";
}
inline std::string other_drive(char letter, const std::string &words = "")
{
    return drive(letter, words, "MODEL-B");
}
inline std::string drives(const std::string &letters)
{
    return letters.empty() ? "" : drive(letters[0]) + drives(letters.substr(1));
}

/* The text cut to a row, without trailing blanks. */
inline std::string cut(const std::string &text, int cols)
{
    const std::string head = text.substr(0, static_cast<size_t>(cols));
    return head.substr(0, head.find_last_not_of(' ') + 1);
}

/* The text in the middle of a row. */
inline std::string centred(const std::string &text, int cols)
{
    const int left = (cols - static_cast<int>(text.size())) / 2;
    return text.empty() ? "" : std::string(static_cast<size_t>(std::max(left, 0)), ' ') + cut(text, cols);
}
