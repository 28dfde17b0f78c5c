"""No success is returned before the last flush: the system calls of a process that submits messages, in their order.

  submission_flushes.py PROGRAM

The program submits messages and writes "acknowledged" to its standard output behind each. At that moment every byte that it
wrote below the queue directory must have been flushed, the directory too since the message file was made in it, the message
file and its directory before the database's log, and the lock must be gone, but not before all that. The number of flushes for each message is printed.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

COUNT = 200
SKIP = 77
# A log that was begun anew is cut to its usual length behind a commit: what is cut off is old, and ftruncate is not looked at.
CALLS = "openat,open,creat,write,pwrite64,writev,pwritev,fsync,fdatasync,rename,renameat,renameat2,link,linkat,unlink,unlinkat"
# "123 fsync(5</q/x.msg>) = 0", "123 openat(AT_FDCWD</>, "/q/x.msg", O_RDWR|O_CREAT, 0600) = 5</q/x.msg>"
LINE = re.compile(r"^\d+ +(\w+)\((.*)\) += +(-?\d+)(?:<(.*)>)?")
# Calls of two threads at once come in two pieces; they have happened at the second one.
BEGUN = re.compile(r"^(\d+) +(\w+\(.*) <unfinished \.\.\.>$")
ENDED = re.compile(r"^(\d+) +<\.\.\. \w+ resumed>(.*)$")
OF_HANDLE = re.compile(r"^(\d+)<([^>]*)>")
QUOTED = re.compile(r'"([^"]*)"')


def fail(text):
    sys.exit(f"submission_flushes: {text}")


def trace(program, root):
    queue = os.path.join(root, "queue")
    for name in ("queue", "temp", "config"):
        os.mkdir(os.path.join(root, name))
    with open(os.path.join(root, "config", "twmta.ini"), "w", encoding="ascii") as ini:
        ini.write(f"[Gateway]\nQueueDirectory={queue}\nTemporaryDirectory={root}/temp\n")
    log = os.path.join(root, "trace")
    result = subprocess.run(["strace", "-f", "-y", "-e", f"trace={CALLS}", "-o", log, program, str(COUNT), "4096"],
                            env={**os.environ, "QOB_CONFIG_DIR": os.path.join(root, "config")}, capture_output=True, check=False)
    if b"PTRACE" in result.stderr or b"Operation not permitted" in result.stderr:
        print(f"SKIPPED: this place does not let a process be traced: {result.stderr.decode(errors='replace').strip()}")
        sys.exit(SKIP)
    if result.returncode != 0:
        fail(f"the program ended with {result.returncode}: {result.stderr.decode(errors='replace')}")
    with open(log, encoding="utf-8", errors="replace") as lines:
        return queue, lines.read().splitlines()


def whole_lines(lines):
    begun = {}
    for line in lines:
        first = BEGUN.match(line)
        last = ENDED.match(line)
        if first:
            begun[first[1]] = first[2]
        elif last and last[1] in begun:
            yield f"{last[1]} {begun.pop(last[1])}{last[2]}"
        else:
            yield line


class Disk:
    """What of the queue directory has not reached the disk."""

    def __init__(self, queue):
        self.queue = queue
        self.unflushed = set()    # files
        self.new_names = set()    # made since the directory was flushed
        self.locks = set()
        self.flushes = []         # since the last acknowledgement
        self.unlocked_early = False
        self.log_at_risk = False  # the log was written while a message was not yet safe

    def below(self, path):
        return path.startswith(self.queue + "/")

    def memory(self, path):
        return path.endswith(("-shm", "-gate"))

    def wrote(self, path):
        if not self.below(path) or self.memory(path):
            return
        if path.endswith("-wal") and any(name.endswith(".msg") for name in self.unflushed | self.new_names):
            self.log_at_risk = True
        self.unflushed.add(path)

    def made(self, path):
        if self.below(path):
            self.new_names.add(path)
            if path.endswith(".lck"):
                self.locks.add(path)

    def flushed(self, path):
        self.flushes.append(path)
        self.unflushed.discard(path)
        if path == self.queue:
            self.new_names.clear()

    def removed(self, path):
        if path in self.locks and (self.unflushed or not any(name.endswith("-wal") for name in self.flushes)):
            self.unlocked_early = True
        self.unflushed.discard(path)
        self.new_names.discard(path)
        self.locks.discard(path)

    def judge(self):
        if self.unflushed:
            fail(f"acknowledged before the flush of {sorted(self.unflushed)}")
        if any(name.endswith(".msg") for name in self.new_names):
            fail("acknowledged before the flush of the directory")
        if self.locks:
            fail(f"acknowledged while {sorted(self.locks)} stands")
        if self.unlocked_early:
            fail("the lock went before the log's flush")
        if self.log_at_risk:
            fail("the log was written before the message was safe")


def follow(disk, line):
    """One system call; True when it was an acknowledgement."""
    found = LINE.match(line)
    if not found or int(found[3]) < 0:
        return False
    call, arguments, result_path = found[1], found[2], found[4]
    handle = OF_HANDLE.match(arguments)
    path = handle[2] if handle else ""
    if call in ("openat", "open", "creat"):
        if "O_CREAT" in arguments or call == "creat":
            disk.made(result_path)
    elif call in ("fsync", "fdatasync"):
        disk.flushed(path)
    elif call in ("unlink", "unlinkat"):
        disk.removed(QUOTED.findall(arguments)[-1])
    elif call in ("rename", "renameat", "renameat2", "link", "linkat"):
        old, new = QUOTED.findall(arguments)[:2]
        if old in disk.unflushed:
            disk.wrote(new)
        disk.made(new)
    elif "acknowledged" in arguments and handle and handle[1] == "1":
        return True
    else:
        disk.wrote(path)
    return False


def main(program):
    if shutil.which("strace") is None:
        print("SKIPPED: there is no strace")
        sys.exit(SKIP)
    with tempfile.TemporaryDirectory() as root:
        root = os.path.realpath(root)
        queue, lines = trace(program, root)
        disk = Disk(queue)
        per_message = []
        calls = 0
        for line in whole_lines(lines):
            calls += 1
            if follow(disk, line):
                disk.judge()
                per_message.append(len(disk.flushes))
                disk.flushes = []
    if len(per_message) != COUNT:
        fail(f"{len(per_message)} acknowledgements of {COUNT} were seen")
    if min(per_message) < 3:
        fail(f"only {min(per_message)} flushes for a message: its file, its directory and the log are three")
    usual = sorted(per_message)[COUNT // 2]
    if usual != 3:
        fail(f"{usual} flushes for a message")
    print(f"{COUNT} messages, {usual} flushes for each, {sum(per_message)} in all, {calls} lines of the trace")


main(sys.argv[1])
