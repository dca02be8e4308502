#!/usr/bin/env python3
"""Compares our reading of 8-bit text in mail with a second reader's.

    compare_text.py FOLDER [--keldane PROGRAM]

For every part of the mail below FOLDER (.emlx, .eml, .mbox, and files without a suffix) that is
text, declares a charset and has 8-bit bytes (or escapes) behind its transfer encoding, the text
that `keldane inspect` gives is held against Python's decoding of the same bytes. Prints how many
parts were compared and how many differ, and each difference with its reason. Status 1 when there is
one without a reason.
"""

import argparse
import codecs
import collections
import email
import html
import json
import os
import re
import subprocess
import sys
import tempfile

# Charsets that are in practice sent as a larger one, which is what every reader of mail takes.
SUPERSETS = {
    "gb2312": ["gb18030", "gbk"],
    "gbk": ["gb18030"],
    "shift_jis": ["cp932"],
    "euc_kr": ["cp949"],
    "big5": ["cp950", "big5hkscs"],
    "big5hkscs": ["cp950"],
    "iso8859-1": ["cp1252"],
    "ascii": ["latin-1", "cp1252"],
    "tis-620": ["cp874"],
    "iso8859-11": ["cp874"],
    "iso2022_jp": ["iso2022_jp_2", "iso2022_jp_ext"],
    "euc_jp": ["euc_jis_2004"],
    "johab": ["cp1361"],
}
STATEFUL = ("iso2022", "hz", "utf_7", "utf-7")
SUFFIXES = (".eml", ".emlx", ".mbox", "")
BATCH = 200

codecs.register_error(
    "latin1", lambda e: ("".join(chr(b) for b in e.object[e.start : e.end]), e.end)
)


def plain(text):
    """What a difference in line ends, NULs, a BOM or blanks at the end leaves alike."""
    text = text.replace("\r\n", "\n").replace("\r", "\n").replace("\0", " ").lstrip("\ufeff")
    return text.rstrip()


def mended(text):
    """The repair of a line that an mbox has escaped twice, which our reading does on purpose."""
    return re.sub(r"^>>From", "Return-path:", text, flags=re.MULTILINE)


def without_line_blanks(text):
    """Blanks at the ends of quoted-printable lines are added on the way, and we drop them."""
    return re.sub(r"[ \t]+$", "", text, flags=re.MULTILINE)


def long_codes(data):
    """Some mailers write a byte as a signed number, "=FFFFFFA9"."""
    return re.sub(rb"\xff(?:FF)+([0-9A-F]{2})", lambda m: bytes.fromhex(m[1].decode()), data)


def message_bytes(path):
    """The messages of a file as (label, bytes)."""
    with open(path, "rb") as file:
        data = file.read()
    if path.endswith(".emlx"):
        count, _, rest = data.partition(b"\n")
        if count.strip().isdigit():
            data = rest[: int(count)]
        return [(path, data)]
    pieces = [data]
    if not path.endswith(".eml") and data.startswith(b"From "):
        pieces = re.split(rb"\r?\n(?=From )", data)
    if len(pieces) == 1:
        return [(path, data)]
    return [(f"{path} (message {i + 1})", piece) for i, piece in enumerate(pieces)]


def without_separator(data):
    return data.partition(b"\n")[2] if data.startswith(b"From ") else data


def collect(folder):
    found = []
    for root, folders, files in os.walk(folder):
        folders.sort()
        for name in sorted(files):
            if os.path.splitext(name)[1] in SUFFIXES:
                found += message_bytes(os.path.join(root, name))
    return found


def our_parts(messages, program):
    """The parts that the program finds in each message; None where it fails."""
    results = []
    with tempfile.TemporaryDirectory() as folder:
        for start in range(0, len(messages), BATCH):
            paths = []
            for i, (_, data) in enumerate(messages[start : start + BATCH]):
                path = os.path.join(folder, f"{start + i}.eml")
                with open(path, "wb") as file:
                    file.write(data)
                paths.append(path)
            run = subprocess.run(
                [program, "inspect", "--json", *paths], capture_output=True, check=False
            )
            if run.returncode not in (0, 1):
                sys.exit(f"{program}: ended with status {run.returncode}: {run.stderr[:500]!r}")
            by_file = {}
            for line in run.stdout.splitlines():
                message = json.loads(line)
                by_file[message["file"]] = message["parts"]
            results += [by_file.get(path) for path in paths]
            for path in paths:
                os.unlink(path)
    return results


class Part:
    def __init__(self, entity, charset, data):
        self.type = entity.get_content_type()
        self.encoding = str(entity.get("content-transfer-encoding", "")).strip().lower()
        self.charset = charset
        self.data = data


