#!/usr/bin/env python3
"""An OP1a MXF file whose pictures are wrapped as clips (SMPTE 377-1, 379-1, 381-1), which disc cameras write and no
encoder option gives: one KLV triplet holds many pictures.

    clip_mxf.py IN OUT.mxf mpeg2|mpeg4|h264 WIDTH HEIGHT RATE [index] [clips=N] [alaw=FILE]

IN is an elementary stream; RATE pictures per second, whole. `index` adds an index table of every picture with the
order of presentation left out. `clips=N` spreads the pictures over N triplets, each in a body partition of its own.
`alaw=FILE` adds a sound track of 8 kHz A-law samples, clip-wrapped too.
"""
import struct
import sys

import coded_units

PREFIX = bytes.fromhex("060e2b34")

def label(text):
    return bytes.fromhex("060e2b34" + text)


PICTURE_DEFINITION = label("04010101 01030202 01000000".replace(" ", ""))
SOUND_DEFINITION = label("04010101 01030202 02000000".replace(" ", ""))
OPERATIONAL_PATTERN = label("04010101 0d010201 01010900".replace(" ", ""))
CODING = {
    "mpeg2": label("04010103 04010202 01031100".replace(" ", "")),
    "mpeg4": label("04010103 04010202 01200203".replace(" ", "")),
    "h264": label("0401010a 04010202 01311001".replace(" ", "")),
}
# Clip-wrapped video elementary streams; of H.264, byte streams.
CONTAINER = {
    "mpeg2": label("04010102 0d010301 02046002".replace(" ", "")),
    "mpeg4": label("04010102 0d010301 02046002".replace(" ", "")),
    "h264": label("0401010a 0d010301 02106002".replace(" ", "")),
}
SOUND_CONTAINER = label("04010103 0d010301 020a0200".replace(" ", ""))
SOUND_CODING = label("04010103 04020202 03010100".replace(" ", ""))
PICTURE_ELEMENT = label("01020101 0d010301 15010600".replace(" ", ""))  # clip-wrapped picture element, number 1
SOUND_ELEMENT = label("01020101 0d010301 16010900".replace(" ", ""))
PICTURE_TRACK, SOUND_TRACK = 0x15010600, 0x16010900
BODY_STREAM, INDEX_STREAM = 1, 2
SOUND_RATE = 8000


def klv(key, value):
    return key + b"\x83" + len(value).to_bytes(3, "big") + value


def long_klv(key, value):
    return key + b"\x87" + len(value).to_bytes(7, "big") + value


def set_key(kind):
    return label("02530101 0d010101 0101".replace(" ", "") + "%02x" % kind + "00")


def uid(number):
    return b"\x01" * 14 + number.to_bytes(2, "big")


def umid(number):
    return bytes.fromhex("060a2b340101010501010f20 13000000".replace(" ", "")) + uid(number)


def batch(items):
    return struct.pack(">II", len(items), 16) + b"".join(items)


def rational(numerator, denominator=1):
    return struct.pack(">II", numerator, denominator)


class Metadata:
    """Structural sets with their local tags (SMPTE 377-1 annexes A to E)."""

    TIMESTAMP = struct.pack(">HBBBBBB", 2020, 1, 1, 0, 0, 0, 0)

    def __init__(self):
        self.sets = []

    def add(self, kind, number, *properties):
        body = b"\x3c\x0a\x00\x10" + uid(number)
        for tag, value in properties:
            body += struct.pack(">HH", tag, len(value)) + value
        self.sets.append(klv(set_key(kind), body))

    def bytes(self):
        primer = klv(label("02050101 0d010201 01050100".replace(" ", "")), struct.pack(">II", 0, 18))
        return primer + b"".join(self.sets)


def describe(codec, width, height, rate, pictures, sound_samples):
    tracks = [(PICTURE_TRACK, PICTURE_DEFINITION, rate, pictures)]
    if sound_samples:
        tracks.append((SOUND_TRACK, SOUND_DEFINITION, SOUND_RATE, sound_samples))
    containers = [CONTAINER[codec]] + ([SOUND_CONTAINER] if sound_samples else [])
    m = Metadata()
    m.add(0x2F, 1, (0x3B02, m.TIMESTAMP), (0x3B05, b"\x01\x02"), (0x3B03, uid(2)), (0x3B09, OPERATIONAL_PATTERN),
          (0x3B0A, batch(containers)), (0x3B0B, batch([])))
    m.add(0x18, 2, (0x1901, batch([uid(3), uid(4)])), (0x1902, batch([uid(5)])))
    m.add(0x23, 5, (0x2701, umid(4)), (0x3F06, struct.pack(">I", INDEX_STREAM)), (0x3F07, struct.pack(">I", BODY_STREAM)))
    for package, kind in ((3, 0x36), (4, 0x37)):
        base = package * 100
        properties = [(0x4401, umid(package)), (0x4405, m.TIMESTAMP), (0x4404, m.TIMESTAMP),
                      (0x4403, batch([uid(base + 10 * i) for i in range(len(tracks))]))]
        if kind == 0x37:
            properties.append((0x4701, uid(50)))
        m.add(kind, package, *properties)
        for i, (number, definition, edit_rate, duration) in enumerate(tracks):
            at, length = base + 10 * i, (0x0202, struct.pack(">Q", duration))
            m.add(0x3B, at, (0x4801, struct.pack(">I", i + 1)), (0x4804, struct.pack(">I", number if kind == 0x37 else 0)),
                  (0x4B01, rational(edit_rate)), (0x4B02, struct.pack(">Q", 0)), (0x4803, uid(at + 1)))
            m.add(0x0F, at + 1, (0x0201, definition), length, (0x1001, batch([uid(at + 2)])))
            source = umid(4) if kind == 0x36 else bytes(32)
            m.add(0x11, at + 2, (0x0201, definition), length, (0x1201, struct.pack(">Q", 0)), (0x1101, source),
                  (0x1102, struct.pack(">I", i + 1 if kind == 0x36 else 0)))
    m.add(0x44, 50, (0x3F01, batch([uid(51 + i) for i in range(len(tracks))])), (0x3001, rational(rate)),
          (0x3004, CONTAINER[codec]))
    m.add(0x28 if codec != "mpeg2" else 0x51, 51, (0x3006, struct.pack(">I", 1)), (0x3001, rational(rate)),
          (0x3002, struct.pack(">Q", pictures)), (0x3004, CONTAINER[codec]), (0x3201, CODING[codec]),
          (0x3203, struct.pack(">I", width)), (0x3202, struct.pack(">I", height)), (0x320C, b"\0"),
          (0x320E, rational(width, height)))
    if sound_samples:
        m.add(0x42, 52, (0x3006, struct.pack(">I", 2)), (0x3001, rational(SOUND_RATE)),
              (0x3002, struct.pack(">Q", sound_samples)), (0x3004, SOUND_CONTAINER), (0x3D06, SOUND_CODING),
              (0x3D03, rational(SOUND_RATE)), (0x3D07, struct.pack(">I", 1)), (0x3D01, struct.pack(">I", 8)))
    return m.bytes(), containers


