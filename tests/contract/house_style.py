"""What can be said of every file without an opinion: ASCII, no tabs, line ends, a length one can read, no leftovers.
The width of lines is clang-format's affair.

  house_style.py ROOT
"""
import os
import re
import sys

TOPS = ["bench", "cmake", "docs", "examples", "fuzz", "include", "packaging", "src", "tests", "tools"]
KINDS = (".c", ".cc", ".h", ".py", ".cmake", ".map", ".sh", "CMakeLists.txt")
LONGEST_FILE = 600
# Spelled so that this file does not hold them itself.
LEFTOVERS = re.compile(r"\b(TO" r"DO|FIX" r"ME|HA" r"CK)\b")
# Inputs of tests, and words of many languages.
EXEMPT = re.compile(r"^(fuzz/corpus|fuzz/dict|data)/|/golden/|/samples/|^bench/workload_values.cc$|^tests/road/(generated_mail|built_messages|built_deviations)\.py$")


def files(root):
    for top in TOPS:
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                path = os.path.relpath(os.path.join(folder, name), root)
                if name.endswith(KINDS) and not EXEMPT.search(path):
                    yield path


def faults(path, raw):
    if any(byte > 126 or (byte < 32 and byte != 10) for byte in raw):
        yield "holds a byte that is no printable ASCII, or a tab or carriage return"
    text = raw.decode("latin-1")
    if text and not text.endswith("\n"):
        yield "its last line has no line feed"
    lines = text.split("\n")
    if len(lines) > LONGEST_FILE:
        yield f"has {len(lines)} lines: split it by {LONGEST_FILE}"
    for number, line in enumerate(lines, 1):
        if line != line.rstrip():
            yield f"{number}: blanks at the end of the line"
        if LEFTOVERS.search(line):
            yield f"{number}: says that something is not done"
    if path.endswith((".cc", ".c")) and not text.startswith(("//", "/*", "#include", '"""')):
        yield "does not begin by saying what it is for"


def main(root):
    found = count = 0
    for path in files(root):
        count += 1
        with open(os.path.join(root, path), "rb") as f:
            for fault in faults(path, f.read()):
                print(f"{path}: {fault}")
                found += 1
    print(f"{count} files, {found} faults")
    return 1 if found or count < 100 else 0


sys.exit(main(sys.argv[1]))
