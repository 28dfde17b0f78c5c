"""Real mail on its whole road: every message below $QOB_TEST_MAIL is parsed and extracted, and compared with other readers.

Of each message there are two forms: as published, and with CR LF line ends. What is checked:
  * the CR LF form through the library against python3's email package, GMime (where installed) and the decoded parts that
    some messages come with: number and types of leaves, every decoded body. A difference must be explained by the rules that
    deviation_table.py lists for that message, and every rule listed must be needed;
  * header blocks, raw parts and ranges against the bytes of the file;
  * the published form through the library: the documented result, the file unchanged, nothing left behind;
  * both forms through qob (parse and extract): the library's leaves and bodies, ranges in the user's own file.

Exit codes: 0 good, 1 failures, 77 no mail to read.
"""
import argparse
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import deviation_rules as rules
from deviation_table import DEVIATIONS
from mail_readers import MESSAGE_NAMES, GMimeReader, Leaf, Library, PythonReader, crlf_form

SKIPPED = 77
DATA_ERROR = 65  # sysexits.h


class Message:
    """One message of the folder, its CR LF form, and where its results go."""

    def __init__(self, path, work):
        self.path = path
        self.name = path.name
        self.published = path.read_bytes()
        self.crlf = crlf_form(self.published)
        self.crlf_path = work / "message.eml"
        self.crlf_path.write_bytes(self.crlf)
        self.directories = {}
        for form in ("crlf", "published"):
            self.directories[form] = work / form
            self.directories[form].mkdir()
        self.trees = {}


class Report:
    def __init__(self):
        self.failures = 0

    def fail(self, message, what):
        self.failures += 1
        print(f"FAILED {message.name}: {what}")


def find_messages(folder, work):
    names = [p for p in sorted(folder.rglob("*")) if p.is_file() and MESSAGE_NAMES.match(p.name)]
    messages = []
    for number, path in enumerate(names):
        place = work / f"{number:04}"
        place.mkdir()
        messages.append(Message(path, place))
    return messages


# --- the library ---------------------------------------------------------------------------------------------------------

def check_files(message, tree, report):
    """Ranges, raw parts, header blocks and the text less its embedded blocks, against the bytes of the file."""
    for part in tree.parts:
        if not 0 <= part.start <= part.body <= part.end <= len(tree.message):
            report.fail(message, f"{part}: ranges out of order")
        if part.file(".raw") != tree.message[part.start:part.end]:
            report.fail(message, f"{part}: the raw part is not the range of the file")
        cut, at = b"", part.body
        for child in (tree.parts[c] for c in part.children if tree.parts[c].embedded and part.main in ("", "text")):
            cut, at = cut + tree.message[at:child.body], child.end
        wanted = cut + tree.message[at:part.end] if part.end > part.body else None
        if part.main in ("", "text") and part.file(".text") != wanted:
            report.fail(message, f"{part}: the text without its embedded blocks is wrong")
        # A line is written before it is asked whether the body begins behind it: a part without header gives its first line.
        header = part.header_bytes or tree.message[part.start:].partition(b"\n")[0] + b"\n"
        if b"=?" not in header and part.start < part.end and part.file(".header") != header:
            report.fail(message, f"{part}: the header block is not that of the file")
    for part in tree.closed_by_end:
        if part.end != len(tree.message) or part.role == 2:
            report.fail(message, f"{part}: nobody's child, yet the end of the file does not close it")


def check_readers(message, tree, readers, report, learn):
    listed = DEVIATIONS.get(message.name, {})
    for reader in readers:
        allowed = set(listed.get(reader.name, ()))
        try:
            used = rules.explain(tree, reader.leaves(message.crlf), reader, None if learn else allowed)
        except rules.Unexplained as difference:
            report.fail(message, f"{reader.name}: unexplained: {difference}")
            continue
        if learn and used:
            print(f"LEARNT {message.name} {reader.name} {sorted(used)}")
        elif used != allowed:
            report.fail(message, f"{reader.name}: listed but not needed: {sorted(allowed - used)}")


def check_decoded_parts(message, tree, report, learn):
    """The decoded parts that lie beside some messages, as "<message>_decoded_<path>.txt"."""
    listed = DEVIATIONS.get(message.name, {}).get("decoded", {})
    for path in sorted(message.path.parent.glob(f"{message.path.stem}_decoded_*.txt")):
        number = path.stem.rpartition("_decoded_")[2]
        part = tree.paths().get(number)
        used = rules.explain_decoded(part, path.read_bytes(), tree) if part is not None else None
        if learn and used:
            print(f"LEARNT {message.name} decoded:{number} {used}")
        elif used != listed.get(number, []):
            report.fail(message, f"differs from {path.name} by {used}, listed is {listed.get(number, [])}")


