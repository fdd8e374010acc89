"""The control socket of a running kvgrab; docs/control.md describes its messages."""

import json
import os
import socket
import threading
import time
from typing import Any, Dict, Iterator, List, Mapping, Optional, Tuple, Type, Union

from .errors import ControlError, Denied, Error, NoCamera, NoHost, Refused, Timeout

_CLASSES: Dict[int, Type[ControlError]] = {1: NoCamera, 2: Refused, 3: NoCamera}
_CODE_NOT_IN_TIME = 4
_PART_BYTES = 65536


def _paths(memory: str) -> List[str]:
    """Where a kvgrab with this shared memory has its socket, the likeliest place first."""
    name = memory.lstrip("/") + ".sock"
    folders = []
    user = os.geteuid()
    of_service = os.environ.get("RUNTIME_DIRECTORY", "")
    if of_service:
        folders.append(of_service.split(":")[0])
    else:
        for folder in (os.environ.get("XDG_RUNTIME_DIR", ""), "/run/user/%d" % user,
                       "/run" if user == 0 else ""):
            if folder and os.path.isdir(folder) and os.access(folder, os.W_OK | os.X_OK):
                folders.append(os.path.join(folder, "kvgrab"))
                break
        else:
            folders.append("/tmp/kvgrab-%d" % user)
    folders.append("/run/kvgrab")
    return [os.path.join(folder, name) for folder in folders]


def _connect(paths: List[str], timeout: float) -> socket.socket:
    """Connects to the first of these sockets at which a kvgrab answers."""
    failures: List[Tuple[str, OSError]] = []
    for path in paths:
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        connection.settimeout(timeout)
        try:
            _connect_to(connection, path)
            return connection
        except OSError as error:
            connection.close()
            failures.append((path, error))
    for path, why in failures:  # there is one, but it belongs to another user
        if isinstance(why, PermissionError):
            raise Denied("the control socket %s is not for this user" % path) from why
    path, why = failures[0]
    raise NoHost("no kvgrab answers at %s: %s" % (path, why.strerror or why)) from why


def _connect_to(connection: socket.socket, path: str) -> None:
    """Through a descriptor of the folder: an address of a socket is short, whatever the path is."""
    folder = os.open(os.path.dirname(path) or ".", os.O_PATH | os.O_DIRECTORY | os.O_CLOEXEC)
    try:
        connection.connect("/proc/self/fd/%d/%s" % (folder, os.path.basename(path)))
    finally:
        os.close(folder)


def _raise(error: Mapping[str, Any]) -> None:
    code = int(error.get("code", 0))
    sentence = str(error.get("message", "the host gives no reason"))
    if code == _CODE_NOT_IN_TIME:
        raise Timeout(sentence)
    raise _CLASSES.get(code, ControlError)(sentence, code, error.get("data"))


class _Lines:
    """Messages of one connection, each on a line."""

    def __init__(self, connection: socket.socket) -> None:
        self._connection = connection
        self._buffer = b""

    def send(self, message: Mapping[str, Any], timeout: float) -> None:
        try:
            self._connection.settimeout(timeout)
            self._connection.sendall(json.dumps(message).encode() + b"\n")
        except OSError as error:
            raise NoHost("the connection to kvgrab is cut off: %s" % error) from error

    def next(self, timeout: Optional[float]) -> Dict[str, Any]:
        """The next message; Timeout, or NoHost if the host left."""
        end = None if timeout is None else time.monotonic() + timeout
        while b"\n" not in self._buffer:
            left = None if end is None else end - time.monotonic()
            if left is not None and left <= 0:
                raise Timeout("no answer came within %g s" % (timeout or 0))
            self._connection.settimeout(left)
            try:
                part = self._connection.recv(_PART_BYTES)
            except socket.timeout:
                continue
            except OSError as error:
                raise NoHost("the connection to kvgrab is cut off: %s" % error) from error
            if not part:
                raise NoHost("kvgrab has ended, or has closed the connection")
            self._buffer += part
        line, _, self._buffer = self._buffer.partition(b"\n")
        try:
            message = json.loads(line)
        except ValueError:
            message = None
        if not isinstance(message, dict):
            raise Error("what answers is no control socket of kvgrab")
        return message


