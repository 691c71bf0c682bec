#!/usr/bin/env python3
"""Writes the seed corpus of dib_fuzz from the bitmaps of the unit tests.

Input layout: op, bit count index (1,4,8,16,24,32), compression, width,
height (signed byte), biClrUsed, three masks (little-endian words), for the
reading operations an image kind byte and a channel-sequence byte, then the
colour table and the pixels (or the RLE stream)."""
import os, random, struct

BC = {1: 0, 4: 1, 8: 2, 16: 3, 24: 4, 32: 5}
out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
os.makedirs(out, exist_ok=True)
rng = random.Random(7)

def seed(name, op, bc, comp, w, h, clr=0, masks=(0, 0, 0), kind=None, payload=b""):
    b = bytes([op, BC[bc], comp, w, h & 0xFF, clr]) + struct.pack("<3I", *masks)
    if kind is not None:
        b += bytes(kind)
    with open(os.path.join(out, name), "wb") as f:
        f.write(b + payload)

gray_table = b"".join(bytes([i, i, i, 0]) for i in range(256))
# RLE streams of the codec tests.
seed("rle8_short_row", 3, 8, 1, 4, 3, payload=bytes([4, 1, 0, 0, 4, 2, 0, 0, 0, 1]))
seed("rle8_delta", 3, 8, 1, 6, 3, payload=bytes([2, 9, 0, 2, 3, 1, 1, 8, 0, 0, 6, 7, 0, 1]))
seed("rle8_absolute", 3, 8, 1, 14, 1, payload=bytes([7, 4, 0, 4, 1, 2, 3, 4, 1, 9, 1, 9, 1, 9, 0, 0, 0, 1]))
seed("rle4_nibbles", 4, 4, 2, 8, 1, payload=bytes([1, 0x30, 1, 0x7F, 3, 0xAB, 1, 0xC0, 0, 2, 2, 0, 0, 0, 0, 1]))
seed("rle4_absolute", 4, 4, 2, 18, 1, payload=bytes([0, 9, 0x12, 0x34, 0x56, 0x78, 0x90, 0, 9, 0xBC, 0, 0, 0, 1]))
seed("rle_roundtrip", 5, 8, 1, 40, 3, clr=0, payload=bytes([1, 2, 3, 4, 5, 6, 7, 8, 9] + [50] * 111))
# Readers: the DIBs of the reader tests.
seed("translate_24", 0, 24, 0, 4, 3, payload=bytes(rng.randrange(256) for _ in range(48)))
seed("translate_gray8", 0, 8, 0, 4, -3, payload=gray_table + bytes(rng.randrange(256) for _ in range(12)))
seed("translate_rle8", 0, 8, 1, 4, 2, payload=gray_table + bytes([4, 7, 0, 0, 0, 4, 1, 2, 3, 4, 0, 1]))
seed("from_555", 1, 16, 0, 2, 1, kind=(3, 2), payload=bytes([0xff, 0x7f, 0, 0]))
seed("from_565", 2, 16, 3, 1, 1, masks=(0xf800, 0x07e0, 0x1f), kind=(3, 3), payload=bytes([0xff, 0xff, 0, 0]))
seed("from_32_fields", 1, 32, 3, 1, 1, masks=(0xff000000, 0xff0000, 0xff00), kind=(5, 4), payload=struct.pack("<I", 0x11223344))
seed("from_1bit", 1, 1, 0, 10, 2, kind=(0, 0), payload=bytes([0, 0, 0, 0, 255, 255, 255, 0]) + bytes([0x80, 0x40, 0, 0, 0xff, 0xc0, 0, 0]))
seed("from_4bit_rle", 2, 4, 2, 8, 1, kind=(9, 1), payload=bytes(b for i in range(16) for b in (i * 17, i * 17, i * 17, 0)) + bytes([1, 0x30, 1, 0x7F, 3, 0xAB, 1, 0xC0, 0, 2, 2, 0, 0, 0, 0, 1]))
