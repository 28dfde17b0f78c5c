"""qob magic, peer and ban: the small databases of a site."""
import json
import os
import shutil
import sqlite3
import stat

from tool import TOOL, ToolTest, read, write

SEEDS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(TOOL))), "share", "qob3xapi", "srcdb")
NUMBERS = ["flag0", "AcceptMail", "flag2", "flag3", "value4", "MaxInBoundSize", "MaxOutBoundSize", "MesageQueuedBeforeAttempt",
           "QueueRunInterval", "RetryPeriod", "MaxSMTPSessions", "MaxMesgPerSession"]


class DatabaseTest(ToolTest):
    """A site with an empty queue directory and the seeds of the build."""

    def setUp(self):
        super().setUp()
        self.queue = self.path("queue")
        os.mkdir(self.queue)
        shutil.copytree(SEEDS, self.path("srcdb"))
        self.file("etc/twmta.ini", "[Gateway]\nQueueDirectory=%s\n[Config]\nInstallDirectory=%s\n[Store]\nDurability=system\n"
                  % (self.queue, self.dir))

    def raw(self, name, offset, width):
        """A text of every record as it lies in the file, read by another program; the bodies have their zeros squeezed."""
        connection = sqlite3.connect(os.path.join(self.queue, name + ".db"))
        bodies = [row[0] for row in connection.execute("SELECT body FROM records ORDER BY number")]
        connection.close()
        return [self.unsqueezed(body[4:])[offset:offset + width].split(b"\0")[0].decode() for body in bodies]

    @staticmethod
    def unsqueezed(body):
        def count(at):
            number = shift = 0
            while True:
                number |= (body[at] & 127) << shift
                shift += 7
                at += 1
                if not body[at - 1] & 128:
                    return number, at
        record, at = b"", 0
        while at < len(body):
            length, at = count(at)
            record += body[at:at + length]
            at += length
            if at < len(body):
                zeros, at = count(at)
                record += bytes(zeros)
        return record + bytes(400)


