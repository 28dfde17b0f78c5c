"""qob and a message larger than a 32-bit position: one line that names the file and what to do, at once, nothing written."""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile

SKIPPED = 77
DATA_ERROR = 65  # sysexits.h


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--qob", required=True)
    arguments = parser.parse_args()
    failures = 0
    with tempfile.TemporaryDirectory(prefix="qobroad-") as name:
        work = pathlib.Path(name)
        (work / "tmp").mkdir()
        for line_end in (b"\r\n", b"\n"):
            message = work / "huge.eml"
            message.write_bytes(b"MIME-Version: 1.0" + line_end + b"Subject: x" + line_end * 2)
            os.truncate(message, 2**31)
            if message.stat().st_blocks * 512 > 2**24:
                print("SKIPPED: no sparse files here")
                return SKIPPED
            for command in (["parse", message], ["extract", message, "-o", work / "out"]):
                result = subprocess.run([arguments.qob, *map(str, command)], capture_output=True, text=True, check=False,
                                        env=dict(os.environ, TMPDIR=str(work / "tmp")))
                told = len(result.stderr.splitlines()) == 1 and str(message) in result.stderr
                left = list((work / "tmp").iterdir()) + list((work / "out").glob("*"))
                if result.returncode != DATA_ERROR or not told or result.stdout or left:
                    failures += 1
                    print(f"FAILED {command[0]} {line_end}: {result.returncode} {result.stderr!r} {left}")
    print(f"{failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
