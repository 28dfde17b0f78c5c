"""qob header, address, date and word."""
import calendar
import email.header
import email.utils
import os

from tool import DATA, ToolTest, crlf, read, sample


class CliHeader(ToolTest):
    def header(self, path, *more):
        (row,) = self.json("header", path, *more)
        return row

    def test_prints_the_decoded_header(self):
        done = self.good("header", "--decoded", "encoded-words.eml", cwd=DATA)
        golden = read(os.path.join(os.path.dirname(__file__), "golden", "header-encoded-words.txt")).decode()
        self.assertEqual(done.text, golden)

    def test_keeps_encoded_words_without_decoded(self):
        self.assertIn("Subject:       =?ISO-8859-1?Q?Gr=FC=DFe?= aus", self.good("header", sample("encoded-words.eml")).text)

    def test_decodes_as_an_independent_reader_does(self):
        for name in ("encoded-words.eml", "iso-2022-jp.eml"):
            raw = self.header(sample(name))["subject"]
            expected = str(email.header.make_header(email.header.decode_header(raw)))
            self.assertEqual(self.header(sample(name), "-d")["subject"], expected)

    def test_gives_addresses_in_their_pieces(self):
        row = self.header(sample("encoded-words.eml"), "-d")
        (cc,) = row["cc"]
        self.assertEqual((cc["address"], cc["phrase"], cc["comment"], cc["local_part"], cc["domain"]),
                         ("plain@example.net", '"Plain, Name"', "caf\u00e9", "plain", "example.net"))
        self.assertEqual(row["to"][0]["phrase"], "\u00c5sa Lindstr\u00f6m")

    def test_gives_the_date_as_seconds(self):
        date = self.header(sample("nested-multipart.eml"))["date"]
        self.assertEqual(date["utc"], calendar.timegm((2026, 11, 15, 10, 24, 5)))
        self.assertEqual(date["text"], date["original"])

    def test_never_replaces_an_unreadable_date(self):
        row = self.header(sample("malformed-header.eml"))
        self.assertEqual(row["date"], {"original": "Thursday of next week", "text": None, "utc": None})
        self.assertIn("Date:          (cannot be read) Thursday of next week", self.good("header", sample("malformed-header.eml")).text)

    def test_shows_an_address_field_that_cannot_be_read(self):
        row = self.header(sample("malformed-header.eml"))
        self.assertEqual(row["unreadable"], [{"name": "From", "value": '"open quote <ann@example.org>'}])
        self.assertEqual([node["address"] for node in row["to"]], ["bob@example.net", "carol@example.net"])

    def test_shows_one_line_for_a_folded_field(self):
        path = self.file("fold.eml", b"Subject: one\r\n two\r\n\tthree\r\n\r\n")
        self.assertIn("  Subject:       one two three\n", self.good("header", path).text)
        self.assertEqual(self.header(path)["subject"], "one\r\n\ttwo\r\n\tthree")

    def test_gives_bytes_beside_a_subject_that_is_not_utf8(self):
        path = self.file("raw.eml", b"Subject: caf\xe9\r\n\r\n")
        row = self.header(path)
        self.assertEqual((row["subject"], row["subject_base64"]), ("caf\ufffd", "Y2Fm6Q=="))

    def test_lists_received_and_other_fields_in_order(self):
        path = self.file("r.eml", b"Received: from a\r\nX-One: 1\r\nReceived: from b\r\nX-two: 2\r\n\r\n")
        row = self.header(path)
        self.assertEqual([line["value"] for line in row["received"]], ["from a", "from b"])
        self.assertEqual([line["value"] for line in row["other"]], ["X-one: 1", "X-two: 2"])

    def test_prints_the_block_of_one_part(self):
        self.assertEqual(self.good("header", "dsn.eml", "--part", "2", cwd=DATA).text,
                         "dsn.eml:\n  Content-Type:  message/delivery-status\n")
        row = self.header(sample("nested-multipart.eml"), "--part", "4")
        self.assertEqual([field["name"] for field in row["fields"]],
                         ["Content-Type", "Content-Transfer-Encoding", "Content-Disposition", "Content-ID", "Content-Description"])

    def test_refuses_a_part_that_is_not_there(self):
        self.fails(64, "header", sample("dsn.eml"), "--part", "9", says=["dsn.eml: has no part 9", "0 to 4"])
        self.fails(64, "header", sample("dsn.eml"), "--part", "-1", says="--part")

    def test_reads_a_header_of_10_megabytes(self):
        lines = b"".join(b"X-Field-%d: %s\r\n" % (i, b"v" * 1000) for i in range(10000))
        path = self.file("big.eml", lines + b"Subject: at the end\r\n\r\n")
        self.assertEqual(self.header(path)["subject"], "at the end")

    def test_reads_80000_addresses(self):
        path = self.file("many.eml", crlf("To: " + ",\n ".join("user%d@example.org" % i for i in range(2000)) + "\n\n"))
        self.assertEqual(len(self.header(path)["to"]), 2000)
        done = self.json("address", "-", data=", ".join("u%d@example.org" % i for i in range(80000)).encode())
        self.assertEqual(done[79999]["address"], "u79999@example.org")


