"""Waiting: threads, asyncio, Ctrl-C, and the end of the interpreter."""

import asyncio
import ast
import inspect
import signal
import threading
import time
import unittest

import support  # first: it skips everything without numpy

import kvframes
from kvframes import _kvframes


def in_thread(function, results):
    """Runs a function on a thread; its result or exception goes to the list."""

    def run():
        try:
            results.append(function())
        except BaseException as error:
            results.append(error)

    thread = threading.Thread(target=run)
    thread.start()
    return thread


class Threads(support.HostTest):

    def test_each_source_sees_every_frame_and_a_shared_one_shares_them(self):
        self.start("--buffers", "64")
        shared, results = kvframes.open(self.name), []

        def take(source):
            return [source.wait(support.LONG_S).sequence for _ in range(20)]

        threads = [in_thread(lambda: take(kvframes.open(self.name)), results) for _ in range(3)]
        for thread in threads:
            thread.join()
        for sequences in results:
            self.assertEqual(sequences, list(range(sequences[0], sequences[0] + 20)))

        results.clear()
        for thread in [in_thread(lambda: take(shared), results) for _ in range(3)]:
            thread.join()
        taken = sum(results, [])
        self.assertEqual(len(set(taken)), 60)

    def test_interrupt_and_close_end_waits(self):
        source, results = kvframes.open(self.name), []
        source.interrupt()
        self.assertRaises(kvframes.Interrupted, source.wait)  # without a wait, of the next one
        for end, waits in ((source.interrupt, source.wait), (source.close, source.wait)):
            threads = [in_thread(waits, results) for _ in range(3)]
            while any(thread.is_alive() for thread in threads):
                end()
                time.sleep(0.01)
        self.assertEqual([type(result) for result in results], [kvframes.Interrupted] * 6)
        self.assertEqual(list(source), [])  # a closed source has no frames

    def test_a_waiting_thread_hardly_runs(self):
        source, results, switches = kvframes.open(self.name), [], []

        def wait():
            try:
                source.wait(1)
            except kvframes.NoHost:
                with open("/proc/thread-self/status") as file:
                    return next(int(line.split()[1]) for line in file
                                if line.startswith("voluntary_ctxt_switches"))

        in_thread(wait, switches).join()
        self.assertLess(switches[0], 50)


class Interpreter(support.HostTest):

    def test_ctrl_c_ends_a_wait(self):
        child = self.python("""
import os, signal
def interrupt():
    here = lambda: sys._current_frames()[threading.main_thread().ident]
    looks = 0
    while looks < 20:  # in a row in which the main thread was in the wait
        time.sleep(0.01)
        looks = looks + 1 if here().f_code.co_name == "follow" else 0
    os.kill(os.getpid(), signal.SIGINT)
threading.Thread(target=interrupt).start()
for frame in kvframes.follow(name):
    pass
""")
        _, errors = child.communicate(timeout=support.LONG_S)
        self.assertIn("KeyboardInterrupt", errors)
        self.assertEqual(child.returncode, -signal.SIGINT)

    def test_threads_that_wait_and_copy_do_not_disturb_the_end(self):
        self.start("--buffers", "32", fps=0)
        child = self.python("""
def work():
    for frame in kvframes.follow(name):
        try:
            frame.rgb(), frame.copy()
        except kvframes.Overwritten:
            pass
        started.release()
started = threading.Semaphore(0)
for _ in range(8):
    threading.Thread(target=work, daemon=True).start()
    started.acquire()
""")
        _, errors = child.communicate(timeout=support.LONG_S)
        self.assertEqual((child.returncode, errors), (0, ""))


class Asyncio(support.HostTest):

    def test_frames_come_while_other_tasks_run(self):
        self.start("--buffers", "64")

        async def run():
            turns = 0

            async def turn():
                nonlocal turns
                while True:
                    turns += 1
                    await asyncio.sleep(0.001)

            other = asyncio.create_task(turn())
            sequences = []
            async with kvframes.follow_async(self.name, timeout=support.LONG_S) as frames:
                async for frame in frames:
                    sequences.append(frame.sequence)
                    if len(sequences) == 10:
                        break
                    if len(sequences) == 5:
                        for _ in range(3):  # waits that are given up lose no frame
                            task = asyncio.create_task(frames.__anext__())
                            await asyncio.sleep(0)
                            await asyncio.sleep(0)
                            task.cancel()
                            try:
                                sequences.append((await task).sequence)
                            except asyncio.CancelledError:
                                pass
            other.cancel()
            return sequences, turns

        sequences, turns = asyncio.run(run())
        self.assertEqual(sequences, list(range(sequences[0], sequences[0] + len(sequences))))
        self.assertGreater(turns, 10)

    def test_ends_and_errors_reach_the_task_that_waits(self):

        async def run():
            frames = kvframes.follow_async(self.name)
            waiting = asyncio.create_task(frames.__anext__())
            await asyncio.sleep(0)
            with self.assertRaises(RuntimeError):
                await frames.__anext__()  # one task at a time
            await frames.aclose()
            with self.assertRaises(StopAsyncIteration):
                await waiting
            self.assertEqual([frame async for frame in frames], [])
            with self.assertRaises(kvframes.NoHost):
                async for _ in kvframes.follow_async(self.name, timeout=0.1):
                    pass

        asyncio.run(run())

    def test_a_program_ends_while_a_frame_is_waited_for(self):
        child = self.python("""
import asyncio
async def run():
    global frames
    frames = kvframes.follow_async(name)
    try:
        await asyncio.wait_for(frames.__anext__(), 0.1)
    except asyncio.TimeoutError:
        print("ends")
asyncio.run(run())
""")
        self.assertEqual(child.communicate(timeout=support.LONG_S), ("ends\n", ""))


class Stubs(unittest.TestCase):

    def test_the_stubs_name_what_the_module_has(self):
        stub = inspect.getsourcefile(kvframes).replace("__init__.py", "_kvframes.pyi")
        with open(stub) as file:
            classes = [node for node in ast.parse(file.read()).body
                       if isinstance(node, ast.ClassDef)]
        self.assertEqual({c.name for c in classes},
                         {name for name in dir(_kvframes) if not name.startswith("_")})
        for c in classes:
            members = vars(getattr(_kvframes, c.name))
            public = {name for name in members if not name.startswith("_")}
            self.assertEqual({f.name for f in c.body if not f.name.startswith("_")}, public)
            for name in public:
                self.assertTrue(members[name].__doc__, "%s.%s has no help" % (c.name, name))


if __name__ == "__main__":
    support.main()
