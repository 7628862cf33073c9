"""The real program on a simulated machine and a terminal of its own: keys go in, and what a person would see there is
read back. What is asked of the screen is waited for, up to a time limit; a failure shows the screen."""
import collections
import copy
import ctypes
import fcntl
import os
import pathlib
import pty
import resource
import select
import signal
import struct
import termios
import time

import machine
import pyte

PR_SET_CHILD_SUBREAPER = 36
CURSOR_KEYS_SEND_O, ALTERNATE_SCREEN = 1 << 5, 1049 << 5  # modes, as the emulator numbers the private ones

Terminal = collections.namedtuple("Terminal", "rows cols term locale has_colors",
                                  defaults=(24, 80, "xterm-256color", "C.UTF-8", True))
Look = collections.namedtuple("Look", "bold reverse color")  # on black or the terminal's own background
PLAIN = Look(False, False, "usual")


class Emulator(pyte.Screen):
    """Adds what ncurses uses beyond pyte. A sequence that neither knows is an error: it would be misread in silence."""

    def set_mode(self, *modes, **how):
        super().set_mode(*modes, **how)
        if how.get("private") and 1049 in modes:
            self.shell_side = copy.deepcopy(dict(self.buffer)), copy.copy(self.cursor)
            self.buffer.clear()

    def reset_mode(self, *modes, **how):
        if how.get("private") and 1049 in modes and ALTERNATE_SCREEN in self.mode:
            rows, self.cursor = self.shell_side
            self.buffer.clear()
            self.buffer.update(rows)
        super().reset_mode(*modes, **how)

    def draw(self, data):
        super().draw(data)
        self.last_drawn = data[-1:]

    def repeat(self, count):
        self.draw(self.last_drawn * count)

    def back_tab(self, count=1):
        stops = [0] + sorted(stop for stop in self.tabstops if stop < self.cursor.x)
        self.cursor.x = stops[max(-count, -len(stops))]

    def ignore(self, *_, **__):
        """Keypad modes and window titles."""

    def debug(self, *args, **how):
        raise AssertionError(f"the terminal was sent an unknown sequence {args} {how}")


class Stream(pyte.ByteStream):
    csi = pyte.ByteStream.csi | {"b": "repeat", "Z": "back_tab", "t": "ignore"}
    escape = pyte.ByteStream.escape | {"=": "ignore", ">": "ignore"}


def drives(letters, words="", model="MODEL-A"):
    """Inventory lines: sda at 0,0 for 'a' and so on. There is an update for MODEL-A only."""
    new = '0002,"new.bin"' if model == "MODEL-A" else "-,-"
    return "".join(f'sd{c},0,{ord(c) - ord("a")},ATA,"{model}",0001,{new}; {words}\n' for c in letters)


def other_drives(letters, words=""):
    return drives(letters, words, "MODEL-B")


def cut(text, cols):
    return text[:cols].rstrip()