def mixed_line_ends(message):
    """Begins with CR LF lines, yet bare line feeds stand in it: nothing brings such a file to CR LF."""
    return message.published != message.crlf and b"\r\n" in message.published.split(b"\n")[0] + b"\n"


def first_empty_line(data):
    """The position behind the first line that is CR LF alone; the size where there is none."""
    match = re.search(rb"(?:\A|\n)\r\n", data)
    return match.end() if match else len(data)


def check_published_form(message, tree, crlf_tree, report):
    """Only CR LF is an empty line: without it the whole file is one header block with an empty body."""
    if hashlib.sha256(message.path.read_bytes()).digest() != hashlib.sha256(message.published).digest():
        report.fail(message, "the file was changed")
    if message.published == message.crlf:
        if [(p.type, p.data) for p in tree.parts] != [(p.type, p.data) for p in crlf_tree.parts]:
            report.fail(message, "parsed twice with different results")
    elif b"\r\n" not in message.published:
        size = len(message.published)
        one = tree.count == 1 and (tree.parts[0].start, tree.parts[0].body, tree.parts[0].end) == (0, size, size)
        without_subtype = tree.count == -1 and "Missing subtype." in "".join(tree.failures)
        if not (one and tree.parts[0].data == b"") and not without_subtype:
            report.fail(message, f"published form: {tree.count} parts: {tree.parts}")
    elif DEVIATIONS.get(message.name, {}).get("published") != ["bare-line-feeds-among-crlf"]:
        report.fail(message, "published form: mixed line ends that the table does not list")
    elif not tree.parts or tree.parts[0].body != first_empty_line(message.published):
        report.fail(message, f"published form: the header does not end at the first CR LF line: {tree.parts}")
    check_files(message, tree, report)


# --- qob -----------------------------------------------------------------------------------------------------------------

