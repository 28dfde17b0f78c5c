"""Bounces and status notifications of every kind of message, read by python3's email package and held to the RFCs.

  reports.py --road PROGRAM

Each message is submitted, found by the scan, answered in every form, and each answer walked down the road again by
report_road; what lies in the queue is then read here: a bounce as multipart/mixed with what was returned byte for byte, a
notification as RFC 3462 (multipart/report) and RFC 3464 (message/delivery-status) want it, field by field. Messages: malformed,
8-bit, huge, empty, of bare line feeds, with boundaries of their own, generated ones, and those below $QOB_TEST_MAIL.
"""
import argparse
import email
import email.utils
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile

HOST = "gw.gate.example"
POSTMASTER = f"postmaster@{HOST}"
SENDERS = ["ann@a.example", "<>", "-"]
STATUS = re.compile(r"[245]\.[0-9]{1,3}\.[0-9]{1,3}\Z")
ACTIONS = {"failed", "delayed", "delivered", "relayed", "expanded"}  # RFC 3464 section 2.3.3
ADDRESS = re.compile(r"rfc822; ?[^ ]+@[^ ]+\Z")


def messages():
    yield "plain", b"From: ann@a.example\r\nSubject: s\r\n\r\nbody\r\n"
    yield "empty", b""
    yield "header only", b"Subject: s\r\n"
    yield "body only", b"\r\nbody"
    yield "line feeds", b"Subject: s\n\nbody\nmore\n"
    yield "no line end", b"Subject: s"
    yield "eight bit", b"Subject: \xfc\r\n\r\n\xff\xfe\x80\r\n"
    yield "nul bytes", b"Subject: a\0b\r\n\r\nx\0y\0\r\n"
    yield "long line", b"Subject: s\r\nX: " + b"x" * 5000 + b"\r\n\r\n" + b"y" * 100_000
    yield "piece border", b"X: " + b"x" * 1021 + b"\r\nSubject: s\r\n\r\nbody\r\n"
    yield "delimiters", (b"Content-type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b\r\n"
                         b"Content-type: message/rfc822\r\n\r\nSubject: inner\r\n\r\n--b--\r\n")
    yield "folded", b"Subject: one\r\n two\r\n\tthree\r\n: odd\r\nno colon\r\n\r\nbody\r\n"
    yield "carriage returns", b"Subject: a\rb\r\r\n\r\n\r\r\n"
    yield "huge", b"Subject: s\r\n\r\n" + b"0123456789abcdef0123456789abcdef0123456789abcdef\r\n" * 200_000
    chance = random.Random(7)
    for number in range(12):
        size = chance.choice([10, 100, 1000, 5000])
        yield f"noise {number}", bytes(chance.choice(b"\r\n\r\n: ab-#=\xff\0") for _ in range(size))
    folder = os.environ.get("QOB_TEST_MAIL")
    for path in sorted(pathlib.Path(folder).rglob("*")) if folder else []:
        if path.is_file() and path.suffix in (".txt", ".msg", ".eml") and "decoded" not in path.name:
            data = path.read_bytes()
            yield path.name, re.sub(rb"(?<!\r)\n", b"\r\n", data)


class Wrong(Exception):
    pass


def expect(held, what):
    if not held:
        raise Wrong(what)


def header_of(data):
    """A queued message up to its first empty line, as the answers return it."""
    match = re.search(rb"(?:\A|\n)\r\n", data)
    # A line that is longer than 1024 bytes is read in pieces; what begins inside it is no line.
    return data[:match.end() - 2] if match else data


def raw_parts(data, boundary):
    """The bytes of each part, between the delimiters that the answer itself has: the first and the last ones."""
    mark = b"\r\n--" + boundary.encode()
    expect(data.endswith(mark + b"--\r\n"), "it does not end with its last delimiter")
    pieces = data[:-len(mark) - 4].split(mark + b"\r\n")
    return pieces[1:]


def content(part):
    return part.partition(b"\r\n\r\n")[2]


