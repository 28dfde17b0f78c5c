"""qob build, read by another reader of mail: Python's email package."""
import email
import email.policy
import fcntl
import os
import re
import resource
import subprocess
import threading

import tool
from tool import ToolTest, read

JAPANESE = "\u65e5\u672c\u8a9e\u306e\u5831\u544a\u66f8"


def parsed(data):
    return email.message_from_bytes(data, policy=email.policy.default)


class BuildTest(ToolTest):
    def built(self, *words, **more):
        done = self.good("build", *words, **more)
        for line in done.out.split(b"\n")[:-1]:
            self.assertTrue(line.endswith(b"\r"), line)
        self.assertLessEqual(max(map(len, done.out.split(b"\r\n"))), 998)
        return parsed(done.out)

    def text_of(self, message):
        return message.get_content().replace("\r\n", "\n")


class CliBuild(BuildTest):
    def test_writes_a_small_message_byte_for_byte(self):
        done = self.good("build", "--from", "ann@example.org", "--to", "bob@example.net", "-s", "Hello", "--text", "Hi Bob,\nbye")
        self.assertEqual(done.out, b"From: ann@example.org\r\nTo: bob@example.net\r\nSubject: Hello\r\nMIME-Version: 1.0\r\n"
                         b"Content-Type: text/plain; charset=US-ASCII\r\nContent-Transfer-Encoding: 7bit\r\n\r\nHi Bob,\r\nbye\r\n")

    def test_reads_the_text_from_standard_input_a_file_or_a_pipe(self):
        for words, data in ((["--body", "-"], b"one\n"), ([], b"one\n"), (["--body", self.file("t.txt", "one\n")], b"")):
            self.assertEqual(self.text_of(self.built(*words, data=data)), "one\n")
        os.mkfifo(self.path("pipe"))
        writer = threading.Thread(target=lambda: tool.write(self.path("pipe"), b"one\n" * 50000))
        writer.start()
        self.assertEqual(self.text_of(self.built("--body", self.path("pipe"))), "one\n" * 50000)
        writer.join()

    def test_addresses_arrive(self):
        message = self.built("--from", "J\u00f6rg M\u00fcller <j@x.example>", "--to", "\"Doe, Jane\" <jane@x.example>, bob@y.example", "--to",
                             "%s <t@z.example>" % JAPANESE, "--cc", "carl@x.example (Carl the \"Great\")", "--bcc", "dora@x.example", "--text", "x")
        self.assertEqual([(a.display_name, a.addr_spec) for a in message["from"].addresses], [("J\u00f6rg M\u00fcller", "j@x.example")])
        self.assertEqual([(a.display_name, a.addr_spec) for a in message["to"].addresses],
                         [("Doe, Jane", "jane@x.example"), ("", "bob@y.example"), (JAPANESE, "t@z.example")])
        self.assertEqual([a.addr_spec for a in message["cc"].addresses], ["carl@x.example"])
        self.assertEqual(message["bcc"].addresses[0].addr_spec, "dora@x.example")
        self.assertEqual(message.defects, [])

    def test_many_addresses_are_folded(self):
        many = ["someone%d@domain%d.example" % (i, i) for i in range(500)]
        message = self.built("--to", ",".join(many), "--text", "x")
        self.assertEqual([a.addr_spec for a in message["to"].addresses], many)

    def test_subjects_arrive(self):
        for subject in ("plain", "Gr\u00fc\u00dfe_aus K\u00f6ln", JAPANESE * 30, "=?not?a?word?=", "a" * 3000, "word " * 400 + "end", "a=b_c?d", "tab\tinside",
                        "\u20ac" * 100, "x" * 70 + "\u00fc", "\U0001F600" * 40, "one  two   blanks \u00fc  here", "\x7f\x01"):
            message = self.built("--subject=" + subject, "--text", "x")
            self.assertEqual(message["subject"], subject.strip())

    def test_a_subject_beyond_ascii_keeps_to_76_columns(self):
        done = self.good("build", "-s", JAPANESE * 20, "--text", "x")
        head = done.out.split(b"\r\nMIME-Version")[0]
        self.assertLessEqual(max(map(len, head.split(b"\r\n"))), 76)
        for line in head.split(b"\r\n"):
            # Each word holds whole characters, for readers that decode them one by one.
            for word in re.findall(rb"=\?[^?]*\?[BQ]\?[^?]*\?=", line):
                email.header.decode_header(word.decode())[0][0].decode("utf-8")

    def test_attachments_arrive_byte_for_byte(self):
        names = ["a.png", "no extension", "q\"uote.pdf", "back\\slash.txt", "semi;colon=.zip", JAPANESE + ".pdf", "caf\u00e9.html", "-dash.bin",
                 "'apostrophe'.doc", "percent%41.gif", "a" * 240 + ".txt", "\u65e5" * 80 + ".txt", "two  blanks .jpg", "=?x?=.mp3", "tab\t.css"]
        words = []
        for i, name in enumerate(names):
            tool.write(self.path(name), os.urandom(i * 97) + b"\r\nx\ny\0")
            words += ["--attach=" + self.path(name)]
        message = self.built("--text", "see", *words)
        self.assertEqual(message.get_content_type(), "multipart/mixed")
        parts = list(message.iter_parts())
        self.assertEqual(self.text_of(parts[0]), "see\n")
        self.assertEqual([part.get_filename() for part in parts[1:]], names)
        for part, name in zip(parts[1:], names):
            self.assertEqual(part.get_payload(decode=True), read(self.path(name)))
            self.assertEqual(part.get_content_disposition(), "attachment")
            self.assertEqual(part.defects, [])

    def test_types_are_guessed_by_name(self):
        expected = {"a.txt": "text/plain", "A.HTML": "text/html", "x.jpeg": "image/jpeg", "x.tar.gz": "application/gzip", "x.pdf": "application/pdf",
                    "x.docx": "application/vnd.openxmlformats-officedocument.wordprocessingml.document", "x": "application/octet-stream",
                    "x.": "application/octet-stream", ".png": "image/png", "x.unknown": "application/octet-stream"}
        words = []
        for name in expected:
            words += ["-a", self.file(name, b"x")]
        message = self.built("--no-body", *words)
        self.assertEqual({part.get_filename(): part.get_content_type() for part in message.iter_parts()}, expected)

    def test_an_empty_text_and_an_empty_file(self):
        message = self.built("--text", "", "-a", self.file("empty.bin", b""))
        parts = list(message.iter_parts())
        self.assertEqual((parts[0].get_content().strip(), parts[1].get_payload(decode=True)), ("", b""))
        self.assertEqual(self.built(data=b"").get_content(), "")

    def test_attached_text_names_its_character_set(self):
        message = self.built("--no-body", "-a", self.file("a.txt", "ascii\n"), "-a", self.file("u.txt", "\u00fc\n"), "-a", self.file("l.txt", b"\xfc\n"))
        self.assertEqual([part.get_content_charset() for part in message.iter_parts()], ["us-ascii", "utf-8", None])

    def test_one_file_alone_is_the_message(self):
        message = self.built("-s", "x", "--no-body", "-a", self.file("p.png", b"\x89PNG"))
        self.assertEqual((message.get_content_type(), message.get_filename(), message.get_payload(decode=True)), ("image/png", "p.png", b"\x89PNG"))

    def test_the_encoding_is_chosen_by_the_text(self):
        rows = ((b"plain\n", "7bit"), ("Gr\u00fc\u00dfe\n".encode() + b"and so on " * 9 + b"end\n", "quoted-printable"), ((JAPANESE + "\n").encode(), "base64"),
                (b"x" * 999 + b"\n", "quoted-printable"), (b"x" * 998 + b"\n", "7bit"), (b"nul\0\n", "base64"), (b"bare\rreturn\n", "quoted-printable"),
                ("sig \u00fc\n-- \nann, with more text than that\n".encode(), "base64"), (b"-- \nann\n", "7bit"), (b"tab\t\n", "7bit"),
                (b".\n..\nFrom here\n", "7bit"))
        for text, encoding in rows:
            message = self.built(data=text)
            self.assertEqual(message["content-transfer-encoding"], encoding, text)
            self.assertEqual(message.get_payload(decode=True), text.replace(b"\n", b"\r\n"))

    def test_an_encoding_that_is_asked_for(self):
        text = "Gr\u00fc\u00dfe\nfrom me\n"
        for encoding in ("8bit", "quoted-printable", "base64", "BASE64"):
            message = self.built("--encoding", encoding, data=text.encode())
            self.assertEqual(message["content-transfer-encoding"], encoding.lower())
            self.assertEqual(message.get_payload(decode=True), text.replace("\n", "\r\n").encode())
        message = self.built("--encoding", "x-uuencode", data=b"abc\n")
        self.assertEqual(message.get_payload(decode=True), b"abc\r\n")
        self.fails(65, "build", "--encoding", "7bit", data=text.encode(), says=["standard input", "cannot be sent as 7bit", "quoted-printable"])
        self.fails(65, "build", "--encoding", "8bit", data=b"a\0b", says="use base64")
        self.fails(65, "build", "--encoding", "7bit", data=b"x" * 999, says="998 characters")
        self.fails(64, "build", "--encoding", "rot13", data=b"x", says=["--encoding rot13", "quoted-printable"])

    def test_line_ends_become_those_of_mail(self):
        done = self.good("build", data=b"a\nb\r\nc\rd\n\ne")
        self.assertTrue(done.out.endswith(b"\r\n\r\na\r\nb\r\nc=0Dd\r\n\r\ne"), done.out)

    def test_raw_leaves_line_ends_alone(self):
        done = self.good("build", "--raw", data=b"a\nb\r\nc")
        self.assertEqual(parsed(done.out).get_payload(decode=True), b"a\nb\r\nc")

    def test_line_ends_across_every_block(self):
        text = b"".join(b"%d\n" % i + (b"\r\n" if i % 7 == 0 else b"") for i in range(120000))
        done = self.good("build", data=text)
        self.assertEqual(done.out.split(b"\r\n\r\n", 1)[1], re.sub(rb"(?<!\r)\n", b"\r\n", text))

    def test_character_sets(self):
        for charset in ("ISO-8859-1", "windows-1252", "ISO-8859-15"):
            message = self.built("--charset", charset, "-s", "K\u00f6ln", data="Gr\u00fc\u00dfe\n".encode())
            self.assertEqual((message.get_content_charset(), self.text_of(message), message["subject"]), (charset.lower(), "Gr\u00fc\u00dfe\n", "K\u00f6ln"))
            message = self.built("--charset", charset, data="Gr\u00fc\u00dfe\n".encode(charset))
            self.assertEqual(self.text_of(message), "Gr\u00fc\u00dfe\n")
        message = self.built("--text-charset", "ISO-8859-1", data="Gr\u00fc\u00dfe\n".encode("latin-1"))
        self.assertEqual((message.get_content_charset(), self.text_of(message)), ("utf-8", "Gr\u00fc\u00dfe\n"))
        self.fails(65, "build", data=b"Gr\xfc\xdfe", says=["not UTF-8", "--charset"])
        self.fails(65, "build", "--charset", "ISO-8859-1", data=JAPANESE.encode(), says=["ISO-8859-1 does not have", "UTF-8"])
        self.fails(65, "build", "--text-charset", "EUC-JP", data=b"\xff\xff", says="not a text in EUC-JP")
        self.fails(64, "build", "--charset", "klingon", data=b"x", says="--charset klingon")
        self.fails(64, "build", "--charset", "x;y", data=b"x", says="--charset x;y")

    def test_japanese_mail(self):
        for words, data in (([], JAPANESE.encode()), ([], JAPANESE.encode("shift_jis")), (["--text-charset", "Shift_JIS"], JAPANESE.encode("shift_jis")),
                            (["--text-charset", "EUC-JP"], JAPANESE.encode("euc_jp"))):
            done = self.good("build", "--charset", "ISO-2022-JP", "-s", JAPANESE * 5, "--from", JAPANESE + " <a@b.example>", *words, data=data)
            self.assertTrue(all(byte < 128 for byte in done.out))
            message = parsed(done.out)
            self.assertEqual((message.get_content_charset(), message["content-transfer-encoding"]), ("iso-2022-jp", "7bit"))
            self.assertEqual(message.get_content().strip(), JAPANESE)
            self.assertEqual((message["subject"], message["from"].addresses[0].display_name), (JAPANESE * 5, JAPANESE))
            self.assertIn(b"=?ISO-2022-JP?B?", done.out)

    def test_a_large_text_is_converted_across_blocks(self):
        text = (JAPANESE + "\n") * 20000
        message = self.built("--charset", "ISO-2022-JP", data=text.encode())
        self.assertEqual(self.text_of(message), text)

    def test_more_headers(self):
        message = self.built("--header", "Reply-To: J\u00f6rg <j@x.example>, b@y.example", "--header", "X-Long: " + "word " * 300, "--header", "X-Name:  Gr\u00fc\u00dfe ",
                             "--header", "Message-ID: <1@x.example>", "--text", "x")
        self.assertEqual([(a.display_name, a.addr_spec) for a in message["reply-to"].addresses], [("J\u00f6rg", "j@x.example"), ("", "b@y.example")])
        self.assertEqual(message["x-long"].split(), ["word"] * 300)
        self.assertEqual((message["x-name"], message["message-id"]), ("Gr\u00fc\u00dfe", "<1@x.example>"))

    def test_other_multiparts(self):
        page = self.file("page.html", "<p>Gr\u00fc\u00dfe</p>\n")
        message = self.built("--multipart", "alternative", "--text", "Gr\u00fc\u00dfe", "--part", "type=text/html,file=" + page)
        self.assertEqual(message.get_content_type(), "multipart/alternative")
        plain, html = message.iter_parts()
        self.assertEqual((self.text_of(plain), html.get_content().strip(), html.get_filename()), ("Gr\u00fc\u00dfe\n", "<p>Gr\u00fc\u00dfe</p>", None))
        message = self.built("--multipart", "related", "--type", "text/html", "--body", page, "--part",
                             "type=image/png,name=Logo \u00c4.png,id=logo@x.example,description=The L\u00f6we,file=" + self.file("l,o=g.png", b"png"))
        self.assertEqual((message.get_content_type(), message.get_param("type")), ("multipart/related", "text/html"))
        root, logo = message.iter_parts()
        self.assertEqual(root.get_content_type(), "text/html")
        self.assertEqual((logo["content-id"], logo.get_filename(), logo.get_content_disposition(), logo["content-description"], logo.get_payload(decode=True)),
                         ("<logo@x.example>", "Logo \u00c4.png", "inline", "The L\u00f6we", b"png"))
        self.assertEqual(self.built("--multipart", "digest", "--text", "x").get_content_type(), "multipart/digest")

    def test_parts_in_an_encoding_of_their_own(self):
        path = self.file("t.txt", b"one\r\ntwo\r\n")
        for encoding in ("7bit", "quoted-printable", "base64", "x-uuencode"):
            part, = self.built("--no-body", "--multipart", "mixed", "--part", "encoding=%s,file=%s" % (encoding, path)).iter_parts()
            self.assertEqual((part["content-transfer-encoding"], part.get_payload(decode=True)), (encoding, b"one\r\ntwo\r\n"))

    def test_an_attached_message_stays_one(self):
        inner = self.good("build", "--from", "x@y.example", "-s", "inner", "--text", "within").out
        for data in (inner, inner.replace(b"\r\n", b"\n")):
            message = self.built("--text", "outer", "-a", self.file("inner.eml", data))
            part = list(message.iter_parts())[1]
            self.assertEqual((part.get_content_type(), part.get_content()["subject"]), ("message/rfc822", "inner"))
        part = list(self.built("--text", "o", "-a", self.file("8.eml", b"Subject: x\n\n\xfc\n")).iter_parts())[1]
        self.assertEqual((part["content-transfer-encoding"], part.get_content_type()), ("8bit", "message/rfc822"))
        part = list(self.built("--text", "o", "-a", self.file("nul.eml", b"Subject: x\n\n\0\n")).iter_parts())[1]
        self.assertEqual((part.get_content_type(), part.get_payload(decode=True)), ("application/octet-stream", b"Subject: x\r\n\r\n\0\r\n"))

    def test_a_message_as_the_body(self):
        message = self.built("--type", "message/rfc822", data=b"Subject: inner\n\nx\n")
        self.assertEqual((message.get_content_type(), message["content-transfer-encoding"], message.get_content()["subject"]), ("message/rfc822", "7bit", "inner"))

    def test_a_multipart_inside_a_multipart_keeps_its_delimiters(self):
        inner = self.good("build", "--text", "a", "-a", self.file("x.bin", b"1")).out
        message = self.built("--text", "outer", "-a", self.file("inner.eml", inner), "-a", self.file("y.bin", b"2"))
        self.assertEqual([part.get_content_type() for part in message.walk()],
                         ["multipart/mixed", "text/plain", "message/rfc822", "multipart/mixed", "text/plain", "application/octet-stream", "application/octet-stream"])

    def test_a_text_with_lines_like_delimiters_cannot_add_parts(self):
        text = "".join("--QOB.Boundary.%08X%08X\n\nfalse\n" % (second, 1) for second in range(3)) + "--QOB.Boundary."
        message = self.built("-a", self.file("x.bin", b"1"), data=text.encode())
        parts = list(message.iter_parts())
        self.assertEqual((len(parts), parts[0]["content-transfer-encoding"]), (2, "base64"))
        self.assertEqual(self.text_of(parts[0]), text)

    def test_bare_names_get_the_host_of_the_site(self):
        self.file("etc/twmta.ini", "[Connection]\nGatewayHostName=mx\nGatewayDomain=site.example\n")
        message = self.built("--from", "ann", "--to", "bob,carl@short", "--text", "x")
        self.assertEqual((message["from"], message["to"]), ("ann", "bob@mx.site.example, carl@short.site.example"))

    def test_the_site_character_set_does_no_harm(self):
        self.file("etc/twmta.ini", "[Gateway]\nLocalCharSet=ISO-2022-JP\n[Options]\nEnableRFC1522Encoding=NO\n")
        message = self.built("--from", JAPANESE + " <a@b.example>", "-s", JAPANESE, data=JAPANESE.encode())
        self.assertEqual((message["subject"], message["from"].addresses[0].display_name, message.get_content()), (JAPANESE, JAPANESE, JAPANESE))

    def test_writes_to_a_file(self):
        out = self.path("m.eml")
        done = self.good("build", "--text", "x", "-o", out)
        self.assertEqual(done.out, b"")
        self.assertEqual(os.stat(out).st_mode & 0o777, 0o600)
        self.fails(73, "build", "--text", "y", "-o", out, says=["m.eml: exists", "--force"])
        self.assertIn(b"\r\nx\r\n", read(out))
        self.good("build", "--text", "y", "-o", out, "--force")
        self.assertIn(b"\r\ny\r\n", read(out))

    def test_our_own_reader_finds_the_same_parts(self):
        self.file(JAPANESE + ".pdf", b"%PDF\n")
        self.good("build", "--text", "Gr\u00fc\u00dfe", "-a", self.path(JAPANESE + ".pdf"), "-o", self.path("m.eml"))
        row, = self.json("parse", self.path("m.eml"))
        self.assertEqual([part["name"] for part in row["parts"]], [None, None, JAPANESE + ".pdf"])
        self.good("extract", self.path("m.eml"), "-o", self.path("out"))
        self.assertEqual(read(self.path("out", JAPANESE + ".pdf")), b"%PDF\n")


