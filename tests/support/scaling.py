#!/usr/bin/env python3
"""Does twice the input cost at most so many times the work?

  scaling.py PROGRAM [ARG...] SIZE LIMIT

Runs PROGRAM with every argument "N" replaced by 0, SIZE and 2 * SIZE under callgrind and counts instructions, which
do not depend on how busy the machine is. What the run with 0 costs (loading, start-up) is taken off both others. Ends
with 1 when work(2 * SIZE) / work(SIZE) is not below LIMIT, with 2 when the program fails or does next to nothing.
"""
import os
import re
import subprocess
import sys
import tempfile

SMALLEST_WORK = 100_000  # instructions; below it the ratio says nothing


def instructions(command, size):
    words = [str(size) if word == "N" else word for word in command]
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--callgrind-out-file=" + os.path.join(folder, "out"), *words],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, errors="replace")
    counted = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or counted is None:
        print(run.stderr, file=sys.stderr)
        print(f"{' '.join(words)}: ended with {run.returncode}", file=sys.stderr)
        sys.exit(2)
    return int(counted.group(1))


def main():
    if len(sys.argv) < 4 or "N" not in sys.argv:
        sys.exit(__doc__)
    command, size, limit = sys.argv[1:-2], int(sys.argv[-2]), float(sys.argv[-1])
    idle = instructions(command, 0)
    once = instructions(command, size) - idle
    twice = instructions(command, 2 * size) - idle
    if once < SMALLEST_WORK:
        print(f"only {once} instructions for {size}: take a larger size", file=sys.stderr)
        sys.exit(2)
    ratio = twice / once
    print(f"work({size}) = {once}, work({2 * size}) = {twice}, ratio {ratio:.3f}, limit {limit}")
    sys.exit(0 if ratio < limit else 1)


if __name__ == "__main__":
    main()
