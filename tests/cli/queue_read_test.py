"""qob queue: what looks at a queue and changes nothing."""
import base64
import hashlib
import os
import shutil
import sqlite3
import subprocess
import time

from queue_tool import FILL, QueueTest, message, recipient
from tool import NOBODY, TALLY_MEMBERS, TOOL, has_program, read

ESCAPE = "\x1b[2Jgone\x07"


class CliQueueList(QueueTest):
    def three(self):
        """Three messages whose ages and next tries read the same for half a minute."""
        self.fill(message(0x1A2B3, "alice@example.org", age=7230, due_in=630, retryCount=3, statusText="deferred: timed out"),
                  recipient(0x1A2B3, "bob@one.example"), recipient(0x1A2B3, "carol@two.example", "delivered"),
                  message(0x2, "<>", age=90030, stateText="HELD", statusText="checked by hand"),
                  recipient(0x2, "dave@two.example"),
                  message(0x3, "erin@example.org", age=90, due_in=-1))
        self.mail(0x1A2B3, 4300)
        self.mail(0x2, 812)
        self.lock(0x2)

    def test_prints_a_stable_table_elsewhere_than_on_a_terminal(self):
        self.three()
        self.assertEqual(self.good("queue", "list").text, (
            "id         age  size  tries    next  sender             rcpts  recipient         status\n"
            "0001A2B3  2h0m  4300      3  in 10m  alice@example.org    1/2  bob@one.example   deferred: timed out\n"
            "00000002  1d1h   812      0       -  <>                     1  dave@two.example  [held] [locked] checked by hand\n"
            "00000003    1m     -      0     due  erin@example.org       0  -\n"))

    def test_prints_every_recipient_on_request(self):
        self.three()
        self.assertEqual(self.lines("queue", "list", "--recipients", "0001a2b3")[2:],
                         ["          bob@one.example", "          carol@two.example [delivered]"])

    def test_prints_every_member_as_json(self):
        self.fill(message(7, "s@x.example", creationTime=951782399, lastChangeTime=951782400, retryTime=0x7FFFFFFF, retryCount=5,
                          partNumber=9, delayNotifyStatus=1, envelopeId="QQ1", statusText="st", stateText="HELD"),
                  recipient(7, "r@x.example"), recipient(7, "done@x.example", "delivered"))
        self.mail(7, 17)
        self.lock(7)
        (row,) = self.json("queue", "list")
        self.assertEqual(row, {
            "schema": "qob.queue-list/1", "queue": self.queue, "id": "00000007", "directory": "queue", "sender": "s@x.example",
            "envelope_id": "QQ1", "status": "st", "state": "HELD", "held": True, "locked": True, "size": 17,
            "created": "2000-02-28T23:59:59Z", "created_seconds": 951782399, "changed": "2000-02-29T00:00:00Z",
            "changed_seconds": 951782400, "retry": "2038-01-19T03:14:07Z", "retry_seconds": 0x7FFFFFFF, "tries": 5, "part": 9,
            "delay_noticed": True, "pending": 1,
            "recipients": [{"address": "r@x.example", "state": ""}, {"address": "done@x.example", "state": "delivered"}]})

    def test_says_null_for_what_is_not_known(self):
        self.fill(message(7, directory="elsewhere"))
        (row,) = self.json("queue", "list")
        for name in ("locked", "size", "created", "created_seconds", "changed", "changed_seconds", "retry", "retry_seconds"):
            self.assertIsNone(row[name], name)
        self.assertEqual(self.lines("queue", "list")[1].split()[1:6], ["-", "-", "0", "-", "a@b.example"])

    def test_knows_of_a_missing_file_that_nobody_locks_it(self):
        self.fill(message(7))
        (row,) = self.json("queue", "list")
        self.assertEqual((row["locked"], row["size"]), (False, None))

    def test_gathers_recipients_that_stand_scattered(self):
        self.fill(message(1), recipient(2, "early@x.example"), recipient(1, "a1"), message(2), recipient(2, "b1"), recipient(1, "a2"),
                  recipient(2, "b2"))
        rows = {row["id"]: [r["address"] for r in row["recipients"]] for row in self.json("queue", "list")}
        self.assertEqual(rows, {"00000001": ["a1", "a2"], "00000002": ["early@x.example", "b1", "b2"]})

    def test_leaves_out_recipients_without_a_message(self):
        self.fill(message(1), recipient(9, "lost@x.example"))
        self.assertEqual(self.ids(), ["00000001"])

    def test_takes_ids_in_their_order_each_once(self):
        self.fill(message(1), message(0xABCDEF), message(3))
        self.assertEqual(self.ids("00000003", "00abcdef", "00ABCDEF"), ["00000003", "00ABCDEF"])

    def test_takes_ids_from_standard_input(self):
        self.fill(message(1), message(0xABCDEF), message(3))
        self.assertEqual(self.ids("-", data=b"00abcdef\r\n\n  00000001 \n"), ["00ABCDEF", "00000001"])
        self.assertEqual(self.ids("-", data=b"00000003"), ["00000003"])
        self.assertEqual(self.ids("-", data=b""), [])
        self.assertEqual(self.ids("-", "sender = a@b.example and id > 00000001", data=b"00000001\n00000003\n"), ["00000003"])

    def test_names_a_line_that_is_no_id(self):
        self.fill(message(1))
        self.fails(65, "queue", "list", "-", data=b"00000001\nhello\n", says=["standard input, line 2", '"hello"'])
        self.fails(65, "queue", "list", "-", data=b"1\n", says="line 1")
        self.fails(65, "queue", "list", "-", data=b"\x00" * 100000, says="line 1")
        done = self.fails(65, "queue", "list", "-", data=b"\x1b[2J\n", says="line 1")
        self.assertNotIn(b"\x1b", done.err)

    def test_names_an_id_that_nothing_has(self):
        self.fill(message(1), message(2))
        done = self.fails(66, "queue", "list", "00000001", "00000009", says="00000009: no such message")
        self.assertEqual([line.split()[0] for line in done.text.splitlines()], ["id", "00000001"])

    def test_lists_what_a_filter_fits(self):
        self.three()
        for words, ids in ((["held"], ["00000002"]), (["not", "held", "and", "age>1h"], ["0001A2B3"]),
                           (["domain = two.example"], ["0001A2B3", "00000002"]), (["size > 1k"], ["0001A2B3"]),
                           (["size = unknown"], ["00000003"]), (["locked"], ["00000002"]), (["retry < now"], ["00000002", "00000003"]),
                           (["sender=<>"], ["00000002"]), (["tries > 99"], [])):
            self.assertEqual(self.ids(*words), ids, words)

    def test_points_at_a_mistake_in_a_filter(self):
        self.fill(message(1))
        self.fails(64, "queue", "list", "held adn locked", says=["character 6", '"adn locked"'])
        self.fails(64, "queue", "list", "held \x1b", says='\\x1b')

    def test_sorts_turns_around_and_cuts(self):
        now = int(time.time())
        self.fill(message(3, "c@x", creationTime=now - 10, retryTime=now + 5, retryCount=1, statusText="b"),
                  message(1, "b@x", creationTime=now - 30, retryTime=0, retryCount=9, statusText="c"),
                  message(2, "a@x", creationTime=0, retryTime=now - 5, retryCount=4, statusText="a"), recipient(2, "r"))
        for number, size in ((1, 20), (3, 30)):
            self.mail(number, size)
        orders = {"id": [1, 2, 3], "age": [1, 3, 2], "size": [3, 1, 2], "tries": [1, 2, 3], "retry": [2, 3, 1], "sender": [2, 1, 3],
                  "recipients": [2, 3, 1], "status": [2, 3, 1]}
        for what, order in orders.items():
            ids = ["%08X" % number for number in order]
            self.assertEqual(self.ids("--sort", what), ids, what)
            self.assertEqual(self.ids("--sort", what, "--reverse"), ids[::-1], what)
            self.assertEqual(self.ids("--sort", what, "--limit", "2"), ids[:2], what)
        self.assertEqual(self.ids("--limit", "0"), [])
        self.assertEqual(self.ids(), ["00000003", "00000001", "00000002"])
        self.fails(64, "queue", "list", "--limit", "many", says="--limit many")
        self.fails(64, "queue", "list", "--sort", "colour", says="--sort")

    def test_lists_an_empty_queue(self):
        self.fill()
        self.assertEqual(len(self.lines("queue", "list")), 1)
        self.assertEqual(self.good("queue", "list", "--json").out, b"")

    def test_takes_several_queues(self):
        other = self.path("second")
        os.mkdir(other)
        self.fill(message(1), message(2, directory="second"))
        self.fill(message(3, directory="second"), queue=other)
        self.mail(2, 22, queue=other)
        rows = self.json("queue", "list", "-q", self.queue, "-q", other, "-q", self.queue + "/")
        self.assertEqual([(row["queue"], row["id"], row["size"]) for row in rows],
                         [(self.queue, "00000001", None), (self.queue, "00000002", 22), (other, "00000003", None)])
        self.assertEqual(self.ids("-q", other), ["00000003"])

    def test_takes_a_queue_directory_written_with_backslashes(self):
        self.fill(message(1))
        self.mail(1, 5)
        self.ini("QueueDirectory=%s" % self.queue.replace("/", "\\"))
        (row,) = self.json("queue", "list")
        self.assertEqual((row["queue"], row["size"]), (self.queue, 5))

    def test_shows_texts_of_records_as_data(self):
        self.fill(message(1, "s" + ESCAPE + "@x.example", statusText="one\ntwo" + ESCAPE, stateText=ESCAPE, envelopeId=b"caf\xe9"),
                  recipient(1, "r@" + ESCAPE, ESCAPE, secondText=ESCAPE), {"mark": "chan" + ESCAPE, "id": 1})
        with open(self.name(1, ".rea"), "w") as file:
            file.write(ESCAPE + "\n")
        for words in (["list", "--recipients"], ["show", "00000001"], ["recipients"], ["stats"], ["shape"], ["reasons", "00000001"],
                      ["stats", "--prometheus"]):
            self.assertNotRegex(self.good("queue", *words).out, rb"[\x00-\x09\x0b-\x1f\x7f]", words)
        (row,) = self.json("queue", "list")
        self.assertEqual(row["status"], "one\ntwo" + ESCAPE)
        self.assertEqual((row["envelope_id"], base64.b64decode(row["envelope_id_base64"])), ("caf\ufffd", b"caf\xe9"))

    def test_lists_a_long_queue_whole(self):
        self.bulk(3000, 2)
        rows = self.json("queue", "list")
        self.assertEqual([row["id"] for row in rows], ["%08X" % i for i in range(1, 3001)])
        for i, row in enumerate(rows, 1):
            self.assertEqual((row["size"], row["tries"], len(row["recipients"])), (i % 4096, i % 7, 2))
        self.assertEqual(len(self.lines("queue", "list")), 3001)
        self.assertEqual(len(self.lines("queue", "list", "--limit", "10")), 11)

    def test_shows_one_moment_while_others_write(self):
        self.fill()
        # All messages and recipients come with one commit.
        writer = subprocess.Popen([FILL, self.queue, "--bulk", "2000", "3"])
        counts = []
        while writer.poll() is None:
            rows = self.json("queue", "list", "--limit", "5000")
            counts.append(len(rows))
            self.assertEqual({len(row["recipients"]) for row in rows} - {3}, set())
        self.assertEqual(writer.returncode, 0)
        self.assertEqual(set(counts) - {0, 2000}, set())
        self.assertEqual(len(self.ids()), 2000)

    def test_fails_when_the_output_is_full(self):
        self.bulk(100, 1)
        with open("/dev/full", "wb") as full:
            self.fails(74, "queue", "list", out=full, says="standard output")


