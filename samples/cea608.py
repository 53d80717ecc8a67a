"""Captions as CEA-608 byte pairs: one pair per picture of 30000/1001 Hz and field."""
import re
from collections import namedtuple

Cue = namedtuple("Cue", "first last lines")  # pictures: shown from `first`, gone at `last`

PICTURES_PER_SECOND = 30000 / 1001
NOTHING = (0x80, 0x80)
COLUMNS, LAST_ROW = 32, 15

# Code points of the basic set that differ from ASCII, and the special characters (ANSI/CTA-608 tables 50 and 49).
BASIC = {"á": 0x2A, "é": 0x5C, "í": 0x5E, "ó": 0x5F, "ú": 0x60, "ç": 0x7B, "÷": 0x7C, "Ñ": 0x7D, "ñ": 0x7E}
SPECIAL = {c: 0x30 + i for i, c in enumerate("®°½¿™¢£♪à\0èâêîôû") if c != "\0"}
TAKEN = "*\\^_`{|}~"  # ASCII that the basic set lacks

RESUME_LOADING, ROLL_UP_TWO, ERASE_SHOWN, CARRIAGE_RETURN, ERASE_LOADED, SHOW_LOADED = 0x20, 0x25, 0x2C, 0x2D, 0x2E, 0x2F
TAB_OFFSET = 0x20
# Row 1 to 15: first byte of a preamble address code, and the higher half of the second.
ROWS = [(0x11, 0x40), (0x11, 0x60), (0x12, 0x40), (0x12, 0x60), (0x15, 0x40), (0x15, 0x60), (0x16, 0x40), (0x16, 0x60),
        (0x17, 0x40), (0x17, 0x60), (0x10, 0x40), (0x13, 0x40), (0x13, 0x60), (0x14, 0x40), (0x14, 0x60)]


def picture_at(stamp):
    hours, minutes, seconds, thousandths = map(int, re.split("[:,.]", stamp.strip()))
    return round((hours * 3600 + minutes * 60 + seconds + thousandths / 1000) * PICTURES_PER_SECOND)


def read_srt(path):
    with open(path, encoding="utf-8-sig") as file:
        blocks = re.split(r"\n\s*\n", file.read().strip())
    cues = []
    for block in filter(None, blocks):
        _, times, *lines = block.splitlines()
        begin, end = times.split("-->")
        cues.append(Cue(picture_at(begin), picture_at(end), [line.strip() for line in lines]))
    return cues


def odd_parity(byte):
    return byte | (0 if bin(byte).count("1") % 2 else 0x80)


class Encoder:
    """Units of one channel, 1 to 4. A unit is the pairs that must follow each other without a gap."""

    def __init__(self, channel):
        self._channel_bit = 0x08 if channel in (2, 4) else 0
        self._miscellaneous = 0x15 if channel > 2 else 0x14

    def _code(self, first, second):
        pair = (odd_parity(first | self._channel_bit), odd_parity(second))
        return [pair, pair]  # control codes are sent twice

    def command(self, code):
        return self._code(self._miscellaneous, code)

    def address(self, row, column):
        first, second = ROWS[row - 1]
        units = [self._code(first, second | 0x10 | column // 4 << 1)]  # white, indent in steps of four
        if column % 4:
            units.append(self._code(0x17, TAB_OFFSET | column % 4))
        return units

    def text(self, line):
        units, waiting = [], None
        for character in line:
            if character in SPECIAL:
                if waiting is not None:
                    units.append([(odd_parity(waiting), 0x80)])
                    waiting = None
                units.append(self._code(0x11, SPECIAL[character]))
                continue
            if character in TAKEN or not (character in BASIC or " " <= character <= "~"):
                raise ValueError(f"CEA-608 has no character {character!r}")
            code = BASIC.get(character, ord(character))
            if waiting is None:
                waiting = code
            else:
                units.append([(odd_parity(waiting), odd_parity(code))])
                waiting = None
        if waiting is not None:
            units.append([(odd_parity(waiting), 0x80)])
        return units

    def lines(self, lines):
        units = []
        for i, line in enumerate(lines):
            if len(line) > COLUMNS:
                raise ValueError(f"more than {COLUMNS} characters: {line!r}")
            units += self.address(LAST_ROW - len(lines) + 1 + i, (COLUMNS - len(line)) // 2) + self.text(line)
        return units


class Slots:
    """What each picture transmits, None while free."""

    def __init__(self, count):
        self.pairs = [None] * count

    def _free(self, at, unit):
        return 0 <= at <= len(self.pairs) - len(unit) and all(p is None for p in self.pairs[at:at + len(unit)])

    def _put(self, at, unit):
        self.pairs[at:at + len(unit)] = unit

    def put_at(self, at, unit):
        if not self._free(at, unit):
            raise ValueError(f"no room for a control code at picture {at}")
        self._put(at, unit)

    def put_before(self, limit, begin, units):
        """Puts units into the last free places before `limit`, none before `begin`."""
        for unit in reversed(units):
            at = limit - len(unit)
            while at >= begin and not self._free(at, unit):
                at -= 1
            if at < begin:
                raise ValueError(f"captions come too fast before picture {limit}")
            self._put(at, unit)
            limit = at

    def put_after(self, at, units):
        for unit in units:
            while at < len(self.pairs) and not self._free(at, unit):
                at += 1
            self.put_at(at, unit)
            at += len(unit)


def pop_on(cues, pictures, channel):
    """Text appears at once, with the second of the two codes that show it: at the picture of the cue."""
    encoder, slots, loading_from = Encoder(channel), Slots(pictures), 0
    for cue in cues:
        slots.put_at(cue.first - 1, encoder.command(SHOW_LOADED))
    for cue, following in zip(cues, cues[1:] + [None]):
        if following is None or following.first - 1 > cue.last + 2:
            slots.put_at(cue.last - 1, encoder.command(ERASE_SHOWN))
    for cue in cues:
        units = [encoder.command(RESUME_LOADING), encoder.command(ERASE_LOADED)] + encoder.lines(cue.lines)
        slots.put_before(cue.first - 1, loading_from, units)
        loading_from = cue.first + 1
    return slots.pairs


def roll_up(cues, pictures, channel):
    """Two rows; text appears as it arrives, from the picture of the cue on."""
    encoder, slots = Encoder(channel), Slots(pictures)
    for cue in cues:
        units = []
        for line in cue.lines:
            units += [encoder.command(ROLL_UP_TWO), encoder.command(CARRIAGE_RETURN)]
            units += encoder.address(LAST_ROW, 0) + encoder.text(line)
        slots.put_after(cue.first, units)
    for cue in cues[-1:]:
        slots.put_after(cue.last - 1, [encoder.command(ERASE_SHOWN)])
    return slots.pairs


def encode(cues, pictures, style, channel):
    """For every picture the pairs of field 1 and field 2."""
    pairs = {"pop-on": pop_on, "roll-up": roll_up}[style](cues, pictures, channel)
    pairs = [pair or NOTHING for pair in pairs]
    return [(NOTHING, pair) if channel > 2 else (pair, NOTHING) for pair in pairs]
