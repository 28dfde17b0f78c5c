"""The rules by which our leaves may differ from another reader's: docs/deviations.md tells why, here each is checked.

Two kinds. A pair rule explains how one of our leaves and one of the reader's differ in type or body. A run rule takes several
leaves of either side (or none) at the place reached and says how many it explains. Every rule verifies its claim on the bytes
of the message itself; none accepts a difference because it is there.
"""
import binascii
import re

from mail_readers import Leaf, header_field, split_message

CRLF = b"\r\n"
IDENTITY = ("", "7bit", "8bit", "binary")
HEADER_LINE = re.compile(rb"[!-9;-~]+[ \t]*:|[ \t]|From |>From ")


# --- reading a message by hand ---

def closed_by_delimiter(part, tree):
    return tree.message[part.end:part.end + 2] == b"--"


def header_reaches_past_text(part):
    """The header block holds a line that no other reader takes for a header line, or no empty line ends it."""
    lines = part.header_bytes.split(CRLF)
    odd = any(line and (not HEADER_LINE.match(line) or not line.strip()) for line in lines)
    return odd or not part.header_bytes.endswith(b"\r\n\r\n") and part.header_bytes != CRLF


class Base64Reading:
    """Base64 as the library documents it: white space skipped; "=", "-" or NUL ends; anything else foreign spoils it."""

    ALPHABET = b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"

    def __init__(self, raw):
        self.symbols = bytearray()
        self.valid = True
        self.rest = b""
        for at, byte in enumerate(raw):
            if byte in b"=-\0":
                self.rest = raw[at:]
                break
            if byte in b" \t\r\n\v\f":
                continue
            if byte not in self.ALPHABET:
                self.valid = False
                break
            self.symbols.append(byte)
        spare = len(self.symbols) % 4
        self.partial = spare != 0 and not self.rest.startswith(b"=")
        # A group that is cut short gives the bytes it completes: two characters one byte, three two.
        padded = bytes(self.symbols) + b"A" * (-len(self.symbols) % 4)
        whole = binascii.a2b_base64(padded) if padded else b""
        self.data = whole[:len(self.symbols) * 3 // 4]


def uu_block(lines):
    """The bytes of a uuencoded block given as its lines, begin and end line included."""
    out = b""
    for line in lines[1:]:
        line = line.rstrip(CRLF)
        if not line or re.match(rb"end\s*$", line, re.IGNORECASE):
            break
        count = (line[0] - 32) & 63
        values = [(c - 32) & 63 for c in line[1:].ljust((count + 2) // 3 * 4, b" ")]
        groups = b"".join(bytes([(a << 2 | b >> 4) & 255, (b << 4 | c >> 2) & 255, (c << 6 | d) & 255])
                          for a, b, c, d in zip(*[iter(values)] * 4))
        out += groups[:count]
    return out


def embedded_is_right(part):
    """A uuencoded block starts at its begin line, ends behind its end line, and was decoded to its bytes."""
    lines = part.body_bytes.splitlines(keepends=True)
    return (part.type == "x-embedded/" and re.match(rb"begin [0-7]+ ", lines[0], re.IGNORECASE) is not None
            and re.match(rb"end", lines[-1], re.IGNORECASE) is not None and part.data == uu_block(lines))


# --- pair rules: the type ------------------------------------------------------------------------------------------------

def untyped(ours, theirs, tree):
    """No Content-Type field (or a plain message): we leave the type open where readers fill in text/plain."""
    silent = header_field(ours.header_bytes, b"content-type") is None or not tree.mime
    return ours.type is None and theirs.type == "text/plain" and silent


TYPE_RULES = {"untyped": untyped}


# --- pair rules: the body ------------------------------------------------------------------------------------------------

def line_end_before_delimiter(ours, theirs, tree):
    return ours.encoding in IDENTITY and closed_by_delimiter(ours, tree) and ours.data == theirs.data + CRLF


def last_line_end_of_an_unclosed_multipart(ours, theirs, tree):
    """No delimiter follows: the last line end is the body's to us; to the other reader it belongs to the missing delimiter."""
    inside = ours.start > 0 and ours.end == len(tree.message)
    return ours.encoding in IDENTITY and inside and ours.data == theirs.data + CRLF


def final_line_end_of_quoted_printable(ours, theirs, tree):
    return (ours.encoding == "quoted-printable" and not closed_by_delimiter(ours, tree)
            and ours.body_bytes.endswith(CRLF) and ours.data + CRLF == theirs.data)


def invalid_base64_as_it_stands(ours, theirs, tree):
    del theirs, tree
    return ours.encoding == "base64" and not Base64Reading(ours.body_bytes).valid and ours.data == ours.body_bytes


def base64_ends_at_first_end(ours, theirs, tree):
    """Characters of the alphabet follow behind the "=" or "-" that ends the data; the other reader goes on or gives up."""
    del theirs, tree
    reading = Base64Reading(ours.body_bytes)
    more = any(byte in Base64Reading.ALPHABET for byte in reading.rest)
    return ours.encoding == "base64" and reading.valid and more and ours.data == reading.data


def partial_base64_group(ours, theirs, tree):
    """The data ends inside a group: we keep the bytes it completes, the other drops them."""
    del tree
    reading = Base64Reading(ours.body_bytes)
    spare = len(reading.symbols) * 3 // 4 % 3
    return (ours.encoding == "base64" and reading.partial and ours.data == reading.data
            and theirs.data == reading.data[:len(reading.data) - spare])


def base64_given_up(ours, theirs, tree):
    """The other reader gives back the encoded text of data that is whole and valid to its end."""
    del tree
    reading = Base64Reading(ours.body_bytes)
    return (ours.encoding == "base64" and reading.valid and ours.data == reading.data
            and theirs.data.split() == ours.body_bytes.split())


def header_runs_to_the_empty_line(ours, theirs, tree):
    """Our header block ends at the empty line alone; the other's body begins at the first line that is no header line."""
    del tree
    whole = ours.header_bytes + ours.body_bytes
    return (ours.encoding in IDENTITY and header_reaches_past_text(ours) and ours.data == ours.body_bytes
            and any(text.endswith(theirs.data) for text in (whole, whole.removesuffix(CRLF)))
            and len(theirs.data) >= len(ours.data.removesuffix(CRLF)))


BODY_RULES = {
    "line-end-before-delimiter": line_end_before_delimiter,
    "last-line-end-of-an-unclosed-multipart": last_line_end_of_an_unclosed_multipart,
    "final-line-end-of-quoted-printable": final_line_end_of_quoted_printable,
    "invalid-base64-as-it-stands": invalid_base64_as_it_stands,
    "base64-ends-at-first-end": base64_ends_at_first_end,
    "partial-base64-group": partial_base64_group,
    "base64-given-up": base64_given_up,
    "header-runs-to-the-empty-line": header_runs_to_the_empty_line,
}


# --- run rules -----------------------------------------------------------------------------------------------------------
# Each gets the tree, our leaves and theirs from the place reached on, and the reader; it gives the two numbers of leaves it
# explains, or None.

def not_mime(tree, ours, theirs, reader):
    """No MIME-Version 1: plain text. Our parts cover exactly the text behind the header, embedded blocks cut out of it."""
    del reader
    if tree.mime or ours != tree.parts:
        return None
    body = split_message(tree.message)[1]
    blocks = ours[1::2]
    covers = b"".join(part.body_bytes for part in ours) == body and ours[-1].end == len(tree.message)
    texts = all(part.type is None and part.data == part.body_bytes for part in ours[0::2])
    if covers and texts and all(embedded_is_right(block) for block in blocks):
        return len(ours), len(theirs)
    return None


def embedded_block(tree, ours, theirs, reader):
    """A uuencoded block inside a text part is a part of its own beside the text, which keeps it too."""
    del tree, theirs, reader
    part = ours[0] if ours else None
    if part is None or not part.embedded or part.parent is None or not embedded_is_right(part):
        return None
    text = part.parent
    return (1, 0) if text.body <= part.start < part.end <= text.end else None


def part_without_content(tree, ours, theirs, reader):
    """A part with no bytes behind its header, which the other reader drops."""
    del theirs, reader
    part = ours[0] if ours else None
    if part is None or part.body_bytes or not closed_by_delimiter(part, tree):
        return None
    return 1, 0


def multipart_without_parts(tree, ours, theirs, reader):
    """The other reader calls a multipart without parts a leaf."""
    del ours, reader
    ours_too = any(part.main == "multipart" and not part.children for part in tree.parts)
    return (0, 1) if theirs and theirs[0].type.startswith("multipart/") and ours_too else None


def digest_part_is_not_opened(tree, ours, theirs, reader):
    """In a digest a part without type is a message to others; to us it is a leaf that holds the whole message."""
    del tree
    part = ours[0] if ours else None
    if part is None or part.type is not None or part.parent is None or part.parent.type != "multipart/digest":
        return None
    return same_inside(part, part.body_bytes, theirs, reader) if part.data == part.body_bytes else None


def encoded_message_is_decoded(tree, ours, theirs, reader):
    """An encapsulated message with an encoding: we decode it as a leaf, the other opens the encoded text as a message."""
    del tree
    part = ours[0] if ours else None
    if part is None or part.type != "message/rfc822" or part.encoding != "base64":
        return None
    return same_inside(part, part.body_bytes, theirs, reader) if part.data == Base64Reading(part.body_bytes).data else None


def message_subtype_is_a_leaf(tree, ours, theirs, reader):
    """Every message/* but message/rfc822 is a leaf to us; the other reads messages in it."""
    del tree
    part = ours[0] if ours else None
    if part is None or part.main != "message" or part.type == "message/rfc822" or part.data != part.body_bytes:
        return None
    if part.type == "message/delivery-status":
        blocks = [block for block in re.split(rb"(?:\r\n){2,}", part.data.strip(CRLF)) if block]
        same = len(theirs) >= len(blocks) and not any(leaf.data for leaf in theirs[:len(blocks)])
        return (1, len(blocks)) if same else None
    return same_inside(part, part.body_bytes, theirs, reader)


def same_inside(part, inside, theirs, reader):
    """The leaves that the reader finds in the bytes alone are those it gave at this place."""
    del part
    found = reader.leaves(inside)
    given = theirs[:len(found)]
    same = len(given) == len(found) and all(
        a.type == b.type and b.data in (a.data, a.data.removesuffix(CRLF)) for a, b in zip(found, given))
    return (1, len(found)) if same else None


def first_of_repeated_fields(tree, ours, theirs, reader):
    """Two Content-Type fields: the first counts for us, the last for the other reader, which sees one part and no more."""
    del reader
    header, body = split_message(tree.message)
    named = re.findall(rb"^content-type:[ \t]*([^;\r\n]*)", header, re.IGNORECASE | re.MULTILINE)
    last = named[-1].decode().strip().lower() if len(named) == 2 else None
    same = tree.parts[0].main == "multipart" and last == theirs[0].type and theirs[0].data == body if theirs else False
    return (len(ours), len(theirs)) if same and len(theirs) == 1 else None


def epilogue_is_no_part(tree, ours, theirs, reader):
    """What follows the closing delimiter is nobody's body to us; the other reader makes a leaf of it."""
    del ours, reader
    lines = tree.message.split(CRLF)
    closing = [i for i, line in enumerate(lines) if line.startswith(b"--") and line.endswith(b"--")]
    rest = CRLF.join(lines[closing[-1] + 1:]) if closing else None
    same = theirs and rest is not None and theirs[0].data.strip(CRLF) == rest.strip(CRLF) != b""
    return (0, 1) if same and all(part.end <= len(tree.message) - len(rest) or part.main == "multipart"
                                  for part in tree.parts) else None


def boundary_used_twice(tree, ours, theirs, reader):
    """A multipart has its container's boundary: its delimiters are its own to us, the outer's to the other reader."""
    del reader

    def delimiter(part):
        named = [p for p in part.parameters if p.lower().startswith("boundary=")]
        return named[0].partition("=")[2].strip('"') if part.main == "multipart" and named else None

    nested = [p for p in tree.parts if p.parent is not None and delimiter(p) and delimiter(p) == delimiter(p.parent)]
    if not nested:
        return None
    left = [leaf for leaf in theirs if not leaf.type.startswith("multipart/")]
    inner = [leaf for leaf in ours if leaf.type is not None]
    # What the other reader does find are our first parts, and our last ones when it stopped seeing the inner ones.
    matched = all(any(pair_rules(part, leaf, tree) is not None for part in inner) for leaf in left)
    return (len(ours), len(theirs)) if matched else None


def refused(tree, ours, theirs, reader):
    """The message cannot be parsed, for a reason that its text shows and the log names."""
    del ours, reader
    if tree.count != -1 or not tree.mime:
        return None
    return (0, len(theirs)) if any(line.endswith(refusal(tree.message)) for line in tree.failures) else None


def refusal(message):
    """The log line of a MIME message that cannot be parsed, told from its text."""
    header, body = split_message(message)
    content_type = header_field(header, b"content-type") or b""
    if re.match(rb"multipart/", content_type, re.IGNORECASE):
        # The parameter is the first whose name begins with "boundary": an RFC 2231 form is taken as it is written.
        boundary = re.search(rb"boundary[^=;]*=[ \t]*\"?([^\";]*)", content_type, re.IGNORECASE)
        if boundary is None:
            return "ParseMimeMessage: boundary line is missing."
        if (b"\r\n--" + boundary.group(1).rstrip()).lower() not in (CRLF + body).lower():
            return "ParseMimeMessage: not a valid MIME message."
    fields = re.findall(rb"^content-type:[ \t]*([^\r\n;]*)", message, re.IGNORECASE | re.MULTILINE)
    if any(b"/" not in field for field in fields if field.strip()):
        return "Missing subtype."
    return "(no reason)"


RUN_RULES = {
    "not-mime": not_mime,
    "refused": refused,
    "embedded-block": embedded_block,
    "digest-part-is-not-opened": digest_part_is_not_opened,
    "encoded-message-is-decoded": encoded_message_is_decoded,
    "message-subtype-is-a-leaf": message_subtype_is_a_leaf,
    "multipart-without-parts": multipart_without_parts,
    "part-without-content": part_without_content,
    "first-of-repeated-fields": first_of_repeated_fields,
    "epilogue-is-no-part": epilogue_is_no_part,
    "boundary-used-twice": boundary_used_twice,
}


def explain_decoded(part, published, tree):
    """The rules by which a part differs from the decoded part published beside its message, or None."""
    wanted = re.sub(rb"(?<!\r)\n", CRLF, published)
    if part.data == wanted:
        return []
    body = split_message(tree.message)[1]
    if not tree.mime and wanted in (body, re.sub(rb"(?<!\r)\n", CRLF, Base64Reading(body).data)):
        return ["not-mime"]
    names = [name for name, rule in BODY_RULES.items() if rule(part, Leaf(part.type or "", wanted), tree)]
    return names[:1] or None


def pair_rules(ours, theirs, tree, allowed=None):
    """The names of the rules that explain one pair (none when both are the same), or None when nothing does."""
    def explain(same, rules):
        if same:
            return []
        names = [n for n, rule in rules.items() if (allowed is None or n in allowed) and rule(ours, theirs, tree)]
        return names[:1] or None

    types = explain(ours.type == theirs.type, TYPE_RULES)
    bodies = explain(ours.data == theirs.data, BODY_RULES)
    return None if types is None or bodies is None else types + bodies


class Unexplained(Exception):
    """A difference that no allowed rule explains."""


def explain(tree, theirs, reader, allowed=None):
    """The set of rules by which our leaves differ from the reader's. Raises Unexplained."""
    ours = tree.leaves
    if tree.count == -1:
        if (allowed is None or "refused" in allowed) and refused(tree, ours, theirs, reader) is not None:
            return {"refused"}
        raise Unexplained(f"the message was refused: {tree.failures}")
    used = set()
    i = j = 0
    while i < len(ours) or j < len(theirs):
        if i < len(ours) and j < len(theirs):
            names = pair_rules(ours[i], theirs[j], tree, allowed)
            if names is not None:
                used.update(names)
                i, j = i + 1, j + 1
                continue
        for name, rule in RUN_RULES.items():
            step = rule(tree, ours[i:], theirs[j:], reader) if allowed is None or name in allowed else None
            if step is not None:
                used.add(name)
                i, j = i + step[0], j + step[1]
                break
        else:
            raise Unexplained(f"ours {ours[i:i + 1]}, theirs {theirs[j:j + 1]}, {len(ours) - i} and {len(theirs) - j} left")
    return used
