"""The control socket."""

import os
import socket
import time
import unittest
import unittest.mock

import support  # first: it skips everything without numpy

import kvframes


class Control(support.HostTest):

    def connect(self, *options, config=""):
        self.host = self.start(*options, config=config)
        kvframes.open(self.name).wait(support.LONG_S)  # the socket is there before the first frame
        host = kvframes.control(self.socket, timeout=support.LONG_S)
        self.addCleanup(host.close)
        return host

    def test_reads_sets_and_changes(self):
        host = self.connect()
        status = host.status()
        self.assertEqual((status["state"], status["memory"], status["pid"]),
                         ("grabbing", self.name, self.host.pid))
        self.assertEqual(host.get("Width"), "320")
        self.assertEqual(host.get("Height", "Width"), ["240", "320"])
        self.assertEqual(host.set({"Gain[DigitalAll]": 2}, ReverseX=True),
                         {"Gain[DigitalAll]": "2", "ReverseX": host.get("ReverseX")})
        self.assertIn(host.get("ReverseX"), ("true", "1"))
        change = host.change({"exposure.mode": "manual", "exposure.time_us": 1500})
        self.assertEqual(change, {"changes": ["exposure"], "warnings": []})
        source = kvframes.open(self.name)
        while source.wait(support.LONG_S).exposure_us != 1500:
            pass
        self.assertIn("1500", host.configuration())
        copy = os.path.join(self.folder, "copy.toml")
        host.save(copy)
        with open(copy) as file:
            self.assertIn("1500", file.read())
        with self.assertRaises(kvframes.ControlError):
            host.save(copy)
        host.save(copy, replace=True)

    def test_triggers_a_frame(self):
        self.start("--strict", config='[features]\nTriggerSource = "Software"\nTriggerMode = "On"\n')
        with kvframes.open(self.name) as source:
            for _ in range(600):
                try:
                    host = kvframes.control(self.socket, timeout=support.LONG_S)
                    if host.status()["state"] in ("grabbing", "no_frames"):
                        break
                except kvframes.NoHost:
                    pass
                time.sleep(0.1)
            for _ in range(support.LONG_S):  # a trigger during an exposure has no effect
                host.execute("TriggerSoftware")
                try:
                    return self.assertGreater(source.wait(1).sequence, 0)
                except kvframes.Timeout:
                    pass
            self.fail("no frame came")

    def test_refusals_have_the_host_s_sentence(self):
        host = self.connect()
        with self.assertRaisesRegex(kvframes.Refused, "the camera has no feature Shutter"):
            host.get("Width", "Shutter")
        with self.assertRaises(kvframes.Refused) as raised:
            host.set({"ReverseX": 1, "BlackLevel": 900})
        self.assertEqual([row["feature"] for row in raised.exception.data["set"]], ["ReverseX"])
        with self.assertRaisesRegex(kvframes.Refused, "timing is not applied while grabbing"):
            host.change({"timing.fps": 10})
        with self.assertRaises(kvframes.ControlError) as raised:
            host.request("dance")
        self.assertEqual(raised.exception.code, -32601)
        self.assertEqual(host.get("Width"), "320")  # the connection goes on

    def test_events_tell_of_the_end(self):
        host = self.connect()
        events = host.events(support.LONG_S)
        self.assertIn(next(events)["kind"], ("status", "state"))
        host.stop()
        kinds = [event["kind"] for event in events]
        self.assertIn("state", kinds)
        self.assertEqual(self.host.wait(support.LONG_S), 0)
        with self.assertRaises(kvframes.NoHost):
            host.status()
        with self.assertRaisesRegex(kvframes.NoHost, self.socket):
            kvframes.control(self.socket)

    def test_what_is_no_host_has_its_reason(self):
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(self.socket)
            listener.listen()
            for answer, error in ((b"", kvframes.NoHost), (b"[]\n", kvframes.Error),
                                  (b"no json\n", kvframes.Error), (None, kvframes.Timeout)):
                host = kvframes.control(self.socket, timeout=0.2 if answer is None else 60)
                other, _ = listener.accept()
                if answer is not None:
                    other.sendall(answer)
                    other.shutdown(socket.SHUT_WR)
                with self.assertRaises(kvframes.Error) as raised:
                    host.status()
                self.assertIs(type(raised.exception), error)
                host.close()
                other.close()

    def test_finds_the_socket_where_the_host_has_it(self):
        for variable in ("XDG_RUNTIME_DIR", "RUNTIME_DIRECTORY"):
            folder = os.path.join(self.folder, variable)
            os.mkdir(folder, 0o700)
            self.socket = "auto"
            with unittest.mock.patch.dict(os.environ, {variable: folder}):
                host = self.start()
                kvframes.open(self.name).wait(support.LONG_S)
                with kvframes.control(memory=self.name) as found:
                    self.assertEqual(found.status()["pid"], host.pid)
            self.end(host)


if __name__ == "__main__":
    support.main()
