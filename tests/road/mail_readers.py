"""The readers that the road tests compare: ours through the library, ours through qob, python3's email package, GMime.

Each gives a message's leaves in the order in which they stand in the file.
"""
import email
import email.policy
import json
import os
import pathlib
import re
import subprocess


# The names of message files; what else lies in a folder of mail are decoded parts and documents.
MESSAGE_NAMES = re.compile(r".*\.(msg|eml)$|msg_.*\.txt$")


def crlf_form(data):
    """The message with CR LF line ends: each LF without CR before it gets one."""
    return re.sub(rb"(?<!\r)\n", b"\r\n", data)


def header_field(header, name):
    """The unfolded value of the first field of that name in a header block, or None."""
    unfolded = re.sub(rb"\r\n(?=[ \t])", b"", header)
    match = re.search(rb"^" + name + rb":[ \t]*([^\r\n]*)", unfolded, re.IGNORECASE | re.MULTILINE)
    return match.group(1) if match else None


def split_message(message):
    """Header block with its empty line, and body."""
    if message.startswith(b"\r\n"):
        return message[:2], message[2:]
    end = message.find(b"\r\n\r\n")
    return (message, b"") if end < 0 else (message[:end + 4], message[end + 4:])


def is_mime(message):
    version = header_field(split_message(message)[0], b"mime-version")
    return version is not None and version.startswith(b"1.")


class Leaf:
    """What an independent reader says about one leaf: its type, its decoded body and the name of its file."""

    def __init__(self, content_type, data, name=None):
        self.type = content_type.lower()
        self.data = data
        self.name = name

    def __repr__(self):
        return f"{self.type} {len(self.data)} bytes"


class Part:
    """One record of our pool, with the bytes of the message that it covers."""

    def __init__(self, index, record, directory, message):
        self.index = index
        self.main = (record["type"] or "").lower()
        self.type = f"{self.main}/{(record['subtype'] or '').lower()}" if record["type"] else None
        self.encoding = (record["encoding"] or "").lower()
        self.start, self.body, self.end = record["start"], record["body"], record["end"]
        self.role = record["role"]
        self.children = record["children"]
        self.parameters = record["parameters"]
        self.disposition = [record["disposition"] or ""] + record["disposition_parameters"]
        self.given = {kind: record[kind] for kind in ("extracted", "raw", "header", "text")}
        self.header_bytes = message[self.start:self.body]
        self.body_bytes = message[self.body:self.end]
        self._directory = directory
        self.parent = None
        self.opened = False

    def file(self, kind=""):
        path = self._directory / f"{self.index}{kind}"
        return path.read_bytes() if path.exists() else None

    @property
    def data(self):
        return self.file()

    @property
    def embedded(self):
        """An attachment found inside a text."""
        return self.type in ("x-embedded/", "application/mac-binhex40") and self.start == self.body

    def __repr__(self):
        return f"part {self.index} {self.type} {self.encoding} [{self.start} {self.body} {self.end}]"


class Tree:
    """A message as our library parsed it."""

    def __init__(self, answer, directory, message):
        self.message = message
        self.count = answer["count"]
        self.failures = answer["failures"]
        self.mime = is_mime(message)
        self.parts = [Part(i, record, directory, message) for i, record in enumerate(answer["parts"])]
        for part in self.parts:
            for child in part.children:
                self.parts[child].parent = part
        for part, following in zip(self.parts, self.parts[1:]):
            # An encapsulated message is opened where its inside begins as a part of its own.
            part.opened = part.type == "message/rfc822" and following.start == part.body
        # Parts that the end of the file closed are nobody's children in the pool; their place shows where they belong.
        self.closed_by_end = [p for p in self.parts[1:] if p.parent is None] if self.mime else []
        for part in self.closed_by_end:
            holders = [p for p in self.parts[:part.index] if (p.main == "multipart" or p.opened) and p.end >= part.end]
            part.parent = holders[-1]
            part.parent.children.append(part.index)
        self.leaves = [p for p in self.parts if p.main != "multipart" and not p.opened]


    def paths(self):
        """The parts by the path that others number them with: "1" the message, "1_2" its second part, and so on."""
        found = {}
        pending = [(self.parts[0], "1")] if self.parts else []
        while pending:
            part, path = pending.pop()
            found[path] = part
            pending += [(self.parts[child], f"{path}_{number}") for number, child in enumerate(part.children, 1)]
        return found


class Library:
    """Our library, through the small program that prints what it parsed and keeps what it extracted."""

    def __init__(self, program, work):
        site = work / "site"
        site.mkdir()
        (site / "twmta.ini").write_text(f"[Gateway]\nTimeZone=xxx\nTemporaryDirectory={site}\n")
        self._program = program
        self._environment = dict(os.environ, QOB_CONFIG_DIR=str(site))
        self._site = site

    def parse(self, messages):
        """The trees of (file, directory) pairs, in order."""
        lines = "".join(f"{file}\t{directory}\n" for file, directory in messages)
        result = subprocess.run([self._program], input=lines.encode(), stdout=subprocess.PIPE, env=self._environment,
                                check=True)
        answers = result.stdout.decode().splitlines()
        assert len(answers) == len(messages), "the library answered for fewer messages than it was given"
        return [Tree(json.loads(answer), pathlib.Path(directory), pathlib.Path(file).read_bytes())
                for answer, (file, directory) in zip(answers, messages)]

    def left_behind(self):
        """Files in the temporary directory that nobody removed."""
        return [p.name for p in self._site.iterdir() if p.name not in ("twmta.ini", "tmpcnt.$$$", "twmta.log")]


class PythonReader:
    name = "python"

    def leaves(self, data):
        return list(self._walk(email.message_from_bytes(data, policy=email.policy.default)))

    def _walk(self, message):
        if message.is_multipart():
            for part in message.get_payload():
                yield from self._walk(part)
            return
        payload = message.get_payload(decode=True)
        yield Leaf(message.get_content_type(), payload if payload is not None else b"", message.get_filename())


class GMimeReader:
    name = "gmime"

    def __init__(self, program, work):
        self._program = program
        self._work = work / "gmime"
        self._work.mkdir()

    def leaves(self, data):
        message = self._work / "message"
        message.write_bytes(data)
        return self.read([(message, self._work)])[0][0]

    def read(self, messages):
        """For each (file, directory): its leaves, and subject, from, to and cc decoded (None where there is none)."""
        lines = "".join(f"{file}\t{directory}\n" for file, directory in messages)
        result = subprocess.run([self._program], input=lines.encode(), stdout=subprocess.PIPE, check=True)
        answers = iter(result.stdout.decode().splitlines())
        found = []
        for _, directory in messages:
            count = int(next(answers))
            leaves = []
            for number in range(count):
                content_type, name = next(answers).split("\t")
                data = (pathlib.Path(directory) / str(number)).read_bytes()
                leaves.append(Leaf(content_type, data, self._text(name)))
            header = [self._text(field) for field in next(answers).split("\t")] if count >= 0 else []
            found.append((leaves, header))
        return found

    @staticmethod
    def _text(field):
        return None if field == "-" else bytes.fromhex(field).decode(errors="replace")
