#!/usr/bin/env python3
"""Two programs add, tag, move and delete messages of one archive at once, others search meanwhile; then
random queries to the word index must find what a plain search over the rows finds. After that the
program is killed again and again while it indexes, and the same must hold after its next start.

Usage: index_follow.py KELDANE [KILLS] [SEED]"""
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

from archive_db import Archive, server_socket

DATABASE = "follow"
BASE, ADDED, DELETED, TAGGED, QUERIES = 600, 1000, 300, 300, 200
SYLLABLES = ["ka", "lo", "mi", "ren", "tas", "vu", "bel", "dor", "fin", "gu", "hel", "zw"]


class Mail:
    """Made-up messages, and the words that they are made of."""

    def __init__(self, chance):
        self.chance = chance
        words = {"".join(chance.choices(SYLLABLES, k=chance.randint(2, 3))) for _ in range(400)}
        self.words = sorted(words)
        self.weights = [1 / (i + 1) for i in range(len(self.words))]
        self.number = 0

    def text(self, count):
        return " ".join(self.chance.choices(self.words, self.weights, k=count))

    def write(self, folder, count):
        os.makedirs(folder)
        for _ in range(count):
            self.number += 1
            body = self.text(self.chance.randint(5, 60))
            part = ("Content-Type: text/plain; charset=utf-8\n\n" + body + "\n")
            if self.number % 7 == 0:
                part = ("MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n--b\n" + part
                        + f"--b\nContent-Type: text/csv; name={self.words[self.number % 50]}.csv\n"
                        f"Content-Disposition: attachment\n\n{self.text(4)}\n--b--\n")
            path = os.path.join(folder, f"{self.number}.eml")
            with open(path, "w", encoding="utf-8") as file:
                file.write(f"From: {self.chance.choice(self.words)} <p{self.number}@example.org>\n"
                           f"To: reader@example.org\nSubject: {self.text(3)}\n"
                           f"Date: {self.number % 28 + 1:02} Mar {2000 + self.number % 20} "
                           f"10:{self.number % 60:02}:00 +0000\n{part}")
            os.utime(path, (1e9, 1e9))  # a new file would be left to rest


