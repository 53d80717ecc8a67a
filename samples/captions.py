#!/usr/bin/env python3
"""Puts closed captions into a coded stream of 30000/1001 pictures per second.

    captions.py IN OUT CUES.srt [--form a53|scte20|dvd] [--style pop-on|roll-up] [--channel 1..4] [--pictures A:B]

IN is an elementary stream, MPEG-2 video (`ffmpeg -f mpeg2video`) or H.264 with start codes (`ffmpeg -f h264`); OUT is the
same, or with the ending .ts a transport stream, whose stamps let `ffmpeg -c copy` make any other container of it.
The captions become CEA-608 pairs in order of presentation, and the pairs go into the pictures that they are presented
with, wherever B pictures put those in the stream. Forms: ATSC A/53 part 4 in user data of MPEG-2 pictures and in SEI
messages of H.264 (the default and all that H.264 has), ANSI/SCTE 20 in user data of MPEG-2 pictures (whose top field has to
come first), DVD-Video line 21 data in user data of MPEG-2 groups of pictures. --pictures leaves the data out of all pictures but those from A to before B.
"""
import argparse
import re

import cea608
from bit_writer import BitWriter
from transport_writer import TransportWriter

PADDING = bytes([0xFA, 0, 0])
A53_COUNT = 20  # triplets in a picture at 30 Hz, padding included


def a53(pairs):
    triplets = b"".join(bytes([0xFC + field, *pair]) for field, pair in enumerate(pairs))
    triplets += PADDING * (A53_COUNT - len(pairs))
    return b"GA94\x03" + bytes([0xC0 | A53_COUNT, 0xFF]) + triplets + b"\xff"


def scte20(pairs):
    def line_order(byte):  # least significant bit first
        return int(f"{byte:08b}"[::-1], 2)

    bits = BitWriter().bits(5, len(pairs))
    for field, pair in enumerate(pairs, 1):
        bits.bits(2, 0).bits(2, field).bits(5, 11)  # priority, field, line 21
        bits.bits(8, line_order(pair[0])).bits(8, line_order(pair[1])).bits(1, 1)
    return b"\x03\x81" + bits.bits(4, 0).bytes()  # no other lines


def dvd(group):
    if len(group) > 31:
        raise ValueError("more than 31 pictures in a group")
    out = b"CC\x01\xf8" + bytes([0x80 | len(group) << 1])
    for first, second in group:
        out += bytes([0xFF, *first, 0xFE, *second])
    return out


def split(stream):
    """Units from each start code to the next, the start code and zeros before it included."""
    marks = [m.start() for m in re.finditer(b"\x00?\x00\x00\x01", stream)]
    return [stream[a:b] for a, b in zip(marks, marks[1:] + [len(stream)])]


def body(unit):
    return unit[unit.index(b"\0\0\1") + 3:]


class Mpeg2:
    """Units of an MPEG-2 stream (ISO/IEC 13818-2) with the pictures and groups that they belong to."""

    NAME = "mpeg2"
    PICTURE, USER_DATA, EXTENSION, GROUP, LAST_SLICE = 0x00, 0xB2, 0xB5, 0xB8, 0xAF

    def __init__(self, stream):
        self.units = split(stream)
        self.groups = []  # index of the header unit, first picture, number of pictures
        self.pictures = []  # index of the unit that captions go before, number in presentation; as coded
        self.starts = []  # index of the first unit of each picture, as coded
        base, within, pending, begin = 0, set(), None, 0
        for i, unit in enumerate(self.units):
            code, *rest = body(unit)[:4]
            if code == self.GROUP:
                base, within = base + len(within), set()
                self.groups.append([i, base, 0])
            elif code == self.PICTURE:
                temporal = rest[0] << 2 | rest[1] >> 6
                if temporal not in within:  # else it is a second field
                    pending = temporal
                    self.starts.append(begin)
                within.add(temporal)
                self.groups[-1][2] = len(within)
            elif 0 < code <= self.LAST_SLICE:
                begin = i + 1
                if pending is not None:
                    self.pictures.append((i, base + pending))
                    pending = None

    def count(self):
        return len(self.pictures)

    def with_captions(self, pairs, form, wanted):
        before = {}
        if form == "dvd":
            for unit, first, count in self.groups:
                if wanted(first):
                    before[unit + 1] = dvd(pairs[first:first + count])
        else:
            for unit, number in self.pictures:
                if wanted(number):
                    before[unit] = {"a53": a53, "scte20": scte20}[form](pairs[number])
        user_data = b"\0\0\1" + bytes([self.USER_DATA])
        return [(user_data + before[i] if i in before else b"") + unit for i, unit in enumerate(self.units)]


class Bits:
    def __init__(self, nal):
        self._text = "".join(f"{byte:08b}" for byte in nal.replace(b"\0\0\3", b"\0\0"))
        self._at = 0

    def u(self, count):
        self._at += count
        return int(self._text[self._at - count:self._at] or "0", 2)

    def ue(self):
        zeros = 0
        while self.u(1) == 0:
            zeros += 1
        return (1 << zeros) - 1 + self.u(zeros)


