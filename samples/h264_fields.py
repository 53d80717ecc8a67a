#!/usr/bin/env python3
"""A transport stream of H.264 field pairs, which no encoder option gives.

    h264_fields.py OUT.ts PICTURES [pair|field|first] [captions]

64x64, 25 pictures per second, groups of 12: I P B P B ... Every field is one gray level, its own for each picture and
parity, in raw (I_PCM) and skipped macroblocks. `pair`: both fields of a picture are one PES packet; `field`: each field
is one, with its own stamps; `first`: the same, stamps with the first field alone. `captions`: the first field of picture n
has an ATSC A/53 SEI message with one caption pair, n in two bytes of odd parity, and the second an unregistered message
that ends in n as text.
"""
import sys

import cea608
from bit_writer import BitWriter
from transport_writer import TransportWriter

MACROBLOCKS = 4  # per row; two rows per field
GROUP = 12
IDR, SLICE, SEI, SPS, PPS, DELIMITER = 5, 1, 6, 7, 8, 9
REGISTERED, UNREGISTERED = 4, 5


def nal(reference, kind, raw):
    """A NAL unit with start code and emulation prevention (ISO/IEC 14496-10 7.4.1)."""
    out, zeros = bytearray([reference << 5 | kind]), 0
    for byte in raw:
        if zeros >= 2 and byte <= 3:
            out.append(3)
            zeros = 0
        out.append(byte)
        zeros = zeros + 1 if byte == 0 else 0
    return b"\0\0\0\1" + bytes(out)


def sequence_parameters():
    b = BitWriter().bits(8, 77).bits(8, 0).bits(8, 30)  # Main profile, level 3
    b.ue(0).ue(4).ue(0).ue(4)  # id; 8 bits each of frame_num and picture order count
    b.ue(2).bits(1, 0)  # reference frames
    b.ue(MACROBLOCKS - 1).ue(1)  # size; frame_mbs_only_flag 0 below makes a map unit two macroblocks high
    b.bits(4, 0b0010)  # fields or frames, no adaptive frames, direct_8x8, no cropping
    b.bits(1, 1).bits(4, 0)  # usability information: nothing but
    b.bits(1, 1).bits(32, 1).bits(32, 50).bits(1, 1)  # 50 fields per second
    b.bits(3, 0)
    b.bits(1, 1).bits(1, 1).ue(0).ue(0).ue(10).ue(10).ue(1).ue(2)  # one picture held back, two buffers
    return nal(3, SPS, b.trailing().bytes())


def picture_parameters():
    b = BitWriter().ue(0).ue(0).bits(2, 0).ue(0).ue(0).ue(0).bits(3, 0).se(0).se(0).se(0).bits(3, 0)
    return nal(3, PPS, b.trailing().bytes())


def raw_macroblock(b, level):
    b.align()
    for _ in range(256):
        b.bits(8, level)
    for _ in range(128):
        b.bits(8, 128)


def field(kind, reference, idr, frame_number, order, bottom, level):
    b = BitWriter().ue(0).ue({"I": 7, "P": 5, "B": 6}[kind]).ue(0).bits(8, frame_number).bits(1, 1).bits(1, bottom)
    if idr is not None:
        b.ue(idr)
    b.bits(8, order & 0xFF)
    if kind == "B":
        b.bits(1, 1)  # spatial prediction
    if kind != "I":
        b.bits(2 if kind == "P" else 3, 0)  # usual number and order of references
    if reference:
        b.bits(2 if idr is not None else 1, 0)  # marking
    b.se(0)
    macroblocks = 2 * MACROBLOCKS
    if kind == "I":
        for _ in range(macroblocks):
            raw_macroblock(b.ue(25), level)
    else:  # one of its own, the others like the reference
        raw_macroblock(b.ue(0).ue({"P": 30, "B": 48}[kind]), level)
        b.ue(macroblocks - 1)
    return nal(3 if reference else 0, IDR if idr is not None else SLICE, b.trailing().bytes())


def message(kind, payload):
    return nal(0, SEI, bytes([kind, len(payload)]) + payload + b"\x80")


def caption_messages(number):
    """Of the first and the second field."""
    pair = bytes([cea608.odd_parity(0x20 + number // 64), cea608.odd_parity(0x20 + number % 64)])
    first = b"\xb5\x00\x31GA94\x03\xc1\xff\xfc" + pair + b"\xff"
    return message(REGISTERED, first), message(UNREGISTERED, bytes(16) + str(number).encode())


def decoding_order(pictures):
    """Pairs of display number and kind: I P B P B ... in every group."""
    for start in range(0, pictures, GROUP):
        count = min(GROUP, pictures - start)
        yield start, "I"
        at = 1
        while at < count:
            if at + 1 < count:
                yield start + at + 1, "P"
                yield start + at, "B"
                at += 2
            else:
                yield start + at, "P"
                at += 1


def main():
    path, pictures, packing = sys.argv[1], int(sys.argv[2]), (sys.argv[3:] or ["pair"])[0]
    captions = "captions" in sys.argv[4:]
    out = TransportWriter(path, "h264")
    frame_number = 0
    for decoded, (shown, kind) in enumerate(decoding_order(pictures)):
        if kind == "I":
            frame_number = 0
        within, reference = shown % GROUP, kind != "B"
        level = shown * 5 % 200 + 20
        delimiter = nal(0, DELIMITER, bytes([0x10 if kind == "I" else 0xF0]))
        headers = sequence_parameters() + picture_parameters() if kind == "I" else b""
        idr = shown // GROUP % 2 if kind == "I" else None
        messages = caption_messages(shown) if captions else (b"", b"")
        top = delimiter + headers + messages[0] + field(kind, reference, idr, frame_number, 2 * within, 0, level)
        # The second field of an IDR picture refers to the first.
        bottom = field("P" if kind == "I" else kind, reference, None, frame_number, 2 * within + 1, 1, level + 2)
        bottom = nal(0, DELIMITER, b"\xf0") + messages[1] + bottom
        pts, dts = 90000 + 3600 * (shown + 1), 90000 + 3600 * decoded
        if packing == "pair":
            out.access_unit(top + bottom, pts, dts)
        else:
            out.access_unit(top, pts, dts)
            out.access_unit(bottom, *((pts + 1800, dts + 1800) if packing == "field" else (None, None)))
        frame_number += reference
    out.close()


if __name__ == "__main__":
    main()
