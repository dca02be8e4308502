#!/usr/bin/env python3
"""Runs `keldane archive` over an import folder that is to be emptied, and checks that nothing is lost:
whatever has gone from the folder is in the archive with its source, asked by SQL, and all else lies
there as it was, with its reason told. Rounds: a folder with everything that must stay (mail out of the
range, a zip, a pipe, a folder named like mail, a file without permission, mail that arrives during the
run), duplicates only, Ctrl-C in the middle, a killed server in the middle.

Usage: import_folder_run.py KELDANE [MESSAGES]"""
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

from archive_db import Archive, check, faults, kill_after, server_socket

LONG_AGO = time.time() - 3600
DATABASE = "myemaildb"


def mail(key, year=2023):
    return (f"From: ann@example.org\nTo: bob@example.org\nSubject: key {key}\n"
            f"Message-ID: <{key}@example.org>\nDate: Mon, 2 Jan {year} 03:04:{key % 60:02} +0000\n"
            f"MIME-Version: 1.0\nContent-Type: text/plain\n\nThe key is {key}.\n\n" +
            f"{key} and more\n" * 50)


def write(path, text, rested=True):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as out:
        out.write(text)
    if rested:
        os.utime(path, (LONG_AGO, LONG_AGO))


class Rig:
    def __init__(self, keldane, home):
        self.keldane, self.home = keldane, home
        self.folder = os.path.join(home, "import")
        self.environment = dict(os.environ, HOME=home, TMPDIR=home, TZ="UTC")
        os.makedirs(self.folder)
        for words in (["server", "start"],
                      ["settings", "set", "importFolderPath", self.folder],
                      ["settings", "set", "importFolderState", "1"],
                      ["settings", "set", "deleteFolderState", "1"],
                      ["settings", "set", "postbox", "postbox"]):
            self.run(words)
        self.database = Archive(server_socket(keldane, self.environment), DATABASE)

    def run(self, words):
        out = subprocess.run([self.keldane] + words, env=self.environment, capture_output=True,
                             text=True, errors="replace")
        if out.returncode:
            sys.exit(f"{words}: {out.returncode}\n{out.stdout}{out.stderr}")
        return out.stdout

    def archive(self, words=(), meanwhile=None):
        """One run; `meanwhile` is called with its process. Answers status, summary, errors."""
        process = subprocess.Popen(self.command(words), env=self.environment, text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, errors="replace")
        thread = meanwhile and threading.Thread(target=meanwhile, args=(process,))
        if thread:
            thread.start()
        out, err = process.communicate()
        if thread:
            thread.join()
        try:
            summary = json.loads(out)
        except ValueError:
            sys.exit(f"no summary, status {process.returncode}\n{out}{err}")
        print(f"  status {process.returncode}: {summary['archived']} archived, "
              f"{summary['duplicates']} duplicates, left {summary['leftInFolder']['count']} "
              f"{summary['leftInFolder']['reason']}")
        return process.returncode, summary, err

    def command(self, words):
        return [self.keldane, "archive", "--json"] + list(words)

    def messages(self):
        """Keys of the messages that are stored with their source."""
        rows = self.database.rows("SELECT subj_fld FROM email JOIN origemail USING (id) "
                                  "WHERE LENGTH(orig_fld)>100")
        return {int(row[0].split()[1]) for row in rows}

    def lying(self):
        """Keys of the messages that lie in the folder."""
        keys = set()
        for folder, _, names in os.walk(self.folder):
            for name in names:
                path = os.path.join(folder, name)
                if os.path.isfile(path) and os.access(path, os.R_OK):
                    with open(path, errors="replace") as file:
                        keys.update(map(int, re.findall(r"^The key is (\d+)\.", file.read(), re.M)))
        return keys

    def nothing_lost(self, written, what):
        lost = written - self.messages() - self.lying()
        check(not lost, f"{what}: {len(lost)} messages are neither in the archive nor in the folder")
        return written - self.lying()

    def clear(self):
        for name in os.listdir(self.folder):
            path = os.path.join(self.folder, name)
            shutil.rmtree(path) if os.path.isdir(path) else os.remove(path)


def wait_for_messages(rig, count):
    for _ in range(2000):
        try:
            if int(rig.database.rows("SELECT COUNT(*) FROM email")[0][0]) >= count:
                return
        except subprocess.CalledProcessError:
            pass
        time.sleep(0.01)