class Writer:
    def __init__(self, path, metadata, containers):
        self._out, self._metadata, self._containers = bytearray(), metadata, containers
        self._path, self._previous, self._body = path, 0, 0
        self.partition(2, metadata=metadata)

    def partition(self, kind, metadata=b"", index=b"", body_stream=0):
        at = len(self._out)
        key = label("02050101 0d010201 01".replace(" ", "") + "%02x0400" % kind)
        value = struct.pack(">HHIQQQQQIQI", 1, 2, 1, at, self._previous, 0, len(metadata), len(index),
                            INDEX_STREAM if index else 0, self._body, body_stream)
        self._out += klv(key, value + OPERATIONAL_PATTERN + batch(self._containers)) + metadata + index
        self._previous = at

    def essence(self, key, value):
        self._out += long_klv(key, value)
        self._body += len(value)

    def close(self):
        self.partition(4)
        footer = self._previous.to_bytes(8, "big")
        at = self._out.find(PREFIX + bytes.fromhex("0205"))
        while at >= 0:  # FooterPartition of every pack
            if self._out[at + 13] in (2, 3, 4) and self._out[at + 8:at + 13] == bytes.fromhex("0d01020101"):
                self._out[at + 44:at + 52] = footer
            at = self._out.find(PREFIX + bytes.fromhex("0205"), at + 16)
        with open(self._path, "wb") as file:
            file.write(self._out)


def index_table(rate, pictures, random_access):
    """One segment with an entry for each picture: no temporal offset, key marks, position in the essence."""
    entries, position = [], 0
    for picture, key in zip(pictures, random_access):
        entries.append(struct.pack(">bbBQ", 0, 0, 0x80 if key else 0, position))
        position += len(picture)
    body = b"\x3c\x0a\x00\x10" + uid(900)
    for tag, value in ((0x3F0B, rational(rate)), (0x3F0C, struct.pack(">Q", 0)), (0x3F0D, struct.pack(">Q", len(entries))),
                       (0x3F05, struct.pack(">I", 0)), (0x3F06, struct.pack(">I", INDEX_STREAM)),
                       (0x3F07, struct.pack(">I", BODY_STREAM)), (0x3F08, b"\0"),
                       (0x3F0A, struct.pack(">II", len(entries), 11) + b"".join(entries))):
        body += struct.pack(">HH", tag, len(value)) + value
    return klv(label("02530101 0d010201 01100100".replace(" ", "")), body)


def split(codec, data):
    if codec == "mpeg2":
        return coded_units.mpeg2_pictures(data)
    if codec == "mpeg4":
        return coded_units.mpeg4_pictures(data)
    return [b"".join(b"\0\0\0\1" + nal for nal in nals) for nals in coded_units.h264_pictures(data)]


def is_key(codec, picture):
    if codec == "mpeg4":
        return coded_units.mpeg4_kind(picture) == "I"
    if codec == "mpeg2":
        return picture.startswith(b"\0\0\1\xb3")
    return any(nal[0] & 0x1F == 5 for nal in coded_units.nal_units(picture))


def main():
    if len(sys.argv) < 7 or sys.argv[3] not in CODING:
        sys.exit(__doc__)
    source, path, codec = sys.argv[1:4]
    width, height, rate = (int(text) for text in sys.argv[4:7])
    options = dict(option.partition("=")[::2] for option in sys.argv[7:])
    with open(source, "rb") as file:
        pictures = split(codec, file.read())
    sound = b""
    if "alaw" in options:
        with open(options["alaw"], "rb") as file:
            sound = file.read()
    metadata, containers = describe(codec, width, height, rate, len(pictures), len(sound))
    writer = Writer(path, metadata, containers)
    if "index" in options:
        writer.partition(3, index=index_table(rate, pictures, [is_key(codec, picture) for picture in pictures]))
    clips = int(options.get("clips", 1))
    step = -(-len(pictures) // clips)
    for first in range(0, len(pictures), step):
        writer.partition(3, body_stream=BODY_STREAM)
        writer.essence(PICTURE_ELEMENT, b"".join(pictures[first:first + step]))
        if sound:
            writer.essence(SOUND_ELEMENT, sound[first * SOUND_RATE // rate:(first + step) * SOUND_RATE // rate])
    writer.close()


if __name__ == "__main__":
    main()
