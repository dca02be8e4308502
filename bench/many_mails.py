#!/usr/bin/env python3
"""Makes a Maildir of any number of messages out of the messages of FOLDER: each of them again and
again, with another date, sender, recipient, subject and Message-ID, and, where its body is plain
text, with words of its own. Senders and words are spread as in real mail: a few come often, and
every message may bring one that was never there. The same arguments give the same bytes.

Usage: many_mails.py FOLDER MAILDIR COUNT [SEED [NUMBER-OF-THE-FIRST]]"""
import os
import random
import re
import sys
from email.utils import formatdate

SYLLABLES = [a + b for a in "bdfghklmnprstvwz" for b in ("a", "e", "i", "o", "u", "an", "er", "or")]
FIRST_DAY = 946684800  # 2000-01-01
YEARS = 24
NEW_EVERY = 20  # so many draws bring one new word or sender
WORDS = 12


def name(number):
    """A word of its own for each number."""
    text = ""
    number += len(SYLLABLES)
    while number:
        text += SYLLABLES[number % len(SYLLABLES)]
        number //= len(SYLLABLES)
    return text


class Drawn:
    """Numbers of which some come often, and new ones now and then."""

    def __init__(self, rng, most_often):
        self.rng, self.known = rng, most_often

    def one(self):
        if self.rng.random() * NEW_EVERY < 1:
            self.known += 1
            return self.known - 1
        return int(self.known ** self.rng.random()) - 1


def set_field(header, field, value):
    line = field + b": " + value + b"\n"
    pattern = re.compile(rb"^" + field + rb":.*\n(?:[ \t].*\n)*", re.M | re.I)
    changed, count = pattern.subn(lambda match: line, header, count=1)
    return changed if count else header + line


def subject_of(header):
    found = re.search(rb"^subject:[ \t]*(.*)$", header, re.M | re.I)
    return found.group(1).strip()[:60] if found else b""


def has_plain_body(header):
    kind = re.search(rb"^content-type:[ \t]*([^;\s]+)", header, re.M | re.I)
    coding = re.search(rb"^content-transfer-encoding:[ \t]*(\S+)", header, re.M | re.I)
    return ((not kind or kind.group(1).lower() == b"text/plain") and
            (not coding or coding.group(1).lower() in (b"7bit", b"8bit")))


def again(source, number, rng, people, words):
    header, _, body = source.partition(b"\n\n")
    header += b"\n"
    text = b" ".join(name(words.one()).encode() for _ in range(WORDS))
    sender, reader = name(people.one()).encode(), name(people.one() % 50).encode()
    seconds = FIRST_DAY + rng.randrange(YEARS * 365 * 86400)
    header = set_field(header, b"Date", formatdate(seconds).encode())
    header = set_field(header, b"From", sender.title() + b" <" + sender + b"@example.org>")
    header = set_field(header, b"To", reader + b"@example.net")
    header = set_field(header, b"Subject", subject_of(header) + b" " + text.split(b" ")[0])
    header = set_field(header, b"Message-ID", b"<%d.many@example.org>" % number)
    if has_plain_body(header):
        body = b"Again,\n\n" + text + b"\n\n" + body
    return header + b"\n" + body


def main():
    folder, maildir, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
    rng = random.Random(int(sys.argv[4]) if len(sys.argv) > 4 else 1)
    first = int(sys.argv[5]) if len(sys.argv) > 5 else 0
    # As many are known by then as if those before had been made, too.
    people = Drawn(rng, 400 + 2 * first // NEW_EVERY)
    words = Drawn(rng, 20000 + WORDS * first // NEW_EVERY)
    paths = sorted(os.path.join(at, file) for at, _, files in os.walk(folder) for file in files)
    sources = []
    for path in paths:
        with open(path, "rb") as file:
            source = file.read().replace(b"\r\n", b"\n")
        if source.startswith(b"From "):
            source = source.partition(b"\n")[2]
        sources.append(source)
    for kind in ("cur", "new", "tmp"):
        os.makedirs(os.path.join(maildir, kind), exist_ok=True)
    for number in range(first, first + count):
        path = os.path.join(maildir, "cur", f"{number:08}.many:2,S")
        with open(path, "wb") as file:
            file.write(again(sources[number % len(sources)], number, rng, people, words))
        os.utime(path, (1e9, 1e9))  # a new file would be left to rest


if __name__ == "__main__":
    main()
