#!/usr/bin/env python3
"""Makes the VobSub sample: vobsub/film.idx and vobsub/film.sub beside this script, the same bytes every time.

Two languages with three units each, drawn in a small font with an outline. The second unit of each language has three
lines and takes several packs. The German ones are delayed by half a second."""

import pathlib

WIDTH, HEIGHT = 720, 480
SCALE = 4  # of the font's dots
LINE_STEP = 10 * SCALE
PACK_SIZE = 2048

# Five columns of seven dots each, the lowest bit on top.
FONT = {
    " ": "0000000000", "!": "00005F0000", ",": "0050300000", ".": "0060600000", "?": "0201510906", "A": "7E0909097E",
    "D": "7F4141423C", "E": "7F49494941", "F": "7F09090901", "G": "3E4141517A", "H": "7F0808087F", "I": "00417F4100",
    "J": "2040403F00", "L": "7F40404040", "M": "7F0204027F", "N": "7F020C107F", "O": "3E4141413E", "R": "7F09192966",
    "S": "4649494931", "T": "01017F0101", "U": "3F4040403F", "Y": "0304780403",
}

BACKGROUND, FILL, OUTLINE = 0, 1, 2
CONTRAST = 0x0FF0  # a nibble for each colour of the picture, the background's last: opaque letters
PALETTE = ["000000", "f0f0f0", "101010", "e0c040"] + ["{0:02x}{0:02x}{0:02x}".format(16 * i) for i in range(4, 16)]

# Code, which of the palette the picture's colours are (as CONTRAST), delay, units: start and duration in ms, lines.
LANGUAGES = [
    ("en", 0x0210, None, [
        (1000, 1500, ["HELLO?"]),
        (3000, 3000, ["ARE YOU THERE,", "AT THE OTHER END", "OF THE LINE?"]),
        (8000, 1000, ["YES!"])]),
    ("de", 0x0230, "00:00:00:500", [
        (1000, 1500, ["HALLO?"]),
        (3000, 3000, ["IST DORT JEMAND,", "AM ANDEREN ENDE", "DER LEITUNG?"]),
        (8000, 1000, ["JA."])]),
]


def draw(lines):
    """Rows of colours; the outline is one dot of the screen's wide on each side, two of them high."""
    width = max(len(line) for line in lines) * 6 * SCALE + 2 * SCALE
    rows = [[BACKGROUND] * width for _ in range(len(lines) * LINE_STEP)]
    for number, line in enumerate(lines):
        left = (width - len(line) * 6 * SCALE) // 2
        for place, letter in enumerate(line):
            for column, dots in enumerate(bytes.fromhex(FONT[letter])):
                for row in range(7):
                    if dots >> row & 1:
                        fill(rows, left + (place * 6 + column) * SCALE, number * LINE_STEP + (row + 1) * SCALE)
    for y, row in enumerate(rows):
        for x, colour in enumerate(row):
            near = [rows[j][max(x - 1, 0):x + 2] for j in range(max(y - 2, 0), min(y + 3, len(rows)))]
            if colour == BACKGROUND and any(FILL in part for part in near):
                row[x] = OUTLINE
    return rows


def fill(rows, left, top):
    for y in range(top, top + SCALE):
        rows[y][left:left + SCALE] = [FILL] * SCALE


def run_nibbles(length, colour):
    """The shortest code of a run; 0 is a run to the end of the row."""
    digits = 4 if length == 0 or length > 63 else 3 if length > 15 else 2 if length > 3 else 1
    code = length << 2 | colour
    return [code >> 4 * i & 15 for i in reversed(range(digits))]


def encode_row(row):
    nibbles = []
    x = 0
    while x < len(row):
        end = x
        while end < len(row) and row[end] == row[x]:
            end += 1
        if end == len(row):
            nibbles += run_nibbles(0, row[x])
        else:
            nibbles += run_nibbles(min(end - x, 255), row[x])
        x = end if end == len(row) else min(end, x + 255)
    nibbles += [0] * (len(nibbles) % 2)  # rows begin on whole bytes
    return bytes(high << 4 | low for high, low in zip(nibbles[::2], nibbles[1::2]))


