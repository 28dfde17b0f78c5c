"""qob channel list, show and drain."""
import os
import signal
import sqlite3
import subprocess
import time

from queue_tool import QueueTest, message, recipient
from tool import TOOL, read, write


def mark(number, name):
    return {"mark": name, "id": number}


class ChannelTest(QueueTest):
    """Two messages on smtp, one of them on DSN too, and one on no channel."""

    def setUp(self):
        super().setUp()
        self.site_tmp = self.path("site-tmp")
        os.mkdir(self.site_tmp)
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.site_tmp))
        self.fill(message(1, age=7200), recipient(1, "x@x.example"), recipient(1, "y@y.example", "DONE"),
                  message(2, age=60, stateText="HELD"), recipient(2, "z@z.example"),
                  message(3, age=10), recipient(3, "w@w.example"),
                  mark(2, "smtp"), mark(1, "smtp"), mark(1, "DSN"))
        for number, size in ((1, 100), (2, 50), (3, 10)):
            self.mail(number, size)
        self.maildir = self.path("maildir")

    def channels(self, *words, **more):
        return {row["channel"]: row for row in self.json("channel", "list", *words, **more)}

    def shown(self, name, *words, **more):
        return [row["id"] for row in self.json("channel", "show", name, *words, **more)]

    def delivered(self):
        new = os.path.join(self.maildir, "new")
        return sorted(read(os.path.join(new, name)) for name in os.listdir(new)) if os.path.isdir(new) else []

    def log(self):
        path = os.path.join(self.site_tmp, "twmta.log")
        return read(path).decode().splitlines() if os.path.exists(path) else []

    def count(self, table):
        connection = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        number = connection.execute("SELECT count(*) FROM " + table).fetchone()[0]
        connection.close()
        return number

    def states(self, number):
        (row,) = self.json("queue", "show", "%08X" % number)
        return [entry["state"] for entry in row["recipients"]]


