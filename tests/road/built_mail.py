"""What the builders write is read by others: python3's email package, GMime, and our own parser.

1,000 messages from a fixed seed. For every leaf its type, its decoded bytes and its file name must be those it was built from,
and the header texts those that were handed in, for every reader. built_deviations.py holds what the builders write so that
readers cannot get it back, by contract: each case is built here, too, and must be read exactly as it says.
"""
import argparse
import email
import email.policy
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

import built_deviations
from built_messages import SITES, Message
from mail_readers import GMimeReader, Leaf, Library

MESSAGES = 1000


class Builder:
    """Our library at one site, through the small program that builds."""

    def __init__(self, program, work, site):
        self._program = program
        self._site = work / f"site-{site}"
        self._site.mkdir()
        charset, gateway, options = SITES[site]
        del charset
        lines = ["[Gateway]", "TimeZone=xxx", f"TemporaryDirectory={self._site}", *gateway, "[Options]", *options, ""]
        (self._site / "twmta.ini").write_text("\n".join(lines))

    def build(self, jobs):
        """Runs the jobs; gives "built" or "null" for each."""
        answers = []
        pending = []
        for job in jobs:
            if job["call"] == "prepend":
                answers += self._run(pending)
                pending = []
                pathlib.Path(job["out"]).write_bytes(job["text"].encode("latin-1") + pathlib.Path(job["body"]).read_bytes())
                answers.append("built")
            else:
                pending.append(job)
        return answers + self._run(pending)

    def _run(self, jobs):
        if not jobs:
            return []
        text = "".join(json.dumps(job) + "\n" for job in jobs)
        environment = dict(os.environ, QOB_CONFIG_DIR=str(self._site))
        result = subprocess.run([self._program], input=text.encode(), stdout=subprocess.PIPE, env=environment, check=True)
        answers = result.stdout.decode().split()
        assert len(answers) == len(jobs), "the builder answered fewer jobs than it was given"
        return answers

    def left_behind(self):
        return [p.name for p in self._site.iterdir() if p.name not in ("twmta.ini", "tmpcnt.$$$", "twmta.log")]


class PythonMessage:
    """A message as python reads it."""

    def __init__(self, data):
        self._message = email.message_from_bytes(data, policy=email.policy.default)
        self.leaves = list(self._walk(self._message))

    def _walk(self, message):
        if message.is_multipart():
            for part in message.get_payload():
                yield from self._walk(part)
            return
        payload = message.get_payload(decode=True)
        leaf = Leaf(message.get_content_type(), payload if payload is not None else b"", message.get_filename())
        leaf.about = (message["content-id"], message["content-description"])
        yield leaf

    def header(self):
        subject = self._message["subject"]
        found = {"subject": None if subject is None else str(subject)}
        for field in ("from", "to", "cc", "bcc"):
            value = self._message[field]
            found[field] = [] if value is None else [(a.display_name, a.addr_spec) for a in value.addresses]
        return found


def compare_leaves(wanted, found):
    """The differences of one reader's leaves from those a message was built from."""
    if len(wanted) != len(found):
        return [f"{len(found)} leaves for {len(wanted)}"]
    problems = []
    for number, (mine, theirs) in enumerate(zip(wanted, found)):
        if theirs.type != mine.type:
            problems.append(f"leaf {number}: type {theirs.type} for {mine.type}")
        data = theirs.data
        if mine.japanese:
            data = data.decode("iso-2022-jp")
        if data != mine.data:
            problems.append(f"leaf {number} ({mine.encoding}): {len(data)} for {len(mine.data)}: {differing(data, mine.data)}")
        if theirs.name != mine.name:
            problems.append(f"leaf {number}: name {theirs.name!r} for {mine.name!r}")
    return problems


def differing(found, wanted):
    at = next((i for i, (a, b) in enumerate(zip(found, wanted)) if a != b), min(len(found), len(wanted)))
    return f"at {at} {found[at:at + 20]!r} for {wanted[at:at + 20]!r}"


