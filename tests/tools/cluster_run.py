#!/usr/bin/env python3
"""Archives a folder through one connection with the three nodes of a cluster, while one of them is
killed every ten seconds and started again, never two at once: half of the time the one that the run
stands on. Afterwards every node must hold the same, and every message of the folder once and whole:
each file by the digest of its bytes, each row by `keldane verify`. Each file must have come to what
it comes to on a private server that nobody disturbs.

Usage: cluster_run.py KELDANE FOLDER [--kills 10] [--every 10] [--files N] [--cut]
                      [--scripts FOLDER]
  FOLDER     "-" stands for mail that the check makes itself
  --files    only so many files of the folder
  --cut      every other time the node is not killed but cut off from its cluster: the other two are
             halted until it has given them up
  --scripts  where the state-transfer scripts of the server lie when they are not on the PATH
Without the packages for a cluster it says so, and ends with status 77."""
import argparse
import hashlib
import os
import random
import shutil
import subprocess
import sys
import tempfile
import threading
import time

import cluster
from mail_files import ledger_lines

SKIPPED = 77
TABLES = ("email", "origemail", "attachments", "tags", "keldane_fingerprints")


class Killer(threading.Thread):
    """Kills one node after the other while there is work, and waits for each to be back."""

    def __init__(self, nodes, every, cuts):
        super().__init__(daemon=True)
        self.nodes, self.every, self.cuts = nodes, every, cuts
        self.kills = 0
        self.stopped = threading.Event()
        self.failure = None
        self.away = threading.Lock()  # held while a node is not there

    def run(self):
        chance = random.Random()
        while not self.stopped.wait(chance.uniform(0.7, 1.3) * self.every):
            serving = [node for node in self.nodes.nodes if node.serves()]
            node = chance.choice(serving if serving and chance.random() < 0.5
                                 else self.nodes.nodes)
            with self.away:
                try:
                    self.kills += 1
                    if self.cuts and self.kills % 2 == 0:
                        self.cut_off(node, chance.uniform(5, 15))
                        continue
                    node.kill()
                    time.sleep(chance.uniform(0, 2))
                    node.start(self.nodes.addresses())
                    node.await_synced()
                except SystemExit as failure:
                    self.failure = str(failure)
                    return


    def cut_off(self, node, seconds):
        others = [other for other in self.nodes.nodes if other is not node]
        for other in others:
            other.halt()
        time.sleep(seconds)
        for other in others:
            other.halt(False)
        for each in self.nodes.nodes:
            each.await_synced()


def make_folder(source, count, folder):
    """A folder with the first files, or with made ones; the whole one when no number is given."""
    if source != "-" and not count:
        return os.path.abspath(source)
    os.makedirs(folder)
    if source == "-":
        for number in range(count or 400):
            with open(os.path.join(folder, f"{number}.eml"), "w", encoding="ascii") as mail:
                mail.write(f"From: ann@example.org\nTo: bob@example.org\nSubject: No {number}\n"
                           f"Date: Mon, 2 Jan 2023 10:{number // 60 % 60:02}:{number % 60:02} +0000"
                           f"\n\nText of message {number}\n{'and more of it ' * 200}\n")
    else:
        for name in sorted(os.listdir(source))[:count]:
            shutil.copy(os.path.join(source, name), folder)
    for name in os.listdir(folder):
        os.utime(os.path.join(folder, name), (1e9, 1e9))  # a new file would be left to rest
    return folder


def files_of(folder):
    return [os.path.join(path, name) for path, _, names in os.walk(folder) for name in names]


def sums(node, database):
    rows = node.ask(f"CHECKSUM TABLE {','.join(TABLES)}", database)
    return rows and [row[1] for row in rows]


def outcomes_of(ledger):
    """What became of each file: outcome and detail, as often as it is named."""
    outcomes = {}
    for outcome, detail, _, path in ledger_lines(ledger):
        outcomes.setdefault(path, []).append((outcome, detail))
    return outcomes


