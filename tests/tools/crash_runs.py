#!/usr/bin/env python3
"""Kills an archive run in the middle, again and again: the program in one half of the rounds, the
server in the other. After the next run every message must be in the archive once and whole, which
means: the same rows as in an archive that was never interrupted. To the mail of FOLDER it adds its
own: different messages that share date, addresses and beginning, each of them several times.

Usage: crash_runs.py KELDANE FOLDER [ROUNDS-OF-EACH] [SEED]"""
import base64
import hashlib
import os
import random
import subprocess
import sys
import tempfile
import time

from archive_db import Archive, kill_after, server_socket


BEGINNINGS = ["", "\"Quoted\", they said. ", "The same beginning. " * 30, "\\ and on it goes "]
KEYS = 12


def lookalike(beginning, key):
    """A message that the duplicate test takes for the others of its beginning: what tells them
    apart is the end of the text, or the subject, or an attachment."""
    text = f"First paragraph.\n\n{beginning}" + (f"The key is {key}" if key % 3 == 0 else "")
    subject = f"Report {key if key % 3 == 1 else ''}"
    data = base64.b64encode(f"data of {key if key % 3 == 2 else 'all'}".encode()).decode()
    number = BEGINNINGS.index(beginning)
    return (f"From: feed@example.org\nTo: reader{number}@example.org\nSubject: {subject}\n"
            "Date: Tue, 5 Mar 2019 10:20:30 +0000\nMIME-Version: 1.0\n"
            "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\n"
            f"{text}\n--b\nContent-Type: application/x-data; name=d.bin\n"
            f"Content-Transfer-Encoding: base64\n\n{data}\n--b--\n")


def make_lookalikes(folder):
    """Writes each of them as a file and twice more into an mbox; answers their sources. Those of
    which the key is not seen anywhere are one message."""
    os.makedirs(folder)
    sources = sorted({lookalike(beginning, key) for beginning in BEGINNINGS for key in range(KEYS)})
    for number, source in enumerate(sources):
        with open(os.path.join(folder, f"{number}.eml"), "w", newline="") as file:
            file.write(source)
    with open(os.path.join(folder, "again.mbox"), "w", newline="") as file:
        for source in sources + sources[::-1]:
            file.write("From feed@example.org Tue Mar  5 10:20:30 2019\n" + source + "\n")
    for name in os.listdir(folder):
        os.utime(os.path.join(folder, name), (1e9, 1e9))  # a new file would be left to rest
    return sources


def missing_lookalikes(archive_, sources):
    """Those that are not there exactly once, with source, attachment and fingerprint."""
    found = {}
    for digest, parts, prints in archive_.rows(
            "SELECT MD5(TRIM(TRAILING '\n' FROM orig_fld)), (SELECT COUNT(*) FROM attachments a"
            " WHERE a.id = o.id), (SELECT COUNT(content_sha256) FROM keldane_fingerprints f"
            " WHERE f.id = o.id) FROM origemail o JOIN email e ON e.id = o.id"
            " WHERE from_fld LIKE 'feed@example.org%'"):
        found.setdefault(digest, []).append((parts, prints))
    wanted = {hashlib.md5(source.rstrip("\n").encode()).hexdigest() for source in sources}
    return [digest for digest in wanted | set(found) if found.get(digest) != [("1", "1")]
            or digest not in wanted]


def archive(keldane, folders, database, environment, kill=None):
    """One run; `kill` is called with the process while it runs. Answers status and output."""
    process = subprocess.Popen([keldane, "archive", "--database", database] + folders,
                               env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               text=True, errors="replace")
    if kill:
        kill(process)
    out, err = process.communicate()
    return process.returncode, out, err


def messages(socket, database):
    """Number of messages; 0 when the kill came before there was a table."""
    try:
        return int(Archive(socket, database).rows("SELECT COUNT(id) FROM email")[0][0])
    except subprocess.CalledProcessError:
        return 0


def main():
    keldane, folder = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(10 ** 6)
    chance = random.Random(seed)
    print(f"seed {seed}")
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, HOME=home, TMPDIR=home)
        subprocess.run([keldane, "server", "start"], env=environment, check=True,
                       capture_output=True)
        socket = server_socket(keldane, environment)
        folders = [os.path.join(home, "lookalikes"), folder]
        lookalikes = make_lookalikes(folders[0])
        start = time.monotonic()
        status, out, err = archive(keldane, folders, "whole", environment)
        length = time.monotonic() - start
        if status != 0:
            sys.exit(f"the run without a kill failed: {status}\n{out}{err}")
        wanted, strays = Archive(socket, "whole").digests()
        print(f"{len(wanted)} messages in {length:.1f} s, {len(strays)} stray parts")
        amiss = missing_lookalikes(Archive(socket, "whole"), lookalikes)
        if amiss:
            sys.exit(f"of {len(lookalikes)} look-alikes {len(amiss)} are not there exactly once")
        status, out, err = archive(keldane, ["--all"] + folders, "whole", environment)
        if messages(socket, "whole") != len(wanted):
            sys.exit(f"a second run has stored something\n{out}{err}")
        bad = cut = 0
        for number in range(2 * rounds):
            what = "program" if number % 2 == 0 else "server"
            database = f"crash{number}"
            wait = chance.uniform(0.02, 0.95) * length
            archive(keldane, folders, database, environment,
                    lambda process: kill_after(wait, process, what, keldane, environment))
            subprocess.run([keldane, "server", "start"], env=environment, capture_output=True)
            half = messages(socket, database)
            cut += 0 < half < len(wanted)
            status, out, err = archive(keldane, folders, database, environment)
            found, strays = Archive(socket, database).digests()
            amiss = missing_lookalikes(Archive(socket, database), lookalikes)
            good = status == 0 and found == wanted and not strays and not amiss
            bad += not good
            print(f"{number + 1:3} {what:7} killed after {wait:5.2f} s: {half:5} messages, "
                  f"after the next run {len(found):5}: {'good' if good else 'BAD'}", flush=True)
            if not good:
                print(f"    status {status}, missing {len(set(wanted) - set(found))}, "
                      f"other {len(set(found) - set(wanted))}, stray parts {len(strays)}, "
                      f"look-alikes amiss {len(amiss)}\n{err}")
            subprocess.run([keldane, "server", "start"], env=environment, capture_output=True)
            Archive(socket, "mysql").rows(f"DROP DATABASE {database}")
        subprocess.run([keldane, "server", "stop"], env=environment, capture_output=True)
        print(f"{2 * rounds} rounds, {cut} of them cut off in the middle, {bad} bad")
        return 1 if bad or not cut else 0


if __name__ == "__main__":
    sys.exit(main())
