#!/usr/bin/env python3
"""Compares what kyhost tells about public media files with three other readers, field by field.

    descriptions.py KYHOST MEDIA_FOLDER [FILE...]

The readers are ffprobe, mediainfo, and the coded headers as FFmpeg's trace_headers filter reads them. Every difference
must be in disagreements.py, and everything there must still differ. Exit code 77 when a reader or the folder is absent.
"""
import concurrent.futures
import os
import shutil
import sys

import facts
import programs
from disagreements import DISAGREEMENTS, REFUSED
from sample_entries import picture_sizes

SKIPPED = 77
NO_MEDIA = {"SOURCES.md", "expect.json"}

# Relative differences that two readers may have. Three decimals of mediainfo are the widest of the ratios; rates must
# tell 29.97 from 30. Bit rates are exact in MPEG headers and measured, over differing spans, elsewhere.
TOLERANCE = {"frameAspect": 8e-4, "pixelAspect": 8e-4, "rate": 4e-4, "containerFPS": 4e-4, "streamFPS": 4e-4,
             "vBitrate": 0.02, "aBitrate": 0.02}


def agree(field, ours, theirs):
    if isinstance(theirs, str) or isinstance(ours, str):
        return ours == theirs
    error = max(TOLERANCE.get(field, 0), getattr(theirs, "error", 0))
    return abs(ours - theirs) <= error * abs(theirs)


def examine(kyhost, path):
    """(comparisons, differences): lists of (stream, field, reader, ours, theirs). None when kyhost refuses."""
    try:
        document = programs.kyhost(kyhost, path)
    except programs.Refused as refusal:
        return None, str(refusal)
    probe = programs.ffprobe(path)
    readers = {"ffprobe": facts.of_ffprobe(probe, picture_sizes(path)),
               "mediainfo": facts.of_mediainfo(programs.mediainfo(path), probe),
               "headers": facts.of_headers([programs.traced_headers(path, number)
                                            for number in range(len(document["video"]))])}
    ours = facts.of_kyhost(document)
    compared = [(stream, field, reader, ours[stream, field], theirs)
                for reader, said in readers.items() for (stream, field), theirs in sorted(said.items())
                if (stream, field) in ours]
    # A stream that a reader counts and kyhost does not, or the other way round.
    for reader in ("ffprobe", "mediainfo"):
        streams = sorted({stream for stream, _ in readers[reader]} ^ {stream for stream, _ in ours})
        compared += [(stream, "stream", reader, (stream, "codec") in ours, (stream, "codec") in readers[reader])
                     for stream in streams]
    return compared, [entry for entry in compared if not agree(entry[1], entry[3], entry[4])]


def report(names, results):
    """Prints what went wrong; returns the number of failures."""
    failures, listed, seen = [], {row[:4]: row for row in DISAGREEMENTS}, set()
    counts = {"ffprobe": [0, set()], "mediainfo": [0, set()], "headers": [0, set()]}
    for name, (compared, differences) in zip(names, results):
        if compared is None:
            if name not in REFUSED:
                failures.append(f"{name}: refused: {differences}")
            continue
        if name in REFUSED:
            failures.append(f"{name}: is opened, but listed as refused: {REFUSED[name]}")
        for _, _, reader, _, _ in compared:
            counts[reader][0] += 1
            counts[reader][1].add(name)
        for stream, field, reader, ours, theirs in differences:
            row = listed.get((name, stream, field, reader))
            seen.add((name, stream, field, reader))
            if row is None:
                failures.append(f"{name}: {stream} {field}: {ours!r}, but {reader} says {theirs!r}")
            elif not agree(field, ours, row[4]):
                failures.append(f"{name}: {stream} {field}: {ours!r}, was {row[4]!r} where {reader} disagrees")
    for key, row in listed.items():
        if row[0] in names and key not in seen:
            failures.append(f"{row[0]}: {row[1]} {row[2]}: no longer differs from {row[3]}, which was listed for: {row[5]}")
    for reader, (count, files) in counts.items():
        print(f"{reader}: {count} fields of {len(files)} files")
    print(f"{len(seen)} differences, {len(failures)} failures")
    for failure in failures:
        print(failure)
    return len(failures)


def main():
    if len(sys.argv) < 3:
        print(__doc__)
        return 2
    kyhost, folder, wanted = sys.argv[1], sys.argv[2], sys.argv[3:]
    absent = [program for program in ("ffprobe", "ffmpeg", "mediainfo") if not shutil.which(program)]
    if absent:
        print("skipped: not installed: " + ", ".join(absent))
        return SKIPPED
    names = sorted(set(os.listdir(folder)) - NO_MEDIA) if os.path.isdir(folder) else []
    if not names:
        print(f"skipped: no media files in {folder}")
        return SKIPPED
    names = [name for name in names if not wanted or name in wanted]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda name: examine(kyhost, os.path.join(folder, name)), names))
    return 1 if report(names, results) else 0


if __name__ == "__main__":
    sys.exit(main())