class CliChannelList(ChannelTest):
    def test_counts_what_waits_on_each_channel(self):
        smtp, dsn = self.channels()["smtp"], self.channels()["DSN"]
        self.assertEqual([smtp[name] for name in ("messages", "held", "locked", "recipients", "pending", "bytes")],
                         [2, 1, 0, 3, 2, 150])
        self.assertEqual([dsn[name] for name in ("messages", "held", "pending", "bytes", "oldest_id")],
                         [1, 0, 1, 100, "00000001"])
        self.assertTrue(7200 <= smtp["oldest_age"] < 7300)

    def test_shows_a_table(self):
        lines = self.lines("channel", "list")
        self.assertEqual(lines[0].split(), ["channel", "messages", "held", "locked", "pending", "bytes", "oldest"])
        self.assertEqual(lines[1].split(), ["DSN", "1", "0", "0", "1", "100", "2h0m"])
        self.assertEqual(lines[2].split()[:6], ["smtp", "2", "1", "0", "2", "150"])

    def test_makes_control_characters_in_names_visible(self):
        name = "a\x1b[31m\nb\u202e\xff"
        self.fill(mark(3, name))
        (line,) = [line for line in self.good("channel", "list").out.splitlines() if b"31m" in line]
        self.assertTrue(line.startswith(rb"a\x1b[31m"), line)
        self.assertNotIn(b"\x1b", line)
        done = self.good("channel", "list", "--json")
        (row,) = [row for row in self.objects(done.out) if "31m" in row["channel"]]
        self.assertEqual(row["channel"], name)

    def test_keeps_a_name_that_is_no_text(self):
        connection = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        with connection:
            connection.execute("INSERT INTO marks(name, id) VALUES (?, 3)", (b"\xff\x01",))
        connection.close()
        (row,) = [row for row in self.json("channel", "list") if "channel_base64" in row]
        self.assertEqual(row["channel_base64"], "/wE=")
        done = self.good("channel", "show", b"\xff\x01")
        self.assertIn("00000003", done.text)

    def test_tells_marks_without_a_message(self):
        self.fill(mark(9, "smtp"), mark(10, "lost"))
        done = self.good("channel", "list", "--json")
        rows = {row["channel"]: row for row in self.objects(done.out)}
        self.assertEqual((rows["smtp"]["messages"], rows["smtp"]["stray_marks"]), (2, 1))
        self.assertEqual((rows["lost"]["messages"], rows["lost"]["oldest_age"], rows["lost"]["stray_marks"]), (0, None, 1))
        self.assertIn("channel smtp: 1 mark without a message: 'qob queue check --repair' takes them away", done.errors)

    def test_does_not_know_what_it_cannot_see(self):
        self.refuse(self.queue, 0o711)
        for name in os.listdir(self.queue):
            os.chmod(os.path.join(self.queue, name), 0o666)
        done = self.run_tool("channel", "list", "--json", user=self.unprivileged())
        (row,) = [row for row in self.objects(done.out) if row["channel"] == "DSN"]
        self.assertEqual((row["locked"], row["bytes"], row["pending"]), (None, None, 1))

    def test_an_empty_queue_has_no_channels(self):
        empty = self.path("empty")
        os.mkdir(empty)
        self.fill(queue=empty)
        self.assertEqual(self.json("channel", "list", "-q", empty), [])
        self.assertEqual(len(self.lines("channel", "list", "-q", empty)), 1)

    def test_lists_the_channels_of_several_queues(self):
        other = self.path("other")
        os.mkdir(other)
        self.fill(message(5, directory="other"), mark(5, "smtp"), queue=other)
        rows = self.json("channel", "list", "-q", self.queue, "-q", other)
        self.assertEqual([(row["queue"], row["channel"]) for row in rows],
                         [(self.queue, "DSN"), (self.queue, "smtp"), (other, "smtp")])
        self.assertEqual(self.shown("smtp", "-q", self.queue, "-q", other), ["00000002", "00000001", "00000005"])

    def test_says_that_there_is_no_queue(self):
        for command in (["list"], ["show", "smtp"], ["drain", "smtp", "-m", self.maildir]):
            self.fails(66, "channel", *command, "-q", self.path("none"), says="no queue directory")
            folder = self.path("folder")
            os.makedirs(folder, exist_ok=True)
            self.fails(66, "channel", *command, "-q", folder, says="no message database")
        self.assertFalse(os.path.exists(self.maildir))

    def test_says_that_the_database_is_damaged(self):
        for command in (["list"], ["show", "smtp"], ["drain", "smtp", "-m", self.maildir, "--yes"]):
            write(os.path.join(self.queue, "mesg.btr"), b"this is no database" * 1000)
            self.fails(65, "channel", *command, says="mesg.btr")

    def test_leaves_out_damaged_records_and_says_so(self):
        connection = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        with connection:
            connection.execute("UPDATE records SET body = x'00' WHERE number = 1")
        connection.close()
        done = self.fails(65, "channel", "show", "smtp", says="record 1 is left out")
        self.assertIn("00000002", done.text)
        self.assertNotIn("00000001", done.text)

    def test_one_reads_who_may_not_write(self):
        os.chmod(self.queue, 0o755)
        for name in os.listdir(self.queue):
            os.chmod(os.path.join(self.queue, name), 0o644)
        user = self.unprivileged()
        if user is None:
            self.refuse(self.queue, 0o555)
        rows = self.json("channel", "list", user=user)
        self.assertEqual([row["channel"] for row in rows], ["DSN", "smtp"])
        before = sorted(os.listdir(self.queue))
        self.fails(77, "channel", "drain", "DSN", "-m", self.path("tmp", "m"), user=user, says="mesg.btr")
        self.assertEqual(sorted(os.listdir(self.queue)), before)


