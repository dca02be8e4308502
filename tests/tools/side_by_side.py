#!/usr/bin/env python3
"""Lets eight programs work on one archive at once and looks whether anything that one of them
reported as saved (status 0) is missing afterwards: a setting, a rule, a search or a tag. The table
`settings` must end with one row.

Usage: side_by_side.py KELDANE [--commands 200] [--cluster [--scripts FOLDER]]
With --cluster, the archive lies on three nodes, and each program works on another one than the last."""
import argparse
import contextlib
import json
import os
import random
import subprocess
import tempfile
import threading
from collections import Counter

import cluster
from archive_db import Archive, server_socket

MESSAGES = 40
DATABASE = "side"


class Home:
    """A home folder with a private server of its own."""

    def __init__(self, keldane, folder):
        self.keldane = keldane
        self.folder = folder
        self.environment = dict(os.environ, HOME=folder, TMPDIR=folder, TZ="UTC")

    def run(self, *words):
        done = subprocess.run([self.keldane, *words], env=self.environment, capture_output=True,
                              text=True, errors="replace")
        return done.returncode, done.stdout, done.stderr

    def must(self, *words):
        status, out, err = self.run(*words)
        if status != 0:
            raise SystemExit(f"{' '.join(words)}: status {status}\n{out}{err}")
        return out


def write_mail(folder, first, count):
    os.makedirs(folder, exist_ok=True)
    for number in range(first, first + count):
        path = os.path.join(folder, f"{number}.eml")
        with open(path, "w", encoding="ascii") as mail:
            mail.write(f"From: ann{number}@example.org\nTo: bob@example.org\n"
                       f"Subject: Message {number}\n"
                       f"Date: Mon, 2 Jan 2023 {number // 3600 % 24:02}:{number // 60 % 60:02}:"
                       f"{number % 60:02} +0000\n"
                       f"Content-Type: text/plain\n\nText of message {number}\n")
        os.utime(path, (1e9, 1e9))  # a new file would be left to rest


class Worker(threading.Thread):
    """One program after another, of one kind; notes what was reported as saved."""

    def __init__(self, home, name, commands, step):
        super().__init__(name=name)
        self.home, self.commands, self.step = home, commands, step
        self.statuses = Counter()
        self.complaints = Counter()
        self.saved = {}

    def run(self):
        for number in range(self.commands):
            words, note = self.step(number)
            status, _, err = self.home.run(*words)
            self.statuses[status] += 1
            if status == 0:
                self.saved.update(note)
            elif err:
                self.complaints[err.strip().splitlines()[-1][:160]] += 1


