"""Compares both Japanese conversions with nkf and iconv(3) and writes docs/japanese-differences.md, or checks it.

All pairs of both codes, half-width katakana before anything, texts with every kind of escape sequence, and texts cut behind every
byte. Each difference must belong to a rule below, which tests its claim on the bytes; one that does not fails the run, and so
does a document that says something else than what was found.
"""
import argparse
import ctypes
import pathlib
import re
import shutil
import subprocess
import sys

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs" / "japanese-differences.md"
VERSIONS = "nkf 2.1.5, glibc 2.36"
ESC = b"\x1b"
IN, OUT = ESC + b"$B", ESC + b"(B"
REFUSED = None
NKF = {"decode": "-J -s -x", "repair": "-J -B -s -x", "encode": "-S -j -oJ -X"}
CHARSETS = {"decode": ("ISO-2022-JP", "SHIFT_JIS"), "repair": ("ISO-2022-JP", "SHIFT_JIS"), "encode": ("SHIFT_JIS", "ISO-2022-JP")}


class Ours:
    def __init__(self, program):
        self._program = program

    def convert(self, operation, texts):
        lines = "".join(f"{operation} {text.hex()}\n" for text in texts)
        result = subprocess.run([self._program], input=lines.encode(), stdout=subprocess.PIPE, check=True)
        answers = result.stdout.decode().split("\n")[:-1]
        assert len(answers) == len(texts), "fewer answers than texts"
        return [bytes.fromhex(answer) for answer in answers]


def nkf(operation, text):
    return subprocess.run(["nkf", *NKF[operation].split()], input=text, stdout=subprocess.PIPE, check=True).stdout


def nkf_lines(operation, texts):
    """Texts without line ends, in one run."""
    lines = nkf(operation, b"".join(text + b"\n" for text in texts)).split(b"\n")
    assert len(lines) == len(texts) + 1, "nkf lost a line"
    return lines[:-1]


class Iconv:
    """iconv(3); None for a text that it refuses. Its ESC ( B is taken for our ESC ( J."""

    def __init__(self, operation, charsets=None):
        source, target = charsets or CHARSETS[operation]
        self._library = ctypes.CDLL(None)
        self._library.iconv_open.restype = ctypes.c_void_p
        self._library.iconv.restype = ctypes.c_size_t
        self._library.iconv.argtypes = [ctypes.c_void_p] * 5
        self._converter = self._library.iconv_open(target.encode(), source.encode())
        self._encode = operation == "encode"

    def convert(self, text):
        source = ctypes.create_string_buffer(text, len(text) or 1)
        room = 4 * len(text) + 32
        target = ctypes.create_string_buffer(room)
        places = [ctypes.c_void_p(ctypes.addressof(source)), ctypes.c_size_t(len(text)),
                  ctypes.c_void_p(ctypes.addressof(target)), ctypes.c_size_t(room)]
        pointers = [ctypes.byref(place) for place in places]
        self._library.iconv(self._converter, None, None, None, None)
        if self._library.iconv(self._converter, *pointers) != 0:
            return REFUSED
        self._library.iconv(self._converter, None, None, pointers[2], pointers[3])
        result = target.raw[:room - places[3].value]
        return result.replace(OUT, ESC + b"(J") if self._encode else result


# --- the rules: (operation, text, ours, theirs) -> the claim holds

SOUND = rb"(?:[\x00-\x7f\xa1-\xdf]|[\x81-\x9f\xe0-\xef][\x40-\xfc])*"


def ends_within_a_pair(operation, text):
    """A first byte of a pair stands at the end, and nothing else is wrong."""
    if operation == "encode":
        return re.fullmatch(SOUND + rb"[\x81-\x9f\xe0-\xef]", text)
    return re.search(rb"\x1b\$[B@](?:[!-~]{2}|\r\n)*[!-~]$", text)


def is_sound(operation, text):
    return re.fullmatch(SOUND, text) if operation == "encode" else text.isascii()


