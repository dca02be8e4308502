#!/usr/bin/env python3
"""Archives folders of mail, exports every message in every format, and reads the exports back: eml, maildir
and mboxrd give each source to the byte, and archived into a second database the same messages; tab, comma,
csv, json, mbox and sql are read by Python and by the `mysql` tool and compared with the rows. Some of the
messages have tags.

Usage: export_round_trip.py KELDANE FOLDER..."""
import base64
import csv
import email
import hashlib
import json
import mailbox
import os
import re
import subprocess
import sys
import tempfile

from archive_db import Archive, check, faults, server_socket

DATABASE = "myemaildb"
COLUMNS = "id,date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach"
TAGS = "id,cat_fld,key_fld,priority_fld,notes_fld"


class Rig:
    def __init__(self, keldane, home):
        self.keldane, self.home = keldane, home
        self.environment = dict(os.environ, HOME=home, TMPDIR=home, TZ="UTC", LC_ALL="C.UTF-8")

    def run(self, *words, may_fail=False):
        out = subprocess.run([self.keldane, "--quiet", *words], env=self.environment,
                             capture_output=True, text=True, errors="replace")
        if out.returncode and not may_fail:
            sys.exit(f"{words}: {out.returncode}\n{out.stdout}{out.stderr}")
        return out

    def archive(self, database, *paths):
        self.run("archive", *paths, "--database", database, may_fail=True)

    def open(self, database):
        return Archive(server_socket(self.keldane, self.environment), database)

    def path(self, name):
        return os.path.join(self.home, name)

    def export(self, kind, name, *words):
        """Answers the path, and how many messages the archive says it left out."""
        out = self.run("export", kind, self.path(name), *words, may_fail=True)
        missing = re.search(r"(\d+) of \d+ messages are not in it", out.stderr)
        check(out.returncode == 0 or missing, f"export {kind}: {out.stderr}")
        return self.path(name), int(missing.group(1)) if missing else 0


def text_of(hexadecimal):
    raw = bytes.fromhex(hexadecimal)
    try:
        return raw.decode("utf-8")
    except UnicodeDecodeError:
        return raw.decode("latin-1")


def rows_of(archive, columns, table="email"):
    """The rows by their ids; every other cell as text."""
    names = columns.split(",")
    cells = ",".join(["id"] + [f"HEX(CONCAT({name}))" for name in names[1:]])
    return {row[0]: [text_of(cell) for cell in row[1:]]
            for row in archive.rows(f"SELECT {cells} FROM {table} ORDER BY id")}


def origins(archive):
    """Digest and size of each source as it lay in its file, and the path, by id."""
    return {row[0]: (row[1].lower(), int(row[2]), text_of(row[3])) for row in archive.rows(
        "SELECT id,HEX(source_sha256),size_bytes,HEX(path) FROM keldane_fingerprints "
        "WHERE source_sha256 IS NOT NULL")}


def contents(archive):
    """The content digests of all messages, as often as they occur."""
    return sorted(row[0] for row in archive.rows(
        "SELECT HEX(content_sha256) FROM keldane_fingerprints WHERE content_sha256 IS NOT NULL"))


def of_emlx(raw):
    """The message of a file that begins with its length."""
    line, _, rest = raw.partition(b"\n")
    return rest[:int(line)] if line.strip().isdigit() else raw


def file_of(path, cache={}):
    if path not in cache and os.path.isfile(path):
        with open(path, "rb") as file:
            cache[path] = file.read()
    return cache.get(path)


def wanted_sources(archive):
    """By id, the bytes that an export has to give back, and those that it cannot: parts put together,
    files that hold several messages (known by digest alone)."""
    wanted, by_digest = {}, {}
    for number, (digest, size, path) in origins(archive).items():
        raw = file_of(path)
        if raw is not None and len(raw) == size and hashlib.sha256(raw).hexdigest() == digest:
            wanted[number] = of_emlx(raw) if path.endswith(".emlx") else raw
        else:
            by_digest[number] = digest
    return wanted, by_digest


def compare_sources(kind, found, wanted, by_digest):
    """`found`: the bytes of each id, as read back."""
    exact = sum(found.get(number) == raw for number, raw in wanted.items())
    exact += sum(number in found and hashlib.sha256(found[number]).hexdigest() == digest
                 for number, digest in by_digest.items())
    for number, raw in wanted.items():
        if found.get(number) != raw:
            print(f"    {number}: {file_name(number)} differs" if number in found else f"    {number} is missing")
    for number, digest in by_digest.items():
        if number in found and hashlib.sha256(found[number]).hexdigest() != digest:
            print(f"    {number}: not the bytes that were read: {file_name(number)}")
    print(f"  {kind}: {exact} of {len(wanted) + len(by_digest)} sources to the byte, {len(found)} messages")
    return exact


names = {}


def file_name(number):
    return names.get(number, "?")


def read_eml(folder):
    found = {}
    for name in os.listdir(folder):
        with open(os.path.join(folder, name), "rb") as file:
            found[re.search(r" (\d+)\.eml$", name).group(1)] = file.read()
    return found


