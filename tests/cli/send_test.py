"""qob send, and the same under the name sendmail: what lies in the queue afterwards."""
import email
import email.policy
import os
import pwd
import re
import resource
import signal
import subprocess
import time

import tool
from queue_tool import QueueTest
from tool import read

READY = b"From: ann@x.example\nTo: Bob <bob@y.example>, carl@y.example\nCc: \"Doe, Jane\" <jane@z.example>\nBcc: secret@z.example\nSubject: hello\n\nline one\n.\nline two\n"
ME = pwd.getpwuid(os.getuid()).pw_name


class SendTest(QueueTest):
    def setUp(self):
        super().setUp()
        self.site_tmp = self.path("site-tmp")
        os.mkdir(self.site_tmp)
        self.site()
        os.symlink(tool.TOOL, self.path("sendmail"))

    def site(self, more=""):
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.site_tmp),
                 "[Connection]\nGatewayHostName=mx\nGatewayDomain=site.example\n" + more)

    def sendmail(self, *words, data=b"Subject: x\n\ntext\n", code=0, name="sendmail", env=None, **more):
        done = subprocess.run([self.path(name), *words], input=data, capture_output=True, env=env or self.environment(), timeout=60, **more)
        self.assertEqual(done.returncode, code, done.stderr)
        self.assertEqual(done.stdout, b"")
        if code == 0:
            self.assertEqual(done.stderr, b"")
        return done

    def queued(self):
        """Every message of the queue, as 'qob queue show' tells of it."""
        ids = self.ids() if os.path.exists(os.path.join(self.queue, "mesg.btr")) else []
        return [self.json("queue", "show", number)[0] for number in ids]

    def only(self):
        rows = self.queued()
        self.assertEqual(len(rows), 1)
        return rows[0]

    def recipients(self, row=None):
        return [one["address"] for one in (row or self.only())["recipients"]]

    def bytes_of(self, row=None):
        return read((row or self.only())["path"])

    def message(self, row=None):
        """The queued file; every line of it ends in CR LF."""
        data = self.bytes_of(row)
        self.assertNotRegex(data, rb"(?<!\r)\n")
        return email.message_from_bytes(data, policy=email.policy.default)

    def body(self, row=None):
        return self.bytes_of(row).split(b"\r\n\r\n", 1)[1]

    def nothing_left(self):
        """No message, no half of one, nothing temporary."""
        self.assertEqual(self.queued(), [])
        self.assertEqual([name for name in os.listdir(self.queue) if not name.startswith("mesg.btr")], [])
        self.assertEqual([name for name in os.listdir(self.site_tmp) if not name.endswith("$$$") and name != "twmta.log"], [])