RULES = {
    "cut escape": ("An escape sequence that the end of the text cuts is dropped; nkf keeps a lone ESC, iconv refuses.",
                   lambda op, text, ours, theirs: re.search(rb"\x1b[$(]?$", text) and theirs in (ours + ESC, REFUSED)),
    "half a pair": ("The first byte of a pair that the end cuts is kept; nkf drops it, iconv refuses.",
                    lambda op, text, ours, theirs: ends_within_a_pair(op, text) and theirs in (ours[:-1], REFUSED)
                    and ours.endswith(text[-1:])),
    "last katakana": ("A half-width katakana as the very last byte behind two-byte text stays as it is; nkf converts it.",
                      lambda op, text, ours, theirs: op == "encode" and 0xA1 <= text[-1] <= 0xDF
                      and ours.endswith(text[-1:]) and theirs is not REFUSED and theirs[:len(ours) - 4] == ours[:-4]),
    "first katakana": ("A half-width katakana as the very first byte stays as it is; nkf converts it.",
                       lambda op, text, ours, theirs: op == "encode" and theirs is not REFUSED
                       and 0xA1 <= text[0] <= 0xDF and ours[:1] == text[:1]),
    "no katakana": ("iconv's ISO-2022-JP refuses half-width katakana.",
                    lambda op, text, ours, theirs: op == "encode" and theirs is REFUSED and is_sound(op, text)
                    and any(len(c) == 1 and c > b"\x80" for c in re.findall(SOUND[:-1], text))),
    "line end": ("A CR that ends the text gets its LF; the others leave it.",
                 lambda op, text, ours, theirs: text.endswith(b"\r") and theirs == ours[:-1]),
    "invalid byte": ("A byte that is no character stays as it is (or is replaced by the mark that is set); nkf drops it, often with "
                     "what follows, iconv refuses.",
                     lambda op, text, ours, theirs: not is_sound(op, text) and (theirs is REFUSED or len(theirs) < len(ours))),
    "beyond the table": ("A pair in the code's range is converted by arithmetic; iconv refuses pairs without a character.",
                         lambda op, text, ours, theirs: op == "encode" and theirs is REFUSED and is_sound(op, text)),
    "0xA0": ("0xA0 is no katakana to us; nkf writes it as one in ESC ( I.",
             lambda op, text, ours, theirs: b"\xa0" in text and ESC + b"(I" in theirs),
    "no row": ("Lead bytes from F0 on belong to no row and stay; nkf maps FA to FC to their doubles in ED and EE.",
               lambda op, text, ours, theirs: text[0] >= 0xF0 and ours == text),
    "other escape": ("An escape sequence of another set is dropped with its letter, and what it switched to is read as single "
                     "bytes; nkf knows katakana (ESC ( I, SO) and drops JIS X 0212, iconv passes it through.",
                     lambda op, text, ours, theirs: re.search(rb"\x1b[^$(]|\x1b\([^BJ]|\x1b\$[^B@]|\x0e", text)),
    "repair": ("$B ... (B without escape characters is converted; nkf -B mends a lost ESC before (B alone, also behind a "
               "whole ESC $ B, where ( B is a pair to us; iconv mends nothing.",
               lambda op, text, ours, theirs: op == "repair" and re.search(rb"(?<!\x1b)(\$[B@]|\([BJ])", text)),
}


def rule_of(operation, text, ours, theirs):
    return next((name for name, (_, holds) in RULES.items() if holds(operation, text, ours, theirs)), None)


# --- what is compared

JIS_PAIRS = [bytes((row, cell)) for row in range(0x21, 0x7F) for cell in range(0x21, 0x7F)]
LEADS = [*range(0x81, 0xA0), *range(0xE0, 0xF0)]
SHIFT_JIS_PAIRS = [bytes((lead, trail)) for lead in LEADS for trail in range(0x40, 0xFD)]
FOLLOWERS = [b"", *[bytes((c,)) for c in [*range(0x20, 0x7F), *range(0xA1, 0xE0)]], b"\x88\x9f"]
KATAKANA = [b"a" + bytes((kana,)) + follower for kana in range(0xA1, 0xE0) for follower in FOLLOWERS]
CUT = {"decode": [b'ab\x1b$B0!0"\x1b(Bcd\r\n', b"ab\x1b$@0!\x1b(Jcd\r\n", b'\x1b$B0!\r\n0"\x1b(B\r\n'],
       "encode": [b"a\x88\x9f\xb6\xde\xca\xdf\xb1\x88\x9fb\r\n", b"\x88\x9f\xb3\xde\r\n"]}
TEXTS = {
    "decode": [b"\x1b$B\x1b(Ba\r\n", b"\x1bNab\r\n", b"\x1b(Ia\r\n", b"\x1b(I1\x1b(B\r\n", b"\x1b$(D0!\x1b(B\r\n",
               b"\x1b$A0!\x1b(B\r\n", b"\x1b(H\\~\r\n", b"\x1b(J\\~\r\n", b'\x1b$B0! 0"\x1b(B\r\n', b'\x1b$B0!\x800"\x1b(B\r\n',
               b"\x1b$B0!\r\nabcd\r\n", b"a\nb\r\nc\rd\r", b"a\0b", b"\x88\x9f\r\n", b"\xb6\r\n",
               b'\x1b$B0!\x1b$B0"\x1b(B\r\n', b"\x1b&@\x1b$B0!\x1b(B\r\n", b"\x0e1\x0f\r\n"],
    "repair": [b"$B0!(B\r\n", b"$@0!(J\r\n", b"$B0!(((B\r\n", b"$B%((B\r\n", b"$B0!\x1b(B\r\n", b"\x1b$B0!(B\r\n",
               b"$Bill (Boo)\r\n", b"$B0!\r\n", b"$B(B\r\n"],
    "encode": [b"\x88\x9fa\r\n", b"\xb6\xde\r\n", b"a\xb6\xde\r\n", b"a\xca\xdf\r\n", b"a\xb3\xde\r\n", b"a\xb6\xb1\r\n",
               b"a\xb6\xb1", b"a\xb6", b"\x88\x9f\x88\x9f\r\n", b"\x81", b"\x81\r\n", b"a\xff\x88\x9f\r\n", b"a\x80b\r\n",
               b"a\xa0b\r\n", b"a\xfdb\r\n", b"\xf0\x40\r\n", b"\xfa\x40\r\n", b"\x88 a\r\n", b"a\xb1\x88\x9f\xb1\r\n", b"a\0b",
               b"\x87\x40\r\n", b"\xed\x40\r\n", b"\x88\x9f\xb6"],
}


