#!/usr/bin/env python3
"""Writes the symbols file of the library package from the version scripts.

  update_symbols.py [--check]     --check: says whether the file is as it would be written

Every public name stands by itself with the release it came with, which is kept from the file as it was; the private node of
the platform library promises nothing and stands as a whole.
"""
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
FILE = os.path.join(HERE, "symbols")
LIBRARIES = (("libqob3xapi.so.1", "src/qob3xapi.map", ()),
             ("libqobplatform.so.1", "src/platform/qobplatform.map", ("QOBPLAT_PRIVATE",)))


def nodes(path):
    with open(os.path.join(ROOT, path), encoding="ascii") as f:
        text = re.sub(r"/\*.*?\*/", "", f.read(), flags=re.DOTALL)
    for node, body in re.findall(r"^(\w+) \{(.*?)^\}", text, re.DOTALL | re.MULTILINE):
        yield node, re.findall(r"^\s+(\w+);", body.split("local:")[0], re.MULTILINE)


def known():
    if not os.path.exists(FILE):
        return {}
    with open(FILE, encoding="ascii") as f:
        return dict(re.findall(r"^ (\S+) (\S+)$", f.read(), re.MULTILINE))


def written(release, since):
    for library, script, private in LIBRARIES:
        yield f"{library} libqob3xapi1 #MINVER#"
        for node, names in nodes(script):
            listed = [f"(symver){node}"] if node in private else [f"{name}@{node}" for name in sorted(names + [node])]
            for name in listed:
                yield f" {name} {since.get(name, release)}"


def main(words):
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="ascii") as f:
        release = re.search(r"project\(\S+ VERSION (\S+)", f.read()).group(1)
    text = "\n".join(written(release, known())) + "\n"
    if "--check" in words:
        with open(FILE, encoding="ascii") as f:
            return 0 if f.read() == text else 1
    with open(FILE, "w", encoding="ascii") as f:
        f.write(text)
    return 0


sys.exit(main(sys.argv[1:]))
