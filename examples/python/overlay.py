#!/usr/bin/python3
"""Shows the live picture in a window, with its values written over it. Needs python3-opencv.

    overlay.py                       until q or Esc is pressed
    overlay.py --save picture.png    without a window: writes the picture of one frame
"""

import argparse
import sys
import time

import cv2
import kvframes


def picture_of(frame):
    """The picture as OpenCV has it: grey, or blue, green, red."""
    if frame.codec in ("UYVY", "BayerRG8T"):
        return cv2.cvtColor(frame.rgb(), cv2.COLOR_RGB2BGR)
    pixels = frame.copy()
    if pixels.dtype == "uint16":  # 12 bits
        pixels = (pixels >> 4).astype("uint8")
    return cv2.cvtColor(pixels, cv2.COLOR_GRAY2BGR)


def write_over(picture, lines):
    size = max(picture.shape[1] / 1280, 0.4)
    for row, line in enumerate(lines, 1):
        place = (int(12 * size), int(30 * size * row))
        for colour, width in (((0, 0, 0), 6), ((80, 255, 120), 2)):  # an outline, so it can be read
            cv2.putText(picture, line, place, cv2.FONT_HERSHEY_SIMPLEX, 0.8 * size, colour,
                        max(int(width * size), 1), cv2.LINE_AA)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--memory", help="name of the host's shared memory (/kvgrab)")
    parser.add_argument("--save", metavar="FILE", help="write the picture of one frame, and end")
    options = parser.parse_args()

    shown = lost = 0
    begin = None
    # A window is slower than many cameras: it shows the newest frame each time.
    for frame in kvframes.follow(options.memory, newest=True):
        try:
            picture = picture_of(frame)
        except kvframes.Overwritten:
            lost += 1
            continue
        if begin is None:
            begin = time.monotonic()
        rate = shown / max(time.monotonic() - begin, 1e-6)
        shown += 1
        write_over(picture, [
            "frame %d, %d x %d, %s" % (frame.sequence, frame.width, frame.height, frame.codec),
            "exposure %.0f us, gain %.1f dB" % (frame.exposure_us, frame.gain_db),
            "%.0f pictures per second, %d overwritten" % (rate, lost),
        ])
        if options.save:
            return 0 if cv2.imwrite(options.save, picture) else 1
        cv2.imshow("kvgrab", picture)
        if cv2.waitKey(1) & 255 in (ord("q"), 27):
            return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        pass
    except kvframes.Error as error:
        sys.exit("overlay: %s" % error)