class CliMagic(DatabaseTest):
    def find(self, *words):
        return [row["extension"] for row in self.json("magic", "find", *words)]

    def seed(self):
        self.good("magic", "update", "pdf", "--text", "portable document")

    def test_looks_without_making_a_database(self):
        self.fails(66, "magic", "list", says="there is none")
        self.fails(66, "magic", "find", "pdf", says="there is none")
        self.assertEqual(os.listdir(self.queue), [])

    def test_the_first_change_places_the_seed(self):
        self.good("magic", "add", "mine", "model/mine")
        rows = self.json("magic", "list")
        self.assertGreater(len(rows), 150)
        self.assertEqual(rows[-1], {"schema": "qob.magic/1", "extension": "mine", "type": "model", "subtype": "mine",
                                    "encoding": "base64", "mac": "", "description": ""})
        self.assertEqual(self.raw("magicdb", 4, 10)[-1], "mine")

    def test_without_a_seed_a_change_is_refused(self):
        shutil.rmtree(self.path("srcdb"))
        self.fails(66, "magic", "add", "mine", "model/mine", says="InstallDirectory")

    def test_finds_by_extension_type_and_codes(self):
        self.seed()
        self.assertEqual(self.find("PDF"), ["pdf"])
        self.assertEqual(self.find(".pdf"), ["pdf"])
        self.assertEqual(self.find("IMAGE/tiff"), ["tif", "tiff"])
        self.assertEqual(self.find("--mac", "PDF CARO"), ["pdf"])
        self.fails(66, "magic", "find", "--mac", "pdf caro", says="no such file type")

    def test_names_what_is_not_there_and_lists_the_rest(self):
        self.seed()
        done = self.fails(66, "magic", "find", "nothing", "pdf", "--json", says="nothing: ")
        self.assertEqual([row["extension"] for row in self.objects(done.out)], ["pdf"])

    def test_shows_a_table(self):
        self.seed()
        lines = self.good("magic", "find", "jpg").text.splitlines()
        self.assertEqual(lines[0].split(), ["extension", "type", "encoding", "Macintosh", "what", "it", "is"])
        self.assertEqual(lines[1].split(), ["jpg", "image/jpeg", "base64", "JPEGogle", "picture"])

    def test_adds_all_fields(self):
        self.good("magic", "add", "mine", "model/mine", "--encoding", "8bit", "--mac", "MI NE", "--text", "of mine")
        self.assertEqual(self.json("magic", "find", "mine")[0],
                         {"schema": "qob.magic/1", "extension": "mine", "type": "model", "subtype": "mine",
                          "encoding": "8bit", "mac": "MI  NE  ", "description": "of mine"})

    def test_refuses_a_second_record_of_an_extension(self):
        self.fails(65, "magic", "add", "PDF", "model/mine", says="application/pdf")

    def test_refuses_what_no_record_holds(self):
        for words, says in ((["ten-letters", "a/b"], "1 to 9"), (["", "a/b"], "1 to 9"), (["a.b", "a/b"], "full stop"),
                            (["x", "a"], "with a /"), (["x", "a/b/c"], "MIME subtype"), (["x", "a/"], "MIME subtype"),
                            (["x", "a/b", "--mac", "TEXT"], "Macintosh"), (["x", "a/b", "--mac", "ABCDEFGHI"], "Macintosh"),
                            (["x", "a/b", "--text", "x" * 128], "127 characters"),
                            (["x", "a/b", "--encoding", "rot13"], "rot13")):
            self.fails(64, "magic", "add", *words, says=says)
        self.assertEqual(os.listdir(self.queue), [])

    def test_changes_what_is_given_and_keeps_the_rest(self):
        self.good("magic", "update", "JPG", "--mac", "")
        self.good("magic", "update", "jpg", "image/other")
        row = self.json("magic", "find", "jpg")[0]
        self.assertEqual([row[name] for name in ("type", "subtype", "encoding", "mac", "description")],
                         ["image", "other", "base64", "", "picture"])
        self.fails(66, "magic", "update", "nothing", "a/b", says="nothing: ")

    def test_removes_and_names_what_was_not_there(self):
        self.fails(66, "magic", "remove", "pdf", "nothing", "zip", says="nothing: ")
        self.fails(66, "magic", "find", "pdf", says="pdf: ")
        self.fails(66, "magic", "find", "zip", says="zip: ")

    def test_takes_the_types_of_one_site_to_another(self):
        self.good("magic", "add", "mine", "model/mine")
        self.good("magic", "update", "pdf", "--text", "changed")
        types = self.good("magic", "export").out
        other = self.path("other")
        os.mkdir(other)
        self.assertEqual(self.good("magic", "import", "-q", other, "-", data=types).text.split(",")[:2],
                         ["1 added", " 1 changed"])
        self.assertEqual(self.good("magic", "export", "-q", other).out, types)
        again = self.good("magic", "import", "-q", other, write(self.path("types"), types)).text
        self.assertEqual(again, "0 added, 0 changed, %d as they were\n" % len(types.splitlines()))

    def test_reads_a_whole_file_before_it_changes_anything(self):
        good = {"schema": "qob.magic/1", "extension": "mine", "type": "a", "subtype": "b", "encoding": "base64", "mac": "",
                "description": ""}
        for bad in ("junk", "[]", "{}", json.dumps(dict(good, extension="ten-letters")), json.dumps(dict(good, type=1)),
                    json.dumps(dict(good, mac="TEXT")), json.dumps(dict(good, schema="qob.peer/1")), "\x00", "[" * 10000):
            self.fails(65, "magic", "import", "-", data=(json.dumps(good) + "\n" + bad + "\n").encode(), says="-:2: ")
        self.fails(66, "magic", "import", self.path("nothing"), says="nothing")
        self.assertEqual(os.listdir(self.queue), [])

    def test_leaves_a_damaged_database_alone(self):
        place = write(os.path.join(self.queue, "magicdb.db"), "no database")
        for words in (["list"], ["find", "pdf"], ["export"], ["add", "mine", "a/b"], ["remove", "pdf"]):
            self.fails(65, "magic", *words, says="damaged")
        self.assertEqual(read(place), b"no database")

    def test_needs_a_queue_directory(self):
        self.file("etc/twmta.ini", "")
        self.fails(78, "magic", "list", says="QueueDirectory")
        self.fails(66, "magic", "list", "-q", self.path("nothing"), says="no queue directory")


