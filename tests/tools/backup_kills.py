#!/usr/bin/env python3
"""Kills `keldane backup` and `keldane restore` in the middle, again and again: the program in two of
three rounds, the server in the third. After each kill the backup must be absent or whole, and the
database absent, empty or whole; a restore behind it must come through, and what the killed one has
left is gone then and was never taken for an archive.

Usage: backup_kills.py KELDANE FOLDER [ROUNDS-OF-EACH] [SEED]"""
import glob
import os
import random
import subprocess
import sys
import tempfile
import time

from archive_db import Archive, kill_after, server_socket

STAGING = "keldane_unfinished_restore"


class Rig:
    def __init__(self, keldane, home):
        self.keldane = keldane
        self.home = home
        self.environment = dict(os.environ, HOME=home, TMPDIR=home)
        self.start_server()
        self.socket = server_socket(keldane, self.environment)

    def start_server(self):
        subprocess.run([self.keldane, "server", "start"], env=self.environment, check=True,
                       capture_output=True)

    def run(self, *arguments, kill=None):
        process = subprocess.Popen([self.keldane, *arguments], env=self.environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, text=True, errors="replace")
        if kill:
            kill(process)
        return process.communicate()[0], process.returncode

    def must(self, *arguments):
        out, status = self.run(*arguments)
        if status != 0:
            sys.exit(f"keldane {' '.join(arguments)}: {status}\n{out}")
        return out

    def killer(self, what, wait):
        return lambda process: kill_after(wait, process, what, self.keldane, self.environment)

    def tables(self, database):
        """Names of its tables; None when there is no such database."""
        server = Archive(self.socket, "information_schema")
        if not server.rows(f"SELECT 1 FROM schemata WHERE schema_name='{database}'"):
            return None
        return [name for [name] in server.rows(
            f"SELECT table_name FROM tables WHERE table_schema='{database}'"
            " AND table_type='BASE TABLE'")]


def kill_all(rig, folder, rounds, chance):
    """Answers how many rounds went wrong."""
    home, bad = rig.home, 0
    whole_file = os.path.join(home, "whole.sql.zst")
    rig.must("archive", "--database", "whole", folder)
    lengths = {}
    for name, arguments in (("backup", ["backup", whole_file, "--database", "whole"]),
                            ("restore", ["restore", whole_file, "--into", "first", "--yes"])):
        start = time.monotonic()
        rig.must(*arguments)
        lengths[name] = time.monotonic() - start
    wanted = Archive(rig.socket, "whole").digests()
    if Archive(rig.socket, "first").digests() != wanted:
        sys.exit("a restore without a kill gives other rows")
    print(f"{len(wanted[0])} messages, backup {lengths['backup']:.1f} s,"
          f" restore {lengths['restore']:.1f} s")

    for number in range(rounds):
        what = "server" if number % 3 == 2 else "program"
        wait = chance.uniform(0.05, 1.0) * lengths["backup"]
        path = os.path.join(home, f"b{number}.sql.zst")
        rig.run("backup", path, "--database", "whole", kill=rig.killer(what, wait))
        rig.start_server()
        state, good = "nothing", True
        if os.path.exists(path):
            out, status = rig.run("restore", path, "--dry-run")
            state, good = "whole", status == 0
        bad += not good
        print(f"{number + 1:3} backup  {what:7} killed after {wait:5.2f} s: "
              f"{state}: {'good' if good else 'BAD'}", flush=True)
        for rest in glob.glob(path + "*"):
            os.remove(rest)

    for number in range(rounds):
        what = "server" if number % 3 == 2 else "program"
        wait = chance.uniform(0.05, 1.0) * lengths["restore"]
        database = f"r{number}"
        rig.run("restore", whole_file, "--into", database, "--yes",
                kill=rig.killer(what, wait))
        rig.start_server()
        tables = rig.tables(database)
        left = rig.tables(STAGING) is not None
        listed = rig.must("connections", "list")
        state = "whole" if tables else "nothing"
        good = STAGING not in listed
        good = good and (not tables or Archive(rig.socket, database).digests() == wanted)
        again = database if not tables else "again"
        out, status = rig.run("restore", whole_file, "--into", again, "--yes")
        good = good and status == 0 and Archive(rig.socket, again).digests() == wanted
        good = good and rig.tables(STAGING) is None
        good = good and not glob.glob(os.path.join(home, "keldane_login*"))
        bad += not good
        if status != 0:
            print(out)
        print(f"{number + 1:3} restore {what:7} killed after {wait:5.2f} s: {state}"
              f"{', staging left' if left else ''}, then whole: {'good' if good else 'BAD'}",
              flush=True)
        for made in {database, again}:
            Archive(rig.socket, "information_schema").rows(f"DROP DATABASE IF EXISTS {made}")
    return bad


def main():
    keldane, folder = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 10
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(10 ** 6)
    chance = random.Random(seed)
    print(f"seed {seed}")
    with tempfile.TemporaryDirectory() as home:
        rig = Rig(keldane, home)
        try:
            bad = kill_all(rig, folder, rounds, chance)
        finally:
            subprocess.run([keldane, "server", "stop"], env=rig.environment, capture_output=True)
    print(f"{2 * rounds} rounds, {bad} bad")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
