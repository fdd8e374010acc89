"""The exceptions of kvframes. The text of each says the reason in one sentence."""

from typing import Any, Optional


class Error(Exception):
    """Anything that kvframes can't do; the base of all other exceptions here."""


class Timeout(Error, TimeoutError):
    """A host is there, but no frame, or no answer, came in time."""


class NoHost(Error):
    """No host offers frames under this name, or none answers at this control socket."""


class Overwritten(Error):
    """The host has used the frame's buffer again, or may have."""


class Interrupted(Error):
    """The wait was ended by interrupt() or close()."""


class Denied(Error, PermissionError):
    """This user may not read the memory, hold frames, or use the control socket."""


class Incompatible(Error):
    """The memory is that of a host of another version, or of something else."""


class Busy(Error):
    """As many frames are held as possible."""


class ControlError(Error):
    """A host refused a request.

    code: as in the table of errors in docs/control.md, such as 2 (refused) or 1 (no camera).
    data: what the host adds, such as the settings that were set before the refused one; or None.
    """

    def __init__(self, sentence: str, code: int = 0, data: Optional[Any] = None) -> None:
        super().__init__(sentence)
        self.code = code
        self.data = data


class Refused(ControlError):
    """The camera refuses it, or the configuration would make no sense (code 2)."""


class NoCamera(ControlError):
    """No camera is grabbing (code 1), or it stopped answering (code 3)."""