def shown(text):
    if text is REFUSED:
        return "refused"
    if not text:
        return "nothing"
    names = {0x1B: "ESC", 0x0D: "CR", 0x0A: "LF", 0x20: "SP"}
    return " ".join(names.get(c) or (chr(c) if 0x21 <= c <= 0x7E and c not in b"|`" else f"{c:02X}") for c in text)


class Comparison:
    def __init__(self, program):
        self._ours = Ours(program)
        self._used = set()
        self.lines = []
        self.unexplained = []

    def say(self, *lines):
        self.lines += lines

    def pairs(self):
        """Every pair of both codes."""
        self.say("## Every pair", "", "| Direction | Pairs | Beside | The same | Refused there | Other |", "|---|---|---|---|---|---|")
        jis = [IN + pair + OUT for pair in JIS_PAIRS]
        ours = self._ours.convert("decode", jis)
        moved = self.count("JIS to Shift-JIS", "nkf", JIS_PAIRS, ours, nkf_lines("decode", jis))
        iconv = Iconv("decode")
        none = self.count("JIS to Shift-JIS", "iconv", JIS_PAIRS, ours, [iconv.convert(text) for text in jis])
        ours = self._ours.convert("encode", SHIFT_JIS_PAIRS)
        none += self.count("Shift-JIS to JIS", "nkf", SHIFT_JIS_PAIRS, ours, nkf_lines("encode", SHIFT_JIS_PAIRS))
        for charset in ("SHIFT_JIS", "CP932"):
            iconv = Iconv("encode", (charset, "ISO-2022-JP"))
            found = self.count("Shift-JIS to JIS", f"iconv ({charset})", SHIFT_JIS_PAIRS, ours,
                               [iconv.convert(text) for text in SHIFT_JIS_PAIRS])
            none += [] if charset == "CP932" else found
            doubles = found
        rows = sorted({pair[0] for pair, _, _ in moved})
        if rows != [0x79, 0x7A, 0x7B, 0x7C] or any(theirs[0] not in (0xFA, 0xFB, 0xFC, 0x81) for _, _, theirs in moved):
            self.unexplained.append(f"nkf differs in the rows {rows}")
        if any(pair[0] != 0x87 or theirs is REFUSED or theirs[3] != 0x22 for pair, _, theirs in doubles):
            self.unexplained.append("CP932 differs beyond the doubles of row 13")
        self.unexplained += [f"{pair.hex()}: {ours.hex()} for {theirs.hex()}" for pair, ours, theirs in none]
        self.say("", "- All 6,879 characters of JIS X 0208 are the same everywhere. Where iconv refuses, the pair has no character in the",
                 "  standard; we convert it by arithmetic, as nkf does, so that extensions of a vendor survive the way there and back.",
                 f"- The {len(moved)} others of nkf are the rows 79 to 7C (a vendor's selection of extended kanji), which it moves to their",
                 "  doubles in FA to FC and to row 22; we keep each code where it is.",
                 f"- The {len(doubles)} others of CP932 are characters of row 13 that stand in row 22, too ("
                 + ", ".join(pair.hex().upper() for pair, _, _ in doubles) + "):",
                 "  that converter writes the one in row 22.", "")

    def count(self, direction, beside, pairs, ours, theirs):
        other = [(pair, a, b) for pair, a, b in zip(pairs, ours, theirs) if b is not REFUSED and a != b]
        same = sum(a == b for a, b in zip(ours, theirs))
        self.say(f"| {direction} | {len(pairs):,} | {beside} | {same:,} | {theirs.count(REFUSED):,} | {len(other):,} |")
        return other

    def katakana(self):
        texts = [text + b"\n" for text in KATAKANA]
        ours = self._ours.convert("encode", texts)
        theirs = [line + b"\n" for line in nkf_lines("encode", KATAKANA)]
        differing = [text for text, a, b in zip(texts, ours, theirs) if a != b]
        self.unexplained += [f"katakana {text.hex()}" for text in differing]
        self.say("## Half-width katakana", "",
                 f"Each of the 63, behind an `a` and before nothing, before every ASCII character, every half-width katakana (sound marks",
                 f"among them) and a kanji, then a line end: {len(texts):,} texts, {len(differing)} of them differ from nkf. iconv's ISO-2022-JP",
                 "refuses all of them.", "")

    def texts(self, title, operation, texts):
        """A table of the texts that differ; the others are counted."""
        iconv = Iconv(operation)
        same = 0
        rows = []
        for text, ours in zip(texts, self._ours.convert(operation, texts)):
            cells = []
            rules = []
            for theirs in (nkf(operation, text), iconv.convert(text)):
                if theirs == ours:
                    cells.append("same")
                    continue
                cells.append(shown(theirs) if theirs is REFUSED else f"`{shown(theirs)}`")
                rule = rule_of(operation, text, ours, theirs)
                if rule is None:
                    self.unexplained.append(f"{operation} {shown(text)}: {shown(ours)} for {shown(theirs)}")
                elif rule not in rules:
                    rules.append(rule)
            self._used.update(rules)
            same += not rules
            if rules:
                rows.append(f"| `{shown(text)}` | `{shown(ours)}` | {cells[0]} | {cells[1]} | {', '.join(rules)} |")
        self.say(f"### {title}", "", f"{len(texts)} texts, {same} the same for all.", "")
        if rows:
            self.say("| Text | We write | nkf | iconv | Rules |", "|---|---|---|---|---|", *rows, "")

    def run(self):
        self.say("# Where JIS conversion differs from nkf and iconv", "",
                 "Made by `tests/charset/japanese_compare.py` from what the conversions really give; a test makes it anew and compares.",
                 f"The others are those of Debian 12 ({VERSIONS}): nkf with `{NKF['decode']}`, `{NKF['encode']}` and",
                 f"`{NKF['repair']}`, iconv(3) between ISO-2022-JP and SHIFT_JIS; its `ESC ( B` at the end of two-byte text counts as our",
                 "`ESC ( J`. How a text is cut into lines of 1,024 bytes and blocks makes no difference to us: `tests/charset/",
                 "japanese_border_test.cc` moves every text of its table over every border, byte by byte.", "")
        self.pairs()
        self.katakana()
        self.say("## Escape sequences, damage and invalid bytes", "")
        rules_at = len(self.lines)
        self.texts("JIS to Shift-JIS", "decode", TEXTS["decode"])
        self.texts("JIS to Shift-JIS with the repair", "repair", TEXTS["repair"])
        self.texts("Shift-JIS to JIS", "encode", TEXTS["encode"])
        self.say("## Texts cut behind every byte", "")
        for operation, title in (("decode", "JIS to Shift-JIS"), ("encode", "Shift-JIS to JIS")):
            cut = [text[:end] for text in CUT[operation] for end in range(1, len(text) + 1)]
            self.texts(title + ", cut", operation, list(dict.fromkeys(cut)))
        listed = ["| Rule | |", "|---|---|"] + [f"| {name} | {why} |" for name, (why, _) in RULES.items() if name in self._used]
        self.lines[rules_at:rules_at] = listed + [""]
        self.unexplained += [f"the rule \"{name}\" is not needed" for name in RULES if name not in self._used]
        return "\n".join(self.lines).rstrip("\n") + "\n"