class CliAddress(ToolTest):
    def test_prints_one_line_for_each_address(self):
        done = self.good("address", "Ann Example <ann@example.org>, bob@example.net (work)")
        self.assertEqual(done.text, "ann@example.org  phrase=Ann Example  local=ann  domain=example.org\n"
                                    "bob@example.net  comment=work  local=bob  domain=example.net\n")

    def test_agrees_with_an_independent_parser(self):
        text = 'Ann <ann@example.org>, "Last, First" <lf@example.net>, plain@example.com'
        ours = [(node["phrase"], node["address"]) for node in self.json("address", text)]
        theirs = email.utils.getaddresses([text])
        self.assertEqual([(phrase.strip('"') if phrase else "", address) for phrase, address in ours], theirs)

    def test_drops_a_malformed_address_and_keeps_the_others(self):
        rows = self.json("address", "a@example.org, b > c, d@example.org")
        self.assertEqual([row["address"] for row in rows], ["a@example.org", "d@example.org"])

    def test_decodes_names_when_asked(self):
        text = "=?ISO-8859-1?Q?J=FCrgen?= <j@example.org>"
        self.assertEqual(self.json("address", text)[0]["phrase"], "=?ISO-8859-1?Q?J=FCrgen?=")
        self.assertEqual(self.json("address", "-d", text)[0]["phrase"], "J\u00fcrgen")

    def test_reads_lists_from_standard_input(self):
        rows = self.json("address", "-", data=b"a@example.org\r\nb@example.org, c@example.org\n")
        self.assertEqual([row["local_part"] for row in rows], ["a", "b", "c"])

    def test_says_that_there_is_no_address(self):
        self.fails(65, "address", '"open <a@b>', says=["open <a@b>", "no address", "quotes"])

    def test_goes_on_behind_a_bad_list(self):
        done = self.fails(65, "address", "<<", "good@example.org", says="no address")
        self.assertIn("good@example.org", done.text)

    def test_refuses_a_nul_byte(self):
        self.fails(65, "address", "-", data=b"a@b\0c\n", says="NUL byte")


class CliDate(ToolTest):
    def test_prints_iso_seconds_and_rfc_822(self):
        done = self.good("date", "Sun, 15 Nov 2026 02:24:05 -0800")
        self.assertEqual(done.text, "2026-11-15T02:24:05-08:00  1794738245  Sun, 15 Nov 2026 02:24:05 -0800\n")

    def test_agrees_with_an_independent_reader(self):
        texts = ["Sun, 29 Feb 2032 23:59:59 +1345", "1 Jan 1980 00:00:00 +0000", "31 Dec 2037 12:00 -0030", "15 Nov 26 02:24 EST"]
        rows = self.json("date", *texts)
        for text, row in zip(texts, rows):
            self.assertEqual(row["utc"], email.utils.mktime_tz(email.utils.parsedate_tz(text)))

    def test_tells_that_a_zone_is_unknown(self):
        (row,) = self.json("date", "15 Nov 2026 02:24")
        self.assertEqual((row["iso"], row["zone_minutes"], row["seconds_given"]), ("2026-11-15T02:24:00", None, False))

    def test_reads_a_ctime_in_the_zone_of_the_system(self):
        (row,) = self.json("date", "--form", "ctime", "Sun Nov 15 02:24:05 2026", env=self.environment(TZ="EST5EDT"))
        self.assertEqual((row["iso"], row["zone_minutes"]), ("2026-11-15T02:24:05-05:00", -300))

    def test_reads_a_ctime_in_the_zone_of_the_site(self):
        self.file("etc/twmta.ini", "[Gateway]\nTimeZone=MST7MDT\n")
        (row,) = self.json("date", "--form", "ctime", "Sun Nov 15 02:24:05 2026", env=self.environment(TZ="EST5EDT"))
        self.assertEqual(row["zone_minutes"], -420)

    def test_reads_only_the_form_that_is_asked_for(self):
        self.fails(65, "date", "--form", "rfc822", "Sun Nov 15 02:24:05 2026", says="not a date of mail")
        self.fails(64, "date", "--form", "julian", "x", says=["--form", "qob date --help"])

    def test_says_what_a_date_looks_like(self):
        self.fails(65, "date", "yesterday", says=['"yesterday": not a date of mail', "Sun, 15 Nov 2026"])