def read_maildir(folder):
    found = {}
    for name in os.listdir(os.path.join(folder, "cur")):
        with open(os.path.join(folder, "cur", name), "rb") as file:
            found[re.search(r"Q(\d+)\.keldane", name).group(1)] = file.read()
    check(len(mailbox.Maildir(folder)) == len(found), "Python's Maildir has another number")
    return found


def restored(message):
    """The source out of a message with its separator line, as archive/mboxrd_form.h has it."""
    line, _, rest = message.partition(b"\n")
    mark = re.search(rb" remote from keldane-export(\.own)?(\.unended)?(\r?)$", line)
    check(mark, f"a separator line of another form: {line[:80]}")
    rest = re.sub(rb"(?m)^>(>*From )", rb"\1", rest)
    if mark.group(1):
        rest = line[:mark.start()] + mark.group(3) + b"\n" + rest
    return rest[:-1] if mark.group(2) and rest.endswith(b"\n") else rest


def read_mboxrd(path, ids):
    box = mailbox.mbox(path, create=False)
    keys = box.keys()
    check(len(keys) == len(ids), f"Python's mbox finds {len(keys)} of {len(ids)} messages")
    # Another way to cut: at separator lines behind an empty line alone.
    with open(path, "rb") as file:
        cut = len(re.findall(rb"(?:\A|\n\n|\n\r\n)From ", file.read()))
    check(cut == len(ids), f"{cut} separator lines behind empty lines of {len(ids)}")
    return {number: restored(box.get_bytes(key, from_=True)) for number, key in zip(ids, keys)}


def utf16_pieces(path):
    """The text of a file whose pieces have byte-order marks of their own."""
    with open(path, "rb") as file:
        return file.read().decode("utf-16-le").replace("\ufeff", "")


def compare_table(kind, got, wanted):
    same = sum(got.get(number) == row for number, row in wanted.items())
    check(same == len(wanted) == len(got), f"{kind}: {same} of {len(wanted)} rows are the same")
    for number, row in wanted.items():
        if got.get(number) != row:
            print(f"    {number}: {[(a, b) for a, b in zip(row, got.get(number, row)) if a != b][:1]!r:.300}")
    print(f"  {kind}: {same} of {len(wanted)} rows the same")


def without_marks(row):
    """A byte-order mark inside a value cannot be told from those of the format."""
    return [cell.replace("\ufeff", "") for cell in row]


def as_tab(value):
    return value.replace("\t", " ").replace("\r", "\v").replace("\n", "\v")


def check_tables(rig, archive):
    rows = {number: without_marks(row) for number, row in rows_of(archive, COLUMNS).items()}
    path, _ = rig.export("tab", "all.tab", "--no-source")
    lines = [line.split("\t") for line in utf16_pieces(path).split("\n")[1:-1]]
    compare_table("tab", {line[0]: line[1:] for line in lines},
                  {number: [as_tab(cell) for cell in row] for number, row in rows.items()})
    path, _ = rig.export("comma", "all.csv", "--no-source")
    csv.field_size_limit(1 << 30)
    lines = list(csv.reader(iter_lines(utf16_pieces(path))))[1:]
    compare_table("comma", {line[0]: line[1:] for line in lines}, rows)
    every = "id,date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach,attachNames,attachText,headings"
    rows, tags = rows_of(archive, every), rows_of(archive, TAGS, "tags")
    path, _ = rig.export("csv", "rfc.csv")
    with open(path, encoding="utf-8", newline="") as file:
        lines = list(csv.reader(file))[1:]
    wanted = {number: row + tags.get(number, [""] * 4) for number, row in rows.items()}
    compare_table("csv", {line[0]: line[1:16] for line in lines}, wanted)
    path, _ = rig.export("json", "all.json")
    got = {}
    attachments = {}
    with open(path, encoding="utf-8", newline="\n") as file:
        for line in file:
            one = json.loads(line)
            number = str(one["id"])
            attachments[number] = sorted(hashlib.sha256(base64.b64decode(part["base64"])).hexdigest()
                                         for part in one["attachments"])
            got[number] = [str(one[key]) for key in ("date", "from", "to", "subject", "mailto", "mailbox", "body",
                                                     "numattach", "attachnames", "attachtext", "headings")]
            tagged = one["tags"] or dict.fromkeys(("category", "keywords", "priority", "notes"), "")
            got[number] += [str(tagged[key]) for key in ("category", "keywords", "priority", "notes")]
    compare_table("json", got, wanted)
    stored = {}
    for number, digest in archive.rows("SELECT id,SHA2(attach_fld,256) FROM attachments"):
        stored.setdefault(number, []).append(digest)
    same = sum(attachments[number] == sorted(stored.get(number, [])) for number in rows)
    check(same == len(rows), f"json: the attachments of {same} of {len(rows)} messages are the same")


def iter_lines(text):
    """Lines at line feeds alone, with their ends, as the csv module wants them."""
    for line in re.findall(r"[^\n]*\n|[^\n]+$", text):
        yield line


