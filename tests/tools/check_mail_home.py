#!/usr/bin/env python3
"""Makes a home with mail of each kind (make_mail_home.py) and goes the way of its user through it:
`sources find` lists each place with its true number of messages; all are kept as sources; a run has
every message under the mailbox that its user knows, and tells those marked as deleted; the run of the
schedule brings what has come since; --with-deleted brings the rest.

Usage: check_mail_home.py KELDANE"""
import json
import os
import subprocess
import sys
import tempfile

from archive_db import Archive, check, faults, server_socket
from make_mail_home import Home, make

DATABASE = "myemaildb"
# Counted by nobody before it is read, or not to be read at all.
UNCOUNTED = {("Takeout", "takeout-20240101T000000Z-001"), ("Outlook file", "backup")}


class Rig:
    def __init__(self, keldane, home):
        self.keldane = keldane
        self.environment = dict(os.environ, HOME=home, TMPDIR=home, TZ="UTC",
                                MAIL=os.path.join(home, "spool/user"))

    def run(self, *words, statuses=(0,)):
        out = subprocess.run([self.keldane, *words], env=self.environment, capture_output=True,
                             text=True)
        check(out.returncode in statuses, f"{words}: status {out.returncode}\n{out.stdout}{out.stderr}")
        return out.stdout

    def lines(self, *words):
        return [json.loads(line) for line in self.run(*words).splitlines()]

    def mailboxes(self):
        database = Archive(server_socket(self.keldane, self.environment), DATABASE)
        return {name: int(count) for name, count in
                database.rows("SELECT mailbox, COUNT(*) FROM email GROUP BY mailbox")}


def check_found(rig, places):
    found = rig.lines("sources", "find", "--json")
    counted = [(f["kind"], f["name"], f["path"], f["messages"]) for f in found
               if f["messages"] is not None]
    check(sorted(counted) == sorted((p["kind"], p["name"], p["path"], p["messages"])
                                    for p in places), f"found {counted}")
    check({(f["kind"], f["name"]) for f in found if f["messages"] is None} == UNCOUNTED,
          f"uncounted: {found}")
    print(f"{len(found)} places found, {sum(p['messages'] for p in places)} messages")
    return found


def expected(places, deleted):
    whole = {}
    for place in places:
        for mailbox, (live, marked) in place["mailboxes"].items():
            whole[mailbox] = live + (marked if deleted else 0)
    return {mailbox: count for mailbox, count in whole.items() if count}


def check_stored(rig, wanted, what):
    stored = rig.mailboxes()
    for mailbox in sorted(set(wanted) | set(stored)):
        check(wanted.get(mailbox) == stored.get(mailbox),
              f"{what}: {mailbox}: {stored.get(mailbox)} stored, not {wanted.get(mailbox)}")
    print(f"{what}: {sum(stored.values())} messages in {len(stored)} mailboxes")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as home:
        rig = Rig(os.path.abspath(sys.argv[1]), home)
        places = make(home)
        for place in check_found(rig, places):
            if not place["advice"]:
                rig.run("sources", "add", "--found", str(place["number"]))
        try:
            marked = sum(one[1] for p in places for one in p["mailboxes"].values())
            summary = json.loads(rig.run("archive", "--json"))
            check(summary["ledger"]["markedDeleted"] == marked, f"not {marked} deleted: {summary}")
            check_stored(rig, expected(places, False), "first run")
            text = Home(home)
            text.count = 5000
            text.write("Maildir/cur/new.host:2,", text.message("INBOX"))
            places.append({"mailboxes": {"Maildir/INBOX": [5, 2]}})
            # Without a service manager, as in a container, the schedule is kept and that is told.
            rig.run("schedule", "set", "--time", "07:30", statuses=(0, 1))
            rig.run("1")
            check_stored(rig, expected(places, False), "run of the schedule")
            rig.run("archive", "--with-deleted")
            check_stored(rig, expected(places, True), "with deleted")
        finally:
            rig.run("schedule", "remove", statuses=(0, 1))
            rig.run("server", "stop")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
