"""Turns the comments of a public header into those that doxygen reads; the headers themselves stay plain.

  filter.py HEADER > result

A comment before a declaration documents it; one behind a member documents the member; the first of the file is its page. The
six headings of a function become paragraphs of their own.
"""
import re
import sys

HEADINGS = ("Shape", "Units", "Owner", "Result", "Thread", "Source")
COMMENT = re.compile(r"/\*(?P<text>.*?)\*/", re.DOTALL)


def escaped(text):
    return re.sub(r"([\\@&$#<>%\"])", r"\\\1", text)


def lines_of(text):
    return [re.sub(r"^\s*\* ?", "", line).rstrip() for line in text.strip().splitlines()]


def paragraphs(lines):
    """Indented lines are samples; an empty line divides."""
    out = []
    sample = False
    for line in lines:
        indented = line.startswith("    ") or (sample and not line)
        if indented != sample and (indented or line):
            out.append("@code{.unparsed}" if indented else "@endcode")
            sample = indented
        out.append(line[4:] if sample else escaped(line))
    if sample:
        out.append("@endcode")
    return out


def function(lines):
    name, _, brief = lines[0].partition(" - ")
    out = [f"@brief {escaped(brief or name)}"]
    for line in lines[1:]:
        heading, _, rest = line.strip().partition(" ")
        if heading in HEADINGS:
            out += [f"@par {heading}", escaped(rest.strip())]
        else:
            out.append(escaped(line.strip()))
    return out


def documented(lines):
    if re.match(r"\w+ - ", lines[0]):
        return function(lines)
    return [escaped(line) for line in lines]


def head(lines):
    brief = next((i for i, line in enumerate(lines) if line.endswith((".", ":"))), 0) + 1
    return ["@file", "@brief " + escaped(" ".join(lines[:brief])), ""] + paragraphs(lines[brief:])


def turned(source):
    at = 0
    first = True
    for match in COMMENT.finditer(source):
        before = source[at:match.start()]
        yield before
        lines = lines_of(match["text"])
        if first:
            out = head(lines)
        elif before.rstrip(" ").endswith("\n"):
            out = documented(lines)
        else:
            out = [escaped(line) for line in lines]
        behind = not first and not before.rstrip(" ").endswith("\n")
        # As many line ends as before, so that places stay the same where possible.
        yield "/**" + ("< " if behind else " ") + "\n * ".join(out) + " */"
        first = False
        at = match.end()
    yield source[at:]


def main(path):
    with open(path, encoding="ascii") as f:
        sys.stdout.write("".join(turned(f.read())))


main(sys.argv[1])
