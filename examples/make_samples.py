#!/usr/bin/env python3
"""Makes the sample files in the folder of this script; with --check, compares them with what it would make.

Needs only Python 3. It shares no code with Blockfit, so the samples are an independent test of what Blockfit reads.
"""

import argparse
import pathlib
import sys

SAMPLE_ADDRESS = 0x8000
SAMPLE_DATA = bytes(range(256)) + bytes(255 - i for i in range(244))

# Areas out of order and far apart: vectors at 0; eight bytes across the end of the 16-bit addresses; two areas with one
# free address between them; the last 32-bit addresses.
GAPS = [
    (0x08000011, bytes(range(0x11, 0x20))),
    (0x08000000, bytes(range(0x10))),
    (0x00000000, bytes(range(0xA0, 0xC8))),
    (0xFFFFFFF0, bytes(range(0xF0, 0x100))),
    (0x0000FFFC, bytes(range(0xFC, 0x100)) + bytes(range(4))),
]


def hex_record(kind, address, data=b""):
    record = bytes([len(data)]) + address.to_bytes(2, "big") + bytes([kind]) + data
    return ":" + (record + bytes([-sum(record) & 0xFF])).hex().upper() + "\n"


def hex_linear(address):
    return hex_record(4, 0, (address >> 16).to_bytes(2, "big"))


HEX_END = hex_record(1, 0)


def hex_data(address, data, size=16):
    text = ""
    upper = 0
    for start in range(0, len(data), size):
        if (address + start) >> 16 != upper:
            upper = (address + start) >> 16
            text += hex_linear(address + start)
        text += hex_record(0, (address + start) & 0xFFFF, data[start : start + size])
    return text


def s_record(kind, address, data=b"", line_end="\n"):
    address_size = {0: 2, 1: 2, 2: 3, 3: 4, 5: 2, 7: 4, 8: 3, 9: 2}[kind]
    record = bytes([address_size + len(data) + 1]) + address.to_bytes(address_size, "big") + data
    return f"S{kind}" + (record + bytes([~sum(record) & 0xFF])).hex().upper() + line_end


def s_file(data_kind, end_kind, size=16, line_end="\n"):
    text = s_record(0, 0, b"sample", line_end)
    for start in range(0, len(SAMPLE_DATA), size):
        text += s_record(data_kind, SAMPLE_ADDRESS + start, SAMPLE_DATA[start : start + size], line_end)
    return text + s_record(end_kind, 0, b"", line_end)


def gaps_hex():
    """Type 04 and 02 address records; 16 bytes per record, and one record that runs past the end of its 64 KiB."""
    text = ""
    for address, data in GAPS:
        if address == 0xFFFC:
            text += hex_record(2, 0, bytes([0x0F, 0xF0]))  # segment 0x0FF0: addresses from 0xFF00
            text += hex_record(0, address - 0xFF00, data)
        else:
            text += hex_linear(address)
            text += "".join(
                hex_record(0, (address + i) & 0xFFFF, data[i : i + 16]) for i in range(0, len(data), 16)
            )
    return text + HEX_END


def with_char(text, line, column, char):
    """The text with one character of one line replaced; a negative column counts from the line's end."""
    lines = text.split("\n")
    column %= len(lines[line])
    lines[line] = lines[line][:column] + char + lines[line][column + 1 :]
    return "\n".join(lines)


def refused():
    """One file for each reason to refuse a file."""
    hex_first = hex_record(0, 0x100, bytes(range(16)))
    hex_second = hex_record(0, 0x110, bytes(range(16, 32)))
    hex_good = hex_first + hex_second + HEX_END
    s_first = s_record(1, 0x100, bytes(range(16)))
    s_second = s_record(1, 0x110, bytes(range(16, 32)))
    s_end = s_record(9, 0)
    s_good = s_first + s_second + s_end
    return {
        "checksum.hex": with_char(hex_good, 1, -1, "0"),
        "overlap.hex": hex_first + hex_record(0, 0x10F, b"\x55") + HEX_END,
        "not-hex.hex": "\n" + hex_good,
        "no-colon.hex": hex_first + hex_second[1:] + HEX_END,
        "digit.hex": with_char(hex_good, 1, 10, "O"),
        "count.hex": with_char(hex_good, 1, 1, "2"),
        "line-end.hex": hex_first + hex_second.replace("\n", " \n") + HEX_END,
        "too-short.hex": hex_record(4, 0, b"\x08") + hex_good,
        "checksum.srec": with_char(s_good, 1, -1, "0"),
        "overlap.srec": s_first + s_record(1, 0x10F, b"\x55") + s_end,
        "not-srec.srec": s_good.lower(),
        "no-s.srec": s_first + s_second.lower() + s_end,
        "type.srec": with_char(s_good, 1, 1, "A"),
        "digit.srec": with_char(s_good, 1, 10, "O"),
        "count.srec": with_char(s_good, 1, 2, "2"),
        "too-short.srec": "S10201FC\n" + s_good,
        "notes.txt": s_good,
    }


def samples():
    """Maps file names to contents."""
    texts = {
        "sample.hex": hex_data(SAMPLE_ADDRESS, SAMPLE_DATA) + HEX_END,
        "sample.mot": s_file(2, 8, line_end="\r\n"),
        "sample.srec": s_file(1, 9),
        "sample.s19": s_file(1, 9, size=32),
        "sample.s37": s_file(3, 7),
        "sample.s": s_file(1, 9, size=20).lower().replace("s", "S"),
        "gaps.hex": gaps_hex(),
        "beyond-32-bits.hex": hex_linear(0xFFFF0000) + hex_record(0, 0xFFF8, bytes(range(16))) + HEX_END,
    }
    texts |= {"refused/" + name: text for name, text in refused().items()}
    files = {name: text.encode() for name, text in texts.items()}
    files["sample.bin"] = SAMPLE_DATA
    files["two-blocks.bin"] = bytes((i * i // 7 + i) & 0xFF for i in range(4096))
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="write nothing; fail if a sample differs or is missing")
    folder = pathlib.Path(__file__).resolve().parent
    is_check = parser.parse_args().check
    num_wrong = 0
    for name, contents in samples().items():
        path = folder / name
        if not is_check:
            path.parent.mkdir(exist_ok=True)
            path.write_bytes(contents)
        elif not path.is_file() or path.read_bytes() != contents:
            print(f"{path}: not what {pathlib.Path(__file__).name} makes", file=sys.stderr)
            num_wrong += 1
    return 1 if num_wrong else 0


if __name__ == "__main__":
    sys.exit(main())
