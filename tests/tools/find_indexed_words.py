#!/usr/bin/env python3
"""Takes words out of each archived message as Python's reader sees it and looks for them with
`keldane find`, ASCII words and others apart. The words of many messages are asked for at once; those
of a message that such a query does not bring are asked for one by one.

Usage: find_indexed_words.py KELDANE LEDGER [--words 3] [--seed 1] [--list]"""
import argparse
import random
import re
import subprocess
import sys

from mail_files import ledger_lines, parse, readable_text, source_of

WORD = re.compile(r"[^\W\d_]{4,}")
MOST_BYTES = 7000
MOST_WORDS = 400


def ids(keldane, query):
    out = subprocess.run([keldane, "find", "--quiet", "--ids", "--", query], capture_output=True,
                         text=True, check=False)
    if out.returncode != 0:
        sys.exit(f"{query}: {out.stderr}")
    return set(out.stdout.split())


def batches(asked):
    batch, size, words = [], 0, 0
    for message in asked:
        query = "(id:{} {})".format(message[0], " ".join(f'"{w}"' for _, w in message[1]))
        length = len(query.encode()) + 4
        if batch and (size + length > MOST_BYTES or words + len(message[1]) > MOST_WORDS):
            yield batch
            batch, size, words = [], 0, 0
        batch.append((message, query))
        size, words = size + length, words + 4 * len(message[1])
    if batch:
        yield batch


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("keldane")
    parser.add_argument("ledger")
    parser.add_argument("--words", type=int, default=3)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--list", action="store_true", help="name what is missing")
    options = parser.parse_args()
    choice = random.Random(options.seed)
    counts = {"ASCII": [0, 0], "non-ASCII": [0, 0]}
    asked, texts = [], {}
    for outcome, detail, offset, path in ledger_lines(options.ledger):
        if outcome != "archived":
            continue
        number = detail.split(",")[0]
        text = readable_text(parse(source_of(path, offset)))
        words = sorted(set(WORD.findall(text)))
        wanted = []
        for kind, of_kind in (("ASCII", [w for w in words if w.isascii()]),
                              ("non-ASCII", [w for w in words if not w.isascii()])):
            chosen = choice.sample(of_kind, min(options.words, len(of_kind)))
            counts[kind][1] += len(chosen)
            wanted += [(kind, word) for word in chosen]
        if wanted:
            asked.append((number, wanted))
            texts[number] = (path, text)
    for batch in batches(asked):
        found = ids(options.keldane, " OR ".join(query for _, query in batch))
        for (number, wanted), _ in batch:
            for kind, word in wanted:
                if number in found or ids(options.keldane, f'id:{number} "{word}"'):
                    counts[kind][0] += 1
                elif options.list:
                    path, text = texts[number]
                    at = text.find(word)
                    print(f"{number}: {word!r} in {text[max(at - 20, 0):at + len(word) + 20]!r}, "
                          f"{path}")
    for kind, (there, all_words) in counts.items():
        print(f"{kind}: {there} of {all_words} words found "
              f"({100 * there / max(all_words, 1):.2f} %)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