def centred(text, cols):
    return " " * ((cols - len(text)) // 2) + cut(text, cols) if text else ""


def children(parent):
    """How many processes of this parent live."""
    count = 0
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            state, of = stat.read_text(errors="replace").rpartition(")")[2].split()[:2]
        except OSError:
            continue
        count += state != "Z" and int(of) == parent
    return count


class Console:
    limit_s = 20  # much less after a first disappointment

    def __init__(self, case, inventory, *options, files=None, on=Terminal(), piped=False, ignores_hup=False):
        """Piped: keys come through a pipe, which may end while the terminal lives on."""
        self.case, self.machine, self.raw = case, machine.Machine(case, inventory, files), b""
        for path in self.machine.root.glob("sbin/*"):
            path.chmod(0o755)
        self.screen = Emulator(on.cols, on.rows)
        self.stream = Stream(self.screen)
        self.master, self.slave = pty.openpty()
        os.set_blocking(self.master, False)
        self.resize(on.rows, on.cols)
        self.settings, self.keys, keyboard = termios.tcgetattr(self.slave), self.master, self.slave
        if piped:
            keyboard, self.keys = os.pipe()
        suppressions = self.machine.dir / "suppressions"
        suppressions.write_text("leak:new_prescr\n")  # curses' own, after each failure to start

        def prepare():
            fcntl.ioctl(self.slave, termios.TIOCSCTTY, 0)
            if ignores_hup:
                signal.signal(signal.SIGHUP, signal.SIG_IGN)

        # Whatever a run leaves behind becomes a child of this process.
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)
        self.used_before = self.used_s()
        self.process = self.machine.start(*options, stdin=keyboard, stdout=self.slave, stderr=self.slave,
                                          start_new_session=True, preexec_fn=prepare, env={
            "TERM": on.term, "LC_ALL": on.locale, "VANDREL_REHEARSAL_SLEEP": "0.01",
            "LSAN_OPTIONS": f"print_suppressions=0:suppressions={suppressions}"})
        case.addCleanup(self.close, {keyboard, self.slave})

    def close(self, others):
        if self.process.poll() is None:
            self.process.kill()
        self.machine.finish(self.process)
        for fd in {self.master, self.keys} - {None} | others:
            os.close(fd)

    @staticmethod
    def used_s():
        used = resource.getrusage(resource.RUSAGE_CHILDREN)
        return used.ru_utime + used.ru_stime

    # What a person does

    def type(self, keys):
        """'v' and '^' stand for the cursor keys, in the bytes that the terminal sends in its present mode."""
        start = "\33O" if CURSOR_KEYS_SEND_O in self.screen.mode else "\33["
        os.write(self.keys, keys.replace("v", start + "B").replace("^", start + "A").encode("latin-1"))

    def resize(self, rows, cols):
        self.take_output()
        self.screen.resize(rows, cols)
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, cols, 0, 0))

    def confirm(self):
        self.cursor(15, 0)
        self.type("7q2z\n")
        self.shows("*** Firmware Update")

    def signal(self, number):
        self.case.assertIsNone(self.process.poll(), "no program to signal")
        self.process.send_signal(number)

    def end_input(self):
        """Of the pipe, or else the terminal is closed."""
        if self.keys == self.master:
            self.master = None
        os.close(self.keys)
        self.keys = None

    # What a person sees

    def take_output(self):
        if self.master is None:
            time.sleep(0.02)
            return
        select.select([self.master], [], [], 0.02)  # looks again for what does not show here: files, processes
        try:
            while data := os.read(self.master, 65536):
                self.raw += data
                self.stream.feed(data)
        except OSError:  # nothing more for now
            pass

    def until(self, what, holds):
        deadline = time.monotonic() + Console.limit_s
        while self.take_output() or not holds():
            if time.monotonic() > deadline:
                Console.limit_s = 1
                self.case.fail(f"in vain: {what}\n{self.text()}\n{self.machine.diagnostics}")

    def row_text(self, row):
        return "".join(self.screen.buffer[row][x].data for x in range(self.screen.columns)).rstrip()

    def text(self):
        """Rows with text, as ROW|TEXT."""
        rows = [(row, self.row_text(row)) for row in range(self.screen.lines)]
        return "".join(f"{row}|{text}\n" for row, text in rows if text)

    def look(self, row, column):
        cell = self.screen.buffer[row][column]
        color = {"default": "usual", "white": "usual"}.get(cell.fg, cell.fg)
        return Look(cell.bold, cell.reverse, color if cell.bg in ("default", "black") else "odd")

    def is_drawn(self, row, expected):
        """All of the row. A blank shows its background only, and that is its text's colour when it is reversed."""
        for column in range(self.screen.columns):
            got = self.look(row, column)
            if self.screen.buffer[row][column].data == " " and not got.reverse and got.color != "odd":
                got = expected._replace(reverse=False)
            if got != expected:
                return False
        return True

    def shows(self, text):
        self.until(f"shows {text}", lambda: text in self.text())

    def row(self, row, text):
        self.until(f"row {row} is {text!r}", lambda: self.row_text(row) == text)

    def rows(self, first, *texts):
        for row, text in enumerate(texts, first):
            self.row(row, text)

    def drawn(self, row, *look):
        self.until(f"look of row {row} is {look}", lambda: self.is_drawn(row, Look(*look)))

    def cursor(self, row, column):
        self.until(f"cursor at {row},{column}", lambda: (self.screen.cursor.y, self.screen.cursor.x) == (row, column))

    def rests(self):
        """Uses no processor time for a while."""
        clock = ~self.process.pid << 3 | 2  # the process's own, as clock_getcpuclockid() makes it
        times = []

        def is_quiet():
            times.append(time.clock_gettime(clock))
            return len(times) > 5 and times[-1] == times[-6]
        self.until("rests", is_quiet)

    def ends(self, status=0):
        """Without having been busy; the terminal is as it was before, and no process is left behind."""
        self.until("ends", lambda: self.process.poll() is not None)
        self.take_output()
        self.case.assertEqual(self.process.returncode, status, self.text())
        self.case.assertLess(self.used_s() - self.used_before, 2, "was busy")
        if self.master is not None:
            self.case.assertEqual(termios.tcgetattr(self.slave)[:4], self.settings[:4], "terminal left changed")
            self.case.assertNotIn(ALTERNATE_SCREEN, self.screen.mode)
        self.until("leaves no process", lambda: children(os.getpid()) == 0)

    def has_sent(self, command):
        return command in "\n".join(self.machine.commands) + "\n"
