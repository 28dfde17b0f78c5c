"""qob jis, against Python's own codecs."""
import os
import stat

from tool import ToolTest, read, write

IN, OUT = b"\x1b$B", b"\x1b(J"


def jis_codes():
    """Every two-byte code of JIS X 0208 that Python knows, as (JIS, Shift-JIS, character)."""
    for row in range(0x21, 0x7F):
        for cell in range(0x21, 0x7F):
            code = bytes([row, cell])
            try:
                character = (b"\x1b$B" + code + b"\x1b(B").decode("iso2022_jp")
                yield code, character.encode("shift_jis"), character
            except UnicodeError:
                pass


class CliJisEncode(ToolTest):
    def encode(self, data, *words):
        return self.good("jis", "encode", *words, data=data).out

    def test_writes_every_character_of_the_set_as_another_encoder_does(self):
        codes = list(jis_codes())
        self.assertEqual(len(codes), 6879)
        text = b"".join(shift_jis + b"\r\n" for _, shift_jis, _ in codes)
        self.assertEqual(self.encode(text), b"".join(IN + jis + OUT + b"\r\n" for jis, _, _ in codes))

    def test_writes_every_character_of_the_set_from_utf8(self):
        # Two characters of the set have other names in Python than in the system's tables.
        codes = [row for row in jis_codes() if row[2] not in "\\\uff3c"]
        text = "".join(character + "\n" for _, _, character in codes).encode()
        self.assertEqual(self.encode(text, "--from", "utf-8"), b"".join(IN + jis + OUT + b"\n" for jis, _, _ in codes))

    def test_keeps_escape_sequences_out_of_a_run(self):
        self.assertEqual(self.encode(b"a\x88\x9f\x88\x9fb"), b"a" + IN + b"0!0!" + OUT + b"b")

    def test_widens_half_width_katakana_also_at_both_ends(self):
        self.assertEqual(self.encode(b"\xb6\xde"), IN + b"%," + OUT)
        self.assertEqual(self.encode(b"\xb6"), IN + b"%+" + OUT)
        self.assertEqual(self.encode(b"x\xca\xdf\xb6"), b"x" + IN + b"%Q%+" + OUT)
        self.assertEqual(self.encode("\uff76\uff9e".encode(), "--from", "utf-8"), IN + b"%," + OUT)

    def test_leaves_line_ends_and_nul_bytes_as_they_are(self):
        text = b"a\r\n\nb\r\0c\r\n\x88\x9f\n"
        self.assertEqual(self.encode(text), b"a\r\n\nb\r\0c\r\n" + IN + b"0!" + OUT + b"\n")

    def test_gives_nothing_for_nothing(self):
        self.assertEqual(self.encode(b""), b"")
        self.assertEqual(self.encode(b"", "--from", "utf-8"), b"")

    def test_leaves_a_byte_that_is_none_and_tells_it(self):
        done = self.fails(65, "jis", "encode", data=b"a\nb\xff\x80c\x88\x9f",
                          says=["-: 2 bytes are no Shift-JIS", "the first in line 2"])
        self.assertEqual(done.out, b"a\nb\xff\x80c" + IN + b"0!" + OUT)

    def test_writes_a_mark_for_each_byte_that_is_none(self):
        for mark in ("?", " <?> ", '"q"', "'", ";x", "#", "[x]"):
            self.assertEqual(self.encode(b"a\xff\x80b", "--mark", mark), b"a" + mark.encode() * 2 + b"b")

    def test_the_mark_of_the_site_does_not_count(self):
        self.file("etc/twmta.ini", "[Options]\nInvalidCharacterMark=SITE\n")
        self.assertEqual(self.run_tool("jis", "encode", data=b"a\xffb").out, b"a\xffb")

    def test_refuses_a_mark_that_no_message_can_carry(self):
        for mark in ("", "x" * 32, "a\nb", "\x1b$B", "\u3042"):
            self.fails(64, "jis", "encode", "--mark", mark, says="--mark: give 1 to 31 printable ASCII characters")

    def test_names_a_character_that_has_no_place_and_writes_nothing(self):
        done = self.fails(65, "jis", "encode", "--from", "utf-8", data="a\n\U0001f600\u3042\u20ac".encode(),
                          says=["line 2: U+1F600", "and 1 more"])
        self.assertEqual(done.out, b"")
        self.fails(65, "jis", "encode", "--from", "utf-8", data=b"\xe3\x81", says="the byte E3, which is no UTF-8")

    def test_never_takes_another_character_for_an_ascii_one(self):
        self.fails(65, "jis", "encode", "--from", "utf-8", data="\u00a5".encode(), says="U+00A5")
        self.assertEqual(self.encode(b"\\~|^", "--from", "utf-8"), b"\\~|^")

    def test_takes_the_names_that_vendors_give_to_some_characters(self):
        for pair in ("\u301c\uff5e", "\u2212\uff0d", "\u2016\u2225"):
            self.assertEqual(*(self.encode(character.encode(), "--from", "utf-8") for character in pair))
        self.assertEqual(self.encode("\u2460".encode(), "--from", "utf-8"), IN + b"-!" + OUT)

    def test_writes_a_mark_for_each_character_without_a_place(self):
        done = self.good("jis", "encode", "--from", "utf-8", "--mark", "?", data="\U0001f600a\u20ac".encode() + b"\xff")
        self.assertEqual(done.out, b"?a??")
        self.assertIn("3 characters replaced by the mark, the first in line 1: U+1F600", done.errors)

    def test_drops_a_byte_order_mark_at_the_start_only(self):
        self.assertEqual(self.encode(b"\xef\xbb\xbfab", "--from", "utf-8"), b"ab")
        self.fails(65, "jis", "encode", "--from", "utf-8", data=b"a\xef\xbb\xbf", says="U+FEFF")

    def test_a_character_may_lie_across_any_two_blocks(self):
        for size in range(65530, 65540):
            text = "a" * size + "\u3042\u3044"
            self.assertEqual(self.encode(text.encode(), "--from", "utf-8"), b"a" * size + IN + b"$\"$$" + OUT)
            back = self.good("jis", "decode", "--to", "utf-8", data=b"a" * size + IN + b"$\"$$" + OUT)
            self.assertEqual(back.out, text.encode())

    def test_writes_to_a_file_and_tells_it_as_json(self):
        path = self.file("in.sjis", b"\x88\x9f\xff")
        out = self.path("out.jis")
        done = self.run_tool("jis", "encode", path, "-o", out, "--json")
        (row,) = self.objects(done.out)
        self.assertEqual(done.code, 65)
        self.assertEqual(row, {"schema": "qob.jis/1", "action": "encode", "file": path, "path": out, "read": 3,
                               "written": 9, "unconverted": 1})
        self.assertEqual(read(out), IN + b"0!" + OUT + b"\xff")

    def test_takes_no_files_place_unasked(self):
        path, out = self.file("in", b"a"), self.file("out", b"old")
        self.fails(73, "jis", "encode", path, "-o", out, says="exists: use --force")
        self.assertEqual(read(out), b"old")
        self.good("jis", "encode", path, "-o", out, "--force")
        self.assertEqual(read(out), b"a")

    def test_says_what_it_cannot_read(self):
        self.fails(66, "jis", "encode", self.path("none"), says="No such file")
        self.fails(66, "jis", "encode", self.dir, says="not a file")
        self.fails(64, "jis", "encode", "--from", "latin-1", says="--from: latin-1 not in {shift_jis,utf-8}")
        self.fails(64, "jis", "encode", "--json", says="--json tells about the file that --output names")
        self.fails(64, "jis", "decode", "-o", "-", "--json", says="--json tells about the file that --output names")

    def test_reads_a_name_with_a_backslash_in_it(self):
        self.assertEqual(self.good("jis", "encode", self.file("a\\b", b"\x88\x9f")).out, IN + b"0!" + OUT)

    def test_tells_a_full_disk(self):
        with open("/dev/full", "wb") as full:
            self.fails(74, "jis", "encode", data=b"x" * 100000, out=full, says="standard output: No space left")

    def test_needs_a_temporary_directory(self):
        self.fails(73, "jis", "encode", env=self.environment(TMPDIR=self.path("none")), says="no private directory")


