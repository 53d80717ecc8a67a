#!/usr/bin/env python3
"""An MP4 file of H.264 whose samples are pieces of pictures, which careless recorders write and no muxer does.

    pieces_mp4.py IN.h264 OUT.mp4 slices|fields|pictures WIDTH HEIGHT RATE

`slices`: every slice is a sample, headers with the slice behind them; `fields`: every field is one; `pictures`: a
sample is a picture, as it should be. RATE pictures per second, whole. IN must hold its pictures in the order in which
they are shown, or count their order from 0 by 2 in every IDR group (libx264 does): composition offsets come from there.
"""
import struct
import sys

import coded_units

TIMESCALE = 90000


def box(kind, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", 8 + len(body), kind) + body


def full(kind, *parts, version=0, flags=0):
    return box(kind, struct.pack(">I", version << 24 | flags), *parts)


def with_length(nal):
    return struct.pack(">I", len(nal)) + nal


def pieces(pictures, form):
    """Lists of samples, one list for each coded picture: a frame, or a field of one."""
    for nals in pictures:
        nals = [nal for nal in nals if nal[0] & 0x1F not in (7, 8)]
        if form != "slices":
            yield [b"".join(map(with_length, nals))]
            continue
        samples, headers = [], b""
        for nal in nals:
            headers += with_length(nal)
            if coded_units.is_slice(nal):
                samples.append(headers)
                headers = b""
        yield samples


def sample_table(entry, sizes, offset, durations, compositions, keys):
    runs = []
    for duration in durations:
        if runs and runs[-1][1] == duration:
            runs[-1][0] += 1
        else:
            runs.append([1, duration])
    tables = full(b"stsd", struct.pack(">I", 1), entry)
    tables += full(b"stts", struct.pack(">I", len(runs)), *(struct.pack(">II", *run) for run in runs))
    if any(compositions):
        tables += full(b"ctts", struct.pack(">I", len(sizes)), *(struct.pack(">II", 1, c) for c in compositions))
    tables += full(b"stss", struct.pack(">I", len(keys)), *(struct.pack(">I", key + 1) for key in keys))
    tables += full(b"stsc", struct.pack(">IIII", 1, 1, len(sizes), 1))
    tables += full(b"stsz", struct.pack(">II", 0, len(sizes)), *(struct.pack(">I", size) for size in sizes))
    return box(b"stbl", tables + full(b"stco", struct.pack(">II", 1, offset)))


def avc_entry(sps, pps, width, height):
    record = bytes([1]) + sps[1:4] + b"\xff\xe1" + struct.pack(">H", len(sps)) + sps
    record += b"\x01" + struct.pack(">H", len(pps)) + pps
    return box(b"avc1", bytes(6) + struct.pack(">H", 1) + bytes(16) + struct.pack(">HHIII", width, height, 0x480000,
               0x480000, 0) + struct.pack(">H", 1) + bytes(32) + struct.pack(">Hh", 24, -1), box(b"avcC", record))


MATRIX = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)


def movie(table, duration, width, height):
    media = box(b"mdia", full(b"mdhd", struct.pack(">IIIIHH", 0, 0, TIMESCALE, duration, 0x55C4, 0)),
                full(b"hdlr", struct.pack(">I4s", 0, b"vide") + bytes(12) + b"\0"),
                box(b"minf", full(b"vmhd", bytes(8), flags=1),
                    box(b"dinf", full(b"dref", struct.pack(">I", 1), full(b"url ", flags=1))), table))
    track = box(b"trak", full(b"tkhd", struct.pack(">IIIII", 0, 0, 1, 0, duration) + bytes(16) + MATRIX +
                              struct.pack(">II", width << 16, height << 16), flags=3), media)
    header = full(b"mvhd", struct.pack(">IIIIIHH", 0, 0, TIMESCALE, duration, 0x10000, 0x100, 0) + bytes(8) + MATRIX +
                  bytes(24) + struct.pack(">I", 2))
    return box(b"moov", header, track)


