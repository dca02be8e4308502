"""Reads the messages that a run's ledger names, as Python's own reader sees them."""
import email
import email.policy
import html.parser
import re

SKIPPED_ELEMENTS = {"style", "script", "title"}


def unescape(text):
    """A field of the ledger as it was before its control characters and backslashes were escaped."""
    plain = {"t": "\t", "n": "\n", "r": "\r", "\\": "\\"}
    return re.sub(r"\\(x[0-9a-f]{2}|.)",
                  lambda found: plain.get(found[1]) or chr(int(found[1][1:], 16)), text)


def ledger_lines(path):
    """Outcome, detail, offset (None: the whole file) and file of each line for the eye."""
    with open(path, encoding="utf-8", errors="surrogateescape") as lines:
        for line in lines:
            cells = line.rstrip("\n").split("\t")
            if line.startswith("#") or len(cells) != 4:
                continue
            offset = None if cells[2] == "-" else int(cells[2])
            yield cells[0], unescape(cells[1]), offset, unescape(cells[3])


def as_text(data):
    """Bytes of a file as the archive keeps them: UTF-8, or else read as Latin-1, line ends as LF."""
    try:
        text = data.decode("utf-8")
    except UnicodeDecodeError:
        text = data.decode("latin-1")
    return text.replace("\r\n", "\n").replace("\r", "\n").replace("\0", "").encode("utf-8")


def source_of(path, offset):
    """The message at that place, as `as_text` gives it; of an mbox without its separator line."""
    with open(path, "rb") as file:
        if offset is None:
            return as_text(file.read())
        file.seek(offset)
        lines = [file.readline()]
        for line in file:
            if line.startswith(b"From "):
                break
            lines.append(line)
    return as_text(b"".join(lines[1:]))


def parse(source):
    """The message of a source, the client's count line and property list taken off."""
    source = re.sub(rb"\A\d+[ \t]*\n", b"", source)
    tail = source.rfind(b"<?xml")
    if tail > 0 and b"Apple//DTD PLIST" in source[tail:]:
        source = source[:tail]
    source = re.sub(rb"\AFrom [^\n]*\n", b"", source)
    return email.message_from_bytes(source, policy=email.policy.compat32)


def leaves(message):
    """Type, charset and decoded bytes of each leaf, in order."""
    for part in message.walk():
        if part.is_multipart():
            continue
        data = part.get_payload(decode=True) or b""
        yield part.get_content_type(), part.get_content_charset(), data, part


def decoded(data, charset):
    """Text of a part: in its charset, or in UTF-8, or in Latin-1, whichever takes it first. A source
    that was read as Latin-1 has its 8-bit bytes as UTF-8 by now; they are turned back first."""
    tries = [(data, charset or "utf-8"), (data, "utf-8"), (data, "latin-1")]
    try:
        tries.insert(0, (data.decode("utf-8").encode("latin-1"), charset or "utf-8"))
    except UnicodeError:
        pass
    for raw, name in tries:
        try:
            return raw.decode(name)
        except (LookupError, UnicodeError):
            continue
    return ""


class HtmlText(html.parser.HTMLParser):
    """Collects what a person reads of a page."""

    def __init__(self):
        super().__init__()
        self.pieces = []
        self.skipping = 0

    def handle_starttag(self, tag, attrs):
        self.skipping += tag in SKIPPED_ELEMENTS

    def handle_endtag(self, tag):
        self.skipping -= tag in SKIPPED_ELEMENTS and self.skipping > 0

    def handle_data(self, data):
        if not self.skipping:
            self.pieces.append(data)


def html_text(page):
    reader = HtmlText()
    reader.feed(page)
    reader.close()
    return " ".join(reader.pieces)


def readable_text(message):
    """What a person reads of the message: its plain texts, or its pages where it has none."""
    plain, pages = [], []
    for kind, charset, data, part in leaves(message):
        if part.get_content_disposition() == "attachment" or part.get_filename():
            continue
        if kind == "text/plain":
            plain.append(decoded(data, charset))
        elif kind == "text/html":
            pages.append(html_text(decoded(data, charset)))
    return "\n".join(plain) if "".join(plain).strip() else "\n".join(pages)