def declared_text_parts(data):
    message = email.message_from_bytes(without_separator(data))
    for part in message.walk():
        if part.is_multipart() or part.get_content_maintype() != "text":
            continue
        charset = part.get_param("charset")
        if isinstance(charset, tuple):
            charset = charset[2]
        if not charset:
            continue
        try:
            payload = part.get_payload(decode=True)
        except Exception:  # a fault of the other reader; the part cannot be compared
            yield Part(part, str(charset), None)
            continue
        name = str(charset).strip().strip("\"'").lower()
        stateful = any(name.replace("-", "").startswith(s.replace("_", "")) for s in STATEFUL)
        if payload and (any(b >= 0x80 for b in payload) or (stateful and b"\x1b" in payload)):
            yield Part(part, name, payload)


def decodings(part):
    """Texts that the part may be read as, with the reason; the first is the declared one."""
    data = part.data
    try:
        codec = codecs.lookup(part.charset).name
    except (LookupError, ValueError):
        codec = None
    if codec:
        yield "", decode(data, codec, "strict")
        for wider in SUPERSETS.get(codec, []):
            yield f"{codec} read as {wider}, its superset", decode(data, wider, "strict")
    else:
        yield "a charset that the second reader does not know, read as ISO Latin 1", decode(
            data, "latin-1", "strict"
        )
    yield "the bytes are UTF-8 under another label", decode(data, "utf-8", "strict")
    if codec:
        for name in [codec, *SUPERSETS.get(codec, [])]:
            yield f"bytes that {name} does not define, dropped", decode(data, name, "ignore")
            yield f"bytes that {name} does not define, kept as ISO Latin 1", decode(
                data, name, "latin1"
            )
    yield "damaged UTF-8 under another label, the rest as ISO Latin 1", decode(
        data, "utf-8", "latin1"
    )


def decode(data, codec, errors):
    try:
        return data.decode(codec, errors)
    except (UnicodeError, LookupError, ValueError):
        return None


def explain(part, texts):
    """"" when a text of ours is the declared reading, the reason of another reading, or None."""
    ours = {plain(text) for text in texts}
    is_quoted = part.encoding == "quoted-printable"
    bare = {without_line_blanks(text) for text in ours} if is_quoted else set()
    unescaped = {html.unescape(text) for text in bare}
    for reason, text in decodings(part):
        if text is None:
            continue
        wanted = plain(text)
        if wanted in ours:
            return reason
        more = reason + "; " if reason else ""
        if mended(wanted) in ours:
            return more + '">>From" mended'
        if not is_quoted:
            continue
        # Blanks alone are no difference worth a line.
        if without_line_blanks(wanted) in bare:
            return reason
        if without_line_blanks(mended(wanted)) in bare:
            return more + '">>From" mended'
        # Entities for bytes of the charset become these bytes before they are read.
        if html.unescape(without_line_blanks(wanted)) in unescaped:
            return more + "numeric entities taken for bytes"
    if is_quoted and (shorter := long_codes(part.data)) != part.data:
        part.data = shorter
        rest = explain(part, texts)
        return None if rest is None else (rest + "; " if rest else "") + "=FFxx read as one byte"
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder")
    parser.add_argument("--keldane", default="keldane", metavar="PROGRAM")
    options = parser.parse_args()
    messages = collect(options.folder)
    if not messages:
        sys.exit(f"{options.folder}: no mail in it")
    compared = 0
    failed = 0
    differing = collections.Counter()
    lines = []
    for (label, data), parts in zip(messages, our_parts(messages, options.keldane)):
        if parts is None:
            failed += 1
            lines.append(f"{label}: NO ANSWER")
            continue
        texts = [part["text"] for part in parts if part.get("text") is not None]
        for part in declared_text_parts(data):
            if part.data is None:
                continue
            compared += 1
            reason = explain(part, texts)
            if reason == "":
                continue
            differing[reason or "UNEXPLAINED"] += 1
            lines.append(
                f"{label}: {part.type} {part.charset} {part.encoding or 'raw'}: "
                f"{reason or 'UNEXPLAINED'}"
            )
    for line in lines:
        print(line)
    print(f"{len(messages)} messages, {compared} parts compared, {sum(differing.values())} differ")
    for reason, count in differing.most_common():
        print(f"  {count}  {reason}")
    if failed:
        print(f"  {failed} messages without an answer")
    return 1 if failed or differing["UNEXPLAINED"] else 0


if __name__ == "__main__":
    sys.exit(main())
