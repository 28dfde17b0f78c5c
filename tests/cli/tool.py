"""What the tests of the command line share: running it, samples, temporary folders, a check of every JSON line."""
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

SOURCE = os.environ.get("QOB_SOURCE_DIR") or os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TOOL = os.environ.get("QOB_TOOL", "qob")
PAGES = os.environ.get("QOB_PAGES", "qob_pages")
DATA = os.path.join(SOURCE, "data")

NOBODY = 65534

PART_MEMBERS = ["part", "parent", "depth", "container", "unclosed", "type", "subtype", "parameters", "encoding",
                "disposition", "disposition_parameters", "id", "description", "name", "start", "body", "end"]
ADDRESS_LISTS = ["from", "reply_to", "to", "cc", "bcc", "resent_from", "resent_to", "resent_cc", "resent_bcc",
                 "return_receipt_to"]
HEADER_TEXTS = ["subject", "sender", "message_id", "resent_message_id", "in_reply_to", "references", "return_path",
                "from_line", "mime_version", "content_type", "content_transfer_encoding", "content_id",
                "content_description"]
QUEUE_MEMBERS = ["queue", "id", "directory", "sender", "envelope_id", "status", "state", "held", "locked", "size", "created",
                 "created_seconds", "changed", "changed_seconds", "retry", "retry_seconds", "tries", "part", "delay_noticed",
                 "pending"]
TALLY_MEMBERS = ["messages", "held", "locked", "recipients", "pending", "bytes", "sizes_unknown", "oldest_age", "oldest_id"]
MEMBERS = {
    "qob.parse/1": ["file", "message", "start", "end", "line_ends", "problems", "parts"],
    "qob.extract/1": ["file", "message", "part", "type", "name", "path", "size", "raw"],
    "qob.header/1": ["file", "message", "part", "decoded"],
    "qob.address/1": ["address", "phrase", "comment", "local_part", "domain", "raw"],
    "qob.date/1": ["input", "iso", "utc", "rfc822", "zone_minutes", "seconds_given"],
    "qob.word/1": ["input", "output"],
    "qob.binhex/1": ["file", "name", "path", "size", "applesingle", "resource_size", "type", "creator"],
    "qob.uudecode/1": ["file", "name", "path", "size", "complete"],
    "qob.bounce/1": ["id", "sender", "result"],
    "qob.dsn-send/1": ["id", "sender", "recipients"],
    "qob.dsn/1": ["file", "message", "part", "type", "original_envelope_id", "reporting_mta", "dsn_gateway", "received_from_mta",
                  "arrival", "other", "returned", "recipients"],
    "qob.send/1": ["id", "path", "channel", "sender", "envelope_id", "return", "size", "recipients"],
    "qob.init/1": ["path", "made"],
    "qob.jis/1": ["action", "file", "path", "read", "written", "unconverted"],
    "qob.jis-check/1": ["file", "result", "before", "after"],
    "qob.channel-list/1": ["queue", "channel"] + TALLY_MEMBERS + ["stray_marks"],
    "qob.channel-show/1": ["channel"] + QUEUE_MEMBERS + ["recipients"],
    "qob.magic/1": ["extension", "type", "subtype", "encoding", "mac", "description"],
    "qob.peer/1": ["domain", "flag0", "AcceptMail", "flag2", "flag3", "value4", "MaxInBoundSize", "MaxOutBoundSize",
                   "MesageQueuedBeforeAttempt", "QueueRunInterval", "RetryPeriod", "MaxSMTPSessions", "MaxMesgPerSession"],
    "qob.peer-explain/1": ["name", "value", "holds", "origin", "record"],
    "qob.ban/1": ["address"],
    "qob.ban-check/1": ["address", "banned"],
    "qob.config/1": ["file", "section", "key", "value", "origin", "line", "cut", "known"],
    "qob.config-check/1": ["file", "line", "finding"],
    "qob.queue-change/1": ["action", "id", "path", "sender", "result", "detail", "lock"],
    "qob.queue-check/1": ["queue", "finding", "id", "path", "text", "certain", "repair", "detail", "lock"],
    "qob.queue-list/1": QUEUE_MEMBERS + ["recipients"],
    "qob.queue-show/1": QUEUE_MEMBERS + ["first_option", "second_option", "option_text", "path", "lock", "channels",
                                         "recipients", "reasons"],
    "qob.queue-stats/1": TALLY_MEMBERS + ["orphan_recipients", "damaged_records", "directories", "domains"],
    "qob.queue-shape/1": ["domain", "total", "age_unknown", "buckets"],
    "qob.queue-recipients/1": ["queue", "id", "address", "state", "pending", "second_text", "third_text", "notify_flags"],
    "qob.queue-reasons/1": ["queue", "id", "reasons"],
}


