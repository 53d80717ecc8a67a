"""A transport stream with one video stream (ISO/IEC 13818-1), one program."""

PAT_PID, PMT_PID, VIDEO_PID = 0, 0x1000, 0x100
STREAM_TYPES = {"mpeg2": 0x02, "h264": 0x1B}


def _crc32(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1) ^ (0x04C11DB7 if crc & 0x80000000 else 0)
            crc &= 0xFFFFFFFF
    return crc.to_bytes(4, "big")


def _section(table, identifier, body):
    head = identifier.to_bytes(2, "big") + b"\xc1\x00\x00"
    length = len(head) + len(body) + 4
    section = bytes([table, 0xB0 | length >> 8, length & 0xFF]) + head + body
    return b"\x00" + section + _crc32(section)


def _stamp(marker, ticks):
    return bytes([marker << 4 | (ticks >> 30 & 7) << 1 | 1, ticks >> 22 & 0xFF, (ticks >> 15 & 0x7F) << 1 | 1,
                  ticks >> 7 & 0xFF, (ticks & 0x7F) << 1 | 1])


class TransportWriter:
    def __init__(self, path, codec):
        self._file = open(path, "wb")
        self._counters = {}
        pmt = (0xE000 | VIDEO_PID).to_bytes(2, "big") + b"\xf0\x00" + bytes([STREAM_TYPES[codec]])
        pmt += (0xE000 | VIDEO_PID).to_bytes(2, "big") + b"\xf0\x00"
        self._packets(PAT_PID, _section(0, 1, b"\x00\x01" + (0xE000 | PMT_PID).to_bytes(2, "big")), fill=0xFF)
        self._packets(PMT_PID, _section(2, 1, pmt), fill=0xFF)

    def access_unit(self, data, pts, dts):
        """One PES packet; `pts` None leaves both stamps out. Ticks of 90 kHz."""
        if pts is None:
            header = b"\x80\x00\x00"
            clock = None
        else:
            header = b"\x80\xc0\x0a" + _stamp(3, pts) + _stamp(1, dts)
            clock = dts - 9000
        self._packets(VIDEO_PID, b"\x00\x00\x01\xe0\x00\x00" + header + data, clock=clock)

    def close(self):
        self._file.close()

    def _packets(self, pid, payload, clock=None, fill=None):
        first = True
        while payload:
            adaptation = b""
            if first and clock is not None:
                adaptation = b"\x10" + (clock << 15 | 0x7E00).to_bytes(6, "big")
            room = 184 - (len(adaptation) + 1 if adaptation else 0)
            chunk, payload = payload[:room], payload[room:]
            if fill is not None:
                chunk += bytes([fill]) * (room - len(chunk))
            missing = room - len(chunk)
            if missing:
                if not adaptation:
                    missing -= 1
                    adaptation = b"\x00" if missing else b""
                    missing -= 1 if adaptation else 0
                    body = bytes([len(adaptation) + missing]) + adaptation + b"\xff" * missing
                else:
                    body = bytes([len(adaptation) + missing]) + adaptation + b"\xff" * missing
            else:
                body = bytes([len(adaptation)]) + adaptation if adaptation else b""
            counter = self._counters.get(pid, 0)
            self._counters[pid] = (counter + 1) % 16
            control = (0x30 if body else 0x10) | counter
            self._file.write(bytes([0x47, (0x40 if first else 0) | pid >> 8, pid & 0xFF, control]) + body + chunk)
            first = False
