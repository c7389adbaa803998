"""Many JPEG 2000 files over many workers, with Dask distributed. The program is `wbx-batch`.

    wbx-batch --workers 4 --fit 512 --to thumbnails --report report.csv scans/*.jp2
    wbx-batch --scheduler tcp://head:8786 --format npy --to /shared/arrays --report report.csv @list.txt

A file is one task. A huge one in tiles that goes to npy or zarr is several: one for each row of tiles. Every
file gets one line in the report: file, code (0 for success), text, result, width, height, components. A second
run with the same report goes on where the first one stopped. Each result is written beside its name and then
renamed, so that a task that is done twice, after the death of a worker, leaves one whole result.

Of the formats, npy and zarr hold the samples of `Image.decode`; png holds samples that fill 8 or 16 bits. A zarr
result is a folder, an array of version 2 of that format: `.zarray` is JSON with the shape, and each file "R.C.0"
holds the samples of one tile, or of several small ones, uncompressed. Those of the last row and column are as
large as the others, with zeros beyond the picture.
"""

import argparse
import csv
import hashlib
import importlib
import json
import os
import shutil
import sys
from typing import Any, Dict, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Set, TextIO, Tuple

from . import errors
from ._image import open as open_image

COLUMNS = ("file", "code", "text", "result", "width", "height", "components")
NO_CODE = -1  # of a failure that the library did not report

_HUGE = 2**28  # bytes of a picture that is decoded in rows of tiles
_SMALL_TILE = 256  # rows or columns; smaller tiles share a chunk
_MOST_TASKS = 1000  # that wait on the scheduler at a time


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


def _beside(target: str) -> str:
    return "%s.%d" % (target, os.getpid())


def _remove(result: str) -> None:
    if os.path.isdir(result):
        shutil.rmtree(result)
    else:
        os.unlink(result)


def _rename(beside: str, target: str) -> None:
    """Puts a file or folder in the place of an older one."""
    if os.path.isdir(target):
        _remove(target)
    os.replace(beside, target)


def _write_file(array: Any, target: str) -> None:
    """Writes a picture as .npy or .png, whole or not at all."""
    import numpy
    from PIL import Image

    beside = _beside(target)
    with open(beside, "wb") as file:
        if target.endswith(".npy"):
            numpy.save(file, array)
        else:
            bytes_only = array if array.dtype == numpy.uint8 or array.shape[2] == 1 else (array >> 8).astype("uint8")
            Image.fromarray(bytes_only[..., 0] if array.shape[2] == 1 else bytes_only).save(file, "png")
    _rename(beside, target)


def _chunk(image: Any, level: int) -> Tuple[int, int]:
    """(rows, columns) of a tile at a level, or of several small ones."""
    down, across = image.tiles
    # The first tile can be smaller than the next one, when the grid begins above or left of the picture.
    second = min(1, down - 1) * across + min(1, across - 1)
    sizes = zip(image.decoded_size(0, level), image.decoded_size(second, level))
    columns, rows = (max(1, *pair) for pair in sizes)
    return rows * max(1, _SMALL_TILE // rows), columns * max(1, _SMALL_TILE // columns)


def _make_zarr(folder: str, image: Any, level: int) -> None:
    """A zarr folder without chunks."""
    width, height = image.size(level)
    about = {
        "zarr_format": 2,
        "shape": [height, width, image.components],
        "chunks": [*_chunk(image, level), image.components],
        "dtype": image.dtype.str,
        "order": "C",
        "fill_value": 0,
        "compressor": None,
        "filters": None,
    }
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, ".zarray"), "w", encoding="ascii") as file:
        json.dump(about, file, indent=1)


def _write_chunks(folder: str, array: Any, first: int, chunk: Tuple[int, int]) -> None:
    """Writes rows of chunks, of which the uppermost has the number `first`."""
    import numpy

    rows, columns = chunk
    for top in range(0, array.shape[0], rows):
        for left in range(0, array.shape[1], columns):
            part = array[top : top + rows, left : left + columns]
            whole = numpy.zeros((rows, columns, array.shape[2]), array.dtype)
            whole[: part.shape[0], : part.shape[1]] = part
            whole.tofile(os.path.join(folder, "%d.%d.0" % (first + top // rows, left // columns)))


def _scaled(array: Any, precision: int) -> Any:
    """Samples that fill bytes or words, as PNG has them."""
    most, full = 2**precision - 1, 255 if precision <= 8 else 65535
    return array if most == full else ((array.astype("uint32") * full + most // 2) // most).astype(array.dtype)


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
            if plan.format != "png" and size > plan.huge and image.tiles.down > 1:
                return dict(_row(path, 0, "", target, shape), rows=_reserve(target, image, level))
            array = image.decode(level=level)
            if plan.format == "zarr":
                _make_zarr(_beside(target), image, level)
                _write_chunks(_beside(target), array, 0, _chunk(image, level))
                _rename(_beside(target), target)
            else:
                _write_file(_scaled(array, image.precision) if plan.format == "png" else array, target)
        return _row(path, 0, "", target, shape)
    except Exception as error:
        return _failure(path, error)


def _partial(target: str) -> str:
    return target + ".partial"


def _reserve(target: str, image: Any, level: int) -> int:
    """An empty result for the rows of tiles of a huge picture. Returns the number of rows."""
    npy: Any = importlib.import_module("numpy.lib.format")

    width, height = image.size(level)
    rows, _ = _chunk(image, level)
    if target.endswith(".zarr"):
        _make_zarr(_beside(target), image, level)
    else:
        npy.open_memmap(_beside(target), "w+", image.dtype, (height, width, image.components)).flush()
    _rename(_beside(target), _partial(target))
    return int(-(-height // rows))


def do_rows(path: str, plan: Plan, row: int) -> Dict[str, Any]:
    """Decodes one row of tiles of a huge file into its result: a task for a worker."""
    try:
        npy: Any = importlib.import_module("numpy.lib.format")

        target = _partial(result_of(path, plan))
        with open_image(path) as image:
            level = _level(image, plan)
            width, height = image.size(level)
            chunk = _chunk(image, level)
            top = row * chunk[0]
            array = image.decode(level=level, region=(0, top, width, min(top + chunk[0], height)))
        if plan.format == "zarr":
            _write_chunks(target, array, row, chunk)
        else:
            whole = npy.open_memmap(target, "r+")
            whole[top : top + array.shape[0]] = array
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
        partial = _partial(self.row["result"])
        if self.row["code"] == 0:
            _rename(partial, self.row["result"])
        else:
            _remove(partial)
            self.row.update(result="", width="", height="", components="")


def run(client: Any, files: Iterable[str], plan: Plan, report: _Report, show: Any = lambda done: None) -> None:
    """Does the files that the report does not hold yet. `show` is called with the number of files done."""
    from distributed import as_completed

    os.makedirs(plan.folder, exist_ok=True)
    show(len(report.done))
    seen = set(report.done)
    waiting: Iterator[str] = iter(files)
    running: Dict[str, str] = {}
    huge: Dict[str, _Huge] = {}
    work = as_completed()

    def submit(path: str, function: Any, *more: Any) -> None:
        future = client.submit(function, path, plan, *more, pure=False)
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
    parser.add_argument("--format", choices=("png", "npy", "zarr"), default="png")
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
