"""qob config: the real file, where its values come from, and what is wrong in it."""
import os
import stat

from tool import ToolTest, read, sample


class CliConfig(ToolTest):
    def setUp(self):
        super().setUp()
        self.ini = self.path("etc", "twmta.ini")

    def ini_is(self, text):
        self.file("etc/twmta.ini", text)

    def show(self, *more, **options):
        return {(row["section"], row["key"]): row for row in self.json("config", "show", *more, **options)}

    def get(self, section, key, *more):
        return self.good("config", "get", section, key, *more).text.rstrip("\n")

    def findings(self, text):
        self.ini_is(text)
        done = self.run_tool("config", "check", "--json")
        self.assertEqual(done.code, 78 if done.out else 0, done.err)
        return [(row["line"], row["finding"]) for row in self.objects(done.out)]

    def test_shows_where_each_value_comes_from(self):
        self.ini_is("; a comment\n[options]\n TABSIZE = 4\n[Gateway]\nQueueDirectory=/var/spool/qob\n")
        rows = self.show("--all")
        self.assertEqual([rows["Options", "TabSize"][name] for name in ("value", "origin", "line")], ["4", "file", 3])
        self.assertEqual([rows["Gateway", "QueueDirectory"][name] for name in ("value", "origin", "line")], ["/var/spool/qob", "file", 5])
        self.assertEqual([rows["Gateway", "TimeZone"][name] for name in ("value", "origin", "line")], ["PST8PDT", "default", None])
        self.assertEqual(rows["Config", "InstallDirectory"]["origin"], "unset")
        self.assertNotIn(("Config", "InstallDirectory"), self.show())

    def test_shows_the_readable_form_with_lines(self):
        self.ini_is("[Options]\nTabSize=4\n")
        lines = self.good("config", "show").text.splitlines()
        self.assertEqual(lines[0], self.ini + " (QOB_CONFIG_DIR)")
        self.assertIn(["Options", "TabSize", "line", "2", "4"], [line.split() for line in lines])
        self.assertIn(["Options", "StrictMimeParsing", "default", "YES"], [line.split() for line in lines])

    def test_says_that_there_is_no_file(self):
        self.assertEqual(self.good("config", "show").text.splitlines()[0], self.ini + " (QOB_CONFIG_DIR, does not exist)")

    def test_looks_into_the_directory_of_the_environment_first(self):
        self.ini_is("[Options]\nTabSize=4\n")
        os.mkdir(self.path("other"))
        self.file("other/twmta.ini", "[Options]\nTabSize=5\n")
        self.assertEqual(self.get("Options", "TabSize"), "4")
        env = self.environment(QOB_CONFIG_DIR=self.path("other"))
        self.assertEqual(self.good("config", "get", "Options", "TabSize", env=env).text, "5\n")
        done = self.good("config", "get", "Options", "TabSize", "--file", self.ini, env=env)
        self.assertEqual(done.text, "4\n")

    def test_takes_the_system_directory_without_the_environment(self):
        done = self.good("config", "show", env=self.environment(QOB_CONFIG_DIR=None))
        self.assertIn("/etc/qob3xapi/twmta.ini (default", done.text.splitlines()[0])

    def test_works_on_the_real_file_and_makes_no_private_directory(self):
        env = self.environment(TMPDIR="/nowhere")
        self.good("config", "show", env=env)
        self.good("config", "set", "Options", "TabSize", "2", env=env)
        self.assertEqual(read(self.ini), b"[Options]\nTabSize=2\n" if b"\r" not in read(self.ini) else b"[Options]\r\nTabSize=2\r\n")

    def test_shows_a_cut_value_as_the_system_sees_it(self):
        self.ini_is("[Gateway]\nTimeZone=America/New_York\n")
        row = self.show()["Gateway", "TimeZone"]
        self.assertEqual((row["value"], row["cut"]), ("America/New_Yor", True))
        self.assertIn("America/New_Yor [cut]", self.good("config", "show").text)

    def test_gets_the_value_in_effect(self):
        self.ini_is("[Options]\nBounceSender = \"mail master\"\nTabSize=\n")
        self.assertEqual(self.get("options", "bouncesender"), "mail master")
        self.assertEqual(self.get("Options", "TabSize"), "")
        self.assertEqual(self.get("Options", "rrqHeader"), "Return-Receipt-To")

    def test_gets_a_key_of_the_site_that_nothing_reads(self):
        self.ini_is("[Local]\nOwn=%s\n" % ("v" * 2000))
        self.assertEqual(self.get("Local", "Own"), "v" * 2000)

    def test_says_that_a_key_is_unknown(self):
        self.fails(78, "config", "get", "Local", "Own", says=["[Local] Own", "config show --all"])

    def test_keeps_two_keys_apart_that_differ_in_case(self):
        self.ini_is("[Options]\nbounceToPostmaster=YES\n")
        self.assertEqual(self.get("Options", "bounceToPostmaster"), "YES")
        self.assertEqual(self.get("Options", "BounceToPostmaster"), "NO")

    def test_sets_a_value_and_keeps_the_rest(self):
        self.ini_is("; mine\r\n[Options]\r\nTabSize=4 \r\n; end\r\n")
        os.chmod(self.ini, 0o640)
        self.good("config", "set", "Options", "TabSize", "2")
        self.assertEqual(read(self.ini), b"; mine\r\n[Options]\r\nTabSize=2\r\n; end\r\n")
        self.assertEqual(stat.S_IMODE(os.stat(self.ini).st_mode), 0o640)

    def test_removes_a_value(self):
        self.ini_is("[Options]\nTabSize=4\nrrqHeader=X\n")
        self.good("config", "set", "--unset", "Options", "TabSize")
        self.assertEqual(read(self.ini), b"[Options]\nrrqHeader=X\n")
        self.good("config", "set", "--unset", "Options", "TabSize")

    def test_refuses_a_key_that_nothing_reads(self):
        self.fails(64, "config", "set", "Options", "TabSzie", "4", says=["[Options] TabSzie", "--force"])
        self.assertFalse(os.path.exists(self.ini))
        self.good("config", "set", "--force", "Options", "TabSzie", "4")
        self.assertIn(b"TabSzie=4", read(self.ini))

    def test_refuses_a_value_that_would_be_cut(self):
        self.fails(64, "config", "set", "Gateway", "TimeZone", "America/New_York", says=["16 bytes", "cut to 15"])

    def test_refuses_line_ends_and_missing_values(self):
        self.fails(64, "config", "set", "Options", "TabSize", "4\nX=1", says="line end")
        self.fails(64, "config", "set", "Options", "TabSize", says="value is missing")
        self.fails(64, "config", "set", "--unset", "Options", "TabSize", "4", says="no value")

    def test_says_that_the_directory_is_missing(self):
        env = self.environment(QOB_CONFIG_DIR=self.path("none"))
        self.fails(73, "config", "set", "Options", "TabSize", "4", env=env, says=["none/twmta.ini", "make the directory"])

    def test_says_that_it_may_not_write_or_read(self):
        self.ini_is("[Options]\nTabSize=4\n")
        self.refuse(self.path("etc"), 0o555)
        self.fails(77, "config", "set", "Options", "TabSize", "2", user=self.unprivileged(), says=["twmta.ini", "owner"])
        self.refuse(self.ini, 0)
        self.fails(77, "config", "show", user=self.unprivileged(), says=["twmta.ini", "Permission denied"])
        os.chmod(self.ini, 0o600)
        self.assertEqual(read(self.ini), b"[Options]\nTabSize=4\n")

    def test_finds_nothing_in_a_good_file(self):
        folder = self.dir.encode()
        self.assertEqual(self.findings(b"[Gateway]\nTimeZone=xxx\nQueueDirectory=%s\n[Options]\nTabSize=-1\nuseHostname=no\n" % folder), [])

    def test_finds_unknown_keys_and_sections_with_their_lines(self):
        self.assertEqual(self.findings("[Options]\nTabSzie=4\n\n[Optoins]\nTabSize=4\n"),
                         [(2, "unknown key [Options] TabSzie"), (4, "unknown section [Optoins]")])

    def test_finds_cut_values(self):
        ((line, text),) = self.findings("[Gateway]\nTimeZone=America/New_York\n")
        self.assertEqual(line, 2)
        for part in ("longer than 15 bytes", '"America/New_Yor"', "TimeZone=xxx"):
            self.assertIn(part, text)

    def test_finds_what_is_never_read(self):
        rows = self.findings("Lost=1\n[Options]\nTabSize=1\nTabSize=2\nno entry\n[Debug]\n[OPTIONS]\nrrqHeader=X\n")
        self.assertEqual([line for line, _ in rows], [1, 4, 5, 7])
        for (_, text), part in zip(rows, ("before the first section", "set on line 3 already", "not an entry", "on line 2 already")):
            self.assertIn(part, text)

    def test_finds_values_that_are_no_switch_number_or_word(self):
        rows = self.findings("[Options]\nuseHostname=true\nTabSize=four\n[Debug]\nLogFileIO=YES\n[Log]\nDestination=paper\n"
                             "[Store]\nDurability=often\n")
        self.assertEqual([line for line, _ in rows], [2, 3, 5, 7, 9])
        for (_, text), part in zip(rows, ("YES or NO", "a number", "TRUE or FALSE", "file stderr syslog", "commit system")):
            self.assertIn(part, text)

    def test_finds_missing_directories(self):
        rows = self.findings("[Gateway]\nQueueDirectory=%s\nTemporaryDirectory=%s\n" % (self.path("none"), sample("dsn.eml")))
        self.assertIn("No such file", rows[0][1])
        self.assertIn("not a directory", rows[1][1])

    def test_finds_the_missing_file(self):
        done = self.run_tool("config", "check")
        self.assertEqual((done.code, done.text), (78, self.ini + ": does not exist: every value is its default\n"))

    def test_prints_findings_with_file_and_line(self):
        self.ini_is("[Options]\nTabSzie=4\n")
        done = self.run_tool("config", "check")
        self.assertEqual(done.text, self.ini + ":2: unknown key [Options] TabSzie\n")
