"""qob binhex and uudecode, against encoders and decoders of Python's own."""
import binascii
import os
import struct

from tool import ToolTest, crlf, read, sample

ALPHABET = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr"


def read_binhex(text):
    """(name, type, creator, data fork, resource fork) by the description of the format."""
    stream = text[text.index(b":") + 1:]
    stream = stream[:stream.index(b":")]
    bits, value, packed = 0, 0, bytearray()
    for sign in stream.translate(None, b"\r\n").decode():
        value, bits = (value << 6 | ALPHABET.index(sign)) & 0xFFFFFF, bits + 6
        if bits >= 8:
            bits -= 8
            packed.append(value >> bits & 0xFF)
    raw, at = bytearray(), 0
    while at < len(packed):
        if packed[at] == 0x90 and at + 1 < len(packed):
            raw += b"\x90" if packed[at + 1] == 0 else raw[-1:] * (packed[at + 1] - 1)
            at += 2
        else:
            raw.append(packed[at])
            at += 1
    size = raw[0]
    head_end = size + 20
    name, kind, creator = bytes(raw[1:1 + size]), bytes(raw[size + 2:size + 6]), bytes(raw[size + 6:size + 10])
    data_bytes, resource_bytes = struct.unpack(">II", raw[size + 12:size + 20])

    def section(start, length):
        body, checksum = bytes(raw[start:start + length]), raw[start + length:start + length + 2]
        assert binascii.crc_hqx(body, 0) == struct.unpack(">H", checksum)[0]
        return body
    section(0, head_end)
    data = section(head_end + 2, data_bytes)
    return name, kind, creator, data, section(head_end + 4 + data_bytes, resource_bytes)


def uuencoded(name, data):
    lines = [b"begin 644 " + name]
    lines += [binascii.b2a_uu(data[at:at + 45]).rstrip(b"\n") for at in range(0, len(data), 45)]
    return b"\n".join(lines + [b"`", b"end", b""])


class CliBinHex(ToolTest):
    def test_writes_what_an_independent_reader_reads(self):
        data = bytes(range(256)) * 5 + b"\x90" * 7 + b"\0" * 700
        path = self.file("plain.bin", data)
        done = self.good("binhex", "encode", path, "--type", "TEXT", "--creator", "ttxt")
        self.assertTrue(done.out.startswith(b"(This file must be converted with BinHex 4.0)\r\n:"))
        self.assertEqual(read_binhex(done.out), (b"plain.bin", b"TEXT", b"ttxt", data, b""))

    def test_writes_an_empty_file(self):
        done = self.good("binhex", "encode", "-", "--name", "nothing", data=b"")
        self.assertEqual(read_binhex(done.out), (b"nothing", b"????", b"????", b"", b""))

    def test_reads_the_data_fork(self):
        (row,) = self.json("binhex", "decode", sample("letter.hqx"), "-o", self.path("out"))
        self.assertEqual(read(row["path"]), b"A letter from a Macintosh.\r")
        self.assertEqual((row["name"], row["type"], row["creator"], row["resource_size"]), ("Letter", "TEXT", "ttxt", 22))

    def test_says_that_a_resource_fork_was_left_out(self):
        done = self.good("binhex", "decode", sample("letter.hqx"), "-o", self.path("out"))
        self.assertIn("letter.hqx: a resource fork of 22 bytes is left out; --applesingle keeps it", done.errors)

    def test_keeps_both_forks_in_applesingle_and_back(self):
        (row,) = self.json("binhex", "decode", "--applesingle", sample("letter.hqx"), "-o", self.path("out"))
        self.assertEqual(os.path.basename(row["path"]), "Letter.as")
        again = self.good("binhex", "encode", row["path"]).out
        self.assertEqual(read_binhex(again), read_binhex(read(sample("letter.hqx"))))

    def test_finds_the_text_behind_a_mail_header(self):
        (row,) = self.json("binhex", "decode", sample("binhex-in-text.eml"), "-o", self.path("out"))
        self.assertEqual(row["name"], "Letter")

    def test_reads_from_standard_input(self):
        (row,) = self.json("binhex", "decode", "-", "-o", self.path("out"), data=read(sample("letter.hqx")))
        self.assertEqual((row["file"], row["size"]), ("-", 27))

    def test_refuses_a_damaged_text(self):
        text = read(sample("letter.hqx"))
        for cut in range(60, len(text) - 4, 9):
            self.fails(65, "binhex", "decode", self.file("cut.hqx", text[:cut]), "-o", self.path("out"), says="cut.hqx: no whole BinHex 4.0 text")
        self.assertFalse(os.path.exists(self.path("out")))

    def test_refuses_a_wrong_checksum(self):
        text = bytearray(read(sample("letter.hqx")))
        text[text.index(b":") + 50] ^= 1
        self.fails(65, "binhex", "decode", self.file("bad.hqx", bytes(text)), "-o", self.path("out"), says="CRC error")

    def test_cleans_the_name_in_the_header(self):
        text = self.good("binhex", "encode", "-", "--name", "../up/.hidden", data=b"x").out
        (row,) = self.json("binhex", "decode", "-", "-o", self.path("out"), data=text)
        self.assertEqual((row["name"], os.path.basename(row["path"])), ("../up/.hidden", "_hidden"))

    def test_writes_over_no_file_unless_told(self):
        path = self.file("out.hqx", b"old")
        self.fails(73, "binhex", "encode", sample("note.uu"), "-o", path, says=["out.hqx: exists", "--force"])
        self.assertEqual(read(path), b"old")
        self.good("binhex", "encode", sample("note.uu"), "-o", path, "--force")
        self.assertEqual(read_binhex(read(path))[3], read(sample("note.uu")))

    def test_wants_four_characters_of_type(self):
        self.fails(64, "binhex", "encode", "--type", "TEXTS", sample("note.uu"), says="exactly four characters")

    def test_says_that_a_file_is_missing(self):
        self.fails(66, "binhex", "encode", self.path("none"), says="none: No such file")
        self.fails(66, "binhex", "decode", self.dir, says="not a file")


