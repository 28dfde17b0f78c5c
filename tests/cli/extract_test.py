"""qob extract: decoded bodies compared with an independent reader, and files that stay where they belong."""
import email
import email.policy
import os
import stat

from tool import DATA, ToolTest, crlf, multipart, read, sample


def decoded_leaves(path):
    """The leaves as python's email package reads them, in order; encapsulated messages are opened."""
    message = email.message_from_bytes(read(path), policy=email.policy.compat32)
    return [part.get_payload(decode=True) for part in message.walk() if not part.is_multipart()]


class CliExtract(ToolTest):
    def extract(self, path, *more, **options):
        rows = self.json("extract", path, "-o", self.path("out"), *more, **options)
        for row in rows:
            self.assertEqual(os.path.dirname(row["path"]), self.path("out"))
            self.assertEqual(os.path.getsize(row["path"]), row["size"])
        return rows

    def bodies(self, path, *more):
        return [read(row["path"]) for row in self.extract(path, *more)]

    def assert_same_leaves(self, name):
        # A body that is not encoded keeps the line end before its delimiter line, which the other reader counts to the line.
        ours = self.bodies(sample(name))
        theirs = decoded_leaves(sample(name))
        self.assertEqual(len(ours), len(theirs))
        for left, right in zip(ours, theirs):
            self.assertIn(left, (right, right + b"\r\n"))

    def test_decodes_a_nested_multipart(self):
        self.assert_same_leaves("nested-multipart.eml")

    def test_decodes_an_encapsulated_message(self):
        self.assert_same_leaves("encapsulated-message.eml")

    def test_decodes_a_truncated_message(self):
        self.assert_same_leaves("malformed-truncated.eml")

    def test_decodes_an_8bit_body(self):
        self.assertEqual(self.bodies(sample("encoded-words.eml")), [b"Viele Gr\xfc\xdfe\r\n"])

    def test_gives_the_same_bodies_for_both_line_ends(self):
        self.assertEqual(self.bodies(sample("bare-line-feeds.eml")), self.bodies(sample("nested-multipart.eml")))

    def test_takes_files_out_of_a_plain_text(self):
        note = b"Remember the milk.\r\nAnd the bread.\r\n"
        self.assertEqual(self.bodies(sample("uuencode-in-text.eml")),
                         [b"Here is the note that you asked for.\r\n\r\n", note, b"\r\nAnd this is the text behind it.\r\n"])

    def test_takes_files_out_of_a_mime_text(self):
        rows = self.extract(sample("attachments-in-mime-text.eml"))
        self.assertEqual([os.path.basename(row["path"]) for row in rows], ["part-0.txt", "note.txt", "Letter.as"])
        self.assertEqual(read(rows[0]["path"]), b"The note comes first.\r\nThen the letter.\r\nThat was all.\r\n")
        self.assertEqual(read(rows[2]["path"])[:4], b"\0\5\x16\0")
        self.assertIn(b"A letter from a Macintosh.\r", read(rows[2]["path"]))

    def test_decodes_a_quoted_printable_text_with_an_embedded_block(self):
        text = "one =3D two\nbegin 644 x\n#0V%T\n`\nend\nthree\n"
        path = self.file("qp.eml", crlf("MIME-Version: 1.0\nContent-Type: text/plain\nContent-Transfer-Encoding: quoted-printable\n\n" + text))
        rows = self.extract(path)
        self.assertEqual(read(rows[0]["path"]), crlf("one = two\nbegin 644 x\n#0V%T\n`\nend\nthree"))
        self.assertEqual(read(rows[1]["path"]), b"Cat")

    def test_writes_no_empty_rest_behind_a_last_block(self):
        path = self.file("last.eml", crlf("Subject: x\n\ntext\nbegin 644 cat\n#0V%T\n`\nend\n"))
        self.assertEqual(self.bodies(path), [b"text\r\n", b"Cat"])

    def test_writes_an_empty_part_of_a_multipart(self):
        path = self.file("none.eml", crlf("MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n--b\n--b--\n"))
        self.assertEqual(self.bodies(path), [b""])

    def test_extracts_unclosed_parts(self):
        self.assertEqual([row["part"] for row in self.extract(sample("malformed-truncated.eml"))], [1, 3, 4])

    def test_extracts_only_the_wanted_parts(self):
        rows = self.extract(sample("nested-multipart.eml"), "--part", "4", "-p", "2")
        self.assertEqual([row["part"] for row in rows], [4, 2])

    def test_extracts_a_container_when_it_is_wanted(self):
        (row,) = self.extract(sample("encapsulated-message.eml"), "--part", "2")
        self.assertTrue(read(row["path"]).startswith(b"From: Carol <carol@example.net>\r\n"))

    def test_writes_raw_parts_byte_for_byte(self):
        data = read(sample("nested-multipart.eml"))
        (whole,) = self.extract(sample("nested-multipart.eml"), "--raw", "--part", "0")
        self.assertEqual(read(whole["path"]), data)
        (part,) = self.extract(sample("nested-multipart.eml"), "--raw", "--part", "3")
        self.assertTrue(read(part["path"]).startswith(b"Content-Type: text/html; charset=utf-8\r\n"))
        self.assertIn(read(part["path"]), data)

    def test_prints_a_map_from_part_to_file(self):
        done = self.good("extract", "nested-multipart.eml", "-o", self.path("out"), cwd=DATA)
        lines = done.text.splitlines()
        self.assertEqual(lines[0], "nested-multipart.eml: 4 files")
        self.assertEqual(lines[1].split(), ["part", "size", "type", "file"])
        self.assertEqual(lines[4].split(None, 3), ["4", "69", "image/png", self.path("out", "dot.png")])

    def test_makes_private_files_in_a_private_folder(self):
        for row in self.extract(sample("nested-multipart.eml")):
            self.assertEqual(stat.S_IMODE(os.stat(row["path"]).st_mode), 0o600)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("out")).st_mode), 0o700)

    def test_makes_the_folders_above_too(self):
        self.good("extract", sample("dsn.eml"), "-o", self.path("a", "b", "c"))
        self.assertEqual(len(os.listdir(self.path("a", "b", "c"))), 3)

    def test_copies_to_another_file_system(self):
        if not os.path.isdir("/dev/shm") or os.stat("/dev/shm").st_dev == os.stat(self.dir).st_dev:
            self.skipTest("there is no second file system at /dev/shm")
        tmp = "/dev/shm/qob-cli-test-%d" % os.getpid()
        os.mkdir(tmp)
        self.addCleanup(os.rmdir, tmp)
        rows = self.extract(sample("nested-multipart.eml"), env=self.environment(TMPDIR=tmp))
        self.assertEqual(read(rows[3]["path"]), b"bed,plant\r\n1,apple\r\n2,pear\r\n")
        self.assertEqual(os.listdir(tmp), [])

    def test_says_which_message_a_file_came_from(self):
        rows = self.extract(sample("three-messages.mbox"))
        self.assertEqual([(row["message"], os.path.basename(row["path"])) for row in rows],
                         [(1, "m0001-part-0.txt"), (2, "m0002-part-0.txt"), (3, "m0003-part-1.txt"),
                          (3, "m0003-part-4.txt"), (3, "m0003-agenda.bin")])

    def test_never_changes_the_message(self):
        path = self.file("kept.eml", read(sample("bare-line-feeds.eml")))
        os.chmod(path, 0o444)
        before = os.stat(path)
        self.extract(path)
        self.assertEqual(read(path), read(sample("bare-line-feeds.eml")))
        self.assertEqual(os.stat(path).st_mtime_ns, before.st_mtime_ns)


