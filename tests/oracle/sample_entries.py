"""Picture sizes in the sample entries of QuickTime and MP4 (ISO/IEC 14496-12 8.5.2), which no program tells."""
import struct


def _boxes(data):
    at = 0
    while at + 8 <= len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        header = 8
        if size == 1:
            size, header = struct.unpack_from(">Q", data, at + 8)[0], 16
        size = size or len(data) - at
        if size < header:
            return
        yield kind, data[at + header:at + size]
        at += size


def _inside(data, *path):
    """Contents of all boxes at a path."""
    if not path:
        return [data]
    return [found for kind, content in _boxes(data) if kind == path[0] for found in _inside(content, *path[1:])]


def picture_sizes(path):
    """(width, height) of every video track in order; empty for other files."""
    with open(path, "rb") as file:
        data = memoryview(file.read())
    sizes = []
    for media in _inside(data, b"moov", b"trak", b"mdia"):
        handlers = [bytes(handler[8:12]) for handler in _inside(media, b"hdlr")]
        entries = _inside(media, b"minf", b"stbl", b"stsd")
        if b"vide" in handlers and entries:
            sizes.append(struct.unpack_from(">HH", entries[0], 40))
    return sizes
