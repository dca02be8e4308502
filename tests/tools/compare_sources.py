#!/usr/bin/env python3
"""Compares the stored source of every archived message of one-message files with its file: the file's
text, read as UTF-8 or else as Latin-1, line ends as LF, without NUL characters.

Usage: compare_sources.py SOCKET DATABASE LEDGER"""
import sys

from archive_db import Archive
from mail_files import as_text, ledger_lines


def archived(ledger):
    """Pairs of id and path of the lines "archived"."""
    for outcome, detail, _, path in ledger_lines(ledger):
        if outcome == "archived":
            yield detail.split(",")[0], path


def wanted(path):
    with open(path, "rb") as file:
        return as_text(file.read())


def main():
    archive = Archive(sys.argv[1], sys.argv[2])
    stored = {number: bytes.fromhex(source)
              for number, source in archive.rows("SELECT id, HEX(orig_fld) FROM origemail")}
    same = different = 0
    for number, path in archived(sys.argv[3]):
        if stored.pop(number, None) == wanted(path):
            same += 1
        else:
            different += 1
            print(f"{number}: differs from {path}")
    print(f"{same} the same, {different} different, {len(stored)} rows not of this run")
    return 1 if different or not same else 0


if __name__ == "__main__":
    sys.exit(main())
