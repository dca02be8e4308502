#!/usr/bin/env python3
"""Takes words out of each archived message as Python's reader sees it and looks for them in the stored
text, ASCII words and others apart; and counts the rows without text of messages that have some.

Usage: find_words.py SOCKET DATABASE LEDGER [--words 3] [--seed 1] [--list]"""
import argparse
import random
import re
import sys

from archive_db import Archive
from mail_files import ledger_lines, parse, readable_text, source_of

WORD = re.compile(r"[^\W\d_]{4,}")


def folded(text):
    return text.casefold()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("socket")
    parser.add_argument("database")
    parser.add_argument("ledger")
    parser.add_argument("--words", type=int, default=3)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--list", action="store_true", help="name what is missing")
    options = parser.parse_args()
    archive = Archive(options.socket, options.database)
    bodies = {number: folded(bytes.fromhex(body).decode("utf-8", "replace")) for number, body in
              archive.rows("SELECT id, HEX(body_fld) FROM email")}
    choice = random.Random(options.seed)
    found = {"ASCII": [0, 0, 0], "non-ASCII": [0, 0, 0]}
    empty = lead_only = messages = 0
    for outcome, detail, offset, path in ledger_lines(options.ledger):
        if outcome != "archived":
            continue
        number = detail.split(",")[0]
        text = readable_text(parse(source_of(path, offset)))
        messages += 1
        body = bodies.get(number, "")
        if text.strip() and not body.strip():
            if not text.strip("\n").partition("\n\n")[2].strip():
                lead_only += 1
            else:
                empty += 1
                if options.list:
                    print(f"{number}: no text, {path}")
        words = sorted(set(WORD.findall(text)))
        for kind, of_kind in (("ASCII", [w for w in words if w.isascii()]),
                              ("non-ASCII", [w for w in words if not w.isascii()])):
            for word in choice.sample(of_kind, min(options.words, len(of_kind))):
                found[kind][1] += 1
                # The first paragraph of a plain text is no part of the stored one.
                if folded(word) in body:
                    found[kind][0] += 1
                elif word not in text.partition("\n\n")[2]:
                    found[kind][2] += 1
                elif options.list:
                    print(f"{number}: {word!r} is missing, {path}")
    for kind, (there, asked, in_lead) in found.items():
        print(f"{kind}: {there} of {asked} words found ({100 * there / max(asked, 1):.1f} %), "
              f"{in_lead} stand in the first paragraph alone")
    print(f"{messages} messages; {empty} with text have none stored, {lead_only} more have one "
          "paragraph only")
    return 0


if __name__ == "__main__":
    sys.exit(main())
