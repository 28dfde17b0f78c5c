"""Runs both sides of every row of bench/README.md several times, interleaved, and prints medians, ratios and targets.

Each round runs one row's programs one after the other, and the order of the sides changes from round to round, so that what
else the machine does meets both. Started by bench/compare, which builds the programs first.
"""
import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import compare_bounce
import compare_queue

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = pathlib.Path(os.environ.get("QOB_BENCH_BUILD") or ROOT / "build" / "bench") / "bench"
DATA = ROOT / "build" / "bench-data"
MEMORY_LIMIT = 8 * 1000 * 1000

# Name, what it is, our program, peer, peer's program, target ratio (None: stated only), unit, and the peer's benchmark where
# its name is another.
ROWS = [
    ("parse_mixed", "parse to tree, mixed files", "library_bench", "GMime", "gmime_bench", 2.0, "MB/s"),
    ("parse_big", "parse to tree, big file", "library_bench", "GMime", "gmime_bench", 1.5, "MB/s"),
    ("extract_mixed", "parse + extract, mixed files", "library_bench", "GMime", "gmime_bench", 2.0, "MB/s"),
    ("extract_big", "parse + extract, big file", "library_bench", "GMime", "gmime_bench", 2.0, "MB/s"),
    ("lines", "line reading, 20 to 100 bytes", "library_bench", "getline(3)", "system_bench", 1.4, "MB/s"),
    ("base64", "base64 decode, in memory", "core_bench", "GMime filter", "gmime_bench", 2.0, "MB/s"),
    ("quoted_printable", "quoted-printable decode, in memory", "core_bench", "GMime filter", "gmime_bench", 1.5, "MB/s"),
    ("uudecode", "uuencode decode, file to file", "library_bench", "sharutils", "system_bench", 1.5, "MB/s"),
    ("binhex", "BinHex decode, file to file", "library_bench", "macutils", "system_bench", 4.0, "MB/s"),
    ("addresses_mixed", "address lists, mixed", "library_bench", "GMime", "gmime_bench", 4.0, "1/s"),
    ("addresses_plain", "address lists, plain", "library_bench", "GMime", "gmime_bench", 2.0, "1/s"),
    ("words_decode", "encoded words decode, core", "core_bench", "GMime", "gmime_bench", 20.0, "1/s"),
    ("words_decode_exported", "encoded words decode, exported", "library_bench", "GMime", "gmime_bench", None, "1/s",
     "words_decode"),
    ("words_encode", "encoded words encode, core", "core_bench", "GMime", "gmime_bench", 20.0, "1/s"),
    ("words_encode_value", "... and the test for an address, core", "core_bench", "GMime", "gmime_bench", None, "1/s",
     "words_encode"),
    ("words_encode_exported", "encoded words encode, exported", "library_bench", "GMime", "gmime_bench", None, "1/s",
     "words_encode"),
    ("dates", "dates to record", "library_bench", "GMime", "gmime_bench", 2.0, "1/s"),
    ("peer_getter", "a peer's value, opened per call", "lookup_bench", "SQLite", "sqlite_lookup_bench", 1.5, "1/s"),
    ("magic_lookup", "a file type, opened per call", "lookup_bench", "SQLite", "sqlite_lookup_bench", 1.5, "1/s"),
    ("ban_check", "a banned user, opened per call", "lookup_bench", "SQLite", "sqlite_lookup_bench", 1.5, "1/s"),
    ("relation_lookup", "a relation's record, opened per call", "lookup_bench", "SQLite", "sqlite_lookup_bench", 1.5, "1/s",
     "ban_check"),
    ("base64_write", "base64 body writing, file to file", "library_bench", "GMime filter", "gmime_bench", 1.5, "MB/s"),
    ("quoted_printable_write", "quoted-printable text writing", "library_bench", "GMime filter", "gmime_bench", 1.5, "MB/s"),
    ("shift_jis_to_jis", "Shift-JIS to JIS, file to file", "core_bench", "iconv(3)", "system_bench", 2.0, "MB/s",
     "shift_jis_to_jis_call"),
    ("shift_jis_to_jis", "... beside the program", "core_bench", "iconv", "system_bench", 2.0, "MB/s",
     "shift_jis_to_jis_program"),
    ("shift_jis_to_jis", "... beside nkf", "core_bench", "nkf", "system_bench", 2.0, "MB/s", "shift_jis_to_jis_nkf"),
    ("jis_to_shift_jis", "JIS to Shift-JIS, file to file", "core_bench", "iconv(3)", "system_bench", 1.0, "MB/s",
     "jis_to_shift_jis_call"),
    ("jis_to_shift_jis", "... beside the program", "core_bench", "iconv", "system_bench", 1.0, "MB/s",
     "jis_to_shift_jis_program"),
    ("jis_to_shift_jis", "... beside nkf", "core_bench", "nkf", "system_bench", 1.0, "MB/s", "jis_to_shift_jis_nkf"),
]

# Rows whose peer is a program of its own, whose CPU time is not that of the process that measures.
PROGRAM_ROWS = ("uudecode", "binhex")
PROGRAM_PEERS = ("iconv", "nkf")


def write_site(output):
    """The configuration of the library's side, left alone until it is as still as a site's file is."""
    site = output / "site"
    site.mkdir()
    lines = ["[Gateway]", "TimeZone=xxx", "LocalCharSet=ISO-8859-1", f"TemporaryDirectory={output}",
             f"QueueDirectory={output / 'queue'}",
             "[Options]", "Force1522Decoding=YES", ""]
    (site / "twmta.ini").write_text("\r\n".join(lines))
    time.sleep(3)


