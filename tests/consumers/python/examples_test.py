"""The example programs, without a window."""

import os
import subprocess
import sys
import unittest

import support  # first: it skips everything without numpy

import numpy

FOLDER = os.path.join(os.environ["KV_EXAMPLES"], "python")


def lacks(module):
    return subprocess.run([sys.executable, "-c", "import " + module], stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode != 0


class Examples(support.HostTest):

    def run_example(self, name, *options):
        done = subprocess.run(
            [sys.executable, "-B", os.path.join(FOLDER, name), "--memory", self.name, *options],
            capture_output=True, text=True, timeout=4 * support.LONG_S, cwd=self.folder,
            env={**os.environ, "MPLCONFIGDIR": self.folder})
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    @unittest.skipIf(lacks("cv2"), "python3-opencv is not installed")
    def test_overlay_writes_on_the_picture(self):
        for format, serial in (("mono12", "S0000001"), ("yuv422", "S0000002")):
            host = self.start("--format", format, "--serial", serial, size=(1280, 960))
            self.run_example("overlay.py", "--save", "picture.png")
            picture = support.read_png(os.path.join(self.folder, "picture.png"))
            self.assertEqual(picture.shape, (960, 1280, 3))
            text = (picture == (120, 255, 80)).all(axis=2)
            self.assertGreater(text.sum(), 100)
            self.end(host)

    @unittest.skipIf(lacks("matplotlib"), "python3-matplotlib is not installed")
    def test_histogram_draws(self):
        self.start("--format", "mono12p")
        self.run_example("histogram.py", "--save", "histogram.png")
        self.assertGreater(os.path.getsize(os.path.join(self.folder, "histogram.png")), 5000)

    @unittest.skipIf(lacks("cv2"), "python3-opencv is not installed")
    def test_object_counter_counts_the_passes_of_the_bar(self):
        with open(os.path.join(FOLDER, "object_counter.toml")) as file:
            self.configure(file.read())
        self.run_host()
        lines = self.run_example("object_counter.py", "--frames", "510").splitlines()
        self.assertRegex(lines[-1], "^[1-3] objects in 510 frames")
        passes = [int(line.split()[1].rstrip(":")) for line in lines[:-1]]
        distances = numpy.diff(passes)  # the bar is at the middle every 240 frames
        self.assertTrue((abs(distances - 240) < 20).any(), passes)


if __name__ == "__main__":
    support.main()
