#!/usr/bin/env python3
"""A program stream with linear PCM as DVD-Video has it (private_stream_1, sub-stream 0xA0), which no encoder writes at
20 bits.

    lpcm_program.py OUT.mpg BITS CHANNELS SAMPLES VIDEO.m2v

BITS is 16, 20 or 24, CHANNELS 1 or 2, 48 kHz. Sample n of channel c is the upper BITS bits of (n * 7919 + c * 104729
+ 1) * 2654435761 modulo 2^32, in two's complement: noise at full scale, so that every bit counts. VIDEO is an MPEG-2
stream of 25 Hz without B pictures; without any, readers do not recognise a program stream.

More than 16 bits lie in groups of two samples of all channels: first the upper 16 bits of each, then what is below
them, nibbles of neighbours together in a byte. SAMPLES must be even then.
"""
import sys

RATE, CLOCK, PICTURE_RATE = 48000, 90000, 25
PACK_BYTES = 2048
START = 9000  # of both streams, in ticks of the clock


def sample(number, channel, bits):
    return ((number * 7919 + channel * 104729 + 1) * 2654435761 & 0xFFFFFFFF) >> (32 - bits)


def coded_samples(bits, channels, count):
    """Bytes of every group: one sample of all channels, or two above 16 bits."""
    size = 1 if bits == 16 else 2
    for first in range(0, count, size):
        words = [sample(first + n, channel, bits) for n in range(size) for channel in range(channels)]
        group = b"".join((word >> (bits - 16)).to_bytes(2, "big") for word in words)
        if bits == 24:
            group += bytes(word & 0xFF for word in words)
        elif bits == 20:
            low = [word & 0xF for word in words]
            group += bytes(low[i] << 4 | low[i + 1] for i in range(0, len(low), 2))
        yield group


def stamp(marker, ticks):
    return bytes([marker << 4 | (ticks >> 30 & 7) << 1 | 1, ticks >> 22 & 0xFF, (ticks >> 15 & 0x7F) << 1 | 1,
                  ticks >> 7 & 0xFF, (ticks & 0x7F) << 1 | 1])


def pack_header(ticks):
    """ISO/IEC 13818-1 2.5.3.3, 10.08 Mbit/s."""
    clock = 1 << 46 - 2 | (ticks >> 30 & 7) << 43 | 1 << 42 | (ticks >> 15 & 0x7FFF) << 27 | 1 << 26 | \
        (ticks & 0x7FFF) << 11 | 1 << 10 | 1
    rate = 25200 << 2 | 3
    return b"\0\0\1\xba" + clock.to_bytes(6, "big") + rate.to_bytes(3, "big") + b"\xf8"


def packet(stream, ticks, payload):
    """One PES packet with a presentation stamp, or without when `ticks` is None."""
    header = b"\x81\x80\x05" + stamp(2, ticks) if ticks is not None else b"\x81\x00\x00"
    return b"\0\0\1" + bytes([stream]) + (len(header) + len(payload)).to_bytes(2, "big") + header + payload


def sound_packs(bits, channels, count):
    """(ticks, pack) in order."""
    groups = list(coded_samples(bits, channels, count))
    samples_per_group = 1 if bits == 16 else 2
    room = (PACK_BYTES - 14 - 14 - 7) // len(groups[0])
    for first in range(0, len(groups), room):
        number = first * samples_per_group
        ticks = START + number * CLOCK // RATE
        # Sub-stream, one frame header, which begins right behind; no emphasis, frame number; format; no compression
        # of the dynamic range.
        header = bytes([0xA0, 1, 0, 4, number // 80 % 20, (bits - 16) // 4 << 6 | channels - 1, 0x80])
        yield ticks, pack_header(ticks - START) + packet(0xBD, ticks, header + b"".join(groups[first:first + room]))


def pictures(data):
    """Coded pictures, each with the headers before it."""
    starts = []
    at, begin, seen = data.find(b"\0\0\1"), 0, False
    while at >= 0:
        code = data[at + 3]
        if code in (0xB3, 0xB8, 0x00) and seen:
            starts.append((begin, at))
            begin, seen = at, False
        seen = seen or code == 0x00
        at = data.find(b"\0\0\1", at + 3)
    starts.append((begin, len(data)))
    return [data[first:last] for first, last in starts]


def video_packs(path):
    with open(path, "rb") as file:
        data = file.read()
    for number, picture in enumerate(pictures(data)):
        ticks = START + number * CLOCK // PICTURE_RATE
        room = PACK_BYTES - 14 - 14
        for at in range(0, len(picture), room):
            yield ticks, pack_header(ticks - START) + packet(0xE0, None if at else ticks, picture[at:at + room])


def main():
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    path, bits, channels, count = sys.argv[1], *(int(text) for text in sys.argv[2:5])
    if bits not in (16, 20, 24) or channels not in (1, 2) or count < 2 or (bits > 16 and count % 2):
        sys.exit(__doc__)
    packs = [*video_packs(sys.argv[5]), *sound_packs(bits, channels, count)]
    packs.sort(key=lambda pack: pack[0])
    with open(path, "wb") as out:
        out.writelines(pack for _, pack in packs)
        out.write(b"\0\0\1\xb9")


if __name__ == "__main__":
    main()
