"""qob queue: what changes messages, each under its lock, and says so."""
import os
import re
import shutil
import signal
import sqlite3
import subprocess
import time

from queue_tool import QueueTest, message, recipient
from tool import TOOL, read, write

OLD = 86400 * 3650


class ActTest(QueueTest):
    """A queue of three messages, private to its owner, and a log of the site."""

    def setUp(self):
        self.addCleanup(os.umask, os.umask(0o077))
        super().setUp()
        self.site_tmp = self.path("site-tmp")
        os.mkdir(self.site_tmp)
        self.set_site()
        os.chmod(self.path("etc"), 0o755)
        os.chmod(self.path("etc", "twmta.ini"), 0o644)
        self.fill(message(1, "alice@one.example", age=100, changed=100, due_in=3600, retryCount=2, statusText="deferred"),
                  recipient(1, "x@x.example"), recipient(1, "y@y.example", "delivered"),
                  message(2, "bob@two.example", age=200, changed=200, due_in=3600, retryCount=5, statusText="deferred"),
                  recipient(2, "x@x.example"),
                  message(0xABCDEF12, "carol@two.example", age=300, changed=300, due_in=3600, statusText="new"),
                  recipient(0xABCDEF12, "z@z.example"))
        for number in (1, 2, 0xABCDEF12):
            self.mail(number)

    def set_site(self, more=""):
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.site_tmp), more)

    def another_queue(self, messages):
        self.queue = self.path("another")
        os.mkdir(self.queue)
        self.set_site()
        self.bulk(messages, 1)

    def act(self, code, *words, **more):
        done = self.run_tool("queue", *words, **more)
        self.assertEqual(done.code, code, done.out + done.err)
        return done

    def locks(self, queue=None):
        return sorted(name for name in os.listdir(queue or self.queue) if name.endswith(".lck"))

    def log(self):
        path = os.path.join(self.site_tmp, "twmta.log")
        return read(path).decode().splitlines() if os.path.exists(path) else []

    def results(self, code, *words, **more):
        """(id, result) of every line of --json."""
        done = self.act(code, *words, "--json", **more)
        return [(row["id"], row["result"]) for row in self.objects(done.out)]

    def row(self, number, *more):
        (row,) = self.json("queue", "show", "%08X" % number, *more)
        return row

    def held(self):
        return self.ids("held")

    def old_lock(self, number):
        self.lock(number)
        then = time.time() - OLD
        os.utime(self.name(number, ".lck"), (then, then))