class CliBuildFailures(BuildTest):
    def refused(self, *words, says=""):
        done = self.run_tool("build", "--text", "x", *words)
        self.assertIn(done.code, (64, 65), (words, done.err))
        self.assertEqual(done.out, b"")
        self.assertEqual(len(done.errors.splitlines()), 1, done.errors)
        self.assertIn(says, done.errors)

    def test_line_ends_in_values(self):
        for sign in ("\n", "\r", "\r\n", "\r\nBcc: evil@x.example", "\n\nbody"):
            for option in ("--from", "--to", "--cc", "--bcc", "--subject", "--header", "--attach", "--part", "--type", "--charset", "--encoding", "--multipart"):
                value = {"--header": "X-A: b", "--attach": self.file("f", b""), "--part": "file=" + self.path("f"), "--type": "text/plain", "--charset": "UTF-8",
                         "--encoding": "7bit", "--multipart": "mixed"}.get(option, "a@b.example")
                for text in (value + sign, sign + value, value[:1] + sign + value[1:]):
                    done = self.run_tool("build", "--text", "x", "%s=%s" % (option, text))
                    self.assertIn(done.code, (64, 65, 66), (option, text, done.out))

    def test_a_name_with_a_line_end_is_cleaned(self):
        self.file("a\nBcc: x@y.example\r\n.txt", b"1")
        message = self.built("--text", "x", "--attach=" + self.path("a\nBcc: x@y.example\r\n.txt"))
        self.assertIsNone(message["bcc"])
        self.assertEqual(list(message.iter_parts())[1].get_filename(), "a_Bcc: x@y.example__.txt")

    def test_what_is_no_address(self):
        for text in ("", " ", ",", "a b@c", "a@b@c", "@b", "a@", "<a@b", "a@b>", "Ann <a@b> x", "\"a@b", "a@b..c", "a@.b", "-x@y.example", "a@-b", "\u00e4@b.example",
                     "a@b\u00fccher.example", "a@b (", "(a@b", "<>", "a@[1.2", "x" * 400 + "@b.example", "a\"b@c", "a@b c", "a;b@c d", "Ann <a@b> <c@d>", "<@x:a@b>"):
            self.refused("--to=" + text, says="--to")
        self.refused("--from", "a@b,c@d", says="--from")

    def test_addresses_of_every_good_form(self):
        for text, address in (("ann", "ann"), ("o'neil+tag@x.example", "o'neil+tag@x.example"), ("a.b.@x", "a.b.@x"), ("a@[192.0.2.1]", "a@[192.0.2.1]"),
                              ("a@[IPv6:2001:db8::1]", "a@[IPv6:2001:db8::1]"), ("<a@b>", "a@b"), ("(c) a@b (d)", "a@b"), ("\"a b\"@x.example", "\"a b\"@x.example"),
                              ("=x@y.example", "=x@y.example"), ("a/b@x", "a/b@x")):
            done = self.good("build", "--text", "x", "--from=" + text)
            self.assertIn(address.encode(), done.out.split(b"\r\n")[0])

    def test_headers_that_are_refused(self):
        for text in ("nothing", ": x", "X Y: z", "\u00dc: x", "X-A:", "X-A:  ", "From: a@b", "to: a@b", "Bcc: a@b", "Subject: x", "Content-Type: text/html",
                     "CONTENT-X: y", "MIME-Version: 1.0", "Received: x", "Reply-To: a b", "Reply-To: ,", "x" * 71 + ": y"):
            self.refused("--header", text, says="--header")

    def test_texts_that_are_not_utf_8(self):
        for option in ("--subject", "--from", "--header"):
            done = subprocess.run([tool.TOOL, "build", "--text", "x", option, b"X-A: \xff <a@b>"], capture_output=True, env=self.environment())
            self.assertEqual((done.returncode, done.stdout), (65, b""))
            self.assertIn(b"not UTF-8", done.stderr)

    def test_parts_that_are_refused(self):
        path = self.file("f.bin", b"x")
        for text in ("", "file", "x", path, "type=image/png", "type=image,file=" + path, "kind=x,file=" + path, "encoding=x,file=" + path, "file=",
                     "disposition=hidden,file=" + path, "id=a b,file=" + path, "id=<a>b,file=" + path, "type=/,file=" + path):
            self.refused("--part", text, says="--part" if text != "file=" else "name of a file")

    def test_missing_files(self):
        self.fails(66, "build", "--body", self.path("none"), says=["none: No such file", "check the name"])
        self.fails(66, "build", "--text", "x", "-a", self.path("none.png"), says="none.png: No such file")
        self.fails(66, "build", "--text", "x", "-a", self.dir, says=[self.dir, "directory"])
        self.fails(66, "build", "--body", self.dir, says="directory")
        path = self.file("secret", b"x")
        self.refuse(path, 0)
        self.fails(77, "build", "--text", "x", "-a", path, user=self.unprivileged(), says="secret: Permission denied")

    def test_wrong_command_lines(self):
        for words, text in ((["--nonsense"], "--nonsense"), (["-z"], "-z"), (["--from"], "--from: its value is missing"), (["x"], "one operand too many"),
                            (["--body", "a", "--text", "b"], "give one of"), (["--no-body"], "--attach"), (["--raw=1", "--text", "x"], "--raw takes no value"),
                            (["--attach", "", "--text", "x"], "--attach"), (["--attach", "-", "--text", "x"], "--attach"), (["--type", "text", "--text", "x"], "--type text"),
                            (["--multipart", "a/b", "--text", "x"], "--multipart"), (["--body", ""], "--body"), (["--type", "multipart/mixed", "--text", "x"], "--multipart")):
            self.fails(64, "build", *words, says=text)

    def test_full_and_closed_standard_output(self):
        with open("/dev/full", "wb") as full:
            self.fails(74, "build", "--text", "x", out=full, says=["standard output: No space left", "free some space"])
        self.fails(74, "build", "--text", "x", before=lambda: os.close(1), says="standard output: Bad file descriptor")

    def test_full_temporary_directory(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))
        self.fails(74, "build", data=b"x\n" * 100000, before=limit, says=["no temporary file can be written", "File too large", "TMPDIR"])
        self.fails(74, "build", "--text", "x", "-a", self.file("big", b"x" * 90000), before=limit, says=["cannot be built", "space"])

    def test_a_temporary_directory_that_is_missing(self):
        self.fails(73, "build", "--text", "x", env=self.environment(TMPDIR=self.path("none")), says=["none", "TMPDIR"])

    def test_a_file_that_grows_while_it_is_read(self):
        # The pipe holds the command while the file, which is open already, is written to.
        os.mkfifo(self.path("pipe"))
        path = self.file("grows.bin", b"x" * 1000)
        process = subprocess.Popen([tool.TOOL, "build", "--text", "x", "-a", path, "-a", self.path("pipe")], env=self.environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with open(self.path("pipe"), "wb"):
            with open(path, "ab") as file:
                file.write(b"more")
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, out), (75, b""), err)
        self.assertIn(b"grows.bin: was written to while it was read", err)

    def test_a_file_that_vanishes_while_it_is_read(self):
        os.mkfifo(self.path("pipe"))
        path = self.file("gone.bin", b"x" * 1000)
        process = subprocess.Popen([tool.TOOL, "build", "--text", "x", "-a", path, "-a", self.path("pipe")], env=self.environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with open(self.path("pipe"), "wb"):
            os.unlink(path)
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0, err)
        self.assertEqual(list(parsed(out).iter_parts())[1].get_payload(decode=True), b"x" * 1000)

    def test_files_of_the_caller_stay_as_they_are(self):
        files = {name: self.file(name, data) for name, data in (("t.txt", b"a\nb"), ("m.eml", b"Subject: x\n\ny\n"), ("b.bin", b"\0\1"))}
        before = {name: (read(path), os.stat(path).st_mtime_ns) for name, path in files.items()}
        self.built("--body", files["t.txt"], "-a", files["m.eml"], "-a", files["b.bin"])
        self.assertEqual({name: (read(path), os.stat(path).st_mtime_ns) for name, path in files.items()}, before)


class CliMemoryBuild(BuildTest):
    def test_a_large_attachment_in_little_memory(self):
        path = self.path("large.bin")
        with open(path, "wb") as file:
            for i in range(100):
                file.write(bytes([i]) * (1 << 20))
        out = self.path("large.eml")

        def limit():
            resource.setrlimit(resource.RLIMIT_DATA, (24 << 20, 24 << 20))
        self.good("build", "--text", "x", "-a", path, "-o", out, before=limit)
        self.assertGreater(os.path.getsize(out), 135 << 20)