def compare_ours(leaf, part):
    """Our parser, by its own documented line ends: docs/deviations.md, "Line ends at the edge of a body"."""
    wanted = leaf.data.encode("shift_jis") if leaf.japanese else leaf.data
    if leaf.encoding == "7bit":
        wanted += b"\r\n" if leaf.nested else b""
    elif leaf.encoding == "quoted-printable" and leaf.type.startswith("text/"):
        wanted = re.sub(rb"\r*\n", b"\r\n", wanted)
        wanted = wanted if leaf.nested else wanted.removesuffix(b"\r\n")
    data = part.data
    if leaf.japanese:
        data, wanted = data.decode("iso-2022-jp"), wanted.decode("shift_jis")
    if data != wanted:
        return [f"ours ({leaf.encoding}): {differing(data, wanted)}"]
    return [] if part.type == leaf.type else [f"ours: type {part.type} for {leaf.type}"]


def check_python(message, data):
    read = PythonMessage(data)
    problems = compare_leaves(message.leaves, read.leaves)
    header = read.header()
    problems += [f"leaf about {theirs.about!r} for {mine.about!r}" for mine, theirs in zip(message.leaves, read.leaves)
                 if theirs.about != mine.about]
    problems += [f"{field}: {header[field]!r} for {wanted!r}" for field, wanted in message.header.items()
                 if header[field] != wanted]
    return [f"python: {p}" for p in problems]


def check_gmime(message, leaves, header):
    problems = compare_leaves(message.leaves, leaves)
    named = dict(zip(("subject", "from", "to", "cc"), header))
    if named["subject"] != message.header["subject"]:
        problems.append(f"subject {named['subject']!r} for {message.header['subject']!r}")
    for field in ("from", "to", "cc"):
        text = ", ".join(address_text(person) for person in message.header[field])
        if (named[field] or "") != text:
            problems.append(f"{field} {named[field]!r} for {text!r}")
    return [f"gmime: {p}" for p in problems]


def address_text(person):
    return f"{person[0]} <{person[1]}>" if person[0] else person[1]


def uncovered(messages):
    """What a full run is meant to hold and does not."""
    leaves = [(message.site, leaf) for message in messages for leaf in message.leaves]
    kinds = {(site, leaf.encoding) for site, leaf in leaves}
    problems = [f"no {encoding} at {site}" for site in SITES
                for encoding in ("base64", "quoted-printable", "7bit", "x-uue", "x-uuencode") if (site, encoding) not in kinds]
    largest = {}
    for _, leaf in leaves:
        largest[leaf.encoding] = max(largest.get(leaf.encoding, 0), len(leaf.data))
    if not any(not leaf.data for _, leaf in leaves) or sum(size > 4_000_000 for size in largest.values()) < 3:
        problems.append(f"sizes only up to {largest}")
    deep = sum(message.depth > 2 for message in messages)
    return problems + ([] if deep > 10 else [f"only {deep} messages of three levels"])