def everything_that_stays(rig, count):
    print("everything that must stay")
    folder = rig.folder
    keys = set(range(count))
    for key in keys:
        write(f"{folder}/good/{key // 50}/{key}.eml", mail(key))
    box = range(count, count + 20)
    write(f"{folder}/box", "".join(f"From x\n{mail(key)}\n" for key in box))
    old = range(count + 20, count + 29)
    for key in old:
        write(f"{folder}/old{key}.eml", mail(key, 1999))
    late = count + 30
    stay = {"notes.zip", "pipe.eml", "folder.eml", "late.eml"} | {f"old{key}.eml" for key in old}
    write(f"{folder}/notes.zip", "PK\3\4")
    os.mkfifo(f"{folder}/pipe.eml")
    write(f"{folder}/folder.eml/inner.zip", "PK\3\4")
    if os.geteuid() != 0:
        write(f"{folder}/locked.eml", mail(count + 31))
        os.chmod(f"{folder}/locked.eml", 0)
        stay.add("locked.eml")
    else:
        print("  (as root: no file is without permission)")
    written = keys | set(box) | set(old) | {late}

    def meanwhile(_):
        wait_for_messages(rig, 5)
        write(f"{folder}/late.eml", mail(late))

    status, summary, err = rig.archive(["--from", "2020-01-01"], meanwhile)
    check(status == 1, "an unreadable pipe gives status 1")
    check("pipe.eml" in err, "the pipe is named on standard error")
    left = {entry["name"]: entry["reason"] for entry in summary["leftInFolder"]["entries"]}
    check(set(os.listdir(folder)) == stay, f"in the folder: {sorted(os.listdir(folder))}")
    check(set(left) == stay, f"told: {left}")
    gone = rig.nothing_lost(written, "first run")
    check(gone == keys | set(box), f"{len(gone)} messages removed")
    print("  left: " + "; ".join(f"{name}: {reason}" for name, reason in sorted(left.items())
                                 if not name.startswith("old2") or name.endswith("0.eml")))


def duplicates(rig, count):
    print("duplicates only")
    rig.clear()
    for key in range(count):
        write(f"{rig.folder}/{key}.eml", mail(key))
    status, summary, _ = rig.archive(["--from", "2020-01-01"])
    check(status == 0 and summary["archived"] == 0 and summary["duplicates"] == count, str(summary))
    check(not os.listdir(rig.folder), "the folder is empty")
    rig.nothing_lost(set(range(count)), "duplicates")
    # A row whose source is gone vouches for nothing.
    rig.database.rows("DELETE FROM origemail WHERE id=(SELECT id FROM email WHERE "
                      "subj_fld='key 3')")
    write(f"{rig.folder}/3.eml", mail(3))
    rig.archive(["--from", "2020-01-01"])
    check(os.listdir(rig.folder) == ["3.eml"], "mail without its source in the archive stays")


def cut_off(rig, first, count, how):
    print(how)
    rig.clear()
    keys = set(range(first, first + count))
    for key in keys:
        write(f"{rig.folder}/{key}.eml", mail(key))
    before = len(rig.messages())

    def meanwhile(process):
        wait_for_messages(rig, before + count // 4)
        if how == "Ctrl-C":
            process.send_signal(signal.SIGINT)
        else:
            kill_after(0, process, "server", rig.keldane, rig.environment)

    status, summary, err = rig.archive(["--from", "2020-01-01"], meanwhile)
    check(rig.lying() == keys, "nothing is removed")
    if how == "Ctrl-C":
        check(status == 130 and summary["interrupted"], f"{how}: status {status}")
        check("Stopping after the message at hand" in err, "the stop is told")
    else:
        check(status == 1 and "server went away" in err, f"{how}: status {status}, {err}")
        check(summary["ledger"]["failed"] <= 1, f"{summary['ledger']['failed']} failures")
    sums = summary["ledger"]
    check(sums["met"] == sums["archived"] + sums["duplicates"] + sums["failed"] + sums["dropped"] +
          sums["excluded"], "the sums agree")
    rig.run(["server", "start"])
    # Without a day: the run that was cut off decides where to begin.
    status, summary, err = rig.archive()
    check("Going on with the unfinished run of" in err, f"going on is told: {err}")
    check(status == 0 and not os.listdir(rig.folder), f"the next run empties the folder: {err}")
    gone = rig.nothing_lost(keys, how)
    check(gone == keys, "all of them are stored")


def main():
    keldane = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 400
    with tempfile.TemporaryDirectory() as home:
        rig = Rig(keldane, home)
        try:
            everything_that_stays(rig, count)
            duplicates(rig, count)
            cut_off(rig, 10 * count, 3 * count, "Ctrl-C")
            cut_off(rig, 20 * count, 3 * count, "killed server")
        finally:
            subprocess.run([keldane, "server", "stop"], env=rig.environment, capture_output=True)
    print(f"{len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
