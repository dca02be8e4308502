#!/usr/bin/env python3
"""Kills an archive run in the middle, again and again: the program in one half of the rounds, the
server in the other. After the next run every message must be in the archive once and whole, which
means: the same rows as in an archive that was never interrupted.

Usage: crash_runs.py KELDANE FOLDER [ROUNDS-OF-EACH] [SEED]"""
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

from archive_db import Archive, server_socket


def archive(keldane, folder, database, environment, kill=None):
    """One run; `kill` is called with the process while it runs. Answers status and output."""
    process = subprocess.Popen([keldane, "archive", "--database", database, folder],
                               env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               text=True, errors="replace")
    if kill:
        kill(process)
    out, err = process.communicate()
    return process.returncode, out, err


def server_pid(keldane, environment):
    out = subprocess.run([keldane, "server", "status", "--json"], env=environment,
                         capture_output=True, check=True).stdout
    return json.loads(out)["processId"]


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
        start = time.monotonic()
        status, out, err = archive(keldane, folder, "whole", environment)
        length = time.monotonic() - start
        if status != 0:
            sys.exit(f"the run without a kill failed: {status}\n{out}{err}")
        wanted, strays = Archive(socket, "whole").digests()
        print(f"{len(wanted)} messages in {length:.1f} s, {len(strays)} stray parts")
        bad = cut = 0
        for number in range(2 * rounds):
            what = "program" if number % 2 == 0 else "server"
            database = f"crash{number}"
            wait = chance.uniform(0.02, 0.95) * length

            def kill(process):
                time.sleep(wait)
                if process.poll() is not None:
                    return
                target = process.pid if what == "program" else server_pid(keldane, environment)
                if target:
                    os.kill(target, signal.SIGKILL)

            archive(keldane, folder, database, environment, kill)
            subprocess.run([keldane, "server", "start"], env=environment, capture_output=True)
            half = messages(socket, database)
            cut += 0 < half < len(wanted)
            status, out, err = archive(keldane, folder, database, environment)
            found, strays = Archive(socket, database).digests()
            good = status == 0 and found == wanted and not strays
            bad += not good
            print(f"{number + 1:3} {what:7} killed after {wait:5.2f} s: {half:5} messages, "
                  f"after the next run {len(found):5}: {'good' if good else 'BAD'}", flush=True)
            if not good:
                print(f"    status {status}, missing {len(set(wanted) - set(found))}, "
                      f"other {len(set(found) - set(wanted))}, stray parts {len(strays)}\n{err}")
            subprocess.run([keldane, "server", "start"], env=environment, capture_output=True)
            Archive(socket, "mysql").rows(f"DROP DATABASE {database}")
        subprocess.run([keldane, "server", "stop"], env=environment, capture_output=True)
        print(f"{2 * rounds} rounds, {cut} of them cut off in the middle, {bad} bad")
        return 1 if bad or not cut else 0


if __name__ == "__main__":
    sys.exit(main())