class CliChannelShow(ChannelTest):
    def test_shows_entries_in_the_order_of_commit(self):
        self.assertEqual(self.shown("smtp"), ["00000002", "00000001"])
        self.assertEqual(self.shown("DSN"), ["00000001"])

    def test_shows_what_queue_list_shows(self):
        listed = {row["id"]: row for row in self.json("queue", "list")}
        for row in self.json("channel", "show", "smtp"):
            self.assertEqual(row.pop("channel"), "smtp")
            self.assertEqual({**row, "schema": "qob.queue-list/1"}, listed[row["id"]])
        lines = self.lines("channel", "show", "smtp")
        self.assertEqual(lines[0].split()[:3], ["id", "age", "size"])
        self.assertIn("[held]", lines[1])

    def test_marks_a_message_that_is_locked(self):
        self.lock(1)
        self.assertIn("[locked]", self.lines("channel", "show", "DSN")[1])

    def test_sorts_limits_and_narrows(self):
        self.assertEqual(self.shown("smtp", "--sort", "age"), ["00000001", "00000002"])
        self.assertEqual(self.shown("smtp", "--limit", "1"), ["00000002"])
        self.assertEqual(self.shown("smtp", "held"), ["00000002"])
        self.assertEqual(self.shown("smtp", "00000001"), ["00000001"])

    def test_names_an_id_that_is_not_on_the_channel(self):
        done = self.fails(66, "channel", "show", "DSN", "00000003", says="00000003")
        self.assertEqual(len(done.text.splitlines()), 1)

    def test_a_channel_without_entries_is_as_good_as_any(self):
        self.assertEqual(self.shown("nobody"), [])
        self.fails(64, "channel", "show", says="CHANNEL")