class Program:
    def __init__(self, keldane, environment):
        self.keldane, self.environment = keldane, environment

    def start(self, *words):
        command = [self.keldane, "--quiet", words[0], *words[1:]]
        return subprocess.Popen(command, env=self.environment, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def run(self, *words):
        process = self.start(*words)
        out, err = process.communicate()
        if process.returncode != 0:
            raise RuntimeError(f"{words}: {process.returncode}\n{out}{err}")
        return out

    def find(self, query):
        return set(map(int, self.run("find", "--ids", "--database", DATABASE, "--",
                                     query).split()))


def words_of(text):
    return re.findall(r"[a-z]+|[0-9]+", text.lower())


def plain_rows(archive):
    """What a search over the rows goes by: words of each field, by id."""
    rows = {}
    # The words of the source's body stand in the row's body and attachment texts.
    for number, sender, to, subject, body, names, texts, mailbox, date, tags in archive.rows(
            "SELECT e.id, HEX(from_fld), HEX(to_fld), HEX(subj_fld), HEX(body_fld),"
            " HEX(attachNames), HEX(attachText), HEX(mailbox), date_fld,"
            " HEX(IFNULL(key_fld, '')) FROM email e LEFT JOIN tags t ON t.id = e.id"):
        cells = {"from": sender, "to": to, "subject": subject, "body": body, "file": names,
                 "attachment": texts, "mailbox": mailbox, "tag": tags}
        row = {name: words_of(bytes.fromhex(cell).decode()) for name, cell in cells.items()}
        row["date"] = date
        rows[int(number)] = row
    return rows


USUAL = ("subject", "from", "to", "body", "attachment", "file", "tag")


def stands(row, fields, words):
    """Whether the words follow each other in one of the fields."""
    return any(row[field][i:i + len(words)] == words for field in fields
               for i in range(len(row[field]) - len(words) + 1))


def random_query(mail, chance):
    """A query, and what it asks of a row."""
    one, two = mail.text(1), mail.text(1)
    year = 2000 + chance.randrange(20)
    key = f"key{chance.randrange(6)}"
    kinds = [
        (one, lambda row: stands(row, USUAL, [one])),
        (f"{one} {two}", lambda row: stands(row, USUAL, [one]) and stands(row, USUAL, [two])),
        (f"{one} OR {two}", lambda row: stands(row, USUAL, [one]) or stands(row, USUAL, [two])),
        (f"{one} -{two}", lambda row: stands(row, USUAL, [one]) and not stands(row, USUAL, [two])),
        (f'body:"{one} {two}"', lambda row: stands(row, ["body"], [one, two])),
        (f"subject:{one[:3]}*", lambda row: any(w.startswith(one[:3]) for w in row["subject"])),
        (f"from:{one}", lambda row: one in row["from"]),
        (f"tag:{key}", lambda row: key[:3] in row["tag"] and stands(row, ["tag"], [key[:3], key[3:]])),
        (f"tag:{key} {one}", lambda row: stands(row, ["tag"], [key[:3], key[3:]])
         and stands(row, USUAL, [one])),
        (f"date:{year} {one}",
         lambda row: row["date"].startswith(str(year)) and stands(row, USUAL, [one])),
        (f"mailbox:moved{year % 3}", lambda row: stands(row, ["mailbox"], ["moved", str(year % 3)])),
        (f"attachment:{one}", lambda row: one in row["attachment"]),
        (f"NOT {one}", lambda row: not stands(row, USUAL, [one]))]
    return chance.choice(kinds)


def differing(program, archive, mail, chance, count, but=frozenset()):
    rows = plain_rows(archive)
    bad = found = 0
    for _ in range(count):
        query, holds = random_query(mail, chance)
        wanted = {number for number, row in rows.items() if holds(row)} - but
        got = program.find(query) - but
        found += len(wanted)
        if got != wanted:
            bad += 1
            print(f"    {query}: {len(wanted - got)} missing {sorted(wanted - got)[:5]}, "
                  f"{len(got - wanted)} too much {sorted(got - wanted)[:5]}")
    return bad, found


def change(program, archive, folders, seed, deletions, tags, faults):
    """One of the two programs: what it does to the archive, a piece at a time."""
    chance = random.Random(seed)
    try:
        for folder in folders:
            program.run("archive", "--database", DATABASE, "--ledger", folder + ".log", folder)
            ids = [row[0] for row in archive.rows("SELECT id FROM email")]
            for batch in range(0, tags // len(folders), 5):
                chosen = chance.sample(ids, min(5, tags // len(folders) - batch))
                # Another program may delete one of them meanwhile.
                program.start("tag", *chosen, "--database", DATABASE, "--keywords",
                              f"key{chance.randrange(6)}").communicate()
            moved = ",".join(chance.sample(ids, 10))
            archive.rows(f"UPDATE email SET mailbox='moved{chance.randrange(3)}' WHERE id IN ({moved})")
            gone = ",".join(chance.sample(ids, deletions // len(folders)))
            for table in ("tags", "attachments", "origemail", "email"):
                archive.rows(f"DELETE FROM {table} WHERE id IN ({gone})")
    except (RuntimeError, subprocess.CalledProcessError) as error:
        faults.append(str(error))


def kill_while_indexing(program, archive, mail, chance, kills, folder):
    bad = cut = 0
    begin = time.monotonic()
    program.run("index", "rebuild", "--database", DATABASE)
    length = time.monotonic() - begin
    for number in range(kills):
        archives = number % 2 == 1
        work = ["archive", "--database", DATABASE, f"{folder}{number}"]
        if archives:
            mail.write(f"{folder}{number}", 60)
        process = program.start(*(work if archives else ["index", "rebuild", "--database", DATABASE]))
        time.sleep(chance.uniform(0.05, 1) * length)
        if process.poll() is None:
            process.send_signal(signal.SIGKILL)
            cut += 1
        process.communicate()
        # Of the message at hand the source may be there, which the index goes by, and the texts of
        # its attachments not yet in its row: the next run over its file sees to that.
        half = {int(archive.rows("SELECT MAX(id) FROM email")[0][0])} if archives else set()
        wrong, _ = differing(program, archive, mail, chance, 10, half)
        if archives:
            program.run(*work)
            wrong += differing(program, archive, mail, chance, 10)[0]
        bad += wrong > 0
    return bad, cut


def main():
    keldane = os.path.abspath(sys.argv[1])
    kills = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(10 ** 6)
    print(f"seed {seed}")
    chance = random.Random(seed)
    mail = Mail(chance)
    with tempfile.TemporaryDirectory() as home:
        program = Program(keldane, dict(os.environ, HOME=home, TMPDIR=home))
        program.run("server", "start")
        socket = server_socket(keldane, program.environment)
        archive = Archive(socket, DATABASE)
        mail.write(os.path.join(home, "base"), BASE)
        program.run("archive", "--database", DATABASE, os.path.join(home, "base"))
        faults, threads = [], []
        for side in range(2):
            folders = [os.path.join(home, f"more{side}-{i}") for i in range(5)]
            for folder in folders:
                mail.write(folder, ADDED // 2 // len(folders))
            threads.append(threading.Thread(target=change, args=(
                program, archive, folders, seed + side, DELETED // 2, TAGGED // 2, faults)))
        for thread in threads:
            thread.start()
        searches = 0
        while any(thread.is_alive() for thread in threads):
            program.find(mail.text(1))
            searches += 1
        count, tagged = archive.rows("SELECT (SELECT COUNT(*) FROM email), COUNT(*) FROM tags")[0]
        if int(tagged) == 0:
            faults.append("nothing was tagged")
        bad, found = differing(program, archive, mail, chance, QUERIES)
        print(f"{count} messages, {tagged} tagged, {searches} searches meanwhile; {QUERIES} queries with {found} "
              f"hits, {bad} differ from a search over the rows")
        killed, cut = kill_while_indexing(program, archive, mail, chance, kills,
                                          os.path.join(home, "late"))
        print(f"{kills} kills, {cut} of them while it worked; after the next start {killed} "
              "answered otherwise")
        program.run("server", "stop")
        for fault in faults:
            print(f"failed: {fault}")
        return 1 if bad or killed or faults else 0


if __name__ == "__main__":
    sys.exit(main())
