#!/usr/bin/python3
"""Counts objects that pass the middle of the picture, by background subtraction. Needs python3-opencv.

    kvgrab --config object_counter.toml     # in another terminal: a bar that moves over a ramp
    object_counter.py                       prints a line for each object that passes
    object_counter.py --frames 600          ends after so many frames
"""

import argparse
import sys

import cv2
import kvframes
import numpy

LEARNING = 30  # frames from which the background is learnt before anything is counted


class Counter:
    """Finds what differs from the background, and follows it from frame to frame."""

    def __init__(self, smallest):
        self.smallest = smallest  # pixels of an object
        self.background = cv2.createBackgroundSubtractorMOG2(history=200, detectShadows=False)
        self.kernel = numpy.ones((5, 5), numpy.uint8)
        self.before = []  # columns of the objects in the frame before
        self.frames = 0

    def passing(self, pixels):
        """The number of objects that have come over the middle since the frame before."""
        changed = self.background.apply(pixels)
        changed = cv2.morphologyEx(changed, cv2.MORPH_OPEN, self.kernel)
        changed = cv2.morphologyEx(changed, cv2.MORPH_CLOSE, self.kernel)
        _, _, stats, centres = cv2.connectedComponentsWithStats(changed)
        now = [x for (x, _), area in zip(centres[1:], stats[1:, cv2.CC_STAT_AREA])
               if area >= self.smallest]
        self.frames += 1
        middle, reach = pixels.shape[1] / 2, pixels.shape[1] / 4
        passed = 0
        if self.frames > LEARNING:
            for x in now:
                nearest = min(self.before, key=lambda other: abs(other - x), default=None)
                if nearest is not None and abs(nearest - x) < reach:
                    passed += (nearest < middle) != (x < middle)
        self.before = now
        return passed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--memory", help="name of the host's shared memory (/kvgrab)")
    parser.add_argument("--frames", type=int, help="end after so many frames")
    parser.add_argument("--smallest", type=int, default=400, help="pixels of the smallest object")
    options = parser.parse_args()

    counter = Counter(options.smallest)
    total = missed = 0
    for frame in kvframes.follow(options.memory):
        missed += frame.missed
        try:
            with frame.hold():  # the host leaves the frame alone, so nothing has to be copied
                passed = counter.passing(frame.array)
        except kvframes.Denied:  # not every host can do that
            passed = counter.passing(frame.copy())
        except kvframes.Overwritten:
            missed += 1
            continue
        if passed:
            total += passed
            print("frame %d: object %d" % (frame.sequence, total), flush=True)
        if counter.frames == options.frames:
            break
    print("%d objects in %d frames, %d frames missed" % (total, counter.frames, missed))


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        pass
    except kvframes.Error as error:
        sys.exit("object_counter: %s" % error)
