#!/usr/bin/env python3
"""How an archive behaves as it grows: COUNT messages made of those of FOLDER (see many_mails.py)
come in ten portions, of which each one's rate is told, and the size; then what a user does with the
whole of it: list, read, find, count by the statistics, list duplicates, prove every message.

Usage: large_archive.py KELDANE FOLDER COUNT [WORK-FOLDER]"""
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

from whole_programs import Home

PORTIONS = 10
TIMES = 5


def main():
    keldane, folder, count = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), \
        int(sys.argv[3])
    work = tempfile.mkdtemp(prefix="keldane-large-", dir=sys.argv[4] if len(sys.argv) > 4 else None)
    maker = os.path.join(os.path.dirname(os.path.abspath(__file__)), "many_mails.py")
    portion = count // PORTIONS
    try:
        with Home(keldane) as home:
            rates = []
            for number in range(PORTIONS):
                maildir = os.path.join(work, "mail")
                subprocess.run([sys.executable, maker, folder, maildir, str(portion),
                                str(number + 1), str(number * portion)], check=True)
                timed = home.call("archive", "--no-index", "--json", "--database", "large", maildir)
                archived = json.loads(timed.out)["archived"]
                rates.append(portion / timed.seconds)
                print(f"{(number + 1) * portion:9} messages {rates[-1]:8.0f}/s  {archived} archived"
                      f"  {timed.peak_mb:6.0f} MB peak  {home.size_mb():8.0f} MB on disk",
                      flush=True)
                shutil.rmtree(maildir)
            print(f"last portion to first: {rates[-1] / rates[0]:.2f}")
            print(f"server: {home.server_peak_mb():.0f} MB peak")
            ask(home)
    finally:
        shutil.rmtree(work, ignore_errors=True)


def ask(home):
    newest = home.call("list", "--database", "large", "--limit", "1", "--json").out
    number = str(json.loads(newest.splitlines()[0])["id"])
    index = home.call("index", "rebuild", "--database", "large")
    print(f"{'word index, anew':28}{index.seconds * 1000:10.0f} ms {index.peak_mb:6.0f} MB")
    questions = {"list the newest": ["list"], "search a sender": ["search", "--and", "from=gabe"],
                 "read a message": ["show", number], "find a word": ["find", "derbe"],
                 "find a common word": ["find", "the"], "statistics": ["stats"]}
    for name, arguments in questions.items():
        times = [home.call(*arguments, "--database", "large") for _ in range(TIMES)]
        print(f"{name:28}{statistics.median(t.seconds for t in times) * 1000:10.0f} ms"
              f" {max(t.peak_mb for t in times):6.0f} MB", flush=True)
    for name, arguments in {"duplicates": ["duplicates"], "verify": ["verify"]}.items():
        timed = home.call(*arguments, "--database", "large")
        print(f"{name:28}{timed.seconds * 1000:10.0f} ms {timed.peak_mb:6.0f} MB", flush=True)


if __name__ == "__main__":
    main()