class CliPeer(DatabaseTest):
    def explain(self, name):
        return {row["value"]: (row["holds"], row["origin"], row["record"]) for row in self.json("peer", "explain", name)}

    def peer(self, domain):
        return self.json("peer", "get", domain)[0]

    def test_the_first_change_places_the_seed(self):
        self.fails(66, "peer", "list", says="there is none")
        self.good("peer", "set", "example.org", "RetryPeriod=96")
        self.assertEqual([row["domain"] for row in self.json("peer", "list")], ["default", "example.org"])
        self.assertEqual(sorted(self.raw("peerdb", 52, 128)), ["default", "example.org"])

    def test_a_new_record_changes_only_what_it_names(self):
        self.good("peer", "set", "default", "AcceptMail=0", "MesageQueuedBeforeAttempt=1", "MaxInBoundSize=500")
        before = self.explain("mx.example.org")
        self.good("peer", "set", "example.org", "RetryPeriod=96")
        after = self.explain("mx.example.org")
        self.assertEqual({name: value[0] for name, value in after.items() if name != "RetryPeriod"},
                         {name: value[0] for name, value in before.items() if name != "RetryPeriod"})
        self.assertEqual(after["RetryPeriod"], (96, "parent", "example.org"))
        self.assertEqual(after["AcceptMail"], (0, "parent", "example.org"))

    def test_sets_values_by_name_in_any_case(self):
        self.good("peer", "set", "Example.org", "queueruninterval=30", "FLAG0=-5")
        self.good("peer", "set", "EXAMPLE.ORG", "MaxSMTPSessions=2147483647")
        row = self.peer("example.org")
        self.assertEqual(row["domain"], "Example.org")
        self.assertEqual([row[name] for name in ("QueueRunInterval", "flag0", "MaxSMTPSessions")], [30, -5, 2147483647])

    def test_refuses_values_that_are_none(self):
        for word, says in (("Interval=1", "QueueRunInterval"), ("RetryPeriod", "NAME=NUMBER"), ("RetryPeriod=", "no number"),
                           ("RetryPeriod=1x", "no number"), ("RetryPeriod=2147483648", "no number")):
            self.fails(64, "peer", "set", "example.org", word, says=says)
        self.fails(64, "peer", "set", "n" * 128, "RetryPeriod=1", says="127")
        self.fails(64, "peer", "set", "a b", "RetryPeriod=1", says="domain")

    def test_shows_one_record_value_by_value(self):
        self.good("peer", "set", "example.org", "RetryPeriod=96")
        lines = self.good("peer", "get", "example.org").text.splitlines()
        self.assertEqual(lines[0], "domain=example.org")
        self.assertEqual([line.split("=")[0] for line in lines[1:]], NUMBERS)
        self.assertIn("RetryPeriod=96", lines)
        self.fails(66, "peer", "get", "mx.example.org", says="qob peer explain")

    def test_removes_and_names_what_was_not_there(self):
        self.good("peer", "set", "example.org", "RetryPeriod=96")
        self.fails(66, "peer", "remove", "example.org", "example.net", says="example.net: ")
        self.assertEqual([row["domain"] for row in self.json("peer", "list")], ["default"])

    def test_explains_every_value_by_its_record(self):
        self.good("peer", "set", "example.org", "AcceptMail=0", "QueueRunInterval=30", "MesageQueuedBeforeAttempt=1")
        self.good("peer", "set", "mx.example.org", "AcceptMail=1", "MesageQueuedBeforeAttempt=0", "MaxOutBoundSize=77")
        self.good("peer", "set", "default", "MaxInBoundSize=5000", "RetryPeriod=0")
        self.assertEqual(self.explain("mx.example.org"), {
            "AcceptMail": (1, "own", "mx.example.org"), "MaxInBoundSize": (5000, "default", "default"),
            "MaxOutBoundSize": (77, "own", "mx.example.org"), "MesageQueuedBeforeAttempt": (0, "own", "mx.example.org"),
            "QueueRunInterval": (30, "parent", "example.org"), "RetryPeriod": (72, "built-in", None),
            "MaxSMTPSessions": (5, "default", "default"), "MaxMesgPerSession": (6, "default", "default")})
        self.assertEqual(self.explain(".a.example.org")["AcceptMail"], (0, "parent", "example.org"))
        self.assertEqual(self.explain("h" * 200 + ".example.org")["QueueRunInterval"], (30, "parent", "example.org"))

    def test_explains_without_a_database(self):
        self.assertEqual(self.explain("example.org")["QueueRunInterval"], (15, "built-in", None))
        lines = self.good("peer", "explain", "example.org").text.splitlines()
        self.assertEqual(lines[1].split(), ["AcceptMail", "1", "built-in"])
        self.assertEqual(os.listdir(self.queue), [])

    def test_leaves_a_damaged_database_alone(self):
        place = write(os.path.join(self.queue, "peerdb.db"), "no database")
        for words in (["list"], ["get", "a"], ["set", "a", "flag0=1"], ["remove", "a"], ["explain", "a"]):
            self.fails(65, "peer", *words, says="damaged")
        self.assertEqual(read(place), b"no database")