class CliJisDecode(ToolTest):
    def decode(self, data, *words):
        return self.good("jis", "decode", *words, data=data).out

    def test_reads_every_character_of_the_set_as_another_decoder_does(self):
        codes = list(jis_codes())
        text = b"".join(b"\x1b$B" + jis + b"\x1b(B\r\n" for jis, _, _ in codes)
        self.assertEqual(self.decode(text), b"".join(shift_jis + b"\r\n" for _, shift_jis, _ in codes))

    def test_reads_every_character_of_the_set_into_utf8(self):
        codes = [row for row in jis_codes() if row[2] not in "\\\uff3c"]
        text = b"".join(b"\x1b$@" + jis + b"\x1b(J\n" for jis, _, _ in codes)
        expected = "".join(character + "\n" for _, _, character in codes).encode()
        self.assertEqual(self.decode(text, "--to", "utf-8"), expected)

    def test_gives_back_what_was_encoded(self):
        text = ("\u65e5\u672c\u8a9e ASCII \u30ab\u30ca\u2460\\~\r\n" * 2000).encode()
        jis = self.good("jis", "encode", "--from", "utf-8", data=text).out
        self.assertEqual(self.decode(jis, "--to", "utf-8"), text)
        shift_jis = self.decode(jis)
        self.assertEqual(self.good("jis", "encode", data=shift_jis).out, jis)

    def test_repairs_lost_escapes_when_asked(self):
        damaged = b"Subject: $B0!(B $B0!\r\n$Bill (Boo)\r\n"
        self.assertEqual(self.decode(damaged), damaged)
        self.assertEqual(self.decode(damaged, "--repair"), b"Subject: \x88\x9f $B0!\r\n$Bill (Boo)\r\n")

    def test_the_repair_of_the_site_does_not_count(self):
        self.file("etc/twmta.ini", "[Gateway]\nLocalCharSet=ISO-2022-JP\n[Options]\nRepairDamagedJIS=YES\nScanForJIS=NO\n")
        self.assertEqual(self.decode(b"$B0!(B \x1b$B0!\x1b(B"), b"$B0!(B \x88\x9f")

    def test_two_byte_text_goes_on_over_line_ends(self):
        self.assertEqual(self.decode(b"\x1b$B0!\r\n0!\x1b(B"), b"\x88\x9f\r\n\x88\x9f")

    def test_half_width_katakana_are_shown_in_utf8(self):
        self.assertEqual(self.decode(b"\xb6\xde", "--to", "utf-8"), "\uff76\uff9e".encode())

    def test_tells_places_without_a_character(self):
        done = self.fails(65, "jis", "decode", "--to", "utf-8", data=b"a\n\x1b$B)!\x1b(Bb\xff\x81",
                          says=["3 places", "the first in line 2: the bytes 85 40"])
        self.assertEqual(done.out, "a\n\ufffdb\ufffd\ufffd".encode())

    def test_gives_nothing_for_nothing(self):
        self.assertEqual(self.decode(b""), b"")
        self.assertEqual(self.decode(b"", "--to", "utf-8"), b"")

    def test_any_bytes_pass(self):
        for seed in range(8):
            data = bytes((i * (2 * seed + 3) + (i >> 3) * 7) & 0xFF for i in range(4096))
            for words in ((), ("--repair",)):
                self.decode(data, *words)
            code = self.run_tool("jis", "decode", "--to", "utf-8", data=data).code
            self.assertIn(code, (0, 65))


