"""Help, man pages and completions, which all come from the table of commands."""
import os
import re
import subprocess

from tool import PAGES, SOURCE, ToolTest, has_program, read

COMMANDS = ["parse", "extract", "header", "build", "send", "bounce", "dsn send", "dsn parse", "notice", "sendlog",
            "address", "date", "word encode", "word decode", "binhex encode", "binhex decode", "uudecode",
            "init", "config show", "config get", "config set", "config check", "jis encode", "jis decode", "jis check",
            "magic list", "magic find", "magic add", "magic update", "magic remove", "magic import", "magic export",
            "peer list", "peer get", "peer set", "peer remove", "peer explain",
            "ban list", "ban add", "ban remove", "ban check",
            "queue list", "queue show", "queue stats", "queue shape", "queue recipients", "queue reasons", "queue watch",
            "queue retry", "queue hold", "queue release", "queue remove", "queue move", "queue lock", "queue unlock", "queue check",
            "channel list", "channel show", "channel drain"]
MAN = os.path.join(SOURCE, "docs", "man")
COMPLETIONS = os.path.join(SOURCE, "tools", "qob", "completions")


class CliHelp(ToolTest):
    def test_prints_the_version(self):
        with open(os.path.join(SOURCE, "CMakeLists.txt")) as file:
            version = re.search(r"project\(qob3xapi VERSION ([0-9.]+)", file.read()).group(1)
        self.assertEqual(self.good("--version").text, "qob %s\n" % version)

    def test_begins_with_examples(self):
        for command in [""] + COMMANDS:
            done = self.good(*command.split(), "--help")
            self.assertTrue(done.text.startswith("Examples:\n  qob " + command) or "  fetch |" in done.text, command)
            self.assertEqual(done.errors, "")

    def test_lists_every_command(self):
        text = self.good("--help").text
        self.assertEqual(re.findall(r"^  ([a-z]+(?: [a-z]+)?)  ", text.split("Commands:\n")[1].split("\n\n")[0], re.M), COMMANDS)

    def test_keeps_to_80_columns(self):
        for command in [""] + COMMANDS:
            for line in self.good(*command.split(), "-h").text.splitlines():
                self.assertLess(len(line), 90 if line.startswith("  qob ") else 80, line)

    def test_lists_the_members_of_a_family(self):
        text = self.good("config", "--help").text
        self.assertEqual(re.findall(r"^  (config [a-z]+)", text, re.M), [name for name in COMMANDS if name.startswith("config")])

    def test_shows_help_whatever_else_stands_there(self):
        self.assertIn("Usage: qob parse", self.good("parse", "x", "--help").text)