class CliChannelDrain(ChannelTest):
    def drain(self, code, *words, **more):
        done = self.run_tool("channel", "drain", *words, **more)
        self.assertEqual(done.code, code, done.out + done.err)
        return done

    def test_delivers_to_those_who_are_pending_and_removes_the_message(self):
        done = self.drain(0, "DSN", "--maildir", self.maildir)
        self.assertIn("00000001 drained: channel DSN, maildir %s, delivered to x@x.example" % self.maildir, done.text)
        self.assertEqual(self.delivered(), [b"Return-Path: <a@b.example>\r\nDelivered-To: x@x.example\r\n" + b"x" * 100])
        self.assertEqual(self.ids(), ["00000002", "00000003"])
        self.assertEqual(self.channels().keys(), {"smtp"})
        self.assertEqual(self.shown("smtp"), ["00000002"])
        self.assertEqual([name for name in os.listdir(self.queue) if name.startswith("00000001")], [])
        self.assertEqual(sorted(os.listdir(self.maildir)), ["cur", "new", "tmp"])
        self.assertEqual(os.listdir(os.path.join(self.maildir, "tmp")), [])
        for name in os.listdir(os.path.join(self.maildir, "new")):
            self.assertEqual(os.stat(os.path.join(self.maildir, "new", name)).st_mode & 0o777, 0o600)

    def test_gives_each_recipient_a_copy(self):
        self.fill(message(4), recipient(4, "a@a.example"), recipient(4, "b@b.example"), recipient(4, "a@a.example"), mark(4, "many"))
        self.mail(4)
        self.drain(0, "many", "-m", self.maildir)
        heads = [data.split(b"\r\n")[1] for data in self.delivered()]
        self.assertEqual(heads, [b"Delivered-To: a@a.example"] * 2 + [b"Delivered-To: b@b.example"])

    def test_writes_a_line_to_the_log(self):
        self.drain(0, "DSN", "-m", self.maildir)
        (line,) = self.log()
        self.assertIn("queue drain: 00000001, user ", line)
        self.assertIn("channel DSN, maildir %s, delivered to x@x.example" % self.maildir, line)

    def test_only_lists_more_than_one_without_yes(self):
        self.fill(mark(3, "smtp"))
        done = self.fails(64, "channel", "drain", "smtp", "-m", self.maildir,
                          says="3 messages would be drained: nothing was done")
        self.assertEqual(len(done.text.splitlines()), 3)
        self.assertEqual((len(self.ids()), self.log(), os.path.exists(self.maildir)), (3, [], False))
        self.assertEqual(self.drain(0, "smtp", "-m", self.maildir, "--dry-run").text, done.text)
        self.assertEqual((len(self.ids()), self.log(), os.path.exists(self.maildir)), (3, [], False))

    def test_leaves_held_messages_alone(self):
        done = self.drain(65, "smtp", "-m", self.maildir, "--yes")
        self.assertIn("00000002: its state is 'HELD': left alone", done.errors)
        self.assertEqual(self.ids(), ["00000002", "00000003"])
        self.assertEqual(len(self.delivered()), 1)

    def test_leaves_locked_messages_alone(self):
        self.lock(1)
        done = self.drain(75, "DSN", "-m", self.maildir)
        self.assertIn("00000001: locked by", done.errors)
        self.assertEqual((self.states(1), self.delivered()), (["", "DONE"], []))
        self.assertTrue(os.path.exists(self.name(1, ".lck")))

    def test_takes_ids_and_filters(self):
        self.fill(mark(3, "smtp"))
        self.drain(66, "DSN", "-m", self.maildir, "00000003")
        self.assertEqual(self.delivered(), [])
        self.drain(0, "smtp", "-m", self.maildir, "age < 1h and not held")
        self.assertEqual(self.ids(), ["00000001", "00000002"])
        self.drain(0, "smtp", "-m", self.maildir, "00000001")
        self.assertEqual(self.ids(), ["00000002"])

    def test_goes_on_after_a_delivery_that_was_cut_short(self):
        self.fill(message(4), recipient(4, "a@a.example", "DONE"), recipient(4, "b@b.example"), mark(4, "many"))
        self.mail(4)
        self.drain(0, "many", "-m", self.maildir)
        self.assertEqual([data.split(b"\r\n")[1] for data in self.delivered()], [b"Delivered-To: b@b.example"])

    def test_removes_a_message_that_was_delivered_already(self):
        self.fill(message(4), recipient(4, "a@a.example", "DONE"), mark(4, "many"))
        self.mail(4)
        done = self.drain(0, "many", "-m", self.maildir)
        self.assertIn("delivered to nobody: no recipient was pending", done.text)
        self.assertEqual((self.delivered(), self.ids()), ([], ["00000001", "00000002", "00000003"]))

    def test_a_maildir_that_takes_nothing_ends_the_command_and_loses_nothing(self):
        os.makedirs(os.path.join(self.maildir, "tmp"))
        write(os.path.join(self.maildir, "new"), b"")
        self.fill(mark(3, "DSN"))
        done = self.drain(73, "DSN", "-m", self.maildir, "--yes")
        self.assertEqual(done.errors.count("\n"), 1)
        self.assertIn("a message cannot be delivered there: ", done.errors)
        self.assertEqual((len(self.ids()), self.states(1)), (3, ["", "DONE"]))
        self.assertEqual([name for name in os.listdir(self.queue) if name.endswith(".lck")], [])
        os.remove(os.path.join(self.maildir, "new"))
        self.drain(0, "DSN", "-m", self.maildir, "--yes")
        self.assertEqual((len(self.delivered()), self.ids()), (2, ["00000002"]))

    def test_a_full_disk_loses_nothing(self):
        self.mail(1, 300000)
        done = self.drain(73, "DSN", "-m", self.maildir, before=limited_files)
        self.assertIn("File too large", done.errors)
        self.assertEqual((self.delivered(), self.states(1)), ([], ["", "DONE"]))
        self.assertEqual(os.listdir(os.path.join(self.maildir, "tmp")), [])
        self.drain(0, "DSN", "-m", self.maildir)
        self.assertEqual(len(self.delivered()[0]), 300000 + len(b"Return-Path: <a@b.example>\r\nDelivered-To: x@x.example\r\n"))

    def test_a_message_without_its_file_stays(self):
        os.remove(self.name(1))
        done = self.drain(74, "DSN", "-m", self.maildir)
        self.assertIn("00000001.msg: cannot be read: No such file", done.errors)
        self.assertEqual((len(self.ids()), self.delivered()), (3, []))

    def test_addresses_write_no_lines_of_their_own(self):
        self.fill(message(4, sender="a\r\nX: y"), recipient(4, "b\nBcc: \x1b@c.example"), mark(4, "odd"))
        self.mail(4, 1)
        self.drain(0, "odd", "-m", self.maildir)
        self.assertEqual(self.delivered(), [b"Return-Path: <a??X: y>\r\nDelivered-To: b?Bcc: ?@c.example\r\nx"])
        self.assertEqual(len(self.log()), 1)

    def test_says_what_is_to_become_of_the_messages(self):
        for words in ((), ("-m", self.maildir, "--discard-marks"), ("--maildir", "")):
            self.fails(64, "channel", "drain", "smtp", *words, says="say where the messages go")

    def test_takes_marks_off_only_with_yes(self):
        self.fails(64, "channel", "drain", "DSN", "--discard-marks", says="1 message would be taken off")
        self.assertEqual(self.shown("DSN"), ["00000001"])
        (row,) = self.objects(self.drain(0, "DSN", "--discard-marks", "--yes", "--json").out)
        self.assertEqual((row["action"], row["id"], row["result"]), ("discard-mark", "00000001", "done"))
        self.assertEqual((self.shown("DSN"), self.shown("smtp"), len(self.ids())), ([], ["00000002", "00000001"], 3))
        self.assertIn("queue discard-mark: 00000001", self.log()[0])

    def test_the_last_mark_takes_the_note_along(self):
        connection = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        with connection:
            connection.execute("INSERT INTO notes(id, bytes) VALUES (1, x'00'), (2, x'00')")
        connection.close()
        self.drain(0, "DSN", "--discard-marks", "--yes")
        self.assertEqual(self.count("notes"), 2)
        self.drain(0, "smtp", "--discard-marks", "--yes", "00000001")
        self.assertEqual((self.count("notes"), self.count("marks")), (1, 1))
        self.drain(0, "smtp", "--discard-marks", "--yes", "00000002")
        self.assertEqual((self.count("notes"), self.count("marks"), len(self.ids())), (0, 0, 3))

    def test_passes_over_marks_without_a_message(self):
        self.fill(mark(9, "DSN"))
        self.drain(0, "DSN", "-m", self.maildir, "--yes")
        self.assertEqual((len(self.delivered()), self.shown("DSN")), (1, []))

    def test_several_at_once_deliver_each_message_once(self):
        for number in range(100, 160):
            self.fill(message(number), recipient(number, "u%d@x.example" % number), mark(number, "busy"))
            self.mail(number, 10)
        at_once = [subprocess.Popen([TOOL, "channel", "drain", "busy", "-m", self.maildir, "--yes"], stdout=subprocess.PIPE,
                                    stderr=subprocess.PIPE, env=self.environment()) for _ in range(3)]
        for one in at_once:
            _, errors = one.communicate(timeout=100)
            self.assertIn(one.returncode, (0, 75), errors)
        self.drain(0, "busy", "-m", self.maildir, "--yes")
        expected = sorted(b"Delivered-To: u%d@x.example" % number for number in range(100, 160))
        self.assertEqual(sorted(data.split(b"\r\n")[1] for data in self.delivered()), expected)
        self.assertEqual(self.shown("busy"), [])

    def test_an_interrupt_leaves_nothing_half_done(self):
        for number in range(100, 300):
            self.fill_later(number)
        self.fill(*self.later)
        running = subprocess.Popen([TOOL, "channel", "drain", "busy", "-m", self.maildir, "--yes"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment())
        new = os.path.join(self.maildir, "new")
        while running.poll() is None and not (os.path.isdir(new) and len(os.listdir(new)) > 5):
            time.sleep(0.002)
        running.send_signal(signal.SIGINT)
        running.communicate(timeout=100)
        self.assertEqual(running.returncode, -signal.SIGINT)
        self.assertEqual([name for name in os.listdir(self.queue) if name.endswith(".lck")], [])
        self.assertEqual(len(self.shown("busy")) + len(self.delivered()), 200)
        self.assertEqual(os.listdir(os.path.join(self.maildir, "tmp")), [])

    later = ()

    def fill_later(self, number):
        self.later += (message(number), recipient(number, "u@x.example"), mark(number, "busy"))
        self.mail(number, 10)


def limited_files():
    import resource
    resource.setrlimit(resource.RLIMIT_FSIZE, (200000, 200000))
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
