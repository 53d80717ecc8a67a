#!/usr/bin/env python3
"""Leaves the packets of one PID out of a transport stream, whose tables go on to announce it.

    without_pid.py IN.ts OUT.ts PID
"""
import sys

PACKET = 188


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    with open(sys.argv[1], "rb") as file:
        data = file.read()
    wanted = int(sys.argv[3], 0)
    packets = (data[at:at + PACKET] for at in range(0, len(data), PACKET))
    with open(sys.argv[2], "wb") as out:
        out.writelines(packet for packet in packets if (packet[1] & 0x1F) << 8 | packet[2] != wanted)


if __name__ == "__main__":
    main()