def steps(mail, ids):
    """The work of each of the eight, by name: a number to the words of a command and to what holds
    once it has succeeded."""
    def archive(number):
        write_mail(mail, MESSAGES + number, 1)
        return ["archive", "--all", mail], {}

    def tag(number):
        message = ids[number % MESSAGES]
        return (["tag", str(message), "--keywords", f"word{number}"],
                {("tag", message): f"word{number}"})

    def limit(number):
        return (["settings", "set", "limitSearchSize", str(1000 + number)],
                {("setting", "limitSearchSize"): str(1000 + number)})

    def user_setting(number):
        name, values = (("hoursStep", [str(n) for n in range(1, 23)]),
                        ("dateFormat", ["year-first", "month-first", "day-first"]),
                        ("junkState", ["on", "off"]))[number % 3]
        value = values[number // 3 % len(values)]
        return ["settings", "set", name, value], {("setting", name): value}

    def rule(number):
        # A rule that fires gives a message that comes by again its own tags in place of others.
        return (["rules", "add", "--name", f"rule {number}", "--when",
                 f"body contains nothing {number}", "--category", "Rules"],
                {("rule", f"rule {number}"): f'body contains "nothing {number}"'})

    def search(number):
        return (["search", "--and", f"subject=Message {number}", "--save", f"search {number}"],
                {("search", f"search {number}"): f"Message {number}"})

    def browse(number):
        name = f"browse {number % 2}"
        return ["searches", "set-browse", name], {("browse", ""): name}

    def read(number):
        return (["show", str(ids[number % MESSAGES])] if number % 2 else ["list"]), {}

    return {"archive": archive, "tag": tag, "limit": limit, "settings": user_setting, "rules": rule,
            "searches": search, "browse": browse, "read": read}


def found(home, socket):
    """What the archive and the preferences hold, by the same keys."""
    held = {}
    for name, value in json.loads(home.must("settings", "list", "--json")).items():
        held["setting", name] = value
    for line in home.must("rules", "list", "--json").splitlines():
        rule = json.loads(line)
        held["rule", rule["name"]] = " ".join(
            f"{c['field']} {c['relation']} \"{c['value']}\"" for c in rule["when"])
    for line in home.must("searches", "list", "--json").splitlines():
        search = json.loads(line)
        held["search", search["name"]] = search["statement"]
    archive = Archive(socket, DATABASE)
    for number, keywords in archive.rows("SELECT id, key_fld FROM tags"):
        held["tag", int(number)] = keywords
    held["browse", ""] = archive.rows("SELECT browseNameString FROM settings")[0][0]
    held["rows", ""] = archive.rows("SELECT COUNT(*) FROM settings")[0][0]
    held["messages", ""] = int(archive.rows("SELECT COUNT(*) FROM email")[0][0])
    return held


def holds(key, held, wanted):
    """A search keeps a whole statement, and keywords may stand beside others."""
    have = held.get(key)
    return have is not None and (wanted in have if key[0] in ("search", "tag") else have == wanted)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("keldane")
    parser.add_argument("--commands", type=int, default=200)
    parser.add_argument("--cluster", action="store_true")
    parser.add_argument("--scripts", default="")
    options = parser.parse_args()
    if options.cluster and cluster.missing(options.scripts):
        print(f"skipped: there is no {cluster.missing(options.scripts)}")
        raise SystemExit(77)
    with tempfile.TemporaryDirectory() as folder, contextlib.ExitStack() as stack:
        home = Home(os.path.abspath(options.keldane), folder)
        mail = os.path.join(folder, "mail")
        write_mail(mail, 0, MESSAGES)
        try:
            if options.cluster:
                nodes = stack.enter_context(cluster.Cluster(
                    stack.enter_context(tempfile.TemporaryDirectory(prefix="kc", dir="/tmp")),
                    options.scripts))
                spread = cluster.Spread(nodes.nodes)
                spread.start()
                socket = nodes.nodes[0].socket
                home.environment["KELDANE_PASSWORD"] = cluster.PASSWORD
                where = ["--host", f"127.0.0.1:{spread.port}", "--user", cluster.USER]
            else:
                home.must("server", "start")
                socket = server_socket(home.keldane, home.environment)
                where = ["--socket", socket]
            home.must("connections", "add", "Shared", *where, "--database", DATABASE)
            home.must("connections", "use", "Shared")
            home.must("archive", mail)
            # On a cluster they have gaps.
            ids = [int(row[0]) for row in
                   Archive(socket, DATABASE).rows("SELECT id FROM email ORDER BY id")]
            for number in range(2):
                home.must("search", "--and", f"subject=Message {number}", "--save",
                          f"browse {number}")
            workers = [Worker(home, name, options.commands, step)
                       for name, step in steps(mail, ids).items()]
            random.shuffle(workers)
            for worker in workers:
                worker.start()
            for worker in workers:
                worker.join()
            if options.cluster:
                for node in nodes.nodes:
                    node.await_synced()
            held = found(home, socket)
            missing = []
            wrong = 0
            for worker in sorted(workers, key=lambda each: each.name):
                lost = [key for key, wanted in worker.saved.items() if not holds(key, held, wanted)]
                missing += lost
                wrong += sum(worker.statuses.values()) - worker.statuses[0]
                print(f"{worker.name:9} statuses {dict(worker.statuses)}, saved "
                      f"{len(worker.saved)}, missing {len(lost)}")
                for text, times in worker.complaints.most_common(3):
                    print(f"          {times} x {text}")
            for key in missing[:20]:
                print(f"missing: {key}, found {held.get(key)!r}")
            print(f"rows of settings: {held['rows', '']}, messages: {held['messages', '']} of "
                  f"{MESSAGES + options.commands}, missing: {len(missing)}, refused: {wrong}")
            if missing or held["rows", ""] != "1":
                raise SystemExit(1)
        finally:
            home.run("server", "stop")


if __name__ == "__main__":
    main()
