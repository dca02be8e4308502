#!/usr/bin/env python3
"""Compares every message that a run took for a duplicate with the stored one that the ledger names, as
Python's reader sees both: subject, and type and decoded bytes of every part.

Usage: compare_duplicates.py SOCKET DATABASE LEDGER..."""
import email.header
import re
import sys

from archive_db import Archive
from mail_files import ledger_lines, leaves, parse, source_of


def subject(message):
    value = message.get("subject", "")
    try:
        value = str(email.header.make_header(email.header.decode_header(value)))
    except (LookupError, UnicodeError, ValueError):
        pass
    return " ".join(str(value).split())


def content(source):
    """What makes the message: its subject and its parts, white space at line ends left out."""
    message = parse(source)
    parts = [(kind, re.sub(rb"[ \t]*\r?\n", b"\n", data).strip()) for kind, _, data, _ in
             leaves(message)]
    return subject(message), parts


def main():
    archive = Archive(sys.argv[1], sys.argv[2])
    duplicates = []
    differing = 0
    for ledger in sys.argv[3:]:
        for outcome, detail, offset, path in ledger_lines(ledger):
            if outcome == "duplicate":
                duplicates.append((int(detail.split(",")[0]), offset, path))
            differing += outcome == "archived" and "differs from" in detail
    ids = sorted({number for number, _, _ in duplicates})
    stored = {}
    for begin in range(0, len(ids), 500):
        chosen = ",".join(map(str, ids[begin:begin + 500]))
        for number, source in archive.rows(
                f"SELECT id, HEX(orig_fld) FROM origemail WHERE id IN ({chosen})"):
            stored[int(number)] = content(bytes.fromhex(source))
    wrong = 0
    for number, offset, path in duplicates:
        here = content(source_of(path, offset))
        if stored.get(number) == here:
            continue
        wrong += 1
        what = ("has no stored source" if number not in stored else
                "another subject" if stored[number][0] != here[0] else "other parts")
        print(f"{path}{'' if offset is None else f' at {offset}'}: {what} than {number}")
    print(f"{len(duplicates)} duplicates, {wrong} of them another message; "
          f"{differing} stored although the test took them for duplicates")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
