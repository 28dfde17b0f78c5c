"""Every exported function has its contract above it, in the same six headings.

  header_comments.py INCLUDE
"""
import os
import re
import sys

HEADINGS = ["Shape", "Units", "Owner", "Result", "Thread", "Source"]
DECLARATION = re.compile(r"^(?:QOBAPI|QOBPLATAPI)\s+[^;()]*?\b(\w+)\s*\(", re.MULTILINE)
CLASS = re.compile(r"^class QOBPLATAPI (\w+) \{(.*?)^\};", re.MULTILINE | re.DOTALL)
MEMBER = re.compile(r"^    [^\n;{}()*/]*?(~?\b\w+)\([^()]*\)\s*(?:const\s*)?;", re.MULTILINE)
# Blanked before the search, so that places in the text stay the same.
OTHER_SYSTEM = re.compile(r"#if defined\(_WIN32\).*?#(?:else|endif)", re.DOTALL)


def comment_above(text, at):
    before = text[:at].rstrip()
    if not before.endswith("*/"):
        return ""
    return before[before.rindex("/*"):]


def judge(name, function, comment):
    """1 when the comment is not the function's contract."""
    found = re.findall(r"^ *\* (\w+) +", comment, re.MULTILINE)
    if not re.match(r"/\* " + re.escape(function) + r"\b", comment):
        print(f"{name}: {function} has no comment that begins with its name")
        return 1
    if [h for h in found if h in HEADINGS] != HEADINGS:
        print(f"{name}: {function} lacks a heading or has them in another order: {found}")
        return 1
    return 0


def judge_classes(name, text):
    """Functions and wrong ones. What begins and ends an object may be told above its class."""
    functions = wrong = 0
    for match in CLASS.finditer(text):
        told = comment_above(text, match.start())
        public = re.split(r"^(?:protected|private):", match.group(2), flags=re.MULTILINE)[0]
        for member in MEMBER.finditer(public):
            functions += 1
            function = member.group(1)
            about_life = function.lstrip("~") == match.group(1) and all(h in told for h in HEADINGS)
            if not about_life:
                wrong += judge(name, function, comment_above(public, member.start()))
    return functions, wrong


def main(include):
    wrong = functions = 0
    for family in ("qob3xapi", "qobplatform"):
        for name in sorted(os.listdir(os.path.join(include, family))):
            with open(os.path.join(include, family, name), encoding="ascii") as f:
                text = f.read()
            if not text.startswith("/*"):
                print(f"{name}: does not say at its head what it is for")
                wrong += 1
            for match in DECLARATION.finditer(OTHER_SYSTEM.sub(lambda m: " " * len(m.group(0)), text)):
                functions += 1
                wrong += judge(name, match.group(1), comment_above(text, match.start()))
            of_classes = judge_classes(name, text)
            functions += of_classes[0]
            wrong += of_classes[1]
    print(f"{functions} functions, {wrong} wrong")
    return 1 if wrong or functions < 10 else 0


sys.exit(main(sys.argv[1]))
