"""What goes wrong: the exit code of sysexits, and one line that names the file and says what to do."""
import fcntl
import os
import resource
import socket
import struct

from tool import DATA, SOURCE, TOOL, ToolTest, multipart, read, sample

READERS = (["parse"], ["header"], ["extract", "-o", "out"])


class CliFailures(ToolTest):
    def each_reader_fails(self, code, path, says, **options):
        for words in READERS:
            self.fails(code, *words, path, says=says, cwd=self.dir, **options)
        self.assertFalse(os.path.exists(self.path("out")))

    def test_missing_file(self):
        self.each_reader_fails(66, self.path("none.eml"), ["none.eml: No such file or directory", "check the name"])

    def test_file_below_a_file(self):
        self.each_reader_fails(66, os.path.join(sample("dsn.eml"), "x"), ["dsn.eml/x: Not a directory"])

    def test_unreadable_file(self):
        path = self.file("secret.eml", read(sample("dsn.eml")))
        self.refuse(path, 0)
        self.fails(77, "parse", path, user=self.unprivileged(), says=["secret.eml: Permission denied", "right to read"])

    def test_unreadable_folder(self):
        os.mkdir(self.path("shut"))
        self.refuse(self.path("shut"), 0)
        self.fails(77, "parse", "-r", self.path("shut"), user=self.unprivileged(), says="shut: Permission denied")

    def test_empty_file(self):
        self.each_reader_fails(65, self.file("empty.eml", b""), "empty.eml: empty: a message has at least a header")

    def test_empty_standard_input(self):
        self.fails(65, "parse", "-", says="-: empty")

    def test_foreign_binary(self):
        self.each_reader_fails(65, TOOL, ["/qob: not a mail message", "give a message file"])

    def test_foreign_picture(self):
        picture = b"\x89PNG\r\n\x1a\n" + b"\0\0\0\rIHDR" + bytes(range(256)) * 8
        self.each_reader_fails(65, self.file("p.png", picture), "p.png: not a mail message")

    def test_foreign_text(self):
        self.each_reader_fails(65, self.file("t.txt", b"Nothing here\nlooks like a header.\n\nSubject: too late\n"), "t.txt: not a mail message")

    def test_binary_with_a_line_like_a_header(self):
        self.each_reader_fails(65, self.file("b.bin", b"\x7fELF\0\0\nName: x\n\0\0"), "b.bin: not a mail message")

    def test_odd_messages_are_not_foreign(self):
        for text in (b"\r\nonly a body\r\n", b"\n", b"#F ann@example.org\r\nSubject: x\r\n\r\n", b"\xef\xbb\xbfSubject: x\r\nTo: a@b\r\n\r\n",
                     b"garbage first\r\nSubject: x\r\n\r\n", b"Subject: no body", b"Subject : blank\r\n\r\n"):
            self.good("parse", self.file("odd.eml", text))

    def test_message_larger_than_2_gibibytes(self):
        path = self.path("huge.eml")
        with open(path, "wb") as file:
            file.write(b"Subject: x\r\n\r\n")
            file.truncate(2 ** 31)
        self.each_reader_fails(65, path, ["huge.eml: larger than 2147483647 bytes", "split it"])
        self.fails(65, "uudecode", path, "-o", self.path("out"), says="huge.eml: larger than")

    def test_mbox_larger_than_2_gibibytes_is_read(self):
        path = self.path("huge.mbox")
        line = b"\nFrom ann@example.org Sun Nov 15 02:24:00 2026\nSubject: last\n\nx\n"
        with open(path, "wb") as file:
            file.write(line[1:])
            file.truncate(2 ** 31 + 5)
            file.seek(2 ** 31 + 5)
            file.write(b"\n" + line)
        done = self.run_tool("header", "--json", path)
        self.assertEqual(done.code, 65)
        self.assertIn("huge.mbox[1]: larger than", done.errors)
        (row,) = self.objects(done.out)
        self.assertEqual((row["message"], row["subject"]), (2, "last"))

    def test_folder_device_and_socket(self):
        self.fails(64, "parse", self.dir, says="--recursive")
        self.fails(66, "parse", "/dev/null", says=["/dev/null: not a file but a device", "standard input"])
        with socket.socket(socket.AF_UNIX) as there:
            there.bind(self.path("socket"))
            self.fails(66, "parse", self.path("socket"), says="socket: not a file")
        self.fails(66, "uudecode", self.dir, says="not a file")

    def test_file_that_another_process_holds(self):
        # The lock that a program of the mail system sets while it alone works on a file.
        path = self.file("held.eml", read(sample("dsn.eml")))
        with open(path, "r+b") as file:
            lock = struct.pack("hhqqi", fcntl.F_WRLCK, os.SEEK_SET, 0x7FFFFFFFFFFFFF00, 2, 0)
            fcntl.fcntl(file, 37, lock)  # F_OFD_SETLK
            self.fails(75, "parse", path, says=["held.eml: another process holds it", "try again"])
            self.fails(75, "header", path, says="held.eml: another process holds it")
            self.fails(75, "uudecode", path, says="held.eml: another process holds it")
        self.good("parse", path)

    def test_invalid_mime_message(self):
        self.fails(65, "extract", sample("malformed-no-boundary.eml"), "-o", self.path("out"), says=["malformed-no-boundary.eml", "--plain"])
        self.good("header", sample("malformed-no-boundary.eml"))

    def test_full_standard_output(self):
        with open("/dev/full", "wb") as full:
            for words in (["parse", sample("dsn.eml")], ["header", "--json", sample("dsn.eml")], ["date", "15 Nov 2026"], ["config", "show"],
                          ["--help"], ["--version"], ["binhex", "encode", sample("note.uu")]):
                self.fails(74, *words, out=full, says=["standard output: No space left on device", "free some space"])

    def test_closed_standard_output(self):
        self.fails(74, "parse", sample("dsn.eml"), before=lambda: os.close(1), says="standard output: Bad file descriptor")

    def test_full_output_of_many_messages_ends_the_run(self):
        os.mkdir(self.path("mail"))
        for i in range(300):
            self.file("mail/%d" % i, read(sample("nested-multipart.eml")))
        with open("/dev/full", "wb") as full:
            self.fails(74, "parse", "-r", self.path("mail"), out=full, says="standard output")

    def test_full_temporary_directory(self):
        body = b"y" * 200000 + b"\r\n"
        path = self.file("big.eml", b"Subject: x\r\n\r\n" + body)

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))
        self.fails(74, "extract", path, "-o", self.path("out"), before=limit, says=["big.eml: part 0 cannot be written", "TMPDIR"], lines=1)
        self.assertEqual(os.listdir(self.path("out")) if os.path.exists(self.path("out")) else [], [])
        bare = self.file("bare.eml", b"Subject: x\n\n" + body)
        self.fails(74, "parse", bare, before=limit, says=["bare.eml: a temporary copy cannot be written", "File too large", "TMPDIR"])

    def test_output_folder_that_is_none(self):
        path = self.file("taken", b"")
        self.fails(73, "extract", sample("dsn.eml"), "-o", path, says=["taken: cannot be used as output folder", "-o"])
        self.fails(73, "uudecode", sample("note.uu"), "-o", path, says="taken: cannot be used")
        self.fails(64, "extract", sample("dsn.eml"), says=["-o DIR"])

    def test_output_folder_that_is_not_writable(self):
        os.mkdir(self.path("shut"))
        self.refuse(self.path("shut"), 0o555)
        self.fails(77, "extract", sample("dsn.eml"), "-o", self.path("shut"), user=self.unprivileged(), says=["shut/part-1.txt: cannot be written: Permission denied"])
        self.assertEqual(os.listdir(self.path("shut")), [])

    def test_part_that_is_not_there(self):
        self.fails(64, "extract", sample("dsn.eml"), "-o", self.path("out"), "--part", "5", says=["dsn.eml: has no part 5", "0 to 4"])
        self.fails(64, "extract", sample("dsn.eml"), "-o", self.path("out"), "--part", "one", says="--part one")

    def test_wrong_command_lines(self):
        for words, text in (([], "a command is missing"), (["pares"], "pares"), (["word"], "a command is missing"), (["parse"], "FILE is missing"),
                            (["parse", "--jsn", "x"], "--jsn"), (["config", "get", "Options"], "KEY is missing"),
                            (["config", "check", "x"], "\"x\" is one operand too many"), (["extract", "x", "-o"], "--output"),
                            (["word", "decode"], "TEXT is missing"), (["parse", "--color", "blue", "x"], "--color")):
            self.fails(64, *words, says=[text, "--help'"])

    def test_the_map_tells_what_was_written_before_a_failure(self):
        os.mkdir(self.path("out"))
        os.mkdir(self.path("out", "dot.png"))
        done = self.fails(74, "extract", "--json", "--force", sample("nested-multipart.eml"), "-o", self.path("out"), says="dot.png")
        self.assertEqual([row["part"] for row in self.objects(done.out)], [2, 3])


class CliQuickstart(ToolTest):
    def test_names_a_file_that_is_missing_before_it_builds(self):
        import subprocess
        done = subprocess.run([os.path.join(SOURCE, "quickstart"), self.path("none")], capture_output=True, cwd=DATA)
        self.assertEqual(done.returncode, 66)
        self.assertIn(b"none: no such file", done.stderr)