class Control:
    """A connection to the control socket of a running kvgrab, made by kvframes.control().

    Any thread may use it; requests are done one after the other. A host that was started again
    needs a new connection.

    Every request raises NoHost if kvgrab has ended, Timeout if no answer comes in time (or the
    camera doesn't finish in time), NoCamera if no camera is grabbing, Refused if the camera or the
    host refuses, and ControlError otherwise. Its text is the host's sentence.
    """

    def __init__(self, path: Optional[str], memory: str, timeout: float) -> None:
        self._paths = _paths(memory) if path is None else [os.fspath(path)]
        self._timeout = timeout
        self._lock = threading.Lock()
        self._id = 0
        self._connection = _connect(self._paths, timeout)
        self._lines = _Lines(self._connection)

    def close(self) -> None:
        """Ends the connection."""
        self._connection.close()

    def __enter__(self) -> "Control":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def request(self, method: str, **params: Any) -> Any:
        """Sends a request as in docs/control.md and gives its result."""
        return self._request(method, params)

    def _request(self, method: str, params: Mapping[str, Any]) -> Any:
        with self._lock:
            self._id += 1
            message: Dict[str, Any] = {"jsonrpc": "2.0", "id": self._id, "method": method}
            if params:
                message["params"] = params
            self._lines.send(message, self._timeout)
            end = time.monotonic() + self._timeout
            while True:  # answers to requests that were given up may come before
                answer = self._lines.next(max(end - time.monotonic(), 0.001))
                if answer.get("id") == self._id or ("id" in answer and answer["id"] is None):
                    break
        if "error" in answer:
            _raise(answer["error"])
        return answer.get("result")

    def status(self) -> Dict[str, Any]:
        """What kvgrab is doing, and its counts, such as ["state"] and ["frames"]["grabbed"]."""
        return dict(self.request("status"))

    def get(self, *features: str) -> Union[str, List[str]]:
        """The value of a feature as a text, such as get("ExposureTime") -> "8000"; of several
        features, a list. "Gain[DigitalAll]" is a feature under a selector."""
        rows = self.request("get", features=list(features))
        for row in rows:
            if "error" in row:
                raise Refused(row["error"], 2)
        values = [str(row["value"]) for row in rows]
        return values[0] if len(features) == 1 else values

    def set(self, settings: Optional[Mapping[str, Any]] = None, **more: Any) -> Dict[str, str]:
        """Sets features in this order, up to the first that is refused: set(ExposureTime=5000), or
        set({"Gain[DigitalAll]": 2}). Gives what the camera has then, as texts.

        Of the exception, `data["set"]` has those that were set before the one that was refused.
        """
        texts = ["%s=%s" % (name, _text(value)) for name, value in _merged(settings, more).items()]
        return {row["feature"]: row["value"] for row in self.request("set", settings=texts)}

    def execute(self, command: str) -> None:
        """Executes a command of the camera, such as "TriggerSoftware", until it is done."""
        self.request("execute", command=command)

    def change(self, keys: Optional[Mapping[str, Any]] = None, **tables: Any) -> Dict[str, Any]:
        """Changes keys of the configuration that are applied while grabbing:
        change({"exposure.time_us": 5000}); None takes a key out. Gives ["changes"], the tables that
        change with the next frame, and ["warnings"]."""
        return dict(self._request("change", _merged(keys, tables)))

    def configuration(self) -> str:
        """The configuration in force, as TOML."""
        return str(self.request("configuration")["toml"])

    def save(self, path: str, replace: bool = False) -> None:
        """Writes the configuration in force to a file, a new one unless `replace`."""
        self.request("save", path=os.path.abspath(path), replace=replace)

    def reload(self) -> None:
        """Like the signal HUP: the configuration file is read again."""
        self.request("reload")

    def usr1(self) -> None:
        """Like the signal USR1: requests the dynamic look-up table, from an 8-bit picture."""
        self.request("usr1")

    def usr2(self) -> None:
        """Like the signal USR2: requests the dynamic look-up table, from a 12-bit picture."""
        self.request("usr2")

    def stop(self) -> None:
        """Like the signal TERM: kvgrab ends."""
        self.request("stop")

    def events(self, timeout: Optional[float] = None) -> Iterator[Dict[str, Any]]:
        """Gives events until kvgrab ends: dictionaries with "kind" ("status", "state", "log",
        "missed") and the members of docs/control.md. They have a connection of their own.

        timeout: seconds to wait for each event, after which Timeout is raised; None waits for ever.
        """
        connection = _connect(self._paths, self._timeout)  # here, so that errors come at once
        lines = _Lines(connection)
        lines.send({"jsonrpc": "2.0", "id": 1, "method": "subscribe"}, self._timeout)

        def events() -> Iterator[Dict[str, Any]]:
            with connection:
                while True:
                    try:
                        message = lines.next(timeout)
                    except NoHost:
                        return
                    if "error" in message:
                        _raise(message["error"])
                    if message.get("method") == "event":
                        yield message["params"]

        return events()


def _merged(first: Optional[Mapping[str, Any]], more: Mapping[str, Any]) -> Dict[str, Any]:
    merged = dict(first or {})
    merged.update(more)
    return merged


def _text(value: Any) -> str:
    if isinstance(value, bool):
        return "true" if value else "false"
    return str(value)