def check_addresses(rig, archive):
    path, _ = rig.export("addresses", "all.txt")
    with open(path, encoding="ascii") as file:
        found = file.read().split("\n")[:-1]
    check(all("@" in line for line in found), "addresses: a line without an address")
    print(f"  addresses: {len(found)} lines")


def check_mbox(rig, ids):
    """The prescribed mbox quotes one way only, and escapes: as many messages, in their order."""
    path, missing = rig.export("mbox", "all.mbox")
    box = mailbox.mbox(path, create=False)
    check(len(box.keys()) == len(ids) - missing, f"mbox: Python finds {len(box.keys())} messages of "
          f"{len(ids) - missing}")
    readable = sum(bool(email.message_from_bytes(box.get_bytes(key)).keys()) for key in box.keys())
    print(f"  mbox: Python finds {len(box.keys())} messages, {missing} left out, {readable} with a header")


def check_sql(rig, archive):
    path, _ = rig.export("sql", "all.sql", "--sql-database", "copied", "--first-id", "1001")
    with open(path, "rb") as file:
        done = subprocess.run(["mysql", "--no-defaults", "--binary-mode", "--default-character-set=utf8mb4",
                               "--max-allowed-packet=500M", "-u", "root", "--socket",
                               server_socket(rig.keldane, rig.environment)],
                              stdin=file, capture_output=True, text=True, errors="replace")
    check(done.returncode == 0, f"sql: mysql says {done.stderr}")
    copy = rig.open("copied")
    columns = "id,date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach,attachNames,attachText"
    ids = list(rows_of(archive, "id"))
    new = {number: str(1001 + place) for place, number in enumerate(listed(rig))}
    check(sorted(new) == sorted(ids), "sql: another list")
    for table, names_of in (("email", columns), ("tags", TAGS)):
        wanted = {new[number]: row for number, row in rows_of(archive, names_of, table).items()}
        compare_table(f"sql, {table}", rows_of(copy, names_of, table), wanted)
    parts = "SELECT id,HEX(type_fld),HEX(filename_fld),SHA2(attach_fld,256) FROM attachments"
    wanted = sorted((new[row[0]], *row[1:]) for row in archive.rows(parts))
    check(sorted(tuple(row) for row in copy.rows(parts)) == wanted, "sql: attachments differ")
    print(f"  sql, attachments: {len(wanted)} compared")


def listed(rig):
    out = rig.run("list", "--limit", "none", "--json").stdout
    # An export without ids goes by the order of the settings' search.
    path = rig.path("order.json")
    rig.run("export", "json", path, "--no-attachments")
    with open(path, encoding="utf-8") as file:
        order = [str(json.loads(line)["id"]) for line in file]
    check(len(order) == out.count("\n"), "another number of messages")
    return order


def check_again(rig, kind, path, wanted):
    """The export archived into a database of its own: the same messages, both ways."""
    database = f"again_{kind}"
    rig.archive(database, path)
    found = contents(rig.open(database))
    gone = len([each for each in set(wanted) if each not in set(found)])
    more = len([each for each in set(found) if each not in set(wanted)])
    check(not gone and not more, f"{kind} archived again: {gone} messages are gone, {more} are others")
    origin = {digest for digest, _, _ in origins(rig.open(database)).values()}
    print(f"  {kind} archived again: {len(found)} messages, {gone} gone, {more} others")
    return origin


def main():
    keldane = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="kd-trip-") as home:
        rig = Rig(keldane, home)
        rig.run("server", "start")
        try:
            rig.archive(DATABASE, *[os.path.abspath(folder) for folder in sys.argv[2:]])
            archive = rig.open(DATABASE)
            ids = listed(rig)
            rig.run("tag", *ids[::7], "--category", 'Käse, "alt"', "--keywords", "one two's", "--notes",
                    "a\ttab\nand\\n", "--priority", "high")
            names.update({number: path for number, (_, _, path) in origins(archive).items()})
            wanted, by_digest = wanted_sources(archive)
            print(f"{len(ids)} messages; the bytes of {len(wanted)} lie in files, of {len(by_digest)} in others")
            eml, _ = rig.export("eml", "eml")
            maildir, _ = rig.export("maildir", "maildir")
            mboxrd, _ = rig.export("mboxrd", "all.mboxrd")
            for kind, found in (("eml", read_eml(eml)), ("maildir", read_maildir(maildir)),
                                ("mboxrd", read_mboxrd(mboxrd, ids))):
                check(compare_sources(kind, found, wanted, by_digest) == len(wanted) + len(by_digest),
                      f"{kind}: not every source is had back")
                check(len(found) == len(ids), f"{kind}: {len(found)} of {len(ids)} messages")
            sources = {hashlib.sha256(raw).hexdigest() for raw in wanted.values()}
            sources.update(by_digest.values())
            for kind, path in (("eml", eml), ("maildir", maildir), ("mboxrd", mboxrd)):
                again = check_again(rig, kind, path, contents(archive))
                print(f"    of {len(sources)} sources {len(sources & again)} have the same bytes there")
            check_mbox(rig, ids)
            check_addresses(rig, archive)
            check_tables(rig, archive)
            check_sql(rig, archive)
        finally:
            rig.run("server", "stop", may_fail=True)
    print(f"{len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
