#!/usr/bin/env python3
"""Shows every n-th message of an archive as text, HTML and source, and beside them all messages with
attachments; lists and saves the attachments, and compares what was saved with what a second reader
makes of the stored source. Differences are printed by kind, with the first few of each; a command
that fails or crashes makes the check fail.

Usage: check_reading.py KELDANE [EVERY_NTH]     (HOME says which archive)"""
import collections
import email
import email.policy
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile

SHOWN_OF_A_KIND = 5


class Reading:
    def __init__(self, keldane):
        self.keldane = keldane
        self.failures = []

    def run(self, *arguments):
        done = subprocess.run([self.keldane, *map(str, arguments)], capture_output=True)
        if done.returncode != 0:
            self.failures.append(f"{' '.join(map(str, arguments))}: status {done.returncode}, "
                                 f"{done.stderr.decode('utf-8', 'replace').strip()}")
        return done.stdout

    def messages(self):
        """Ids, and whether the message has attachments."""
        rows = self.run("list", "--limit", 1000000, "--json").decode("utf-8").splitlines()
        rows = [json.loads(row) for row in rows]
        return sorted((row["id"], row["attachments"] != 0) for row in rows)

    def saved(self, number, folder):
        """Name as listed, and the bytes of the file, of each attachment."""
        lines = self.run("attachments", number, "--save", folder, "--json").decode("utf-8")
        result = []
        for line in lines.splitlines():
            item = json.loads(line)
            path = item["file"]
            if os.path.dirname(os.path.realpath(path)) != os.path.realpath(folder):
                self.failures.append(f"{number}: {path} lies outside its folder")
            if os.stat(path).st_mode & 0o777 != 0o600:
                self.failures.append(f"{number}: {path} can be read by others")
            with open(path, "rb") as file:
                data = file.read()
            if len(data) != item["size"]:
                self.failures.append(f"{number}: {path} has not the size listed")
            result.append((item["name"], item["type"], data))
        return result


def leaves(source):
    """Name, type and bytes of every leaf of a message, as the second reader has it."""
    for part in email.message_from_bytes(source, policy=email.policy.compat32).walk():
        if part.is_multipart():
            if part.get_content_type() == "message/rfc822":
                inner = part.get_payload(0)
                yield part.get_filename(), part.get_content_type(), inner.as_bytes()
            continue
        yield part.get_filename(), part.get_content_type(), part.get_payload(decode=True) or b""


def lines_as_lf(data):
    return data.replace(b"\r\n", b"\n").replace(b"\r", b"\n")


def lines_without_ends(data):
    return b"\n".join(line.rstrip() for line in lines_as_lf(data).split(b"\n")).strip()


def same_text(data, parts):
    """Whether a part is this text but for its charset and the white space at its ends and those of its
    lines, which a quoted-printable reader has to drop."""
    wanted = lines_without_ends(data)
    for part in parts:
        for charset in ("utf-8", "latin-1", "cp1252", "iso-2022-jp", "shift_jis", "gb18030", "big5",
                        "euc-kr", "koi8-r", "cp1251", "utf-16"):
            try:
                if lines_without_ends(part.decode(charset).encode("utf-8")) == wanted:
                    return True
            except UnicodeDecodeError:
                continue
    return False


def kind_of(name, content_type, data, parts, source):
    whole = [part for _, _, part in parts]
    if data in whole:
        return "the same"
    if name == "htmlversion.html":
        return ("HTML version, the same but for charset and line ends"
                if same_text(data, whole) else "HTML version, rewritten")
    if any(lines_as_lf(data) == lines_as_lf(part) for part in whole):
        return "line ends differ"
    if any(lines_as_lf(data).strip() == lines_as_lf(part).strip() for part in whole):
        return "line ends and white space at the ends differ"
    if same_text(data, whole):
        return "text in another charset"
    if content_type == "message/rfc822" or any(kind == "message/rfc822" for _, kind, _ in parts):
        return "message within the message, regenerated"
    if re.search(rb"^begin [0-7]+ " + re.escape(name.encode()) + rb"\r?$", source, re.M):
        return "uuencoded within the text, which the second reader leaves there"
    if any(data and (part.startswith(data) or data.startswith(part)) for part in whole if part):
        return "one reader has more at the end"
    return "different: " + content_type


def missing_of(items, parts):
    """Leaves that the second reader calls attachments and that nothing saved equals."""
    digests = {hashlib.sha256(lines_as_lf(data).strip()).digest() for _, _, data in items}
    for name, content_type, data in parts:
        if name and len(data) > 2 and hashlib.sha256(
                lines_as_lf(data).strip()).digest() not in digests:
            yield name, content_type


def main():
    reading = Reading(sys.argv[1])
    step = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    kinds = collections.defaultdict(list)
    views = collections.Counter()
    numbers = [number for place, (number, attached) in enumerate(reading.messages())
               if attached or place % step == 0]
    for number in numbers:
        text = reading.run("show", number)
        html = reading.run("show", number, "--html")
        source = reading.run("show", number, "--source")
        views["as HTML" if not html.endswith(b"</pre>\n") else "text as a page"] += 1
        if not text.startswith(f"ID: {number}\nDATE: ".encode()):
            kinds["text without its fields"].append(str(number))
        if not html.startswith(b"<div style='padding-bottom: 20px;'>"):
            kinds["HTML without header block (the stored body is an HTML document)"].append(
                str(number))
        with tempfile.TemporaryDirectory() as folder:
            items = reading.saved(number, folder)
        parts = list(leaves(source))
        for name, content_type, data in items:
            kinds["attachment: " + kind_of(name, content_type, data, parts, source)].append(
                f"{number} {name!r} {content_type}")
        for name, content_type in missing_of(items, parts):
            kinds["named part that is not saved in the same bytes"].append(
                f"{number} {name!r} {content_type}")
    print(f"{len(numbers)} messages; " + ", ".join(f"{n} {view}" for view, n in views.items()))
    for kind in sorted(kinds):
        print(f"{len(kinds[kind]):6} {kind}")
        if kind != "attachment: the same":
            for each in kinds[kind][:SHOWN_OF_A_KIND]:
                print("           " + each)
    print(f"{len(reading.failures)} failures")
    for failure in reading.failures[:20]:
        print("  " + failure)
    return 1 if reading.failures or not numbers else 0


if __name__ == "__main__":
    sys.exit(main())
