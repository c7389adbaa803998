"""Many JPEG 2000 files over many workers, with Dask distributed. The program is `wbx-batch`.

    wbx-batch --workers 4 --fit 512 --to thumbnails --report report.csv scans/*.jp2
    wbx-batch --scheduler tcp://head:8786 --format npy --to /shared/arrays --report report.csv @list.txt

A file is one task, or several if it is huge and tiled: one for each row of tiles, into one .npy file. Every file
gets one line in the report: file, code (0 for success), text, result, width, height, components. A second run
with the same report goes on where the first one stopped. Each result is written beside its name and then
renamed, so that a task that is done twice, after the death of a worker, leaves one whole result.
"""

import argparse
import csv
import hashlib
import importlib
import os
import sys
from typing import Any, Dict, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Set, TextIO

from . import errors
from ._image import open as open_image

COLUMNS = ("file", "code", "text", "result", "width", "height", "components")
NO_CODE = -1  # of a failure that the library did not report

_HUGE = 2**28  # bytes of a picture that is decoded in rows of tiles
_MOST_TASKS = 1000  # that wait on the scheduler at a time
_RETRIES = 10  # deaths of workers that a task outlives


class Plan(NamedTuple):
    """What to do with each file."""

    folder: str
    format: str = "png"
    level: Optional[int] = None
    fit: Optional[int] = None
    huge: int = _HUGE


def result_of(path: str, plan: Plan) -> str:
    """The name of the result: that of the file, told apart from its namesakes by a piece of its path's hash."""
    stem = os.path.splitext(os.path.basename(path))[0]
    mark = hashlib.sha256(os.fsencode(os.path.abspath(path))).hexdigest()[:8]
    return os.path.join(plan.folder, "%s-%s.%s" % (stem, mark, plan.format))


