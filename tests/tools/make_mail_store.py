#!/usr/bin/env python3
"""Makes a made-up mail store below a home folder, to try `keldane sources` and a run on.

    make_mail_store.py HOME [--layout V2|V7|V10] [--messages N]

Three accounts (ann@example.com, bob@example.org, shop@example.net), each with INBOX, Sent Messages,
Deleted Messages, Junk, Archive, and Work with Client below it. N messages in each mailbox (3 when
not given); the last one of each INBOX is a partial file whose attachment lies beside it.
"""
import argparse
import os
import plistlib

ACCOUNTS = [
    ("ann@example.com", "imap.example.com", "0A3B5C71-1111-4A4A-8888-000000000001"),
    ("bob@example.org", "mail.example.org", "1B4C6D82-2222-4B4B-9999-000000000002"),
    ("shop@example.net", "imap.example.net", "2C5D7E93-3333-4C4C-AAAA-000000000003"),
]
MAILBOXES = [
    "INBOX.mbox",
    "Sent Messages.mbox",
    "Deleted Messages.mbox",
    "Junk.mbox",
    "Archive.mbox",
    "Work.mbox",
    "Work.mbox/Client.mbox",
]
TAIL = (
    b'<?xml version="1.0" encoding="UTF-8"?>\n'
    b'<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" '
    b'"http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n'
    b'<plist version="1.0">\n<dict>\n\t<key>flags</key>\n\t<integer>8590195713</integer>\n'
    b"</dict>\n</plist>\n"
)


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(data)


def emlx(message):
    return b"%-10d\n" % len(message) + message + TAIL


def plain(account, mailbox, number):
    return (
        f"From: Carl <carl@example.com>\r\nTo: {account}\r\nSubject: {mailbox} {number}\r\n"
        f"Date: Mon, {number % 28 + 1:02} Jan 2024 10:20:30 +0000\r\n"
        f"Message-ID: <{mailbox.split()[0].lower()}.{number}.{account}>\r\n"
        "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n"
        f"Message {number} of {mailbox} for {account}.\r\n"
    ).encode()


def partial(account, mailbox, number):
    head = plain(account, mailbox, number).split(b"\r\nContent-Type")[0]
    return (
        head + b'\r\nContent-Type: multipart/mixed; boundary="cut"\r\n\r\n'
        b"--cut\r\nContent-Type: text/plain\r\n\r\nSee the list.\r\n"
        b'--cut\r\nContent-Type: text/plain; name="list.txt"\r\n'
        b'Content-Disposition: attachment; filename="list.txt"\r\n'
        b"X-Apple-Content-Length: 12\r\n\r\n\r\n--cut--\r\n"
    )


def fill(store, layout, account, folder, mailbox, count):
    name = mailbox.rsplit("/", 1)[-1].removesuffix(".mbox")
    base = os.path.join(store, folder, mailbox)
    if layout != "V2":
        base = os.path.join(base, folder[::-1], "Data")
    messages = os.path.join(base, "Messages")
    for number in range(1, count + 1):
        if name == "INBOX" and number == count:
            data = emlx(partial(account, name, number))
            write(os.path.join(messages, f"{number}.partial.emlx"), data)
            part = os.path.join(base, "Attachments", str(number), "2", "list.txt")
            write(part, b"one\ntwo\nsix\n")
        else:
            write(os.path.join(messages, f"{number}.emlx"), emlx(plain(account, name, number)))
    write(os.path.join(store, folder, mailbox, "Info.plist"), TAIL)


def make(home, layout, count):
    store = os.path.join(home, "Library", "Mail", layout)
    signatures = {}
    listed = []
    for account, server, ident in ACCOUNTS:
        folder = f"IMAP-{account}@{server}" if layout == "V2" else ident
        for mailbox in MAILBOXES:
            fill(store, layout, account, folder, mailbox, count)
        login = account.replace("@", "%40")
        signatures[folder] = {"AccountURL": f"imap://{login}@{server}/", "Signatures": []}
        listed.append({"AccountName": account, "AccountPath": f"~/Library/Mail/{layout}/{folder}"})
    data = os.path.join(store, "MailData")
    write(os.path.join(data, "Envelope Index"), b"")
    if layout == "V2":
        write(os.path.join(data, "Accounts.plist"), plistlib.dumps({"MailAccounts": listed}))
    else:
        write(os.path.join(data, "Signatures", "AccountsMap.plist"), plistlib.dumps(signatures))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("home")
    parser.add_argument("--layout", choices=["V2", "V7", "V10"], default="V10")
    parser.add_argument("--messages", type=int, default=3)
    options = parser.parse_args()
    make(options.home, options.layout, options.messages)


if __name__ == "__main__":
    main()