class CliBan(DatabaseTest):
    def checked(self, *addresses):
        return [row["banned"] for row in self.json("ban", "check", *addresses)]

    def test_nobody_is_banned_before_the_first(self):
        self.assertEqual(self.good("ban", "list").text, "")
        self.assertEqual(self.good("ban", "check", "ann@example.org").text, "ann@example.org not banned\n")
        self.assertEqual(os.listdir(self.queue), [])

    def test_bans_and_lets_in_again(self):
        self.good("ban", "add", "ann@example.org", "Bob@example.org")
        self.good("ban", "add", "ANN@example.org")
        self.assertEqual([row["address"] for row in self.json("ban", "list")], ["ann@example.org", "Bob@example.org"])
        self.assertEqual(self.raw("banuserdb", 0, 240), ["ann@example.org", "Bob@example.org"])
        self.assertEqual(self.checked("Ann@Example.org", "bob@example.org", "cid@example.org"), [True, True, False])
        self.good("ban", "remove", "ANN@example.org")
        self.assertEqual(self.checked("ann@example.org"), [False])
        self.fails(66, "ban", "remove", "ann@example.org", says="is not banned")

    def test_the_database_is_the_owners_alone(self):
        self.good("ban", "add", "ann@example.org")
        self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.queue, "banuserdb.db")).st_mode), 0o600)

    def test_bans_no_address_that_does_not_fit(self):
        for address in ("a" * 240, "", "a b@example.org", "a\nb"):
            self.fails(64, "ban", "add", address, says="address")
        self.good("ban", "add", "a" * 239)
        self.assertEqual(self.checked("a" * 239, "a" * 240), [True, False])

    def test_tells_of_a_damaged_database(self):
        place = write(os.path.join(self.queue, "banuserdb.db"), "no database")
        for words in (["list"], ["add", "a@b"], ["remove", "a@b"], ["check", "a@b"]):
            self.fails(65, "ban", *words, says="damaged")
        self.assertEqual(read(place), b"no database")
