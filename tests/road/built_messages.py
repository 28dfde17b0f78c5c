"""Messages for the builders: from a seed, the jobs that build one and what every reader must find in it.

A message is one part, or parts within parts up to three deep; leaves have every encoding, bodies of 0 bytes to 5 MB, and names
with quotes, backslashes, 8-bit and Japanese characters. Sites differ in their local charset: names and header texts are handed
to the builders in it.
"""
import random

SITES = {
    "latin": ("iso-8859-1", ["LocalCharSet=ISO-8859-1"], []),
    "utf8": ("utf-8", ["LocalCharSet=UTF-8"], ["RFC1522codingMethod=Base64"]),
    "sjis": ("shift_jis", ["LocalCharSet=Shift_JIS"], []),
    "jis": ("shift_jis", ["LocalCharSet=ISO-2022-JP"], []),
}
# Words beyond ASCII: short, so that no header line has to be cut (built_deviations.py shows what a cut does).
WORDS = {
    "latin": ["Grüße", "façade", "naïve", "Ärger", "señor"],
    "utf8": ["Grüße", "привет", "日本", "Ελλάδα", "資料"],
    "sjis": ["日本語", "資料", "カタカナ", "ひらがな", "亜熙"],
    "jis": ["日本語", "資料", "カタカナ", "ひらがな", "亜熙"],
}
ASCII_WORDS = ["meeting", "budget", "report", "the", "of", "2026", "x-y_z", "Re:"]
ASCII_NAMES = ["plain.txt", "two words.pdf", 'with "quotes".csv', "back\\slash.bin", "a;b=c.dat", "\\", '"', "long-" + "x" * 150,
               "comma,(paren).txt", "under_score=3D?.txt"]
BIG = 5_000_000


class Leaf:
    """What a leaf was built from."""

    def __init__(self, content_type, data, encoding, name, nested):
        self.type = content_type.lower()
        self.data = data
        self.encoding = encoding
        self.name = name
        self.nested = nested
        self.japanese = False
        self.about = (None, None)  # id and description


def chars(data):
    """Bytes as a job carries them: one character each."""
    return data.decode("latin-1")