def installed():
    """The versions of the peers as VERSIONS writes them, or None."""
    if shutil.which("nkf") is None:
        return None
    first = subprocess.run(["nkf", "--version"], stdout=subprocess.PIPE, check=True).stdout.decode()
    library = ctypes.CDLL(None)
    if not hasattr(library, "gnu_get_libc_version"):
        return None
    library.gnu_get_libc_version.restype = ctypes.c_char_p
    return f"nkf {re.search(r'Version ([0-9.]+)', first).group(1)}, glibc {library.gnu_get_libc_version().decode()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--convert", required=True, help="the japanese_convert program")
    parser.add_argument("--write", action="store_true", help="write the document instead of checking it")
    arguments = parser.parse_args()
    if installed() != VERSIONS:
        print(f"skipped: the document is of {VERSIONS}, here is {installed()}")
        return 77
    comparison = Comparison(arguments.convert)
    document = comparison.run()
    for problem in comparison.unexplained:
        print("UNEXPLAINED", problem)
    if arguments.write:
        DOCUMENT.write_text(document)
    same = DOCUMENT.exists() and DOCUMENT.read_text() == document
    print("docs/japanese-differences.md", "says what was found" if same else "says something else: run this with --write")
    return 0 if same and not comparison.unexplained else 1


if __name__ == "__main__":
    sys.exit(main())