class H264:
    """Units of an H.264 stream (ISO/IEC 14496-10) of frames; picture order count types 0 and 2."""

    NAME = "h264"
    SLICE, IDR, SPS = 1, 5, 7
    HIGH_PROFILES = {100, 110, 122, 244, 44, 83, 86, 118, 128}

    def __init__(self, stream):
        self.units = split(stream)
        orders = []  # sequence, picture order count and unit of every picture
        self.starts = []  # index of the first unit of each picture, as coded
        sequence, msb, lsb, begin = 0, 0, 0, 0
        for i, unit in enumerate(self.units):
            nal = body(unit)
            kind, reference = nal[0] & 31, nal[0] >> 5 & 3
            if kind == self.SPS:
                self._read_sps(Bits(nal[1:60]))
            if kind not in (self.SLICE, self.IDR):
                continue
            begin, start = i + 1, begin
            bits = Bits(nal[1:40])
            if bits.ue() != 0:  # another slice of the same picture
                continue
            self.starts.append(start)
            bits.ue(), bits.ue()
            bits.u(self._frame_number_bits)
            if not self._frames_only and bits.u(1):
                raise ValueError("pictures of fields are not handled")
            if kind == self.IDR:
                bits.ue()
                sequence, msb, lsb = sequence + 1, 0, 0
            if self._order_type == 2:
                orders.append((sequence, len(orders), i))
                continue
            here, limit = bits.u(self._order_bits), 1 << self._order_bits
            at = msb
            if here < lsb and lsb - here >= limit // 2:
                at += limit
            elif here > lsb and here - lsb > limit // 2:
                at -= limit
            orders.append((sequence, at + here, i))
            if reference:
                msb, lsb = at, here
        self.pictures = sorted((unit, number) for number, (_, _, unit) in enumerate(sorted(orders)))

    def _read_sps(self, bits):
        profile = bits.u(8)
        bits.u(16), bits.ue()
        if profile in self.HIGH_PROFILES:
            chroma = bits.ue()
            if chroma == 3:
                bits.u(1)
            bits.ue(), bits.ue(), bits.u(1)
            if bits.u(1):
                raise ValueError("scaling matrices are not handled")
        self._frame_number_bits = bits.ue() + 4
        self._order_type = bits.ue()
        if self._order_type == 1:
            raise ValueError("picture order count type 1 is not handled")
        self._order_bits = bits.ue() + 4 if self._order_type == 0 else 0
        bits.ue(), bits.u(1), bits.ue(), bits.ue()
        self._frames_only = bits.u(1)

    def count(self):
        return len(self.pictures)

    def with_captions(self, pairs, form, wanted):
        if form != "a53":
            raise ValueError(f"H.264 has no form {form}")
        before = {unit: sei(4, b"\xb5\x00\x31" + a53(pairs[number])) for unit, number in self.pictures if wanted(number)}
        return [before.get(i, b"") + unit for i, unit in enumerate(self.units)]


def sei(kind, payload):
    """A NAL unit with one SEI message, start code and emulation prevention included (7.3.2.3, 7.4.1)."""
    raw = bytes([kind]) + b"\xff" * (len(payload) // 255) + bytes([len(payload) % 255]) + payload + b"\x80"
    return b"\0\0\0\1\x06" + re.sub(b"\0\0(?=[\0\1\2\3])", b"\0\0\3", raw)


def write_transport(path, coded, units):
    out, tick = TransportWriter(path, coded.NAME), 3003
    delay = max(decoded - shown for decoded, (_, shown) in enumerate(coded.pictures))
    ends = coded.starts[1:] + [len(units)]
    for decoded, ((_, shown), begin, end) in enumerate(zip(coded.pictures, coded.starts, ends)):
        out.access_unit(b"".join(units[begin:end]), 90000 + tick * (shown + delay), 90000 + tick * decoded)
    out.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    for name in ("input", "output", "cues"):
        parser.add_argument(name)
    parser.add_argument("--form", choices=["a53", "scte20", "dvd"], default="a53")
    parser.add_argument("--style", choices=["pop-on", "roll-up"], default="pop-on")
    parser.add_argument("--channel", type=int, choices=[1, 2, 3, 4], default=1)
    parser.add_argument("--pictures", default=":", metavar="A:B")
    arguments = parser.parse_args()

    with open(arguments.input, "rb") as file:
        stream = file.read()
    coded = (Mpeg2 if b"\0\0\1\xb3" in stream[:64] else H264)(stream)
    pairs = cea608.encode(cea608.read_srt(arguments.cues), coded.count(), arguments.style, arguments.channel)
    begin, end = (int(text) if text else None for text in arguments.pictures.split(":"))
    chosen = range(*slice(begin, end).indices(coded.count()))
    units = coded.with_captions(pairs, arguments.form, lambda number: number in chosen)
    if arguments.output.endswith(".ts"):
        write_transport(arguments.output, coded, units)
        return
    with open(arguments.output, "wb") as file:
        file.writelines(units)


if __name__ == "__main__":
    main()
