"""qob queue on a terminal: the list for people, and watch, which gives the terminal back as it found it."""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import termios
import time

from queue_tool import QueueTest, message, recipient
from tool import ESCAPES, TOOL

CONTROLS = re.compile(rb"\x1b\[[?0-9;]*[A-Za-z]")
ENTER = b"\x1b[?1049h\x1b[?25l"
LEAVE = b"\x1b[?25h\x1b[?1049l"


class Terminal:
    """A child with a terminal of its own: what it wrote, and keys for it."""

    def __init__(self, words, env, columns=100, rows=24):
        self.ours, self.theirs = pty.openpty()
        self.resize(columns, rows)
        self.modes = termios.tcgetattr(self.theirs)
        self.process = subprocess.Popen([TOOL, *words], stdin=self.theirs, stdout=self.theirs, stderr=self.theirs, env=env,
                                        start_new_session=True, preexec_fn=self.control)
        self.got = b""

    def control(self):
        fcntl.ioctl(self.theirs, termios.TIOCSCTTY, 0)

    def resize(self, columns, rows):
        fcntl.ioctl(self.theirs, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def read(self, seconds):
        if not select.select([self.ours], [], [], seconds)[0]:
            return b""
        try:
            data = os.read(self.ours, 65536)
        except OSError:
            return b""
        self.got += data
        return data

    def until(self, text, seconds=60):
        """Waits for the text behind what was waited for before."""
        end = time.monotonic() + seconds
        while text not in self.got and time.monotonic() < end:
            self.read(0.1)
        assert text in self.got, (text, self.got[-500:])
        seen, self.got = self.got.split(text, 1)
        return seen + text

    def key(self, key):
        os.write(self.ours, key)

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def end(self, seconds=60):
        """The exit code; everything is read meanwhile."""
        end = time.monotonic() + seconds
        while self.process.poll() is None and time.monotonic() < end:
            self.read(0.05)
        while self.read(0.05):
            pass
        code = self.process.wait(1)
        modes = termios.tcgetattr(self.theirs)
        os.close(self.theirs)
        os.close(self.ours)
        return code, modes == self.modes


class CliQueueTerminal(QueueTest):
    def setUp(self):
        super().setUp()
        self.fill(message(1, "alice@example.org", age=7230, due_in=630, statusText="deferred " + "x" * 200),
                  recipient(1, "bob@one.example"), message(2, age=30, stateText="HELD"))
        self.mail(1, 4300)

    def start(self, *words, columns=100, rows=24, env=None):
        terminal = Terminal(["queue", *words], env or self.environment(), columns, rows)
        self.addCleanup(terminal.stop)
        return terminal

    def test_cuts_lines_and_shortens_sizes_on_a_terminal(self):
        terminal = self.start("list", columns=70)
        terminal.until(b"pending\r\n")
        self.assertEqual(terminal.end(), (0, True))
        terminal = self.start("list", columns=70)
        lines = ESCAPES.sub(b"", terminal.until(b"pending\r\n")).split(b"\r\n")
        terminal.end()
        self.assertEqual(lines[0].split(), [b"id", b"age", b"size", b"tries", b"next", b"sender", b"rcpts", b"recipie"])
        self.assertEqual(lines[1].split()[:3], [b"00000001", b"2h0m", b"4.2K"])
        self.assertLessEqual(max(len(line) for line in lines), 70)
        self.assertEqual(lines[3], b"2 messages, 1 held, 1 recipient pending")

    def test_colours_the_head_unless_told_not_to(self):
        self.assertIn(b"\x1b[1mid ", self.start("list").until(b"pending\r\n"))
        self.assertNotIn(b"\x1b", self.start("list", "--color", "never").until(b"pending\r\n"))
        self.assertNotIn(b"\x1b", self.start("list", env=self.environment(NO_COLOR="1")).until(b"pending\r\n"))

    def test_prints_the_same_json_on_a_terminal(self):
        terminal = self.start("list", "--json")
        (first, second) = self.objects(terminal.until(b'"00000002"') + terminal.until(b"\r\n").replace(b"\r\n", b"\n"))
        self.assertEqual((first["id"], second["id"]), ("00000001", "00000002"))

    def test_watches_until_q(self):
        terminal = self.start("watch", "--interval", "1")
        first = terminal.until(b"00000002")
        self.assertIn(ENTER, first)
        self.assertIn(b"2 messages, 1 held", first)
        self.fill(message(3))
        terminal.until(b"3 messages")
        terminal.until(b"00000003")
        terminal.key(b"q")
        terminal.until(LEAVE)
        self.assertEqual(terminal.end(), (0, True))

    def test_looks_at_once_when_asked(self):
        terminal = self.start("watch", "--interval", "3600")
        terminal.until(b"00000002")
        self.fill(message(3))
        terminal.key(b" ")
        terminal.until(b"00000003")
        terminal.key(b"q")
        self.assertEqual(terminal.end(), (0, True))

    def test_gives_the_terminal_back_on_signals(self):
        for send in (lambda t: t.key(b"\x03"), lambda t: t.process.send_signal(signal.SIGTERM),
                     lambda t: t.process.send_signal(signal.SIGHUP)):
            terminal = self.start("watch", "--interval", "3600")
            terminal.until(b"00000002")
            send(terminal)
            terminal.until(LEAVE)
            self.assertEqual(terminal.end(), (0, True))

    def test_draws_anew_when_the_size_changes(self):
        terminal = self.start("watch", "--interval", "3600", columns=60, rows=5)
        seen = terminal.until(b"\x1b[J")
        self.assertNotIn(b"00000002", seen)
        self.assertLessEqual(max(len(line) for line in CONTROLS.sub(b"", seen).split(b"\r\n")), 60)
        terminal.resize(120, 30)
        terminal.process.send_signal(signal.SIGWINCH)
        terminal.until(b"00000002")
        terminal.key(b"q")
        self.assertEqual(terminal.end(), (0, True))

    def test_gives_the_terminal_back_while_it_is_stopped(self):
        terminal = self.start("watch", "--interval", "3600")
        terminal.until(b"00000002")
        terminal.process.send_signal(signal.SIGTSTP)
        terminal.until(LEAVE)
        end = time.monotonic() + 30
        while time.monotonic() < end and not os.waitid(os.P_PID, terminal.process.pid, os.WSTOPPED | os.WNOHANG | os.WNOWAIT):
            time.sleep(0.02)
        self.assertEqual(termios.tcgetattr(terminal.theirs), terminal.modes)
        terminal.process.send_signal(signal.SIGCONT)
        terminal.until(ENTER)
        terminal.until(b"00000002")
        terminal.key(b"q")
        self.assertEqual(terminal.end(), (0, True))

    def test_ends_after_so_many_looks(self):
        terminal = self.start("watch", "--interval", "1", "--count", "2")
        terminal.until(b"00000002")
        terminal.until(b"00000002")
        terminal.until(LEAVE)
        self.assertEqual(terminal.end(), (0, True))

    def test_watches_without_a_terminal_only_so_often(self):
        self.fails(64, "queue", "watch", says="--count")
        text = self.good("queue", "watch", "--count", "2", "--interval", "1", "held").text
        self.assertEqual(text.count("1 message, 1 held"), 2)
        self.assertNotIn("\x1b", text)
        rows = self.json("queue", "watch", "--count", "2", "--interval", "1", "held")
        self.assertEqual([row["id"] for row in rows], ["00000002"] * 2)
        for words in (["--interval", "0"], ["--count", "0"], ["--interval", "x"]):
            self.assertEqual(self.run_tool("queue", "watch", *words).code, 64)