def presentation(groups):
    """Places in presentation of pictures in decoding order, from a list of (IDR, order count)."""
    places, base, group = [], 0, []
    for idr, order in [*groups, (True, 0)]:
        if idr and group:
            ranks = {count: rank for rank, count in enumerate(sorted(group))}
            places += [base + ranks[count] for count in group]
            base, group = base + len(group), []
        group.append(order)
    return places


class SliceReader:
    """IDR flag and pic_order_cnt_lsb of the first slice of a picture (ISO/IEC 14496-10 7.3.3)."""

    def __init__(self, sps):
        bits = Bits(sps[1:])
        profile = bits.take(8)
        bits.take(16)
        bits.ue()
        if profile in (100, 110, 122, 244):
            bits.ue(), bits.ue(), bits.ue(), bits.take(1)
            if bits.take(1):
                sys.exit("scaling matrices are not read")
        self._number_bits = bits.ue() + 4
        if bits.ue() != 0:
            sys.exit("order counts of type 0 only")
        self._order_bits = bits.ue() + 4
        bits.ue(), bits.take(1), bits.ue(), bits.ue()
        self._frames_only = bits.take(1)

    def read(self, nal):
        """(IDR, order count, field)"""
        bits = Bits(nal[1:])
        bits.ue(), bits.ue(), bits.ue(), bits.take(self._number_bits)
        field = not self._frames_only and bits.take(1)
        if field:
            bits.take(1)
        idr = nal[0] & 0x1F == 5
        if idr:
            bits.ue()
        return idr, bits.take(self._order_bits), field


class Bits:
    def __init__(self, data):
        self._text = "".join(format(byte, "08b") for byte in data[:64].replace(b"\0\0\3", b"\0\0"))
        self._at = 0

    def take(self, count):
        self._at += count
        return int(self._text[self._at - count:self._at] or "0", 2)

    def ue(self):
        zeros = 0
        while not self.take(1):
            zeros += 1
        return (1 << zeros) - 1 + self.take(zeros)


def main():
    if len(sys.argv) != 7 or sys.argv[3] not in ("slices", "fields", "pictures"):
        sys.exit(__doc__)
    source, path, form = sys.argv[1:4]
    width, height, rate = map(int, sys.argv[4:])
    with open(source, "rb") as file:
        coded = list(coded_units.h264_pictures(file.read()))
    sets = {nal[0] & 0x1F: nal for nals in coded for nal in nals if nal[0] & 0x1F in (7, 8)}
    reader = SliceReader(sets[7])
    headers = [reader.read(next(filter(coded_units.is_slice, nals))) for nals in coded]
    if form == "pictures":  # both fields in one sample
        joined, kept, open_field = [], [], False
        for nals, header in zip(coded, headers):
            if header[2] and open_field:
                joined[-1] = joined[-1] + nals
                open_field = False
                continue
            joined.append(nals)
            kept.append(header)
            open_field = bool(header[2])
        coded, headers = joined, kept
    places = presentation([(idr, order if order < 1 << 15 else 0) for idr, order, _ in headers])
    fields = form != "pictures" and any(field for *_, field in headers)
    step = TIMESCALE // rate // (2 if fields else 1)
    delay = max(decoded - place for decoded, place in enumerate(places))
    samples, durations, compositions, keys = [], [], [], []
    for decoded, (parts, place, (idr, *_)) in enumerate(zip(pieces(coded, form), places, headers)):
        if idr:
            keys.append(len(samples))
        for i, part in enumerate(parts):
            samples.append(part)
            share = step // len(parts)
            durations.append(share)
            compositions.append(max(0, (place - decoded + delay) * step - i * share))
    start = box(b"ftyp", b"isom", struct.pack(">I", 0x200), b"isomavc1")
    data = b"".join(samples)
    table = sample_table(avc_entry(sets[7], sets[8], width, height), [len(s) for s in samples], len(start) + 8, durations,
                         compositions, keys)
    with open(path, "wb") as out:
        out.write(start + box(b"mdat", data) + movie(table, sum(durations), width, height))


if __name__ == "__main__":
    main()
