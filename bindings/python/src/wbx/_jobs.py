"""Work on several threads at once, so that Ctrl-C still gets through to the thread that waits for it."""

import threading
from typing import Callable, List, Optional

from .errors import CancelledError


class _Job:
    def __init__(self, work: Callable[[], None], stop: Callable[[], None]) -> None:
        self.done = threading.Event()
        self.error: Optional[BaseException] = None
        self._work, self._stop = work, stop
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self) -> None:
        try:
            self._work()
        except BaseException as error:
            self.error = error
            self._stop()
        finally:
            self.done.set()


def run_together(works: List[Callable[[], None]], stop: Callable[[], None]) -> None:
    """Runs each work on a thread of its own and returns when all have ended. `stop` asks the running ones to
    end; it is called, again and again, after Ctrl-C or when one fails. Raises what a work raised."""
    jobs: List[_Job] = []
    try:
        for work in works:
            jobs.append(_Job(work, stop))
        for job in jobs:
            job.done.wait()
    except BaseException:
        _end(jobs, stop)
        raise
    errors = [job.error for job in jobs if job.error is not None]
    errors.sort(key=lambda error: isinstance(error, CancelledError))  # what stopped the others comes first
    if errors:
        raise errors[0]


def _end(jobs: List[_Job], stop: Callable[[], None]) -> None:
    """Waits for all jobs, whatever signals come: they write to memory that must not go before them."""
    while not all(job.done.is_set() for job in jobs):
        try:
            stop()
            for job in jobs:
                job.done.wait(0.01)
        except KeyboardInterrupt:
            pass


def on_main_thread() -> bool:
    return threading.current_thread() is threading.main_thread()
