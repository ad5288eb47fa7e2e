"""Running programs and reading what they used."""

import os
import re
import shutil
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass, field

LIMIT_S = 600  # nothing that is measured takes so long, callgrind included


@dataclass
class Use:
    cpu_s: float  # user and system
    wall_s: float
    peak_kb: int
    threads: int = 0  # the most at one time, where it was watched
    lines: list = field(default_factory=list)  # what the program printed

    @property
    def values(self) -> dict:
        """What the program printed as lines of name and value."""
        values = {}
        for name, value in (line.split() for line in self.lines if len(line.split()) == 2):
            try:
                values[name] = float(value)
            except ValueError:
                values[name] = value
        return values


def run(command: list, cpus: list, watch_threads: bool = False, realtime: bool = False) -> Use:
    """Runs a program on the given processors. Raises when it fails, or takes too long."""
    priority = ["chrt", "--rr", "10"] if realtime else []
    pinned = [*priority, "taskset", "-c", ",".join(map(str, cpus)), *map(str, command)]
    begin = time.monotonic()
    with tempfile.TemporaryFile("w+") as errors:
        process = subprocess.Popen(pinned, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, text=True)
        limit = threading.Timer(LIMIT_S, process.kill)
        limit.start()
        most = [0]
        watcher = threading.Thread(target=_watch, args=(process.pid, most)) if watch_threads else None
        if watcher:
            watcher.start()
        output = process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        wall_s = time.monotonic() - begin
        process.returncode = os.waitstatus_to_exitcode(status)
        limit.cancel()
        if watcher:
            watcher.join()
        if process.returncode != 0:
            errors.seek(0)
            raise _failure(command, process.returncode, errors.read())
    return Use(usage.ru_utime + usage.ru_stime, wall_s, usage.ru_maxrss, most[0], output.splitlines())


def instructions(command: list) -> int:
    """@return the instructions of the whole process outside the kernel, counted by callgrind."""
    return _counted(["--tool=callgrind", "--callgrind-out-file=/dev/null", "--fair-sched=yes"], command,
                    r"Collected : (\d+)")


def allocations(command: list) -> int:
    """@return how often the process took memory from the heap, counted by memcheck."""
    return _counted(["--tool=memcheck"], command, r"total heap usage: ([\d,]+) allocs")


def each(count, command, few: int, many: int) -> float:
    """@return what each further unit of work takes, by one of the counts above: @p command gives the command for so
    many units. What happens once does not count."""
    return (count(command(many)) - count(command(few))) / (many - few)


def _counted(tool: list, command: list, pattern: str) -> int:
    program = shutil.which(str(command[0]))
    result = subprocess.run(["valgrind", *tool, program, *map(str, command[1:])], check=False, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, timeout=LIMIT_S)
    found = re.search(pattern, result.stderr)
    if result.returncode != 0 or not found:
        raise _failure(["valgrind", *tool, *command], result.returncode, result.stderr)
    return int(found.group(1).replace(",", ""))


def _failure(command: list, code: int, errors: str) -> RuntimeError:
    last = "\n".join(errors.splitlines()[-5:])
    return RuntimeError(f"{' '.join(map(str, command))[:200]}: exit code {code}\n{last}")


def _watch(pid: int, most: list) -> None:
    try:
        while True:
            most[0] = max(most[0], len(os.listdir(f"/proc/{pid}/task")))
            time.sleep(0.02)
    except (FileNotFoundError, ProcessLookupError):
        return