def _level(image: Any, plan: Plan) -> int:
    """The level that the plan asks for; the smallest one where there are not so many."""
    if plan.fit is not None:
        longest = max(image.width, image.height)
        return int(image.level_for(image.width * plan.fit // longest, image.height * plan.fit // longest))
    return min(plan.level or 0, int(image.levels) - 1)


def _row(path: str, code: int = 0, text: str = "", result: str = "", shape: Sequence[int] = ()) -> Dict[str, Any]:
    height, width, components = shape or ("", "", "")
    return dict(zip(COLUMNS, (path, code, text, result, width, height, components)))


def _failure(path: str, error: Exception) -> Dict[str, Any]:
    code = error.code if isinstance(error, errors.Error) else NO_CODE
    text = error.text if isinstance(error, errors.Error) else "%s: %s" % (type(error).__name__, error)
    return _row(path, code, text)


def _write(array: Any, target: str) -> None:
    """Writes a picture whole or not at all."""
    import numpy
    from PIL import Image

    beside = "%s.%d" % (target, os.getpid())
    with open(beside, "wb") as file:
        if target.endswith(".npy"):
            numpy.save(file, array)
        else:
            bytes_only = array if array.dtype == numpy.uint8 or array.shape[2] == 1 else (array >> 8).astype("uint8")
            Image.fromarray(bytes_only[..., 0] if array.shape[2] == 1 else bytes_only).save(file, "png")
    os.replace(beside, target)


def _scaled(array: Any, precision: int) -> Any:
    """Samples that fill bytes or words, as PNG has them."""
    return array << ((8 if precision <= 8 else 16) - precision)


def do_file(path: str, plan: Plan) -> Dict[str, Any]:
    """Decodes a file and writes its result: a task for a worker. For a huge file gives, under "rows", the number
    of rows of tiles, and writes nothing but an empty result to fill."""
    try:
        target = result_of(path, plan)
        with open_image(path) as image:
            level = _level(image, plan)
            width, height = image.size(level)
            shape = height, width, image.components
            size = height * width * image.components * image.dtype.itemsize
            if plan.format == "npy" and size > plan.huge and image.tiles.down > 1:
                _reserve(target, shape, image.dtype)
                return dict(_row(path, 0, "", target, shape), rows=image.tiles.down)
            array = image.decode(level=level)
            _write(_scaled(array, image.precision) if plan.format == "png" else array, target)
        return _row(path, 0, "", target, shape)
    except Exception as error:
        return _failure(path, error)


def _partial(target: str) -> str:
    return target + ".partial"


def _reserve(target: str, shape: Sequence[int], dtype: Any) -> None:
    """An empty .npy file of the shape, for the rows of tiles of a huge picture."""
    npy: Any = importlib.import_module("numpy.lib.format")

    beside = "%s.%d" % (target, os.getpid())
    npy.open_memmap(beside, mode="w+", dtype=dtype, shape=tuple(shape)).flush()
    os.replace(beside, _partial(target))


def do_rows(path: str, plan: Plan, row: int) -> Dict[str, Any]:
    """Decodes one row of tiles of a huge file into its result: a task for a worker."""
    try:
        npy: Any = importlib.import_module("numpy.lib.format")

        with open_image(path) as image:
            level, across = _level(image, plan), image.tiles.across
            top = image.decoded_size(range(row * across), level)[1] if row else 0
            tiles = range(row * across, (row + 1) * across)
            bottom = top + image.decoded_size(tiles, level)[1]
            whole = npy.open_memmap(_partial(result_of(path, plan)), mode="r+")
            if bottom > top:
                whole[top:bottom] = image.decode(tiles=tiles, level=level)
            whole.flush()
        return _row(path)
    except Exception as error:
        return _failure(path, error)


class _Report:
    """The report: a line for each file that is done. Lines of an earlier run stay."""

    def __init__(self, path: str) -> None:
        self.done: Set[str] = set()
        self.failed = 0
        content = b""
        if os.path.exists(path):
            with open(path, "rb") as old:
                content = old.read()
            with open(path, "r+b") as old:  # a line that was cut off is done again
                old.truncate(content.rfind(b"\n") + 1)
        if content.count(b"\n"):
            with open(path, newline="", encoding="utf-8", errors="surrogateescape") as lines:
                self.done = {line["file"] for line in csv.DictReader(lines)}
        self._file: TextIO = open(path, "a", newline="", encoding="utf-8", errors="surrogateescape")
        self._writer = csv.DictWriter(self._file, COLUMNS, lineterminator="\n", extrasaction="ignore")
        if not content.count(b"\n"):
            self._writer.writeheader()

    def add(self, row: Dict[str, Any]) -> None:
        clean = {name: value.replace("\n", " ") if name == "text" else value for name, value in row.items()}
        self._writer.writerow(clean)
        self._file.flush()
        self.done.add(row["file"])
        self.failed += row["code"] != 0

    def close(self) -> None:
        self._file.close()


class _Huge:
    """A huge file of which some rows of tiles are not done yet."""

    def __init__(self, row: Dict[str, Any]) -> None:
        self.row = row
        self.left: int = row["rows"]

    def end(self) -> None:
        if self.row["code"] == 0:
            os.replace(_partial(self.row["result"]), self.row["result"])
        else:
            os.unlink(_partial(self.row["result"]))
            self.row.update(result="", width="", height="", components="")


def run(client: Any, files: Iterable[str], plan: Plan, report: _Report, show: Any = lambda done: None) -> None:
    """Does the files that the report does not hold yet. `show` is called with the number of files done."""
    from distributed import as_completed

    os.makedirs(plan.folder, exist_ok=True)
    seen = set(report.done)
    waiting: Iterator[str] = iter(files)
    running: Dict[str, str] = {}
    huge: Dict[str, _Huge] = {}
    work = as_completed()

    def submit(path: str, function: Any, *more: Any) -> None:
        future = client.submit(function, path, plan, *more, pure=False, retries=_RETRIES)
        running[future.key] = path
        work.add(future)

    def fill() -> None:
        while len(running) < _MOST_TASKS:
            path = next((name for name in waiting if name not in seen), None)
            if path is None:
                return
            seen.add(path)
            submit(path, do_file)

    def take(path: str, row: Dict[str, Any]) -> None:
        if row.get("rows"):
            huge[path] = _Huge(row)
            for number in range(row["rows"]):
                submit(path, do_rows, number)
            return
        if path in huge:
            whole = huge[path]
            whole.left -= 1
            if row["code"] != 0:
                whole.row.update(code=row["code"], text=row["text"])
            if whole.left > 0:
                return
            whole.end()
            row = huge.pop(path).row
        report.add(row)
        show(len(report.done))

    fill()
    for future in work:
        path = running.pop(future.key)
        error = future.exception()
        take(path, _failure(path, error) if error is not None else future.result())
        fill()


def file_list(names: Sequence[str]) -> List[str]:
    """The files of a command line; @list stands for the lines of a file."""
    files: List[str] = []
    for name in names:
        if name.startswith("@"):
            with open(name[1:], encoding="utf-8", errors="surrogateescape") as lines:
                files.extend(line.rstrip("\n") for line in lines if line.strip())
        else:
            files.append(name)
    return list(dict.fromkeys(os.path.abspath(name) for name in files))


def _progress(total: int) -> Any:
    """Draws a bar on a terminal, and nothing elsewhere."""

    def show(done: int) -> None:
        filled = 40 * done // max(total, 1)
        sys.stderr.write("\r[%s%s] %d of %d" % ("#" * filled, "." * (40 - filled), done, total))
        sys.stderr.write("\n" if done == total else "")
        sys.stderr.flush()

    return show if sys.stderr.isatty() else lambda done: None


def _arguments(arguments: Optional[Sequence[str]]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="wbx-batch", description="Decode many JPEG 2000 files on many workers.")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS", help="a Dask scheduler that runs already")
    where.add_argument("--workers", type=int, default=os.cpu_count() or 1, metavar="N", help="processes on this machine")
    size = parser.add_mutually_exclusive_group()
    size.add_argument("--level", type=int, metavar="N", help="resolution, 0 for full size")
    size.add_argument("--fit", type=int, metavar="N", help="the lowest resolution with N pixels on the longer side")
    parser.add_argument("--format", choices=("png", "npy"), default="png")
    parser.add_argument("--to", required=True, metavar="FOLDER", help="where the results go")
    parser.add_argument("--report", required=True, metavar="CSV")
    parser.add_argument("files", nargs="+", metavar="FILE|@LIST")
    return parser.parse_args(arguments)


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """The program. Returns 0, or 1 if a file of this run failed."""
    from distributed import Client, LocalCluster

    chosen = _arguments(arguments)
    files = file_list(chosen.files)
    plan = Plan(os.path.abspath(chosen.to), chosen.format, chosen.level, chosen.fit)
    report = _Report(chosen.report)
    cluster = None
    try:
        if not chosen.scheduler:
            cluster = LocalCluster(n_workers=chosen.workers, threads_per_worker=1, dashboard_address=None)
        with Client(chosen.scheduler or cluster) as client:
            run(client, files, plan, report, _progress(len(report.done.union(files))))
    finally:
        report.close()
        if cluster is not None:
            cluster.close()
    return 1 if report.failed else 0


if __name__ == "__main__":
    # The workers look for the tasks under the module's own name.
    sys.exit(importlib.import_module("wbx.batch").main())