class CliUudecode(ToolTest):
    def test_writes_every_block(self):
        rows = self.json("uudecode", sample("note.uu"), "-o", self.path("out"))
        self.assertEqual([(row["name"], row["complete"]) for row in rows], [("note.txt", True), ("bytes.bin", True)])
        self.assertEqual(read(rows[0]["path"]), b"Remember the milk.\r\nAnd the bread.\r\n")
        self.assertEqual(read(rows[1]["path"]), bytes(range(256)))

    def test_reads_what_an_independent_encoder_writes(self):
        for size in (0, 1, 2, 3, 44, 45, 46, 89, 4096, 100001):
            data = os.urandom(size)
            for ends in (lambda text: text, crlf):
                (row,) = self.json("uudecode", "-", "-o", self.path("out"), data=ends(uuencoded(b"r.bin", data)))
                self.assertEqual(read(row["path"]), data)

    def test_writes_to_the_current_folder(self):
        os.mkdir(self.path("here"))
        self.good("uudecode", sample("note.uu"), cwd=self.path("here"))
        self.assertEqual(sorted(os.listdir(self.path("here"))), ["bytes.bin", "note.txt"])

    def test_cleans_the_name_of_a_begin_line(self):
        (row,) = self.json("uudecode", "-", "-o", self.path("out"), data=uuencoded(b"../../bin/-rm", b"x"))
        self.assertEqual((row["name"], os.path.basename(row["path"])), ("../../bin/-rm", "_rm"))

    def test_writes_what_there_is_of_a_cut_block_and_says_so(self):
        data = uuencoded(b"cut.bin", bytes(range(256)))
        done = self.fails(65, "uudecode", "--json", "-", "-o", self.path("out"), data=data[:200], says=["without an end line"])
        (row,) = self.objects(done.out)
        self.assertFalse(row["complete"])
        self.assertEqual(read(row["path"])[:90], bytes(range(90)))  # its two whole lines

    def test_says_that_there_is_no_block(self):
        self.fails(65, "uudecode", sample("dsn.eml"), "-o", self.path("out"), says=["dsn.eml: no uuencoded block", "begin 644"])
        self.assertFalse(os.path.exists(self.path("out")))

    def test_goes_on_behind_a_bad_file(self):
        done = self.fails(66, "uudecode", self.path("none"), sample("note.uu"), "-o", self.path("out"), says="none: No such file")
        self.assertEqual(len(done.text.splitlines()), 2)

    def test_reads_a_file_with_a_backslash_in_its_name(self):
        path = self.file("a\\b.uu", uuencoded(b"x", b"data"))
        (row,) = self.json("uudecode", path, "-o", self.path("out"))
        self.assertEqual(read(row["path"]), b"data")