def check_transport(message):
    for name in ("Received", "Mime-version", "Date", "Message-ID"):
        expect(len(message.get_all(name, [])) == 1, f"{name} stands there {len(message.get_all(name, []))} times")
    expect(email.utils.parsedate_to_datetime(message["Date"]) is not None, "no date")
    expect(not message.defects, f"defects: {message.defects}")


def check_bounce(answer, data, original, whole):
    message = email.message_from_bytes(data)
    check_transport(message)
    expect(message.get_content_type() == "multipart/mixed", message.get_content_type())
    expect(message["From"] == POSTMASTER and answer["sender"] == POSTMASTER, "not from the postmaster")
    expect(message["Subject"] == "unable to deliver mail", message["Subject"])
    parts = message.get_payload()
    expect(parts[0].get_content_type() == "text/plain" and b"user unknown\r\n" in parts[0].get_payload(decode=True),
           "the explanation is missing")
    raw = raw_parts(data, message.get_boundary())
    expect(len(raw) == 2, f"{len(raw)} parts")
    check_returned(raw[1], original, whole)


def check_returned(raw, original, whole):
    kind = b"Content-type: message/rfc822\r\n" if whole else b"Content-type: text/RFC822-Headers\r\n"
    expect(raw.startswith(kind), f"the returned part begins {raw[:40]}")
    expect(content(raw) == (original if whole else header_of(original)), "what is returned is not what was queued")


def check_date(text, what):
    expect(email.utils.parsedate_to_datetime(text) is not None, f"{what}: {text}")
    expect(re.fullmatch(r"[A-Z][a-z]{2}, \d{1,2} [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d [+-]\d{4}", text), f"{what}: {text}")


def check_status(part, answer):
    """RFC 3464: one group of per-message fields, then one group for each recipient."""
    expect(part.get_content_type() == "message/delivery-status", part.get_content_type())
    groups = part.get_payload()
    expect(len(groups) >= 3, f"{len(groups)} groups of fields")
    first = groups[0]
    expect(first["Reporting-MTA"] == f"DNS; {HOST}", first["Reporting-MTA"])
    check_date(first["Arrival-Date"], "Arrival-Date")
    expect(first["Original-Envelope-Id"] == (None if answer["unknown"] else "ENV-1"), first["Original-Envelope-Id"])
    recipients = [group for group in groups[1:] if group.keys()]
    expect(len(recipients) == 2, f"{len(recipients)} recipients")
    for group in recipients:
        expect(ADDRESS.match(group["Final-Recipient"]), group["Final-Recipient"])
        expect(group["Action"] in ACTIONS, group["Action"])
        expect(STATUS.match(group["Status"]), group["Status"])
        for name in ("Last-attempt-date", "Will-retry-until"):
            if group[name] is not None:
                check_date(group[name], name)
        for name in group.keys():
            expect(len(group.get_all(name)) == 1, f"{name} more than once")
    expect(recipients[0]["Original-Recipient"] == "rfc822;bob@b.example", recipients[0]["Original-Recipient"])
    expect(recipients[0]["Remote-MTA"] == "DNS; mx.b.example", recipients[0]["Remote-MTA"])
    expect(recipients[0]["Diagnostic-code"] == "smtp; 550 5.1.1 no such user", recipients[0]["Diagnostic-code"])
    expect(recipients[1].keys() == ["Final-Recipient", "Action", "Status"], recipients[1].keys())


def check_notification(answer, data, original, kind):
    message = email.message_from_bytes(data)
    check_transport(message)
    expect(message.get_content_type() == "multipart/report", message.get_content_type())
    expect(message.get_param("report-type") == "delivery-status", message.get_param("report-type"))
    expect(answer["sender"] == "<>", "the envelope sender is not empty")
    parts = message.get_payload()
    expect(len(parts) == (2 if kind == "dsn-plain" else 3), f"{len(parts)} parts")
    expect(parts[0].get_content_type() == "text/plain", parts[0].get_content_type())
    expect(parts[0].get_content_charset() == "us-ascii", parts[0].get_content_charset())
    expect(parts[0].get_payload(decode=True) == b"Your message could not be delivered.\r\nGr\xfc\xdfe\r\n",
           "the text for people")
    if kind != "dsn-plain":
        check_status(parts[1], answer)
    raw = raw_parts(data, message.get_boundary())
    check_returned(raw[-1], original, kind == "dsn-failed" and not answer["unknown"])


