"""Names that a message gives: what becomes of each. One case for one name."""
import os

from tool import ToolTest, multipart, read, sample


def disposition(parameter):
    return "Content-Disposition: attachment; %s\n" % parameter


LONG = "x" * 300
# (case, parameter of the disposition, the file name that must come of it)
NAMES = [
    ("climbing_path", 'filename="../../../etc/passwd"', "passwd"),
    ("absolute_path", 'filename="/etc/shadow"', "shadow"),
    ("backslash_path", 'filename="..\\\\..\\\\windows\\\\win.ini"', "win.ini"),
    ("unescaped_backslash_path", 'filename="C:\\dir\\file.txt"', "file.txt"),
    ("drive_letter", 'filename="C:autoexec.bat"', "C_autoexec.bat"),
    ("device_con", 'filename="CON"', "_CON"),
    ("device_nul_with_extension", 'filename="nul.txt"', "_nul.txt"),
    ("device_port", 'filename="LPT1.prn"', "_LPT1.prn"),
    ("device_with_blank", 'filename="aux .txt"', "_aux .txt"),
    ("name_that_begins_like_a_device", 'filename="console.txt"', "console.txt"),
    ("leading_dot", 'filename=".bashrc"', "_bashrc"),
    ("leading_dash", 'filename="-rf"', "_rf"),
    ("leading_tilde", 'filename="~root"', "_root"),
    ("one_dot", 'filename="."', "part-1.bin"),
    ("two_dots", 'filename=".."', "part-1.bin"),
    ("separators_only", 'filename="///"', "part-1.bin"),
    ("blanks_only", 'filename="   "', "part-1.bin"),
    ("blanks_around", 'filename="  a b.txt  "', "a b.txt"),
    ("dots_behind", 'filename="a.txt..."', "a.txt"),
    ("signs_of_other_systems", 'filename="a:b?c*d|e<f>.txt"', "a_b_c_d_e_f_.txt"),
    ("escape_sequence", 'filename="\x1b[2Ja.txt"', "_[2Ja.txt"),
    ("long_name_keeps_extension", 'filename="%s.jpeg"' % LONG, "x" * 250 + ".jpeg"),
    ("long_extension_is_no_extension", 'filename="a.%s"' % LONG, "a." + "x" * 253),
    ("long_name_of_two_byte_letters", "filename*=utf-8''%s.txt" % ("%C3%A9" * 200), "\u00e9" * 125 + ".txt"),
    ("utf8_name", 'filename="gr\u00fc\u00dfe.txt"', "gr\u00fc\u00dfe.txt"),
    ("malformed_utf8", b'filename="caf\xe9.txt"', "caf_.txt"),
    ("overlong_slash", b'filename="..\xc0\xafx.txt"', "_.__x.txt"),
    ("extended_with_separators", "filename*=utf-8''..%2F..%2Fescape.txt", "escape.txt"),
    ("extended_with_backslash", "filename*=utf-8''..%5C..%5Cescape.txt", "escape.txt"),
    ("extended_with_nul", "filename*=utf-8''nul%00byte.txt", "nul_byte.txt"),
    ("extended_with_newline", "filename*=utf-8''two%0D%0Alines.txt", "two__lines.txt"),
    ("extended_with_writing_turned", "filename*=utf-8''%E2%80%AEgpj.exe", "_gpj.exe"),
    ("extended_in_latin1", "filename*=iso-8859-1'de'gr%FC%DFe.txt", "gr\u00fc\u00dfe.txt"),
    ("extended_in_unknown_set", "filename*=x-unknown''%FF%FE.txt", "__.txt"),
    ("extended_with_half_escape", "filename*=utf-8''a%2", "a%2"),
    ("extended_beside_plain", "filename=plain.txt; filename*=utf-8''extended.txt", "extended.txt"),
    ("continued", 'filename*0="one "; filename*1="two.txt"', "one two.txt"),
    ("continued_out_of_order", 'filename*1="two.txt"; filename*0="one "', "one two.txt"),
    ("continued_inside_a_character", "filename*0*=utf-8''%E6%97; filename*1*=%A5%E6%9C%AC.txt", "\u65e5\u672c.txt"),
    ("continued_with_separators", "filename*0*=utf-8''..%2; filename*1*=F..%2Fa.txt", "a.txt"),
    ("encoded_word_with_separators", 'filename="=?utf-8?B?Li4vLi4vd29yZC50eHQ=?="', "word.txt"),
    ("encoded_word_in_latin1", 'filename="=?ISO-8859-1?Q?gr=FC=DFe=5F2.txt?="', "gr\u00fc\u00dfe_2.txt"),
    ("encoded_word_with_nul", 'filename="=?utf-8?Q?a=00b.txt?="', "a"),
    ("two_encoded_words", 'filename="=?utf-8?Q?one_?= =?utf-8?Q?two.txt?="', "one two.txt"),
]


