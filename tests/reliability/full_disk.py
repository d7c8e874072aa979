"""Four processes at work on a small file system that becomes full and has room again. Part of test_surroundings.py.

Usage: full_disk.py FOLDER LOGS. The folder is where the file system is mounted; the logs have to be elsewhere."""

import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "support"))
from load import PATIENCE, differences, make_host, start_workers  # noqa: E402 - found by the line above

PROCESSES = 4


def fill(path: pathlib.Path) -> None:
    with open(path, "wb", buffering=0) as file:
        try:
            while True:
                file.write(bytes(4096))
        except OSError:
            pass


def main(folder: pathlib.Path, logs_folder: pathlib.Path) -> None:
    state_file = folder / "host.db"
    make_host(state_file)
    workers = start_workers(PROCESSES, state_file, PATIENCE, logs_folder)
    for worker in workers:
        worker.hear("working")
    fill(folder / "filler")
    for worker in workers:
        worker.hear("troubled")
    os.unlink(folder / "filler")
    for worker in workers:
        worker.hear("recovered")
    logs = [worker.end() for worker in workers]
    assert [log["surprises"] for log in logs] == [[]] * PROCESSES
    assert {trouble for log in logs for trouble in log["troubles"]} == {"QEL_NO_SPACE_ON_DEVICE"}
    assert differences(state_file, logs) == []
    final = start_workers(1, state_file, PATIENCE, logs_folder)[0]
    final.hear("working")
    assert final.end()["troubles"] == {}


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
