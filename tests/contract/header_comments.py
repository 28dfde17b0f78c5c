"""Every exported function has its contract above it, in the same six headings.

  header_comments.py INCLUDE
"""
import os
import re
import sys

HEADINGS = ["Shape", "Units", "Owner", "Result", "Thread", "Source"]
DECLARATION = re.compile(r"^(?:QOBAPI|QOBPLATAPI)\s+[^;()]*?\b(\w+)\s*\(", re.MULTILINE)
# Blanked before the search, so that places in the text stay the same.
OTHER_SYSTEM = re.compile(r"#if defined\(_WIN32\).*?#(?:else|endif)", re.DOTALL)


def comment_above(text, at):
    before = text[:at].rstrip()
    if not before.endswith("*/"):
        return ""
    return before[before.rindex("/*"):]


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
                comment = comment_above(text, match.start())
                found = re.findall(r"^ \* (\w+) +", comment, re.MULTILINE)
                if not re.match(r"/\* " + match.group(1) + r"\b", comment):
                    print(f"{name}: {match.group(1)} has no comment that begins with its name")
                    wrong += 1
                elif [h for h in found if h in HEADINGS] != HEADINGS:
                    print(f"{name}: {match.group(1)} lacks a heading or has them in another order: {found}")
                    wrong += 1
    print(f"{functions} functions, {wrong} wrong")
    return 1 if wrong or functions < 10 else 0


sys.exit(main(sys.argv[1]))
