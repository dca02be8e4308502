#!/usr/bin/env python3
"""How fast a Maildir gets into an archive, with its word index and without, beside two indexers of
mail on the same files; in turns, the median of the rounds. Processor time and memory of ours are
those of the program and of its database server together.

Usage: archive_peers.py KELDANE MAILDIR [ROUNDS]"""
import os
import shutil
import statistics
import sys
import tempfile

from whole_programs import Home, megabytes, run


def ours(keldane, maildir, options):
    with Home(keldane) as home:
        before = home.server_cpu()
        timed = home.call("archive", *options, "--database", "peers", maildir)
        timed.cpu += home.server_cpu() - before
        timed.peak_mb += home.server_peak_mb()
        return timed, home.size_mb()


def notmuch(maildir):
    with tempfile.TemporaryDirectory(prefix="keldane-bench-") as work:
        mail = os.path.join(work, "mail")
        os.makedirs(mail)
        os.symlink(maildir, os.path.join(mail, "box"))
        config = os.path.join(work, "config")
        with open(config, "w", encoding="ascii") as file:
            file.write(f"[database]\npath={mail}\n[user]\nname=a\nprimary_email=a@example.org\n")
        environment = dict(os.environ, HOME=work, NOTMUCH_CONFIG=config)
        timed = run(["notmuch", "new", "--quiet"], environment)
        return timed, megabytes(os.path.join(mail, ".notmuch"))


def mu(maildir):
    with tempfile.TemporaryDirectory(prefix="keldane-bench-") as work:
        environment = dict(os.environ, HOME=work)
        index = os.path.join(work, "mu")
        run(["mu", "init", "--quiet", f"--muhome={index}", f"--maildir={maildir}"], environment)
        timed = run(["mu", "index", "--quiet", f"--muhome={index}"], environment)
        return timed, megabytes(index)


def main():
    keldane, maildir = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    messages = 0
    for kind in ("cur", "new"):
        for name in os.listdir(os.path.join(maildir, kind)):
            with open(os.path.join(maildir, kind, name), "rb") as file:
                file.read()  # all find the files in memory
            messages += 1
    turns = {"keldane, no word index": lambda: ours(keldane, maildir, ["--no-index"]),
             "keldane, word index": lambda: ours(keldane, maildir, []),
             "mu index": lambda: mu(maildir),
             "notmuch new": lambda: notmuch(maildir)}
    for program in ("mu", "notmuch"):
        if not shutil.which(program):
            raise SystemExit(f"{program} is not there")
    measured = {name: [] for name in turns}
    for _ in range(rounds):
        for name, turn in turns.items():
            measured[name].append(turn())
    print(f"{messages} messages, {rounds} rounds, medians")
    print(f"{'':24}{'messages/s':>12}{'seconds':>10}{'cpu s':>10}{'peak MB':>10}{'disk MB':>10}")
    for name, rows in measured.items():
        seconds = statistics.median(timed.seconds for timed, _ in rows)
        values = (messages / seconds, seconds, statistics.median(t.cpu for t, _ in rows),
                  statistics.median(t.peak_mb for t, _ in rows),
                  statistics.median(size for _, size in rows))
        print(f"{name:24}" + f"{values[0]:12.0f}" + "".join(f"{v:10.1f}" for v in values[1:]))


if __name__ == "__main__":
    main()
