#!/usr/bin/python3
"""Shows a live histogram of the brightness. Needs python3-matplotlib.

    histogram.py                         until the window is closed
    histogram.py --save histogram.png    without a window: writes that of one frame
"""

import argparse
import sys

import kvframes
import matplotlib
import numpy


def brightness_of(frame):
    """Brightness of each pixel, and the largest value that it can have."""
    pixels = frame.copy()
    if frame.codec == "UYVY":
        pixels = pixels[..., 1]
    return pixels, 4095 if pixels.dtype == numpy.uint16 else 255


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--memory", help="name of the host's shared memory (/kvgrab)")
    parser.add_argument("--save", metavar="FILE", help="write that of one frame, and end")
    options = parser.parse_args()
    if options.save:
        matplotlib.use("Agg")
    from matplotlib import pyplot  # chooses the kind of window when it is imported

    figure, axes = pyplot.subplots(num="kvgrab")
    bars = None
    for frame in kvframes.follow(options.memory, newest=True):
        try:
            pixels, largest = brightness_of(frame)
        except kvframes.Overwritten:
            continue
        counts, edges = numpy.histogram(pixels, bins=128, range=(0, largest + 1))
        share = 100 * counts / pixels.size
        if bars is None:
            bars = axes.stairs(share, edges, fill=True)
            axes.set(xlabel="brightness", ylabel="pixels in %", yscale="log", ylim=(0.001, 100))
        bars.set_data(share, edges)
        axes.set_xlim(0, largest + 1)
        axes.set_title("frame %d: mean %.0f, %.2f %% at the upper end" %
                       (frame.sequence, pixels.mean(), 100 * (pixels == largest).mean()))
        if options.save:
            return figure.savefig(options.save)
        pyplot.pause(0.02)  # draws, and lets the window react
        if not pyplot.fignum_exists(figure.number):
            return None


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        pass
    except kvframes.Error as error:
        sys.exit("histogram: %s" % error)