def run_once(program, name, environment, by_cpu):
    """One run of one benchmark: its rate in bytes or items per second of wall-clock time, or of the process's CPU time."""
    # Two repetitions: the first brings files, memory and processor to the state that is measured.
    result = subprocess.run(
        [PROGRAMS / program, f"--benchmark_filter=^{name}/", "--benchmark_format=json", "--benchmark_repetitions=2"],
        env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        sys.exit(f"{program} {name}: {result.stderr.strip()}")
    runs = [b for b in json.loads(result.stdout)["benchmarks"] if b.get("run_type") == "iteration"]
    last = runs[-1]
    rate = last.get("bytes_per_second") or last["items_per_second"]
    return rate * last["real_time"] / last["cpu_time"] if by_cpu else rate


def measure(row, rounds, environment, by_cpu):
    name, _, ours, _, peers = row[:5]
    peer_name = row[7] if len(row) > 7 else name
    sides = {"ours": (ours, name), "peer": (peers, peer_name)}
    rates = {"ours": [], "peer": []}
    for number in range(rounds):
        order = ["peer", "ours"] if number % 2 == 0 else ["ours", "peer"]
        for side in order:
            rates[side].append(run_once(*sides[side], environment, by_cpu))
    return rates


def peak_memory(environment):
    """Bytes over an idle process that parsing the big message takes at its height: median of three of each."""
    def run(*arguments):
        results = [subprocess.run([PROGRAMS / "peak_memory", *arguments], env=environment, stdout=subprocess.PIPE,
                                  check=True, text=True) for _ in range(3)]
        return statistics.median(int(r.stdout) for r in results)
    return run(str(DATA / "big.eml")) - run()


def human(rate, unit):
    if unit == "MB/s":
        return f"{rate / 1e6:,.0f} MB/s"
    return f"{rate / 1e6:.2f} M/s" if rate >= 1e6 else f"{rate:,.0f} /s"


def verdict(met):
    return "" if met is None else "yes" if met else "NO"


def main():
    parser = argparse.ArgumentParser(prog="bench/compare", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=5, help="runs of each side of each row (default 5)")
    parser.add_argument("--only", help="rows whose name contains this text; \"queue\" for all rows of the queue")
    parser.add_argument("--json", action="store_true", help="print one JSON document instead of the table")
    parser.add_argument("--cpu", action="store_true",
                        help="rates by CPU time instead of wall-clock time, for a machine that does other things too; "
                             "without the rows whose peer is a program")
    parser.add_argument("--out", help="directory both sides write to (default: below build/bench-data)")
    parser.add_argument("--no-memory", action="store_true", help="leave the memory row out")
    arguments = parser.parse_args()

    subprocess.run([PROGRAMS / "bench_workload", DATA], check=True)
    output = pathlib.Path(tempfile.mkdtemp(prefix="out.", dir=arguments.out or DATA))
    environment = dict(os.environ, QOB_BENCH_DATA=str(DATA), QOB_BENCH_OUT=str(output))
    results = []
    try:
        write_site(output)
        for row in ROWS:
            if arguments.only and arguments.only not in row[0]:
                continue
            if arguments.cpu and (row[0] in PROGRAM_ROWS or row[3] in PROGRAM_PEERS):
                continue
            if not arguments.json:
                print(f"\r\x1b[K{row[1]} ...", end="", file=sys.stderr, flush=True)
            rates = measure(row, arguments.rounds, environment, arguments.cpu)
            ours, peer = statistics.median(rates["ours"]), statistics.median(rates["peer"])
            target = row[5]
            results.append({"row": row[0], "what": row[1], "peer": row[3], "unit": row[6], "ours": ours, "theirs": peer,
                            "ratio": ours / peer, "target": target,
                            "met": None if target is None else ours / peer >= target,
                            "ours_all": rates["ours"], "theirs_all": rates["peer"]})
        queue = compare_queue.run(PROGRAMS, DATA, output, arguments.rounds, arguments.cpu, arguments.only)
        bounces = [] if arguments.cpu else compare_bounce.run(PROGRAMS, output, arguments.rounds, arguments.only)
        memory = None if arguments.no_memory or arguments.only else peak_memory(environment)
    finally:
        shutil.rmtree(output)
    if not arguments.json:
        print("\r\x1b[K", end="", file=sys.stderr)

    if arguments.json:
        document = {"schema": 1, "rounds": arguments.rounds, "time": "cpu" if arguments.cpu else "wall-clock",
                    "rows": results, "queue": queue, "bounces": bounces}
        if memory is not None:
            document["peak_memory"] = {"bytes_over_idle": memory, "limit": MEMORY_LIMIT, "met": memory < MEMORY_LIMIT}
        print(json.dumps(document, indent=1))
        return
    if results:
        print(f"{'work':36} {'ours':>14} {'peer':>14}  {'':12} {'ratio':>7} {'target':>7}  met")
        for r in results:
            target = "" if r["target"] is None else f"{r['target']:.1f} x"
            print(f"{r['what']:36} {human(r['ours'], r['unit']):>14} {human(r['theirs'], r['unit']):>14}  {r['peer']:12} "
                  f"{r['ratio']:>5.1f} x {target:>7}  {verdict(r['met'])}")
    if memory is not None:
        print(f"{'peak memory, parsing the big file':36} {memory / 1e6:>11.2f} MB over an idle process, limit "
              f"{MEMORY_LIMIT / 1e6:.0f} MB  {verdict(memory < MEMORY_LIMIT)}")
    if queue:
        compare_queue.show(queue)
    if bounces:
        compare_bounce.show(bounces)


if __name__ == "__main__":
    main()
