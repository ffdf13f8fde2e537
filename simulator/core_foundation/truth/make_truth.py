#!/usr/bin/env python3
"""Writes the files that say what Apple's CoreFoundation makes of property lists.

    make_truth.py           writes them beside this script
    make_truth.py --check   exits with 1 when they are not what it would write

documents/NAME is a property list, or nearly one. results.txt says of each what the platform does with it:
"refused"; "accepted", and contents/NAME.xml is its content written as XML, byte for byte; "unwritable" when it
is accepted but has no XML form. Where no content is given, any content will do.

Each row was seen on Apple's library, or stands beside one that was. None comes from running a reader of ours.
"""
import base64
import pathlib
import struct
import sys

HEAD = ('<?xml version="1.0" encoding="UTF-8"?>\n'
        '<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" '
        '"http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n')
REFUSED, UNWRITABLE, ACCEPTED = "refused", "unwritable", "accepted"

documents = {}
results = {}
contents = {}


def utf8(text):
    return text if isinstance(text, bytes) else text.encode("utf-8", "surrogatepass")


def framed(body):
    """The document that the platform writes for a value whose own lines are `body`."""
    return utf8(HEAD + '<plist version="1.0">\n') + utf8(body) + b"</plist>\n"


def row(name, document, expected):
    """`expected`: one of the three words, or the lines of the content."""
    if name in documents:
        raise ValueError("two rows of the name " + name)
    documents[name] = utf8(document)
    if expected in (REFUSED, UNWRITABLE, ACCEPTED):
        results[name] = expected
    else:
        results[name] = ACCEPTED
        contents[name] = framed(expected)


def xml(name, content, expected):
    """A document of which the content of <plist> is given."""
    row(name, utf8(HEAD + '<plist version="1.0">') + utf8(content) + b"</plist>\n", expected)


def rows(group, wrap, entries):
    for number, (content, expected) in enumerate(entries, 1):
        xml(f"{group}_{number:02}", wrap.format(content), expected)


def integers():
    accepted = [("0", "0"), ("-0", "0"), ("+0", "0"), ("7", "7"), ("-7", "-7"), ("+5", "5"), ("007", "7"),
                ("-007", "-7"), ("0x1F", "31"), ("0X1f", "31"), ("-0x10", "-16"), ("+0xff", "255"),
                ("32767", "32767"), ("32768", "32768"), ("65535", "65535"), ("65536", "65536"),
                ("2147483647", "2147483647"), ("2147483648", "2147483648"), ("4294967295", "4294967295"),
                ("4294967296", "4294967296"), ("9223372036854775807", "9223372036854775807"),
                ("9223372036854775808", "9223372036854775808"),
                ("18446744073709551615", "18446744073709551615"),
                ("-9223372036854775808", "-9223372036854775808"),
                ("0xFFFFFFFFFFFFFFFF", "18446744073709551615"),
                ("0x7FFFFFFFFFFFFFFF", "9223372036854775807"),
                (" 1", "1"), ("\t1", "1"), ("\n1", "1"), ("\r1", "1"), (" \t\n 1", "1"),
                ("- 5", "-5"), ("+ 5", "5")]
    refused = ["1 ", "1\t", "1\n", "1\r", " 1 ", "", " ", "-", "+", "1.5", "1e3", "ff", "--1", "+-1", "1 2", "1,000",
               "one", "18446744073709551616", "-9223372036854775809", "&#49;", "1&#48;", "<![CDATA[1]]>",
               "1<![CDATA[]]>", "<!-- a -->1", "1<!-- a -->", "<?a?>1", "1<?a b?>", "<true/>"]
    rows("integer", "<integer>{}</integer>", [(text, f"<integer>{value}</integer>\n") for text, value in accepted])
    rows("integer_refused", "<integer>{}</integer>", [(text, REFUSED) for text in refused])
    xml("integer_without_end_tag", "<integer/>", REFUSED)


