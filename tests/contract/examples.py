"""The programs of examples/ on a message of our own and a queue of our own, word for word, and on every sample of data/.

  examples.py READ_MESSAGE MESSAGE_TREE PUT_MESSAGE WALK_QUEUE DATA [--under COMMAND...]

--under runs them under another program, such as valgrind.
"""
import os
import re
import subprocess
import sys
import tempfile

MESSAGE = """From: =?ISO-8859-1?Q?J=F6rg?= <joerg@example.org>
To: a@example.com, "B. Two" <b@example.com>
Date: Sun, 15 Nov 2026 02:24:05 -0800
Subject: =?US-ASCII?B?UGxhbnM=?=
Mime-version: 1.0
Content-type: multipart/mixed; boundary="b"

--b
Content-type: text/plain
Content-transfer-encoding: quoted-printable

It=20works.

--b
Content-type: application/octet-stream; name="a.bin"
Content-transfer-encoding: base64

QUI=

--b
Content-type: message/rfc822

Subject: inner

Inner text.
--b--
""".replace("\n", "\r\n")

READ = """From: joerg@example.org
To: a@example.com
To: b@example.com
Date: Sun, 15 Nov 2026 02:24:05 -0800
Subject: Plans
Parts: 5

It works.\r\n"""


def at(text):
    return MESSAGE.index(text)


# The positions are counted in the message itself: a body starts behind its empty line and ends at its delimiter.
TREE = f"""multipart/mixed - name=- bytes {at('--b')}-{len(MESSAGE)}
  text/plain quoted-printable name=- bytes {at('It=20')}-{at('--b' + chr(13) + chr(10) + 'Content-type: app')}
  application/octet-stream base64 name="a.bin" bytes {at('QUI=')}-{at('--b' + chr(13) + chr(10) + 'Content-type: mess')}
  message/rfc822 - name=- bytes {at('Subject: inner')}-{at('--b--')}
    text/plain - name=- bytes {at('Inner')}-{at('--b--')}
"""


def run(under, program, words, environment, text=""):
    result = subprocess.run([*under, program, *words], capture_output=True, env=environment, input=text.encode("ascii"),
                            check=False)
    # valgrind's own remarks begin with the process in dashes.
    said = [line for line in result.stderr.decode("latin-1").splitlines() if not line.startswith("--")]
    return result.returncode, result.stdout.decode("latin-1"), "\n".join(said)


def queue(under, put, walk, work, environment):
    """What goes in comes out of the walk, but for what is too small or somebody's own; every lock is given back."""
    directory = work + "/queue"
    wrong = []

    def expect(program, words, code, out, text=""):
        got = run(under, program, words, environment, text)
        if got[:2] != (code, out):
            wrong.append(f"{os.path.basename(program)} {words} gave {got}, not {(code, out)}")
        return got[1]
    expect(walk, [directory], 66, "")
    expect(put, [directory, "a@example.org", "b@example.net"], 73, "")
    os.mkdir(directory, 0o700)
    ids = []
    for sender, recipients, text in (("ann@example.org", ["bob@example.net", "cid@example.com"], MESSAGE), ("<>", ["dan"], "x")):
        code, out, err = run(under, put, [directory, sender, *recipients], environment, text)
        ids.append(out.strip())
        if code != 0 or not re.fullmatch("[0-9A-F]{8}", ids[-1]):
            return [f"put_message gave {code}, {out!r}, {err}"]
        with open(f"{directory}/{ids[-1]}.msg", encoding="ascii", newline="") as f:
            if f.read() != text or os.fstat(f.fileno()).st_mode & 0o777 != 0o600:
                wrong.append("the message file is not what was given")
    first = f"{ids[0]} from ann@example.org, 0 tries\n  to bob@example.net\n  to cid@example.com\n"
    second = f"{ids[1]} from <>, 0 tries\n  to dan@twgate.domain.invalid\n"
    expect(walk, [directory], 0, first + second + "2 messages\n")
    expect(walk, [directory, "2"], 0, first + "1 messages\n")
    with open(f"{directory}/{ids[0]}.lck", "x", encoding="ascii"):
        pass
    expect(walk, [directory], 0, second + "1 messages\n")
    os.remove(f"{directory}/{ids[0]}.lck")
    locks = [name for name in os.listdir(directory) if name.lower().endswith(".lck")]
    if locks:
        wrong.append(f"locks left behind: {locks}")
    return wrong


def main():
    arguments = sys.argv[1:]
    under = []
    if "--under" in arguments:
        under = arguments[arguments.index("--under") + 1:]
        arguments = arguments[:arguments.index("--under")]
    reader, tree, put, walk, data = arguments
    wrong = 0
    with tempfile.TemporaryDirectory(prefix="qob-examples-") as work:
        os.mkdir(work + "/temp")
        with open(work + "/twmta.ini", "w", encoding="ascii") as f:
            f.write(f"[Gateway]\nTimeZone=xxx\nTemporaryDirectory={work}/temp\n")
        environment = dict(os.environ, QOB_CONFIG_DIR=work)
        path = work + "/message"
        with open(path, "w", encoding="ascii", newline="") as f:
            f.write(MESSAGE)
        for program, expected in ((reader, READ), (tree, TREE)):
            code, out, err = run(under, program, [path], environment)
            if code != 0 or out != expected:
                print(f"{program} gave {code} and\n{out!r}\nnot\n{expected!r}\n{err}")
                wrong += 1
            code, _, err = run(under, program, [work + "/missing"], environment)
            if code != 66:
                print(f"{program} gave {code} for a missing file\n{err}")
                wrong += 1
        for line in queue(under, put, walk, work, environment):
            print(line)
            wrong += 1
        samples = sorted(n for n in os.listdir(data) if os.path.isfile(os.path.join(data, n))) if os.path.isdir(data) else []
        for name in samples:
            for program in (reader, tree):
                code, out, err = run(under, program, [os.path.join(data, name)], environment)
                # A sample may be malformed on purpose; then it is refused, never anything else.
                if code not in (0, 66) or (code == 0) != bool(out.strip() and not err.strip()):
                    print(f"{program} {name} gave {code}\n{err}")
                    wrong += 1
        left = [n for n in os.listdir(work + "/temp") if not n.endswith(("$$$", ".log"))]
        if left:
            print("left behind:", left)
            wrong += 1
    print(f"{len(samples)} samples, {wrong} wrong")
    return 1 if wrong else 0


sys.exit(main())
