#!/usr/bin/env python3
"""Prints src/charset/kana_table.inc: for each half-width katakana byte 0xA1 to 0xDF the Shift-JIS code of its full-width
character, from the compatibility decompositions of the Unicode character database and the Shift-JIS code table that come
with python. The sound marks stand alone here, so they become the spacing characters, not the combining ones."""
import unicodedata

SPACING = {"\u3099": "\u309B", "\u309A": "\u309C"}
codes = []
for byte in range(0xA1, 0xE0):
    wide = unicodedata.normalize("NFKC", bytes([byte]).decode("shift_jis"))
    codes.append(int.from_bytes(SPACING.get(wide, wide).encode("shift_jis"), "big"))
print("// Made by make_kana_table.py: the full-width forms of 0xA1 to 0xDF in Shift-JIS.")
for start in range(0, len(codes), 8):
    print(" ".join(f"0x{code:04X}," for code in codes[start:start + 8]))
