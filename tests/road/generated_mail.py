"""Generated messages on their whole road: python3's email package writes them, our library parses and extracts them.

Every leaf must come back with the identical bytes, type and file name, in order, and encapsulated messages must be opened. The
messages are nested up to five deep, in many encodings and charsets, from a fixed seed.
"""
import argparse
import base64
import email.message
import email.policy
import email.utils
import pathlib
import quopri
import random
import sys
import tempfile

from mail_readers import Library

MESSAGES = 300
POLICY = email.policy.SMTP
WORDS = ["meeting", "budget", "Grüße", "façade", "naïve", "привет", "日本語", "资料", "report", "the", "of", "Ελλάδα"]
CHARSETS = ["utf-8", "us-ascii", "iso-8859-1", "iso-2022-jp", "koi8-r", "utf-16", "windows-1252", "gb2312"]
NAMES = ["plain.txt", "two words.pdf", "Grüße.doc", "a;b.bin", "日本語の資料.png", 'with "quotes".csv', "long-" + "x" * 150 + ".dat"]


class Writer:
    """Makes messages and remembers what each leaf must come back as."""

    def __init__(self, seed):
        self._random = random.Random(seed)
        self.leaves = []

    def message(self):
        message = self._entity(0)
        message["Subject"] = " ".join(self._random.choices(WORDS, k=6))
        message["From"] = "Grüße aus Köln <sender@example.org>"
        message["To"] = ", ".join(f"reader{n}@example.org" for n in range(self._random.randint(1, 5)))
        if "MIME-Version" not in message:
            message["MIME-Version"] = "1.0"
        return message

    def _entity(self, depth):
        kind = self._random.random()
        if depth < 4 and kind < (0.75 if depth == 0 else 0.35):
            return self._multipart(depth)
        if depth < 4 and 0 < depth and kind < 0.45:
            return self._encapsulated(depth)
        return self._leaf(depth)

    def _multipart(self, depth):
        message = email.message.EmailMessage(POLICY)
        message["Content-Type"] = f"multipart/{self._random.choice(['mixed', 'alternative', 'related', 'x-own'])}"
        for _ in range(self._random.randint(1, 5)):
            message.attach(self._entity(depth + 1))
        if self._random.random() < 0.5:
            message.preamble = "This is a message in several parts.\r\n"
        if self._random.random() < 0.3:
            message.epilogue = "Nobody reads this.\r\n"
        return message

    def _encapsulated(self, depth):
        inner = self._entity(depth + 1)
        inner["Subject"] = "inside"
        if "MIME-Version" not in inner:
            inner["MIME-Version"] = "1.0"
        message = email.message.EmailMessage(POLICY)
        message["Content-Type"] = "message/rfc822"
        message.set_payload([inner])
        return message

    def _leaf(self, depth):
        message = email.message.EmailMessage(POLICY)
        encoding = self._random.choice(["base64", "quoted-printable", "8bit", "7bit"])
        if self._random.random() < 0.4:
            data = self._random.randbytes(self._random.choice([0, 1, 2, 3, 57, 100, 4096, 20000]))
            name = self._random.choice([None] + NAMES)
            message.set_content(data, "application", self._random.choice(["octet-stream", "pdf", "x-own"]),
                                cte="base64", filename=name)
            self.leaves.append((message.get_content_type(), data, name))
            return message
        return self._text(message, encoding, depth)

    def _text(self, message, encoding, depth):
        charset = self._random.choice(CHARSETS)
        lines = [" ".join(self._random.choices(WORDS, k=self._random.randint(0, 9)))
                 for _ in range(self._random.randint(1, 30))]
        text = "\r\n".join(lines) + "\r\n"
        if self._random.random() < 0.2:
            text = "-- \r\n.\r\nFrom here on\r\n=20 = ==\r\n--not-a-boundary\r\n" + text
        data = text.encode(charset, errors="ignore")
        if charset == "utf-16" or encoding == "7bit" and not data.isascii():
            encoding = "base64"
        message["Content-Type"] = f'text/{self._random.choice(["plain", "html", "csv"])}; charset="{charset}"'
        message["Content-Transfer-Encoding"] = encoding
        message.set_payload(self._encoded(data, encoding))
        self.leaves.append((message.get_content_type(), self._as_read(data, encoding, depth), None))
        return message

    @staticmethod
    def _as_read(data, encoding, depth):
        """Inside a multipart (every leaf but a top-level one) the writer puts a CR LF between the body and the delimiter.

        It stands in the file before the delimiter line, so it is part of a body without encoding; the quoted-printable
        decoder leaves out one final line end for this reason, and does so at the top level too.
        """
        if encoding in ("7bit", "8bit"):
            return data + b"\r\n" if depth > 0 else data
        return data.removesuffix(b"\r\n") if encoding == "quoted-printable" and depth == 0 else data

    @staticmethod
    def _encoded(data, encoding):
        if encoding == "base64":
            return base64.encodebytes(data).decode().replace("\n", "\r\n")
        if encoding == "quoted-printable":
            return quopri.encodestring(data.replace(b"\r\n", b"\n")).decode().replace("\n", "\r\n")
        return data.decode("ascii", errors="surrogateescape")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--dump", required=True, help="the message_dump program")
    parser.add_argument("--messages", type=int, default=MESSAGES)
    arguments = parser.parse_args()
    failures = 0
    with tempfile.TemporaryDirectory(prefix="qobroad-") as name:
        work = pathlib.Path(name)
        library = Library(arguments.dump, work)
        written, paths = [], []
        for number in range(arguments.messages):
            writer = Writer(number)
            message = writer.message()
            place = work / f"{number:04}"
            place.mkdir()
            (work / f"{number:04}.eml").write_bytes(message.as_bytes())
            written.append(writer)
            paths.append((work / f"{number:04}.eml", place))
        leaves = 0
        for number, (writer, tree) in enumerate(zip(written, library.parse(paths))):
            ours = [(part.type, part.data, file_name(part)) for part in tree.leaves]
            leaves += len(ours)
            if ours != writer.leaves:
                failures += 1
                print(f"FAILED message {number}: {differences(ours, writer.leaves)}")
        failures += len(library.left_behind())
    print(f"{arguments.messages} messages, {leaves} leaves: {failures} failures")
    return 1 if failures else 0


def file_name(part):
    """The name in the disposition field, put together again from the parameters as our parser gives them."""
    field = email.message.Message()
    field["Content-Disposition"] = "; ".join(part.disposition)
    return email.utils.collapse_rfc2231_value(field.get_filename()) if part.disposition[1:] else None


def differences(ours, wanted):
    for number, (mine, theirs) in enumerate(zip(ours, wanted)):
        if mine != theirs:
            texts = [f"{kind} {len(data)} bytes ending {data[-40:]!r}, name {name!r}" for kind, data, name in (mine, theirs)]
            return f"leaf {number}: {' for '.join(texts)}"
    return f"{len(ours)} leaves for {len(wanted)}"


if __name__ == "__main__":
    sys.exit(main())