class Message:
    """One message: its jobs in the order in which they depend on each other, its leaves in the order of the file."""

    def __init__(self, number, work):
        self._random = random.Random(number)
        self._work = work
        self._files = 0
        self.number = number
        self.site = list(SITES)[number % len(SITES)]
        self.charset = SITES[self.site][0]
        self.jobs = []
        self.leaves = []
        self.header = {}
        self.depth = 0
        self.path = work / f"{number:04}.eml"
        self._build()

    def _build(self):
        header = self._header()
        kind = self._random.random()
        if kind < 0.4:
            self._single(header, 0, self.path)
        elif kind < 0.5:
            self._around(header, 0, self.path)
        else:
            self._multi(header, 0, self.path)

    def _around(self, header, depth, out):
        """The header in front of a part that was built before."""
        part = self._file()
        self._single({}, depth, part)
        del header["bcc"]
        self.header["bcc"] = []
        self.jobs.append({**header, "call": "v2", "body": str(part), "out": str(out)})

    def _file(self, data=None):
        path = self._work / f"{self.number:04}-{self._files}"
        self._files += 1
        if data is not None:
            path.write_bytes(data)
        return path

    def _local(self, text):
        return chars(text.encode(self.charset))

    # --- header

    def _text(self):
        words = self._random.choices(ASCII_WORDS, k=self._random.randint(1, 4))
        if self._random.random() < 0.7:
            words[self._random.randrange(len(words))] = self._random.choice(WORDS[self.site])
        return " ".join(words)

    def _person(self, number):
        # A Japanese phrase is written in raw ISO-2022-JP there, which no reader takes for a phrase.
        words = self._random.choice((WORDS[self.site] if self.site != "jis" else []) + ["Ann", "Bob Q"])
        address = f"u{number}-{'y' * self._random.randint(0, 40)}@example.org"
        form = self._random.random()
        if form < 0.4:
            return "", address, address
        return words, address, f"{words} <{address}>"

    def _header(self):
        subject = self._text()
        if self.site == "jis":  # a subject is not converted there, and must not hold what is none of its charset
            subject = " ".join(self._random.choices(ASCII_WORDS, k=5))
        people = {"to": [], "cc": [], "bcc": []}
        job = {"subject": self._local(subject), "extra": ["X-Number: " + str(self.number)]}
        for field, most in (("to", 8), ("cc", 3), ("bcc", 2)):
            people[field] = [self._person(n) for n in range(self._random.randint(0, most))]
            # An empty list would end the header early.
            if people[field]:
                job[field] = [self._local(text) for _, _, text in people[field]] + [""]
        job.setdefault("bcc", None)
        sender = self._person(99)
        job["from"] = self._local(sender[2])
        self.header = {"subject": subject, "from": [sender[:2]], "to": [p[:2] for p in people["to"]],
                       "cc": [p[:2] for p in people["cc"]], "bcc": [p[:2] for p in people["bcc"]]}
        return job

    # --- content

    def _single(self, header, depth, out):
        if depth > 0 and self._random.random() < 0.1:
            return self._encapsulated(header, depth, out)
        kind = self._random.choice(["base64", "quoted-printable", "binary-qp", "7bit", "x-uue", "x-uuencode"])
        if self.site == "jis" and kind == "7bit":
            return self._japanese(header, depth, out)
        data = self._text_body(kind) if kind in ("quoted-printable", "7bit") else self._random.randbytes(self._size())
        content_type = {"quoted-printable": ("text", self._random.choice(["plain", "html", "x-own"])),
                        "7bit": ("TEXT", "Plain")}.get(kind, ("application", self._random.choice(["pdf", "octet-stream"])))
        name = self._name()
        # A value that begins with a quote loses one pair, so names with their own are given in quotes.
        form = self._random.choice(["name={}", 'name="{}"', 'NAME="{}"']) if name and not name.startswith('"') else 'name="{}"'
        params = ([] if name is None else [form.format(self._local(name))]) + self._random.choice([[], ["x-note=one two"]])
        encoding = "quoted-printable" if kind == "binary-qp" else kind
        job = {**header, "call": "single", "type": content_type[0], "subtype": content_type[1], "params": params,
               "encoding": self._random.choice([encoding, encoding.upper()]), "id": self._random.choice([None, "<id@x.y>"]),
               "description": self._random.choice([None, "", "a text, as given"]), "body": str(self._file(data)), "out": str(out)}
        if encoding == "quoted-printable" and content_type[0] == "text" and self._random.random() < 0.5:
            del job["encoding"]
        self.jobs.append(job)
        self.leaves.append(Leaf("/".join(content_type), data, encoding, name, depth > 0))
        self.leaves[-1].about = (job["id"], job["description"] or None)

    def _japanese(self, header, depth, out):
        words = WORDS["jis"] + ["ASCII", "ABC def"]
        text = "\r\n".join(" ".join(self._random.choices(words, k=self._random.randint(0, 9))) for _ in range(8)) + "\r\n"
        name = self._random.choice(ASCII_NAMES)
        self.jobs.append({**header, "call": "single", "type": "text", "subtype": "plain", "encoding": "7bit",
                          "params": ['charset="ISO-2022-JP"', f'name="{name}"'],
                          "body": str(self._file(text.encode("shift_jis"))), "out": str(out)})
        self.leaves.append(Leaf("text/plain", text, "7bit", name, depth > 0))
        self.leaves[-1].japanese = True

    def _encapsulated(self, header, depth, out):
        """A queued message file, with the envelope lines it begins with, as a message/rfc822 part."""
        inner = self._file()
        self._single({"from": "inner@example.org", "subject": "inside"}, depth, inner)
        queued = self._file()
        self.jobs.append({"call": "prepend", "text": "#F<a@b>\r\n#R<c@d>\r\nMime-version: 1.0\r\n", "body": str(inner),
                          "out": str(queued)})
        self.jobs.append({**header, "call": "single", "type": "message", "subtype": "RFC822", "encoding": "7bit",
                          "body": str(queued), "out": str(out)})

    def _multi(self, header, depth, out):
        self.depth = max(self.depth, depth + 1)
        parts = []
        for _ in range(self._random.randint(1, 4)):
            part = self._file()
            parts.append(str(part))
            if depth < 3 and self._random.random() < 0.25:
                self._multi({}, depth + 1, part)
            else:
                self._single({}, depth + 1, part)
        self.jobs.append({**header, "call": "multi", "parts": parts, "out": str(out),
                          "subtype": self._random.choice([None, "alternative", "x-own"]),
                          "params": self._random.choice([None, ["x-kind=a b"]])})

    def _name(self):
        if self._random.random() < 0.2:
            return None
        if self.site == "jis" or self._random.random() < 0.5:
            return self._random.choice(ASCII_NAMES)
        return self._random.choice(["{}.txt", "two {}.pdf", "{} end"]).format(self._random.choice(WORDS[self.site]))

    def _size(self):
        if self.number % 170 == 7 and not self.leaves:
            return BIG
        return self._random.choice([0, 1, 2, 3, 44, 45, 46, 53, 54, 55, 57, 100, 3000, 4096, 6000, 20000, 65536, 70001])

    def _text_body(self, kind):
        """Text with everything that the encodings treat in a way of its own; what 7bit copies is anything as well."""
        pieces = [b"From here\r\n", b".\r\n", b"..dot\r\n", b"=20 = ==\r\n", b"tab\there\r\n", b"word " * 30 + b"end\r\n",
                  b"x" * 73 + b"\r\n", b"x" * 74 + b"\r\n", b"x" * 73 + b".y\r\n", b"x" * 72 + b"\xfc\xfc\r\n", b"\r\n", b"--\r\n",
                  b"\xe9\x00\x7f\x01\x1b\r\n", b"a\n\nb\n", b"#F not an envelope\r\n", b"plain line\r\n", b"q" * 2000 + b"\r\n"]
        if kind == "quoted-printable":
            pieces += [b"blank \r\n", b"tab\t\r\n", b"bare\rcr\r\n"]
        ends = [b"", b"no end", b"\r\n", b"\n"]
        if self.number % 170 == 11 and not self.leaves:
            return b"".join(self._random.choices(pieces, k=30)) * (BIG // 3000)
        return b"".join(self._random.choices(pieces, k=self._random.choice([0, 1, 5, 40]))) + self._random.choice(ends)
