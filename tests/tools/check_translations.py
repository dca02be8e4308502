#!/usr/bin/env python3
"""Fails for a text of the window that a translation lacks, or that has gone, and for one whose
places or shortcuts differ from the original's. Usage: check_translations.py LUPDATE DESKTOP TS..."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

PLACES = re.compile(r"%(?:\d|n)")


def forms(message):
    translation = message.find("translation")
    return [form.text or "" for form in translation.findall("numerusform")] or [translation.text or ""]


def faults(path):
    for context in ElementTree.parse(path).getroot().findall("context"):
        for message in context.findall("message"):
            source = message.find("source").text
            where = f"{os.path.basename(path)}, {context.find('name').text}: \"{source}\""
            state = message.find("translation").get("type")
            if state:
                yield f"{where} is {state}"
                continue
            for form in forms(message):
                if set(PLACES.findall(form)) != set(PLACES.findall(source)):
                    yield f"{where} has other places in its translation"
                if source.count("&") != form.count("&"):
                    yield f"{where} has another shortcut in its translation"


def main(lupdate, desktop, paths):
    found = []
    with tempfile.TemporaryDirectory() as folder:
        for path in paths:
            copy = shutil.copy(path, folder)
            plural = ["-pluralonly"] if path.endswith("_en.ts") else []
            subprocess.run([lupdate, "-silent", "-locations", "none", *plural, desktop, "-ts", copy],
                           check=True, stderr=subprocess.DEVNULL)
            found += faults(copy)
    print("\n".join(found) or "all is translated")
    if found:
        print("Run script/translate and translate what it marks as unfinished.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3:]))
