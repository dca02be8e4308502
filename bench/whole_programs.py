"""Running whole programs under a stop watch, and the private server that an archive program uses."""
import json
import os
import shutil
import subprocess
import tempfile
import time
from dataclasses import dataclass

TICKS = os.sysconf("SC_CLK_TCK")


@dataclass
class Run:
    seconds: float
    cpu: float
    peak_mb: float
    out: str


def run(arguments, environment):
    """One program from its start to its end; `peak_mb` is its own, without what it starts."""
    started = time.monotonic()
    with tempfile.TemporaryFile() as out:
        process = subprocess.Popen(arguments, env=environment, stdout=out,
                                   stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        out.seek(0)
        text = out.read().decode("utf-8", "replace")
    seconds = time.monotonic() - started
    if process.returncode:
        raise SystemExit(f"{' '.join(arguments)}: ended with {process.returncode}\n{text}")
    return Run(seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024, text)


def megabytes(folder, without=()):
    """What the files below a folder take on the disk."""
    blocks = 0
    for at, _, names in os.walk(folder):
        for name in names:
            if name not in without:
                blocks += os.lstat(os.path.join(at, name)).st_blocks
    return blocks * 512 / 1e6


class Home:
    """A user of a keldane of his own, with his private server, for as long as it is used; a folder
    that is named stays."""

    def __init__(self, keldane, folder=None):
        self.keldane = keldane
        self.stays = folder is not None
        if self.stays:
            os.makedirs(folder, exist_ok=True)
        self.path = folder or tempfile.mkdtemp(prefix="keldane-bench-")
        self.environment = dict(os.environ, HOME=self.path, TMPDIR=self.path, TZ="UTC")
        self.support = os.path.join(self.path, "Library", "Application Support", "Keldane")

    def __enter__(self):
        self.call("server", "start")
        self.server = json.loads(self.call("server", "status", "--json").out)["processId"]
        return self

    def __exit__(self, *_):
        self.call("server", "stop")
        if not self.stays:
            shutil.rmtree(self.path, ignore_errors=True)

    def call(self, *arguments):
        return run([self.keldane, "--quiet", *arguments], self.environment)

    def server_cpu(self):
        with open(f"/proc/{self.server}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / TICKS

    def server_peak_mb(self):
        with open(f"/proc/{self.server}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) / 1024 for line in file if line.startswith("VmHWM"))

    def size_mb(self):
        """Of all archives with their word indexes, without the server's log."""
        return megabytes(self.support, without=("ib_logfile0",))
