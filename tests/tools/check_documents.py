#!/usr/bin/env python3
"""Archives messages with made-up documents, one of each kind in each of two languages, and looks for
their words in the index: all must be found. Damaged ones, one with a password and one that keeps its
program busy for ever must be listed as failures. Nothing may hang, no process may be left behind.

Usage: check_documents.py KELDANE"""
import base64
import io
import json
import os
import struct
import subprocess
import sys
import tempfile
import time
import zipfile
import zlib

GERMAN = "Kostümverleih Größe"
GREEK = "Ενοίκιο κοστουμιών"
MOST_SECONDS = 300


def pdf(objects):
    out = bytearray(b"%PDF-1.4\n")
    places = []
    for number, body in enumerate(objects, 1):
        places.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    table = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    out += b"".join(b"%010d 00000 n \n" % place for place in places)
    return bytes(out) + (b"trailer\n<</Size %d/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n"
                         % (len(objects) + 1, table))


def stream(data, extra=b""):
    return b"<</Length %d%s>>stream\n" % (len(data), extra) + data + b"\nendstream"


def pdf_page(content, font=b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>", more=()):
    return pdf([b"<</Type/Catalog/Pages 2 0 R>>", b"<</Type/Pages/Kids[3 0 R]/Count 1>>",
                b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 600 800]/Contents 4 0 R"
                b"/Resources<</Font<</F 5 0 R>>>>>>", content, font, *more])


def text_pdf(text):
    """A font of numbered characters and the table that tells which they are."""
    letters = sorted(set(text))
    table = "".join(f"<{i + 1:04X}><{ord(letter):04X}>\n" for i, letter in enumerate(letters))
    to_unicode = (f"/CIDInit/ProcSet findresource begin 12 dict begin begincmap\n/CMapName/A def\n"
                  f"1 begincodespacerange\n<0000><FFFF>\nendcodespacerange\n{len(letters)} "
                  f"beginbfchar\n{table}endbfchar\nendcmap end end\n").encode()
    shown = "".join(f"{letters.index(letter) + 1:04X}" for letter in text)
    return pdf_page(stream(f"BT /F 12 Tf 50 700 Td <{shown}> Tj ET".encode()),
                    b"<</Type/Font/Subtype/Type0/BaseFont/A/Encoding/Identity-H/ToUnicode 6 0 R"
                    b"/DescendantFonts[7 0 R]>>",
                    [stream(to_unicode),
                     b"<</Type/Font/Subtype/CIDFontType2/BaseFont/A/DW 600/CIDSystemInfo"
                     b"<</Registry(Adobe)/Ordering(Identity)/Supplement 0>>>>"])


