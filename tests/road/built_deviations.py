"""What the builders write, by contract, so that a reader cannot get back what was handed in: docs/deviations.md tells why.

Each case is built, and must be read exactly as it says here. `meant` is what a caller had in mind: a reader that gets it back
has the reading AS_MEANT, and one that does so unannounced fails the case.
"""
from built_messages import SITES, chars


class Case:
    """One built message and its readings, GMime's the same as python's unless given.

    A reading names what it speaks of: subject, to, types, names, data, or text, the first body read as ISO-2022-JP.
    """

    def __init__(self, name, site, job, meant, python, gmime=None, body=b"Hello\r\n", inner=None):
        self.name = name
        self.site = site
        self._job = job
        self._body = body
        self._inner = inner
        self._meant = meant
        self._readings = {"python": python, "gmime": python if gmime is None else gmime}

    def jobs(self, work, out):
        body = work / f"case-{self.name}.body"
        body.write_bytes(self._body)
        jobs = []
        parts = []
        for number, part in enumerate(self._inner or []):
            path = str(work / f"case-{self.name}.{number}")
            # A part is built from the body or, as a multipart, from the part before it.
            jobs.append({**self._local(part), "body": str(body), "parts": parts, "out": path})
            parts = [path]
        return jobs + [{"call": "single", "type": "text", "subtype": "plain", "encoding": "7bit", **self._local(self._job),
                        "body": str(body), "parts": parts, "out": str(out)}]

    def _local(self, job):
        def convert(value):
            if isinstance(value, str):
                return chars(value.encode(SITES[self.site][0]))
            return [convert(item) for item in value] if isinstance(value, list) else value
        return {key: convert(value) for key, value in job.items()}

    def check_python(self, message):
        header = message.header()
        return self._check("python", message.leaves, header["subject"],
                           ", ".join(f"{name} <{address}>" if name else address for name, address in header["to"]))

    def check_gmime(self, leaves, header):
        return self._check("gmime", leaves, header[0], header[2] or "")

    def _check(self, reader, leaves, subject, to):
        read = {"subject": subject, "to": to, "types": [leaf.type for leaf in leaves], "names": [leaf.name for leaf in leaves],
                "data": [leaf.data for leaf in leaves], "text": leaves[0].data.decode("iso-2022-jp", errors="replace")}
        as_meant = self._readings[reader] is AS_MEANT
        wanted = self._meant if as_meant else self._readings[reader]
        problems = [f"{reader}: {key} {read[key]!r} for {value!r}" for key, value in wanted.items() if read[key] != value]
        if not as_meant and all(read[key] == value for key, value in self._meant.items()):
            problems.append(f"{reader}: reads what was meant")
        return problems


def named(name):
    return {"params": [f'name="{name}"' if '"' not in name else f"name={name}"]}


AS_MEANT = object()
PART = {"call": "single", "type": "text", "subtype": "plain", "encoding": "7bit"}

CASES = [
    Case("escape-inside-a-word", "latin", named('Jü"x.txt'), {"names": ['Jü"x.txt']}, {"names": ['Jü\\"x.txt']},
         AS_MEANT),
    Case("trail-byte-like-a-backslash", "sjis", named("表.txt"), {"names": ["表.txt"]}, {"names": ["表\\.txt"]},
         {"names": ["表¥.txt"]}),
    Case("blank-before-a-comment", "latin", named("Jü(1).txt"), {"names": ["Jü(1).txt"]}, {"names": ["Jü (1).txt"]}),
    Case("blanks-at-the-end", "latin", {"subject": "Grüße  "}, {"subject": "Grüße  "}, {"subject": "Grüße"}),
    Case("closing-quote-left-out", "latin", {"params": ['name="ab.txt']}, {"names": ["ab.txt"]}, {"names": ["ab.tx"]}),
    Case("escape-cut-in-two", "latin", {"subject": "x" * 31 + " " + "ü" * 20}, {"subject": "x" * 31 + " " + "ü" * 20},
         {"subject": "x" * 31 + " " + "ü" * 9 + "=FC" + "ü" * 10}, AS_MEANT),
    Case("subject-of-a-japanese-site", "jis", {"subject": "日本語"}, {"subject": "日本語"},
         {"subject": "\ufffd\ufffd\ufffd{\ufffd\ufffd"}, {"subject": "???{??"}),
    Case("phrase-of-a-japanese-site", "jis", {"to": ["日本語 <a@b.c>"]}, {"to": "日本語 <a@b.c>"},
         {"to": '"\x1b$BF|K\\\\8l\x1b"'}, {"to": ""}),
    Case("list-without-an-address", "latin", {"to": [""], "subject": "s"}, {"subject": "s"}, {}),
    Case("roman-behind-two-byte-text", "jis", {"params": ["charset=iso-2022-jp"]}, {"text": "亜\\\r\n"}, {"text": "亜¥\r\n"},
         body="亜\\\r\n".encode("shift_jis")),
    Case("kana-at-the-very-beginning", "jis", {"params": ["charset=iso-2022-jp"]}, {"text": "カ亜\r\n"}, {"text": "\ufffd亜\r\n"},
         body="ｶ亜\r\n".encode("shift_jis")),
    Case("line-end-in-a-value", "latin", {"subject": "a\r\nX-Other: b"}, {"subject": "a X-Other: b"}, {"subject": "a"}),
    Case("boundary-of-one-second", "latin", {"call": "multi", "subtype": None, "subject": "s", "same_thread": True},
         {"types": ["text/plain"]}, {"types": ["multipart/mixed", "text/plain"]}, AS_MEANT,
         inner=[PART, {"call": "multi", "same_thread": True}]),
    Case("uuencode-without-header", "latin", {"flags": 1, "encoding": "base64", "subject": "s"},
         {"data": [b"Hello\r\n"]}, {"data": [b"begin 666 unknown.dat \r\n'2&5L;&\\-\"@``\r\n`\r\nend\r\n\r\n"]}),
]