class Qob:
    def __init__(self, program, work):
        self._program = program
        self._temporary = work / "qob-tmp"
        self._temporary.mkdir()
        self._environment = dict(os.environ, TMPDIR=str(self._temporary))
        self._environment.pop("QOB_CONFIG_DIR", None)

    def run(self, *arguments):
        result = subprocess.run([self._program, *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                env=self._environment, check=False)
        if list(self._temporary.iterdir()):
            raise AssertionError(f"qob {arguments[0]} left files in TMPDIR")
        lines = [json.loads(line) for line in result.stdout.splitlines()]
        return result.returncode, lines, result.stderr.decode(errors="replace")


def lower(text):
    return (text or "").lower()


def check_qob(message, form, path, data, tree, qob, work, report):
    """What qob says of one form: the library's parts of the CR LF form, ranges in the given file, the same bodies."""
    code, lines, errors = qob.run("parse", "--json", path)
    foreign = DEVIATIONS.get(message.name, {}).get("qob") == ["no-header-field"]
    if foreign and rules.HEADER_LINE.match(data):
        report.fail(message, "begins with a header field, whatever the table says")
    if tree.count == -1 or foreign:
        if code != DATA_ERROR or lines or str(path) not in errors:
            report.fail(message, f"qob parse, {form}: exit code {code}, {errors!r}")
        return
    if code != 0 or len(lines) != 1:
        report.fail(message, f"qob parse, {form}: exit code {code}, {len(lines)} messages, {errors!r}")
        return
    rows = lines[0]["parts"]
    ours = [(p.main, p.type, p.encoding) for p in tree.parts]
    theirs = [(lower(r["type"]), f"{lower(r['type'])}/{lower(r['subtype'])}" if r["type"] is not None else None,
               lower(r["encoding"])) for r in rows]
    if ours != theirs:
        report.fail(message, f"qob parse, {form}: other parts: {theirs} for {ours}")
        return
    for part, row in zip(tree.parts, rows):
        for begin, end in (("start", "body"), ("body", "end")):
            mine = tree.message[getattr(part, begin):getattr(part, end)]
            if data[row[begin]:row[end]] != mine and crlf_form(data[row[begin]:row[end]]) != mine:
                report.fail(message, f"qob parse, {form}: part {part.index}: {begin} to {end} is another range of the file")
    check_qob_extract(message, form, path, tree, rows, qob, work, report)


def check_qob_extract(message, form, path, tree, rows, qob, work, report):
    output = work / f"qob-{form}"
    output.mkdir()
    code, lines, errors = qob.run("extract", "--json", path, "-o", output)
    if code != 0:
        report.fail(message, f"qob extract, {form}: exit code {code}, {errors!r}")
        return
    given = {line["part"]: line for line in lines}
    for part, row in zip(tree.parts, rows):
        # Behind an embedded block of a plain message stands a text, which may be empty and is then no file.
        rest = not tree.mime and part.index > 0 and part.type is None and part.body == part.end
        if row["container"] or rest:
            if part.index in given:
                report.fail(message, f"qob extract, {form}: part {part.index} has no body of its own, yet was extracted")
            continue
        blocks = any(tree.parts[c].embedded for c in part.children)
        wanted = part.file(".text") if blocks and part.encoding in rules.IDENTITY else part.data
        line = given.get(part.index)
        file = pathlib.Path(line["path"]) if line else None
        if file is None or output.resolve() not in file.resolve().parents or file.read_bytes() != wanted:
            report.fail(message, f"qob extract, {form}: part {part.index} is not the library's body")
        elif line["size"] != len(wanted):
            report.fail(message, f"qob extract, {form}: part {part.index} has another size")


# --- the run -------------------------------------------------------------------------------------------------------------

def check_documents(source, report_names):
    """Every rule in use stands in docs/deviations.md."""
    text = (source / "docs" / "deviations.md").read_text()
    return sorted(name for name in report_names if f"`{name}`" not in text)


def rules_in_use():
    names = set()
    for listed in DEVIATIONS.values():
        for key, value in listed.items():
            for group in value.values() if key == "decoded" else [value]:
                names.update(group)
    return names


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--dump", required=True, help="the message_dump program")
    parser.add_argument("--peer", help="the peer_dump program, where GMime is installed")
    parser.add_argument("--qob", help="the qob program")
    parser.add_argument("--source", type=pathlib.Path, required=True, help="the source tree, for docs/deviations.md")
    parser.add_argument("--learn", action="store_true", help="print the rules needed instead of holding to the table")
    arguments = parser.parse_args()

    folder = os.environ.get("QOB_TEST_MAIL", "")
    if not folder:
        print("SKIPPED: QOB_TEST_MAIL is not set: no real mail was read. Set it to a folder of messages to run this test.")
        return SKIPPED
    report = Report()
    with tempfile.TemporaryDirectory(prefix="qobroad-") as name:
        work = pathlib.Path(name)
        messages = find_messages(pathlib.Path(folder), work)
        if not messages:
            print(f"FAILED: no message below {folder}")
            return 1
        library = Library(arguments.dump, work)
        readers = [PythonReader()] + ([GMimeReader(arguments.peer, work)] if arguments.peer else [])
        qob = Qob(arguments.qob, work) if arguments.qob else None
        for form in ("crlf", "published"):
            paths = [(m.crlf_path if form == "crlf" else m.path, m.directories[form]) for m in messages]
            for message, tree in zip(messages, library.parse(paths)):
                message.trees[form] = tree
        for message in messages:
            tree = message.trees["crlf"]
            check_files(message, tree, report)
            check_readers(message, tree, readers, report, arguments.learn)
            check_decoded_parts(message, tree, report, arguments.learn)
            check_published_form(message, message.trees["published"], tree, report)
            if qob is not None:
                place = message.crlf_path.parent
                check_qob(message, "crlf", message.crlf_path, message.crlf, tree, qob, place, report)
                expected = message.trees["published"] if mixed_line_ends(message) else tree
                check_qob(message, "published", message.path, message.published, expected, qob, place, report)
        for file in library.left_behind():
            print(f"FAILED: the library left {file} in its temporary directory")
            report.failures += 1
    for rule in check_documents(arguments.source, rules_in_use()):
        print(f"FAILED: docs/deviations.md does not tell of the rule {rule}")
        report.failures += 1
    leaves = sum(len(m.trees["crlf"].leaves) for m in messages)
    print(f"{len(messages)} messages, {leaves} leaves, readers: {', '.join(r.name for r in readers)}"
          f"{'' if qob else ', no qob'}{'' if arguments.peer else ', no GMime'}: {report.failures} failures")
    return 1 if report.failures else 0


if __name__ == "__main__":
    sys.exit(main())
