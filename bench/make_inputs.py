#!/usr/bin/env python3
"""Writes the inputs for the benchmarks to a directory, with the same bytes on every run.

Usage: make_inputs.py DIRECTORY
"""
import random
import sys
from pathlib import Path

DENSE, RAW, SMALL, SECTIONS = "dense.hex", "raw.bin", "small.hex", "sections.srec"
NUM_SECTIONS, SECTION_DISTANCE = 24, 1 << 20
DENSE_BYTES, SMALL_BYTES, SECTIONS_RECORDS = 32 << 20, 4 << 10, 256 << 10
RECORD_BYTES = 16
FOURTH, MOST = 128 << 10, 512 << 10

# The orders of S-record inputs: name, distance between record addresses, how the records are arranged.
ORDERS = {
    "ascending": (RECORD_BYTES, lambda records: None),
    "ascending with gaps": (RECORD_BYTES + 8, lambda records: None),
    "descending": (RECORD_BYTES, list.reverse),
    "shuffled": (RECORD_BYTES, random.shuffle),
    "shuffled with gaps": (RECORD_BYTES + 8, random.shuffle),
}


def ordered(order, num_records):
    """The file name of an S-record input with that order."""
    return f"{order.replace(' ', '-')}-{num_records}.srec"


def hex_record(kind, addr, data):
    body = bytes([len(data), addr >> 8 & 0xFF, addr & 0xFF, kind]) + data
    return b":%s\r\n" % (body + bytes([-sum(body) & 0xFF])).hex().upper().encode()


def intel_hex(data):
    for addr in range(0, len(data), RECORD_BYTES):
        if addr & 0xFFFF == 0:
            yield hex_record(4, 0, (addr >> 16).to_bytes(2, "big"))
        yield hex_record(0, addr, data[addr : addr + RECORD_BYTES])
    yield hex_record(1, 0, b"")


def s_record(kind, addr, data):
    body = bytes([len(data) + 5]) + addr.to_bytes(4, "big") + data
    return b"S%d%s\r\n" % (kind, (body + bytes([~sum(body) & 0xFF])).hex().upper().encode())


def s_records(addrs):
    for addr in addrs:
        yield s_record(3, addr, random.randbytes(RECORD_BYTES))
    yield s_record(7, 0, b"")


def ordered_addresses(order, num_records):
    distance, arrange = ORDERS[order]
    addrs = list(range(0x08000000, 0x08000000 + num_records * distance, distance))
    arrange(addrs)
    return addrs


def section_addresses():
    """Sections far apart, each ascending, in a random order: a program as a linker may write it."""
    starts = [0x08000000 + i * SECTION_DISTANCE for i in range(NUM_SECTIONS)]
    random.shuffle(starts)
    num_bytes = SECTIONS_RECORDS // NUM_SECTIONS * RECORD_BYTES
    return [addr for start in starts for addr in range(start, start + num_bytes, RECORD_BYTES)]


def main():
    folder = Path(sys.argv[1])
    random.seed(20)
    data = random.randbytes(DENSE_BYTES)
    (folder / RAW).write_bytes(data)
    (folder / DENSE).write_bytes(b"".join(intel_hex(data)))
    (folder / SMALL).write_bytes(b"".join(intel_hex(data[:SMALL_BYTES])))
    (folder / SECTIONS).write_bytes(b"".join(s_records(section_addresses())))
    for order in ORDERS:
        for num_records in (FOURTH, MOST):
            addrs = ordered_addresses(order, num_records)
            (folder / ordered(order, num_records)).write_bytes(b"".join(s_records(addrs)))


if __name__ == "__main__":
    main()
