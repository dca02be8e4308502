#!/usr/bin/env python3
"""Writes everything that leaves an archive onto disks that are too small, and under limits of a file's size:
each time it must be told with the place and the reason, with status 1, with nothing under the final name and
nothing half written beside it. Of the formats with a file for each message, those that are there are whole.

Usage: full_disk.py KELDANE FOLDER     (as root: the disks are file systems in memory)"""
import filecmp
import os
import resource
import signal
import subprocess
import sys
import tempfile

FILES = {
    **{f"export {kind}": ["export", kind] for kind in
       ("tab", "comma", "mbox", "addresses", "sql", "mboxrd", "json", "csv")},
    **{f"save {kind}": ["save", kind] for kind in ("list", "messages", "source")},
    "print": ["print", "--since", "1970-01-01", "--to"],
    "backup": ["backup"],
}
FOLDERS = {"export eml": ["export", "eml"], "export maildir": ["export", "maildir"]}
REASONS = ("No space left on device", "File too large")
PAGE = 4096


class Rig:
    def __init__(self, keldane, home):
        self.keldane, self.home, self.bad = keldane, home, 0
        self.environment = dict(os.environ, HOME=home, TMPDIR=home, LC_ALL="C.UTF-8")

    def run(self, *words, limit=None, output=subprocess.PIPE):
        def before():
            # As a program of Python, which ignores it, would hand it on.
            signal.signal(signal.SIGXFSZ, signal.SIG_DFL)
            if limit is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
        return subprocess.run([self.keldane, "--quiet", *words], env=self.environment, text=True,
                              errors="replace", stdin=subprocess.DEVNULL, stdout=output,
                              stderr=subprocess.PIPE, preexec_fn=before)

    def judge(self, what, done, left, place):
        faults = []
        if done.returncode != 1:
            faults.append(f"status {done.returncode}")
        if not any(reason in done.stderr for reason in REASONS) or place not in done.stderr:
            faults.append(f"says {done.stderr.strip()!r:.200}")
        if left:
            faults.append(f"leaves {left}")
        self.bad += bool(faults)
        print(f"  {what:40} {'good' if not faults else 'BAD: ' + '; '.join(faults)}", flush=True)


def files_below(folder):
    return sorted(os.path.relpath(os.path.join(top, name), folder)
                  for top, _, names in os.walk(folder) for name in names)


class SmallDisk:
    """A file system of so many bytes."""
    def __init__(self, folder, size):
        self.folder, self.size = folder, max(PAGE, size)

    def __enter__(self):
        os.makedirs(self.folder, exist_ok=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={self.size}", "tmpfs", self.folder], check=True)
        return self.folder

    def __exit__(self, *_):
        subprocess.run(["umount", self.folder], check=True)


def try_files(rig):
    for name, words in FILES.items():
        for ending in ("", ".zst") if name == "backup" else ("",):
            whole = os.path.join(rig.home, "whole" + ending)
            done = rig.run(*words, whole)
            if not os.path.exists(whole):
                sys.exit(f"{name}: {done.stderr}")
            # Packed, the next one may be some bytes shorter: it holds another time.
            size = os.path.getsize(whole) - (64 if ending else 0)
            os.remove(whole)
            # No room at all, room for a part, and for all but the end.
            for room in sorted({PAGE, size // 2 // PAGE * PAGE, (size - 1) // PAGE * PAGE} - {0}):
                if room >= size:
                    continue
                with SmallDisk(rig.disk, room) as disk:
                    path = os.path.join(disk, "out" + ending)
                    done = rig.run(*words, path)
                    rig.judge(f"{name}{ending}, {room} of {size}", done, files_below(disk), path)
            folder = tempfile.mkdtemp(dir=rig.home)
            path = os.path.join(folder, "out" + ending)
            # What lay there before stays as it is.
            with open(path, "w", encoding="ascii") as file:
                file.write("before")
            done = rig.run(*words, path, limit=size - 1)
            with open(path, encoding="latin-1") as file:
                left = [name for name in files_below(folder) if name != "out" + ending]
                left += [] if file.read() == "before" else ["another file"]
            rig.judge(f"{name}{ending}, limit of {size - 1}", done, left, path)
        with open("/dev/full", "w", encoding="ascii") as full:
            rig.judge(f"{name}, to a full output", rig.run(*words, "-", output=full), [], "standard output")


def try_folders(rig):
    for name, words in FOLDERS.items():
        whole = os.path.join(rig.home, "whole-" + words[-1])
        rig.run(*words, whole)
        names = files_below(whole)
        with SmallDisk(rig.disk, sum(os.path.getsize(os.path.join(whole, each)) for each in names) // 2) as disk:
            done = rig.run(*words, os.path.join(disk, "out"))
            got = files_below(os.path.join(disk, "out"))
            wrong = [each for each in got if each not in names or not filecmp.cmp(
                os.path.join(disk, "out", each), os.path.join(whole, each), shallow=False)]
            rig.judge(f"{name}, {len(got)} of {len(names)} files", done, wrong, disk)


def main():
    keldane, folder = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    with tempfile.TemporaryDirectory(prefix="kd-full-") as home:
        rig = Rig(keldane, home)
        rig.disk = os.path.join(home, "disk")
        rig.run("server", "start")
        try:
            rig.run("archive", folder)
            try_files(rig)
            try_folders(rig)
        finally:
            rig.run("server", "stop")
    print(f"{rig.bad} faults")
    sys.exit(1 if rig.bad else 0)


if __name__ == "__main__":
    main()
