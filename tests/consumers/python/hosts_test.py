"""Hosts that come, leave, freeze and return, and memories that aren't theirs."""

import os
import signal
import unittest

import support  # first: it skips everything without numpy

import kvframes


class Hosts(support.HostTest):

    def test_a_source_goes_on_with_the_next_host(self):
        with kvframes.open(self.name) as source:
            self.assertFalse(source.state.attached)
            with self.assertRaisesRegex(kvframes.NoHost, self.name):
                source.wait(0.1)
            for number in (1, 2):
                host = self.start(size=(320, 240 * number))
                frame = source.wait(support.LONG_S)
                self.assertEqual((frame.host, frame.height), (number, 240 * number))
                state = source.state
                self.assertEqual((state.attached, state.host_pid, state.width, state.codec),
                                 (True, host.pid, 320, "MONO8T"))
                self.assertGreaterEqual(state.newest, frame.sequence)
                self.end(host, signal.SIGKILL if number == 1 else signal.SIGTERM)
                with self.assertRaises(kvframes.NoHost):
                    while True:
                        source.wait(0.5)
                self.assertFalse(source.state.attached)

    def test_a_frozen_host_is_a_time_out(self):
        host = self.start()
        with kvframes.open(self.name) as source:
            source.wait(support.LONG_S)
            host.send_signal(signal.SIGSTOP)
            with self.assertRaises(TimeoutError) as raised:
                while True:
                    source.wait(0.3)
            self.assertIsInstance(raised.exception, kvframes.Timeout)
            host.send_signal(signal.SIGCONT)
            self.assertGreater(source.wait(support.LONG_S).sequence, 0)

    def test_frames_that_were_skipped_are_counted(self):
        self.start("--buffers", "4")
        with kvframes.open(self.name) as source, kvframes.open(self.name) as other:
            last = source.wait(support.LONG_S)
            for newest in (False, True):
                while other.wait(support.LONG_S, newest=True).sequence < last.sequence + 12:
                    pass
                frame = source.wait(support.LONG_S, newest)
                self.assertEqual(frame.missed, frame.sequence - last.sequence - 1)
                self.assertGreater(frame.missed, 0)
                last = frame

    def test_what_is_no_memory_of_a_host_has_its_reason(self):
        for name in ("", "a/b", "/" + "x" * 300):
            self.assertRaises(ValueError, kvframes.follow, name)
        with kvframes.open(self.name) as source:
            self.assertRaises(ValueError, source.wait, -1)
            with open("/dev/shm" + self.name, "wb") as file:
                file.write(b"something else" * 1000)
            self.assertRaises(kvframes.Incompatible, source.wait, 0.1)

    def test_a_user_who_may_not_read_is_denied(self):
        with open("/dev/shm" + self.name, "wb") as file:
            os.fchmod(file.fileno(), 0)
        child = os.fork()
        if child == 0:
            status = 1
            try:
                if os.geteuid() == 0:
                    os.setuid(65534)
                kvframes.open(self.name).wait(0.1)
            except PermissionError as error:
                status = 0 if isinstance(error, kvframes.Denied) else 2
            finally:
                os._exit(status)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)


if __name__ == "__main__":
    support.main()
