"""The gateway of examples/: SMTP in, messages in the queue out.

  gateway.py GATEWAY WALK_QUEUE QOB [--under COMMAND...]
"""
import json
import os
import re
import smtplib
import socket
import subprocess
import sys
import tempfile
import unittest

GATEWAY, WALK_QUEUE, QOB = sys.argv[1:4]
UNDER = sys.argv[5:] if sys.argv[4:5] == ["--under"] else []


class Gateway(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.work = tempfile.mkdtemp(prefix="qob-gateway-")
        self.addCleanup(subprocess.run, ["rm", "-rf", self.work], check=True)
        self.queue = self.work + "/queue"
        for name in ("queue", "temp"):
            os.mkdir(f"{self.work}/{name}", 0o700)
        with open(self.work + "/twmta.ini", "w", encoding="ascii") as f:
            f.write(f"[Gateway]\nTimeZone=xxx\nQueueDirectory={self.queue}\nTemporaryDirectory={self.work}/temp\n"
                    "[Connection]\nGatewayHostName=mx1\nGatewayDomain=example.org\n")
        self.environment = dict(os.environ, QOB_CONFIG_DIR=self.work)

    def talk(self, words, code=0):
        got = subprocess.run([*UNDER, GATEWAY, "smtp"], input=words, capture_output=True, env=self.environment, timeout=60, check=False)
        self.assertEqual(got.returncode, code, got.stderr)
        return got.stdout.decode("ascii")

    def replies(self, words):
        return [line[:3] for line in self.talk(words).split("\r\n") if line[3:4] == " "]

    def messages(self):
        return sorted(name for name in os.listdir(self.queue) if name.endswith(".msg"))

    def leftovers(self):
        return sorted(name for name in os.listdir(self.queue) if name.endswith((".msg", ".lck")))

    def content(self, name):
        with open(f"{self.queue}/{name}", "rb") as f:
            return f.read()

    def test_an_independent_client_delivers(self):
        ours, theirs = socket.socketpair()
        process = subprocess.Popen([*UNDER, GATEWAY, "smtp"], stdin=theirs, stdout=theirs, env=self.environment)
        theirs.close()
        ours.settimeout(60)
        client = smtplib.SMTP(local_hostname="client.example")
        client.sock = ours
        self.assertEqual(client.getreply()[0], 220)
        client.ehlo()
        self.assertEqual(sorted(client.esmtp_features), ["8bitmime", "dsn", "enhancedstatuscodes", "pipelining", "size"])
        refused = client.sendmail("ann@example.net", ["bob@example.org", "cid@example.org"], "Subject: x\r\n\r\n.dot\r\nlast\r\n")
        self.assertEqual(refused, {})
        self.assertEqual(client.quit()[0], 221)
        self.assertEqual(process.wait(60), 0)
        [name] = self.messages()
        self.assertEqual(self.leftovers(), [name])
        self.assertRegex(self.content(name), rb"\AReceived: from client\.example by mx1 with ESMTP id %s;\r\n"
                         rb"\t[A-Z][a-z]{2}, \d\d [A-Z][a-z]{2} \d{4} [\d:]{8} \+0000\r\nSubject: x\r\n\r\n\.dot\r\nlast\r\n\Z"
                         % name[:8].encode())
        walked = subprocess.run([WALK_QUEUE, self.queue], capture_output=True, env=self.environment, check=True, text=True).stdout
        self.assertIn("ann@example.net", walked)
        self.assertEqual(len(re.findall("(bob|cid)@example.org", walked)), 2, walked)

    def test_only_cr_lf_full_stop_cr_lf_ends_a_message(self):
        for end in (b"\n.\n", b"\n.\r\n", b"\r\n.\n", b"\r.\r", b"\r\n.\r"):
            replies = self.replies(b"EHLO a\r\nMAIL FROM:<a@b.c>\r\nRCPT TO:<d@e.f>\r\nDATA\r\none" + end +
                                   b"MAIL FROM:<evil@b.c>\r\nRCPT TO:<d@e.f>\r\nDATA\r\ntwo\r\n.\r\nQUIT\r\n")
            self.assertEqual(replies, ["220", "250", "250", "250", "354", "550", "221"], end)
        self.assertEqual(self.leftovers(), [])

    def test_a_client_that_goes_away_leaves_nothing(self):
        self.assertEqual(self.replies(b"EHLO a\r\nMAIL FROM:<a@b.c>\r\nRCPT TO:<d@e.f>\r\nDATA\r\nhalf a mess"),
                         ["220", "250", "250", "250", "354"])
        self.assertEqual(self.leftovers(), [])

    def test_commands_in_a_wrong_order_are_refused(self):
        self.assertEqual(self.replies(b"MAIL FROM:<a@b.c>\r\nDATA\r\nHELO a\r\nRCPT TO:<a@b.c>\r\nMAIL FROM:<a@b.c>\r\n"
                                      b"MAIL FROM:<a@b.c>\r\nDATA\r\nRSET\r\nRCPT TO:<a@b.c>\r\nQUIT\r\n"),
                         ["220", "503", "503", "250", "503", "250", "503", "503", "250", "503", "221"])

    def test_bad_forms_are_refused(self):
        self.assertEqual(self.replies(b"EHLO a b\r\nEHLO a\r\nMAIL FROM:a@b.c\r\nMAIL FROM:<" + b"x" * 300 + b">\r\nMAIL FROM:<a@b.c>\r\n"
                                      b"RCPT TO:<>\r\nRCPT TO:<a\"b@c.d>\r\nWHAT\r\n" + b"x" * 5000 + b"\r\nbare\nNOOP\0\r\nNOOP\r\n"),
                         ["220", "501", "250", "501", "501", "250", "501", "501", "500", "500", "500", "500", "250"])

    def test_status_notification_requests_reach_the_envelope(self):
        self.replies(b"EHLO a\r\nMAIL FROM:<a@b.c> RET=HDRS ENVID=abc\r\n"
                     b"RCPT TO:<d@e.f> NOTIFY=SUCCESS,DELAY ORCPT=rfc822;d@e.f\r\nDATA\r\nx\r\n.\r\nQUIT\r\n")
        [name] = self.messages()
        shown = subprocess.run([QOB, "queue", "show", name[:8], "--json"], capture_output=True, env=self.environment, check=True).stdout
        row = json.loads(shown)
        self.assertEqual((row["sender"], row["envelope_id"], row["first_option"], row["channels"]), ("a@b.c", "abc", 1, ["smtp"]))
        [recipient] = row["recipients"]
        self.assertEqual((recipient["address"], recipient["second_text"], recipient["notify_flags"]), ("d@e.f", "rfc822;d@e.f", 5))

    def test_several_messages_in_one_session(self):
        one = b"MAIL FROM:<a@b.c>\r\nRCPT TO:<d@e.f>\r\nDATA\r\nx\r\n.\r\n"
        self.assertEqual(self.replies(b"EHLO a\r\n" + one * 3 + b"QUIT\r\n"), ["220", "250"] + ["250", "250", "354", "250"] * 3 + ["221"])
        self.assertEqual(len(self.messages()), 3)

    def test_a_queue_that_is_missing_is_said(self):
        os.rmdir(self.queue)
        self.assertTrue(self.talk(b"", code=75).startswith("421 "))


unittest.main(argv=sys.argv[:1])
