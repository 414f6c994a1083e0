#!/usr/bin/env python3
"""Writes VC-1 of the simple profile to standard output, as an RCV file.

usage: make_vc1.py < AVI > RCV

Standard input is an AVI file of ffmpeg with WMV2 in intra pictures, quantizer 4, of which each
block of 8x8 pixels has one value. Such macroblocks are coded in the same way in both formats: only
the headers of the pictures differ. Values are 9/8 of those in the AVI file, which is the difference
of the two transforms.
"""

import struct
import sys

QUANTIZER = 4
# Main fields: one for the fast transform, fast chroma, the uniform quantizer and the last bit.
SEQUENCE = "00" "0000000000" "0001" "10000000" "0000" "11" "0" "1"


def to_bytes(bits):
    bits += "0" * (-len(bits) % 8)
    return int(bits, 2).to_bytes(len(bits) // 8, "big")


def to_bits(data):
    return f"{int.from_bytes(data, 'big'):0{8 * len(data)}b}"


def chunks(data, at, end):
    while at + 8 <= end:
        kind, size = struct.unpack_from("<4sI", data, at)
        yield kind, at + 8, min(size, end - at - 8)
        at += 8 + size + size % 2


def find(data, kind, at, end):
    """The content of all chunks of this kind in nested lists."""
    for name, begin, size in chunks(data, at, end):
        if name in (b"LIST", b"RIFF"):
            yield from find(data, kind, begin + 4, begin + size)
        elif name == kind:
            yield data[begin:begin + size]


class Bits:
    def __init__(self, bits):
        self.bits, self.at = bits, 0

    def take(self, count):
        self.at += count
        return self.bits[self.at - count:self.at]

    def take_012(self):
        return "0" if self.take(1) == "0" else "1" + self.take(1)


def converted(picture, setup):
    bits = Bits(to_bits(picture))
    if bits.take(1) != "0":
        sys.exit("The picture is not an intra picture.")
    bits.take(7)
    if int(bits.take(5), 2) != QUANTIZER:
        sys.exit("The quantizer is not 4.")
    # The frame rate and the bit rate, then flags.
    flags = to_bits(setup)[16:]
    if flags[3] == "1":  # the type of the coding
        bits.take(1)
    if flags[5] == "0" or bits.take(1) == "0":  # tables for the picture
        bits.take_012()
        bits.take_012()
    table = bits.take(1)
    header = "00" "0" "0000000" f"{QUANTIZER:05b}" "0" "0" "0"
    return to_bytes(header + table + bits.bits[bits.at:])


def main():
    data = sys.stdin.buffer.read()
    header = next(find(data, b"strf", 0, len(data)))
    width, height = struct.unpack_from("<ii", header, 4)
    pictures = [converted(each, header[40:44]) for each in find(data, b"00dc", 0, len(data))]
    out = struct.pack("<I", len(pictures) | 0xC5 << 24) + struct.pack("<I", 4) + to_bytes(SEQUENCE)
    out += struct.pack("<IIIIII", height, width, 12, 0, 0, 25)
    for number, picture in enumerate(pictures):
        out += struct.pack("<II", len(picture) | 0x80 << 24, number) + picture
    sys.stdout.buffer.write(out)


if __name__ == "__main__":
    main()