class CliJisCheck(ToolTest):
    JIS, SHIFT_JIS = b"Subject: \x1b$B0!\x1b(B\r\n\r\nx\r\n", b"Subject: \x88\x9f\r\n\r\nx\r\n"

    def setUp(self):
        super().setUp()
        self.ini("ISO-2022-JP")
        self.mail = self.file("mail.msg", self.JIS)

    def ini(self, local, options=""):
        self.file("etc/twmta.ini", "[Gateway]\nLocalCharSet=%s\n[Options]\n%s" % (local, options))

    def check(self, *words):
        return [(row["result"], row["before"], row["after"]) for row in self.json("jis", "check", *words)]

    def test_converts_the_file_in_place(self):
        os.chmod(self.mail, 0o640)
        before = os.stat(self.mail)
        self.assertEqual(self.check(self.mail), [("converted", len(self.JIS), len(self.SHIFT_JIS))])
        self.assertEqual(read(self.mail), self.SHIFT_JIS)
        after = os.stat(self.mail)
        self.assertEqual((after.st_mode, after.st_uid, after.st_gid), (before.st_mode, before.st_uid, before.st_gid))
        self.assertEqual(os.listdir(self.dir).count("mail.msg"), 1)
        self.assertEqual([name for name in os.listdir(self.dir) if name.startswith(".qob")], [])

    def test_does_not_touch_what_does_not_change(self):
        write(self.mail, self.SHIFT_JIS)
        before = os.stat(self.mail)
        self.assertEqual(self.check(self.mail), [("unchanged", len(self.SHIFT_JIS), len(self.SHIFT_JIS))])
        self.assertEqual((os.stat(self.mail).st_ino, os.stat(self.mail).st_mtime_ns), (before.st_ino, before.st_mtime_ns))

    def test_tells_what_it_would_do(self):
        self.assertEqual(self.check("--dry-run", self.mail), [("would", len(self.JIS), len(self.SHIFT_JIS))])
        self.assertEqual(read(self.mail), self.JIS)

    def test_leaves_all_as_it_is_where_the_site_does_not_convert(self):
        for local, options in (("ISO-8859-1", ""), ("", ""), ("ISO-2022-JP", "ScanForJIS=no\n")):
            self.ini(local, options)
            done = self.good("jis", "check", self.mail)
            self.assertIn("this site leaves received mail as it is", done.errors)
            self.assertEqual(read(self.mail), self.JIS)
        self.assertEqual(self.check("--always", self.mail), [("converted", len(self.JIS), len(self.SHIFT_JIS))])

    def test_converts_where_the_site_asks_for_it(self):
        self.ini("", "ScanForJIS=YES\n")
        self.assertEqual(self.good("jis", "check", self.mail).errors, "")
        self.assertEqual(read(self.mail), self.SHIFT_JIS)

    def test_repairs_as_the_site_says_or_when_asked(self):
        damaged = b"$B0!(B\r\n"
        for options, words, after in (("", (), b"\x88\x9f\r\n"), ("RepairDamagedJIS=NO\n", (), damaged),
                                      ("RepairDamagedJIS=NO\n", ("--repair",), b"\x88\x9f\r\n")):
            self.ini("ISO-2022-JP", options)
            write(self.mail, damaged)
            self.check(*words, self.mail)
            self.assertEqual(read(self.mail), after)

    def test_follows_a_link_and_leaves_it(self):
        link = self.path("link")
        os.symlink("mail.msg", link)
        self.check(link)
        self.assertTrue(stat.S_ISLNK(os.lstat(link).st_mode))
        self.assertEqual(read(self.mail), self.SHIFT_JIS)

    def test_names_each_file_that_it_cannot_convert_and_goes_on(self):
        done = self.fails(66, "jis", "check", self.path("none"), self.dir, self.mail, lines=2,
                          says=["none: No such file", "not a file"])
        self.assertIn("mail.msg: converted", done.text)
        self.assertEqual(read(self.mail), self.SHIFT_JIS)

    def test_a_file_that_cannot_be_replaced_stays(self):
        user = self.unprivileged()
        folder = self.path("folder")
        os.mkdir(folder)
        mail = write(os.path.join(folder, "mail.msg"), self.JIS)
        self.refuse(folder, 0o555)
        self.fails(77, "jis", "check", mail, user=user, says=["cannot be replaced: Permission denied", "left as it is"])
        self.assertEqual((read(mail), os.listdir(folder)), (self.JIS, ["mail.msg"]))

    def test_a_file_of_another_owner_stays(self):
        if os.getuid() != 0:
            self.skipTest("only root can give a file away")
        folder = self.path("folder")
        os.mkdir(folder)
        os.chmod(folder, 0o777)
        mail = write(os.path.join(folder, "mail.msg"), self.JIS)
        self.fails(77, "jis", "check", mail, user=self.unprivileged(), says="left as it is")
        self.assertEqual((read(mail), os.listdir(folder), os.stat(mail).st_uid), (self.JIS, ["mail.msg"], 0))

    def test_keeps_an_empty_file_and_names_with_any_bytes(self):
        for name in ("empty", "a\\b", "line\nfeed", b"\xff\xfe"):
            path = os.path.join(self.dir, name) if isinstance(name, str) else os.path.join(self.dir.encode(), name)
            write(path, b"")
            self.assertEqual(self.check(path), [("unchanged", 0, 0)])
            write(path, self.JIS)
            done = self.good("jis", "check", path)
            self.assertEqual((read(path), len(done.text.splitlines())), (self.SHIFT_JIS, 1))
