"""A real cluster of two workers, one of which is killed in the middle."""

import csv
import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import zarr
from distributed import Client, LocalCluster
from PIL import Image

import wbx
from wbx import batch


@pytest.fixture(scope="module")
def client():
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster) as client:
        yield client


def rows_of(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


def run(client, files, plan, path, show=print):
    report = batch._Report(str(path))
    batch.run(client, files, plan, report, show)
    report.close()
    return rows_of(path)


def test_two_hundred_files_and_a_killed_worker(client, data, accepted, refused, tmp_path):
    white = {name: 2**bits - 1 for name, (count, bits) in accepted.items() if 8 % bits == 0 and count != 2}
    names = [*white, *refused]
    files = {}
    for number in range(200):
        name = names[number % len(names)]
        path = tmp_path / ("%d_%s" % (number, name))
        shutil.copy(data / name, path)
        files[str(path)] = name
    plan = batch.Plan(str(tmp_path / "out"))
    workers = list(client.run(os.getpid).values())
    killed = []

    def kill(done):
        if done > 50 and not killed:
            os.kill(workers[0], signal.SIGKILL)
            killed.append(done)

    rows = run(client, files, plan, tmp_path / "report.csv", kill)
    assert killed and sorted(row["file"] for row in rows) == sorted(files)
    for row in rows:
        name = files[row["file"]]
        assert int(row["code"]) == refused.get(name, 0), row
        if name not in refused:
            expected = wbx.imread(row["file"])
            shape = [int(row[key]) for key in ("height", "width", "components")]
            with Image.open(row["result"]) as image:
                assert list(expected.shape) == shape
                assert (np.asarray(image).reshape(shape) == expected * (255 // white[name])).all(), name
    assert len(os.listdir(plan.folder)) == sum(row["code"] == "0" for row in rows)
    # Half the report is lost, in the middle of a line: what stands is not done again.
    content = (tmp_path / "report.csv").read_bytes()
    (tmp_path / "report.csv").write_bytes(content[: len(content) // 2])
    shown = []
    rows = run(client, files, plan, tmp_path / "report.csv", shown.append)
    assert 0 < shown[0] < 200 and shown == list(range(shown[0], 201))
    assert sorted(row["file"] for row in rows) == sorted(files)


@pytest.mark.parametrize("huge", [1000, 2**28])
@pytest.mark.parametrize("name, format, level", [("large", "npy", 1), ("large", "zarr", 1), ("tiles_offset.j2k", "zarr", 0)])
def test_files_in_rows_of_tiles_and_in_chunks(client, large_file, data, tmp_path, name, format, level, huge):
    path = large_file if name == "large" else data / name
    plan = batch.Plan(str(tmp_path), format, level=level, huge=huge)
    run(client, [str(path)], plan, tmp_path / "first.csv")
    (row,) = run(client, [str(path)], plan, tmp_path / "again.csv")  # over the first result
    result = np.load(row["result"]) if format == "npy" else zarr.open(row["result"], "r")
    expected = wbx.imread(path, level=level)
    assert row["code"] == "0" and result.dtype == expected.dtype and (result[...] == expected).all()
    assert len(os.listdir(tmp_path)) == 3


def test_the_program(data, tmp_path):
    listed = tmp_path / "list.txt"
    listed.write_text("%s\n%s\n" % (data / "rgb_plain.j2k", data / "none.jp2"))
    command = [Path(sys.executable).with_name("wbx-batch"), "--workers", "1", "--fit", "10", "--to", tmp_path / "out"]
    command += ["--report", tmp_path / "report.csv", "@%s" % listed]
    assert subprocess.run(command, timeout=60).returncode == 1
    done, failed = sorted(rows_of(tmp_path / "report.csv"), key=lambda row: row["code"], reverse=True)
    assert failed["code"] == str(batch.NO_CODE) and "FileNotFoundError" in failed["text"]
    with Image.open(done["result"]) as image:
        assert image.size == (14, 10) == (int(done["width"]), int(done["height"]))
