"""The bounce rows of bench/README.md: a bounce beside a submission of the same size in the same process, in turn. Used by
compare.py."""
import json
import os
import shutil
import statistics
import subprocess
import sys

# Bytes, messages of one round, how many times as long as the submission a bounce may take.
SIZES = [("4 KB", 4096, 400, 3.0), ("5 MB", 5_000_000, 20, 3.0)]


def measure(program, output, count, size):
    """Medians of one run on a queue of its own, in milliseconds."""
    site = output / "bounce"
    for folder in ("config", "queue", "temp"):
        (site / folder).mkdir(parents=True)
    (site / "config" / "twmta.ini").write_text(
        f"[Gateway]\nTimeZone=xxx\nQueueDirectory={site / 'queue'}\nTemporaryDirectory={site / 'temp'}\n"
        "[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n")
    try:
        result = subprocess.run([program, str(count), str(size)], env=dict(os.environ, QOB_CONFIG_DIR=str(site / "config")),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    finally:
        shutil.rmtree(site)
    if result.returncode != 0:
        sys.exit(f"bounce_bench: {result.stderr.strip()}")
    return json.loads(result.stdout)


def run(programs, output, rounds, only):
    if only and only not in "bounce":
        return []
    rows = []
    for name, size, count, limit in SIZES:
        runs = [measure(programs / "bounce_bench", output, count, size) for _ in range(rounds)]
        submit = statistics.median(run["submit_ms"] for run in runs)
        bounce = statistics.median(run["bounce_ms"] for run in runs)
        rows.append({"row": f"bounce of {name}", "submit_ms": submit, "bounce_ms": bounce, "ratio": bounce / submit,
                     "limit": limit, "met": bounce <= limit * submit})
    return rows


def show(rows):
    print(f"{'to committed':36} {'bounce':>14} {'submission':>14}  {'':12} {'times':>7} {'limit':>7}  met")
    for row in rows:
        print(f"{row['row']:36} {row['bounce_ms']:>11.2f} ms {row['submit_ms']:>11.2f} ms  {'':12} {row['ratio']:>5.1f} x "
              f"{row['limit']:>5.1f} x  {'yes' if row['met'] else 'NO'}")
