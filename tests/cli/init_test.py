"""qob init: a system made from nothing, finished after a break, and left alone when it stands."""
import os
import re
import stat

from tool import TOOL, ToolTest, read

DATABASES = ["banuserdb.db", "banuserdb.id0", "magicdb.db", "magicdb.id0", "mesg.btr", "peerdb.db", "peerdb.id0"]


class CliInit(ToolTest):
    def system(self, *more, name="system"):
        return self.good("init", self.path(name), "--host", "mx1", "--domain", "example.org", *more)

    def use(self, name="system"):
        return self.environment(QOB_CONFIG_DIR=self.path(name))

    def mode(self, *names):
        return stat.S_IMODE(os.stat(self.path(*names)).st_mode)

    def test_makes_everything_with_its_modes(self):
        done = self.system()
        self.assertEqual(sorted(os.listdir(self.path("system"))), ["queue", "temp", "twmta.ini"])
        held = os.listdir(self.path("system", "queue"))
        self.assertEqual(sorted(name for name in held if name in DATABASES), DATABASES)
        for names in (["system"], ["system", "queue"], ["system", "temp"]):
            self.assertEqual(self.mode(*names), 0o700, names)
        self.assertEqual(self.mode("system", "twmta.ini"), 0o600)
        self.assertEqual({line.split()[0] for line in done.text.splitlines()}, {"made"})
        self.assertIn("QOB_CONFIG_DIR=" + self.path("system"), done.errors)

    def test_its_configuration_is_without_mistakes_and_in_effect(self):
        self.system()
        self.assertEqual(self.run_tool("config", "check", env=self.use()).code, 0)
        got = self.good("config", "get", "Connection", "GatewayHostName", env=self.use()).text
        self.assertEqual(got, "mx1\n")
        got = self.good("config", "get", "Gateway", "QueueDirectory", env=self.use()).text
        self.assertEqual(got, self.path("system", "queue") + "\n")

    def test_each_default_that_stands_as_a_comment_is_the_default(self):
        self.system()
        section = ""
        seen = 0
        for line in read(self.path("system", "twmta.ini")).decode().splitlines():
            section = line.strip("[]") if line.startswith("[") else section
            entry = re.fullmatch(r";(\w+)=(.*)", line)
            if entry and section != "Config":
                got = self.run_tool("config", "get", section, entry[1], env=self.use())
                self.assertEqual((got.code, got.text), (0, entry[2] + "\n"), line)
                seen += 1
        self.assertGreater(seen, 10)

    def test_mail_can_be_sent_and_is_found(self):
        self.system()
        self.good("send", "-f", "ann@example.org", "bob@example.net", data=b"Subject: x\r\n\r\nhello\r\n", env=self.use())
        rows = self.json("queue", "list", env=self.use())
        self.assertEqual([row["sender"] for row in rows], ["ann@example.org"])
        self.assertEqual(self.run_tool("queue", "check", env=self.use()).code, 0)

    def test_the_databases_hold_their_seeds(self):
        self.system()
        self.assertGreater(len(self.json("magic", "list", env=self.use())), 1000)
        self.assertEqual(self.json("ban", "list", env=self.use()), [])

    def test_changes_nothing_that_stands(self):
        self.system()
        ini = self.path("system", "twmta.ini")
        with open(ini, "ab") as f:
            f.write(b"; mine\n")
        before = {name: read(self.path("system", "queue", name)) for name in DATABASES}
        text = read(ini)
        done = self.system("--json")
        self.assertEqual({row["made"] for row in self.objects(done.out)}, {False})
        self.assertEqual(read(ini), text)
        self.assertEqual({name: read(self.path("system", "queue", name)) for name in DATABASES}, before)

    def test_finishes_what_was_cut_short(self):
        self.system()
        for name in ("magicdb.db", "peerdb.id0", "mesg.btr"):
            os.remove(self.path("system", "queue", name))
        rows = {os.path.basename(row["path"]): row["made"] for row in self.objects(self.system("--json").out)}
        self.assertTrue(rows["magicdb.db"] and rows["mesg.btr"])
        self.assertFalse(rows["twmta.ini"])
        self.assertIn("peerdb.id0", os.listdir(self.path("system", "queue")))

    def test_uses_the_directories_of_a_configuration_that_stands(self):
        os.mkdir(self.path("system"))
        lines = "[Gateway]\nQueueDirectory=%s\nTemporaryDirectory=%s\n" % (self.path("elsewhere"), self.path("work"))
        self.file("system/twmta.ini", lines)
        self.fails(73, "init", self.path("system"), says="[Config] InstallDirectory")
        seeds = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(TOOL))), "share", "qob3xapi")
        self.file("system/twmta.ini", lines + "[Config]\nInstallDirectory=%s\n" % seeds)
        self.system()
        self.assertIn("mesg.btr", os.listdir(self.path("elsewhere")))
        self.assertEqual(sorted(os.listdir(self.path("system"))), ["twmta.ini"])

    def test_says_when_the_directory_cannot_be_made(self):
        self.file("flat", "")
        done = self.run_tool("init", self.path("flat"))
        self.assertEqual(done.code, 73)
        self.assertIn(self.path("flat"), done.errors)

    def test_refuses_names_that_a_configuration_cannot_hold(self):
        for words in (["a\\b"], ["a\nb"], ["x" * 250], ["ok", "--host", "a b"], ["ok", "--domain", "a\nQueueDirectory=/"]):
            done = self.run_tool("init", *[self.path(words[0])] + words[1:])
            self.assertEqual(done.code, 64, words)
            self.assertEqual(done.out, b"")
        self.assertFalse(os.path.exists(self.path("ok")))

    def test_a_name_with_blanks_and_signs_works(self):
        self.system(name="my mail; 'old'")
        self.assertEqual(self.run_tool("queue", "check", env=self.use("my mail; 'old'")).code, 0)