def faults(nodes, database, folder, ledger, undisturbed):
    """What is amiss, in words."""
    found = []
    for node in nodes:
        node.await_synced()
    per_node = [sums(node, database) for node in nodes]
    if any(each != per_node[0] or each is None or "NULL" in each for each in per_node):
        found.append(f"the nodes differ: {per_node}")
    outcomes = outcomes_of(ledger)
    stored = {}
    for digest, number in nodes[0].ask(
            "SELECT LOWER(HEX(source_sha256)),COUNT(*) FROM keldane_fingerprints f JOIN email e ON"
            " e.id=f.id JOIN origemail o ON o.id=f.id GROUP BY source_sha256", database) or []:
        stored[digest] = int(number)
    messages = int(nodes[0].ask("SELECT COUNT(*) FROM email", database)[0][0])
    archived = 0
    for path in files_of(folder):
        with open(path, "rb") as file:
            digest = hashlib.sha256(file.read()).hexdigest()
        words = [outcome for outcome, _ in outcomes.get(path, [])]
        if words != [outcome for outcome, _ in undisturbed.get(path, [])]:
            found.append(f"{path}: {outcomes.get(path)}, undisturbed {undisturbed.get(path)}")
        if words == ["archived"]:
            archived += 1
            if stored.get(digest) != 1:
                found.append(f"{path}: there {stored.get(digest, 0)} times")
    if archived != messages:
        found.append(f"{archived} messages archived, {messages} rows")
    return found, messages


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("keldane")
    parser.add_argument("folder")
    parser.add_argument("--kills", type=int, default=10)
    parser.add_argument("--every", type=float, default=10)
    parser.add_argument("--files", type=int, default=0)
    parser.add_argument("--cut", action="store_true")
    parser.add_argument("--scripts", default="")
    options = parser.parse_args()
    lacking = cluster.missing(options.scripts)
    if lacking:
        print(f"skipped: no cluster can be made here, there is no {lacking}")
        return SKIPPED
    keldane = os.path.abspath(options.keldane)
    with tempfile.TemporaryDirectory(prefix="kc", dir="/tmp") as folder, \
            tempfile.TemporaryDirectory() as home:
        mail = make_folder(options.folder, options.files, os.path.join(home, "mail"))
        with cluster.Cluster(folder, options.scripts) as nodes:
            return rounds(keldane, mail, nodes, home, options)


def rounds(keldane, mail, nodes, home, options):
    environment = dict(os.environ, HOME=home, TMPDIR=home, KELDANE_PASSWORD=cluster.PASSWORD)

    def run(*words):
        return subprocess.run([keldane, *words], env=environment, capture_output=True, text=True,
                              errors="replace")

    quiet = os.path.join(home, "quiet.ledger")
    alone = run("archive", "--no-index", "--ledger", quiet, mail)
    run("server", "stop")
    if alone.returncode != 0:
        sys.exit(f"the run that nobody disturbs failed: {alone.stderr}")
    undisturbed = outcomes_of(quiet)
    added = run("connections", "add", "Cluster", "--host", nodes.hosts, "--user", cluster.USER,
                "--tls", "off")
    if added.returncode != 0 or run("connections", "use", "Cluster").returncode != 0:
        sys.exit(f"the connection could not be added: {added.stderr}")
    killer = Killer(nodes, options.every, options.cut)
    killer.start()
    bad = number = 0
    while killer.kills < options.kills and not killer.failure:
        number += 1
        database = f"cluster{number}"
        ledger = os.path.join(home, f"{database}.ledger")
        start = time.monotonic()
        kills = killer.kills
        done = run("archive", "--database", database, "--ledger", ledger, mail)
        seconds = time.monotonic() - start
        moves = [line for line in done.stderr.splitlines() if line.startswith("The server ")]
        found, messages = [done.stdout + done.stderr], 0
        if done.returncode == 0:
            with killer.away:
                found, messages = faults(nodes.nodes, database, mail, ledger, undisturbed)
        checked = run("verify", "--database", database) if not found else None
        if checked and checked.returncode != 0:
            found.append("verify: " + checked.stdout + checked.stderr)
        print(f"run {number}: status {done.returncode}, {messages} messages in {seconds:.1f} s, "
              f"{killer.kills - kills} kills, {len(moves)} moves, "
              f"{'good' if not found else 'BAD'}", flush=True)
        bad += bool(found)
        for words in found[:10]:
            print("    " + words)
    killer.stopped.set()
    killer.join()
    if killer.failure:
        print(killer.failure)
    print(f"{number} runs, {killer.kills} kills, {bad} bad")
    return 1 if bad or killer.failure else 0


if __name__ == "__main__":
    sys.exit(main())
