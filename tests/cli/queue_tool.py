"""What the tests of the queue's commands share: queues made record by record."""
import json
import os
import subprocess
import time

from tool import ToolTest

FILL = os.environ.get("QOB_QUEUE_FILL", "cli_queue_fill")


def latin(value):
    return value.decode("latin-1") if isinstance(value, bytes) else value


def message(number, sender="a@b.example", directory="queue", **fields):
    """The record of a message: fields as the record names them, times in seconds before now as age, changed and due in."""
    now = int(time.time())
    record = {"key": "%08xf" % number, "address": latin(sender), "directoryName": directory}
    for name, field in (("age", "creationTime"), ("changed", "lastChangeTime"), ("due_in", "retryTime")):
        if name in fields:
            record[field] = now - fields.pop(name) if name != "due_in" else now + fields.pop(name)
    record.update({name: latin(value) for name, value in fields.items()})
    return record


def recipient(number, address, state="", **fields):
    record = {"key": "%08xr" % number, "address": latin(address), "stateText": latin(state)}
    record.update({name: latin(value) for name, value in fields.items()})
    return record


class QueueTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.queue = self.path("queue")
        os.mkdir(self.queue)
        self.ini("QueueDirectory=%s" % self.queue)

    def ini(self, gateway, more=""):
        self.file("etc/twmta.ini", "[Gateway]\nTimeZone=xxx\n%s\n%s" % (gateway, more))

    def fill(self, *records, queue=None, group=None):
        words = [FILL, queue or self.queue] + ([group] if group else [])
        subprocess.run(words, input="".join(json.dumps(r) + "\n" for r in records).encode(), check=True, timeout=100)

    def bulk(self, messages, recipients):
        subprocess.run([FILL, self.queue, "--bulk", str(messages), str(recipients)], check=True, timeout=100)

    def name(self, number, extension=".msg", queue=None):
        return os.path.join(queue or self.queue, "%08X%s" % (number, extension))

    def mail(self, number, size=100, queue=None):
        with open(self.name(number, queue=queue), "wb") as file:
            file.write(b"x" * size)

    def lock(self, number):
        open(self.name(number, ".lck"), "x").close()

    def ids(self, *words, **more):
        return [row["id"] for row in self.json("queue", "list", *words, **more)]

    def lines(self, *words, **more):
        return self.good(*words, **more).text.splitlines()
