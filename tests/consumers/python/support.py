"""What the tests of the module share: hosts, exported pictures, and the skip without numpy."""

import csv
import itertools
import os
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

try:
    import numpy
except ImportError:
    print("skipped: python3-numpy is not installed")
    sys.exit(77)

LONG_S = 60  # a bound for what comes at once
_numbers = itertools.count()


def main():
    """Runs the tests of a file; its exit status is 77 if all of them were skipped."""
    result = unittest.main(verbosity=2, exit=False).result
    skipped = len(result.skipped) == result.testsRun
    sys.exit(77 if skipped else 0 if result.wasSuccessful() else 1)


class HostTest(unittest.TestCase):
    """A test with a private memory name, a folder, and hosts that end with it."""

    def setUp(self):
        self.name = "/kvgrab-python-%d-%d" % (os.getpid(), next(_numbers))
        self.folder = tempfile.mkdtemp(prefix="kvframes-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.addCleanup(self._remove_memory)
        self.socket = os.path.join(self.folder, "control.sock")
        self.config = os.path.join(self.folder, "kvgrab.toml")

    def _remove_memory(self):
        for suffix in ("", ".consumers"):
            try:
                os.unlink("/dev/shm" + self.name + suffix)
            except FileNotFoundError:
                pass

    def configure(self, text):
        with open(self.config, "w") as file:
            file.write(text)

    def start(self, *options, config="", fps=50, size=(320, 240)):
        """Starts a host with small frames; `fps` 0 leaves the rate open."""
        self.configure("%s\n[region]\nwidth = %d\nheight = %d\n" % (config, *size) +
                       ("[timing]\nfps = %d\n" % fps if fps else ""))
        return self.run_host(*options)

    def run_host(self, *options):
        """Starts a host as configured."""
        log = open(os.path.join(self.folder, "log"), "a")
        self.addCleanup(log.close)
        host = subprocess.Popen(
            [os.environ["KVGRAB"], "run", "--config", self.config, "--memory", self.name, "--socket",
             self.socket, "--no-status", *options], stdout=log, stderr=log, stdin=subprocess.DEVNULL)
        self.addCleanup(self.end, host, signal.SIGKILL)
        return host

    def end(self, host, number=signal.SIGTERM):
        if host.poll() is None:
            host.send_signal(number)
            host.send_signal(signal.SIGCONT)
        return host.wait(LONG_S)

    def python(self, program, **more):
        """Starts a Python program that finds the module, the arguments in `name` and `socket`."""
        prefix = "import kvframes, sys, threading, time\nname = %r\n" % self.name
        child = subprocess.Popen([sys.executable, "-c", prefix + program], stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, text=True, **more)
        self.addCleanup(child.stdout.close)
        self.addCleanup(child.stderr.close)
        self.addCleanup(self.end, child, signal.SIGKILL)
        return child


def exported(folder):
    """The rows of an export's index by the frames' counters, with the path of each file."""
    with open(os.path.join(folder, "index.csv")) as file:
        rows = list(csv.DictReader(file))
    for row in rows:
        row["path"] = os.path.join(folder, row["file"])
    return {int(row["frame_counter"]): row for row in rows}


def read_raw(path):
    return numpy.fromfile(path, numpy.uint8)


def read_png(path):
    """A PNG file of 8 or 16 bits without a palette, as (h, w) or (h, w, 3)."""
    with open(path, "rb") as file:
        data = file.read()
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        at += 12 + length
        if kind == b"IHDR":
            width, height, depth, colour = struct.unpack(">IIBB", body[:10])
        elif kind == b"IDAT":
            packed += body
    step = (3 if colour == 2 else 1) * depth // 8
    lines = numpy.frombuffer(zlib.decompress(packed), numpy.uint8).reshape(height, -1)
    before = numpy.zeros(lines.shape[1] - 1, numpy.uint8)
    picture = []
    for line in lines:
        before = _unfiltered(line[0], line[1:], before, step)
        picture.append(before)
    pixels = numpy.array(picture)
    if depth == 16:
        pixels = pixels.view(">u2")
    return pixels.reshape((height, width, 3) if colour == 2 else (height, width))


def _unfiltered(kind, line, above, step):
    if kind == 0:
        return line
    if kind == 1:
        return numpy.cumsum(line.reshape(-1, step), axis=0, dtype=numpy.uint8).ravel()
    if kind == 2:
        return line + above
    left = bytearray(step)
    corner = bytearray(step)
    out = bytearray()
    for value, up in zip(line.tolist(), above.tolist()):
        a, c = left[len(out) % step], corner[len(out) % step]
        if kind == 3:
            guess = (a + up) // 2
        else:
            guess = min((abs(up - c), 0, a), (abs(a - c), 1, up), (abs(a + up - 2 * c), 2, c))[2]
        corner[len(out) % step] = up
        left[len(out) % step] = (value + guess) & 255
        out.append((value + guess) & 255)
    return numpy.frombuffer(bytes(out), numpy.uint8)
