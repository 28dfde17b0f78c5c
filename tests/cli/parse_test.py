"""qob parse: the tree, positions in the user's file, and every kind of FILE."""
import base64
import os
import threading

from tool import DATA, ToolTest, crlf, multipart, read, sample, write


def message_samples():
    return sorted(name for name in os.listdir(DATA) if name.endswith(".eml") and name != "malformed-no-boundary.eml")


class CliParse(ToolTest):
    def parts(self, path, *more):
        (row,) = self.json("parse", path, *more)
        return row["parts"]

    def prints(self, name):
        """The readable form of a sample, and standard error behind it, as they are kept in golden/."""
        done = self.good("parse", name, cwd=DATA)
        golden = read(os.path.join(os.path.dirname(__file__), "golden", "parse-%s.txt" % name.split(".")[0])).decode()
        self.assertEqual(done.text + done.errors, golden)

    def test_prints_the_tree_of_a_nested_multipart(self):
        self.prints("nested-multipart.eml")

    def test_prints_the_tree_of_an_encapsulated_message(self):
        self.prints("encapsulated-message.eml")

    def test_prints_the_tree_of_a_delivery_status_notification(self):
        self.prints("dsn.eml")

    def test_prints_the_tree_of_a_truncated_message(self):
        self.prints("malformed-truncated.eml")

    def test_prints_the_tree_of_a_malformed_header(self):
        self.prints("malformed-header.eml")

    def test_prints_the_tree_of_a_text_with_uuencode(self):
        self.prints("uuencode-in-text.eml")

    def test_prints_the_tree_of_a_text_with_binhex(self):
        self.prints("binhex-in-text.eml")

    def test_prints_the_tree_of_a_mime_text_with_both(self):
        self.prints("attachments-in-mime-text.eml")

    def test_prints_the_tree_of_hostile_names(self):
        self.prints("hostile-names.eml")

    def test_prints_the_trees_of_an_mbox(self):
        self.prints("three-messages.mbox")

    def test_every_part_of_every_sample_lies_between_its_delimiters(self):
        for name in message_samples():
            data = read(sample(name))
            for part in self.parts(sample(name))[1:]:
                before = data[:part["start"]].splitlines()[-1]
                behind = data[part["end"]:part["end"] + 2]
                opened = part["parent"] and data[:part["start"]].endswith((b"\n\r\n", b"\n\n"))
                if part["type"] == "x-embedded":
                    self.assertTrue(data[part["start"]:].startswith(b"begin 644 "), name)
                    self.assertTrue(data[:part["end"]].endswith(b"\nend\r\n"), name)
                elif part["subtype"] == "mac-binhex40":
                    self.assertTrue(data[part["start"]:].startswith(b"(This file must be converted"), name)
                    self.assertTrue(data[:part["end"]].endswith(b":\r\n"), name)
                elif name not in ("uuencode-in-text.eml", "binhex-in-text.eml"):
                    self.assertTrue(before.startswith(b"--") or opened, (name, part))
                    self.assertTrue(behind == b"--" or part["end"] == len(data), (name, part))

    def test_gives_every_sample_as_valid_json(self):
        for name in message_samples():
            (row,) = self.json("parse", sample(name))
            self.assertEqual((row["file"], row["message"]), (sample(name), None))
            self.assertEqual((row["start"], row["end"]), (0, os.path.getsize(sample(name))))

    def test_positions_cut_the_parts_out_of_the_file(self):
        data = read(sample("nested-multipart.eml"))
        parts = self.parts(sample("nested-multipart.eml"))
        self.assertEqual([part["parent"] for part in parts], [None, 0, 1, 1, 0, 0])
        for part in parts[1:]:
            self.assertTrue(data[:part["start"]].endswith((b"--outer\r\n", b"--inner\r\n")))
            self.assertTrue(data[part["end"]:].startswith((b"--outer", b"--inner")))
            self.assertTrue(data[:part["body"]].endswith(b"\r\n\r\n"))
        self.assertEqual(data[parts[5]["body"]:parts[5]["end"]], b"bed,plant\r\n1,apple\r\n2,pear\r\n")

    def test_positions_of_bare_line_feeds_are_those_of_the_file(self):
        # The same message with both line ends: each range of the one, converted, is the range of the other.
        bare, whole = read(sample("bare-line-feeds.eml")), read(sample("nested-multipart.eml"))
        bare_parts = self.parts(sample("bare-line-feeds.eml"))
        whole_parts = self.parts(sample("nested-multipart.eml"))
        self.assertEqual(len(bare_parts), len(whole_parts))
        for left, right in zip(bare_parts, whole_parts):
            for first, second in (("start", "end"), ("start", "body"), ("body", "end")):
                self.assertEqual(crlf(bare[left[first]:left[second]]), whole[right[first]:right[second]])

    def test_says_that_bare_line_feeds_were_converted(self):
        done = self.good("parse", sample("bare-line-feeds.eml"))
        self.assertEqual(len(done.errors.splitlines()), 1)
        self.assertIn("bare-line-feeds.eml: bare line feeds: read through a temporary copy", done.errors)
        (row,) = self.json("parse", sample("bare-line-feeds.eml"))
        self.assertEqual(row["line_ends"], "converted")

    def test_maps_positions_of_mixed_line_ends(self):
        text = (b"Subject: x\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\n\n--b\r\n\none\r\n\ntwo\r\r\n\n--b\n\nlast")
        path = self.file("mixed.eml", text)
        parts = self.parts(path)
        self.assertEqual([(part["start"], part["body"], part["end"]) for part in parts],
                         [(0, text.index(b"--b"), len(text)),
                          (text.index(b"--b") + 5, text.index(b"one"), text.rindex(b"--b")),
                          (text.rindex(b"--b") + 4, text.index(b"last"), len(text))])

    def test_maps_positions_at_every_offset_of_a_block(self):
        # A line feed at each side of the block size of the copy, with and without its carriage return.
        for size in (256 * 1024 - 1, 256 * 1024, 256 * 1024 + 1):
            for end in (b"\n", b"\r\n"):
                head = b"Subject: x\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
                data = head + b"y" * (size - len(head) - len(end)) + end + b"--b\n\nbody\n--b--\n"
                parts = self.parts(self.file("block.eml", data))
                self.assertEqual(data[parts[1]["body"]:parts[1]["end"]], b"body\n", (size, end))

    def test_never_touches_a_message_that_begins_with_cr_lf(self):
        path = self.file("begins.eml", b"Subject: x\r\n\r\nbare\nlines\nfollow\n")
        done = self.good("parse", path)
        self.assertEqual(done.errors, "")
        (row,) = self.json("parse", path)
        self.assertEqual(row["line_ends"], "kept")
        self.assertEqual(row["parts"][0]["body"], 14)

    def test_marks_unclosed_parts_under_part_0(self):
        parts = self.parts(sample("malformed-truncated.eml"))
        self.assertEqual([part["unclosed"] for part in parts], [False, False, True, False, True])
        self.assertEqual([part["parent"] for part in parts], [None, 0, 0, 2, 0])
        self.assertEqual([part["depth"] for part in parts], [0, 1, 1, 2, 1])
        self.assertIn("  text/html [unclosed]", self.good("parse", sample("malformed-truncated.eml")).text)

    def test_keeps_encapsulated_messages_whole_when_asked(self):
        self.assertEqual(len(self.parts(sample("encapsulated-message.eml"))), 6)
        parts = self.parts(sample("encapsulated-message.eml"), "--keep-messages")
        self.assertEqual([(part["type"], part["container"]) for part in parts],
                         [("multipart", True), ("text", False), ("message", False)])

    def test_reads_a_broken_multipart_as_plain_text_when_asked(self):
        self.fails(65, "parse", sample("malformed-no-boundary.eml"), says=["malformed-no-boundary.eml", "boundary line is missing", "--plain"])
        self.assertEqual(len(self.parts(sample("malformed-no-boundary.eml"), "--plain")), 1)

    def test_names_embedded_files_by_their_own_headers(self):
        parts = self.parts(sample("attachments-in-mime-text.eml"))
        self.assertEqual([part["name"] for part in parts], [None, "note.txt", "Letter"])

    def test_gives_bytes_beside_text_that_is_not_utf8(self):
        (part,) = self.parts(sample("malformed-header.eml"))
        self.assertEqual(part["name"], "caf\ufffd.txt")
        self.assertEqual(part["name_base64"], "Y2Fm6S50eHQ=")

    def test_lists_what_the_library_found_wrong(self):
        (row,) = self.json("parse", sample("malformed-header.eml"))
        self.assertEqual(len(row["problems"]), 2)
        self.assertIn("Missing quote in \"Content-Type\" parms.", row["problems"])

    def test_shows_no_control_characters(self):
        path = self.file("escape.eml", multipart([("Content-Type: text/plain; name=\"\x1b[31mred\x07\"\n", "x")]))
        done = self.good("parse", path)
        self.assertNotIn(b"\x1b", done.out + done.err)
        self.assertIn("\\x1b[31mred\\x07", done.text)

    def test_keeps_its_message_on_one_line_for_a_file_name_of_two(self):
        path = self.file("two\nlines\x1b.eml", b"")
        self.fails(65, "parse", path, says="two lines\\x1b.eml")

    def test_gives_the_bytes_of_a_file_name_that_is_not_utf8(self):
        path = os.fsencode(self.dir) + b"/caf\xe9.eml"
        write(path, b"Subject: x\r\n\r\n")
        (row,) = self.json("parse", path)
        self.assertEqual(row["file"], self.path("caf\ufffd.eml"))
        self.assertEqual(base64.b64decode(row["file_base64"]), path)

    def test_reads_a_file_with_a_backslash_in_its_name(self):
        path = self.file("back\\slash.eml", read(sample("nested-multipart.eml")))
        self.assertEqual(len(self.parts(path)), 6)

    def test_reads_standard_input(self):
        (row,) = self.json("parse", "-", data=read(sample("bare-line-feeds.eml")))
        (same,) = self.json("parse", sample("bare-line-feeds.eml"))
        self.assertEqual(row.pop("file"), "-")
        same.pop("file")
        self.assertEqual(row, same)

    def test_reads_a_named_pipe(self):
        path = self.path("pipe")
        os.mkfifo(path)
        writer = threading.Thread(target=write, args=(path, read(sample("dsn.eml"))))
        writer.start()
        (row,) = self.json("parse", path)
        writer.join()
        self.assertEqual(len(row["parts"]), 5)

    def test_reads_200_levels_of_multiparts(self):
        text = "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b0-\n\n"
        for level in range(200):
            text += "--b%d-\nContent-Type: multipart/mixed; boundary=b%d-\n\n" % (level, level + 1)
        self.assertGreater(len(self.parts(self.file("deep.eml", crlf(text + "--b200-\n\nx\n")))), 99)

    def test_lists_100000_parts(self):
        head = "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
        path = self.file("many.eml", crlf(head + "--b\n\nx\n" * 100000 + "--b--\n"))
        done = self.good("parse", path)
        self.assertEqual(len(done.out.splitlines()), 100003)
        self.assertEqual(len(self.parts(path)), 100001)


