"""qob queue check: every kind of damage made by hand, found, mended, and mended for good."""
import os
import shutil
import time

from check_tool import RECORD, CheckTest
from queue_tool import message, recipient
from tool import NOBODY, read, write


class CliQueueCheck(CheckTest):
    def test_finds_nothing_in_a_sound_queue(self):
        write(self.name(1, ".rea"), "why\n")
        before = self.tree()
        self.assertEqual(self.found(0), [])
        self.assertEqual(self.tree(), before)
        self.assertEqual(self.good("queue", "check").text, "2 messages, 0 in use, 0 wrong, 0 mended, 0 uncertain\n")
        self.assertEqual(self.found(0, "--repair"), [])

    def test_finds_nothing_in_a_queue_without_a_database(self):
        self.queue = self.path("fresh")
        os.mkdir(self.queue)
        self.set_site()
        self.assertEqual(self.found(0), [])
        self.assertEqual(self.found(0, "--repair"), [])
        self.assertEqual(os.listdir(self.queue), ["repair.turn"])

    def test_mends_a_stale_lock(self):
        self.lock(1)
        self.age(self.name(1, ".lck"))
        (row,) = self.check(65)
        self.assertEqual((row["path"], row["lock"]["stale"]), (self.name(1, ".lck"), True))
        self.mends([("stale-lock", "00000001")])
        self.assertEqual(len(self.ids()), 2)

    def test_mends_a_stale_lock_of_any_name(self):
        write(os.path.join(self.queue, "daemon.lck"), "")
        self.assertEqual(self.found(75), [("held-lock", None, "none")])
        self.age(os.path.join(self.queue, "daemon.lck"))
        self.mends([("stale-lock", None)])

    def test_tells_held_locks_with_their_owner_and_age_and_leaves_them(self):
        self.lock(1)
        self.age(self.name(1, ".lck"), 3700)
        os.remove(self.name(1))
        if time.time() - 3700 < self.boot():
            self.skipTest("the machine started too short a time ago")
        for words in ((), ("--repair",)):
            (row,) = self.check(75, *words)
            self.assertEqual((row["finding"], row["id"], row["repair"]), ("held-lock", "00000001", "none"))
            self.assertTrue(3700 <= row["lock"]["age"] < 3900, row["lock"])
            self.assertIn("(1h1m)", row["text"])
        self.assertEqual(len(self.ids()), 2)
        self.assertTrue(os.path.exists(self.name(1, ".lck")))

    def boot(self):
        with open("/proc/stat") as file:
            return int([line.split()[1] for line in file if line.startswith("btime")][0])

    def test_judges_what_lies_behind_a_stale_lock(self):
        self.lock(0x77)
        self.age(self.name(0x77, ".lck"))
        self.mail(0x77)
        self.mends([("stale-lock", "00000077"), ("orphan-file", "00000077")])
        self.assertEqual(self.corrupt(), ["00000077.msg", "report.txt"])

    def test_mends_a_message_file_that_no_record_knows(self):
        write(self.name(0x77), "precious")
        write(self.name(0x77, ".rea"), "why\n")
        self.mends([("orphan-file", "00000077"), ("stray-reasons", "00000077")])
        self.assertEqual(self.corrupt(), ["00000077.msg", "00000077.rea", "report.txt"])
        self.assertEqual(self.saved("00000077.msg"), b"precious")

    def test_leaves_a_file_that_records_of_the_sites_own_queue_may_know(self):
        self.fill(message(0x55, directory="out"), recipient(0x55, "x@x.example"), queue=self.out)
        for number in (0x55, 0x77):
            write(os.path.join(self.out, "%08X.msg" % number), "mail")
        for words in ((), ("--repair",)):
            self.assertEqual(self.found(65, "--queue", self.out, *words), [("orphan-file", "00000077", "none")])
        self.assertEqual(self.corrupt(self.out), [])
        self.assertEqual(self.found(0, self.out, "--repair"), [("orphan-file", "00000077", "done")])

    def test_mends_reasons_alone(self):
        write(self.name(0x77, ".rea"), "why\n")
        self.mends([("stray-reasons", "00000077")])

    def test_never_replaces_what_lies_in_corrupt(self):
        for text in ("first", "second"):
            write(self.name(0x77), text)
            self.found(0, "--repair")
        self.assertEqual((self.saved("00000077.msg"), self.saved("00000077.msg.1")), (b"first", b"second"))
        self.all_reported()

    def test_mends_records_without_a_file(self):
        os.remove(self.name(2))
        self.mends([("missing-file", "00000002")])
        self.assertEqual(self.corrupt(), ["00000002.marks", "00000002.records", "report.txt"])
        records = self.saved("00000002.records")
        self.assertEqual(len(records), 2 * RECORD)
        self.assertEqual((records[:9], records[RECORD:RECORD + 9]), (b"00000002f", b"00000002r"))
        self.assertEqual(records[292:303], b"a@b.example")
        self.assertEqual(self.saved("00000002.marks"), b"smtp\n")
        self.assertEqual(self.ids(), ["00000001"])
        self.assertEqual(self.sql("SELECT count(*) FROM marks"), [(0,)])

    def test_mends_recipients_without_a_message(self):
        self.fill(recipient(9, "lost@x.example"), recipient(9, "lost2@x.example"))
        self.mends([("lost-recipients", "00000009")])
        self.assertIn(b"lost2@x.example", self.saved("00000009.records"))
        self.assertEqual(self.sql("SELECT count(*) FROM records"), [(4,)])

    def test_mends_marks_and_notes_without_a_message(self):
        self.fill({"mark": "local", "id": 9}, {"mark": "smtp", "id": 9})
        self.sql("INSERT INTO notes VALUES(10, x'6e6f7465')")
        self.mends([("stray-mark", "00000009"), ("stray-note", "0000000A")])
        self.assertEqual((self.saved("00000009.marks"), self.saved("0000000A.note")), (b"local\nsmtp\n", b"note"))
        self.assertEqual(self.sql("SELECT CAST(name AS TEXT), id FROM marks"), [("smtp", 2)])
        self.assertEqual(self.sql("SELECT count(*) FROM notes"), [(0,)])

    def test_mends_a_second_message_record(self):
        self.fill(message(1, "second@b.example"))
        self.mends([("second-record", "00000001")])
        self.assertIn(b"second@b.example", self.saved("00000001.records"))
        self.assertEqual(self.json("queue", "show", "00000001")[0]["sender"], "a@b.example")

    def test_mends_an_envelope_that_was_never_finished(self):
        self.fill(message(9, "", directory=""))
        write(self.name(9), "half")
        self.assertEqual(self.found(65), [("unfinished", "00000009", "possible")])
        self.assertEqual(self.found(0, "--repair"), [("unfinished", "00000009", "done"), ("orphan-file", "00000009", "done")])
        self.assertEqual(self.found(0, "--repair"), [])
        self.assertEqual(self.corrupt(), ["00000009.msg", "00000009.records", "report.txt"])

    def test_tells_a_message_without_recipients_and_leaves_it(self):
        self.fill(message(9))
        self.mail(9)
        for words in ((), ("--repair",)):
            self.assertEqual(self.found(65, *words), [("no-recipients", "00000009", "none")])
        self.assertEqual(len(self.ids()), 3)
        self.assertTrue(os.path.exists(self.name(9)))

    def test_mends_an_interrupted_move(self):
        self.fill(message(9, directory="out"), recipient(9, "x@x.example"))
        write(self.name(9), "on its way")
        write(self.name(9, ".rea"), "why\n")
        self.assertEqual(self.found(65, self.out), [("interrupted-move", "00000009", "possible")])
        self.assertEqual(self.found(0, "--repair", self.out),
                         [("interrupted-move", "00000009", "done"), ("stray-reasons", "00000009", "done")])
        self.assertEqual(self.found(0, "--repair", self.out), [])
        self.assertEqual(sorted(os.listdir(self.out)), ["00000009.msg", "00000009.rea", "repair.turn"])
        self.assertEqual(read(self.name(9, queue=self.out)), b"on its way")
        self.assertEqual(self.corrupt(), [])

    def test_mends_an_interrupted_move_back(self):
        self.fill(message(9), recipient(9, "x@x.example"))
        self.mail(9, queue=self.out)
        self.mends([("interrupted-move", "00000009")], self.out)
        self.assertTrue(os.path.exists(self.name(9)))

    def test_does_not_finish_a_move_that_is_under_way(self):
        self.fill(message(9, directory="out"), recipient(9, "x@x.example"))
        self.mail(9)
        for queue in (self.queue, self.out):
            write(self.name(9, ".lck", queue=queue), "")
            self.assertEqual(self.found(75, "--repair", self.out), [("held-lock", "00000009", "none")])
            os.remove(self.name(9, ".lck", queue=queue))
        self.assertTrue(os.path.exists(self.name(9)))

    def test_keeps_a_file_whose_record_names_a_directory_that_is_not_checked(self):
        self.fill(message(9, directory="far"), recipient(9, "x@x.example"))
        self.mail(9)
        for words in ((), ("--repair",)):
            (row,) = self.check(65, *words)
            self.assertEqual((row["finding"], row["repair"]), ("unknown-directory", "none"))
            self.assertIn("'far'", row["text"])
            self.assertIn("every queue directory", row["detail"])
        self.assertTrue(os.path.exists(self.name(9)))
        self.assertIn("00000009", self.ids())

    def test_puts_the_second_of_two_files_away(self):
        self.fill(message(9, directory="out"), recipient(9, "x@x.example"))
        write(self.name(9), "left behind")
        write(self.name(9, queue=self.out), "arrived")
        self.mends([("orphan-file", "00000009")], self.out)
        self.assertEqual(self.saved("00000009.msg"), b"left behind")
        self.assertEqual(read(self.name(9, queue=self.out)), b"arrived")

    def test_takes_directories_with_databases_of_their_own(self):
        self.fill(message(1, "other@b.example", directory="out"), recipient(1, "x@x.example"), queue=self.out)
        self.mail(1, queue=self.out, size=7)
        self.assertEqual(self.found(0, self.out), [])
        os.remove(self.name(1, queue=self.out))
        self.mends([("missing-file", "00000001")], self.out)
        self.assertEqual(len(self.ids()), 2)
        self.assertEqual(self.corrupt(self.out), ["00000001.records", "report.txt"])

    def test_refuses_a_directory_under_two_names(self):
        os.symlink(self.queue, self.path("link"))
        self.fails(64, "queue", "check", self.path("link"), says="named twice")

    def test_mends_a_counter_of_another_length(self):
        counter = os.path.join(self.site_tmp, "unique.$$$")
        self.fill(message(0x1A2B3), recipient(0x1A2B3, "x@x.example"))
        self.mail(0x1A2B3)
        for damage in (b"", b"abc", b"abcde"):
            write(counter, damage)
            self.mends([("damaged-counter", None)])
            self.assertEqual(read(counter), b"\xb3\xa2\x01\0")
        write(self.name(0x1A2B4), "highest of all")
        write(counter, b"abc")
        self.assertEqual(self.found(0, "--repair"), [("damaged-counter", None, "done"), ("orphan-file", "0001A2B4", "done")])
        self.assertEqual(read(counter), b"\xb4\xa2\x01\0")

    def test_leaves_a_good_or_missing_counter(self):
        self.assertEqual(self.found(0, "--repair"), [])
        self.assertFalse(os.path.exists(os.path.join(self.site_tmp, "unique.$$$")))

    def test_mends_files_that_were_never_finished(self):
        for name in ("mesg.btr-new", "mesg.btr-new-wal", ".qob-4711-1.new"):
            write(os.path.join(self.queue, name), name)
        self.assertEqual(self.found(0), [])
        for name in ("mesg.btr-new", "mesg.btr-new-wal", ".qob-4711-1.new"):
            self.age(os.path.join(self.queue, name), 7200)
        self.assertEqual(sorted(self.found(65)), [("leftover", None, "possible")] * 3)
        self.assertEqual(self.found(0, "--repair"), [("leftover", None, "done")] * 3)
        self.assertEqual(self.found(0, "--repair"), [])
        self.assertEqual(self.corrupt(), [".qob-4711-1.new", "mesg.btr-new", "mesg.btr-new-wal", "report.txt"])

    def test_mends_a_damaged_record(self):
        self.fill(recipient(1, "second@x.example"))
        ((body,),) = self.sql("SELECT body FROM records WHERE number=2")
        self.sql(("UPDATE records SET body=? WHERE number=2", (body[:-1] + bytes([body[-1] ^ 1]),)))
        self.mends([("damaged-record", "00000001")])
        self.assertEqual(self.saved("00000001.2.damaged"), body[:-1] + bytes([body[-1] ^ 1]))
        (row,) = self.json("queue", "show", "00000001")
        self.assertEqual([one["address"] for one in row["recipients"]], ["second@x.example"])

    def test_tells_that_a_damaged_record_was_the_last_recipient(self):
        self.sql("UPDATE records SET body=x'00' WHERE number=2")
        self.assertEqual(self.found(65, "--repair"), [("damaged-record", "00000001", "done"), ("no-recipients", "00000001", "none")])
        self.assertTrue(os.path.exists(self.name(1)))

    def test_mends_several_damaged_records_of_one_message(self):
        self.sql("UPDATE records SET body=x'00' WHERE number IN (1, 2)")
        self.assertEqual(self.found(0, "--repair"), [("damaged-record", "00000001", "done")] * 2 +
                         [("orphan-file", "00000001", "done")])
        self.assertEqual(self.found(0), [])

    def test_mends_a_damaged_message_record_and_keeps_the_mail(self):
        mail = read(self.name(1))
        self.sql("UPDATE records SET body=x'00' WHERE number=1")
        self.assertEqual(self.found(65), [("damaged-record", "00000001", "possible")])
        self.assertEqual(self.found(0, "--repair"), [("damaged-record", "00000001", "done"), ("lost-recipients", "00000001", "done"),
                                                     ("orphan-file", "00000001", "done")])
        self.assertEqual(self.found(0, "--repair"), [])
        self.assertEqual(self.saved("00000001.msg"), mail)
        self.assertEqual(self.ids(), ["00000002"])

    def test_leaves_a_damaged_record_of_a_locked_message(self):
        self.sql("UPDATE records SET body=x'00' WHERE number=1")
        self.lock(1)
        self.assertEqual(self.found(75, "--repair"), [("held-lock", "00000001", "none")])
        self.assertEqual(self.sql("SELECT count(*) FROM records"), [(4,)])

    def test_judges_nothing_beside_a_damaged_database(self):
        path = os.path.join(self.queue, "mesg.btr")
        self.mail(0x77)
        good = read(path)
        for damaged in (b"", good[:100], good[:-4096], b"\0" * len(good), b"SQLite format 3\0" + os.urandom(len(good) - 16)):
            for name in ("mesg.btr-wal", "mesg.btr-shm"):
                if os.path.exists(os.path.join(self.queue, name)):
                    os.remove(os.path.join(self.queue, name))
            write(path, damaged)
            for words in ((), ("--repair",)):
                (row,) = self.check(65, *words)
                self.assertEqual((row["finding"], row["path"], row["repair"]), ("damaged-database", path, "none"))
                self.assertIn("restore it", row["detail"])
            self.assertEqual(read(path), damaged)
            self.assertTrue(os.path.exists(self.name(0x77)))

    def test_saves_what_can_be_read_of_a_damaged_database(self):
        self.sql("PRAGMA writable_schema=1", "DELETE FROM marks", "UPDATE records SET k1=x'7a' WHERE number=1")
        for words in ((), ("--repair",), ("--repair",)):
            (row,) = self.check(65, *words)
            self.assertEqual((row["finding"], row["repair"]), ("damaged-database", "none"))
        self.assertEqual(self.corrupt(), ["mesg.records", "report.txt"])
        self.assertEqual(len(self.saved("mesg.records")), 4 * RECORD)

    def test_judges_nothing_without_the_database_of_standing_mail(self):
        for name in ("mesg.btr", "mesg.btr-wal", "mesg.btr-shm", "mesg.btr-gate"):
            if os.path.exists(os.path.join(self.queue, name)):
                os.remove(os.path.join(self.queue, name))
        for words in ((), ("--repair",)):
            self.assertEqual(self.found(65, *words), [("missing-database", None, "none")])
        self.assertTrue(os.path.exists(self.name(1)) and os.path.exists(self.name(2)))
        self.assertFalse(os.path.exists(os.path.join(self.queue, "mesg.btr")))

    def test_notes_records_of_other_keys_and_leaves_them(self):
        self.fill({"key": "notanidf", "address": "x"})
        self.assertEqual(self.found(65, "--repair"), [("strange-record", None, "none")])
        self.assertEqual(self.sql("SELECT count(*) FROM records"), [(5,)])

    def test_tells_what_others_may_read(self):
        os.chmod(self.queue, 0o755)
        os.chmod(self.name(1), 0o644)
        os.chmod(self.name(2), 0o640)
        rows = self.check(65, "--repair")
        self.assertEqual([(row["finding"], row["path"]) for row in rows][0], ("modes", self.queue))
        self.assertIn("mode 0755", rows[0]["text"])
        self.assertIn("1 more", rows[1]["text"])
        os.chmod(self.queue, 0o750)
        os.chmod(self.name(1), 0o640)
        self.set_site("[Store]\nGroup=somebody\n")
        self.assertEqual(self.found(0), [])

    def test_tells_a_file_system_that_forgets(self):
        if not os.path.isdir("/dev/shm"):
            self.skipTest("there is no /dev/shm")
        self.queue = "/dev/shm/qob-check-%d" % os.getpid()
        os.mkdir(self.queue)
        self.addCleanup(shutil.rmtree, self.queue)
        self.set_site()
        (row,) = self.check(65)
        self.assertEqual((row["finding"], row["path"]), ("volatile", self.queue))
        self.assertIn("tmpfs", row["text"])

    def test_works_in_a_reduced_way_without_the_right_to_write(self):
        if os.getuid() != 0:
            self.skipTest("needs to become another user")
        self.mail(0x77)
        self.lock(1)
        self.age(self.name(1, ".lck"))
        os.chmod(self.queue, 0o755)
        self.set_site("[Store]\nGroup=somebody\n")
        os.chmod(self.path("etc", "twmta.ini"), 0o644)
        for name in os.listdir(self.queue):
            os.chmod(os.path.join(self.queue, name), 0o644)
        before = self.tree()
        done = self.run_tool("queue", "check", "--json", user=NOBODY)
        self.assertEqual(done.code, 65, done.out + done.err)
        self.assertIn("no lock can be taken", done.errors)
        rows = [(row["finding"], row["id"], row["certain"]) for row in self.objects(done.out)]
        self.assertIn(("orphan-file", "00000077", False), rows)
        self.assertIn(("stale-lock", "00000001", True), rows)
        done = self.run_tool("queue", "check", "--repair", user=NOBODY)
        self.assertEqual(done.code, 77, done.out + done.err)
        self.assertEqual(self.tree(), before)

    def test_uncertain_findings_alone_have_their_exit_code(self):
        if os.getuid() != 0:
            self.skipTest("needs to become another user")
        self.mail(0x77)
        somebody = NOBODY
        os.chown(self.queue, -1, somebody)
        os.chmod(self.queue, 0o750)
        for name in os.listdir(self.queue):
            os.chown(os.path.join(self.queue, name), -1, somebody)
            os.chmod(os.path.join(self.queue, name), 0o640)
        self.set_site("[Store]\nGroup=somebody\n")
        os.chmod(self.path("etc", "twmta.ini"), 0o644)
        done = self.run_tool("queue", "check", user=somebody)
        self.assertEqual(done.code, 77, done.out + done.err)
        self.assertIn("(uncertain: a program may be at work on it)", done.text)

    def test_says_that_the_configuration_names_no_queue(self):
        self.file("etc/twmta.ini", "")
        self.fails(78, "queue", "check", says="QueueDirectory is not set")
        self.assertEqual(self.found(0, self.queue), [])

    def test_takes_the_directories_named_beside_the_configured_one(self):
        self.mail(0x77, queue=self.out)
        self.assertEqual(self.found(0), [])
        self.assertEqual(self.found(65, self.out), [("orphan-file", "00000077", "possible")])

    def test_shows_readable_lines(self):
        self.mail(0x77)
        lines = self.run_tool("queue", "check").text.splitlines()
        self.assertEqual(lines, [self.name(0x77) + ": a message file that no record knows: --repair: moves it to corrupt/",
                                 "2 messages, 0 in use, 1 wrong, 0 mended, 0 uncertain"])
        lines = self.run_tool("queue", "check", "--repair").text.splitlines()
        self.assertEqual(lines[0], self.name(0x77) + ": a message file that no record knows: mended: moved to " +
                         os.path.join(self.queue, "corrupt", "00000077.msg"))

    def test_audits_what_it_mends(self):
        self.mail(0x77)
        self.found(0, "--repair")
        (line,) = self.log()
        self.assertRegex(line, r" 3 qob\[\d+\] queue check --repair: 00000077, user \S+, sender -, \S+/00000077\.msg, moved to \S+")

    def test_an_unwritable_corrupt_keeps_everything(self):
        write(os.path.join(self.queue, "corrupt"), "a file is in the way")
        self.mail(0x77)
        os.remove(self.name(2))
        self.fill(recipient(9, "lost@x.example"))
        self.assertEqual(self.found(65, "--repair"), [("missing-file", "00000002", "failed"), ("lost-recipients", "00000009", "failed"),
                                                      ("orphan-file", "00000077", "failed")])
        self.assertTrue(os.path.exists(self.name(0x77)))
        self.assertEqual(self.sql("SELECT count(*) FROM records"), [(5,)])