def reals():
    accepted = [("0", "0.0"), ("-0", "0.0"), ("0.0", "0.0"), ("-0.0", "0.0"), ("1e-400", "0.0"), ("-1e-400", "0.0"),
                ("1", "1"), ("1.5", "1.5"), ("+2.5", "2.5"), ("-2.5", "-2.5"), ("0.1", "0.10000000000000001"),
                ("1e3", "1000"), ("1E3", "1000"), ("1e+3", "1000"), ("1e-3", "0.001"), ("1e22", "1e+22"),
                ("0.25", "0.25"), ("123456.5", "123456.5"), ("-1e100", "-1e+100"),
                ("1.7976931348623157e308", "1.7976931348623157e+308"), ("1e400", "+infinity"),
                ("-1e400", "-infinity"), ("1e999", "+infinity"), ("infinity", "+infinity"),
                ("+infinity", "+infinity"), ("-infinity", "-infinity"), ("nan", "nan"),
                (" 1.5", "1.5"), ("\t1.5", "1.5"), ("\n1.5", "1.5"), ("- 1.5", "-1.5"), ("+ 1.5", "1.5")]
    refused = ["1.5 ", "1.5\t", "1.5\n", "1.5\r", " 1.5 ", "", "-", "+", "one", "1,5", "--1", "+-1", "1.5.2", "1 2", "-nan",
               "nan(1)", "<true/>"]
    rows("real", "<real>{}</real>", [(text, f"<real>{value}</real>\n") for text, value in accepted])
    rows("real_refused", "<real>{}</real>", [(text, REFUSED) for text in refused])
    xml("real_without_end_tag", "<real/>", REFUSED)


def dates():
    accepted = ["2001-01-01T00:00:00Z", "2000-02-29T23:59:59Z", "1969-12-31T23:59:59Z", "1970-01-01T00:00:00Z",
                "2024-03-01T00:03:25Z", "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z", "2038-01-19T03:14:08Z"]
    refused = [" 2001-01-01T00:00:00Z", "\n2001-01-01T00:00:00Z", "\t2001-01-01T00:00:00Z", "2001-01-01T00:00:00Z ",
               "2001-01-01T00:00:00Z\n", "2001-01-01T00:00:00Z\t", "", " ", "today",
               "<!-- a -->2001-01-01T00:00:00Z", "2001-01-01T00:00:00Z<!-- a -->", "<?a?>2001-01-01T00:00:00Z",
               "2001-01-01T00:00:00Z<?a?>", "<true/>"]
    rows("date", "<date>{}</date>", [(text, f"<date>{text}</date>\n") for text in accepted])
    rows("date_refused", "<date>{}</date>", [(text, REFUSED) for text in refused])
    xml("date_without_end_tag", "<date/>", REFUSED)


def data_lines(content, depth):
    """The element at a depth: lines of 76 characters less 8 for each level up to the eighth."""
    level = min(depth, 8)
    width = 76 - 8 * level
    text = base64.b64encode(content).decode()
    lines = [text[i:i + width] for i in range(0, len(text), width)]
    return "\t" * depth + "<data>\n" + "".join("\t" * level + line + "\n" for line in lines) + "\t" * depth + "</data>\n"


def in_arrays(content, depth):
    return "<array>" * depth + content + "</array>" * depth


def in_array_lines(lines, depth):
    for level in reversed(range(depth)):
        lines = "\t" * level + "<array>\n" + lines + "\t" * level + "</array>\n"
    return lines


