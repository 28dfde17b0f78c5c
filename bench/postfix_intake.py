"""Postfix taking mail in: a private instance on a loopback port, with its own configuration and queue, delivery deferred.

Its master process runs as a child in the foreground of ours, ends by itself after a while, and is ended by its own process id.
Nothing of an installed Postfix configuration is read or changed.
"""
import os
import pathlib
import pwd
import re
import shutil
import socket
import subprocess
import time

import postfix_queue

DAEMONS = "/usr/lib/postfix/sbin"
LIFETIME = 600

MASTER = """\
127.0.0.1:{port} inet n - n - - smtpd
pickup    unix  n - n 60 1 pickup
cleanup   unix  n - n - 0 cleanup
qmgr      unix  n - n 300 1 qmgr
rewrite   unix  - - n - - trivial-rewrite
bounce    unix  - - n - 0 bounce
defer     unix  - - n - 0 bounce
trace     unix  - - n - 0 bounce
verify    unix  - - n - 1 verify
flush     unix  n - n 1000? 0 flush
proxymap  unix  - - n - - proxymap
smtp      unix  - - n - - smtp
relay     unix  - - n - - smtp
showq     unix  n - n - - showq
error     unix  - - n - - error
retry     unix  - - n - - error
discard   unix  - - n - - discard
anvil     unix  - - n - 1 anvil
scache    unix  - - n - 1 scache
"""


def unavailable():
    """Why it cannot be measured here, or None."""
    for program in ("smtp-source", "postdrop"):
        if shutil.which(program) is None:
            return f"no {program}: postfix is not installed"
    if os.geteuid() != 0:
        return "Postfix starts as root alone"
    return None


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


class Intake:
    """A running instance below `directory`; use it in a with statement."""

    def __init__(self, directory):
        self.root = pathlib.Path(directory)
        self.port = free_port()
        postfix_queue.build(self.root, 0, 0)
        (self.root / "etc" / "main.cf").write_text(
            f"compatibility_level = 3.6\nqueue_directory = {self.root}/queue\ndata_directory = {self.root}/data\n"
            f"command_directory = /usr/sbin\ndaemon_directory = {DAEMONS}\nmail_owner = postfix\nsetgid_group = postdrop\n"
            "inet_interfaces = 127.0.0.1\ninet_protocols = ipv4\nmyhostname = bench.example\nmydestination =\n"
            "mynetworks = 127.0.0.0/8\nsmtpd_recipient_restrictions = permit_mynetworks, reject\n"
            "smtpd_relay_restrictions = permit_mynetworks, reject\nalias_maps =\nalias_database =\nlocal_recipient_maps =\n"
            "defer_transports = smtp relay\nmaximal_queue_lifetime = 1d\n")
        (self.root / "etc" / "master.cf").write_text(MASTER.format(port=self.port))
        shutil.copy("/etc/services", self.root / "etc" / "services")
        queue = self.root / "queue"
        group = os.stat("/usr/sbin/postdrop").st_gid
        for folder, mode in (("maildrop", 0o730), ("public", 0o710)):
            os.chown(queue / folder, -1, group)
            os.chmod(queue / folder, mode)
        for folder in ("active", "bounce", "corrupt", "defer", "deferred", "flush", "hold", "incoming", "private", "saved",
                       "trace"):
            os.chmod(queue / folder, 0o700)
        # The way to the queue must be open for the user that Postfix runs as.
        for parent in [self.root, *self.root.parents]:
            if not os.stat(parent).st_mode & 0o001:
                os.chmod(parent, os.stat(parent).st_mode | 0o011)

    def __enter__(self):
        self.master = subprocess.Popen([f"{DAEMONS}/master", "-c", self.root / "etc", "-e", str(LIFETIME), "-d"],
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(200):
            try:
                with socket.create_connection(("127.0.0.1", self.port), 1) as line:
                    if line.recv(3) == b"220":
                        return self
            except OSError:
                pass
            if self.master.poll() is not None:
                raise RuntimeError("Postfix' master ended at once")
            time.sleep(0.05)
        raise RuntimeError("Postfix does not answer")

    def __exit__(self, *_):
        self.master.terminate()
        try:
            self.master.wait(20)
        except subprocess.TimeoutExpired:
            self.master.kill()
            self.master.wait()

    def by_smtp(self, messages, size, sessions=1):
        """Messages per second through `sessions` SMTP sessions at once."""
        begin = time.monotonic()
        subprocess.run(["smtp-source", "-s", str(sessions), "-m", str(messages), "-l", str(size), "-f", "sender@a.example",
                        "-t", "someone@b.example", f"127.0.0.1:{self.port}"], check=True, stdout=subprocess.DEVNULL)
        return messages / (time.monotonic() - begin)

    def by_command(self, messages, message):
        """Messages per second through the sendmail command, one process after the other."""
        command = ["sendmail", "-C", str(self.root / "etc"), "-i", "-f", "sender@a.example", "someone@b.example"]
        begin = time.monotonic()
        for _ in range(messages):
            with open(message, "rb") as text:
                subprocess.run(command, stdin=text, check=True)
        return messages / (time.monotonic() - begin)

    def expect(self, messages):
        """The queue holds so many; one that is moved while we look is counted at another look."""
        for _ in range(50):
            if self.taken() == messages:
                return
            time.sleep(0.1)
        raise RuntimeError(f"{self.taken()} messages in Postfix' queue instead of {messages}")

    def taken(self):
        queue = self.root / "queue"
        return sum(1 for folder in ("incoming", "active", "deferred", "maildrop")
                   for _, _, names in os.walk(queue / folder) for name in names if re.fullmatch(r"[0-9A-Za-z]+", name))

    def processes(self):
        """The master and its children."""
        found = [self.master.pid]
        children = pathlib.Path(f"/proc/{self.master.pid}/task/{self.master.pid}/children")
        return found + [int(pid) for pid in children.read_text().split()]
