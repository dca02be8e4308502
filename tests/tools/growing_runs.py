#!/usr/bin/env python3
"""Changes mail between archive runs as mail programs do, and kills some of the runs: new files, an
mbox that grows, one that is compacted, a file that is written anew. After each run that comes to its
end every message must be in the archive once, and the run behind it must find every file unchanged.

Usage: growing_runs.py KELDANE [ROUNDS] [SEED]"""
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

from archive_db import Archive, server_socket

OLD = 10 ** 9  # a new file would be left to rest


class Mail:
    """A Maildir and two mboxes, and the keys of all messages that were in them when a run began."""

    def __init__(self, folder, chance):
        self.folder, self.chance, self.number, self.clock = folder, chance, 0, OLD
        self.ever = set()
        for name in ("cur", "new", "tmp"):
            os.makedirs(os.path.join(folder, "Maildir", name))
        self.boxes = {name: [] for name in ("first", "second.mbox")}
        self.files = {}
        for _ in range(200):
            self.new_file()
        for name in self.boxes:
            self.grow(name, 300)

    def message(self):
        self.number += 1
        key = f"message-{self.number:06}"
        filling = "".join(f"line {self.chance.random()}\n" for _ in range(self.chance.randint(1, 60)))
        return key, (f"From: feed@example.org\nTo: reader@example.org\nSubject: {key}\n"
                     "Date: Tue, 5 Mar 2019 10:20:30 +0000\nContent-Type: text/plain\n\n"
                     f"Dear reader,\n\n{filling}From here on {key}\n")

    def write(self, path, text, mode="w"):
        with open(path, mode, newline="") as file:
            file.write(text)
        self.clock += 1
        os.utime(path, (self.clock, self.clock))

    def new_file(self):
        path = os.path.join(self.folder, "Maildir", "new", f"{self.number}.host")
        self.files[path], text = self.message()
        self.write(path, text)

    def separated(self, messages):
        return "".join(f"From feed@example.org Tue Mar  5 10:20:30 2019\n{text}\n"
                       for _, text in messages)

    def grow(self, name, count):
        added = [self.message() for _ in range(count)]
        self.boxes[name] += added
        self.write(os.path.join(self.folder, name), self.separated(added), "a")

    def compact(self, name):
        box = self.boxes[name]
        del box[self.chance.randrange(len(box))]
        box += [self.message() for _ in range(self.chance.randint(0, 3))]
        path = os.path.join(self.folder, name)
        if self.chance.random() < 0.5:
            self.write(path, self.separated(box))
        else:
            self.write(path + ".tmp", self.separated(box))
            os.rename(path + ".tmp", path)

    def rewrite_file(self):
        path = self.chance.choice(list(self.files))
        size = os.path.getsize(path)
        self.files[path], text = self.message()
        self.write(path, text[:size] + "x" * (size - len(text)) if len(text) < size else text)

    def begin(self):
        self.ever |= set(self.files.values())
        self.ever |= {key for box in self.boxes.values() for key, _ in box}

    def change(self):
        for _ in range(self.chance.randint(1, 4)):
            name = self.chance.choice(list(self.boxes))
            self.chance.choice([self.new_file, self.rewrite_file,
                                lambda: self.grow(name, self.chance.randint(1, 80)),
                                lambda: self.compact(name)])()


def run(keldane, folder, environment, kill_after=None):
    process = subprocess.Popen([keldane, "archive", "--json", folder], env=environment, text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if kill_after is not None:
        time.sleep(kill_after)
        if process.poll() is None:
            process.send_signal(signal.SIGKILL)
            process.communicate()
            return None
    out, err = process.communicate()
    if process.returncode != 0:
        sys.exit(f"a run failed: {process.returncode}\n{out}{err}")
    return json.loads(out.splitlines()[-1])["ledger"]


def main():
    keldane = os.path.abspath(sys.argv[1])
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(10 ** 6)
    chance = random.Random(seed)
    print(f"seed {seed}")
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, HOME=home, TMPDIR=home)
        subprocess.run([keldane, "server", "start"], env=environment, check=True,
                       capture_output=True)
        archive = Archive(server_socket(keldane, environment), "myemaildb")
        mail = Mail(os.path.join(home, "mail"), chance)
        mail.begin()
        start = time.monotonic()
        run(keldane, mail.folder, environment)
        length = time.monotonic() - start
        bad = killed = 0
        for number in range(rounds):
            mail.change()
            mail.begin()
            wait = chance.uniform(0.02, 0.3) * length
            killed += run(keldane, mail.folder, environment, wait) is None
            after = run(keldane, mail.folder, environment)
            again = run(keldane, mail.folder, environment)
            subjects = [row[0] for row in archive.rows("SELECT subj_fld FROM email")]
            files = len(mail.files) + len(mail.boxes)
            good = (sorted(subjects) == sorted(mail.ever) and again["unchanged"] == files
                    and again["met"] == 0)
            bad += not good
            print(f"{number + 1:3} after {wait:5.2f} s: {len(subjects):5} messages, "
                  f"{after['archived']} new and {after['duplicates']} met again, "
                  f"{after['unchanged']} and then {again['unchanged']} of {files} files unchanged: "
                  f"{'good' if good else 'BAD'}", flush=True)
        subprocess.run([keldane, "server", "stop"], env=environment, capture_output=True)
        print(f"{rounds} rounds, {killed} of them killed, {bad} bad")
        return 1 if bad or not killed else 0


if __name__ == "__main__":
    sys.exit(main())
