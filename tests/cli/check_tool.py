"""What the tests of qob queue check share: a queue to damage, and what must hold whatever was mended."""
import hashlib
import os
import sqlite3
import subprocess
import time

from queue_tool import QueueTest, message, recipient
from tool import read, write

OLD = 86400 * 3650
RECORD = 2224


class CheckTest(QueueTest):
    """A queue of two sound messages, private to its owner."""

    def setUp(self):
        self.addCleanup(os.umask, os.umask(0o077))
        super().setUp()
        if subprocess.run(["stat", "-f", "-c", "%T", self.dir], stdout=subprocess.PIPE).stdout.strip() == b"tmpfs":
            self.skipTest("the temporary directory keeps nothing over a power cut, which check reports")
        self.site_tmp = self.path("site-tmp")
        self.out = self.path("out")
        os.mkdir(self.site_tmp)
        os.mkdir(self.out)
        self.set_site()
        os.chmod(self.path("etc"), 0o755)
        os.chmod(self.path("etc", "twmta.ini"), 0o644)
        self.fill(message(1), recipient(1, "x@x.example"), message(2), recipient(2, "y@y.example"), {"mark": "smtp", "id": 2})
        self.mail(1)
        self.mail(2)

    def set_site(self, more=""):
        self.ini("QueueDirectory=%s\nTemporaryDirectory=%s" % (self.queue, self.site_tmp), more)

    def check(self, code, *words, **more):
        done = self.run_tool("queue", "check", "--json", *words, **more)
        self.assertEqual(done.code, code, done.out + done.err)
        return self.objects(done.out)

    def found(self, code, *words, **more):
        return [(row["finding"], row["id"], row["repair"]) for row in self.check(code, *words, **more)]

    def mends(self, expected, *words):
        """check finds these, --repair mends them all, and a second one finds nothing to do."""
        self.assertEqual(self.found(65, *words), [(finding, number, "possible") for finding, number in expected])
        before = len(self.log())
        self.assertEqual(self.found(0, "--repair", *words), [(finding, number, "done") for finding, number in expected])
        self.assertEqual(len(self.log()) - before, len(expected), self.log())
        self.assertEqual(self.found(0, "--repair", *words), [])
        self.assertEqual(self.found(0, *words), [])
        self.no_locks()
        self.all_reported()

    def no_locks(self):
        for queue in (self.queue, self.out):
            self.assertEqual([name for name in os.listdir(queue) if name.endswith(".lck")], [])

    def log(self):
        path = os.path.join(self.site_tmp, "twmta.log")
        return read(path).decode().splitlines() if os.path.exists(path) else []

    def corrupt(self, queue=None):
        path = os.path.join(queue or self.queue, "corrupt")
        return sorted(os.listdir(path)) if os.path.isdir(path) else []

    def all_reported(self):
        """Each file in corrupt/ has its line."""
        for queue in (self.queue, self.out):
            names = self.corrupt(queue)
            if names:
                report = read(os.path.join(queue, "corrupt", "report.txt")).decode()
                for name in names:
                    if name != "report.txt" and not name.startswith(".qob-"):
                        self.assertIn("-> %s: " % name, report)

    def saved(self, name):
        return read(os.path.join(self.queue, "corrupt", name))

    def sql(self, *statements, queue=None):
        connection = sqlite3.connect(os.path.join(queue or self.queue, "mesg.btr"))
        with connection:
            rows = [connection.execute(*statement if isinstance(statement, tuple) else (statement,)).fetchall() for statement in statements]
        connection.close()
        return rows[-1]

    def age(self, path, seconds=OLD):
        then = time.time() - seconds
        os.utime(path, (then, then))

    def tree(self):
        """Every file and its bytes, the database's own left out."""
        found = {}
        for folder, _, names in os.walk(self.dir):
            for name in names:
                if not name.startswith(("mesg.btr", "twmta")):
                    path = os.path.join(folder, name)
                    found[path] = hashlib.sha256(read(path)).hexdigest()
        return found
