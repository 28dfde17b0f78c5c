"""A queue of Postfix's own kind, in a directory of ours, for `postqueue -p` to list.

Nothing of Postfix runs but postqueue (and showq, which it starts when no mail system answers): the configuration and the queue
are private, no daemon is started, nothing listens. The queue files are written in the form that postcat(1) shows: one-letter
records with a length, size record first, in the hashed folders of the deferred queue, without delivery logs.
"""
import os
import pathlib
import pwd
import shutil
import subprocess

FOLDERS = ["active", "bounce", "corrupt", "defer", "deferred", "flush", "hold", "incoming", "maildrop", "pid", "private",
           "public", "saved", "trace"]


def unavailable():
    """Why the row cannot be measured here, or None."""
    if shutil.which("postqueue") is None:
        return "postfix is not installed"
    if os.geteuid() != 0:
        return "postqueue lists a queue without its daemons for root alone"
    return None


def record(kind, text=""):
    data = text.encode("ascii")
    length, size = b"", len(data)
    while True:
        size, low = size >> 7, size & 0x7F
        length += bytes([low | (0x80 if size else 0)])
        if not size:
            return kind.encode("ascii") + length + data


def message(number, recipients):
    """One deferred message; the size record counts the bytes between its two marks."""
    content = b"".join(record("N", line) for line in
                       ["From: someone@example.org", f"Subject: number {number}", ""] + ["A line of text."] * 30)
    arrival = 1790000000 + number
    envelope = record("T", f"{arrival} 0") + record("A", f"create_time={arrival}") + record("A", "rewrite_context=local")
    envelope += record("S", f"user{number % 90000}@host{number % 500}.example.org")
    for index in range(recipients):
        address = f"someone{(number * 7 + index) % 90000}@domain{(number * 3 + index) % 5000}.example.net"
        envelope += record("O", address) + record("R", address)
    envelope += record("M")
    offset = len(envelope) + 2 + 6 * 16 - 1
    sizes = " ".join(f"{value:15d}" for value in (len(content), offset, recipients, 0, len(content), 0))
    return record("C", sizes) + envelope + content + record("X") + record("E")


def build(directory, messages, recipients):
    """Makes configuration and queue below `directory`; the queue file of each message is complete (mode 0700)."""
    root = pathlib.Path(directory)
    queue = root / "queue"
    owner = pwd.getpwnam("postfix").pw_uid
    for folder in FOLDERS:
        (queue / folder).mkdir(parents=True)
        if folder != "pid":
            os.chown(queue / folder, owner, -1)
    (root / "data").mkdir()
    os.chown(root / "data", owner, -1)
    (root / "etc").mkdir()
    (root / "etc" / "main.cf").write_text(
        f"compatibility_level = 3.6\nqueue_directory = {queue}\ndata_directory = {root}/data\n"
        "command_directory = /usr/sbin\ndaemon_directory = /usr/lib/postfix/sbin\nmail_owner = postfix\n"
        "setgid_group = postdrop\ninet_interfaces = loopback-only\n")
    (root / "etc" / "master.cf").write_text("")
    for number in range(messages):
        name = f"{(number * 2654435761) % 2**32:08X}{number % 4096:03X}"
        folder = queue / "deferred" / name[0]
        if not folder.exists():
            folder.mkdir(mode=0o700)
            os.chown(folder, owner, -1)
        file = folder / name
        file.write_bytes(message(number, recipients))
        file.chmod(0o700)
        os.chown(file, owner, -1)


def command(directory):
    return ["postqueue", "-c", f"{directory}/etc", "-p"]


def listed(directory):
    """How many messages postqueue finds."""
    out = subprocess.run(command(directory), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True, text=True).stdout
    return int(out.rsplit(" in ", 1)[1].split()[0])
