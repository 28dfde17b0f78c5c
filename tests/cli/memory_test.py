"""The main commands under valgrind: no wrong access, no leak."""
import os
import resource

import tool
from tool import DATA, SOURCE, ToolTest, crlf, has_program, sample

SUPPRESSIONS = [os.path.join(SOURCE, "tests", "valgrind.supp"), os.path.join(SOURCE, "tests", "cli", "valgrind.supp")]


class CliMemory(ToolTest):
    def run_tool(self, *words, **more):
        real = tool.TOOL
        options = ["--quiet", "--error-exitcode=99", "--leak-check=full", "--show-leak-kinds=definite,indirect,possible",
                   "--errors-for-leak-kinds=definite,indirect,possible"]
        options += ["--suppressions=" + path for path in SUPPRESSIONS]
        try:
            tool.TOOL = "valgrind"
            return super().run_tool(*options, real, *words, **more)
        finally:
            tool.TOOL = real

    def setUp(self):
        super().setUp()
        if not has_program("valgrind"):
            self.skipTest("valgrind is not installed")

    def samples(self):
        return [sample(name) for name in sorted(os.listdir(DATA)) if name.endswith((".eml", ".mbox")) and name != "malformed-no-boundary.eml"]

    def test_parse(self):
        self.good("parse", "--json", *self.samples())

    def test_extract(self):
        self.good("extract", *self.samples(), "-o", self.path("out"))

    def test_header(self):
        self.good("header", "--decoded", *self.samples(), sample("maildir"))

    def test_failures(self):
        for words in (["parse", sample("malformed-no-boundary.eml")], ["parse", self.path("none")], ["header", "--nonsense"]):
            self.assertIn(self.run_tool(*words).code, (64, 65, 66))

    def test_texts(self):
        self.good("address", "Ann <ann@example.org>, bob@example.net (x), bad > y")
        self.good("date", "Sun, 15 Nov 2026 02:24:05 -0800")
        self.good("word", "encode", "Gr\u00fc\u00dfe")
        self.good("word", "decode", "=?ISO-8859-1?Q?Gr=FC=DFe?=")

    def test_codecs(self):
        self.good("uudecode", sample("note.uu"), "-o", self.path("out"))
        self.good("binhex", "decode", "--applesingle", sample("letter.hqx"), "-o", self.path("out"))
        self.good("binhex", "encode", sample("note.uu"), "-o", self.path("out", "x.hqx"))

    def test_config(self):
        self.good("config", "set", "Options", "TabSize", "4")
        self.good("config", "show")
        self.good("config", "check")

    def test_build(self):
        name = self.file("B\u00fccher.pdf", b"%PDF" * 1000)
        for words in (["--charset", "ISO-2022-JP"], ["--multipart", "related", "--part", "id=a,description=\u00fc,file=" + name], ["--header", "Reply-To: \u00c4 <a@b>"]):
            self.good("build", "--from", "J\u00f6rg <j@x.example>", "--to", "a@b, c@d (C)", "-s", "Gr\u00fc\u00dfe " * 50, "--text", "x", "-a", name, *words)

    def test_send(self):
        name = self.file("B\u00fccher.pdf", b"%PDF" * 1000)
        for path in ("queue", "site"):
            os.mkdir(self.path(path))
        self.file("etc/twmta.ini", "[Gateway]\nTimeZone=xxx\nQueueDirectory=%s\nTemporaryDirectory=%s\n" % (self.path("queue"), self.path("site")))
        self.good("send", "-t", "--json", data=b"To: a@b.example\nBcc: c@d.example\n\nx\n.\n")
        self.good("send", "--to", "a@b.example", "--text", "x", "-a", name)
        for words in (["build", "--to", "a b", "--text", "x"], ["send"], ["send", "-t"], ["send", "--to", "a@b", "-a", self.path("none"), "--text", "x"]):
            self.assertIn(self.run_tool(*words).code, (64, 65, 66))


class CliMemoryLimit(ToolTest):
    def test_says_that_memory_is_short(self):
        # A million parts do not fit into what is left, wherever that shows first.
        head = "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
        path = self.file("many.eml", crlf(head + "--b\n\nx\n" * 1000000 + "--b--\n"))
        for megabytes in (60, 90, 140, 200):
            size = megabytes << 20
            done = self.run_tool("parse", path, before=lambda: resource.setrlimit(resource.RLIMIT_AS, (size, size)))
            self.assertEqual((done.code, len(done.errors.splitlines())), (70, 1), done.err)
            self.assertIn("many.eml: out of memory", done.errors)
