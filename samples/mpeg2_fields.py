#!/usr/bin/env python3
"""An MPEG-2 video stream of field pictures (ISO/IEC 13818-2), which no encoder option gives.

    mpeg2_fields.py OUT.m2v|OUT.ts PICTURES [user_data] [bottom]

64x64, 25 pictures per second, groups of 12: an intra pair, then predicted pairs of which each field replaces its first
macroblock and copies the others. Levels differ from picture to picture and between the fields. `.ts` wraps the
pictures into a transport stream. `user_data`: sequence, group and both fields of every picture n have user data, the texts
"sequence", "group", "n top" and "n bottom". `bottom`: the bottom field comes first.
"""
import sys

from bit_writer import BitWriter
from transport_writer import TransportWriter

SIZE, GROUP, RATE = 64, 12, 25
INTRA, PREDICTED = 1, 2
TOP, BOTTOM = 1, 2
DC_SIZES = ["100", "00", "01", "101", "110", "1110", "11110", "111110"]  # table B.12


def unit(code, bits):
    return b"\0\0\1" + bytes([code]) + bits.bytes()


def sequence():
    b = BitWriter().bits(12, SIZE).bits(12, SIZE).bits(4, 2).bits(4, 3)  # 4:3, 25 Hz
    b.bits(18, 5000).bits(1, 1).bits(10, 112).bits(3, 0)
    extension = BitWriter().bits(4, 1).bits(8, 0x48).bits(1, 0).bits(2, 1).bits(4, 0)  # Main, interlaced, 4:2:0
    extension.bits(12, 0).bits(1, 1).bits(8, 0).bits(1, 0).bits(2, 0).bits(5, 0)
    return unit(0xB3, b) + unit(0xB5, extension)


def group(number):
    b = BitWriter().bits(12, 0).bits(1, 1).bits(6, number // RATE % 60).bits(6, number % RATE)
    return unit(0xB8, b.bits(1, 1).bits(1, 0))  # closed


def intra_blocks(b, difference):
    """Four luma blocks, whose DC coefficient changes with the first, and two chroma blocks that do not change."""
    for block in range(4):
        value = difference if block == 0 else 0
        size = abs(value).bit_length()
        b.code(DC_SIZES[size])
        if size:
            b.bits(size, value if value > 0 else value + (1 << size) - 1)
        b.code("10")
    b.code("0010" * 2)


def user_data(text):
    return b"\0\0\1\xb2" + text.encode()


def field(temporal, kind, parity, level, text=None):
    b = BitWriter().bits(10, temporal).bits(3, kind).bits(16, 0xFFFF)
    if kind == PREDICTED:
        b.bits(1, 0).bits(3, 7)
    f_code = 15 if kind == INTRA else 1
    extension = BitWriter().bits(4, 8).bits(4, f_code).bits(4, f_code).bits(8, 0xFF).bits(2, 0).bits(2, parity)
    out = unit(0, b.bits(1, 0)) + unit(0xB5, extension.bits(10, 0))
    if text:
        out += user_data(text)
    for row in range(SIZE // 32):
        b = BitWriter().bits(5, 4).bits(1, 0)
        for column in range(SIZE // 16):
            b.code("1")  # no macroblock skipped
            if kind == INTRA or column == 0:
                b.code("1" if kind == INTRA else "00011")
                intra_blocks(b, level - 128 if column == 0 else 0)
            else:  # not coded, from the same parity, no motion
                b.code("001").code("01").code("0" if parity == TOP else "1").code("11")
        out += unit(row + 1, b)
    return out


def pictures(count, texts, bottom_first):
    for number in range(count):
        within = number % GROUP
        headers = b""
        if within == 0:
            headers = sequence() + (user_data("sequence") if texts else b"")
            headers += group(number) + (user_data("group") if texts else b"")
        level = 130 + number * 7 % 80
        names = (f"{number} top", f"{number} bottom") if texts else (None, None)
        first, second = ((TOP, level, names[0]), (BOTTOM, level + 3, names[1]))[::-1 if bottom_first else 1]
        yield (headers + field(within, INTRA if within == 0 else PREDICTED, *first) +
               field(within, PREDICTED, *second))


def main():
    path, count = sys.argv[1], int(sys.argv[2])
    texts, bottom_first = "user_data" in sys.argv[3:], "bottom" in sys.argv[3:]
    if path.endswith(".ts"):
        out = TransportWriter(path, "mpeg2")
        for number, picture in enumerate(pictures(count, texts, bottom_first)):
            stamp = 90000 + 90000 // RATE * number
            out.access_unit(picture, stamp, stamp)
        out.close()
        return
    with open(path, "wb") as out:
        out.writelines(pictures(count, texts, bottom_first))
        out.write(b"\0\0\1\xb7")


if __name__ == "__main__":
    main()
