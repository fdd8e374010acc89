"""The frames of a running kvgrab, as numpy arrays.

    import kvframes
    for frame in kvframes.follow():
        print(frame.sequence, frame.array.mean())

The frames are in memory that the host shares, and arrays show them in place. A program that uses
them may be slow, stop or die: the host never waits for it. `Frame` says how to know that what was
read belongs to one frame; `control()` asks and controls the host.
"""

from typing import Iterator, List, Optional

from ._kvframes import Frame, Hold, State
from ._kvframes import Source as _Source
from .aio import AsyncFrames
from .control import Control
from .errors import (Busy, ControlError, Denied, Error, Incompatible, Interrupted, NoCamera, NoHost,
                     Overwritten, Refused, Timeout)

__all__ = [
    "AsyncFrames", "Busy", "Control", "ControlError", "DEFAULT_NAME", "Denied", "Error", "Frame",
    "Hold", "Incompatible", "Interrupted", "NoCamera", "NoHost", "Overwritten", "Refused", "Source",
    "State", "Timeout", "control", "follow", "follow_async", "open"
]

DEFAULT_NAME = "/kvgrab"


def __dir__() -> List[str]:
    return __all__  # what an interactive session proposes


class Source(_Source):
    __doc__ = _Source.__doc__

    def follow(self, newest: bool = False, timeout: Optional[float] = None) -> Iterator[Frame]:
        """Gives one frame after the other, until close(). The arguments are those of wait()."""
        while True:
            try:
                frame = self.wait(timeout, newest)
            except Interrupted:
                if self.closed:
                    return
                raise
            yield frame
            del frame  # a frame that nobody uses keeps no memory while the next one is waited for

    def __iter__(self) -> Iterator[Frame]:
        return self.follow()

    def __enter__(self) -> "Source":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


def open(name: Optional[str] = None) -> Source:
    """Prepares to follow the host of this name ("/kvgrab"), which may also come later.

    Raises ValueError if the name makes no sense.
    """
    return Source(DEFAULT_NAME if name is None else name)


def follow(name: Optional[str] = None, newest: bool = False,
           timeout: Optional[float] = None) -> Iterator[Frame]:
    """Gives one frame after the other, for use in a for loop.

    newest: True skips to the newest frame each time, for programs that are slower than the camera.
    timeout: seconds to wait for each frame; None waits for ever, also for a host to come or return.

    Raises what Source.wait() raises.
    """
    source = open(name)  # here, so that a senseless name is an error at once

    def frames() -> Iterator[Frame]:
        with source:
            yield from source.follow(newest, timeout)

    return frames()


def follow_async(name: Optional[str] = None, newest: bool = False,
                 timeout: Optional[float] = None) -> AsyncFrames:
    """Like follow(), for `async for`. Other tasks run while a frame is waited for."""
    return AsyncFrames(open(name), newest, timeout)


# Takes the place of the submodule of the same name, whose class is in this namespace.
def control(path: Optional[str] = None, memory: str = DEFAULT_NAME, timeout: float = 5.0) -> Control:
    """Connects to the control socket of a running kvgrab.

    path: of the socket; None looks where kvgrab has it for the shared memory of that name.
    timeout: seconds to wait for each answer.

    Raises NoHost if no kvgrab answers there, and Denied if it belongs to another user.
    """
    return Control(path, memory, timeout)


for _class in (AsyncFrames, Busy, Control, ControlError, Denied, Error, Frame, Hold, Incompatible,
               Interrupted, NoCamera, NoHost, Overwritten, Refused, State, Timeout):
    _class.__module__ = __name__  # which is the name to use, in tracebacks and in help()