class CliQueueHold(ActTest):
    def test_marks_the_record_and_release_takes_the_mark_away(self):
        before = self.row(1)
        self.assertEqual(self.act(0, "hold", "00000001").text, "00000001 held\n")
        row = self.row(1)
        self.assertEqual((row["state"], row["held"]), ("HELD", True))
        self.assertLessEqual(abs(row["changed_seconds"] - time.time()), 30)
        self.assertEqual(self.held(), ["00000001"])
        self.assertEqual(self.act(0, "release", "00000001").text, "00000001 released\n")
        after = self.row(1)
        self.assertEqual(self.held(), [])
        for name in before:
            if not name.startswith("changed"):
                self.assertEqual(after[name], before[name], name)
        self.assertEqual(self.locks(), [])

    def test_says_when_nothing_is_to_do(self):
        self.assertEqual(self.act(0, "release", "00000001").text, "00000001 is released already\n")
        self.act(0, "hold", "00000001")
        lines = len(self.log())
        self.assertEqual(self.results(0, "hold", "00000001"), [("00000001", "unchanged")])
        self.assertEqual(len(self.log()), lines)

    def test_leaves_the_state_of_another_program_alone(self):
        self.fill(message(9, stateText="SPLIT"), recipient(9, "x@x.example"))
        for verb in ("hold", "release"):
            done = self.act(65, verb, "00000009")
            self.assertIn("its state is 'SPLIT'", done.errors)
        self.assertEqual(self.row(9)["state"], "SPLIT")

    def test_writes_one_audit_line_for_each_change(self):
        self.act(0, "hold", "00000001")
        self.act(0, "hold", "00000001", "ABCDEF12", "--yes")
        lines = self.log()
        self.assertEqual(len(lines), 2, lines)
        self.assertRegex(lines[0], r" 3 qob\[\d+\] queue hold: 00000001, user \S+, sender alice@one\.example, " +
                         re.escape(self.queue + "/00000001") + "$")
        self.assertIn("queue hold: ABCDEF12,", lines[1])

    def test_names_the_one_who_became_root(self):
        if os.getuid() != 0:
            self.skipTest("needs to be root")
        self.act(0, "hold", "00000001", env=self.environment(SUDO_USER="ada"))
        self.assertIn("user root (ada),", self.log()[0])

    def test_shows_more_than_one_and_does_nothing_without_yes(self):
        done = self.act(64, "hold", "domain = x.example")
        self.assertEqual(done.text, "00000001 would be held, from alice@one.example\n"
                                    "00000002 would be held, from bob@two.example\n")
        self.assertIn("2 messages would be held: nothing was done: give --yes", done.errors)
        self.assertEqual(self.held(), [])
        done = self.act(0, "hold", "--dry-run", "domain = x.example")
        self.assertEqual((len(done.text.splitlines()), done.errors), (2, ""))
        self.assertEqual(self.results(0, "hold", "--dry-run", "00000001"), [("00000001", "would")])
        self.assertEqual((self.held(), self.log()), ([], []))
        self.assertEqual(self.results(0, "hold", "--yes", "domain = x.example"), [("00000001", "done"), ("00000002", "done")])
        self.assertEqual(self.held(), ["00000001", "00000002"])

    def test_acts_at_once_when_a_filter_fits_one(self):
        self.assertEqual(self.act(0, "hold", "sender ~ carol").text, "ABCDEF12 held\n")

    def test_does_nothing_when_no_message_fits(self):
        done = self.act(0, "hold", "sender = nobody@none.example")
        self.assertEqual((done.out, done.err), (b"", b""))

    def test_takes_no_empty_filter_for_everything(self):
        for blank in ("", "  "):
            self.fails(64, "queue", "hold", "--yes", blank, says="the filter is empty")
        self.fails(64, "queue", "hold", "--yes", says="is missing")
        self.assertEqual(self.held(), [])

    def test_takes_ids_from_standard_input(self):
        self.act(0, "hold", "--yes", "-", data=b"00000001\n\n  abcdef12\r\n00000001\n")
        self.assertEqual(self.held(), ["00000001", "ABCDEF12"])
        self.fails(65, "queue", "release", "--yes", "-", data=b"00000001\nnonsense\n", says=["line 2", "nonsense"])
        self.assertEqual(self.held(), ["00000001", "ABCDEF12"])

    def test_takes_ids_and_a_filter_together(self):
        self.act(0, "hold", "00000001", "00000002", "tries > 3")
        self.assertEqual(self.held(), ["00000002"])

    def test_names_ids_that_no_message_has(self):
        done = self.act(66, "hold", "00000001", "00000077", "--yes")
        self.assertIn("00000077: no such message", done.errors)
        self.assertEqual(self.held(), ["00000001"])
        self.assertEqual(self.results(66, "hold", "00000077"), [("00000077", "gone")])

    def test_leaves_a_locked_message_alone_and_names_its_holder(self):
        self.lock(1)
        done = self.act(75, "hold", "--yes", "domain = x.example")
        self.assertRegex(done.errors, r"^qob: 00000001: locked by \S+ since \d{4}-\d\d-\d\d \d\d:\d\d:\d\d \S+ \(\d+s\): left alone")
        self.assertEqual(done.text, "00000002 held\n")
        self.assertEqual((self.held(), self.locks()), (["00000002"], ["00000001.lck"]))
        (row,) = self.objects(self.act(75, "hold", "00000001", "--json").out)
        self.assertEqual((row["result"], row["lock"]["stale"]), ("locked", False))
        self.assertEqual(sorted(row["lock"]), ["age", "owner", "since", "since_seconds", "stale"])

    def test_does_not_take_over_a_stale_lock(self):
        self.old_lock(1)
        done = self.act(75, "hold", "00000001")
        self.assertIn("a stale lock", done.errors)
        self.assertEqual(self.locks(), ["00000001.lck"])

    def test_names_the_directory_that_is_not_open(self):
        self.fill(message(9, directory="far"))
        done = self.act(66, "hold", "00000009")
        self.assertIn("lies in the queue directory 'far'", done.errors)
        os.mkdir(self.path("far"))
        self.act(0, "hold", "00000009", "-q", self.queue, "-q", self.path("far"))
        self.assertEqual(self.held(), ["00000009"])
        self.assertEqual(self.locks(self.path("far")), [])

    def test_works_while_nothing_else_of_the_system_can(self):
        self.set_site("[Ldap]\nHostName=\n")
        self.act(0, "hold", "00000001")

    def test_says_what_it_may_not(self):
        if os.getuid() != 0:
            self.skipTest("needs to become another user")
        os.chmod(self.queue, 0o755)
        for name in os.listdir(self.queue):
            os.chmod(os.path.join(self.queue, name), 0o644)
        done = self.run_tool("queue", "hold", "00000001", user=65534)
        self.assertEqual(done.code, 77, done.err)
        self.assertEqual(len(done.errors.splitlines()), 1, done.errors)
        self.assertEqual(self.held(), [])

    def test_a_reader_may_see_what_would_be_done(self):
        if os.getuid() != 0:
            self.skipTest("needs to become another user")
        os.chmod(self.queue, 0o755)
        for name in os.listdir(self.queue):
            os.chmod(os.path.join(self.queue, name), 0o644)
        done = self.act(0, "hold", "--dry-run", "id >= 00000000", user=65534)
        self.assertEqual(len(done.text.splitlines()), 3)

    def test_two_at_once_share_the_work(self):
        self.another_queue(150)
        run = [subprocess.Popen([TOOL, "queue", "hold", "--yes", "--json", "id <= 00000096"], env=self.environment(),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE) for _ in range(2)]
        rows = []
        for process in run:
            out, err = process.communicate(timeout=100)
            self.assertIn(process.returncode, (0, 75), err)
            rows += self.objects(out)
        done = [row["id"] for row in rows if row["result"] == "done"]
        self.assertEqual(sorted(done), sorted(set(done)), "a message was held twice")
        self.assertTrue({row["result"] for row in rows} <= {"done", "unchanged", "locked", "changed"})
        self.assertEqual(self.locks(), [])
        self.assertEqual(len(self.held()), len(done))
        self.assertEqual(len(self.log()), len(done))

    def test_an_interrupt_ends_it_between_two_messages(self):
        self.another_queue(3000)
        process = subprocess.Popen([TOOL, "queue", "retry", "--yes", "id > 00000000"], env=self.environment(),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        while len(self.log()) < 5 and process.poll() is None:
            time.sleep(0.005)
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate(timeout=100)
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertEqual(self.locks(), [])
        told = len(out.splitlines())
        self.assertEqual(told, len(self.log()))
        self.assertTrue(5 <= told < 3000, told)


class CliQueueRetry(ActTest):
    def test_sets_the_retry_time_to_now_and_nothing_else(self):
        before = self.row(1)
        self.assertEqual(self.act(0, "retry", "00000001").text, "00000001 made due now\n")
        after = self.row(1)
        self.assertLessEqual(abs(after["retry_seconds"] - time.time()), 30)
        for name in before:
            if not name.startswith(("retry", "changed")):
                self.assertEqual(after[name], before[name], name)
        self.assertGreater(self.row(2)["retry_seconds"], time.time() + 1800)

    def test_says_that_a_held_message_stays_held(self):
        self.act(0, "hold", "00000001")
        self.assertIn("still held", self.act(0, "retry", "00000001").text)
        self.assertEqual(self.row(1)["state"], "HELD")


class CliQueueRemove(ActTest):
    def store(self, query):
        """What stands in the database, asked by another program."""
        connection = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        try:
            return connection.execute(query).fetchall()
        finally:
            connection.close()

    def test_removes_everything_that_belongs_to_the_message(self):
        self.fill({"mark": "smtp", "id": 1}, {"mark": "local", "id": 1}, {"mark": "smtp", "id": 2})
        connection = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        with connection:
            connection.execute("INSERT INTO notes VALUES(1, x'0102')")
        connection.close()
        write(self.name(1, ".rea"), "why\n")
        write(self.name(2, ".rea"), "why\n")
        done = self.act(0, "remove", "00000001")
        self.assertEqual(done.text, "00000001 removed: taken off channel local, smtp\n")
        self.assertEqual(sorted(name for name in os.listdir(self.queue) if name[:8].isalnum() and name[8:9] == "."),
                         ["00000002.msg", "00000002.rea", "ABCDEF12.msg"])
        self.assertEqual(self.ids(), ["00000002", "ABCDEF12"])
        self.assertEqual(self.store("SELECT count(*) FROM records"), [(4,)])
        self.assertEqual(self.store("SELECT CAST(name AS TEXT), id FROM marks"), [("smtp", 2)])
        self.assertEqual(self.store("SELECT count(*) FROM notes"), [(0,)])
        self.assertEqual(self.run_tool("queue", "check").code, 0)
        self.assertIn("sender alice@one.example", self.log()[0])

    def test_asks_for_yes_for_more_than_one(self):
        self.act(64, "remove", "00000001", "00000002")
        self.assertEqual(len(self.ids()), 3)
        self.act(0, "remove", "00000001", "00000002", "--yes")
        self.assertEqual(self.ids(), ["ABCDEF12"])

    def test_removes_a_message_whose_file_is_gone(self):
        os.remove(self.name(1))
        self.act(0, "remove", "00000001")
        self.assertEqual(self.ids(), ["00000002", "ABCDEF12"])

    def test_leaves_a_message_that_another_has_locked(self):
        self.lock(1)
        self.act(75, "remove", "00000001")
        self.assertEqual(len(self.ids()), 3)
        self.assertTrue(os.path.exists(self.name(1)))

    def test_says_when_a_file_cannot_be_removed(self):
        os.remove(self.name(1))
        os.mkdir(self.name(1))
        done = self.act(74, "remove", "00000001")
        self.assertIn("cannot be removed", done.errors)
        self.assertEqual(self.locks(), [])

    def test_removes_what_lies_in_another_directory(self):
        os.mkdir(self.path("out"))
        self.fill(message(9, directory="out"), recipient(9, "x@x.example"))
        self.mail(9, queue=self.path("out"))
        self.act(0, "remove", "00000009", "-q", self.queue, "-q", self.path("out"))
        self.assertEqual(os.listdir(self.path("out")), [])


class CliQueueMove(ActTest):
    def setUp(self):
        super().setUp()
        self.out = self.path("out")
        os.mkdir(self.out)
        self.both = ["-q", self.queue, "-q", self.out]

    def test_moves_record_file_and_reasons(self):
        write(self.name(1), "the mail")
        write(self.name(1, ".rea"), "why\n")
        done = self.act(0, "move", "00000001", "--to", self.out, *self.both)
        self.assertEqual(done.text, "00000001 moved: to %s\n" % self.out)
        self.assertEqual(sorted(os.listdir(self.out)), ["00000001.msg", "00000001.rea"])
        self.assertEqual(read(self.name(1, queue=self.out)), b"the mail")
        self.assertEqual(self.row(1, *self.both)["directory"], "out")
        self.assertEqual((self.locks(), self.locks(self.out)), ([], []))
        self.assertEqual(self.run_tool("queue", "check", self.out).code, 0)
        self.assertIn("to " + self.out, self.log()[0])
        self.act(0, "move", "00000001", "--to", self.queue, *self.both)
        self.assertEqual((os.listdir(self.out), self.row(1)["directory"]), ([], "queue"))

    def test_moves_to_the_queues_own_directories_alone(self):
        self.fails(64, "queue", "move", "00000001", "--to", self.out, says="not one of the queue's directories")
        self.fails(64, "queue", "move", "00000001", says="--to is missing")
        self.assertEqual(os.listdir(self.out), [])

    def test_is_not_misled_by_two_directories_of_one_name(self):
        os.makedirs(self.path("other", "out"))
        done = self.act(65, "move", "00000001", "--to", self.path("other", "out"), *self.both, "-q", self.path("other", "out"))
        self.assertIn("called 'out' too", done.errors)
        self.assertEqual(self.row(1)["directory"], "queue")

    def test_replaces_nothing(self):
        self.mail(1, queue=self.out, size=7)
        done = self.act(65, "move", "00000001", "--to", self.out, *self.both)
        self.assertIn("stands there already", done.errors)
        self.assertEqual((os.path.getsize(self.name(1)), os.path.getsize(self.name(1, queue=self.out))), (100, 7))
        self.assertEqual(self.row(1)["directory"], "queue")

    def test_takes_both_locks(self):
        write(self.name(1, ".lck", queue=self.out), "")
        done = self.act(75, "move", "00000001", "--to", self.out, *self.both)
        self.assertIn("locked by", done.errors)
        self.assertEqual((self.locks(), self.locks(self.out)), ([], ["00000001.lck"]))

    def test_says_when_it_is_there_already(self):
        self.assertEqual(self.results(0, "move", "00000001", "--to", self.queue, *self.both), [("00000001", "unchanged")])

    def test_leaves_a_message_without_its_file(self):
        os.remove(self.name(1))
        self.assertIn("queue check", self.act(65, "move", "00000001", "--to", self.out, *self.both).errors)
        self.assertEqual(self.row(1)["directory"], "queue")

    def test_moves_between_file_systems(self):
        if not os.path.isdir("/dev/shm") or os.stat("/dev/shm").st_dev == os.stat(self.dir).st_dev:
            self.skipTest("there is no second file system at /dev/shm")
        far = "/dev/shm/qob-far-%d" % os.getpid()
        os.mkdir(far)
        self.addCleanup(shutil.rmtree, far)
        write(self.name(1), b"m" * 300000)
        self.act(0, "move", "00000001", "--to", far, "-q", self.queue, "-q", far)
        self.assertEqual(read(self.name(1, queue=far)), b"m" * 300000)
        self.assertEqual(os.listdir(far), ["00000001.msg"])
        self.assertFalse(os.path.exists(self.name(1)))


class CliQueueLock(ActTest):
    def test_takes_a_lock_and_leaves_it(self):
        self.assertEqual(self.act(0, "lock", "00000001").text, "00000001 locked\n")
        self.assertEqual(self.locks(), ["00000001.lck"])
        self.act(75, "hold", "00000001")
        self.assertEqual(self.results(75, "lock", "00000001"), [("00000001", "locked")])
        self.assertIn("queue lock: 00000001,", self.log()[0])

    def test_unlocks_a_lock_that_is_not_stale_with_yes_alone(self):
        self.lock(1)
        done = self.act(75, "unlock", "00000001")
        self.assertRegex(done.errors, r"locked by \S+ since .*\(\d+s\).*give --yes")
        self.assertEqual(self.locks(), ["00000001.lck"])
        self.assertIn("it was locked by", self.act(0, "unlock", "00000001", "--yes").text)
        self.assertEqual(self.locks(), [])
        self.assertEqual(len(self.log()), 1)
        self.assertRegex(self.log()[0], r"queue unlock: 00000001, user .*it was locked by")

    def test_unlocks_a_stale_lock_at_once(self):
        self.old_lock(1)
        self.assertIn("a stale lock", self.act(0, "unlock", "00000001").text)
        self.assertEqual(self.locks(), [])

    def test_asks_for_yes_for_more_than_one(self):
        done = self.act(64, "lock", "00000001", "00000002")
        self.assertEqual(done.text.splitlines()[0], "00000001 would be locked, from alice@one.example")
        self.assertEqual(self.locks(), [])
        self.act(0, "lock", "00000001", "00000002", "--yes")
        self.act(64, "unlock", "00000001", "00000002")
        self.assertEqual(self.locks(), ["00000001.lck", "00000002.lck"])
        self.act(0, "unlock", "--yes", "-", data=b"00000001\n00000002\n")
        self.assertEqual(self.locks(), [])

    def test_says_when_there_is_no_lock(self):
        self.assertEqual(self.act(0, "unlock", "00000001").text, "00000001 is unlocked already\n")

    def test_locks_messages_alone_but_unlocks_what_stands(self):
        self.assertEqual(self.results(66, "lock", "00000077"), [("00000077", "gone")])
        self.lock(0x77)
        self.assertEqual(self.results(0, "unlock", "--yes", "00000077"), [("00000077", "done")])
        self.assertEqual(self.locks(), [])

    def test_takes_ids_alone(self):
        self.fails(64, "queue", "lock", "held", says="is no id")

    def test_a_directory_in_place_of_a_lock_is_not_removed(self):
        os.mkdir(self.name(1, ".lck"))
        done = self.act(77, "unlock", "--yes", "00000001")
        self.assertIn("cannot be removed", done.errors)
        self.assertTrue(os.path.isdir(self.name(1, ".lck")))
