"""The private directory of a run: who may enter it, what lies in it, and that it is gone afterwards."""
import os
import signal
import stat
import subprocess
import time

from tool import TOOL, ToolTest, multipart, read, sample


class CliPrivate(ToolTest):
    def waiting(self, **options):
        """A run that waits for its standard input, with its private directory made."""
        process = subprocess.Popen([TOOL, "parse", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=options.pop("env", None) or self.environment(), **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.stdin.close)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        for _ in range(1000):
            names = os.listdir(self.tmp)
            # The input file is made last of all, so everything else stands when it is there.
            if names and os.path.exists(os.path.join(self.tmp, names[0], "input")):
                return process, os.path.join(self.tmp, names[0])
            time.sleep(0.01)
        self.fail("no private directory appeared: %r" % os.listdir(self.tmp))

    def ends_by(self, number):
        process, directory = self.waiting()
        with open(os.path.join(directory, "message"), "wb"):
            pass
        process.send_signal(number)
        self.assertEqual(process.wait(30), -number)
        self.assertFalse(os.path.exists(directory))

    def profile(self, directory):
        return read(os.path.join(directory, "twmta.ini")).decode().splitlines()

    def test_nobody_else_may_enter_it(self):
        process, directory = self.waiting()
        self.assertEqual(stat.S_IMODE(os.stat(directory).st_mode), 0o700)
        for name in os.listdir(directory):
            self.assertEqual(stat.S_IMODE(os.stat(os.path.join(directory, name)).st_mode) & 0o077, 0, name)
        self.finish(process)

    def finish(self, process):
        process.stdin.write(b"Subject: x\r\n\r\n")
        process.stdin.close()
        self.assertEqual(process.wait(30), 0)

    def test_is_removed_after_an_interrupt(self):
        self.ends_by(signal.SIGINT)

    def test_is_removed_after_a_termination(self):
        self.ends_by(signal.SIGTERM)

    def test_is_removed_after_a_hang_up(self):
        self.ends_by(signal.SIGHUP)

    def test_is_removed_after_a_quit(self):
        self.ends_by(signal.SIGQUIT)

    def test_is_removed_when_the_reader_goes_away(self):
        big = self.file("big.eml", multipart([("X: %d\n" % i, "x") for i in range(20000)]))
        process = subprocess.Popen([TOOL, "parse", big], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment())
        process.stdout.read(10)
        process.stdout.close()
        errors = process.stderr.read()
        process.stderr.close()
        self.assertEqual((process.wait(60), errors), (-signal.SIGPIPE, b""))

    def test_a_signal_leaves_no_half_file_behind(self):
        if not os.path.isdir("/dev/shm") or os.stat("/dev/shm").st_dev == os.stat(self.dir).st_dev:
            self.skipTest("there is no second file system at /dev/shm")
        size = 100 << 20
        with open(self.path("big.eml"), "wb") as file:
            file.write(b"Subject: x\r\n\r\n")
            file.truncate(size)
        for delay in range(4):
            process = subprocess.Popen([TOOL, "extract", self.path("big.eml"), "-o", self.path("out")], stdout=subprocess.DEVNULL,
                                       env=self.environment(TMPDIR="/dev/shm"))
            while process.poll() is None and not (os.path.isdir(self.path("out")) and os.listdir(self.path("out"))):
                time.sleep(0.001)
            time.sleep(0.005 * delay)
            process.send_signal(signal.SIGTERM)
            self.assertIn(process.wait(60), (-signal.SIGTERM, 0))
            left = os.listdir(self.path("out"))
            self.assertEqual([os.path.getsize(self.path("out", name)) for name in left], [size - 14] * len(left))
            for name in left:
                os.remove(self.path("out", name))

    def test_an_ignored_hang_up_stays_ignored(self):
        process, directory = self.waiting(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        process.send_signal(signal.SIGHUP)
        time.sleep(0.2)
        self.assertIsNone(process.poll())
        self.finish(process)
        self.assertFalse(os.path.exists(directory))

    def test_is_removed_after_a_failure(self):
        self.fails(65, "parse", sample("malformed-no-boundary.eml"), says="not a valid MIME message")
        self.fails(66, "uudecode", self.path("none"), says="none")

    def test_is_not_below_the_current_folder_for_a_relative_tmpdir(self):
        os.mkdir(self.path("here"))
        os.mkdir(self.path("here", "t"))
        self.good("parse", sample("nested-multipart.eml"), cwd=self.path("here"), env=self.environment(TMPDIR="t"))
        self.assertEqual(os.listdir(self.path("here", "t")), [])

    def test_says_that_tmpdir_cannot_be_used(self):
        for bad, why in ((self.path("none"), "No such file"), (sample("dsn.eml"), "Not a directory")):
            self.fails(73, "parse", sample("dsn.eml"), env=self.environment(TMPDIR=bad), says=[bad, why, "set TMPDIR"])
        deep = self.dir
        while len(deep) < 250:
            deep = os.path.join(deep, "d" * 40)
            os.mkdir(deep)
        self.fails(73, "parse", sample("dsn.eml"), env=self.environment(TMPDIR=deep), says=["too long", "set TMPDIR"])
        self.assertEqual(os.listdir(deep), [])
        os.mkdir(self.path("back\\slash"))
        self.fails(73, "parse", sample("dsn.eml"), env=self.environment(TMPDIR=self.path("back\\slash")), says="backslash")
        self.assertEqual(os.listdir(self.path("back\\slash")), [])

    def test_says_that_tmpdir_is_read_only(self):
        os.mkdir(self.path("closed"))
        self.refuse(self.path("closed"), 0o555)
        self.fails(73, "parse", sample("dsn.eml"), user=self.unprivileged(), env=self.environment(TMPDIR=self.path("closed")),
                   says=["closed", "Permission denied", "set TMPDIR"])

    def test_holds_a_copy_of_the_configuration_of_the_site(self):
        self.file("etc/twmta.ini", "; ours\n[Gateway]\nTemporaryDirectory=/var/tmp/site\nTimeZone=EST5EDT\n[Options]\nTabSize=3\n")
        before = read(self.path("etc/twmta.ini"))
        process, directory = self.waiting()
        self.assertEqual(self.profile(directory), ["; ours", "[Gateway]", "TemporaryDirectory=" + directory, "TimeZone=EST5EDT", "[Options]", "TabSize=3"])
        self.assertEqual(read(self.path("etc/twmta.ini")), before)
        self.finish(process)

    def test_keeps_the_zone_of_the_system_when_the_site_names_none(self):
        process, directory = self.waiting()
        self.assertIn("TimeZone=xxx", self.profile(directory))
        self.finish(process)

    def test_obeys_the_options_of_the_site(self):
        message = self.file("m.eml", multipart([("Content-Type: text/plain; name=\"a;b\"\n", "x")]))
        (strict,) = self.json("parse", message)
        self.file("etc/twmta.ini", "[Options]\nStrictMimeParsing=NO\n")
        (loose,) = self.json("parse", message)
        self.assertEqual(strict["parts"][1]["name"], "a;b")
        self.assertEqual(loose["parts"][1]["name"], "\"a")

    def test_needs_nothing_of_the_site(self):
        self.file("etc/twmta.ini", "[Gateway]\nTemporaryDirectory=/nowhere\nQueueDirectory=/nowhere\n[Ldap]\nHostName=\n[Log]\nDestination=syslog\n[Debug]\nLogFileIO=TRUE\n")
        done = self.good("extract", sample("nested-multipart.eml"), "-o", self.path("out"))
        self.assertEqual(done.errors, "")
        self.assertEqual(len(os.listdir(self.path("out"))), 4)

    def test_shows_the_log_when_asked(self):
        self.file("etc/twmta.ini", "[Debug]\nLogFileIO=TRUE\n")
        done = self.good("parse", "--verbose", sample("nested-multipart.eml"))
        self.assertIn("qob: log 1 qob: fileopen: ", done.errors)
        self.assertIn("qob: log 6 qob: Found multipart/mixed", done.errors)

    def test_ignores_a_configuration_that_it_may_not_read(self):
        self.file("etc/twmta.ini", "[Options]\nTabSize=3\n")
        self.refuse(self.path("etc/twmta.ini"), 0)
        self.good("parse", sample("dsn.eml"), user=self.unprivileged())

    def test_writes_no_log_file(self):
        self.good("parse", sample("malformed-header.eml"))
        self.assertEqual(sorted(os.listdir(self.dir)), ["etc", "tmp"])