class Test:
    """The whole of it, in one directory."""

    def __init__(self, arguments, work):
        self._work = work
        self._builders = {site: Builder(arguments.build, work, site) for site in SITES}
        self._library = Library(arguments.dump, work)
        self._gmime = GMimeReader(arguments.peer, work) if arguments.peer else None
        self.failures = 0
        self.seconds = {}

    def fail(self, what, problems):
        for problem in problems[:3]:
            print(f"FAILED {what}: {problem}")
        self.failures += bool(problems)

    def timed(self, what, call):
        start = time.monotonic()
        result = call()
        self.seconds[what] = self.seconds.get(what, 0) + time.monotonic() - start
        return result

    def build(self, messages):
        for site, builder in self._builders.items():
            jobs = [job for message in messages if message.site == site for job in message.jobs]
            answers = self.timed("build", lambda jobs=jobs, builder=builder: builder.build(jobs))
            self.fail(f"site {site}", [f"not built: {job}" for job, answer in zip(jobs, answers) if answer != "built"])
            self.fail(f"site {site}", [f"left {name} behind" for name in builder.left_behind()])

    def places(self, messages, kind):
        found = [(message.path, self._work / f"{message.number:04}.{kind}") for message in messages]
        for _, place in found:
            place.mkdir()
        return found

    def read(self, messages):
        for message in messages:
            data = message.path.read_bytes()
            self.fail(f"message {message.number}", self.timed("python", lambda m=message, d=data: check_python(m, d)))
        if self._gmime:
            places = self.places(messages, "gmime")
            answers = self.timed("gmime", lambda: self._gmime.read(places))
            for message, (leaves, header) in zip(messages, answers):
                self.reread_uuencoded(message, leaves)
                self.fail(f"message {message.number}", check_gmime(message, leaves, header))
        # Submission puts this field in front; without it a message is plain text to us.
        for message in messages:
            message.path.write_bytes(b"Mime-version: 1.0\r\n" + message.path.read_bytes())
        places = self.places(messages, "ours")
        trees = self.timed("ours", lambda: self._library.parse(places))
        for message, tree in zip(messages, trees):
            if len(tree.leaves) != len(message.leaves):
                self.fail(f"message {message.number}", [f"ours: {len(tree.leaves)} leaves for {len(message.leaves)}"])
                continue
            for leaf, part in zip(message.leaves, tree.leaves):
                self.fail(f"message {message.number}", compare_ours(leaf, part))

    def reread_uuencoded(self, message, leaves):
        """GMime 3.2 loses its place in a long uuencoded body with CR LF, whoever wrote it: read it with line feeds instead."""
        longer = [i for i, leaf in enumerate(message.leaves) if leaf.encoding.startswith("x-uu") and len(leaf.data) > 40000]
        if not longer or len(leaves) != len(message.leaves):
            return
        place = self._work / f"{message.number:04}.lf"
        place.mkdir()
        (place / "message").write_bytes(message.path.read_bytes().replace(b"\r\n", b"\n"))
        again, _ = self._gmime.read([(place / "message", place)])[0]
        for i in longer:
            leaves[i].data = again[i].data

    def deviations(self):
        """Every case reads as its table says, and docs/deviations.md tells about it; without GMime python alone reads it."""
        told = (pathlib.Path(__file__).resolve().parents[2] / "docs" / "deviations.md").read_text()
        for case in built_deviations.CASES:
            self.fail(case.name, [] if f"| `{case.name}` |" in told else ["not in docs/deviations.md"])
            built = self._work / f"case-{case.name}"
            self._builders[case.site].build(case.jobs(self._work, built))
            data = built.read_bytes()
            self.fail(case.name, case.check_python(PythonMessage(data)))
            if self._gmime:
                place = self._work / f"case-{case.name}.gmime"
                place.mkdir()
                self.fail(case.name, case.check_gmime(*self._gmime.read([(built, place)])[0]))
        return len(built_deviations.CASES)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True, help="the message_build program")
    parser.add_argument("--dump", required=True, help="the message_dump program")
    parser.add_argument("--peer", help="the peer_dump program")
    parser.add_argument("--messages", type=int, default=MESSAGES)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="qobbuilt-") as name:
        work = pathlib.Path(name)
        test = Test(arguments, work)
        messages = [Message(number, work) for number in range(arguments.messages)]
        test.build(messages)
        test.read(messages)
        cases = test.deviations()
        if len(messages) >= MESSAGES:
            test.fail("the set", uncovered(messages))
    leaves = sum(len(message.leaves) for message in messages)
    print(f"{len(messages)} messages, {leaves} leaves, {cases} cases of their own: {test.failures} failures; "
          + ", ".join(f"{what} {seconds:.1f} s" for what, seconds in test.seconds.items()))
    if not arguments.peer:
        print("GMime is not installed: read by python and our own parser alone")
    return 1 if test.failures else 0


if __name__ == "__main__":
    sys.exit(main())
