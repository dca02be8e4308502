#!/usr/bin/env python3
"""How an archive behaves as it grows: COUNT messages made of those of FOLDER (see many_mails.py)
come in ten portions, of which each one's rate is told, the processor time that a message takes of
the program and of its server, and the size; then what a user does with the whole of it: list, read,
find, count by the statistics, list duplicates, prove every message. Processor times hold on a
machine that is busy with other things, too.

With --home the archive stays, and another call can go on with it: --portions 10-10 brings the last
portion alone, --portions 0-0 only asks."""
import argparse
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
MAKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "many_mails.py")


def main():
    arguments = arguments_given()
    work = arguments.work or tempfile.mkdtemp(prefix="keldane-large-")
    try:
        with Home(os.path.abspath(arguments.keldane), arguments.home) as home:
            first, last = (int(number) for number in arguments.portions.split("-"))
            rows = [archive(home, arguments, work, number)
                    for number in range(max(first, 1), last + 1)]
            if len(rows) > 1:
                print("last portion to first: " +
                      ", ".join(f"{name} {rows[-1][name] / rows[0][name]:.2f}" for name in rows[0]))
            print(f"server: {home.server_peak_mb():.0f} MB peak", flush=True)
            if not last or last == PORTIONS:
                ask(home)
    finally:
        if not arguments.work:
            shutil.rmtree(work, ignore_errors=True)


def arguments_given():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("keldane")
    parser.add_argument("folder")
    parser.add_argument("count", type=int)
    parser.add_argument("--work", help="folder in which the mail is made; portions that lie there"
                                       " finished (mail-1 to mail-10) are not made again")
    parser.add_argument("--home", help="folder of the archive, which stays")
    parser.add_argument("--portions", default=f"1-{PORTIONS}", help="those to bring, as FIRST-LAST")
    return parser.parse_args()


def archive(home, arguments, work, number):
    portion = arguments.count // PORTIONS
    maildir = os.path.join(work, f"mail-{number}")
    if not os.path.isdir(maildir):
        half_made = maildir + ".new"
        subprocess.run([sys.executable, MAKER, arguments.folder, half_made, str(portion),
                        str(number), str((number - 1) * portion)], check=True)
        os.rename(half_made, maildir)
    before = home.server_cpu()
    timed = home.call("archive", "--no-index", "--json", "--database", "large", maildir)
    server = home.server_cpu() - before
    archived = json.loads(timed.out)["archived"]  # fewer, where an earlier call was cut off
    row = {"rate": archived / timed.seconds, "program": timed.cpu / archived * 1000,
           "server": server / archived * 1000}
    print(f"{number * portion:9} messages {row['rate']:7.0f}/s  {archived} archived"
          f"  program {row['program']:.3f} ms, server {row['server']:.3f} ms a message"
          f"  {timed.peak_mb:5.0f} MB peak  {home.size_mb():8.0f} MB on disk", flush=True)
    shutil.rmtree(maildir)
    return row


def ask(home):
    newest = home.call("list", "--database", "large", "--limit", "1", "--json").out
    number = str(json.loads(newest.splitlines()[0])["id"])
    print(f"{'':28}{'ms':>10}{'program':>10}{'server':>10}{'MB peak':>8}")
    ask_one(home, "list the newest", TIMES, ["list"])
    ask_one(home, "search a sender", TIMES, ["search", "--and", "from=gabe"])
    ask_one(home, "read a message", TIMES, ["show", number])
    ask_one(home, "statistics", TIMES, ["stats"])
    ask_one(home, "duplicates", 1, ["duplicates"])
    ask_one(home, "word index, anew", 1, ["index", "rebuild"])
    ask_one(home, "find a word", TIMES, ["find", "derbe"])
    ask_one(home, "find a common word", TIMES, ["find", "the"])
    ask_one(home, "verify", 1, ["verify"])


def ask_one(home, name, times, arguments):
    """The median of the times, and the mean processor time of the program and of the server."""
    before = home.server_cpu()
    timed = [home.call(*arguments, "--database", "large") for _ in range(times)]
    server = (home.server_cpu() - before) / times
    print(f"{name:28}{statistics.median(t.seconds for t in timed) * 1000:10.0f}"
          f"{sum(t.cpu for t in timed) / times * 1000:10.0f}{server * 1000:10.0f}"
          f"{max(t.peak_mb for t in timed):8.0f}", flush=True)


if __name__ == "__main__":
    main()
