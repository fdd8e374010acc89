"""Frames for asyncio."""

import asyncio
import queue
import threading
from typing import Callable, Optional, Tuple

from ._kvframes import Frame, Source
from .errors import Interrupted

_Request = Tuple[asyncio.AbstractEventLoop, "asyncio.Future[Frame]"]


def _answer(request: _Request, answer: Callable[..., None], value: object) -> None:
    loop, future = request

    def call() -> None:
        if not future.done():
            answer(value)

    try:
        loop.call_soon_threadsafe(call)
    except RuntimeError:
        pass  # the loop is closed: nobody wants the answer


def _serve(source: Source, newest: bool, timeout: Optional[float],
           requests: "queue.SimpleQueue[Optional[_Request]]") -> None:
    """Runs on a thread: answers each request with the next frame, until it gets None."""
    while True:
        request = requests.get()
        if request is None:
            return
        try:
            frame = source.wait(timeout, newest)
        except Exception as error:
            _answer(request, request[1].set_exception, error)
        else:
            _answer(request, request[1].set_result, frame)
            del frame  # it keeps memory of the host
        del request


class AsyncFrames:
    """One frame after the other, for `async for`, made by follow_async().

    A thread waits for the frames and uses no CPU meanwhile. If a task that waits is cancelled, no
    frame is lost: the next `__anext__()` gets it. aclose(), or the end of `async with`, ends the
    thread.
    """

    def __init__(self, source: Source, newest: bool, timeout: Optional[float]) -> None:
        self._source = source
        self._requests: "queue.SimpleQueue[Optional[_Request]]" = queue.SimpleQueue()
        self._pending: "Optional[asyncio.Future[Frame]]" = None
        self._is_waiting = False
        threading.Thread(target=_serve, args=(source, newest, timeout, self._requests),
                         name="kvframes", daemon=True).start()

    def __aiter__(self) -> "AsyncFrames":
        return self

    async def __anext__(self) -> Frame:
        if self._is_waiting:
            raise RuntimeError("another task waits for this iterator: make one for each task")
        if self._source.closed:
            raise StopAsyncIteration
        if self._pending is None:
            loop = asyncio.get_running_loop()
            self._pending = loop.create_future()
            self._requests.put((loop, self._pending))
        self._is_waiting = True
        try:
            await asyncio.wait((self._pending,))  # leaves the future alone if the task is cancelled
        finally:
            self._is_waiting = False
        answer, self._pending = self._pending, None
        try:
            return answer.result()
        except Interrupted:
            if self._source.closed:
                raise StopAsyncIteration from None
            raise

    def _close(self) -> None:
        self._source.close()
        self._requests.put(None)

    async def aclose(self) -> None:
        """Ends the iteration, also for a task that waits, and gives the source back."""
        self._close()

    async def __aenter__(self) -> "AsyncFrames":
        return self

    async def __aexit__(self, *_: object) -> None:
        self._close()

    def __del__(self) -> None:
        self._close()