def sample(name):
    return os.path.join(DATA, name)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, data):
    with open(path, "wb") as file:
        file.write(data.encode() if isinstance(data, str) else data)
    return path


def crlf(text):
    data = text.encode() if isinstance(text, str) else text
    return data.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")


def multipart(parts, boundary="b", head="Subject: x\n"):
    """A multipart message of (header lines, body) pairs, with CR LF."""
    text = head + "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"%s\"\n\n" % boundary
    data = crlf(text)
    for header, body in parts:
        data += crlf("--%s\n%s\n" % (boundary, header)) + crlf(body) + b"\r\n"
    return data + crlf("--%s--\n" % boundary)


class Done:
    def __init__(self, code, out, err):
        self.code, self.out, self.err = code, out, err

    @property
    def text(self):
        return self.out.decode()

    @property
    def errors(self):
        return self.err.decode()


class ToolTest(unittest.TestCase):
    """A temporary folder, with a TMPDIR and a configuration directory of its own; afterwards the TMPDIR must be empty."""
    maxDiff = None

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qob-cli-test-")
        os.chmod(self.dir, 0o755)
        self.tmp = os.path.join(self.dir, "tmp")
        self.etc = os.path.join(self.dir, "etc")
        os.mkdir(self.tmp)
        os.mkdir(self.etc)
        os.chmod(self.tmp, 0o777)
        self.addCleanup(shutil.rmtree, self.dir, ignore_errors=True)

    def tearDown(self):
        self.assertEqual(os.listdir(self.tmp), [], "a private directory was left behind")

    def path(self, *names):
        return os.path.join(self.dir, *names)

    def file(self, name, data):
        return write(self.path(name), data)

    def refuse(self, path, mode):
        """Takes rights away from everybody, until the end of the case."""
        os.chmod(path, mode)
        self.addCleanup(os.chmod, path, 0o700)

    def unprivileged(self):
        """The user that a child must become for refusals to hold: nobody in the place of root, else the one that runs."""
        return NOBODY if os.getuid() == 0 else None

    def environment(self, **more):
        env = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "TERM", "QOB_CONFIG_DIR", "TZ")}
        env.update(TMPDIR=self.tmp, QOB_CONFIG_DIR=self.etc, TERM="xterm", LC_ALL="C.UTF-8")
        env.update(more)
        return {name: value for name, value in env.items() if value is not None}

    def run_tool(self, *words, data=b"", env=None, user=None, cwd=None, out=None, before=None):
        def child():
            if before:
                before()
            if user is not None:
                os.setgroups([])
                os.setgid(user)
                os.setuid(user)
        done = subprocess.run([TOOL, *words], input=data, stdout=out or subprocess.PIPE, stderr=subprocess.PIPE,
                              env=env or self.environment(), cwd=cwd, preexec_fn=child, timeout=110)
        return Done(done.returncode, done.stdout or b"", done.stderr)

    def good(self, *words, **more):
        done = self.run_tool(*words, **more)
        self.assertEqual(done.code, 0, done.err)
        return done

    def fails(self, code, *words, says=(), lines=1, **more):
        """The exit code, and on standard error so many lines, each an own sentence of the tool, that hold these texts."""
        done = self.run_tool(*words, **more)
        self.assertEqual(done.code, code, done.err)
        self.assertEqual(len(done.errors.splitlines()), lines, done.errors)
        for line in done.errors.splitlines():
            self.assertTrue(line.startswith("qob: "), line)
        for text in [says] if isinstance(says, str) else says:
            self.assertIn(text, done.errors)
        return done

    def json(self, *words, **more):
        """The objects of --json; every line must be ASCII, parse, and have exactly the members of its schema."""
        done = self.good(*words, "--json", **more)
        return self.objects(done.out)

    def objects(self, out):
        out.decode("ascii")
        self.assertTrue(out == b"" or out.endswith(b"\n"))
        rows = [json.loads(line, object_pairs_hook=self.unique) for line in out.splitlines()]
        for row in rows:
            self.check_members(row)
        return rows

    def unique(self, pairs):
        names = [name for name, _ in pairs]
        self.assertEqual(len(names), len(set(names)), "a member stands twice")
        return dict(pairs)

    def named(self, row):
        return [name for name in row if not name.endswith("_base64")]

    def check_members(self, row):
        self.assertEqual(next(iter(row)), "schema")
        expected = ["schema"] + MEMBERS[row["schema"]]
        if row["schema"] == "qob.header/1":
            expected += ["fields"] if row["part"] is not None else ["date"] + ADDRESS_LISTS + ["unreadable"] + HEADER_TEXTS + ["received", "other"]
        self.assertEqual(self.named(row), expected)
        for part in row.get("parts") or []:
            self.assertEqual(self.named(part), PART_MEMBERS)


def has_program(name):
    return shutil.which(name) is not None


ESCAPES = re.compile(rb"\x1b\[[0-9;]*[A-Za-z]")
