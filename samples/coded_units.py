"""Elementary streams in pieces: NAL units of H.264, pictures of MPEG-2 and MPEG-4 Part 2."""

START_CODE = b"\0\0\1"


def start_codes(data):
    """Positions of all start codes, and the length at the end."""
    at = data.find(START_CODE)
    while at >= 0:
        yield at
        at = data.find(START_CODE, at + 3)
    yield len(data)


def units(data):
    """Bytes between start codes, the code's zeros and one left out."""
    positions = list(start_codes(data))
    for first, last in zip(positions, positions[1:]):
        yield data[first + 3:last]


def nal_units(data):
    """H.264 NAL units without the zeros that belong to the next start code."""
    for unit in units(data):
        yield unit.rstrip(b"\0")


def is_slice(nal):
    return nal[0] & 0x1F in (1, 5)


def begins_picture(nal):
    """first_mb_in_slice is 0, a code word of one bit (ISO/IEC 14496-10 7.3.3)."""
    return is_slice(nal) and nal[1] & 0x80 != 0


def h264_pictures(data):
    """Lists of the NAL units of every frame or field."""
    picture, sliced = [], False
    for nal in nal_units(data):
        kind = nal[0] & 0x1F
        if sliced and (begins_picture(nal) or kind in (6, 7, 8, 9)):
            yield picture
            picture, sliced = [], False
        picture.append(nal)
        sliced = sliced or is_slice(nal)
    yield picture


def pictures(data, picture_code, header_codes):
    """Bytes of every picture with the headers before it, by start code values."""
    begin, seen = 0, False
    positions = list(start_codes(data))
    for at in positions[:-1]:
        code = data[at + 3]
        if seen and (code == picture_code or code in header_codes):
            yield data[begin:at]
            begin, seen = at, False
        seen = seen or code == picture_code
    yield data[begin:]


def mpeg2_pictures(data):
    return list(pictures(data, 0x00, (0xB3, 0xB8)))


def mpeg4_pictures(data):
    return list(pictures(data, 0xB6, (0xB0, 0xB2, 0xB3, 0xB5, *range(0x30))))


def mpeg4_kind(picture):
    """vop_coding_type as a letter (ISO/IEC 14496-2 6.2.5)."""
    return "IPBS"[picture[picture.index(b"\0\0\1\xb6") + 4] >> 6]
