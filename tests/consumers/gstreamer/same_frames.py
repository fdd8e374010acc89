"""Compares raw frames from a pipeline, one after the other, with exported ones, bit by bit.

Usage: same_frames.py FOLDER COUNT LAYOUT FILE
FOLDER has an export in the format that it is named after. LAYOUT says what the pixels of FILE look
like: "recorded" (UYVY was stored in planes), "offered" (as the element offers them) or
"scale-12-bit=false". FILE has to have COUNT frames, in the order of the export.
"""

import csv
import os
import sys


def packed12(data):
    """Pixels of MONO12PT: two in three bytes."""
    values = [0] * (len(data) // 3 * 2)
    values[0::2] = [high << 4 | low & 15 for high, low in zip(data[0::3], data[1::3])]
    values[1::2] = [high << 4 | low >> 4 for high, low in zip(data[2::3], data[1::3])]
    return values


def little_endian(values, scaled):
    wide = [value << 4 | value >> 8 for value in values] if scaled else values
    return b"".join(value.to_bytes(2, "little") for value in wide)


def as_delivered(data, image_format, layout):
    """The bytes that the pipeline should have made of an exported frame."""
    scaled = layout != "scale-12-bit=false"
    if image_format == "mono12p":
        return little_endian(packed12(data), scaled)
    if image_format == "mono12":
        return little_endian([a | b << 8 for a, b in zip(data[0::2], data[1::2])], scaled)
    if image_format == "yuv422" and layout == "recorded":
        return data[1::2] + data[0::4] + data[2::4]
    return data


def main():
    folder, count, layout, path = sys.argv[1:]
    exported = []
    with open(os.path.join(folder, "index.csv"), newline="", encoding="ascii") as index:
        for row in csv.DictReader(index):
            with open(os.path.join(folder, row["file"]), "rb") as frame:
                exported.append(as_delivered(frame.read(), os.path.basename(folder), layout))
    with open(path, "rb") as file:
        delivered = file.read()
    size = len(exported[0])
    if len(delivered) != int(count) * size:
        sys.exit(f"{path} has {len(delivered)} bytes in place of {count} frames of {size}")
    position = 0
    for number in range(int(count)):
        frame = delivered[number * size:(number + 1) * size]
        try:
            position = exported.index(frame, position) + 1
        except ValueError:
            sys.exit(f"frame {number} of {path} is none of those exported")
    print(f"{count} frames of {folder} agree bit by bit")


main()