class CliWord(ToolTest):
    def test_encodes_utf8(self):
        done = self.good("word", "encode", "Gr\u00fc\u00dfe aus K\u00f6ln")
        self.assertEqual(done.text, "=?UTF-8?Q?Gr=C3=BC=C3=9Fe?= aus =?UTF-8?Q?K=C3=B6ln?=\n")

    def test_encodes_in_another_character_set_and_in_base64(self):
        done = self.good("word", "encode", "--charset", "ISO-8859-1", "--encoding", "b", "K\u00f6ln")
        self.assertEqual(done.text, "=?ISO-8859-1?B?S/Zsbg==?=\n")

    def test_encodes_what_an_independent_reader_decodes(self):
        text = "Sch\u00f6ne Gr\u00fc\u00dfe, \u65e5\u672c\u8a9e und mehr als f\u00fcnfundsiebzig Zeichen in einer einzigen Betreffzeile"
        encoded = self.good("word", "encode", "-e", "b", text).text.rstrip("\n")
        self.assertTrue(encoded.isascii())
        decoded = str(email.header.make_header(email.header.decode_header(encoded.replace("\r\n", "\n"))))
        self.assertEqual(decoded.replace(" ", ""), text.replace(" ", ""))

    def test_keeps_an_address_readable(self):
        done = self.good("word", "encode", "J\u00fcrgen <j@example.org>")
        self.assertEqual(done.text, "=?UTF-8?Q?J=C3=BCrgen?= <j@example.org>\n")

    def test_encodes_by_the_rules_of_the_site(self):
        self.file("etc/twmta.ini", "[Gateway]\nLocalCharSet=ISO-8859-1\n[Options]\nRFC1522codingMethod=base64\n")
        done = self.good("word", "encode", "--site", b"K\xf6ln")
        self.assertEqual(done.text, "=?ISO-8859-1?B?S/Zsbg==?=\n")
        self.fails(64, "word", "encode", "--site", "--charset", "UTF-8", "x", says="--site")

    def test_refuses_what_the_character_set_cannot_hold(self):
        self.fails(65, "word", "encode", "-c", "ISO-8859-1", "\u65e5\u672c", says="cannot be written in ISO-8859-1")
        self.fails(65, "word", "encode", b"K\xf6ln", says="not UTF-8")
        self.fails(64, "word", "encode", "-c", "a?b", "x", says="no name of a character set")

    def test_decodes_every_character_set_to_utf8(self):
        done = self.good("word", "decode", "=?ISO-8859-1?Q?Gr=FC=DFe?= aus =?utf-8?B?S8O2bG4=?=",
                         "=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=", "=?koi8-r?B?8NLJ18XU?=")
        self.assertEqual(done.text, "Gr\u00fc\u00dfe aus K\u00f6ln\n\u65e5\u672c\n\u041f\u0440\u0438\u0432\u0435\u0442\n")

    def test_joins_words_as_an_independent_reader_does(self):
        for text in ("=?utf-8?Q?one_?= =?utf-8?Q?two?=", "a =?utf-8?Q?b?= c", "=?utf-8?Q?a?=\t=?ISO-8859-1?Q?=E9?=", "=?utf-8?b?w4M=?= =?utf-8?b?wrw=?="):
            expected = str(email.header.make_header(email.header.decode_header(text)))
            self.assertEqual(self.good("word", "decode", text).text, expected + "\n")

    def test_joins_a_character_split_between_two_words(self):
        self.assertEqual(self.good("word", "decode", "=?utf-8?B?w7w=?=", "=?utf-8?Q?=C3?= =?utf-8?Q?=BC?=").text, "\u00fc\n\u00fc\n")

    def test_keeps_a_word_of_an_unknown_character_set(self):
        self.assertEqual(self.good("word", "decode", "=?x-unheard?Q?a=FFb?=").text, "=?x-unheard?Q?a=FFb?=\n")

    def test_keeps_what_is_no_word(self):
        for text in ("=?utf-8?Q?open", "=?utf-8?X?x?=", "=??Q?x?=", "1 =? 2", "=?utf-8?Q", "=?"):
            self.assertEqual(self.good("word", "decode", text).text, text + "\n")

    def test_gives_the_bytes_of_the_library_when_asked(self):
        self.assertEqual(self.good("word", "decode", "--bytes", "=?ISO-8859-1?Q?Gr=FC_=DFe?=").out, b"Gr\xfc_\xdfe\n")

    def test_decodes_only_what_the_site_decodes(self):
        self.file("etc/twmta.ini", "[Gateway]\nLocalCharSet=ISO-8859-1\n")
        done = self.good("word", "decode", "--bytes", "--site", "=?ISO-8859-1?Q?=FC?= =?utf-8?Q?=C3=BC?=")
        self.assertEqual(done.out, b"\xfc =?utf-8?Q?=C3=BC?=\n")

    def test_steers_no_terminal(self):
        self.assertEqual(self.good("word", "decode", "=?utf-8?Q?=1B[2J=0A?=x").text, "\\x1b[2J x\n")

    def test_decodes_a_megabyte_of_half_words(self):
        text = "=?utf-8?Q?x" * 100000
        self.assertEqual(self.good("word", "decode", "-", data=text.encode()).text, text + "\n")
