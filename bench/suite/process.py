"""Running programs and reading what they used."""

import os
import shutil
import subprocess
import threading
import time
from dataclasses import dataclass, field


@dataclass
class Use:
    cpu_s: float  # user and system
    wall_s: float
    peak_kb: int
    threads: int = 0  # the most at one time, where it was watched
    values: dict = field(default_factory=dict)  # what the program printed as lines of name and value


def run(command: list, cpus: list, watch_threads: bool = False, realtime: bool = False) -> Use:
    """Runs a program on the given processors. Raises when it fails."""
    pinned = _pinned(command, cpus, realtime)
    begin = time.monotonic()
    process = subprocess.Popen(pinned, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               text=True)
    most = [0]
    watcher = threading.Thread(target=_watch, args=(process.pid, most)) if watch_threads else None
    if watcher:
        watcher.start()
    output = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    wall = time.monotonic() - begin
    if watcher:
        watcher.join()
    if process.returncode != 0:
        raise RuntimeError(f"{' '.join(map(str, command))[:200]}: exit code {process.returncode}")
    values = {}
    for line in output.splitlines():
        words = line.split()
        if len(words) == 2:
            try:
                values[words[0]] = float(words[1])
            except ValueError:
                values[words[0]] = words[1]
    return Use(usage.ru_utime + usage.ru_stime, wall, usage.ru_maxrss, most[0], values)


def _pinned(command: list, cpus: list, realtime: bool) -> list:
    priority = ["chrt", "--rr", "10"] if realtime else []
    return [*priority, "taskset", "-c", ",".join(map(str, cpus)), *map(str, command)]


def _watch(pid: int, most: list) -> None:
    try:
        while True:
            most[0] = max(most[0], len(os.listdir(f"/proc/{pid}/task")))
            time.sleep(0.02)
    except (FileNotFoundError, ProcessLookupError):
        return


def lines(command: list, cpus: list, realtime: bool = False) -> list:
    """Runs a program. @return the lines that it printed."""
    return subprocess.run(_pinned(command, cpus, realtime), check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True).stdout.splitlines()


def instructions(command: list) -> int:
    """@return the instructions of the whole process, counted by callgrind."""
    program = shutil.which(str(command[0]))
    result = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program] +
                            list(map(str, command[1:])), check=True, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    for line in result.stderr.splitlines():
        if "Collected :" in line:
            return int(line.split(":")[1])
    raise RuntimeError(f"callgrind says nothing about {program}")
