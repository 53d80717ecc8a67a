#!/usr/bin/env python3
"""Adds bitmap subtitle streams (XSUB) to an AVI file, which no program of Debian tags as wanted.

    xsub_avi.py IN.avi OUT.avi [options] [TIMES ...]

IN.avi is what `ffmpeg ... -c:v mpeg4 -f avi` writes. TIMES are "hh:mm:ss.mmm-hh:mm:ss.mmm", one picture each, written
as they are given; three pictures by default.

    --tag DXSB[,DXSA...]  one stream each; DXSA has an alpha value for each of the four colours (default DXSB)
    --size WxH            of the pictures (default 200x40)
    --empty               an empty packet in front of every picture
    --pad BYTES           zero bytes behind every picture
    --title TEXT          of the subtitle streams
    --data                a data stream in front of all others

A packet is the text "[TIMES]", width, height, left, top, right and bottom in pixels and the length of the first field's
rows (16 bits each, little-endian), four colours of red, green, blue, with DXSA four alpha values, then the rows of
the first and of the second field in runs of 4, 8, 12 or 16 bits whose last two bits are the colour; a length of 0 goes
to the end of the row, and rows end at whole bytes. The picture of number n in stream s is n vertical bars of colour 1
and a bar of colour 2 + s % 2 below them.
"""
import argparse
import struct

from bit_writer import BitWriter

COLOURS = bytes((0, 0, 0, 255, 255, 255, 255, 0, 0, 0, 0, 255))
ALPHA = bytes((0, 255, 128, 64))
DEFAULT_TIMES = ("00:00:00.040-00:00:00.080", "00:00:00.200-00:00:00.500", "00:00:00.600-00:00:00.720")
KEY_FRAME = 0x10  # AVIIF_KEYFRAME


def chunks(data):
    at = 0
    while at + 8 <= len(data):
        kind, size = struct.unpack_from("<4sI", data, at)
        yield kind, data[at + 8:at + 8 + size]
        at += 8 + size + size % 2


def chunk(kind, data):
    return struct.pack("<4sI", kind, len(data)) + data + b"\0" * (len(data) % 2)


def lists(kind, data):
    return chunk(b"LIST", kind + data)


def row(pixels):
    out, at = BitWriter(), 0
    while at < len(pixels):
        end = at
        while end < len(pixels) and pixels[end] == pixels[at]:
            end += 1
        length = end - at
        if end == len(pixels):
            out.bits(14, 0)
        else:
            length = min(length, 255)
            out.bits(2 + 4 * ((length.bit_length() - 1) // 2), length)
        out.bits(2, pixels[at])
        at = len(pixels) if end == len(pixels) else at + length
    return out.bytes()


def picture(number, stream, width, height):
    def pixel(x, y):
        if y >= height * 3 // 4:
            return 2 + stream % 2
        bar = x // max(width // 40, 1)
        return 1 if bar % 2 and bar // 2 < number else 0

    rows = [row([pixel(x, y) for x in range(width)]) for y in range(height)]
    return b"".join(rows[0::2]), b"".join(rows[1::2])


def packet(times, number, stream, tag, width, height, pad):
    first, second = picture(number, stream, width, height)
    left, top = 100, 400
    head = struct.pack("<7H", width, height, left, top, left + width - 1, top + height - 1, len(first) & 0xFFFF)
    alpha = ALPHA if tag == b"DXSA" else b""
    return b"[" + times.encode() + b"]" + head + COLOURS + alpha + first + second + b"\0" * pad


def begin_of(times):
    try:
        hours, minutes, seconds = times.split("-")[0].split(":")
        return int(hours) * 3600 + int(minutes) * 60 + float(seconds)
    except ValueError:
        return 0


def stream_list(kind, tag, rate, scale, title=""):
    header = struct.pack("<4s4sIHHIIIIIIIIhhhh", kind, tag, 0, 0, 0, 0, scale, rate, 0, 0, 0, 0xFFFFFFFF, 0, 0, 0, 0, 0)
    form = struct.pack("<IiiHH4sIiiII", 40, 720, 576, 1, 24, tag, 0, 0, 0, 0, 0)
    name = chunk(b"strn", title.encode() + b"\0") if title else b""
    return lists(b"strl", chunk(b"strh", header) + chunk(b"strf", form) + name)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("input")
    parser.add_argument("output")
    parser.add_argument("times", nargs="*", default=DEFAULT_TIMES)
    parser.add_argument("--tag", default="DXSB")
    parser.add_argument("--size", default="200x40")
    parser.add_argument("--empty", action="store_true")
    parser.add_argument("--pad", type=int, default=0)
    parser.add_argument("--title", default="")
    parser.add_argument("--data", action="store_true")
    options = parser.parse_intermixed_args()
    tags = [tag.encode() for tag in options.tag.split(",")]
    width, height = map(int, options.size.split("x"))

    with open(options.input, "rb") as file:
        riff = file.read()
    header, movie = b"", b""
    for kind, data in chunks(riff[12:]):
        if kind == b"LIST" and data[:4] == b"hdrl":
            header = data[4:]
        if kind == b"LIST" and data[:4] == b"movi" and not movie:
            movie = data[4:]

    streams, main_header, rate, scale, video = [], b"", 25, 1, 0
    for kind, data in chunks(header):
        if kind == b"avih":
            main_header = bytearray(data)
        if kind == b"LIST" and data[:4] == b"strl":
            parts = {name: part for name, part in chunks(data[4:])}
            if parts[b"strh"][:4] == b"vids":
                scale, rate = struct.unpack_from("<II", parts[b"strh"], 20)
                video = len(streams)
            # Indexes would point to the places of the input.
            kept = [chunk(name, parts[name]) for name in (b"strh", b"strf", b"strn") if name in parts]
            streams.append(lists(b"strl", b"".join(kept)))
    shift = 1 if options.data else 0
    if options.data:
        streams.insert(0, stream_list(b"dats", b"DATA", rate, scale))
    known = len(streams)
    streams += [stream_list(b"vids", tag, rate, scale, options.title) for tag in tags]
    struct.pack_into("<I", main_header, 24, len(streams))

    waiting = sorted(((begin_of(times), number, times) for number, times in enumerate(options.times)))
    out, index = [b"movi"], []
    place = 4

    def put(name, data, flags):
        nonlocal place
        whole = chunk(name, data)
        index.append(struct.pack("<4sIII", name, flags, place, len(data)))
        out.append(whole)
        place += len(whole)

    def put_pictures(until):
        while waiting and waiting[0][0] <= until:
            _, number, times = waiting.pop(0)
            for stream, tag in enumerate(tags):
                name = b"%02dsb" % (known + stream)
                if options.empty:
                    put(name, b"", KEY_FRAME)
                put(name, packet(times, number, stream, tag, width, height, options.pad), KEY_FRAME)

    frame = 0
    for kind, data in chunks(movie):
        if kind[:2] == b"%02d" % video:
            put_pictures(frame * scale / rate)
            frame += 1
        if kind[:2].isdigit():
            put(b"%02d" % (int(kind[:2]) + shift) + kind[2:], data, KEY_FRAME)
    put_pictures(float("inf"))

    body = lists(b"hdrl", chunk(b"avih", bytes(main_header)) + b"".join(streams))
    body += chunk(b"LIST", b"".join(out)) + chunk(b"idx1", b"".join(index))
    with open(options.output, "wb") as file:
        file.write(struct.pack("<4sI", b"RIFF", len(body) + 4) + b"AVI " + body)


main()
