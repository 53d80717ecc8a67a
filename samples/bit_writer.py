"""Bits of coded headers, most significant first."""


class BitWriter:
    def __init__(self):
        self._bits = []

    def bits(self, count, value):
        self._bits.extend((value >> shift) & 1 for shift in reversed(range(count)))
        return self

    def code(self, text):
        """A code word written as its digits."""
        self._bits.extend(int(digit) for digit in text)
        return self

    def ue(self, value):
        """ue(v) of ISO/IEC 14496-10 9.1."""
        length = (value + 1).bit_length()
        return self.bits(length - 1, 0).bits(length, value + 1)

    def se(self, value):
        """se(v) of ISO/IEC 14496-10 9.1.1."""
        return self.ue(2 * value - 1 if value > 0 else -2 * value)

    def align(self):
        while len(self._bits) % 8:
            self._bits.append(0)
        return self

    def trailing(self):
        """A one and zeros to the next byte."""
        self._bits.append(1)
        return self.align()

    def stuffing(self):
        """A zero and ones to the next byte (ISO/IEC 14496-2 5.2.4)."""
        self._bits.append(0)
        while len(self._bits) % 8:
            self._bits.append(1)
        return self

    def bytes(self):
        self.align()
        groups = zip(*[iter(self._bits)] * 8)
        return bytes(int("".join(map(str, group)), 2) for group in groups)