class CliOverwrite(ToolTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("out"))
        self.message = self.file("m.eml", multipart([("Content-Disposition: attachment; filename=photo.jpg\n", "new")]))

    def extract(self, *more, path=None):
        (row,) = self.json("extract", path or self.message, "-o", self.path("out"), *more)
        return os.path.basename(row["path"])

    def test_takes_a_free_name_beside_an_existing_file(self):
        self.file("out/photo.jpg", b"old")
        self.assertEqual(self.extract(), "photo-2.jpg")
        self.assertEqual(self.extract(), "photo-3.jpg")
        self.assertEqual(read(self.path("out/photo.jpg")), b"old")

    def test_replaces_an_existing_file_when_told(self):
        self.file("out/photo.jpg", b"old")
        self.assertEqual(self.extract("--force"), "photo.jpg")
        self.assertEqual(read(self.path("out/photo.jpg")), b"new\r\n")
        self.assertEqual(os.listdir(self.path("out")), ["photo.jpg"])

    def test_keeps_two_parts_of_one_name_apart_even_when_told_to_replace(self):
        header = "Content-Disposition: attachment; filename=a.txt\n"
        path = self.file("two.eml", multipart([(header, "one"), (header, "two")]))
        rows = self.json("extract", path, "-o", self.path("out"), "--force")
        self.assertEqual([os.path.basename(row["path"]) for row in rows], ["a.txt", "a-2.txt"])
        self.assertEqual(read(rows[0]["path"]), b"one\r\n")

    def test_does_not_write_through_a_planted_link(self):
        victim = self.file("victim", b"precious")
        os.symlink(victim, self.path("out/photo.jpg"))
        self.assertEqual(self.extract(), "photo-2.jpg")
        self.assertEqual(read(victim), b"precious")

    def test_does_not_write_through_a_dangling_link(self):
        os.symlink(self.path("would-be-made"), self.path("out/photo.jpg"))
        self.assertEqual(self.extract(), "photo-2.jpg")
        self.assertFalse(os.path.exists(self.path("would-be-made")))

    def test_replaces_a_planted_link_and_not_its_target(self):
        victim = self.file("victim", b"precious")
        os.symlink(victim, self.path("out/photo.jpg"))
        self.assertEqual(self.extract("--force"), "photo.jpg")
        self.assertFalse(os.path.islink(self.path("out/photo.jpg")))
        self.assertEqual(read(victim), b"precious")

    def test_does_not_replace_a_folder(self):
        os.mkdir(self.path("out/photo.jpg"))
        self.assertEqual(self.extract(), "photo-2.jpg")
        self.fails(74, "extract", self.message, "-o", self.path("out"), "--force", says=["out/photo.jpg", "Is a directory"])
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["photo-2.jpg", "photo.jpg"])

    def test_does_not_follow_a_planted_link_from_another_file_system(self):
        if not os.path.isdir("/dev/shm") or os.stat("/dev/shm").st_dev == os.stat(self.dir).st_dev:
            self.skipTest("there is no second file system at /dev/shm")
        victim = self.file("victim", b"precious")
        os.symlink(victim, self.path("out/photo.jpg"))
        (row,) = self.json("extract", self.message, "-o", self.path("out"), env=self.environment(TMPDIR="/dev/shm"))
        self.assertEqual(os.path.basename(row["path"]), "photo-2.jpg")
        self.assertEqual(read(victim), b"precious")