class CliPages(ToolTest):
    def test_are_what_the_table_makes(self):
        os.mkdir(self.path("man"))
        os.mkdir(self.path("completions"))
        subprocess.run([PAGES, self.path("man"), self.path("completions")], check=True)
        for made, kept in ((self.path("man"), MAN), (self.path("completions"), COMPLETIONS)):
            self.assertEqual(sorted(os.listdir(made)), sorted(os.listdir(kept)))
            for name in os.listdir(made):
                self.assertEqual(read(os.path.join(made, name)), read(os.path.join(kept, name)),
                                 "run: cmake --build BUILD --target qob_update_pages")

    def test_there_is_a_man_page_for_each_command(self):
        expected = ["qob.1"] + ["qob-%s.1" % name.replace(" ", "-") for name in COMMANDS]
        self.assertEqual(sorted(os.listdir(MAN)), sorted(expected))

    def test_man_pages_are_clean_roff(self):
        if not has_program("groff"):
            self.skipTest("groff is not installed")
        for name in sorted(os.listdir(MAN)):
            done = subprocess.run(["groff", "-man", "-ww", "-z", "-Tutf8", "-K", "utf8", os.path.join(MAN, name)], capture_output=True)
            self.assertEqual((done.returncode, done.stderr), (0, b""), name)

    def test_man_pages_name_every_option(self):
        for command in COMMANDS:
            page = read(os.path.join(MAN, "qob-%s.1" % command.replace(" ", "-"))).decode().replace("\\-", "-")
            for option in re.findall(r"--[a-z]+(?:-[a-z]+)*", self.good(*command.split(), "--help").text.split("Options:\n")[1]):
                self.assertIn(option, page, command)

    def complete(self, *words):
        script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _qob; printf "%s\\n" "${COMPREPLY[@]}"'
        done = subprocess.run(["bash", "-c", script, "bash", os.path.join(COMPLETIONS, "qob.bash"), "qob", *words], capture_output=True, cwd=self.dir)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode().split()

    def test_bash_completes_commands_options_and_files(self):
        self.assertEqual(self.complete("pa"), ["parse"])
        self.assertEqual(self.complete("word", ""), ["encode", "decode"])
        self.assertEqual(self.complete("extract", "--ke"), ["--keep-messages"])
        self.assertEqual(self.complete("word", "encode", "--encoding", ""), ["q", "b"])
        self.file("letter.eml", b"")
        self.assertEqual(self.complete("parse", "let"), ["letter.eml"])
        self.assertEqual(self.complete("extract", "-o", ""), ["tmp", "etc"] if self.complete("extract", "-o", "")[0] == "tmp" else ["etc", "tmp"])

    def test_bash_completes_every_option_of_every_command(self):
        for command in COMMANDS:
            listed = set(re.findall(r"^ +(?:-., )?(--[a-z-]+)", self.good(*command.split(), "--help").text.split("Options:\n")[1], re.M))
            self.assertEqual(set(self.complete(*command.split(), "--")), listed, command)

    def test_zsh_and_fish_accept_their_scripts(self):
        checked = 0
        for shell, name in (("zsh", "_qob"), ("fish", "qob.fish")):
            if has_program(shell):
                done = subprocess.run([shell, "-n", os.path.join(COMPLETIONS, name)], capture_output=True)
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                checked += 1
        if checked == 0:
            self.skipTest("neither zsh nor fish is installed")

    def zsh(self, *words):
        """What the script hands to the two functions of zsh that show completions."""
        script = ("_describe() { print -rl -- ${(P)2} }; _arguments() { print -rl -- $words -- $CURRENT -- \"$@\" }; "
                  "script=$1; shift; words=(\"$@\"); CURRENT=$#; set --; source $script")
        done = subprocess.run(["zsh", "-f", "-c", script, "zsh", os.path.join(COMPLETIONS, "_qob"), "qob", *words], capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode().splitlines()

    def test_zsh_completes_commands_and_options(self):
        if not has_program("zsh"):
            self.skipTest("zsh is not installed")
        self.assertIn("parse:show the parts of messages", self.zsh(""))
        self.assertEqual(self.zsh("word", ""), ["encode:make encoded words", "decode:read encoded words"])
        rows = self.zsh("config", "get", "Options", "Tab")
        self.assertEqual(rows[:5], ["qob", "Options", "Tab", "--", "3"])
        self.assertIn("2:KEY: ", rows)
        self.assertTrue(any(row.startswith("--json[") for row in rows))

    def test_fish_completes_the_members_of_a_family(self):
        if not has_program("fish"):
            self.skipTest("fish is not installed")
        done = subprocess.run(["fish", "--no-config", "-c", "source $argv[1]; complete -C 'qob word '", os.path.join(COMPLETIONS, "qob.fish")],
                              capture_output=True, env=self.environment(HOME=self.dir))
        self.assertEqual(sorted(line.split()[0] for line in done.stdout.decode().splitlines()), ["decode", "encode"])

    def test_the_json_document_names_every_schema_and_member(self):
        from tool import ADDRESS_LISTS, HEADER_TEXTS, MEMBERS, PART_MEMBERS
        with open(os.path.join(SOURCE, "docs", "json.md")) as file:
            text = file.read()
        for schema, members in MEMBERS.items():
            self.assertIn("`%s`" % schema, text)
            for member in members + PART_MEMBERS + ADDRESS_LISTS + HEADER_TEXTS + ["unreadable", "fields", "received", "other", "date"]:
                self.assertIn("`%s`" % member, text)