class CliQueueFaults(QueueTest):
    def test_says_that_no_queue_is_named(self):
        self.ini("")
        self.fails(78, "queue", "list", says=["QueueDirectory is not set", "--queue"])

    def test_says_that_the_directory_is_missing(self):
        self.fails(66, "queue", "list", "--queue", self.path("none"), says=["none", "No such file"])
        self.fails(66, "queue", "list", "--queue", self.file("plain", b""), says="not a directory")
        self.fails(64, "queue", "list", "--queue", "", says="empty")
        self.fails(64, "queue", "list", "--queue", "a\\b", says="backslash")

    def test_says_that_there_is_no_database(self):
        self.fails(66, "queue", "list", says="no message database")
        self.assertEqual(os.listdir(self.queue), [])

    def damaged(self, data):
        path = os.path.join(self.queue, "mesg.btr")
        with open(path, "wb") as file:
            file.write(data)
        for command in (["list"], ["show", "00000001"], ["stats"], ["shape"], ["recipients"], ["reasons", "00000001"],
                        ["watch", "--count", "1"]):
            self.fails(65, "queue", *command, says=["mesg.btr", "status 30"])
        self.assertEqual(read(path), data)

    def test_refuses_a_foreign_file(self):
        self.damaged(b"no database at all\n" * 1000)

    def test_refuses_an_empty_file(self):
        self.damaged(b"")

    def test_refuses_a_file_cut_short(self):
        self.fill(*[message(i) for i in range(200)])
        path = os.path.join(self.queue, "mesg.btr")
        database = sqlite3.connect(path)
        database.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        database.close()
        for name in ("mesg.btr-wal", "mesg.btr-shm"):
            if os.path.exists(os.path.join(self.queue, name)):
                os.unlink(os.path.join(self.queue, name))
        whole = read(path)
        self.damaged(whole[:len(whole) // 8192 * 4096])

    def test_names_a_damaged_record_and_lists_the_others(self):
        self.fill(message(1), message(2), message(3))
        database = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        database.execute("UPDATE records SET body = substr(body, 1, 20) || x'41' || substr(body, 22) WHERE number = 2")
        database.commit()
        database.close()
        done = self.fails(65, "queue", "list", says=["record 2 is left out", "damaged"])
        self.assertEqual([line.split()[0] for line in done.text.splitlines()[1:]], ["00000001", "00000003"])
        done = self.run_tool("queue", "stats", "--json")
        (row,) = self.objects(done.out)
        self.assertEqual((done.code, row["messages"], row["damaged_records"]), (65, 2, 1))

    def test_names_a_few_of_many_damaged_records(self):
        self.fill(*[message(i) for i in range(50)])
        database = sqlite3.connect(os.path.join(self.queue, "mesg.btr"))
        database.execute("UPDATE records SET body = x'00'")
        database.commit()
        database.close()
        self.fails(65, "queue", "list", lines=21, says="30 more records")

    def test_names_records_that_belong_to_no_id(self):
        self.fill(message(1), {"key": "hellof"}, {"key": "0000000xf"}, {"key": "00000002z"}, {"key": ""}, message(1, "second@x"))
        done = self.fails(65, "queue", "list", lines=5, says=["hellof", "second one of 00000001"])
        self.assertIn("a@b.example", done.text)

    def test_needs_the_right_to_read(self):
        self.fill(message(1))
        self.refuse(self.queue, 0o700)
        if os.getuid() != 0:
            self.skipTest("needs another user")
        self.fails(77, "queue", "list", user=NOBODY, says=["mesg.btr", "denied", "[Store] Group"])

    def test_lets_the_operators_group_read(self):
        if os.getuid() != 0 or not has_program("setpriv"):
            self.skipTest("needs root and setpriv")
        group = 1  # daemon
        self.ini("QueueDirectory=%s" % self.queue, "[Store]\nGroup=daemon\n")
        self.fill(message(1), recipient(1, "r@x.example"), group="daemon")
        self.mail(1, 10)
        os.chmod(self.name(1), 0o640)
        self.lock(1)
        for path in [self.queue] + [os.path.join(self.queue, name) for name in os.listdir(self.queue)]:
            os.chown(path, 0, group)
        os.chmod(self.queue, 0o750)
        before = {name: read(os.path.join(self.queue, name)) for name in os.listdir(self.queue) if not name.endswith("-shm")}
        for words in (["list", "--json"], ["list"], ["show", "00000001"], ["stats"], ["shape"], ["recipients"], ["reasons", "00000001"],
                      ["watch", "--count", "1"]):
            done = self.as_member(TOOL, group, "queue", *words)
            self.assertEqual((done.returncode, done.stderr), (0, b""), words)
        self.assertEqual(self.objects(self.as_member(TOOL, group, "queue", "list", "--json").stdout)[0]["size"], 10)
        stranger = self.as_member(TOOL, NOBODY, "queue", "list")
        self.assertEqual(stranger.returncode, 77, stranger.stderr)
        after = {name: read(os.path.join(self.queue, name)) for name in os.listdir(self.queue) if not name.endswith("-shm")}
        self.assertEqual(after, before)

    def as_member(self, tool, group, *words):
        return subprocess.run(["setpriv", "--reuid", str(NOBODY), "--regid", str(group), "--clear-groups", tool, *words],
                              env=self.environment(), capture_output=True, timeout=100, stdin=subprocess.DEVNULL)

    def test_changes_nothing(self):
        self.fill(message(1, age=10), recipient(1, "r@x.example"))
        self.mail(1)
        self.lock(1)

        def state():
            return {name: hashlib.sha256(read(os.path.join(self.queue, name))).hexdigest() for name in os.listdir(self.queue)
                    if name != "mesg.btr-shm"}
        before = state()
        for words in (["list"], ["show", "00000001"], ["stats"], ["shape"], ["recipients"], ["reasons", "00000001"],
                      ["watch", "--count", "1"]):
            self.good("queue", *words)
        self.assertEqual(state(), before)

    def test_needs_no_temporary_directory(self):
        self.fill(message(1))
        self.good("queue", "list", env=self.environment(TMPDIR="/nowhere"))

    def test_logs_nothing_into_the_log_of_the_site(self):
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.path("etc")), "[Debug]\nLogLocking=YES\n")
        self.fill(message(1))
        self.good("queue", "show", "00000001")
        self.assertEqual(read(self.path("etc", "twmta.log")), b"")


