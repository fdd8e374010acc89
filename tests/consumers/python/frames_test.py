"""Pixels, values, and how long they stay."""

import gc
import os
import unittest

import support  # first: it skips everything without numpy

import numpy
import kvframes

COUNT = 8  # frames that a test looks at


def unpacked(raw):
    """Two values of 12 bits in three bytes, written independently of the module."""
    triples = raw.reshape(-1, 3).astype(numpy.uint16)
    return numpy.stack([triples[:, 0] << 4 | triples[:, 1] & 15,
                        triples[:, 2] << 4 | triples[:, 1] >> 4], axis=1)


# Format of the configuration, camera, codec, and what the array is for the bytes of a raw file.
FORMATS = (
    ("mono8", "S0000001", "MONO8T", lambda raw: raw.reshape(240, 320)),
    ("mono12", "S0000001", "MONO12T", lambda raw: raw.view("<u2").reshape(240, 320)),
    ("mono12p", "S0000001", "MONO12PT", lambda raw: unpacked(raw).reshape(240, 320)),
    ("yuv422", "S0000002", "UYVY", lambda raw: raw.reshape(240, 320, 2)),
    ("bayer8", "S0000002", "BayerRG8T", lambda raw: raw.reshape(240, 320)),
)


def as_rgb(png):
    """8-bit colours of a picture as kvgrab writes it."""
    if png.dtype != numpy.uint8:
        png = (png >> 8).astype(numpy.uint8)
    return png if png.ndim == 3 else numpy.stack([png] * 3, axis=2)


class Pixels(support.HostTest):

    def grab(self, kind, format, serial, look):
        """Applies `look` to some frames of a host that exports all; gives pairs of what it gave and
        of the exported frame's row."""
        pictures = os.path.join(self.folder, "%s-%s" % (format, kind))
        host = self.start("--format", format, "--serial", serial, "--export", kind, "--every-frame",
                          "--directory", pictures)
        seen = {}
        for frame in kvframes.follow(self.name, timeout=support.LONG_S):
            try:
                seen[frame.frame_counter] = look(frame)
            except kvframes.Overwritten:
                continue
            if len(seen) == COUNT:
                break
        self.assertEqual(self.end(host), 0)
        rows = support.exported(pictures)
        pairs = [(seen[counter], rows[counter]) for counter in seen if counter in rows]
        self.assertGreaterEqual(len(pairs), COUNT // 2)  # the first isn't exported
        return pairs

    def test_every_pixel_and_value_is_that_of_the_raw_export(self):
        for format, serial, codec, array_of in FORMATS:
            with self.subTest(format=format):

                def look(frame):
                    copies = frame.copy(), frame.array.copy(), frame.data.copy()
                    if not frame.valid:
                        raise kvframes.Overwritten
                    self.assertFalse(frame.array.flags.writeable)
                    self.assertTrue(copies[0].flags.writeable)
                    return frame, copies

                for (frame, (copy, array, data)), row in self.grab("raw", format, serial, look):
                    raw = support.read_raw(row["path"])
                    expected = array_of(raw)
                    for pixels in (copy, array):
                        self.assertEqual(pixels.dtype, expected.dtype)
                        numpy.testing.assert_array_equal(pixels, expected)
                    numpy.testing.assert_array_equal(data, raw)
                    self.assertEqual(
                        (frame.codec, frame.width, frame.height, frame.nbytes),
                        (codec, 320, 240, raw.size))
                    for value in ("time_us", "camera_ticks", "camera_frame_number",
                                  "capture_time_ns"):
                        self.assertEqual(getattr(frame, value), int(row[value]), value)
                    self.assertAlmostEqual(frame.gain_db, float(row["gain_db"]), places=3)
                    self.assertAlmostEqual(frame.exposure_us, float(row["exposure_us"]), places=1)

    def test_rgb_is_what_the_png_export_shows(self):
        for format, serial, _, _ in FORMATS:
            with self.subTest(format=format):
                for rgb, row in self.grab("png", format, serial, lambda frame: frame.rgb()):
                    numpy.testing.assert_array_equal(rgb, as_rgb(support.read_png(row["path"])))


class Lifetime(support.HostTest):

    def wait_for(self, source, sequence):
        while source.wait(support.LONG_S, newest=True).sequence < sequence:
            pass

    def test_an_overwritten_frame_says_so(self):
        self.start("--buffers", "4", "--format", "mono12p")
        with kvframes.open(self.name) as source:
            frame = source.wait(support.LONG_S)
            unpacked = frame.array.copy()
            self.wait_for(source, frame.sequence + 8)
            self.assertFalse(frame.valid)
            self.assertRaises(kvframes.Overwritten, frame.copy)
            self.assertRaises(kvframes.Overwritten, frame.rgb)
            numpy.testing.assert_array_equal(frame.array, unpacked)  # a copy that was kept

    def test_arrays_outlive_frame_source_resize_and_host(self):
        host = self.start()
        source = kvframes.open(self.name)
        frame = source.wait(support.LONG_S)
        first = frame.generation, frame.array.shape
        arrays = [frame.array]
        self.configure("[region]\nwidth = 1280\nheight = 1000\n")
        host.send_signal(support.signal.SIGHUP)
        while frame.generation == first[0]:
            frame = source.wait(support.LONG_S)
        self.assertEqual((first[1], frame.array.shape), ((240, 320), (1000, 1280)))
        numpy.testing.assert_array_equal(frame.copy().shape, (1000, 1280))
        arrays += [frame.array, frame.array[::7, 5:], frame.data]
        del frame, source
        gc.collect()
        self.assertEqual(self.end(host, support.signal.SIGKILL), -9)
        for array in arrays:
            self.assertGreater(int(array.sum(dtype=numpy.uint64)), 0)

    def test_arrays_in_place_can_not_be_written(self):
        self.start()
        frame = kvframes.open(self.name).wait(support.LONG_S)
        with self.assertRaises(ValueError):
            frame.array[0, 0] = 1
        with self.assertRaises(ValueError):
            frame.array.flags.writeable = True
        frame.copy()[0, 0] = 1

    def test_a_held_frame_stays(self):
        self.start("--buffers", "6")
        source, other = kvframes.open(self.name), kvframes.open(self.name)
        frame = source.wait(support.LONG_S)
        self.assertTrue(source.state.can_hold)
        with frame.hold() as held:
            self.assertIs(held, frame)
            before = frame.copy()
            self.wait_for(other, frame.sequence + 18)
            numpy.testing.assert_array_equal(frame.array, before)
            self.assertTrue(frame.valid)
            with self.assertRaises(kvframes.Busy):
                source.wait(support.LONG_S).hold()
        self.wait_for(other, frame.sequence + 36)
        self.assertFalse(frame.valid)
        with self.assertRaises(kvframes.Overwritten):
            frame.hold()

    def test_a_frame_that_the_host_takes_back_ends_the_block_with_an_error(self):
        self.start("--buffers", "3")
        source, other = kvframes.open(self.name), kvframes.open(self.name)

        def work(error=None):
            frame = source.wait(support.LONG_S, newest=True)
            with frame.hold():
                self.wait_for(other, frame.sequence + 9)
                self.assertFalse(frame.valid)
                if error:
                    raise error

        self.assertRaises(kvframes.Overwritten, work)
        self.assertRaises(KeyError, work, KeyError())  # is not hidden


if __name__ == "__main__":
    support.main()
