"""The queue's rows of bench/README.md: the message database beside a plain SQLite program, `qob queue list` beside postqueue -p,
the growth of a scan, the cost of a handle. Used by compare.py.

Data sets are made once below build/bench-data and used again; what is inserted goes to a scratch directory.
"""
import json
import os
import pathlib
import resource
import shutil
import statistics
import subprocess
import sys
import time

import compare_submit
import postfix_queue

# Changes whenever what is written does, so that older sets are made anew.
VERSION = "queue data 2\n"
# Sets of records: name, messages (five records each), ids in the order of the file or scattered.
SETS = {
    "records-10000": (2_000, "ascending"),
    "records-1250000": (250_000, "ascending"),
    "records-1250000-scattered": (250_000, "scattered"),
}
LISTED = 10_000
SCANNED = (50_000, 100_000)
INSERT_MS = 2000
READ_MS = 1000
PEER = "sqlite"


class Bench:
    def __init__(self, programs, data, output, rounds, by_cpu):
        self.programs, self.data, self.output = programs, data, output
        self.rounds = rounds
        self.rate = "cpu_rate" if by_cpu else "rate"
        self.rows = []

    def call(self, program, *words):
        """One run of one program: what its JSON line says."""
        command = [str(self.programs / program), *map(str, words)]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if result.returncode != 0:
            sys.exit(f"{' '.join(command)}: {result.stderr.strip()}")
        return json.loads(result.stdout) if result.stdout else None

    def add(self, what, ours, theirs, peer, unit, target, note="", higher_is_better=True):
        ratio = None if theirs is None else ours / theirs if higher_is_better else theirs / ours
        met = None if target is None else ratio >= target
        self.rows.append({"row": what, "what": what, "peer": peer, "unit": unit, "ours": ours, "theirs": theirs,
                          "ratio": ratio, "target": target, "met": met, "note": note})

    def state(self, what, ours, unit, limit=None, met=None, note=""):
        self.rows.append({"row": what, "what": what, "peer": "", "unit": unit, "ours": ours, "theirs": None, "ratio": None,
                          "target": None, "limit": limit, "met": met, "note": note})

    def interleaved(self, sides):
        """name -> call, each called once a round, in an order that changes; name -> list of results."""
        found = {name: [] for name in sides}
        names = list(sides)
        for number in range(self.rounds):
            for name in names if number % 2 == 0 else names[::-1]:
                found[name].append(sides[name]())
        return found

    # Data sets.

    def made(self, name, make):
        """The directory of a data set, made by `make` when it is not there yet."""
        place = self.data / name
        stamp = place / "stamp"
        if stamp.exists() and stamp.read_text() == VERSION:
            return place
        shutil.rmtree(place, ignore_errors=True)
        place.mkdir(parents=True)
        print(f"\r\x1b[Kmaking {name} ...", end="", file=sys.stderr, flush=True)
        make(place)
        # What was written settles before anything is measured.
        os.sync()
        stamp.write_text(VERSION)
        return place

    def record_set(self, name):
        messages, order = SETS[name]
        last = ["scattered"] if order == "scattered" else []

        def make(place):
            for side, program in (("ours", "store_bench"), ("peer", "sqlite_peer")):
                (place / side).mkdir()
                self.call(program, "fill", place / side, messages, *last)
        return self.made(name, make)

    def queue_set(self, messages):
        return self.made(f"queue-{messages}", lambda place: self.call("queue_fill", place / "queue", messages)) / "queue"

    # Rows.

    def inserts(self):
        def run(program, processes):
            place = self.output / "insert"
            shutil.rmtree(place, ignore_errors=True)
            place.mkdir()
            writers = self.call(program, "insert", place, processes, INSERT_MS)["writers"]
            shutil.rmtree(place)
            return writers
        programs = {"store": "store_bench", "exported": "mesgdb_bench", PEER: "sqlite_peer"}
        runs = self.interleaved({(side, count): (lambda p=program, c=count: run(p, c))
                                 for side, program in programs.items() for count in (1, 2)})

        # Inserts are told by the clock also with --cpu: what they wait for is the disk.
        def median(side, count, figure):
            return statistics.median(figure(writers) for writers in runs[side, count])

        def total(writers):
            return sum(w["rate"] for w in writers)

        def fairness(writers):
            rates = sorted(w["rate"] for w in writers)
            return rates[0] / rates[-1]

        def worst(name):
            return lambda writers: max(w[name] for w in writers) / 1000
        alone = median(PEER, 1, total)
        for side in ("store", "exported"):
            title = "the store" if side == "store" else "exported"
            self.add(f"durable insert, one process, {title}", median(side, 1, total), alone, "SQLite", "1/s", 0.9)
            self.add(f"... two at once, the sum, {title}", median(side, 2, total), alone, "SQLite, one", "1/s", 1.0)
            fair = median(side, 2, fairness)
            self.state(f"... the slower beside the faster, {title}", fair, "x", 0.8, fair >= 0.8)
            slow = median(side, 2, worst("p999_us"))
            self.state(f"... 99.9 % of commits within, {title}", slow, "ms", 60, slow < 60)
            self.state(f"... the longest commit of all runs, {title}",
                       max(worst("worst_us")(writers) for writers in runs[side, 2]), "ms")
        self.state("... the longest checkpoint of all runs, the store",
                   max(worst("longest_checkpoint_us")(writers) for count in (1, 2) for writers in runs["store", count]), "ms")
        self.state("the SQLite program, two at once, the sum", median(PEER, 2, total), "1/s")
        self.state("... its slower beside its faster", median(PEER, 2, fairness), "x")
        self.state("... 99.9 % of its commits within", median(PEER, 2, worst("p999_us")), "ms")

    def reads(self, name, title, target):
        place = self.record_set(name)
        messages, order = SETS[name]
        last = ["scattered"] if order == "scattered" else []
        # Read once, so that neither side waits for the disk.
        for file in sorted(place.glob("*/*")):
            with open(file, "rb", buffering=0) as f:
                while f.read(1 << 20):
                    pass
        for work in ("find", "next"):
            sides = {"store": ["store_bench", work, place / "ours"], "exported": ["mesgdb_bench", work, place / "ours"],
                     PEER: ["sqlite_peer", work, place / "peer"], "frozen": ["sqlite_peer", "frozen", work, place / "peer"]}
            runs = self.interleaved({side: (lambda w=words: self.call(*w, messages, READ_MS, *last)[self.rate])
                                     for side, words in sides.items()})
            middle = {side: statistics.median(rates) for side, rates in runs.items()}
            what = "lookup" if work == "find" else "next"
            note = f"with one open statement {middle['frozen']:,.0f} /s"
            self.add(f"{what}, {title}, the store", middle["store"], middle[PEER], "SQLite", "1/s", target, note)
            self.add(f"{what}, {title}, exported", middle["exported"], middle[PEER], "SQLite", "1/s", target)

    def disk(self):
        place = self.record_set("records-1250000")

        def size(side):
            return sum(file.stat().st_size for file in (place / side).iterdir() if not file.name.endswith("-shm"))
        ours, theirs = size("ours"), size("peer")
        self.add("disk, 1,000,000 recipients", ours, theirs, "SQLite", "MB", 5.0, f"{ours / 4.4e9:.2f} of 4.4 GB",
                 higher_is_better=False)

    def timed(self, command, environment, messages):
        """Seconds that a command took, of the clock or of the processor, its own children's with it."""
        def processor():
            used = resource.getrusage(resource.RUSAGE_CHILDREN)
            return used.ru_utime + used.ru_stime
        clock = processor if self.rate == "cpu_rate" else time.perf_counter
        start = clock()
        out = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        seconds = clock() - start
        if out.returncode != 0 or out.stdout.count(b"\n") < messages:
            sys.exit(f"{' '.join(map(str, command))}: {out.returncode}, {out.stdout.count(bytes([10]))} lines")
        return seconds

    def lists(self):
        queue = self.queue_set(LISTED)
        site = self.output / "list-site"
        site.mkdir()
        (site / "twmta.ini").write_text(f"[Gateway]\nTimeZone=xxx\nQueueDirectory={queue}\nTemporaryDirectory={site}\n")
        environment = dict(os.environ, QOB_CONFIG_DIR=str(site))
        qob = str(self.programs.parent / "bin" / "qob")
        sides = {"text": lambda: self.timed([qob, "queue", "list"], environment, LISTED),
                 "json": lambda: self.timed([qob, "queue", "list", "--json"], environment, LISTED)}
        why_not = postfix_queue.unavailable()
        if why_not is None:
            mail = self.made("postfix", lambda place: postfix_queue.build(place, LISTED, 1))
            if postfix_queue.listed(mail) != LISTED:
                sys.exit("postqueue does not list what was made")
            sides["postqueue"] = lambda: self.timed(postfix_queue.command(mail), None, LISTED)
        for side in sides.values():
            side()
        middle = {name: statistics.median(all_runs) for name, all_runs in self.interleaved(sides).items()}
        for name, title in (("text", "qob queue list"), ("json", "qob queue list --json")):
            if why_not is None:
                self.add(f"{title}, 10,000 messages", middle[name], middle["postqueue"], "postqueue -p", "s", 4.0,
                         higher_is_better=False)
            else:
                self.state(f"{title}, 10,000 messages", middle[name], "s", note=why_not)

    def scan(self):
        smaller, larger = (self.queue_set(count) for count in SCANNED)
        # A run that was broken off may have left its lock, and a locked message is passed over.
        for queue in (smaller, larger):
            for lock in queue.glob("*.lck"):
                lock.unlink()
        sides = {count: (lambda q=queue: self.call("queue_scan", q)) for count, queue in zip(SCANNED, (smaller, larger))}
        for side in sides.values():
            side()
        runs = self.interleaved(sides)
        for count, results in runs.items():
            if any(result["messages"] != count for result in results):
                sys.exit(f"a scan of {count} messages found {[result['messages'] for result in results]}")
        clock = "cpu_seconds" if self.rate == "cpu_rate" else "seconds"
        seconds = {count: statistics.median(r[clock] for r in results) for count, results in runs.items()}
        growth = seconds[SCANNED[1]] / seconds[SCANNED[0]]
        self.state(f"scan of {SCANNED[1]:,} messages beside {SCANNED[0]:,}", growth, "x", 2.2, growth < 2.2,
                   f"{SCANNED[1] / seconds[SCANNED[1]]:,.0f} messages/s")

    def handles(self):
        place = self.record_set("records-10000") / "ours"
        for held, title in (([], "the file's first handle"), (["held"], "beside one that is open")):
            runs = [self.call("mesgdb_bench", "open", place, 200, *held)["us"] for _ in range(self.rounds)]
            self.state(f"open and close, {title}", statistics.median(runs), "us")

    def run(self, only):
        """Every row, or those of the parts whose name contains `only`."""
        parts = {
            "insert": self.inserts,
            "read-10000": lambda: self.reads("records-10000", "10,000 records", 0.8),
            "read-million": lambda: self.reads("records-1250000-scattered", "1,250,000 records", 2.0),
            "read-ascending": lambda: self.reads("records-1250000", "... ids in the file's order", None),
            "disk": self.disk,
            "list": self.lists,
            "scan": self.scan,
            "handles": self.handles,
            "submit": lambda: compare_submit.measure(self),
        }
        for name, part in parts.items():
            if only and only not in "queue-" + name:
                continue
            print(f"\r\x1b[Kqueue: {name} ...", end="", file=sys.stderr, flush=True)
            part()
        print("\r\x1b[K", end="", file=sys.stderr)
        return self.rows


