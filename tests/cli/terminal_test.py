"""Output on a terminal and elsewhere: colour, progress, and that neither gets into a file."""
import os
import pty
import select
import subprocess

from tool import DATA, ESCAPES, TOOL, ToolTest, read, sample


class CliTerminal(ToolTest):
    def on_terminal(self, *words, out=True, err=True, env=None):
        """Runs with standard output and error on terminals of their own, or on pipes; what each got."""
        ends = []
        for wanted in (out, err):
            ends.append(pty.openpty() if wanted else os.pipe())
        process = subprocess.Popen([TOOL, *words], stdin=subprocess.DEVNULL, stdout=ends[0][1], stderr=ends[1][1],
                                   env=env or self.environment(), cwd=DATA)
        for _, theirs in ends:
            os.close(theirs)
        got = {ours: b"" for ours, _ in ends}
        waiting = set(got)
        while waiting:
            for ours in select.select(list(waiting), [], [], 60)[0]:
                try:
                    data = os.read(ours, 65536)
                except OSError:  # the other end of a terminal is closed
                    data = b""
                got[ours] += data
                if not data:
                    waiting.discard(ours)
                    os.close(ours)
        self.assertEqual(process.wait(), 0)
        return got[ends[0][0]].replace(b"\r\n", b"\n"), got[ends[1][0]]

    def many(self, count):
        os.mkdir(self.path("mail"))
        for i in range(count):
            self.file("mail/%d" % i, b"Subject: %d\r\n\r\nx\r\n" % i)
        return self.path("mail")

    def test_colours_on_a_terminal_only(self):
        plain = self.good("parse", "nested-multipart.eml", cwd=DATA).out
        self.assertNotIn(b"\x1b", plain)
        coloured, _ = self.on_terminal("parse", "nested-multipart.eml")
        self.assertIn(b"\x1b[1mnested-multipart.eml\x1b[0m: 6 parts", coloured)
        self.assertEqual(ESCAPES.sub(b"", coloured), plain)

    def test_respects_no_color(self):
        coloured, _ = self.on_terminal("parse", "nested-multipart.eml", env=self.environment(NO_COLOR="1"))
        self.assertNotIn(b"\x1b", coloured)
        coloured, _ = self.on_terminal("parse", "nested-multipart.eml", env=self.environment(NO_COLOR=""))
        self.assertIn(b"\x1b[1m", coloured)

    def test_uses_no_colour_on_a_dumb_terminal(self):
        for env in (self.environment(TERM="dumb"), self.environment(TERM=None)):
            self.assertNotIn(b"\x1b", self.on_terminal("parse", "nested-multipart.eml", env=env)[0])

    def test_shows_how_far_a_large_message_is(self):
        for name in ("queue", "site"):
            os.mkdir(self.path(name))
        self.file("etc/twmta.ini", "[Gateway]\nTimeZone=xxx\nQueueDirectory=%s\nTemporaryDirectory=%s\n" % (self.path("queue"), self.path("site")))
        path = self.file("m.eml", b"Subject: x\n\n" + b"0123456789abcde\n" * (3 << 18))
        words = ("send", "--message", path, "a@b.example")
        self.assertIn(b"12 MB of", self.on_terminal(*words)[1])
        self.assertEqual(self.on_terminal(*words, err=False)[1], b"")
        parts = ("build", "--text", "x", "-a", path, "-a", path, "-o", self.path("out.eml"))
        self.assertIn(b"/2 ", self.on_terminal(*parts)[1])

    def test_obeys_the_color_option(self):
        self.assertIn(b"\x1b[1m", self.good("parse", "--color", "always", sample("dsn.eml")).out)
        self.assertNotIn(b"\x1b", self.on_terminal("parse", "--color", "never", "dsn.eml")[0])

    def test_prints_the_same_json_on_a_terminal(self):
        (row,) = self.objects(self.on_terminal("parse", "--json", "dsn.eml")[0])
        self.assertEqual(row["schema"], "qob.parse/1")

    def test_shows_progress_on_a_terminal(self):
        folder = self.many(400)
        out, err = self.on_terminal("header", "-r", folder, out=False)
        self.assertIn(b"1/400 ", err)
        self.assertTrue(err.endswith(b"\r\x1b[K"), err[-80:])
        self.assertEqual(out, self.good("header", "-r", folder).out)

    def test_shows_progress_of_an_mbox(self):
        _, err = self.on_terminal("header", "three-messages.mbox", out=False)
        self.assertIn(b"1/3 three-messages.mbox[1]", err)

    def test_shows_no_progress_for_one_message_or_elsewhere(self):
        self.assertEqual(self.on_terminal("parse", "dsn.eml")[1], b"")
        self.assertEqual(self.good("header", "-r", self.many(50)).err, b"")

    def test_clears_the_progress_before_other_output(self):
        folder = self.many(3)
        self.file("mail/00-empty", b"")
        ends = pty.openpty()
        process = subprocess.Popen([TOOL, "parse", "-r", folder], stdout=ends[1], stderr=ends[1], env=self.environment())
        os.close(ends[1])
        got = b""
        try:
            while data := os.read(ends[0], 65536):
                got += data
        except OSError:
            pass
        os.close(ends[0])
        self.assertEqual(process.wait(), 65)
        for line in got.split(b"\n"):
            shown = line.split(b"\r\x1b[K")[-1]
            self.assertNotRegex(shown, rb"^\d+/\d+ .*(qob:|part)")
