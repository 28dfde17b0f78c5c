"""qob queue check --repair, killed at any moment, racing with itself and with programs at work."""
import os
import random
import signal
import subprocess

from check_tool import RECORD, CheckTest
from queue_tool import message, recipient
from tool import TOOL, read, write


class CliQueueRepair(CheckTest):
    """Repairs that are killed, race with each other and with programs at work."""
    COUNT = 40

    def damage(self, generation):
        """Some of everything; the bytes of mail and records that must survive."""
        base = 0x1000 * (generation + 1)
        precious, records = [], []
        for i in range(self.COUNT):
            number = base + i
            text = "mail %08X" % number
            kind = i % 5
            if kind == 0:
                write(self.name(number), text)
                precious.append(text)
            elif kind == 1:
                records += [message(number, "s%x@b.example" % number), recipient(number, "r%x@b.example" % number)]
            elif kind == 2:
                records += [recipient(number, "r%x@b.example" % number), {"mark": "smtp", "id": number}]
            elif kind == 3:
                records += [message(number, directory="out"), recipient(number, "r%x@b.example" % number)]
                write(self.name(number), text)
                precious.append(text)
            else:
                write(self.name(number), text)
                precious.append(text)
                self.lock(number)
                self.age(self.name(number, ".lck"))
        self.fill(*records)
        return precious, [record["address"] for record in records if "address" in record and record["address"] != "a@b.example"]

    def bodies(self):
        """The content of each file that holds mail, wherever it lies now."""
        found = []
        for queue in (self.queue, self.out):
            for folder in (queue, os.path.join(queue, "corrupt")):
                for name in os.listdir(folder) if os.path.isdir(folder) else []:
                    if ".msg" in name:
                        found.append(read(os.path.join(folder, name)).decode())
        return found

    def addresses(self):
        """Every address that stands in the database or in saved records."""
        found = set()
        for row in self.json("queue", "list"):
            found.add(row["sender"])
            found |= {one["address"] for one in row["recipients"]}
        for queue in (self.queue, self.out):
            for name in self.corrupt(queue):
                if ".records" in name:
                    data = read(os.path.join(queue, "corrupt", name))
                    for at in range(0, len(data), RECORD):
                        found.add(data[at + 292:at + 804].split(b"\0")[0].decode())
        return found

    def start(self, *words):
        return subprocess.Popen([TOOL, "queue", "check", "--repair", "--json", self.out, *words], env=self.environment(),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def free_the_dead(self):
        """What the start of the machine does for locks: those of the killed repair are older than it then."""
        for queue in (self.queue, self.out):
            for name in os.listdir(queue):
                if name.endswith(".lck"):
                    self.age(os.path.join(queue, name))

    def survived(self, precious, addresses):
        self.all_reported()
        bodies = self.bodies()
        for text in precious:
            self.assertEqual(bodies.count(text), 1, text)
        missing = set(addresses) - self.addresses()
        lost = missing - self.standing()
        self.assertEqual(lost, set())

    def standing(self):
        """Addresses of recipients without a message, which no list shows, while they are in the database."""
        numbers = {int(bytes(key)[:8], 16) for (key,) in self.sql("SELECT k0 FROM records")}
        return {"r%x@b.example" % number for number in numbers} | {"s%x@b.example" % number for number in numbers}

    def test_a_repair_killed_at_any_moment_loses_nothing(self):
        chance = random.Random(4711)
        killed = 0
        for generation in range(8):
            precious, addresses = self.damage(generation)
            limit = 0.02
            for _ in range(200):
                process = self.start()
                try:
                    process.communicate(timeout=chance.uniform(0.001, limit))
                    code = process.returncode
                except subprocess.TimeoutExpired:
                    process.send_signal(signal.SIGKILL)
                    process.communicate()
                    killed += 1
                    code = None
                    limit *= 1.3
                self.survived(precious, addresses)
                if code == 0:
                    break
                self.free_the_dead()
            self.assertEqual(code, 0)
            self.assertEqual(self.found(0, "--repair", self.out), [])
            self.survived(precious, addresses)
            self.no_locks()
        self.assertGreater(killed, 25)

    def test_two_repairs_at_once_do_the_work_once(self):
        for generation in range(5):
            precious, addresses = self.damage(generation)
            rows = []
            for process in [self.start(), self.start()]:
                out, err = process.communicate(timeout=100)
                self.assertEqual((process.returncode, err), (0, b""), out)
                rows += self.objects(out)
            self.assertEqual({row["repair"] for row in rows}, {"done"})
            places = [(row["finding"], row["path"]) for row in rows]
            self.assertEqual(len(places), len(set(places)))
            self.survived(precious, addresses)

    def test_a_repair_waits_its_turn(self):
        released = self.path("released")
        holder = subprocess.Popen(
            ["python3", "-c", "import fcntl,struct,sys,time\n"
             "f=open(sys.argv[1],'r+b')\n"
             "fcntl.fcntl(f,37,struct.pack('hhqqi4x',fcntl.F_WRLCK,0,0x7FFFFFFFFFFFFF00,1,0))\n"
             "print('held',flush=True);time.sleep(1);open(sys.argv[2],'w').close()", self.turn(), released], stdout=subprocess.PIPE)
        self.addCleanup(holder.stdout.close)
        self.addCleanup(holder.wait)
        holder.stdout.readline()
        self.mail(0x77)
        self.assertEqual(self.found(0, "--repair"), [("orphan-file", "00000077", "done")])
        self.assertTrue(os.path.exists(released), "the turn was taken while another had it")

    def turn(self):
        path = os.path.join(self.queue, "repair.turn")
        write(path, "")
        return path

    def test_programs_at_work_lose_nothing_to_a_repair(self):
        """Messages come and go the way programs make them: locked, file first, then the records, then the lock goes."""
        stop = self.path("stop")
        worker = subprocess.Popen(["python3", "-c", """
import json, os, subprocess, sys, time
queue, stop, fill, tool = sys.argv[1:]
made = 0
while not os.path.exists(stop):
    numbers = range(0x5000 + 8 * made, 0x5000 + 8 * made + 8)
    for n in numbers:
        open("%s/%08X.lck" % (queue, n), "x").close()
        with open("%s/%08X.msg" % (queue, n), "w") as f:
            f.write("mail %08X" % n)
    lines = "".join(json.dumps({"key": "%08xf" % n, "address": "a@b.example", "directoryName": "queue"}) + "\\n" +
                    json.dumps({"key": "%08xr" % n, "address": "r@b.example"}) + "\\n" for n in numbers)
    subprocess.run([fill, queue], input=lines.encode(), check=True)
    for n in numbers:
        os.remove("%s/%08X.lck" % (queue, n))
    made += 1
print(made * 8)
""", self.queue, stop, os.environ.get("QOB_QUEUE_FILL", "cli_queue_fill"), TOOL], stdout=subprocess.PIPE, env=self.environment())
        self.addCleanup(worker.wait)
        self.addCleanup(worker.kill)
        findings = []
        for _ in range(40):
            done = self.run_tool("queue", "check", "--repair", "--json")
            self.assertIn(done.code, (0, 75), done.out + done.err)
            findings += [row["finding"] for row in self.objects(done.out)]
        write(stop, "")
        out, _ = worker.communicate(timeout=100)
        self.assertEqual(worker.returncode, 0)
        self.assertTrue(set(findings) <= {"held-lock"}, set(findings))
        self.assertEqual(len(self.ids("id >= 00005000")), int(out))
        self.assertEqual(self.found(0), [])
        self.assertEqual(self.corrupt(), [])