def endless_pdf():
    """Ten thousand million bytes of drawing orders that draw nothing, packed twice."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    block = packer.compress(b"q Q " * 262144) + packer.flush(zlib.Z_FULL_FLUSH)
    packed = zlib.compress(b"\x78\x9c" + block * 10000, 9)
    return pdf_page(stream(packed, b"/Filter[/FlateDecode/FlateDecode]"))


def zipped(files):
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, text in files.items():
            archive.writestr(name, text)
    return out.getvalue()


def docx(text):
    return zipped({"[Content_Types].xml": "<Types/>", "word/document.xml":
                   f'<w:document xmlns:w="w"><w:body><w:p><w:r><w:t>{text}</w:t></w:r></w:p>'
                   "</w:body></w:document>"})


def xlsx(text):
    return zipped({"[Content_Types].xml": "<Types/>", "xl/sharedStrings.xml":
                   f"<sst><si><t>{text}</t></si></sst>", "xl/worksheets/sheet1.xml":
                   '<worksheet><sheetData><row><c t="s"><v>0</v></c></row></sheetData></worksheet>'})


def pptx(text):
    return zipped({"[Content_Types].xml": "<Types/>", "ppt/slides/slide1.xml":
                   f'<p:sld xmlns:p="p" xmlns:a="a"><a:p><a:r><a:t>{text}</a:t></a:r></a:p></p:sld>'})


def opendocument(kind):
    def make(text):
        return zipped({"mimetype": f"application/vnd.oasis.opendocument.{kind}", "content.xml":
                       '<office:document-content xmlns:office="o" xmlns:text="t"><office:body>'
                       f"<text:p>{text}</text:p></office:body></office:document-content>"})
    return make


def rtf(text):
    letters = "".join(c if c < "\x7f" else f"\\u{ord(c)}?" for c in text)
    return ("{\\rtf1\\ansi\\ansicpg1252 " + letters + "\\par}").encode()


def compound(name, content):
    """A container of the older office programs with one stream."""
    content = content.ljust(max(4096, -(-len(content) // 512) * 512), b"\0")
    sectors = len(content) // 512
    free, end = 0xFFFFFFFF, 0xFFFFFFFE
    fat = [0xFFFFFFFD, end] + [i + 3 for i in range(sectors - 1)] + [end]
    fat += [free] * (128 - len(fat))
    head = b"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1" + bytes(16) + struct.pack(
        "<HHHHH6sIIIIIIIII", 0x3E, 3, 0xFFFE, 9, 6, b"", 0, 1, 1, 0, 4096, end, 0, end, 0)
    head += struct.pack("<109I", 0, *[free] * 108)

    def entry(title, kind, child, start, size):
        raw = title.encode("utf-16-le")
        return (raw.ljust(64, b"\0") + struct.pack("<HBBIII", len(raw) + 2, kind, 1, free, free, child)
                + bytes(36) + struct.pack("<IQ", start, size))

    folder = entry("Root Entry", 5, 1, end, 0) + entry(name, 2, free, 2, len(content))
    folder += (bytes(64) + struct.pack("<HBBIII", 0, 0, 0, free, free, free) + bytes(48)) * 2
    return head + struct.pack("<128I", *fat) + folder + content


def doc(text):
    raw = (text + "\r").encode("utf-16-le")
    head = bytearray(1536)
    struct.pack_into("<HH", head, 0, 0xA5EC, 0xC1)
    struct.pack_into("<H", head, 10, 0x1000)  # the text is of two bytes a character
    struct.pack_into("<II", head, 24, len(head), len(head) + len(raw))
    return compound("WordDocument", bytes(head) + raw)


def xls(text):
    def record(kind, data):
        return struct.pack("<HH", kind, len(data)) + data

    string = struct.pack("<HB", len(text), 1) + text.encode("utf-16-le")
    return compound("Workbook", (
        record(0x809, struct.pack("<HHHHII", 0x600, 5, 0, 1997, 0, 6))
        + record(0xFC, struct.pack("<II", 1, 1) + string) + record(0x0A, b"")
        + record(0x809, struct.pack("<HHHHII", 0x600, 0x10, 0, 1997, 0, 6))
        + record(0xFD, struct.pack("<HHHI", 0, 0, 0, 0)) + record(0x0A, b"")))


KINDS = {"pdf": text_pdf, "docx": docx, "xlsx": xlsx, "pptx": pptx, "odt": opendocument("text"),
         "ods": opendocument("spreadsheet"), "odp": opendocument("presentation"), "rtf": rtf,
         "doc": doc, "xls": xls, "txt": lambda text: text.encode(),
         "csv": lambda text: text.replace(" ", ";").encode()}


def documents():
    """Name and bytes of all, and the words to be found in each; none: it is to fail."""
    for kind, make in KINDS.items():
        yield f"german.{kind}", make(GERMAN), GERMAN
        yield f"greek.{kind}", make(GREEK), GREEK
    yield "damaged.pdf", text_pdf(GERMAN)[60:200], None
    yield "damaged.docx", docx(GERMAN)[:120], None
    yield "secret.docx", compound("EncryptedPackage", b"\x01" * 5000), None
    yield "endless.pdf", endless_pdf(), None


def write_message(folder, name, data, number):
    path = os.path.join(folder, f"{number}.eml")
    body = base64.encodebytes(data).decode()
    kind = "text/plain; charset=utf-8" if name.endswith((".txt", ".csv")) else "application/octet-stream"
    with open(path, "w", encoding="ascii") as file:
        file.write(f"From: a@example.org\nTo: b@example.org\nSubject: number {number}\n"
                   "Date: Tue, 5 Mar 2019 10:20:30 +0000\nMIME-Version: 1.0\n"
                   "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nattached\n--b\n"
                   f"Content-Type: {kind}; name={name}\nContent-Transfer-Encoding: base64\n"
                   f"Content-Disposition: attachment; filename={name}\n\n{body}\n--b--\n")
    os.utime(path, (1e9, 1e9))  # a new file would be left to rest


def left_behind(home):
    """Programs that still read a document, started by whoever works in this folder."""
    found = []
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/cmdline", "rb") as file:
                name = os.path.basename(file.read().split(b"\0")[0])
            with open(f"/proc/{process}/environ", "rb") as file:
                is_ours = home.encode() in file.read()
        except OSError:
            continue
        if is_ours and name in (b"pdftotext", b"catdoc", b"xls2csv", b"unrtf"):
            found.append(f"{process} {name.decode()}")
    return found


def main():
    keldane = os.path.abspath(sys.argv[1])
    faults = []
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, HOME=home, TMPDIR=home)

        def run(*words):
            return subprocess.run([keldane, "--quiet", *words], env=environment, text=True, check=True,
                                  capture_output=True, timeout=MOST_SECONDS).stdout

        mail = os.path.join(home, "mail")
        os.makedirs(mail)
        made = list(documents())
        for number, (name, data, _) in enumerate(made, 1):
            write_message(mail, name, data, number)
        run("archive", "--no-index", mail)
        begin = time.monotonic()
        run("index", "update")
        print(f"{len(made)} documents indexed in {time.monotonic() - begin:.1f} s")
        failures = {entry["attachment"]: entry["reason"]
                    for entry in json.loads(run("index", "failures", "--json"))}
        for name, _, text in made:
            query = f"file:{name} " + " ".join(f"attachment:{word}" for word in (text or "").split())
            if text and run("find", "--count", "--", query).strip() != "1":
                faults.append(f"{name}: not found; {failures.get(name, 'no failure listed')}")
            if not text:
                print(f"{name}: {failures.get(name, 'NOT LISTED')}")
                faults += [] if name in failures else [f"{name}: its failure is not listed"]
        faults += [f"left behind: {process}" for process in left_behind(home)]
        left = [name for name in os.listdir(home) if name.startswith("keldane-text")]
        faults += [f"left behind: {name}" for name in left]
        run("server", "stop")
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