class CliSources(ToolTest):
    def subjects(self, *words, **more):
        return [row["subject"] for row in self.json("header", *words, **more)]

    def test_numbers_the_messages_of_an_mbox(self):
        rows = self.json("parse", sample("three-messages.mbox"))
        self.assertEqual([row["message"] for row in rows], [1, 2, 3])
        self.assertIn("three-messages.mbox[2]: 1 part", self.good("parse", sample("three-messages.mbox")).text)

    def test_gives_positions_in_the_mbox(self):
        data = read(sample("three-messages.mbox"))
        rows = self.json("parse", sample("three-messages.mbox"))
        for row in rows:
            self.assertTrue(data[row["start"]:].startswith(b"From ann@example.org Sun Nov 15"))
        second = rows[1]["parts"][0]
        self.assertEqual(data[second["body"]:second["end"]], b"Second message.\n\nFrom time to time a line begins like this.\n")
        agenda = rows[2]["parts"][5]
        self.assertTrue(data[agenda["body"]:agenda["end"]].startswith(b"AAECAwQF"))

    def test_takes_an_mbox_from_standard_input(self):
        self.assertEqual(self.subjects("-", data=read(sample("three-messages.mbox"))), ["one", "two", "three"])

    def test_takes_one_message_with_a_from_line_for_one_message(self):
        path = self.file("one.eml", b"From ann@example.org Sun Nov 15 02:24:00 2026\r\nSubject: one\r\n\r\nbody\r\n")
        (row,) = self.json("header", path)
        self.assertEqual((row["message"], row["subject"]), (None, "one"))
        self.assertEqual(row["from_line"], "ann@example.org Sun Nov 15 02:24:00 2026")

    def test_splits_an_mbox_with_cr_lf(self):
        path = self.file("crlf.mbox", crlf(read(sample("three-messages.mbox"))))
        rows = self.json("parse", path)
        self.assertEqual([row["line_ends"] for row in rows], ["kept"] * 3)
        self.assertEqual(self.subjects(path), ["one", "two", "three"])

    def test_splits_an_mbox_at_every_block_edge(self):
        for size in range(256 * 1024 - 8, 256 * 1024 + 3):
            first = b"From a Sun Nov 15 02:24:00 2026\nSubject: one\n\n"
            first += b"y" * (size - len(first) - 2) + b"\n\n"
            path = self.file("edge.mbox", first + b"From b Sun Nov 15 02:24:00 2026\nSubject: two\n\nx\n")
            rows = self.json("parse", path)
            self.assertEqual([(row["start"], row["end"]) for row in rows][0:2], [(0, size - 1), (size, size + 48)])

    def test_reads_a_maildir(self):
        rows = self.json("header", sample("maildir"))
        self.assertEqual([row["subject"] for row in rows], ["new mail", "read mail"])
        self.assertTrue(all(row["file"].startswith(sample("maildir")) for row in rows))

    def test_leaves_the_other_files_of_a_maildir_alone(self):
        for name in ("new", "cur", "tmp", ".Sent/new", ".Sent/cur", ".Sent/tmp"):
            os.makedirs(self.path("box", name))
        self.file("box/new/1", b"Subject: new\r\n\r\n")
        self.file("box/tmp/2", b"Subject: half\r\n\r\n")
        self.file("box/.Sent/cur/3", b"Subject: sent\r\n\r\n")
        self.file("box/dovecot.index", b"\x01\x00\x02")
        self.assertEqual(self.subjects(self.path("box")), ["new"])
        self.assertEqual(self.subjects(self.path("box"), "--recursive"), ["new", "sent"])

    def test_takes_a_folder_only_when_told(self):
        os.makedirs(self.path("mail", "deep"))
        self.file("mail/b.eml", b"Subject: second\r\n\r\n")
        self.file("mail/a.eml", b"Subject: first\r\n\r\n")
        self.file("mail/deep/c.eml", b"Subject: third\r\n\r\n")
        self.fails(64, "parse", self.path("mail"), says=["mail: a folder", "--recursive"])
        self.assertEqual(self.subjects("--recursive", self.path("mail")), ["first", "second", "third"])

    def test_follows_no_link_to_a_folder(self):
        os.makedirs(self.path("mail"))
        os.makedirs(self.path("other"))
        self.file("mail/a.eml", b"Subject: inside\r\n\r\n")
        self.file("other/b.eml", b"Subject: outside\r\n\r\n")
        os.symlink(self.path("other"), self.path("mail", "link"))
        os.symlink(self.path("mail"), self.path("mail", "circle"))
        self.assertEqual(self.subjects("-r", self.path("mail")), ["inside"])

    def test_goes_on_behind_a_bad_file_and_keeps_its_code(self):
        os.makedirs(self.path("mail"))
        self.file("mail/1-empty", b"")
        self.file("mail/2-good", b"Subject: good\r\n\r\n")
        done = self.fails(65, "header", "--json", "-r", self.path("mail"), self.path("missing"), lines=2,
                          says=["1-empty: empty", "missing: No such file"])
        self.assertEqual([row["subject"] for row in self.objects(done.out)], ["good"])