class CliSend(SendTest):
    def test_a_ready_message_from_standard_input(self):
        done = self.good("send", "-i", "-f", "ann@x.example", "bob@y.example", data=READY)
        row = self.only()
        self.assertEqual(done.text, row["id"] + "\n")
        self.assertEqual((row["sender"], self.recipients(row), row["channels"], row["lock"], row["pending"]), ("ann@x.example", ["bob@y.example"], ["smtp"], None, 1))
        self.assertEqual(self.body(row), b"line one\r\n.\r\nline two\r\n")
        message = self.message(row)
        self.assertEqual((message["to"], message["bcc"], message["subject"]), ("Bob <bob@y.example>, carl@y.example", None, "hello"))
        for name in ("received", "date", "message-id", "mime-version"):
            self.assertEqual(len(message.get_all(name)), 1, name)
        self.assertEqual(message.get_all("from"), ["ann@x.example"])

    def test_a_ready_message_from_a_file(self):
        path = self.file("m.eml", READY)
        before = os.stat(path).st_mtime_ns
        self.good("send", "-f", "ann@x.example", "--message", path, "bob@y.example")
        self.assertEqual(self.body(), b"line one\r\n.\r\nline two\r\n")
        self.assertEqual((read(path), os.stat(path).st_mtime_ns), (READY, before))

    def test_recipients_of_the_header(self):
        self.good("send", "-t", "-i", data=READY)
        self.assertEqual(self.recipients(), ["bob@y.example", "carl@y.example", "jane@z.example", "secret@z.example"])
        self.assertNotIn(b"secret", self.bytes_of())

    def test_recipients_of_the_header_and_operands(self):
        self.good("send", "-t", "dora@w.example", "CARL@Y.example", data=READY)
        self.assertEqual(self.recipients(), ["dora@w.example", "CARL@Y.example", "bob@y.example", "jane@z.example", "secret@z.example"])

    def test_resent_fields_take_the_place_of_the_others(self):
        self.good("send", "-t", data=b"Resent-To: new@x.example\nResent-Bcc: quiet@x.example\nTo: old@x.example\n\nx\n")
        self.assertEqual(self.recipients(), ["new@x.example", "quiet@x.example"])
        self.assertNotIn(b"quiet", self.bytes_of())

    def test_header_addresses_of_every_form(self):
        data = (b"TO : a@x.example,\r\n b@x.example\n\t, (note, with comma) c@x.example (C)\nCc: Team: d@x.example, E <e@x.example>; , f@x.example\n"
                b"Bcc: undisclosed-recipients:;\ncc: =?UTF-8?Q?J=C3=B6rg=2C_x?= <g@x.example>, \"\\\"q\\\", <x>\" <h@x.example>, M\xfcller <i@x.example>\n"
                b"Cc: j@[IPv6:::1], local\n\nTo: not@this.example\n")
        self.good("send", "-t", data=data)
        self.assertEqual(self.recipients(), [c + "@x.example" for c in "abcdefghi"] + ["j@[IPv6:::1]", "local@mx.site.example"])

    def test_a_folded_bcc_goes_whole(self):
        self.good("send", "-t", data=b"To: a@x.example\nbCC: s1@x.example,\n s2@x.example,\n\ts3@x.example\nSubject: stays\n\nx\n")
        data = self.bytes_of()
        self.assertNotRegex(data, rb"s[123]@")
        self.assertIn(b"\r\nSubject: stays\r\n", data)
        self.assertEqual(len(self.recipients()), 4)

    def test_a_lone_dot_ends_standard_input(self):
        for data, body in ((b"\na\n.\nb\n", b"a\r\n"), (b"\n.\n", b""), (b"\na\n..\n.b\n. \n", b"a\r\n..\r\n.b\r\n. \r\n"), (b"\na\r\n.\r\nb", b"a\r\n"),
                           (b"\na\n.", b"a\r\n"), (b"\na.\n", b"a.\r\n"), (b"\n.\rx\n", b".\rx\r\n"), (b".\nx", b"")):
            number = self.good("send", "x@y.example", data=data).text.strip()
            row, = self.json("queue", "show", number)
            self.assertEqual(self.body(row), body, data)

    def test_a_lone_dot_across_blocks(self):
        for size in (16380, 16381, 16382, 16383, 16384, 16385):
            data = b"\n" + b"x" * (size - 2) + b"\n.\nend\n"
            number = self.good("send", "x@y.example", data=data).text.strip()
            row, = self.json("queue", "show", number)
            self.assertEqual(len(self.body(row)), size - 2 + 2, size)

    def test_input_in_single_bytes(self):
        process = subprocess.Popen([tool.TOOL, "send", "x@y.example"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=self.environment())
        for byte in b"Subject: a\n\n..\n.b\n.\r\nnever\n":
            process.stdin.write(bytes([byte]))
            process.stdin.flush()
        process.communicate()
        self.assertEqual((process.returncode, self.body()), (0, b"..\r\n.b\r\n"))

    def test_ignored_dots(self):
        for words in (["-i"], ["-oi"], ["-OIgnoreDots=true"], ["-O", "IgnoreDots"], ["--ignore-dots"], ["-ti"]):
            number = self.good("send", *words, "x@y.example", data=b"\na\n.\nb\n").text.strip()
            self.assertEqual(self.body(self.json("queue", "show", number)[0]), b"a\r\n.\r\nb\r\n", words)

    def test_only_bare_line_feeds_are_changed(self):
        self.good("send", "-i", "x@y.example", data=b"Subject: x\r\n\nA: b\na\r\nb\rc\n\r\n\nd")
        self.assertEqual(self.body(), b"A: b\r\na\r\nb\rc\r\n\r\n\r\nd")

    def test_raw_leaves_the_bytes_alone(self):
        data = b"From ann Sun Nov 22\nSubject: x\nBcc: b@x.example\n\na\nb\r\n"
        self.good("send", "--raw", "x@y.example", data=data)
        self.assertTrue(self.bytes_of().endswith(b"\r\n" + data), self.bytes_of())

    def test_raw_with_t_takes_nothing_but_bcc(self):
        self.good("send", "--raw", "-t", data=b"To: x@y.example\nBcc: b@x.example\n\na\nb\r\n")
        self.assertTrue(self.bytes_of().endswith(b"\r\nTo: x@y.example\n\na\nb\r\n"), self.bytes_of())

    def test_a_message_without_a_header_gets_one(self):
        for data, body in ((b"just text\nmore\n", b"just text\r\nmore\r\n"), (b" indented: text\n", b" indented: text\r\n"), (b"", b""), (b"\n", b""), (b"\n\n", b"\r\n"),
                           (b"Subject: x\nno field here\nTo: y\n", b"no field here\r\nTo: y\r\n"), (b"Subject: x", b""), (b"http://x.example/a: b\n", b"")):
            number = self.good("send", "-F", "Ann", "-f", "ann@x.example", "x@y.example", data=data).text.strip()
            row, = self.json("queue", "show", number)
            self.assertEqual(self.body(row), body, data)
            self.assertEqual(self.message(row)["from"], "Ann <ann@x.example>")

    def test_a_from_line_of_a_mailbox_goes(self):
        for start in (b"From ann Sun Nov 22 01:02:03 2026\n", b">From ann\r\n"):
            number = self.good("send", "x@y.example", data=start + b"Subject: x\n\nt\n").text.strip()
            self.assertNotIn(b"From ann", self.bytes_of(self.json("queue", "show", number)[0]))

    def test_makes_a_message(self):
        self.good("send", "--from", "\u00c4nnchen <ann@x.example>", "--to", "bob@y.example", "--cc", "carl@y.example", "--bcc", "secret@z.example", "-s", "Gr\u00fc\u00dfe",
                  "-a", self.file("B\u00fccher.pdf", b"%PDF"), "dora@w.example", data="Sch\u00f6ner Text\n.\nnot this\n".encode())
        row = self.only()
        self.assertEqual((row["sender"], self.recipients(row)), ("ann@x.example", ["dora@w.example", "bob@y.example", "carl@y.example", "secret@z.example"]))
        message = self.message(row)
        self.assertEqual((message["from"].addresses[0].display_name, message["subject"], message["bcc"]), ("\u00c4nnchen", "Gr\u00fc\u00dfe", None))
        text, pdf = message.iter_parts()
        self.assertEqual((text.get_content().strip(), pdf.get_filename(), pdf.get_payload(decode=True)), ("Sch\u00f6ner Text", "B\u00fccher.pdf", b"%PDF"))
        self.assertEqual(len(message.get_all("mime-version")), 1)
        self.assertEqual([name for name in os.listdir(self.site_tmp) if name.startswith("MIME")], [])

    def test_the_one_who_runs_it_is_the_sender(self):
        self.good("send", "x@y.example", data=b"\nx\n")
        self.assertEqual(self.only()["sender"], "%s@mx.site.example" % ME)
        self.assertEqual(self.message()["from"].addresses[0].addr_spec, "%s@mx.site.example" % ME)

    def test_an_empty_sender(self):
        for word in ("<>", "", " <> "):
            number = self.good("send", "-f", word, "x@y.example", data=b"\nx\n").text.strip()
            self.assertEqual(self.json("queue", "show", number)[0]["sender"], "<>")

    def test_reports_that_are_asked_for(self):
        row, = self.json("send", "-N", "success,delay", "-R", "hdrs", "-V", "id+2Bx", "--orcpt", "rfc822;b@old.example", "--orcpt", "x400;c", "b@y.example", "c@y.example", "d@y.example", data=b"\nx\n")
        self.assertEqual([(one["address"], one["original"], one["notify_flags"]) for one in row["recipients"]],
                         [("b@y.example", "rfc822;b@old.example", 5), ("c@y.example", "x400;c", 5), ("d@y.example", "", 5)])
        shown = self.only()
        self.assertEqual((row["id"], row["envelope_id"], row["return"], shown["envelope_id"], shown["first_option"]), (shown["id"], "id+2Bx", 1, "id+2Bx", 1))
        self.assertEqual([(one["second_text"], one["notify_flags"]) for one in shown["recipients"]], [("rfc822;b@old.example", 5), ("x400;c", 5), ("", 5)])

    def test_every_way_to_ask_for_reports(self):
        for words, flags, option in ((["-N", "never"], 8, 0), (["-NFAILURE"], 2, 0), (["-N", "success, failure ,delay", "-Rfull"], 7, 2), (["--notify=delay", "--return", "HDRS"], 4, 1), ([], 0, 0)):
            number = self.good("send", *words, "x@y.example", data=b"\nx\n").text.strip()
            row, = self.json("queue", "show", number)
            self.assertEqual((row["recipients"][0]["notify_flags"], row["first_option"]), (flags, option))

    def test_a_receipt(self):
        self.good("send", "--receipt", "-f", "ann@x.example", "x@y.example", data=b"\nx\n")
        self.assertEqual(self.message()["return-receipt-to"], "ann@x.example")

    def test_channels(self):
        self.good("send", "--channel", "uucp", "x@y.example", data=b"\nx\n")
        self.assertEqual(self.only()["channels"], ["uucp"])
        self.site("[Submission]\nChannel=slow\n")
        number = self.good("send", "x@y.example", data=b"\nx\n").text.strip()
        self.assertEqual(self.json("queue", "show", number)[0]["channels"], ["slow"])

    def test_tells_of_it_in_json(self):
        row, = self.json("send", "-f", "ann@x.example", "x@y.example", data=b"Subject: a\n\nx\n")
        shown = self.only()
        self.assertEqual((row["path"] + ".msg", row["sender"], row["channel"]), (shown["path"], "ann@x.example", "smtp"))

    def test_notes_it_in_the_log_of_the_site(self):
        number = self.good("send", "-f", "ann@x.example", "x@y.example", "z@y.example", data=b"\nx\n").text.strip()
        self.assertRegex(read(os.path.join(self.site_tmp, "twmta.log")).decode(), "send %s: from ann@x.example to x@y.example and 1 more, channel smtp" % number)

    def test_recipients_that_are_called_like_commands(self):
        self.good("send", "queue", "parse", "send", data=b"\nx\n")
        self.assertEqual(self.recipients(), [name + "@mx.site.example" for name in ("queue", "parse", "send")])

    def test_two_at_once(self):
        def start(i):
            return subprocess.Popen([tool.TOOL, "send", "-f", "s%d@x.example" % i, "x@y.example"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=self.environment())
        for i in range(10):
            pair = [start(2 * i), start(2 * i + 1)]
            for process in pair:
                process.stdin.write(b"Subject: x\n\n" + b"text\n" * 1000)
            for process in pair:
                process.communicate()
                self.assertEqual(process.returncode, 0)
        rows = self.queued()
        self.assertEqual(sorted(row["sender"] for row in rows), sorted("s%d@x.example" % i for i in range(20)))
        self.assertEqual({len(self.body(row)) for row in rows}, {6000})

    def test_a_large_message_goes_through(self):
        data = b"Subject: x\n\n" + b"0123456789abcdef\n" * 600000
        self.good("send", "x@y.example", data=data)
        self.assertEqual(self.body(), data.split(b"\n\n", 1)[1].replace(b"\n", b"\r\n"))

    def test_many_recipients(self):
        many = ["u%d@d%d.example" % (i, i % 7) for i in range(2000)]
        self.good("send", "-t", data=("To: " + ",\n ".join(many) + "\n\nx\n").encode())
        self.assertEqual(self.recipients(), many)


class CliSendmail(SendTest):
    """Command lines that programs really use."""

    def test_cron(self):
        self.sendmail("-FCronDaemon", "-i", "-B8BITMIME", "-oem", "user", data=b"From: root (Cron Daemon)\nTo: user\nSubject: Cron <root@host> job\nMIME-Version: 1.0\n"
                      b"Content-Type: text/plain; charset=UTF-8\nAuto-Submitted: auto-generated\n\nout\n.\nput\n")
        self.assertEqual((self.recipients(), self.body()), (["user@mx.site.example"], b"out\r\n.\r\nput\r\n"))

    def test_php(self):
        self.sendmail("-t", "-i", data=b"To: bob@y.example\r\nSubject: Hello\r\nX-PHP-Originating-Script: 0:x.php\r\n\r\nHi\r\n")
        self.assertEqual((self.recipients(), self.body()), (["bob@y.example"], b"Hi\r\n"))

    def test_git_send_email(self):
        self.sendmail("-i", "-f", "ann@x.example", "bob@y.example", "list@z.example", data=READY)
        self.assertEqual((self.only()["sender"], self.recipients()), ("ann@x.example", ["bob@y.example", "list@z.example"]))

    def test_mutt(self):
        self.sendmail("-oem", "-oi", "-f", "ann@x.example", "-N", "failure", "-R", "hdrs", "--", "bob@y.example", "carl@y.example", data=READY)
        self.assertEqual(self.recipients(), ["bob@y.example", "carl@y.example"])
        self.assertNotIn(b"secret", self.bytes_of())

    def test_others(self):
        for words in (["-oi", "-f", "x@y.example", "--", "a@b.example"], ["-bm", "-odq", "a@b.example"], ["-fx@y.example", "-oi", "-odb", "a@b.example"], ["-f", "", "a@b.example"],
                      ["-r", "x@y.example", "-i", "a@b.example"], ["-rx@y.example", "a@b.example"], ["-i", "-F", "Ann Example", "-f<x@y.example>", "a@b.example"], ["-G", "-i", "a@b.example"],
                      ["-oi", "-oo", "-om", "a@b.example"], ["-O", "DeliveryMode=q", "-ODialDelay=1", "a@b.example"], ["-n", "-m", "-U", "a@b.example"], ["-h", "5", "-e", "m", "a@b.example"],
                      ["-L", "tag", "-Ac", "-X/dev/null", "a@b.example"], ["-B", "7bit", "a@b.example"], ["a@b.example", "-i"], ["a@b.example,c@b.example"],
                      ["-tif", "x@y.example", "a@b.example"], ["-p", "smtp:x", "a@b.example"], ["<a@b.example>"], ["Ann <a@b.example>"]):
            self.sendmail(*words)
            row = self.queued()[-1]
            self.assertEqual(self.recipients(row)[0], "a@b.example", words)

    def test_v_is_not_silent_about_trouble_alone(self):
        done = subprocess.run([self.path("sendmail"), "-v", "a@b.example"], input=b"\nx\n", capture_output=True, env=self.environment())
        self.assertEqual((done.returncode, done.stdout), (0, b""))

    def test_lists_the_queue(self):
        self.sendmail("a@b.example")
        os.symlink(tool.TOOL, self.path("mailq"))
        for words in ([self.path("sendmail"), "-bp"], [self.path("mailq")]):
            done = subprocess.run(words, capture_output=True, env=self.environment())
            self.assertEqual(done.returncode, 0)
            self.assertIn(b"a@b.example", done.stdout)

    def test_makes_no_aliases(self):
        os.symlink(tool.TOOL, self.path("newaliases"))
        self.sendmail("-bi")
        self.sendmail(name="newaliases")
        self.assertEqual(self.queued(), [])

    def test_what_only_a_server_does(self):
        for words in (["-bs"], ["-bd"], ["-bt"], ["-bv", "a@b.example"], ["-q"], ["-q15m"], ["-B", "BINARY", "a@b.example"]):
            done = self.sendmail(*words, code=64)
            self.assertEqual(len(done.stderr.splitlines()), 1)
        self.nothing_left()

    def test_a_closed_standard_output_is_no_trouble(self):
        self.sendmail("a@b.example", preexec_fn=lambda: os.close(1))
        self.assertEqual(self.recipients(), ["a@b.example"])


class CliSendFailures(SendTest):
    def fails_clean(self, code, *words, **more):
        done = self.fails(code, "send", *words, **more)
        self.assertEqual(done.out, b"")
        self.nothing_left()
        return done

    def test_no_recipient(self):
        self.fails_clean(64, data=READY, says=["a recipient is missing", "-t"])
        self.fails_clean(65, "-t", data=b"Subject: x\n\nTo: a@b.example\n", says="no recipient in the fields")
        self.fails_clean(65, "-t", data=b"", says="no recipient in the fields")
        self.fails_clean(64, "--text", "x", "-s", "y", says="a recipient is missing")
        self.fails_clean(65, "", data=READY, says="recipient")

    def test_recipients_that_are_none(self):
        for text in ("a b", "a@b@c", "@x", "a@", "a@b\n", "a@b\r\nBcc: c", "\u00e4@x.example", "<a@b", "-oQ/tmp@x.example", "a@b..c", "x" * 500 + "@y.example"):
            self.fails_clean(65, "good@x.example", "--", text, data=READY)
        self.fails_clean(65, "-t", data=b"To: good@x.example, bad one@x.example\n\nx\n", says=["To:", "bad one@x.example"])

    def test_senders_that_are_none(self):
        for text in ("a b", "a@b, c@d", "a@b\nX: y", "-x@y.example"):
            self.fails_clean(65, "--sender=" + text, "a@b.example", data=READY)

    def test_options_that_do_not_fit(self):
        for words, text in ((["-N", "always"], "never"), (["-N", "never,delay"], "never"), (["-N", ""], "never"), (["-R", "half"], "full or hdrs"), (["-V", "a b"], "--envid"), (["-V", "x" * 100], "--envid"),
                            (["--orcpt", "x"], "rfc822;"), (["--orcpt", "rfc822;a", "--orcpt", "rfc822;b"], "more often"), (["--channel", ""], "--channel"), (["--channel", "x" * 64], "--channel"),
                            (["-t", "--text", "x"], "do not go together"), (["--message", "x", "--subject", "y"], "do not go together"), (["--nonsense"], "--nonsense"), (["-f"], "value is missing"),
                            (["-Z"], "-Z")):
            self.fails_clean(64, "a@b.example", *words, data=READY, says=text)
        for option in ("--envid", "--orcpt", "--full-name", "--channel", "--notify", "--return"):
            done = self.run_tool("send", option + "=x\r\nBcc: y", "a@b.example", data=READY)
            self.assertIn(done.code, (64, 65))
        self.nothing_left()

    def test_no_queue_is_configured(self):
        self.file("etc/twmta.ini", "[Gateway]\nTimeZone=xxx\n")
        self.fails(78, "send", "a@b.example", data=READY, says=["twmta.ini", "[Gateway] QueueDirectory is not set", "qob config set"])
        self.ini("QueueDirectory=%s" % self.queue)
        self.fails(78, "send", "a@b.example", data=READY, says="[Gateway] TemporaryDirectory is not set")
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.path("none"), self.site_tmp))
        self.fails(78, "send", "a@b.example", data=READY, says=["none: No such file", "QueueDirectory"])
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.file("file", b""), self.site_tmp))
        self.fails(78, "send", "a@b.example", data=READY, says="file: not a directory")
        self.sendmail("a@b.example", code=78)

    def test_no_right_to_the_queue(self):
        os.chmod(self.site_tmp, 0o777)
        os.chmod(self.path("etc"), 0o755)
        os.chmod(self.path("etc", "twmta.ini"), 0o644)
        self.refuse(self.queue, 0o555)
        self.fails(77, "send", "a@b.example", data=READY, user=self.unprivileged(), says=[self.queue, "no right"])

    def test_a_damaged_database(self):
        self.file("queue/mesg.btr", b"damaged" * 1000)
        done = self.fails(75, "send", "a@b.example", data=READY, says="queue check")
        self.assertEqual(os.listdir(self.queue), ["mesg.btr"])
        self.assertEqual(done.out, b"")

    def test_a_full_disk(self):
        self.good("send", "first@x.example", data=b"\nx\n")
        size = os.path.getsize(os.path.join(self.queue, "mesg.btr-wal"))

        def limit(most):
            return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (most, most))
        self.fails(75, "send", "a@b.example", data=b"\n" + b"x\n" * 100000, before=limit(50000), says=["no temporary file can be written", "TMPDIR"])
        # The message file is taken, the database is not; and the other way round.
        self.fails(75, "send", "a@b.example", data=b"\nx\n", before=limit(size + 100), says="was not queued")
        self.fails(75, "send", "--to", "a@b.example", "-a", self.file("big", b"x" * (size - 1000)), "--text", "x", before=limit(size), says=["cannot be built", "space"])
        self.assertEqual([row["recipients"][0]["address"] for row in self.queued()], ["first@x.example"])
        # A commit whose outcome the full disk left unknown keeps its file and its lock for 'qob queue check'.
        left = {name for name in os.listdir(self.queue) if not name.startswith("mesg.btr")} - {"00000000.msg"}
        self.assertLessEqual(left, {"00000001.msg", "00000001.lck"})

    def test_missing_files(self):
        self.fails_clean(66, "--message", self.path("none.eml"), "a@b.example", says="none.eml: No such file")
        self.fails_clean(66, "--to", "a@b.example", "--text", "x", "-a", self.path("none.png"), says="none.png: No such file")
        self.fails_clean(66, "--message", self.dir, "a@b.example", says="directory")

    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            done = self.run_tool("send", "a@b.example", data=b"\nx\n", out=full)
        row = self.only()
        self.assertEqual(done.code, 0, "it is queued, and must not be sent again")
        self.assertIn("queued as %s, but standard output: No space left" % row["id"], done.errors)

    def test_closed_output_is_told_before_anything_is_queued(self):
        self.fails(74, "send", "a@b.example", data=b"\nx\n", before=lambda: os.close(1), says="standard output is closed: nothing was queued")
        self.nothing_left()

    def test_a_reader_that_went_away(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        done = self.run_tool("send", "a@b.example", data=b"\nx\n", out=write_end)
        os.close(write_end)
        self.assertEqual(done.code, 0)
        self.assertIn(self.only()["id"], done.errors)

    def test_an_interrupt_while_it_reads(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            process = subprocess.Popen([tool.TOOL, "send", "a@b.example"], stdin=subprocess.PIPE, env=self.environment())
            process.stdin.write(b"Subject: x\n\n" + b"x\n" * 100000)
            process.stdin.flush()
            time.sleep(0.1)
            process.send_signal(number)
            process.stdin.close()
            self.assertEqual(process.wait(30), -number)
            self.nothing_left()

    def test_an_interrupt_while_it_reads_a_text(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            process = subprocess.Popen([tool.TOOL, "send", "--to", "a@b.example", "-a", self.file("x.bin", b"x")], stdin=subprocess.PIPE, env=self.environment())
            process.stdin.write(b"x\n" * 100000)
            process.stdin.flush()
            time.sleep(0.1)
            process.send_signal(number)
            process.stdin.close()
            self.assertEqual(process.wait(30), -number)
            self.nothing_left()

    def test_a_header_without_end(self):
        self.fails_clean(65, "a@b.example", data=b"x" * (9 << 20), says="header is larger")

    def test_a_message_that_is_written_to_meanwhile(self):
        path = self.file("m.eml", READY)
        process = subprocess.Popen(["python3", "-c", "import os,time\nf=open(%r,'ab')\nfor i in range(2000):\n f.write(b'x'*10000);f.flush()\n" % path])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        time.sleep(0.05)
        done = self.run_tool("send", "--message", path, "a@b.example")
        self.assertIn(done.code, (0, 75))
        if done.code == 75:
            self.assertIn("was written to while it was read", done.errors)
            self.nothing_left()


class CliMemorySend(SendTest):
    def test_a_large_message_in_little_memory(self):
        path = self.path("large.eml")
        with open(path, "wb") as file:
            file.write(b"Subject: x\n\n")
            for _ in range(100):
                file.write((b"y" * 71 + b"\n") * 14563)

        def limit():
            resource.setrlimit(resource.RLIMIT_DATA, (24 << 20, 24 << 20))
        self.good("send", "--message", path, "a@b.example", before=limit)
        self.assertGreater(os.path.getsize(self.only()["path"]), 100 << 20)
