#!/usr/bin/env python3
"""Spectral band replication for an AAC stream, which free encoders do not write: every frame gets one band of noise.

    aac_sbr.py IN.aac OUT.aac HEADER_EVERY

IN is stereo AAC LC of 24 kHz in ADTS, without programme configuration or anything behind its channels but the end; OUT
plays at 48 kHz. The header of the replication goes with every HEADER_EVERYth frame, from the first on.
ISO/IEC 14496-3 4.4.2.8.
"""
import sys

from bit_writer import BitWriter

FILL, END, SBR_DATA = 0b110, 0b111, 0b1101
ENVELOPE, NOISE = 60, 2  # the lower the second, the more noise


def replication(with_header):
    bits = BitWriter().bits(4, SBR_DATA).bits(1, with_header)
    if with_header:
        # Bands 13 to 20 of 64, each for itself, of which the last is replicated; no more than one noise band.
        bits.bits(1, 0).bits(4, 5).bits(4, 0).bits(3, 7).bits(2, 0).bits(1, 1).bits(1, 0)
        bits.bits(2, 0).bits(1, 0).bits(2, 0)
    bits.bits(1, 0).bits(1, 0)  # neither extra data nor coupling
    for _ in range(2):
        bits.bits(2, 0).bits(2, 0).bits(1, 0)  # one envelope of fixed length, coarse
    for _ in range(2):
        bits.bits(1, 0).bits(1, 0)  # coded along frequency
    for _ in range(2):
        bits.bits(2, 0)  # no inverse filtering
    for _ in range(2):
        bits.bits(7, ENVELOPE)
    for _ in range(2):
        bits.bits(5, NOISE)
    bits.bits(1, 0).bits(1, 0).bits(1, 0)  # no sines, nothing behind
    return bits.bytes()


def frames(data):
    at = 0
    while at + 7 <= len(data):
        size = (data[at + 3] & 3) << 11 | data[at + 4] << 3 | data[at + 5] >> 5
        yield data[at:at + 7], data[at + 7:at + size]
        at += size


def with_replication(header, payload, with_header):
    digits = "".join(f"{byte:08b}" for byte in payload).rstrip("0")
    assert digits.endswith("111"), "the end of the frame is not where it should be"
    extension = replication(with_header)
    assert len(extension) < 15
    bits = BitWriter().code(digits[:-3]).bits(3, FILL).bits(4, len(extension))
    for byte in extension:
        bits.bits(8, byte)
    body = bits.bits(3, END).bytes()
    size = len(body) + 7
    header = bytearray(header)
    header[3] = header[3] & 0xFC | size >> 11
    header[4] = size >> 3 & 0xFF
    header[5] = (size & 7) << 5 | header[5] & 0x1F
    return bytes(header) + body


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    with open(sys.argv[1], "rb") as file:
        data = file.read()
    every = int(sys.argv[3])
    with open(sys.argv[2], "wb") as out:
        for number, (header, payload) in enumerate(frames(data)):
            out.write(with_replication(header, payload, number % every == 0))


if __name__ == "__main__":
    main()