def big16(value):
    return value.to_bytes(2, "big")


def subpicture(lines, palette, duration):
    """Size, place of the commands, the even rows, the odd rows, and two sets of commands: to show and to stop."""
    rows = draw(lines)
    left = (WIDTH - len(rows[0])) // 2
    top = HEIGHT - 16 - len(rows)
    even = b"".join(encode_row(row) for row in rows[0::2])
    odd = b"".join(encode_row(row) for row in rows[1::2])
    right, bottom = left + len(rows[0]) - 1, top + len(rows) - 1
    area = (left << 36 | right << 24 | top << 12 | bottom).to_bytes(6, "big")
    show = 4 + len(even) + len(odd)
    commands = (b"\x03" + big16(palette) + b"\x04" + big16(CONTRAST) + b"\x05" + area +
                b"\x06" + big16(4) + big16(4 + len(even)) + b"\x01\xff")
    stop = show + 4 + len(commands)
    unit = (big16(show) + even + odd + big16(0) + big16(stop) + commands +
            big16(duration * 90 // 1024) + big16(stop) + b"\x02\xff")
    return big16(len(unit) + 2) + unit


def clock_bits(ticks, mark):
    """A time of 33 bits in five bytes, with a set bit behind each of its three parts."""
    bits = mark << 36 | (ticks >> 30 & 7) << 33 | 1 << 32 | (ticks >> 15 & 0x7FFF) << 17 | 1 << 16
    return (bits | (ticks & 0x7FFF) << 1 | 1).to_bytes(5, "big")


def pack_header(ticks):
    scr = (1 << 46 | (ticks >> 30 & 7) << 43 | 1 << 42 | (ticks >> 15 & 0x7FFF) << 27 | 1 << 26 |
           (ticks & 0x7FFF) << 11 | 1 << 10 | 1)
    return b"\x00\x00\x01\xba" + scr.to_bytes(6, "big") + b"\x01\x89\xc3\xf8"


def packs(unit, start, language):
    """The unit in packs of private stream 1; what is left of the last one is filled up."""
    out = b""
    ticks = start * 90
    head = clock_bits(ticks, 2)
    while unit:
        share = unit[:PACK_SIZE - 14 - 10 - len(head)]
        unit = unit[len(share):]
        room = PACK_SIZE - 14 - 10 - len(head) - len(share)
        flags = b"\x81\x80" if head else b"\x81\x00"
        if room < 6:  # too small for a padding packet
            head += b"\xff" * room
            room = 0
        packet = flags + bytes([len(head)]) + head + bytes([0x20 + language]) + share
        out += pack_header(ticks) + b"\x00\x00\x01\xbd" + big16(len(packet)) + packet
        if room:
            out += b"\x00\x00\x01\xbe" + big16(room - 6) + b"\xff" * (room - 6)
        head = b""
    return out


def stamp(milliseconds):
    seconds, milliseconds = divmod(milliseconds, 1000)
    return "{:02}:{:02}:{:02}:{:03}".format(seconds // 3600, seconds // 60 % 60, seconds % 60, milliseconds)


def main():
    folder = pathlib.Path(__file__).parent / "vobsub"
    index = ["# VobSub index file, v7 (do not modify this line!)", "", "# Original frame size",
             "size: {}x{}".format(WIDTH, HEIGHT), "time offset: 0", "palette: " + ", ".join(PALETTE), "langidx: 0"]
    packets = b""
    for number, (code, palette, delay, units) in enumerate(LANGUAGES):
        index += ["", "id: {}, index: {}".format(code, number)] + (["delay: " + delay] if delay else [])
        for start, duration, lines in units:
            index.append("timestamp: {}, filepos: {:09x}".format(stamp(start), len(packets)))
            packets += packs(subpicture(lines, palette, duration), start, number)
    (folder / "film.idx").write_bytes("\r\n".join(index + [""]).encode())
    (folder / "film.sub").write_bytes(packets)


if __name__ == "__main__":
    main()
