"""What the boot unit runs clears every lock of the queue directories, and nothing else; the unit itself is one that systemd reads.

  boot_unit.py CLEAR_QUEUE_LOCKS UNIT
"""
import os
import shutil
import subprocess
import sys
import tempfile


def main(program, unit):
    wrong = []
    with tempfile.TemporaryDirectory(prefix="qob-boot-") as work:
        environment = dict(os.environ, QOB_CONFIG_DIR=work)
        profile = work + "/twmta.ini"

        def expect(words, code, out):
            got = subprocess.run([program, *words], capture_output=True, env=environment, text=True, check=False)
            if (got.returncode, got.stdout) != (code, out):
                wrong.append(f"{words} gave {got.returncode}, {got.stdout!r}, {got.stderr!r}, not {code}, {out!r}")
        expect([], 78, "")
        for name in ("one", "two"):
            os.mkdir(f"{work}/{name}")
            for file in ("00000001.lck", "00000002.LCK", "00000001.msg", "00000001.rea", "mesg.btr"):
                with open(f"{work}/{name}/{file}", "x", encoding="ascii"):
                    pass
        with open(profile, "w", encoding="ascii") as f:
            f.write(f"[Gateway]\nTimeZone=xxx\nQueueDirectory={work}/one\nTemporaryDirectory={work}\n")
        expect([], 0, f"{work}/one: 2 locks cleared\n")
        expect([work + "/one", work + "/two"], 0, f"{work}/one: 0 locks cleared\n{work}/two: 2 locks cleared\n")
        for name in ("one", "two"):
            left = sorted(os.listdir(f"{work}/{name}"))
            if left != ["00000001.msg", "00000001.rea", "mesg.btr"]:
                wrong.append(f"{name} has {left}")
        with open(unit, encoding="ascii") as f:
            text = f.read()
        if "/libexec/qob3xapi/" + os.path.basename(program) not in text:
            wrong.append("the unit runs another program")
        if shutil.which("systemd-analyze"):
            copy = work + "/" + os.path.basename(unit)
            with open(copy, "w", encoding="ascii") as f:
                f.write(text.replace("/usr/libexec/qob3xapi/" + os.path.basename(program), program)
                        .replace("/usr/bin/qob", os.path.join(os.path.dirname(program), "qob")))
            said = subprocess.run(["systemd-analyze", "verify", copy], capture_output=True, text=True, check=False).stderr
            wrong += [line for line in said.splitlines() if os.path.basename(unit) in line]
    for line in wrong:
        print(line)
    return 1 if wrong else 0


sys.exit(main(*sys.argv[1:]))
