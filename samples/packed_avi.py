#!/usr/bin/env python3
"""An AVI file of MPEG-4 Part 2 with packed B pictures, as encoders for players without a delay wrote it.

    packed_avi.py IN.m4v OUT.avi WIDTH HEIGHT RATE [empty]

A chunk holds an anchor and the B picture that is shown before it; the chunk behind holds a picture that is
not coded or, with `empty`, no bytes at all. User data "DivX503b1393p" announces it. RATE pictures per second, whole.
"""
import struct
import sys

import coded_units
from bit_writer import BitWriter

ANNOUNCEMENT = b"\0\0\1\xb2DivX503b1393p"


def uncoded(rate):
    """A predicted picture with vop_coded 0 (ISO/IEC 14496-2 6.2.5)."""
    bits = BitWriter().bits(2, 1).bits(1, 0).bits(1, 1).bits(max(1, (rate - 1).bit_length()), 0).bits(1, 1).bits(1, 0)
    return b"\0\0\1\xb6" + bits.stuffing().bytes()


def time_base(picture):
    """vop_time_increment_resolution of the video object layer, as libavcodec writes it."""
    at = next(i for i in coded_units.start_codes(picture) if 0x20 <= picture[i + 3] <= 0x2F) + 4
    text = "".join(format(byte, "08b") for byte in picture[at:at + 32])
    position = 9
    position += 8 if text[position] == "1" else 1
    position += 20 if text[position:position + 4] == "1111" else 4
    if text[position] == "1":
        position += 83 if text[position + 4] == "1" else 5
    else:
        position += 1
    position += 3
    return int(text[position:position + 16], 2)


def pack(pictures, empty):
    """Anchor A, B pictures b1 .. bn behind it: [A b1] [b2] .. [bn] [uncoded]."""
    blank = b"" if empty else uncoded(time_base(pictures[0]))
    chunks, i = [], 0
    while i < len(pictures):
        run = 1
        while i + run < len(pictures) and coded_units.mpeg4_kind(pictures[i + run]) == "B":
            run += 1
        if run == 1:
            chunks.append(pictures[i])
        else:
            chunks.append(pictures[i] + pictures[i + 1])
            chunks += pictures[i + 2:i + run]
            chunks.append(blank)
        i += run
    return chunks


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def listing(name, data):
    return chunk(b"LIST", name + data)


def main():
    if len(sys.argv) < 6:
        sys.exit(__doc__)
    source, path = sys.argv[1:3]
    width, height, rate = map(int, sys.argv[3:6])
    with open(source, "rb") as file:
        pictures = coded_units.mpeg4_pictures(file.read())
    at = pictures[0].index(b"\0\0\1\xb6")
    pictures[0] = pictures[0][:at] + ANNOUNCEMENT + pictures[0][at:]
    chunks = pack(pictures, "empty" in sys.argv[6:])
    header = struct.pack("<14I", 1000000 // rate, 0, 0, 0x10, len(chunks), 0, 1, 0, width, height, 0, 0, 0, 0)
    stream = b"vidsDX50" + struct.pack("<IHHIIIIIIIIhhhh", 0, 0, 0, 0, 1, rate, 0, len(chunks), 0, 0xFFFFFFFF, 0, 0, 0,
                                       width, height)
    form = struct.pack("<IiiHH4sIiiII", 40, width, height, 1, 24, b"DX50", width * height * 3, 0, 0, 0, 0)
    movie, index, offset = b"", b"", 4
    for data in chunks:
        key = 0x10 if data and coded_units.mpeg4_kind(data) == "I" else 0
        index += struct.pack("<4sIII", b"00dc", key, offset, len(data))
        piece = chunk(b"00dc", data)
        movie += piece
        offset += len(piece)
    body = listing(b"hdrl", chunk(b"avih", header) + listing(b"strl", chunk(b"strh", stream) + chunk(b"strf", form)))
    body += listing(b"movi", movie) + chunk(b"idx1", index)
    with open(path, "wb") as out:
        out.write(chunk(b"RIFF", b"AVI " + body))


if __name__ == "__main__":
    main()