class CliQueueShow(QueueTest):
    def one(self):
        self.fill(message(7, "s@x.example", age=7230, changed=30, due_in=630, retryCount=5, partNumber=9, delayNotifyStatus=1,
                          envelopeId="QQ1", statusText="st", stateText="HELD", firstOption=3, secondOption=-4, optionText="opt"),
                  recipient(7, "r@x.example", secondText="two", optionText="three", notifyFlags=6),
                  recipient(7, "done@x.example", "delivered"), {"mark": "SMTP", "id": 7}, {"mark": "LOCAL", "id": 8}, message(8))
        self.mail(7, 17)
        self.lock(7)
        with open(self.name(7, ".rea"), "w") as file:
            file.write("first reason\r\nsecond reason\n")

    def test_shows_everything(self):
        self.one()
        lines = self.lines("queue", "show", "00000007")
        self.assertEqual(lines[0], "00000007")
        shown = dict((line[2:16].strip(), line[16:]) for line in lines[1:] if not line.startswith("    "))
        self.assertEqual(shown["queue"], self.queue)
        for name, value in (("sender", "s@x.example"), ("envelope id", "QQ1"), ("status", "st"), ("state", "HELD"), ("tries", "5"),
                            ("part", "9"), ("delay notice", "sent"), ("options", "3, -4"), ("option text", "opt"), ("channels", "SMTP"),
                            ("message file", self.name(7) + ", 17 bytes"), ("recipients", "2, 1 pending"), ("reasons", "2 lines")):
            self.assertEqual(shown[name], value, name)
        self.assertRegex(shown["created"], r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4} \(2h0m ago\)$")
        self.assertRegex(shown["next try"], r" \(in 10m\)$")
        self.assertRegex(shown["lock"], r"^locked by \S+ since \d{4}-.* \(\d+s\)$")
        for line in ("    r@x.example  pending  second text: two  third text: three  notify flags: 6",
                     "    done@x.example  [delivered]", "    first reason", "    second reason"):
            self.assertIn(line, lines)

    def test_shows_times_in_the_zone_of_the_user(self):
        self.fill(message(7, creationTime=1795257000))
        self.file("etc/twmta.ini", "[Gateway]\nQueueDirectory=%s\n" % self.queue)
        for zone, text in (("UTC0", "2026-11-21 10:30:00 +0000"), ("XYZ-5:30", "2026-11-21 16:00:00 +0530")):
            self.assertIn(text, self.good("queue", "show", "00000007", env=self.environment(TZ=zone)).text)

    def test_shows_everything_as_json(self):
        self.one()
        (row,) = self.json("queue", "show", "00000007")
        self.assertEqual((row["first_option"], row["second_option"], row["option_text"], row["path"], row["channels"]),
                         (3, -4, "opt", self.name(7), ["SMTP"]))
        self.assertEqual(row["recipients"], [
            {"address": "r@x.example", "state": "", "second_text": "two", "third_text": "three", "notify_flags": 6},
            {"address": "done@x.example", "state": "delivered", "second_text": "", "third_text": "", "notify_flags": 0}])
        self.assertEqual(row["reasons"], ["first reason", "second reason"])
        self.assertEqual(list(row["lock"]), ["owner", "since", "since_seconds", "age", "stale"])
        self.assertFalse(row["lock"]["stale"])

    def test_tells_a_stale_lock(self):
        self.one()
        os.utime(self.name(7, ".lck"), (1000, 1000))
        self.assertTrue(self.json("queue", "show", "00000007")[0]["lock"]["stale"])
        self.assertIn("stale lock", self.good("queue", "show", "00000007").text)

    def test_shows_what_is_missing(self):
        self.fill(message(8), message(9, directory="elsewhere"))
        text = self.good("queue", "show", "00000008").text
        self.assertIn(self.name(8) + ", which is missing", text)
        self.assertIn("reasons       0 lines", text)
        self.assertIn("in the directory elsewhere, which is not open here", self.good("queue", "show", "00000009").text)
        row = self.json("queue", "show", "00000008")[0]
        self.assertEqual((row["lock"], row["reasons"], row["size"]), (None, [], None))

    def test_takes_several_ids_and_standard_input(self):
        self.fill(message(8), message(9))
        self.assertEqual([r["id"] for r in self.json("queue", "show", "-", data=b"00000009\n00000008\n")], ["00000009", "00000008"])
        self.fails(66, "queue", "show", "00000001", says="00000001: no such message")
        self.fails(64, "queue", "show", "held", says='"held" is no id')
        self.fails(64, "queue", "show", says="ID is missing")

    def test_prints_reasons(self):
        self.one()
        self.assertEqual(self.lines("queue", "reasons", "00000007"), ["first reason", "second reason"])
        self.assertEqual(self.lines("queue", "reasons", "00000007", "00000008"), ["00000007: first reason", "00000007: second reason"])
        self.assertEqual([row["reasons"] for row in self.json("queue", "reasons", "00000007", "00000008")],
                         [["first reason", "second reason"], []])
        self.fails(66, "queue", "reasons", "00000001", says="no such message")


