"""BinHex 4.0 through python3 alone: an independent writer and reader for the tests.

  plain_binhex.py write NAME DATA RESOURCE OUT   BinHex text of two fork files, compressed greedily
  plain_binhex.py read TEXT DATA RESOURCE        the forks of a BinHex text; prints the header as JSON
"""
import binascii
import json
import re
import struct
import sys

ALPHABET = b"!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr"
BANNER = b"(This file must be converted with BinHex 4.0)\r\n"


def with_crc(section):
    return section + struct.pack(">H", binascii.crc_hqx(section, 0))


def compress(section):
    out = bytearray()
    for match in re.finditer(rb"(.)\1{0,254}", section, re.DOTALL):
        byte, count = match.group(1), len(match.group(0))
        if byte == b"\x90":
            out += b"\x90\0" * count
        elif count >= 3:
            out += byte + b"\x90" + bytes([count])
        else:
            out += byte * count
    return bytes(out)


def expand(packed):
    out = bytearray()
    at = 0
    while at < len(packed):
        if packed[at] != 0x90:
            out.append(packed[at])
            at += 1
        elif at + 1 == len(packed):
            break
        else:
            count = packed[at + 1]
            out += b"\x90" if count == 0 else bytes([out[-1]]) * (count - 1)
            at += 2
    return bytes(out)


def six_bit(data):
    data += b"\xff" * (-len(data) % 3)
    text = bytearray()
    for group in range(0, len(data), 3):
        value = int.from_bytes(data[group:group + 3], "big")
        text += bytes(ALPHABET[value >> shift & 63] for shift in (18, 12, 6, 0))
    return bytes(text)


def from_six_bit(text):
    values = [ALPHABET.index(c) for c in text]
    out = bytearray()
    for group in range(0, len(values) - 3, 4):
        value = 0
        for v in values[group:group + 4]:
            value = value << 6 | v
        out += value.to_bytes(3, "big")
    return bytes(out)


def write(name, data_path, resource_path, out_path):
    with open(data_path, "rb") as f:
        data = f.read()
    with open(resource_path, "rb") as f:
        resource = f.read()
    name = name.encode("latin-1")
    header = (bytes([len(name)]) + name + b"\0" + b"TEXT" + b"ttxt"
              + struct.pack(">HII", 0, len(data), len(resource)))
    packed = compress(with_crc(header)) + compress(with_crc(data)) + compress(with_crc(resource))
    text = b":" + six_bit(packed) + b":"
    with open(out_path, "wb") as f:
        f.write(BANNER)
        for at in range(0, len(text), 64):
            f.write(text[at:at + 64] + b"\r\n")


def read(text_path, data_path, resource_path):
    with open(text_path, "rb") as f:
        whole = f.read()
    assert whole.startswith(BANNER), "banner"
    assert whole.endswith(b":\r\n\r\n"), "trailer"
    lines = whole[len(BANNER):-4].split(b"\r\n")
    assert all(len(line) == 64 for line in lines[:-1]) and len(lines[-1]) <= 64, "line lengths"
    text = b"".join(lines)
    assert text[0:1] == b":" and text[-1:] == b":" and text.count(b":") == 2, "colons"
    stream = expand(from_six_bit(text[1:-1]))
    name_length = stream[0]
    header = stream[:20 + name_length]
    data_length, resource_length = struct.unpack(">II", header[-8:])
    at = 0
    sections = []
    for length in (len(header), data_length, resource_length):
        section = stream[at:at + length]
        assert len(section) == length, "short section"
        crc, = struct.unpack(">H", stream[at + length:at + length + 2])
        assert crc == binascii.crc_hqx(section, 0), "CRC"
        sections.append(section)
        at += length + 2
    assert len(stream) - at <= 2, "more than padding behind the resource fork"
    with open(data_path, "wb") as f:
        f.write(sections[1])
    with open(resource_path, "wb") as f:
        f.write(sections[2])
    print(json.dumps({"name": header[1:1 + name_length].decode("latin-1"),
                      "version": header[1 + name_length],
                      "type": header[2 + name_length:6 + name_length].decode("latin-1"),
                      "creator": header[6 + name_length:10 + name_length].decode("latin-1"),
                      "flags": int.from_bytes(header[10 + name_length:12 + name_length], "big")}))


{"write": write, "read": read}[sys.argv[1]](*sys.argv[2:])
