"""The programs of examples/ on a message of our own, word for word, and on every sample of data/.

  examples.py READ_MESSAGE MESSAGE_TREE DATA [--under COMMAND...]

--under runs them under another program, such as valgrind.
"""
import os
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


def run(under, program, path, environment):
    result = subprocess.run([*under, program, path], capture_output=True, env=environment, check=False)
    # valgrind's own remarks begin with the process in dashes.
    said = [line for line in result.stderr.decode("latin-1").splitlines() if not line.startswith("--")]
    return result.returncode, result.stdout.decode("latin-1"), "\n".join(said)


def main():
    arguments = sys.argv[1:]
    under = []
    if "--under" in arguments:
        under = arguments[arguments.index("--under") + 1:]
        arguments = arguments[:arguments.index("--under")]
    reader, tree, data = arguments
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
            code, out, err = run(under, program, path, environment)
            if code != 0 or out != expected:
                print(f"{program} gave {code} and\n{out!r}\nnot\n{expected!r}\n{err}")
                wrong += 1
            code, _, err = run(under, program, work + "/missing", environment)
            if code != 66:
                print(f"{program} gave {code} for a missing file\n{err}")
                wrong += 1
        samples = sorted(n for n in os.listdir(data) if os.path.isfile(os.path.join(data, n))) if os.path.isdir(data) else []
        for name in samples:
            for program in (reader, tree):
                code, out, err = run(under, program, os.path.join(data, name), environment)
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
