"""Reads the messages that a run's ledger names, as Python's own reader sees them."""
import base64
import email
import email.policy
import html.parser
import re

SKIPPED_ELEMENTS = {"style", "script", "title"}
WITHIN_WORDS = {"a", "b", "big", "em", "font", "i", "s", "small", "span", "strong", "sub", "sup",
                "tt", "u"}


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


def payload(part):
    """The decoded bytes of a leaf. Base64 ends where a text that a list has added begins, and a byte
    that its writer took for a negative number has six digits too many."""
    encoding = str(part.get("content-transfer-encoding", "")).strip().lower()
    if encoding == "base64":
        lines = []
        for line in part.get_payload().split("\n"):
            if line.strip() and not re.fullmatch(r"[A-Za-z0-9+/]+=*", line.strip()):
                break
            lines.append(line.strip())
        digits = "".join(lines).rstrip("=")
        digits = digits[:-1] if len(digits) % 4 == 1 else digits
        return base64.b64decode(digits + "=" * (-len(digits) % 4))
    if encoding == "quoted-printable":
        part.set_payload(re.sub(r"=FFFFFF([89A-F][0-9A-F])", r"=\1", part.get_payload()))
    return part.get_payload(decode=True) or b""


def leaves(message):
    """Type, charset and decoded bytes of each leaf, in order."""
    for part in message.walk():
        if part.is_multipart():
            continue
        data = payload(part)
        charset = part.get_content_charset()
        declared = re.search(rb"<meta[^>]+charset=[\"']?([\w-]+)", data, re.IGNORECASE)
        if part.get_content_type() == "text/html" and declared and not charset:
            charset = declared[1].decode().lower()
        yield part.get_content_type(), charset, data, part


# What writers mean by these names, as every browser reads them.
MEANT = {"us-ascii": "cp1252", "ascii": "cp1252", "iso-8859-1": "cp1252", "latin-1": "cp1252",
         "gb2312": "gb18030", "gbk": "gb18030", "ks_c_5601-1987": "cp949", "euc-kr": "cp949",
         "shift_jis": "cp932", "iso-8859-9": "cp1254", "big5": "cp950"}


# What writers put there who have not thought of a charset.
UNLABELLED = {None, "us-ascii", "iso-8859-1"}


def is_japanese(data):
    """Whether 8-bit text is Shift JIS: it decodes, and a third of it is in the two syllabaries, which
    no other charset's text turns into."""
    try:
        wide = [c for c in data.decode("cp932") if c > "\x7f"]
    except UnicodeError:
        return False
    return len(wide) > 10 and sum("\u3040" <= c <= "\u30ff" for c in wide) * 3 > len(wide)


def decoded(data, charset):
    """Text of a part: in its charset, or in UTF-8, or in that of Windows, whichever takes it first;
    each line for itself where no charset takes the whole. A source that was read as Latin-1 has its
    8-bit bytes as UTF-8 by now; they are turned back first."""
    name = MEANT.get(charset or "utf-8", charset or "utf-8")
    try:
        data = data.decode("utf-8").encode("latin-1")
    except UnicodeError:
        pass
    if charset in UNLABELLED and is_japanese(data):
        return data.decode("cp932")
    # What is valid UTF-8 and not ASCII is that, whatever a charset of single bytes claims.
    tries = ["utf-8", name] if name.startswith("cp125") else [name, "utf-8"]
    for each in tries:
        try:
            return data.decode(each)
        except (LookupError, UnicodeError):
            continue
    lines = data.splitlines(keepends=True)
    if len(lines) > 1:
        return "".join(decoded(line, charset) for line in lines)
    return data.decode("cp1252", "replace")


class HtmlText(html.parser.HTMLParser):
    """Collects what a person reads of a page: a comment or a change of the font parts no word."""

    def __init__(self):
        super().__init__()
        self.pieces = []
        self.skipping = 0

    def handle_starttag(self, tag, attrs):
        self.skipping += tag in SKIPPED_ELEMENTS
        self.part(tag)

    def handle_endtag(self, tag):
        self.skipping -= tag in SKIPPED_ELEMENTS and self.skipping > 0
        self.part(tag)

    def part(self, tag):
        if tag not in WITHIN_WORDS:
            self.pieces.append(" ")

    def handle_data(self, data):
        if not self.skipping:
            self.pieces.append(data)


def html_text(page):
    reader = HtmlText()
    reader.feed(page)
    reader.close()
    return "".join(reader.pieces)


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