class CliNames(ToolTest):
    def extracted(self, message):
        out = self.path("deep", "er", "out")
        rows = self.json("extract", message, "-o", out)
        inside = [os.path.join(folder, name) for folder, _, names in os.walk(self.path("deep")) for name in names]
        self.assertEqual(sorted(inside), sorted(row["path"] for row in rows), "a file outside the folder")
        return rows

    def check(self, parameter, expected):
        head = b"Content-Type: application/octet-stream\r\nContent-Disposition: attachment; "
        parameter = parameter if isinstance(parameter, bytes) else parameter.encode()
        data = multipart([("@\n", "body")]).replace(b"@", head + parameter)
        (row,) = self.extracted(self.file("name.eml", data))
        name = os.path.basename(row["path"])
        self.assertEqual(name, expected)
        self.assertLessEqual(len(name.encode()), 255)
        self.assertEqual(read(row["path"]), b"body\r\n")

    def test_falls_back_to_the_name_of_the_type(self):
        path = self.file("name.eml", multipart([("Content-Type: text/plain; name=\"../typed.txt\"\n", "x")]))
        (row,) = self.extracted(path)
        self.assertEqual(os.path.basename(row["path"]), "typed.txt")

    def test_gives_a_nameless_part_the_extension_of_its_type(self):
        kinds = [("text/html", "html"), ("image/jpeg", "jpg"), ("application/pdf", "pdf"), ("text/x-unheard", "txt"), ("a/b", "bin")]
        path = self.file("types.eml", multipart([("Content-Type: %s\n" % kind, "x") for kind, _ in kinds]))
        names = [os.path.basename(row["path"]) for row in self.extracted(path)]
        self.assertEqual(names, ["part-%d.%s" % (i + 1, kind[1]) for i, kind in enumerate(kinds)])

    def test_cleans_the_name_of_a_uuencoded_block(self):
        path = self.file("uu.eml", b"Subject: x\r\n\r\nbegin 644 ../../evil.sh\r\n#0V%T\r\n`\r\nend\r\n")
        rows = self.extracted(path)
        self.assertEqual([os.path.basename(row["path"]) for row in rows], ["part-0.txt", "evil.sh"])

    def test_numbers_long_names_within_255_bytes(self):
        header = disposition('filename="%s.txt"' % LONG)
        path = self.file("long.eml", multipart([(header, str(i)) for i in range(12)]))
        names = [os.path.basename(row["path"]) for row in self.extracted(path)]
        self.assertEqual(len(set(names)), 12)
        self.assertEqual({len(name) for name in names}, {255})
        self.assertEqual(names[11], "x" * 248 + "-12.txt")

    def test_keeps_every_hostile_sample_inside(self):
        self.assertEqual(len(self.extracted(sample("hostile-names.eml"))), 26)

    def test_tells_the_name_as_the_message_has_it(self):
        path = self.file("name.eml", multipart([(disposition('filename="../../etc/passwd"'), "x")]))
        (row,) = self.extracted(path)
        self.assertEqual(row["name"], "../../etc/passwd")


def add_case(case, parameter, expected):
    setattr(CliNames, "test_" + case, lambda self: self.check(parameter, expected))


for row_of_table in NAMES:
    add_case(*row_of_table)
