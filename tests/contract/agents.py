"""The delivery agent of examples/: alone, several at once, and killed at work.

  agents.py DELIVERY_AGENT FILL_CHANNEL [--under COMMAND...]

--under runs the agent under another program, such as valgrind, on fewer messages and without the kill.
"""
import collections
import os
import re
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

SUBJECT = re.compile(rb"^Subject: message (\d+)\r$", re.M)


class Site:
    """A queue of its own below a directory, with a maildir beside it."""

    def __init__(self, programs, work):
        self.agent, self.fill = programs
        self.queue, self.maildir = work + "/queue", work + "/maildir"
        for name in ("/queue", "/temp"):
            os.mkdir(work + name)
        with open(work + "/twmta.ini", "w", encoding="ascii") as file:
            file.write(f"[Gateway]\nTimeZone=xxx\nQueueDirectory={work}/queue\nTemporaryDirectory={work}/temp\n"
                       "[Connection]\nGatewayHostName=host\nGatewayDomain=site.example\n")
        self.environment = dict(os.environ, QOB_CONFIG_DIR=work)
        self.under = []

    def submit(self, messages, recipients, channel="maildir"):
        subprocess.run([self.fill, channel, str(messages), str(recipients)], check=True, env=self.environment)

    def start(self, channel="maildir", maildir=None):
        return subprocess.Popen([*self.under, self.agent, channel, maildir or self.maildir], env=self.environment,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def drain(self, **more):
        agent = self.start(**more)
        out, err = agent.communicate(timeout=100)
        return agent.returncode, out.decode(), "\n".join(
            line for line in err.decode().splitlines() if not line.startswith("--"))

    def delivered(self):
        """(message, recipient) of each file in new/, which must be whole."""
        found = []
        for name in os.listdir(self.maildir + "/new"):
            with open(f"{self.maildir}/new/{name}", "rb") as file:
                data = file.read()
            number = SUBJECT.search(data).group(1)
            head = re.match(rb"Return-Path: <sender(\d+)@example\.org>\r\nDelivered-To: (\S+)\r\n", data)
            expected = b"Subject: message %s\r\n\r\nThe text of message %s.\r\n" % (number, number)
            assert data[head.end():] == expected and head.group(1) == number, data
            found.append((int(number), head.group(2).decode()))
        return collections.Counter(found)

    def files(self, extension):
        return [name for name in os.listdir(self.queue) if name.endswith(extension)]

    def records(self):
        connection = sqlite3.connect(self.queue + "/mesg.btr")
        counts = [connection.execute(f"SELECT count(*) FROM {table}").fetchone()[0] for table in ("records", "marks", "notes")]
        connection.close()
        return counts


def expected(messages, recipients):
    return {(number, f"user{i}@host{number}.example") for number in range(1, messages + 1) for i in range(1, recipients + 1)}


def empty(site):
    """What is wrong with a queue that should hold nothing."""
    files, records = site.files(".msg") + site.files(".lck"), site.records()
    return [f"left in the queue: {len(files)} files, {records} records, marks, notes"] if files or any(records) else []


def alone(site):
    site.submit(3, 2)
    code, out, err = site.drain()
    wrong = empty(site)
    if code != 0 or err or out.count(" delivered\n") != 3:
        wrong.append(f"one agent gave {code}, {out!r}, {err!r}")
    if site.delivered() != collections.Counter(expected(3, 2)):
        wrong.append(f"one agent delivered {site.delivered()}")
    if site.drain()[:2] != (0, ""):
        wrong.append("an empty channel is not told as such")
    return wrong


def passes_over(site):
    """A message that another has locked, and one that is not due, stay; both go later."""
    site.submit(2, 1)
    names = sorted(site.files(".msg"))
    lock = f"{site.queue}/{names[0][:8]}.lck"
    with open(lock, "x", encoding="ascii"):
        pass
    wrong = []
    code, out, _ = site.drain()
    if (code, out) != (75, f"{names[1][:8]} delivered\n1 left\n"):
        wrong.append(f"beside a locked message: {code}, {out!r}")
    os.remove(lock)
    if site.drain()[0] != 0:
        wrong.append("the message was not delivered when its lock was gone")
    return wrong + empty(site)


def tries_again(site, work):
    """A maildir that takes nothing: the message stays, counted and due later, its recipients pending."""
    site.submit(1, 2)
    full = work + "/full"
    os.mkdir(full)
    os.mkdir(full + "/tmp")
    os.mkdir(full + "/cur")
    with open(full + "/new", "x", encoding="ascii"):
        pass
    wrong = []
    for _ in range(2):
        code, out, err = site.drain(maildir=full)
        if code != 75 or out != "1 left\n":
            wrong.append(f"a maildir that takes nothing gave {code}, {out!r}, {err!r}")
    if os.listdir(full + "/tmp") or len(site.files(".msg")) != 1 or site.files(".lck"):
        wrong.append("a failed delivery left something behind, or took something away")
    # Not due yet: the second run has not tried.
    if site.drain()[0] != 75 or site.delivered():
        wrong.append("a message that is not due was tried")
    return wrong


def together(site, messages):
    """Three agents at once: each recipient of each message once."""
    site.submit(messages, 2)
    agents = [site.start() for _ in range(3)]
    shares = []
    for agent in agents:
        out, err = agent.communicate(timeout=100)
        shares.append(out.count(b" delivered\n"))
        if agent.returncode not in (0, 75) or any(not line.startswith(b"--") for line in err.splitlines()):
            return [f"one of three agents gave {agent.returncode}, {err}"]
    wrong = []
    code, out, _ = site.drain()
    if code != 0 or sum(shares) + out.count(" delivered\n") != messages:
        wrong.append(f"three agents: {shares} messages, then {code}, {out!r}")
    if site.delivered() != collections.Counter(expected(messages, 2)):
        wrong.append("three agents did not deliver each recipient of each message once")
    print("shares of three agents:", shares)
    return wrong + empty(site)


def swept(site, locks):
    """A kill in the middle of the removal, when the message is delivered and its records are gone, leaves mark, note and
    file of that one message, which no agent meets any more; 'qob queue check --repair' sweeps them."""
    files, (records, marks, notes) = site.files(".msg") + site.files(".lck"), site.records()
    left = [name for name in files if name[:8] not in {lock[:8] for lock in locks}]
    if not left and records == 0 and max(len(files), marks, notes) <= 1:
        return []
    return empty(site)


def killed(site, messages, after):
    """Of three agents at work one is killed. What it was about stays locked; when that lock is taken away, another agent
    goes on with the recipients that were not marked: at most the one at hand gets a second copy."""
    site.submit(messages, 2)
    agents = [site.start() for _ in range(3)]
    new = site.maildir + "/new"
    end = time.monotonic() + 60
    while time.monotonic() < end and (not os.path.isdir(new) or len(os.listdir(new)) < after):
        time.sleep(0.002)
    agents[0].send_signal(signal.SIGKILL)
    for agent in agents:
        agent.communicate(timeout=100)
    if agents[0].returncode != -signal.SIGKILL:
        return ["the agent was at its end before it could be killed"]
    locks = site.files(".lck")
    wrong = []
    if len(locks) > 1:
        wrong.append(f"one killed agent left the locks {locks}")
    for name in locks:
        os.remove(f"{site.queue}/{name}")
    code, out, err = site.drain()
    if code != 0:
        wrong.append(f"after the kill: {code}, {out!r}, {err!r}")
    found = site.delivered()
    twice = {key for key, count in found.items() if count > 1}
    if set(found) != expected(messages, 2) or len(twice) > 1 or (twice and found[min(twice)] != 2):
        wrong.append(f"after the kill {len(found)} of {2 * messages} were delivered, twice: {twice}")
    print(f"killed after {after}: {len(locks)} lock, {len(twice)} delivered twice")
    return wrong + swept(site, locks)


def main():
    arguments = sys.argv[1:]
    under = []
    if "--under" in arguments:
        under = arguments[arguments.index("--under") + 1:]
        arguments = arguments[:arguments.index("--under")]
    cases = [lambda site, work: alone(site), lambda site, work: passes_over(site), tries_again]
    if under:
        cases.append(lambda site, work: together(site, 6))
    else:
        cases.append(lambda site, work: together(site, 200))
        cases += [lambda site, work, sizes=sizes: killed(site, *sizes) for sizes in ((200, 100), (60, 10), (60, 60))]
    wrong = 0
    for case in cases:
        with tempfile.TemporaryDirectory(prefix="qob-agents-") as work:
            site = Site(arguments, work)
            site.under = under
            for line in case(site, work):
                print(line)
                wrong += 1
    print(f"{len(cases)} cases, {wrong} wrong")
    return 1 if wrong else 0


sys.exit(main())