def data():
    for depth in range(12):
        width = 76 - 8 * min(depth, 8)
        for name, size in (("short", 5), ("line", width // 4 * 3), ("more", width // 4 * 3 + 1), ("lines", width * 2)):
            content = bytes(i * 7 % 256 for i in range(size))
            text = base64.b64encode(content).decode()
            xml(f"data_depth_{depth:02}_{name}", in_arrays(f"<data>{text}</data>", depth),
                in_array_lines(data_lines(content, depth), depth))
    for number, (text, content) in enumerate(
            [("", b""), ("Zg==", b"f"), ("Zm8=", b"fo"), ("Zm9v", b"foo"), ("Zm9vYg==", b"foob"),
             (" Zm9v ", b"foo"), ("\n\tZm9v\n\t", b"foo"), ("Zm\n9v", b"foo"), ("Zm\r\n9v", b"foo"), ("+/+/", b"\xfb\xff\xbf"),
             # The digits of a reference are taken for base64.
             ("Z&#74;v", base64.b64decode("Z74v")), ("&#1234;", base64.b64decode("1234")),
             ("AB&#74;", base64.b64decode("AB74"))], 1):
        xml(f"data_{number:02}", f"<data>{text}</data>", data_lines(content, 0))
    rows("data_refused", "<data>{}</data>",
         [(text, REFUSED) for text in ("<!-- a -->Zm9v", "Zm9v<!-- a -->", "<?a?>Zm9v", "<![CDATA[Zm9v]]>", "<true/>")])
    xml("data_without_end_tag", "<data/>", REFUSED)


def strings():
    plain = ["text", "", " text ", "\ttext", "a\nb", "a\n\n", "\u00e4", "\u20ac", "\U0001f4f1", "\u007f", "\u0085",
             "\u2028", "\ufffd", "\ue000", "a\"b'c", "1", "true"]
    for number, text in enumerate(plain, 1):
        xml(f"string_{number:02}", f"<string>{text}</string>", f"<string>{text}</string>\n")
    for code in [*range(1, 9), 0xB, 0xC, *range(0xE, 0x20)]:
        text = f"a{chr(code)}b"
        xml(f"string_control_{code:02x}", f"<string>{text}</string>", f"<string>{text}</string>\n")
        xml(f"key_control_{code:02x}", f"<dict><key>{text}</key><true/></dict>",
            f"<dict>\n\t<key>{text}</key>\n\t<true/>\n</dict>\n")
    for code in (0xFFFE, 0xFFFF):
        text = f"a{chr(code)}b"
        xml(f"string_control_{code:04x}", f"<string>{text}</string>", f"<string>{text}</string>\n")
    for number, text in enumerate(["a\r\nb", "a\r\n", "\r\n", "\r\n\r\n", "a\r\nb\nc", "a\n\r\nb"], 1):
        xml(f"string_line_ends_{number:02}", f"<string>{text}</string>", f"<string>{text}</string>\n")
    references = [("&lt;", "&lt;"), ("&gt;", "&gt;"), ("&amp;", "&amp;"), ("&quot;", '"'), ("&apos;", "'"),
                  ("&#65;", "A"), ("&#x41;", "A"), ("&#228;", "\u00e4"), ("&#xE4;", "\u00e4"), ("&#8364;", "\u20ac"),
                  ("&#x20AC;", "\u20ac"), ("&#x1F4F1;", "\U0001f4f1"), ("&#128241;", "\U0001f4f1"), ("a&#10;b", "a\nb"),
                  ("&amp;lt;", "&amp;lt;"), ("&#38;", "&amp;"), ("&#60;", "&lt;"), ("&#62;", "&gt;")]
    for number, (text, expected) in enumerate(references, 1):
        xml(f"string_reference_{number:02}", f"<string>{text}</string>", f"<string>{expected}</string>\n")
    for number, (text, expected) in enumerate(
            [("<![CDATA[a]]>", "a"), ("<![CDATA[<b>&]]>", "&lt;b&gt;&amp;"), ("a<![CDATA[b]]>c", "abc"), ("<![CDATA[]]>", ""),
             ("<![CDATA[ ]]>", " "), ("<![CDATA[a\r\nb]]>", "a\r\nb"), ("<![CDATA[&amp;]]>", "&amp;amp;")], 1):
        xml(f"string_cdata_{number:02}", f"<string>{text}</string>", f"<string>{expected}</string>\n")
    inside = ["<!-- a -->", "<!---->", "<?a?>", "<?a b?>"]
    for number, text in enumerate(inside, 1):
        for place, content in (("before", text + "a"), ("after", "a" + text), ("between", "a" + text + "b")):
            xml(f"string_with_markup_{place}_{number}", f"<string>{content}</string>", REFUSED)
            xml(f"key_with_markup_{place}_{number}", f"<dict><key>{content}</key><true/></dict>", REFUSED)
    for number, text in enumerate(["<true/>", "<string>b</string>", "&none;", "&", "<"], 1):
        xml(f"string_refused_{number}", f"<string>{text}</string>", REFUSED)
    xml("string_without_end_tag", "<string/>", "<string></string>\n")


def booleans():
    for word in ("true", "false"):
        xml(word, f"<{word}/>", f"<{word}/>\n")
        xml(f"{word}_blank_in_tag", f"<{word} />", f"<{word}/>\n")
        for number, text in enumerate((" ", "\n", "\t", "1", "<!-- a -->", "<?a?>", "<true/>"), 1):
            xml(f"{word}_refused_{number}", f"<{word}>{text}</{word}>", REFUSED)


def dictionary(*entries):
    return "<dict>" + "".join(f"<key>{key}</key>{value}" for key, value in entries) + "</dict>"


def dictionary_lines(*entries):
    return "<dict>\n" + "".join(f"\t<key>{key}</key>\n\t{value}\n" for key, value in entries) + "</dict>\n"


def containers():
    xml("array_empty", "<array/>", "<array/>\n")
    xml("array_empty_with_end_tag", "<array></array>", "<array/>\n")
    xml("array_empty_with_white_space", "<array> \n\t</array>", "<array/>\n")
    xml("array", "<array><true/><integer>1</integer><string>a</string></array>",
        "<array>\n\t<true/>\n\t<integer>1</integer>\n\t<string>a</string>\n</array>\n")
    xml("array_with_comments", "<array><!-- a --><true/><?b?><false/><!-- c --></array>",
        "<array>\n\t<true/>\n\t<false/>\n</array>\n")
    xml("array_with_text", "<array>a</array>", REFUSED)
    xml("array_with_key", "<array><key>a</key></array>", REFUSED)
    xml("dict_empty", "<dict/>", "<dict/>\n")
    xml("dict_empty_with_end_tag", "<dict></dict>", "<dict/>\n")
    xml("dict_without_value", "<dict><key>a</key></dict>", REFUSED)
    xml("dict_without_key", "<dict><true/></dict>", REFUSED)
    xml("dict_with_two_keys", "<dict><key>a</key><key>b</key><true/></dict>", REFUSED)
    xml("dict_with_text", "<dict>a</dict>", REFUSED)
    xml("dict_nested", dictionary(("a", dictionary(("b", "<true/>")))),
        "<dict>\n\t<key>a</key>\n\t<dict>\n\t\t<key>b</key>\n\t\t<true/>\n\t</dict>\n</dict>\n")
    xml("dict_equal_keys", dictionary(("a", "<integer>1</integer>"), ("a", "<integer>2</integer>")),
        dictionary_lines(("a", "<integer>2</integer>")))
    xml("dict_three_equal_keys",
        dictionary(("a", "<integer>1</integer>"), ("b", "<true/>"), ("a", "<integer>2</integer>"), ("a", "<integer>3</integer>")),
        dictionary_lines(("a", "<integer>3</integer>"), ("b", "<true/>")))
    # In the order of their UTF-16 units.
    keys = ["", "A", "B", "Z", "a", "aa", "ab", "b", "\u00e4", "\u0416", "\u20ac", "\ud7ff", "\U00010000", "\U0001f600",
            "\U0001f600a", "\U0010fffd", "\ue000", "\uf8ff", "\ufb01", "\ufffd"]
    for number, order in enumerate((keys, keys[::-1], keys[1::2] + keys[::2], keys[12:] + keys[:12]), 1):
        xml(f"dict_order_{number}", dictionary(*((key, "<true/>") for key in order)),
            dictionary_lines(*((key, "<true/>") for key in keys)))
    for number, (first, second) in enumerate(zip(keys, keys[1:]), 1):
        xml(f"dict_order_of_two_{number:02}", dictionary((second, "<true/>"), (first, "<false/>")),
            dictionary_lines((first, "<false/>"), (second, "<true/>")))
    for number in (0, 1, 255, 65536, 4294967295):
        lines = dictionary_lines(("CF$UID", f"<integer>{number}</integer>"))
        xml(f"uid_{number}", dictionary(("CF$UID", f"<integer>{number}</integer>")), lines)
    xml("no_uid_with_another_key", dictionary(("CF$UID", "<integer>1</integer>"), ("a", "<true/>")),
        dictionary_lines(("CF$UID", "<integer>1</integer>"), ("a", "<true/>")))
    xml("no_uid_of_a_string", dictionary(("CF$UID", "<string>1</string>")),
        dictionary_lines(("CF$UID", "<string>1</string>")))
    for depth in (2, 3, 9, 20):
        xml(f"depth_{depth:03}", in_arrays("<true/>", depth), in_array_lines("\t" * depth + "<true/>\n", depth))
    for depth, expected in ((510, ACCEPTED), (511, ACCEPTED), (512, REFUSED), (513, REFUSED), (600, REFUSED)):
        xml(f"depth_{depth}_in_a_dict", dictionary(("a", in_arrays("", depth))), expected)
    for name in ("null", "set", "uid", "dictionary", "Array", "STRING", "int", "boolean"):
        xml(f"element_unknown_{name.lower()}", f"<{name}/>", REFUSED)


def frames():
    value, lines = "<dict><key>a</key><true/></dict>", "<dict>\n\t<key>a</key>\n\t<true/>\n</dict>\n"
    plist = f"<plist>{value}</plist>"
    row("frame_none", value, lines)
    row("frame_declaration_only", HEAD.split("<!")[0] + value, lines)
    row("frame_declaration_and_doctype_only", HEAD + value, lines)
    row("frame_no_declaration", plist, lines)
    row("frame_no_doctype", HEAD.split("<!")[0] + plist, lines)
    row("frame_no_end_of_value", "<plist><dict><key>a</key><true/>", REFUSED)
    row("frame_cut_in_a_tag", "<plist><dict><key>a</ke", REFUSED)
    for number, bare in enumerate(("<true/>", "<string>a</string>", "<array/>", "<integer>1</integer>"), 1):
        written = bare if bare.startswith(("<true", "<arr")) else bare
        row(f"frame_none_{number}", bare, written + "\n")
    for number, space in enumerate((" ", "\n", "\t", "\r\n", " \n\t "), 1):
        row(f"frame_white_space_before_{number}", space + HEAD + plist, lines)
        row(f"frame_white_space_before_no_declaration_{number}", space + plist, lines)
    for number, rest in enumerate(("\n", " ", "a", "<plist/>", plist, "<", "&", "<!-- a", "]]>", b"\xff", b"\0"), 1):
        row(f"frame_rest_{number:02}", utf8(HEAD + plist) + utf8(rest), lines)
    xml("frame_no_value", "", REFUSED)
    xml("frame_comment_only", "<!-- a -->", REFUSED)
    xml("frame_two_values", "<true/><false/>", REFUSED)
    xml("frame_text", "a<true/>", REFUSED)
    xml("frame_cdata", "<![CDATA[a]]>", REFUSED)
    xml("frame_cdata_before", "<![CDATA[]]><true/>", REFUSED)
    xml("frame_cdata_after", "<true/><![CDATA[ ]]>", REFUSED)
    xml("frame_comments", "<!-- a --><true/><!-- b -->", "<true/>\n")
    xml("frame_instructions", "<?a?><true/><?b c?>", "<true/>\n")
    row("frame_comment_first", "<!-- a -->" + plist, lines)
    row("frame_other_version", '<plist version="2.0"><true/></plist>', "<true/>\n")


def encodings():
    text = "a\u00e4\u20ac\U0001f4f1"
    document, lines = f"<plist><string>{text}</string></plist>", f"<string>{text}</string>\n"
    row("encoding_utf8_with_mark", b"\xef\xbb\xbf" + utf8(document), lines)
    row("encoding_utf8_declared", '<?xml version="1.0" encoding="utf-8"?>' + document, lines)
    row("encoding_utf16_big_endian", b"\xfe\xff" + document.encode("utf-16-be"), lines)
    row("encoding_utf16_little_endian", b"\xff\xfe" + document.encode("utf-16-le"), lines)
    row("encoding_utf16_big_endian_no_mark", document.encode("utf-16-be"), REFUSED)
    row("encoding_utf16_little_endian_no_mark", document.encode("utf-16-le"), REFUSED)
    for name, declared in (("big", "utf-16-be"), ("little", "utf-16-le")):
        whole = '<?xml version="1.0" encoding="UTF-16"?>' + document
        row(f"encoding_utf16_{name}_declared_no_mark", whole.encode(declared), REFUSED)
        row(f"encoding_utf16_{name}_declared", "\ufeff".encode(declared) + whole.encode(declared), lines)
    latin = "".join(map(chr, range(0xA0, 0x100)))
    row("encoding_latin_1", '<?xml version="1.0" encoding="ISO-8859-1"?>'.encode() +
        f"<plist><string>{latin}</string></plist>".encode("latin-1"), f"<string>{latin}</string>\n")


def binary(objects, top=0, reference_size=1):
    """A binary property list of objects that are given byte for byte."""
    body, offsets = b"bplist00", b""
    for item in objects:
        offsets += struct.pack(">I", len(body))
        body += item
    return (body + offsets + bytes(6) + bytes([4, reference_size]) +
            struct.pack(">QQQ", len(objects), top, len(body)))


def binaries():
    def number(name, marker, value, size, expected):
        row(f"binary_{name}", binary([bytes([marker]) + value.to_bytes(size, "big", signed=value < 0)]),
            f"<integer>{expected}</integer>\n")

    for size, marker in ((1, 0x10), (2, 0x11), (4, 0x12)):
        most = 256 ** size - 1
        for name, value in (("0", 0), ("1", 1), ("high", most // 2 + 1), ("most", most)):
            number(f"integer_of_{size}_{name}", marker, value, size, value)
    for name, value in (("0", 0), ("1", 1), ("minus_1", -1), ("most", 2 ** 63 - 1), ("least", -2 ** 63)):
        number(f"integer_of_8_{name}", 0x13, value, 8, value)
    # Of 128 bits the low half counts, without a sign.
    for name, value in (("0", 0), ("7", 7), ("2_to_63", 2 ** 63), ("2_to_64_less_1", 2 ** 64 - 1), ("2_to_64", 2 ** 64),
                        ("2_to_64_and_5", 2 ** 64 + 5), ("minus_1", -1), ("minus_2", -2), ("2_to_127_less_1", 2 ** 127 - 1),
                        ("least", -2 ** 127)):
        number(f"integer_of_16_{name}", 0x14, value, 16, value % 2 ** 64)
    for name, value, text in (("0", 0.0, "0.0"), ("minus_0", -0.0, "0.0"), ("half", 0.5, "0.5"), ("minus", -2.25, "-2.25"),
                              ("infinite", float("inf"), "+infinity"), ("nan", float("nan"), "nan")):
        row(f"binary_real_of_4_{name}", binary([b"\x22" + struct.pack(">f", value)]), f"<real>{text}</real>\n")
        row(f"binary_real_of_8_{name}", binary([b"\x23" + struct.pack(">d", value)]), f"<real>{text}</real>\n")
    for name, seconds, text in (("epoch", 0, "2001-01-01T00:00:00Z"), ("day", 86400, "2001-01-02T00:00:00Z"),
                                ("before", -1, "2000-12-31T23:59:59Z"), ("fraction", 0.75, "2001-01-01T00:00:00Z"),
                                ("last", 252423993599, "9999-12-31T23:59:59Z"),
                                ("year_10000", 252423993600, "10000-01-01T00:00:00Z"),
                                ("year_before_0", -63180000001, "-002-11-27T23:59:59Z")):
        row(f"binary_date_{name}", binary([b"\x33" + struct.pack(">d", seconds)]), f"<date>{text}</date>\n")
    row("binary_true", binary([b"\x09"]), "<true/>\n")
    row("binary_false", binary([b"\x08"]), "<false/>\n")
    row("binary_data", binary([b"\x43\x01\x00\xff"]), data_lines(b"\x01\x00\xff", 0))
    row("binary_data_empty", binary([b"\x40"]), data_lines(b"", 0))
    row("binary_data_of_15", binary([b"\x4f\x10\x0f" + b"a" * 15]), data_lines(b"a" * 15, 0))
    row("binary_string", binary([b"\x53one"]), "<string>one</string>\n")
    row("binary_string_empty", binary([b"\x50"]), "<string></string>\n")
    row("binary_string_of_15", binary([b"\x5f\x10\x0f" + b"a" * 15]), "<string>" + "a" * 15 + "</string>\n")
    row("binary_string_of_256", binary([b"\x5f\x11\x01\x00" + b"a" * 256]), "<string>" + "a" * 256 + "</string>\n")
    for byte in (0x80, 0x85, 0xA0, 0xC3, 0xE4, 0xFF):
        row(f"binary_string_byte_{byte:02x}", binary([b"\x52a" + bytes([byte])]), f"<string>a{chr(byte)}</string>\n")
    for number, text in enumerate(("a", "\u00e4", "\u20ac", "\U0001f4f1", "a\U0001f4f1b", "\ufffd"), 1):
        units = text.encode("utf-16-be")
        row(f"binary_utf16_{number}", binary([bytes([0x60 + len(units) // 2]) + units]), f"<string>{text}</string>\n")
    # The text stops at an unpaired surrogate.
    for name, units, text in (("high", "a\ud83d", "a"), ("low", "a\udcf1", "a"), ("high_then_text", "a\ud83db", "a"),
                              ("low_then_high", "\udcf1\ud83d", ""), ("two_high", "ab\ud83d\ud83d", "ab"), ("alone", "\ud800", "")):
        content = units.encode("utf-16-be", "surrogatepass")
        row(f"binary_surrogate_{name}", binary([bytes([0x60 + len(content) // 2]) + content]), f"<string>{text}</string>\n")
        row(f"binary_surrogate_{name}_in_an_array",
            binary([b"\xa2\x01\x02", bytes([0x60 + len(content) // 2]) + content, b"\x09"]),
            f"<array>\n\t<string>{text}</string>\n\t<true/>\n</array>\n")
    row("binary_array", binary([b"\xa2\x01\x02", b"\x51a", b"\x09"]), "<array>\n\t<string>a</string>\n\t<true/>\n</array>\n")
    row("binary_array_shared", binary([b"\xa3\x01\x01\x01", b"\x51a"]), "<array>\n" + "\t<string>a</string>\n" * 3 + "</array>\n")
    row("binary_dict", binary([b"\xd2\x01\x02\x03\x04", b"\x51b", b"\x51a", b"\x10\x01", b"\x10\x02"]),
        dictionary_lines(("a", "<integer>2</integer>"), ("b", "<integer>1</integer>")))
    # Of equal keys the first counts, other than in XML.
    row("binary_dict_equal_keys", binary([b"\xd2\x01\x02\x03\x04", b"\x51a", b"\x51a", b"\x10\x01", b"\x10\x02"]),
        dictionary_lines(("a", "<integer>1</integer>")))
    row("binary_dict_same_key", binary([b"\xd2\x01\x01\x02\x03", b"\x51a", b"\x10\x01", b"\x10\x02"]),
        dictionary_lines(("a", "<integer>1</integer>")))
    row("binary_dict_three_equal_keys",
        binary([b"\xd3\x01\x02\x01\x03\x04\x05", b"\x51a", b"\x51b", b"\x10\x01", b"\x10\x02", b"\x10\x03"]),
        dictionary_lines(("a", "<integer>1</integer>"), ("b", "<integer>2</integer>")))
    for name, item in (("integer", b"\x10\x05"), ("real", b"\x23" + struct.pack(">d", 1.5)), ("large", b"\x13" + b"\x7f" * 8)):
        row(f"binary_dict_key_{name}", binary([b"\xd1\x01\x01", item]), UNWRITABLE)
    row("binary_null", binary([b"\x00"]), UNWRITABLE)
    row("binary_null_in_an_array", binary([b"\xa1\x01", b"\x00"]), UNWRITABLE)
    row("binary_null_in_a_dict", binary([b"\xd1\x01\x02", b"\x51a", b"\x00"]), UNWRITABLE)
    for name, objects in (("empty", [b"\xc0"]), ("one", [b"\xc1\x01", b"\x09"]), ("two", [b"\xc2\x01\x02", b"\x51a", b"\x10\x01"])):
        row(f"binary_set_{name}", binary(objects), UNWRITABLE)
        row(f"binary_set_{name}_in_an_array", binary([b"\xa1\x01"] + [
            item[:1] + bytes(byte + 1 for byte in item[1:]) if item[0] >> 4 == 0xC else item for item in objects]), UNWRITABLE)
    for size, value in ((1, 0), (1, 5), (1, 255), (2, 256), (2, 65535), (4, 65536), (4, 2 ** 32 - 1)):
        row(f"binary_uid_of_{size}_{value}", binary([bytes([0x80 + size - 1]) + value.to_bytes(size, "big")]),
            dictionary_lines(("CF$UID", f"<integer>{value}</integer>")))
    row("binary_uid_in_an_array", binary([b"\xa1\x01", b"\x80\x05"]),
        "<array>\n\t<dict>\n\t\t<key>CF$UID</key>\n\t\t<integer>5</integer>\n\t</dict>\n</array>\n")
    row("binary_cut", binary([b"\x53one"])[:-1], REFUSED)
    row("binary_magic_only", b"bplist00", REFUSED)
    row("binary_reference_to_nothing", binary([b"\xa1\x05"]), REFUSED)
    row("binary_top_is_nothing", binary([b"\x09"], top=3), REFUSED)
    row("binary_array_in_itself", binary([b"\xa1\x00"]), REFUSED)
    row("binary_string_too_long", binary([b"\x5f\x12\x7f\xff\xff\xff"]), REFUSED)


def build():
    for group in (integers, reals, dates, data, strings, booleans, containers, frames, encodings, binaries):
        group()
    files = {"documents/" + name: content for name, content in documents.items()}
    files |= {f"contents/{name}.xml": content for name, content in contents.items()}
    files["results.txt"] = "".join(f"{name} {results[name]}\n" for name in sorted(results)).encode()
    return files


def main(arguments):
    folder = pathlib.Path(__file__).resolve().parent
    files = build()
    known = {path.relative_to(folder).as_posix(): path for part in ("documents", "contents")
             for path in (folder / part).glob("*")}
    if arguments == ["--check"]:
        different = sorted(name for name, content in files.items()
                           if not (folder / name).is_file() or (folder / name).read_bytes() != content)
        different += sorted(set(known) - set(files))
        for name in different:
            print(f"{name} is not what make_truth.py writes", file=sys.stderr)
        print(f"{len(documents)} documents")
        return 1 if different else 0
    for name in set(known) - set(files):
        known[name].unlink()
    for name, content in files.items():
        (folder / name).parent.mkdir(exist_ok=True)
        (folder / name).write_bytes(content)
    print(f"{len(documents)} documents, {len(contents)} of them with their content")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