def check_envelope(answer, sender):
    if answer["kind"] == "postmaster" or sender in ("<>", "-"):
        wanted = [POSTMASTER]
    else:
        wanted = [sender]
    expect(answer["recipients"] == wanted, f"recipients {answer['recipients']}")
    expect(answer["id"] == "" and answer["ret"] == 0, "envelope id or RET")


def check_leaves(answer, copy, original):
    """What our own parser finds in the answer."""
    if answer["kind"] in ("bounce", "postmaster"):
        wanted = ["text/plain", "message/rfc822"]
    elif answer["kind"] == "header":
        wanted = ["text/plain", "text/RFC822-Headers"]
    else:
        wanted = ["text/plain"] + ([] if answer["kind"] == "dsn-plain" else ["message/delivery-status"])
        full = answer["kind"] == "dsn-failed" and not answer["unknown"]
        wanted.append("message/rfc822" if full else "text/RFC822-Headers")
    expect(answer["leaves"] == wanted, f"leaves {answer['leaves']}")
    body = pathlib.Path(f"{copy}.{len(wanted) - 1}")
    returned = original if wanted[-1] == "message/rfc822" else header_of(original)
    # To our parser the line end in front of a delimiter belongs to the body.
    expect(body.read_bytes() == returned + b"\r\n", "the extracted body is not what was returned")


def check_answer(answer, sender, original):
    kind = answer["kind"]
    if answer["result"] == 2:
        expect(sender == "<>" and kind in ("bounce", "header"), "discarded")
        return
    expect(answer["result"] == 0, f"result {answer['result']}")
    data = pathlib.Path(answer["file"]).read_bytes()
    answer["unknown"] = sender == "-"
    check_envelope(answer, sender)
    if kind.startswith("dsn"):
        check_notification(answer, data, original, kind)
    else:
        check_bounce(answer, data, original, kind != "header")
    check_leaves(answer, answer["file"], original)


def go(road, name, data, sender, work):
    for folder in ("config", "queue", "temp", "out"):
        (work / folder).mkdir(parents=True)
    (work / "config" / "twmta.ini").write_text(
        f"[Gateway]\nTimeZone=xxx\nQueueDirectory={work / 'queue'}\nTemporaryDirectory={work / 'temp'}\n"
        "[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n")
    message = work / "message"
    message.write_bytes(data)
    result = subprocess.run([road, message, sender, work / "out"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            env=dict(os.environ, QOB_CONFIG_DIR=str(work / "config")))
    expect(result.returncode == 0, f"report_road: {result.returncode} {result.stderr.strip()}")
    answers = [json.loads(line) for line in result.stdout.splitlines()]
    expect([a["kind"] for a in answers] ==
           ["message", "bounce", "header", "postmaster", "dsn-failed", "dsn-delayed", "dsn-plain"], "the answers")
    original = pathlib.Path(answers[0]["file"]).read_bytes()
    expect(original.endswith(data) or data == b"" or b"ate:" in data, "the queued message is another")
    for answer in answers[1:]:
        try:
            check_answer(answer, sender, original)
        except Wrong as wrong:
            raise Wrong(f"{answer['kind']}: {wrong}") from None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--road", required=True)
    arguments = parser.parse_args()
    failures = count = 0
    with tempfile.TemporaryDirectory(prefix="qobreports-") as place:
        for number, (name, data) in enumerate(messages()):
            # Every sender with each of our own messages, one with each of real mail.
            for sender in SENDERS if " " in name or "." not in name else [SENDERS[number % len(SENDERS)]]:
                count += 1
                work = pathlib.Path(place) / str(count)
                try:
                    go(arguments.road, name, data, sender, work)
                except Wrong as wrong:
                    failures += 1
                    print(f"FAILED {name}, from {sender}: {wrong}")
                subprocess.run(["rm", "-rf", work], check=True)
    print(f"{count} messages on their road, {failures} failures")
    return 1 if failures or count < 60 else 0


sys.exit(main())
