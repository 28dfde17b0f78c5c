"""The rows of submission: our library beside Postfix' SMTP, `qob send` beside its sendmail command, two processes beside one, and
how often each side waits for the disk. Used by compare_queue.py.

Postfix runs as a private instance (postfix_intake.py) whose queue is on the same file system as ours; delivery is deferred on its
side, and on ours nobody takes messages out. Each run begins with an empty queue.
"""
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import tempfile
import time

import postfix_intake

MESSAGES = 2_000
COMMANDS = 200
TRACED = 200
SIZE = 4096
FLUSHES = "fsync,fdatasync,sync,syncfs,sync_file_range,msync"


class Site:
    """A queue of ours, in a directory of its own."""

    def __init__(self, programs, parent):
        self.programs = pathlib.Path(programs)
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="site.", dir=parent))
        (self.root / "etc").mkdir()
        (self.root / "etc" / "twmta.ini").write_text(
            f"[Gateway]\r\nTimeZone=xxx\r\nQueueDirectory={self.root}/queue\r\nTemporaryDirectory={self.root}/temp\r\n"
            "[Connection]\r\nGatewayHostName=bench\r\nGatewayDomain=a.example\r\n")
        # A site's settings have not changed within the last two seconds.
        old = time.time() - 60
        os.utime(self.root / "etc" / "twmta.ini", (old, old))
        time.sleep(2.5)
        self.environment = dict(os.environ, QOB_CONFIG_DIR=str(self.root / "etc"))
        self.empty()

    def empty(self):
        for name in ("queue", "temp"):
            shutil.rmtree(self.root / name, ignore_errors=True)
            (self.root / name).mkdir()

    def submit(self, messages, processes=1, before=()):
        """Messages per second of so many processes that begin together; the time ends with the last of them."""
        self.empty()
        command = [*before, str(self.programs / "submit_bench"), str(messages // processes), str(SIZE), "wait"]
        running = [subprocess.Popen(command, env=self.environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
                   for _ in range(processes)]
        for process in running:
            if process.stdout.readline() != "ready\n":
                raise RuntimeError("submit_bench did not start")
        for process in running:
            process.stdin.write("go\n")
            process.stdin.flush()
        results = [json.loads(process.communicate()[0]) for process in running]
        self.expect(messages // processes * processes)
        return messages / max(result["seconds"] for result in results)

    def by_command(self, messages, message):
        """Messages per second through `qob send`, one process after the other."""
        self.empty()
        command = [str(self.programs.parent / "bin" / "qob"), "send", "-i", "-f", "sender@a.example", "someone@b.example"]
        begin = time.monotonic()
        for _ in range(messages):
            with open(message, "rb") as text:
                subprocess.run(command, env=self.environment, stdin=text, stdout=subprocess.DEVNULL, check=True)
        rate = messages / (time.monotonic() - begin)
        self.expect(messages)
        return rate

    def expect(self, messages):
        found = sum(1 for name in os.listdir(self.root / "queue") if name.endswith(".msg"))
        if found != messages:
            raise RuntimeError(f"{found} messages in our queue instead of {messages}")


def by_smtp(directory, messages):
    with postfix_intake.Intake(tempfile.mkdtemp(prefix="postfix.", dir=directory)) as intake:
        intake.by_smtp(20, SIZE)
        rate = intake.by_smtp(messages, SIZE)
        intake.expect(messages + 20)
    shutil.rmtree(intake.root)
    return rate


def by_sendmail(directory, messages, message):
    with postfix_intake.Intake(tempfile.mkdtemp(prefix="postfix.", dir=directory)) as intake:
        rate = intake.by_command(messages, message)
        intake.expect(messages)
    shutil.rmtree(intake.root)
    return rate


def calls(report):
    """How many calls strace -c counted."""
    return sum(int(line.split()[3]) for line in report.read_text().splitlines()
               if re.search(r"\b(" + FLUSHES.replace(",", "|") + r")$", line.strip()))


def our_flushes(site, report):
    """Without those of the start: the difference between many messages and one."""
    trace = ["strace", "-f", "-c", "-o", str(report), "-e", "trace=" + FLUSHES]
    site.submit(TRACED, before=trace)
    whole = calls(report)
    site.submit(1, before=trace)
    return (whole - calls(report)) / (TRACED - 1)


def postfix_flushes(directory, report):
    """All of its processes, and of them the one that answers the sender."""
    with postfix_intake.Intake(tempfile.mkdtemp(prefix="postfix.", dir=directory)) as intake:
        intake.by_smtp(20, SIZE)
        attached = [word for pid in intake.processes() for word in ("-p", str(pid))]
        tracer = subprocess.Popen(["strace", "-f", "-c", "-o", str(report), "-e", "trace=" + FLUSHES, *attached],
                                  stderr=subprocess.PIPE, text=True)
        for _ in range(len(attached) // 2):
            tracer.stderr.readline()
        intake.by_smtp(TRACED, SIZE)
        tracer.send_signal(2)
        tracer.communicate()
    shutil.rmtree(intake.root)
    return calls(report) / TRACED


def message_file(directory):
    line = b"A line of text that says nothing, over and over again here.\r\n"
    path = pathlib.Path(directory) / "message"
    path.write_bytes(b"From: sender@a.example\r\nTo: someone@b.example\r\nSubject: A message\r\n\r\n" + line * (SIZE // len(line)))
    return path


def measure(bench):
    """Adds the rows to a compare_queue.Bench."""
    place = bench.output / "submit"
    place.mkdir()
    why_not = postfix_intake.unavailable()
    site = Site(bench.programs, place)
    message = message_file(place)
    sides = {"one": lambda: site.submit(MESSAGES), "two": lambda: site.submit(MESSAGES, 2),
             "qob": lambda: site.by_command(COMMANDS, message)}
    if why_not is None:
        sides["smtp"] = lambda: by_smtp(place, MESSAGES)
        sides["sendmail"] = lambda: by_sendmail(place, COMMANDS, message)
    middle = {name: statistics.median(rates) for name, rates in bench.interleaved(sides).items()}
    if shutil.which("strace") is None:
        note = "no strace: flushes not counted"
    else:
        note = f"flushes per message: ours {our_flushes(site, place / 'strace'):.2f} (two of them at once)"
        if why_not is None:
            note += f", Postfix {postfix_flushes(place, place / 'strace'):.2f} (half of them behind the sender's back)"
    if why_not is None:
        bench.add("durable submission, 4 KB, one process", middle["one"], middle["smtp"], "Postfix SMTP", "1/s", 1.5, note)
        bench.add("qob send, a process for each message", middle["qob"], middle["sendmail"], "sendmail", "1/s", 2.0)
    else:
        bench.state("durable submission, 4 KB, one process", middle["one"], "1/s", note=f"{why_not}; {note}")
        bench.state("qob send, a process for each message", middle["qob"], "1/s", note=why_not)
    bench.add("... two processes at once, the sum", middle["two"], middle["one"], "one process", "1/s", 1.3)
    shutil.rmtree(place)
