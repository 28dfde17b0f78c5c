"""qob bounce, dsn, notice and sendlog: what lies in the queue afterwards, and what notifications of the world say."""
import email
import json
import os

from queue_tool import QueueTest
from tool import crlf, read

DSN = """From: mailer-daemon@mx.example
To: ann@a.example
Subject: report
MIME-Version: 1.0
Content-Type: multipart/report; report-type=delivery-status; boundary=b

--b
Content-Type: text/plain

It failed.
--b
Content-Type: message/delivery-status

%s
--b
Content-Type: text/rfc822-headers

Subject: original
--b--
"""


class NotifyTest(QueueTest):
    def setUp(self):
        super().setUp()
        self.site_tmp = self.path("site-tmp")
        os.mkdir(self.site_tmp)
        self.site()

    def site(self, options=""):
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.site_tmp),
                 "[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n[Options]\n" + options)

    def submit(self, sender="ann@a.example", *words):
        return self.good("send", "-f", sender, "bob@b.example", "--from", "ann@a.example", "-s", "hello", "--text", "A message.",
                         *words).text.strip()

    def on(self, channel="DSN"):
        return [row["id"] for row in self.json("channel", "show", channel)]

    def only(self, channel="DSN"):
        ids = self.on(channel)
        self.assertEqual(len(ids), 1)
        return self.read_id(ids[0])

    def read_id(self, number):
        return email.message_from_bytes(read(os.path.join(self.queue, number + ".msg")))

    def unlocked(self, number):
        self.assertFalse(os.path.exists(os.path.join(self.queue, number + ".lck")))

    # ---- bounce ----

    def test_returns_a_message_with_its_reasons(self):
        number = self.submit()
        done = self.good("bounce", number, "--reason", "550 user unknown", "--reason", "second")
        self.assertEqual(done.text, "%s  returned  ann@a.example\n" % number)
        bounce = self.only()
        self.assertEqual(bounce["To"], "ann@a.example")
        text = bounce.get_payload(0).get_payload()
        self.assertIn("550 user unknown\r\nsecond\r\n", text.replace("\r\n", "\n").replace("\n", "\r\n"))
        self.assertEqual(bounce.get_payload(1).get_content_type(), "message/rfc822")
        self.unlocked(number)

    def test_takes_the_noted_reasons_where_none_is_given(self):
        number = self.submit()
        self.file("queue/%s.rea" % number, "noted one\r\nnoted two\r\n")
        self.good("bounce", number)
        self.assertIn("noted one\nnoted two\nThe original", self.only().get_payload(0).get_payload().replace("\r\n", "\n"))

    def test_returns_the_header_alone(self):
        self.good("bounce", self.submit(), "--header-only")
        self.assertEqual(self.only().get_payload(1).get_content_type(), "text/rfc822-headers")

    def test_sends_to_the_postmaster(self):
        number = self.submit()
        self.assertEqual(self.good("bounce", number, "--postmaster").text, "%s  postmaster  ann@a.example\n" % number)
        self.assertEqual(self.only()["To"], "postmaster@gw.gate.example")

    def test_discards_what_has_no_sender(self):
        number = self.submit("<>")
        self.assertEqual(self.json("bounce", number),
                         [{"schema": "qob.bounce/1", "id": number, "sender": "<>", "result": "discarded"}])
        self.assertEqual(self.on(), [])

    def test_gives_it_to_the_postmaster_where_the_site_says_so(self):
        self.site("BounceToPostmaster=YES\n")
        self.assertEqual(self.json("bounce", self.submit("<>"))[0]["result"], "postmaster")

    def test_bounces_several(self):
        numbers = [self.submit(), self.submit()]
        self.assertEqual([row["id"] for row in self.json("bounce", *numbers)], numbers)
        self.assertEqual(len(self.on()), 2)

    def test_goes_on_behind_an_unknown_id(self):
        number = self.submit()
        done = self.fails(66, "bounce", "000000FF", number, says="there is no such message")
        self.assertEqual(done.text, "%s  returned  ann@a.example\n" % number)

    def test_leaves_a_locked_message_alone(self):
        number = self.submit()
        open(os.path.join(self.queue, number + ".lck"), "x").close()
        self.fails(75, "bounce", number, says="another process works on it")
        self.assertEqual(self.on(), [])
        os.remove(os.path.join(self.queue, number + ".lck"))

    def test_refuses_what_is_no_id(self):
        self.fails(64, "bounce", "12", says="no id")
        self.fails(64, "bounce", "../00000000", says="no id")

    def test_refuses_a_reason_of_two_lines(self):
        self.fails(65, "bounce", self.submit(), "--reason", "one\r\n\r\ntwo", says="--reason")
        self.assertEqual(self.on(), [])

    def test_the_header_of_what_the_postmaster_gets_is_no_choice(self):
        self.fails(64, "bounce", self.submit(), "--header-only", "--postmaster", says="one of them")

    def test_tells_when_the_queue_takes_nothing(self):
        number = self.submit()
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.path("none")))
        self.fails(78, "bounce", number, says="TemporaryDirectory")

    # ---- dsn ----

    def test_reports_on_a_recipient(self):
        number = self.submit("ann@a.example", "-R", "full", "-V", "E7")
        done = self.good("dsn", number, "--recipient",
                         "bob@b.example,status=5.1.1,remote=mx.b.example,original=rfc822;bob@b.example,last=1794738245,"
                         "diagnostic=550 no such user, sorry")
        self.assertEqual(done.text, "%s  reported  ann@a.example\n" % number)
        report = self.only()
        self.assertEqual(report.get_content_type(), "multipart/report")
        groups = report.get_payload(1).get_payload()
        self.assertEqual(groups[0]["Original-Envelope-Id"], "E7")
        self.assertEqual(dict(groups[1]), {
            "Original-Recipient": "rfc822;bob@b.example", "Final-Recipient": "rfc822; bob@b.example", "Action": "failed",
            "Status": "5.1.1", "Remote-MTA": "DNS; mx.b.example", "Diagnostic-code": "smtp; 550 no such user, sorry",
            "Last-attempt-date": groups[1]["Last-attempt-date"]})
        self.assertEqual(report.get_payload(2).get_content_type(), "message/rfc822")
        self.unlocked(number)

    def test_the_long_form_is_the_same(self):
        number = self.submit()
        self.assertEqual(self.json("dsn", "send", number, "--recipient", "bob@b.example,action=delayed,status=4.4.1"),
                         [{"schema": "qob.dsn-send/1", "id": number, "sender": "ann@a.example", "recipients": 1}])
        self.assertEqual(self.only().get_payload(2).get_content_type(), "text/rfc822-headers")

    def test_takes_recipients_as_json_lines(self):
        rows = [{"final_recipient": "b@b.example", "status": "5.0.0", "last_attempt": 5},
                {"final_recipient": "c@c.example", "action": "relayed", "remote_mta": "mx", "diagnostic_code": "250 ok"}]
        self.good("dsn", self.submit(), "--fields", "-", data="".join(json.dumps(row) + "\n" for row in rows).encode())
        groups = self.only().get_payload(1).get_payload()
        self.assertEqual([group["Action"] for group in groups[1:3]], ["failed", "relayed"])
        self.assertEqual(groups[2]["Diagnostic-code"], "smtp; 250 ok")

    def test_return_overrules_the_envelope(self):
        number = self.submit("ann@a.example", "-R", "full")
        self.good("dsn", number, "--recipient", "b@b.example", "--return", "hdrs")
        self.assertEqual(self.only().get_payload(2).get_content_type(), "text/rfc822-headers")

    def test_the_text_is_ours_to_give(self):
        self.good("dsn", self.submit(), "--recipient", "b@b.example", "--text", "one\ntwo", "-s", "Sorry")
        report = self.only()
        self.assertEqual(report["Subject"], "Sorry")
        self.assertEqual(report.get_payload(0).get_payload(decode=True), b"one\r\ntwo\r\n")

    def test_refuses_fields_that_would_become_others(self):
        number = self.submit()
        self.fails(65, "dsn", number, "--recipient", "b@b.example,diagnostic=x\nAction: delivered", says="diagnostic")
        self.fails(64, "dsn", number, "--recipient", "b@b.example,action=gone", says="the action 'gone'")
        self.fails(64, "dsn", number, "--recipient", "b@b.example,color=red", says="the key 'color'")
        self.fails(64, "dsn", number, "--recipient", "b@b.example,last=yesterday", says="seconds since 1970")
        self.fails(64, "dsn", number, says="no recipient to report on")
        self.fails(65, "dsn", number, "--fields", "-", data=b"[1]\n", says="line 1: no JSON object")
        self.fails(65, "dsn", number, "--fields", "-", data=b'{"final_recipient": 7}\n', says="must be a text")
        self.fails(65, "dsn", number, "--fields", "-", data=b'{"final_recipient": "b@b", "action": "failed\\r\\nX: y"}\n',
                   says="line 1")
        self.assertEqual(self.on(), [])

    # ---- dsn parse ----

    def parse(self, status):
        rows = self.json("dsn", "parse", self.file("report.eml", crlf(DSN % status)))
        self.assertEqual(len(rows), 1)
        return rows[0]

    def test_reads_what_it_sent(self):
        self.good("dsn", self.submit(), "--recipient", "bob@b.example,status=5.1.1,diagnostic=550 no")
        row = self.json("dsn", "parse", os.path.join(self.queue, self.on()[0] + ".msg"))[0]
        self.assertEqual(row["reporting_mta"], {"type": "DNS", "name": "gw.gate.example"})
        self.assertEqual(row["returned"], {"part": 3, "type": "text/RFC822-Headers"})
        recipient = row["recipients"][0]
        self.assertEqual(recipient["final_recipient"], {"type": "rfc822", "address": "bob@b.example"})
        self.assertEqual(recipient["diagnostic_code"], {"type": "smtp", "text": "550 no"})
        self.assertIs(recipient["failed"], True)

    def test_an_action_is_the_word_that_it_is(self):
        row = self.parse("Reporting-MTA: dns;mx\n\nFinal-Recipient: rfc822;a@b\nAction: delayed\nStatus: 4.4.7\n\n"
                         "Final-Recipient: rfc822;c@d\nAction: FAILED\n\nFinal-Recipient: rfc822;e@f\nStatus: 5.0.0\n\n"
                         "Final-Recipient: rfc822;g@h\nAction: bewildered\n")
        self.assertEqual([(one["action"], one["failed"]) for one in row["recipients"]],
                         [("delayed", False), ("FAILED", True), (None, None), ("bewildered", False)])

    def test_what_is_not_there_is_null(self):
        one = self.parse("Reporting-MTA: dns;mx\n\nFinal-Recipient: rfc822;a@b\n")["recipients"][0]
        self.assertEqual({name: value for name, value in one.items() if name not in ("final_recipient", "other")},
                         dict.fromkeys(["original_recipient", "action", "failed", "status", "remote_mta", "diagnostic_code",
                                        "last_attempt", "will_retry_until", "final_log_id"]))
        self.assertEqual(one["other"], [])

    def test_folded_fields_are_one(self):
        one = self.parse("Reporting-MTA: dns;mx\n\nFinal-Recipient: rfc822;a@b\nDiagnostic-Code: smtp; 550\n  no such\n\tuser\n")
        self.assertEqual(one["recipients"][0]["diagnostic_code"], {"type": "smtp", "text": "550 no such user"})

    def test_a_missing_empty_line_parts_no_recipients_wrongly(self):
        row = self.parse("Reporting-MTA: dns;mx\nFinal-Recipient: rfc822;a@b\nAction: failed\nFinal-Recipient: rfc822;c@d\n"
                         "Action: delayed\n")
        self.assertEqual(row["reporting_mta"], {"type": "dns", "name": "mx"})
        self.assertEqual([one["final_recipient"]["address"] for one in row["recipients"]], ["a@b", "c@d"])

    def test_too_many_empty_lines_make_no_recipients(self):
        row = self.parse("\n\nReporting-MTA: dns;mx\n\n\n\nFinal-Recipient: rfc822;a@b\n\n\n")
        self.assertEqual(len(row["recipients"]), 1)

    def test_fields_of_others_are_kept(self):
        row = self.parse("Reporting-MTA: dns;mx\nX-Queue: 7\n\nX-Actual: rfc822;z@z\nFinal-Recipient: rfc822;a@b\n")
        self.assertEqual(row["other"], [{"name": "X-Queue", "value": "7"}])
        self.assertEqual(row["recipients"][0]["other"], [{"name": "X-Actual", "value": "rfc822;z@z"}])

    def test_dates_are_seconds_or_unknown(self):
        row = self.parse("Reporting-MTA: dns;mx\nArrival-Date: Sun, 15 Nov 2026 02:24:05 -0800\n\n"
                         "Final-Recipient: rfc822;a@b\nLast-Attempt-Date: soon\n")
        self.assertEqual(row["arrival"], {"text": "Sun, 15 Nov 2026 02:24:05 -0800", "utc": 1794738245})
        self.assertEqual(row["recipients"][0]["last_attempt"], {"text": "soon", "utc": None})

    def test_an_encoded_status_part_is_decoded(self):
        data = crlf(DSN % "UmVwb3J0aW5nLU1UQTogZG5zO214Cg0KRmluYWwtUmVjaXBpZW50OiByZmM4MjI7YUBiCg==")
        data = data.replace(b"message/delivery-status\r\n", b"message/delivery-status\r\nContent-Transfer-Encoding: base64\r\n")
        row = self.json("dsn", "parse", self.file("r.eml", data))[0]
        self.assertEqual(row["recipients"][0]["final_recipient"]["address"], "a@b")

    def test_a_message_without_status_is_named(self):
        self.fails(65, "dsn", "parse", self.file("m.eml", b"Subject: x\r\n\r\nbody\r\n"), says="holds no delivery status")

    def test_the_readable_form_shows_no_control_characters(self):
        done = self.good("dsn", "parse", self.file("r.eml", crlf(DSN % "Reporting-MTA: dns;\x1b[31mmx\n\nAction: failed\n")))
        self.assertNotIn("\x1b", done.text)
        self.assertIn("Action: failed", done.text)

    def test_real_notifications_are_read_as_others_read_them(self):
        folder = os.environ.get("QOB_TEST_MAIL")
        if not folder:
            self.skipTest("QOB_TEST_MAIL names no folder of real mail")
        done = self.run_tool("dsn", "parse", "-r", "--json", folder)
        self.assertIn(done.code, (0, 65), done.err)
        rows = self.objects(done.out)
        self.assertGreater(len(rows), 0)
        for row in rows:
            with open(row["file"], "rb") as file:
                message = email.message_from_binary_file(file)
            status = next(part for part in message.walk() if part.get_content_type() == "message/delivery-status")
            groups = [group for group in status.get_payload() if group.keys()]
            self.assertEqual("%(type)s; %(name)s" % row["reporting_mta"], groups[0]["Reporting-MTA"])
            self.assertEqual(len(row["recipients"]), len(groups) - 1)
            for mine, group in zip(row["recipients"], groups[1:]):
                self.assertEqual((mine["action"], mine["status"]), (group["Action"], group["Status"]))
                self.assertEqual(mine["failed"], group["Action"].lower() == "failed")
                address = mine["final_recipient"]
                self.assertEqual([address["type"], address["address"]],
                                 [text.strip() for text in group["Final-Recipient"].split(";")])

    # ---- notice and sendlog ----

    def test_a_notice_has_its_text_and_files(self):
        self.good("notice", "--to", "bob@b.example, Carl <carl@c.example>", "dora@d.example", "--from", "root@a.example",
                  "-s", "Disk full", "--text", "See\nthe report.", "-a", self.file("df.txt", "100%\n"), "--channel", "local")
        notice = self.only("local")
        self.assertEqual(notice["To"], "bob@b.example, carl@c.example, dora@d.example")
        self.assertEqual(notice.get_payload(0).get_payload(decode=True), b"See\r\nthe report.\r\n")
        self.assertEqual(notice.get_payload(1).get_filename(), "df.txt")

    def test_a_notice_needs_recipients_and_something_to_say(self):
        self.fails(64, "notice", "--text", "x", says="recipient is missing")
        self.fails(64, "notice", "b@b.example", says="nothing to send")
        self.fails(66, "notice", "b@b.example", "-a", self.path("none"), says="cannot be read")
        self.fails(65, "notice", "b@b.example", "--text", "x", "-s", "one\nBcc: z@z", says="--subject")

    def test_a_log_goes_to_the_postmaster(self):
        log = self.file("old.log", "line\n")
        self.good("sendlog", log)
        message = self.only()
        self.assertEqual(message["Subject"], "Received Logfile " + log)
        self.assertEqual(message["To"], "postmaster@gw.gate.example")
        self.assertEqual(read(log), b"line\n")

    def test_a_log_that_is_missing_is_named(self):
        self.fails(66, "sendlog", self.path("none"), says="cannot be read")