def value(amount, unit):
    if amount is None:
        return ""
    if unit == "1/s":
        return f"{amount:,.0f} /s"
    if unit == "MB":
        return f"{amount / 1e6:,.0f} MB"
    if unit == "s":
        return f"{amount * 1000:,.1f} ms"
    return f"{amount:,.2f} {unit}" if unit == "x" else f"{amount:,.1f} {unit}"


def show(rows):
    print(f"{'the queue':54} {'ours':>13} {'peer':>13}  {'':12} {'ratio':>8} {'target':>7}  met")
    for row in rows:
        ratio = "" if row["ratio"] is None else f"{row['ratio']:.2f} x"
        target = "" if row["target"] is None else f"{row['target']:.1f} x"
        if row.get("limit") is not None:
            target = f"{row['limit']:g} {row['unit']}"
        met = "" if row["met"] is None else "yes" if row["met"] else "NO"
        line = (f"{row['what']:54} {value(row['ours'], row['unit']):>13} {value(row['theirs'], row['unit']):>13}  "
                f"{row['peer']:12} {ratio:>8} {target:>7}  {met:3}  {row['note']}")
        print(line.rstrip())


def run(programs, data, output, rounds, by_cpu, only):
    return Bench(pathlib.Path(programs), pathlib.Path(data), pathlib.Path(output), rounds, by_cpu).run(only)