class CliQueueCounts(QueueTest):
    def several(self):
        self.fill(message(1, "a@From.example", age=90), recipient(1, "x@one.example"), recipient(1, "y@ONE.example"),
                  recipient(1, "z@two.example", "delivered"),
                  message(2, "<>", age=1300, stateText="HELD"), recipient(2, "x@two.example"),
                  message(3, "b@from.example", age=10 ** 6, directory="away"), recipient(3, "no-domain"),
                  recipient(9, "orphan@x.example"))
        self.mail(1, 100)
        self.mail(2, 50)
        self.lock(2)

    def test_counts_as_json(self):
        self.several()
        (row,) = self.json("queue", "stats")
        self.assertEqual([row[name] for name in TALLY_MEMBERS if name != "oldest_age"], [3, 1, None, 5, 4, None, 1, "00000003"])
        self.assertAlmostEqual(row["oldest_age"], 10 ** 6, delta=30)
        self.assertEqual((row["orphan_recipients"], row["damaged_records"]), (1, 0))
        directories = {d["directory"]: d for d in row["directories"]}
        self.assertEqual([directories[self.queue][name] for name in TALLY_MEMBERS if name != "oldest_age"], [2, 1, 1, 4, 3, 150, 0, "00000002"])
        self.assertEqual((directories["away"]["locked"], directories["away"]["bytes"]), (None, None))
        self.assertEqual([(d["domain"], d["messages"], d["pending"]) for d in row["domains"]],
                         [("one.example", 1, 2), ("", 1, 1), ("two.example", 1, 1)])

    def test_counts_for_people(self):
        self.several()
        lines = [line.split() for line in self.lines("queue", "stats")]
        self.assertEqual(lines[1], ["TOTAL", "3", "1", "-", "5", "4", "-", "11d13h"])
        self.assertEqual(lines[2], [self.queue, "2", "1", "1", "4", "3", "150", "21m"])
        self.assertIn(["1", "recipients", "without", "a", "message"], lines)
        self.assertEqual(lines[-3], ["one.example", "1", "2", "1m"])

    def test_counts_for_monitoring(self):
        self.several()
        lines = self.lines("queue", "stats", "--prometheus")
        for line in ('qob_queue_messages{directory="%s"} 2' % self.queue, 'qob_queue_messages{directory="away"} 1',
                     'qob_queue_locked_messages{directory="%s"} 1' % self.queue, 'qob_queue_orphan_recipients 1',
                     'qob_queue_domain_pending_recipients{domain="one.example"} 2', 'qob_queue_bytes{directory="%s"} 150' % self.queue):
            self.assertIn(line, lines)
        # What is not known is not there, and above all not 0.
        self.assertFalse([line for line in lines if line.startswith(("qob_queue_bytes{directory=\"away", "qob_queue_locked_messages{directory=\"away"))])
        for line in lines:
            self.assertRegex(line, r'^(# (HELP|TYPE) qob_queue_\w+ .+|qob_queue_\w+(\{\w+="([^"\\]|\\.)*"\})? \d+)$')

    def test_counts_an_empty_queue(self):
        self.fill()
        (row,) = self.json("queue", "stats")
        self.assertEqual([row[name] for name in TALLY_MEMBERS], [0, 0, 0, 0, 0, 0, 0, None, None])
        self.assertEqual(len(row["directories"]), 1)
        lines = self.lines("queue", "stats", "--prometheus")
        self.assertIn('qob_queue_messages{directory="%s"} 0' % self.queue, lines)
        self.assertFalse([line for line in lines if line.startswith("qob_queue_oldest_message_age_seconds{")])

    def test_counts_what_a_filter_fits(self):
        self.several()
        (row,) = self.json("queue", "stats", "not held", "and directory = queue", "--limit", "1")
        self.assertEqual((row["messages"], row["bytes"], len(row["domains"])), (1, 100, 1))

    def test_shapes_by_age_and_domain(self):
        self.several()
        rows = [line.split() for line in self.lines("queue", "shape")]
        self.assertEqual(rows[0], ["domain", "total", "5", "10", "20", "40", "80", "160", "320", "640", "1280", "1280+"])
        self.assertEqual(rows[1:], [["TOTAL", "4", "2", "0", "0", "1", "0", "0", "0", "0", "0", "1"],
                                    ["one.example", "2", "2", "0", "0", "0", "0", "0", "0", "0", "0", "0"],
                                    ["-", "1", "0", "0", "0", "0", "0", "0", "0", "0", "0", "1"],
                                    ["two.example", "1", "0", "0", "0", "1", "0", "0", "0", "0", "0", "0"]])

    def test_shapes_as_asked(self):
        self.several()
        rows = [line.split() for line in self.lines("queue", "shape", "--sender", "-b", "3", "-t", "1", "--limit", "1")]
        self.assertEqual(rows, [["sender's", "domain", "total", "1", "2", "2+"], ["TOTAL", "3", "0", "1", "2"], ["from.example", "2", "0", "1", "1"]])
        self.assertEqual(self.lines("queue", "shape", "-b", "1", "held")[0].split(), ["domain", "total", "0+"])
        for words in (["-b", "0"], ["-b", "33"], ["-t", "0"], ["-t", "x"], ["--limit", "-1"]):
            self.assertEqual(self.run_tool("queue", "shape", *words).code, 64, words)

    def test_shapes_as_json(self):
        self.several()
        self.fill(message(4, creationTime=0), recipient(4, "x@one.example"))
        rows = self.json("queue", "shape", "-b", "2")
        self.assertEqual(rows[0], {"schema": "qob.queue-shape/1", "domain": None, "total": 5, "age_unknown": 1, "buckets": [
            {"below_minutes": 5, "count": 2}, {"below_minutes": None, "count": 2}]})
        self.assertEqual([(row["domain"], row["total"], row["age_unknown"]) for row in rows[1:]],
                         [("one.example", 3, 1), ("", 1, 0), ("two.example", 1, 0)])
        self.assertIn("age unknown", self.good("queue", "shape").text)

    def test_lists_recipients(self):
        self.several()
        self.assertEqual([line.split() for line in self.lines("queue", "recipients", "00000001")],
                         [["id", "recipient", "state"], ["00000001", "x@one.example", "pending"], ["00000001", "y@ONE.example", "pending"],
                          ["00000001", "z@two.example", "delivered"]])
        rows = self.json("queue", "recipients", "--pending", "domain = two.example")
        self.assertEqual([(row["id"], row["address"], row["pending"]) for row in rows],
                         [("00000001", "x@one.example", True), ("00000001", "y@ONE.example", True), ("00000002", "x@two.example", True)])
        self.assertEqual(self.json("queue", "recipients", "00000001")[2]["state"], "delivered")
