"""The built library exports exactly what its headers declare, and the version script says the same.

  exports.py --compiler CXX --include DIR --headers FOLDER --lib FILE --map FILE --node NAME [--hidden NAME]
             [--private NODE NAMESPACE] [--umbrella HEADER]

--hidden names a symbol that is exported under its node but that no link picks up by default; no header declares it.
--private allows a second node whose names all lie in that C++ namespace.
"""
import argparse
import os
import re
import subprocess
import sys


def run(*command, text=None):
    return subprocess.run(command, input=text, capture_output=True, check=True, text=True).stdout


def demangle(names):
    """The function's bare name of each, parameters cut off."""
    if not names:
        return []
    plain = run("c++filt", text="\n".join(names)).splitlines()
    return [re.sub(r"\(.*", "", name) for name in plain]


MARK = r'__attribute__\(\(visibility\("default"\)\)\)'


def members(name, body):
    """What a class exports: every function but the pure and the deleted ones, and the tables of one with virtual functions."""
    functions = re.findall(r"(~?\b\w+)\s*\([^()]*\)\s*(?:const\s*)?;", body)
    names = {f"{name}::{function}" for function in functions}
    if "virtual" in body:
        names |= {f"{table} for {name}" for table in ("vtable", "typeinfo", "typeinfo name")}
    return sorted(names)


def declared(compiler, include, headers):
    text = "".join(f"#include <{h}>\n" for h in headers)
    flat = run(compiler, "-std=c++20", "-x", "c++", "-E", "-P", "-I", include, "-", text=text)
    classes = re.findall(rf"\bclass\s+{MARK}\s+(\w+)\s*\{{(.*?)^\}};", flat, re.DOTALL | re.MULTILINE)
    names = re.findall(rf"{MARK}\s+[^;{{}}()]*?\b(\w+)\s*\(", flat)
    if len(names) + len(classes) != len(re.findall(MARK, flat)):
        sys.exit("a marked declaration was not understood")
    return names + [member for name, body in classes for member in members(name, body)]


def exported(lib):
    """(name, version, default) of each defined dynamic symbol; (node, None, None) for the nodes themselves."""
    symbols = []
    for line in run("nm", "-D", "--defined-only", "--with-symbol-versions", lib).splitlines():
        parts = line.split()
        name, _, version = parts[-1].partition("@")
        if parts[-2] == "A" and name == version.lstrip("@"):
            continue
        if parts[-2] == "A" and not version:
            continue
        symbols.append((name, version.lstrip("@"), version.startswith("@")))
    return symbols


def listed(path, node):
    with open(path, encoding="ascii") as f:
        text = re.sub(r"/\*.*?\*/", "", f.read(), flags=re.DOTALL)
    block = re.search(re.escape(node) + r"\s*\{\s*global:(.*?)local:", text, re.DOTALL).group(1)
    return [name.strip() for name in block.split(";") if name.strip()]


def show(title, names):
    for name in sorted(names):
        print(f"{title}: {name}")
    return len(names)


def main():
    parser = argparse.ArgumentParser()
    for option in ("--compiler", "--include", "--headers", "--lib", "--map", "--node"):
        parser.add_argument(option, required=True)
    parser.add_argument("--hidden", default="")
    parser.add_argument("--private", nargs=2, default=["", ""])
    parser.add_argument("--umbrella", default="")
    a = parser.parse_args()

    headers = sorted(f"{a.headers}/{n}" for n in os.listdir(os.path.join(a.include, a.headers)) if n.endswith(".h"))
    names = declared(a.compiler, a.include, headers)
    errors = show("declared twice", {n for n in names if names.count(n) > 1})
    names = set(names)
    if a.umbrella:
        by_umbrella = set(declared(a.compiler, a.include, [a.umbrella]))
        errors += show("not reached from the umbrella", names - by_umbrella)

    symbols = exported(a.lib)
    public = [(n, d) for n, v, d in symbols if v == a.node]
    plain = dict(zip((n for n, _ in public), demangle([n for n, _ in public])))
    visible = {plain[n] for n, d in public if d}
    errors += show("declared but not exported", names - visible)
    errors += show("exported but not declared", visible - names)
    errors += show("has no default version", {plain[n] for n, d in public if not d} - {a.hidden})
    if a.hidden and (a.hidden, False) not in public:
        errors += show("not exported under its version alone", {a.hidden})
    private = [n for n, v, _ in symbols if v == a.private[0]] if a.private[0] else []
    inside = re.compile(r"^((vtable|typeinfo|typeinfo name) for )?" + a.private[1] + "::")
    full = run("c++filt", text="\n".join(private)).splitlines()
    errors += show(f"private, but not in {a.private[1]}", {n for n in full if not inside.search(n)})
    errors += show("exported under another version", {f"{n}@{v}" for n, v, _ in symbols if v not in (a.node, a.private[0])})

    script = set(listed(a.map, a.node))
    in_library = {n for n, _ in public}
    errors += show("in the version script only", script - in_library)
    errors += show("in the library only", in_library - script)
    print(f"{len(names)} declared, {len(public)} exported, {len(private)} private, {errors} errors")
    return 1 if errors or not names else 0


sys.exit(main())
