#!/usr/bin/env python3
"""Makes a home folder with mail as people have it: one place of each kind that is known.

    make_mail_home.py HOME

Prints one JSON object a line for each place: kind, name, path, the messages in it, and under
"mailboxes" how many each mailbox has and how many of them are marked as deleted. The spool lies in
HOME/spool/user; name it with MAIL. Every message is another one, so that none is a duplicate.
"""
import argparse
import json
import os
import zipfile

FROM = "From carl@example.com Mon Jan  1 10:20:30 2024\n"


class Home:
    def __init__(self, root):
        self.root = os.path.abspath(root)
        self.places = []
        self.count = 0

    def write(self, path, data):
        path = os.path.join(self.root, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data if isinstance(data, bytes) else data.encode())
        os.utime(path, (1700000000, 1700000000))

    def message(self, mailbox, extra=""):
        """A message; `extra` are lines of header in front."""
        self.count += 1
        day = self.count % 28 + 1
        return (
            f"{extra}From: Carl <carl@example.com>\nTo: Ann <ann@example.com>\n"
            f"Subject: {self.count} of {mailbox.encode('ascii', 'replace').decode()}\n"
            f"Date: Mon, {day:02} Jan 2024 10:{self.count // 60 % 60:02}:{self.count % 60:02} +0000\n"
            f"Message-ID: <{self.count}@example.com>\n\n"
            f"First paragraph.\n\nMessage {self.count}.\nFrom here on nothing is new.\n"
        )

    def mbox(self, path, mailbox, live, deleted=0, mark="X-Mozilla-Status: 0009\n"):
        text = ""
        for number in range(live + deleted):
            front = mark if number >= live else mark.replace("0009", "0001").replace("D", "RO")
            body = self.message(mailbox, front).replace("\nFrom here", "\n>From here")
            text += FROM + body + "\n"
        self.write(path, text)
        return {mailbox: [live, deleted]}

    def maildir(self, path, mailbox, live, deleted=0):
        for folder in ("cur", "new", "tmp"):
            os.makedirs(os.path.join(self.root, path, folder), exist_ok=True)
        for number in range(live):
            place = f"new/{self.count}.host" if number == 0 else f"cur/{self.count}.host:2,S"
            self.write(f"{path}/{place}", self.message(mailbox))
        for _ in range(deleted):
            self.write(f"{path}/cur/{self.count}.host:2,ST", self.message(mailbox))
        self.write(f"{path}/tmp/{self.count}.host", self.message(mailbox)[:30])
        return {mailbox: [live, deleted]}

    def numbered(self, path, mailbox, live):
        for number in range(live):
            self.write(f"{path}/{number + 1}", self.message(mailbox))
        return {mailbox: [live, 0]}

    def place(self, kind, name, path, *mailboxes):
        whole = {}
        for mailbox in mailboxes:
            whole.update({f"{name}/{key}" if key else name: value for key, value in mailbox.items()})
        self.places.append(
            {
                "kind": kind,
                "name": name,
                "path": os.path.join(self.root, path),
                "messages": sum(live + deleted for live, deleted in whole.values()),
                "mailboxes": whole,
            }
        )


def thunderbird(home, root, name, server):
    profile = f"{root}/abcd.default"
    home.write(
        f"{root}/profiles.ini",
        f"[General]\nStartWithLastProfile=1\n\n[Profile0]\nName={name}\nIsRelative=1\n"
        "Path=abcd.default\nDefault=1\n",
    )
    home.write(
        f"{profile}/prefs.js",
        'user_pref("mail.server.server1.directory-rel", "[ProfD]Mail/Local Folders");\n'
        'user_pref("mail.server.server1.name", "Local Folders");\n'
        'user_pref("mail.server.server1.type", "none");\n'
        f'user_pref("mail.server.server2.directory-rel", "[ProfD]ImapMail/{server}");\n'
        f'user_pref("mail.server.server2.name", "ann@{server}");\n'
        'user_pref("mail.server.server2.type", "imap");\n',
    )
    local, imap = f"{profile}/Mail/Local Folders", f"{profile}/ImapMail/{server}"
    home.write(f"{profile}/global-messages-db.sqlite", b"SQLite format 3\0" + bytes(600))
    home.write(f"{local}/msgFilterRules.dat", 'version="9"\nlogging="no"\n')
    for folder in (f"{local}/Inbox", f"{local}/2004.sbd/Inbox", f"{imap}/INBOX"):
        home.write(f"{folder}.msf", "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)> >\n")
    home.write(f"{local}/2004", b"")
    home.place(
        "Thunderbird",
        f"Thunderbird {name}",
        profile,
        home.mbox(f"{local}/Inbox", "Local Folders/Inbox", 3, 1),
        home.mbox(f"{local}/2004.sbd/Inbox", "Local Folders/2004/Inbox", 2),
        home.mbox(f"{imap}/INBOX", f"ann@{server}/INBOX", 2, 2),
        home.mbox(f"{imap}/Entw&APw-rfe", f"ann@{server}/Entwürfe", 1),
    )


def evolution(home):
    local = ".local/share/evolution/mail/local"
    home.write(f"{local}/..maildir++", "maildir++ 1")
    home.write(f"{local}/.Sent.ibex.index", "ibex")
    home.write(f"{local}/.Sent.cmeta", b"\0\0\0\1")
    home.write(f"{local}/folders.db", b"SQLite format 3\0" + bytes(600))
    home.place(
        "Evolution",
        "Evolution",
        local,
        home.maildir(local, "INBOX", 2),
        home.maildir(f"{local}/.Sent.2004", "Sent/2004", 2, 1),
    )
    home.write(".config/evolution/sources/0123abcd.source", "[Data Source]\nDisplayName=Work\n")
    cache = ".cache/evolution/mail/0123abcd"
    home.write(f"{cache}/folders.db", b"SQLite format 3\0" + bytes(600))
    home.place(
        "Evolution",
        "Evolution Work",
        cache,
        home.numbered(f"{cache}/folders/INBOX/cur/2f", "INBOX", 3),
        home.numbered(f"{cache}/folders/INBOX/subfolders/Clients/cur/0a", "INBOX/Clients", 1),
    )


def kmail(home):
    home.write(
        ".config/akonadi_maildir_resource_0rc",
        "[General]\nPath[$e]=$HOME/.local/share/local-mail\n",
    )
    local = ".local/share/local-mail"
    home.write(f"{local}/.inbox.index", b"\0index")
    home.place(
        "KMail",
        "KMail",
        local,
        home.maildir(f"{local}/inbox", "inbox", 2, 1),
        home.maildir(f"{local}/.inbox.directory/Work", "inbox/Work", 1),
    )


def claws(home):
    home.write(
        ".claws-mail/folderlist.xml",
        '<?xml version="1.0"?>\n<folderlist>\n<folder type="mh" name="Post" path="Post">\n'
        '<folderitem type="inbox" path="inbox"/>\n</folder>\n</folderlist>\n',
    )
    home.write("Post/inbox/.mh_sequences", "unseen: 1\n")
    home.write("Post/inbox/.claws_mark", bytes(64))
    home.place(
        "Claws Mail",
        "Claws Mail",
        "Post",
        home.numbered("Post/inbox", "inbox", 3),
        home.numbered("Post/inbox/Clubs", "inbox/Clubs", 2),
    )


def plain(home):
    home.write("Maildir/dovecot.index.log", b"\1\2\3\4")
    home.write("Maildir/subscriptions", "Sent\n")
    home.write("Maildir/.Sent &- Re&AOc-us/maildirfolder", b"")
    home.place(
        "Maildir",
        "Maildir",
        "Maildir",
        home.maildir("Maildir", "INBOX", 4, 2),
        home.maildir("Maildir/.Sent &- Re&AOc-us", "Sent & Reçus", 1),
    )
    home.place(
        "MH folders",
        "Mail",
        "Mail",
        home.numbered("Mail/inbox", "inbox", 2),
        home.numbered("Mail/lists/c++", "lists/c++", 2),
    )
    home.place(
        "mbox files",
        "mail 2",
        "mail",
        home.mbox("mail/sent", "sent", 2, 1, "Status: D\n"),
        home.mbox("mail/2004", "2004", 2, 1, "X-Status: D\n"),
    )
    home.place("system mailbox", "Spool", "spool/user", home.mbox("spool/user", "", 2))


def exported(home):
    home.write("Downloads/photo.jpg", b"\xff\xd8\xff" + bytes(100))
    home.place(
        "exported mail",
        "Old letters",
        "Downloads/Old letters.mbox",
        home.mbox("Downloads/Old letters.mbox/mbox", "", 3),
    )
    home.write("Downloads/Old letters.mbox/table_of_contents", bytes(80))
    home.place(
        "exported mail",
        "school",
        "Downloads/school",
        home.mbox("Downloads/school/first year.mbox", "first year", 2),
        home.mbox("Downloads/school/second year.mbox", "second year", 1),
    )
    home.place(
        "Takeout",
        "Takeout",
        "Downloads/Takeout/Mail",
        home.mbox("Downloads/Takeout/Mail/All mail.mbox", "All mail", 2),
    )
    with zipfile.ZipFile(os.path.join(home.root, "Downloads/takeout-20240101T000000Z-001.zip"), "w"):
        pass
    home.write("Documents/backup.pst", b"!BDN" + bytes(600))


def store(home):
    """The mail client's own store, whose accounts are chosen and not kept as folders."""
    base = "Library/Mail/V10/0A3B5C71-1111-4A4A-8888-000000000001/INBOX.mbox/1/Data/Messages"
    for number in range(2):
        text = home.message("INBOX").encode()
        home.write(f"{base}/{number + 1}.emlx", b"%-10d\n" % len(text) + text)
    path = os.path.join(home.root, "Library/Mail/V10")
    home.places.append(
        {"kind": "Mail", "name": "Mail store", "path": path, "messages": 2, "mailboxes": {}}
    )


def make(root):
    home = Home(root)
    thunderbird(home, ".thunderbird", "default", "imap.example.com")
    thunderbird(home, "snap/thunderbird/common/.thunderbird", "snap", "imap.example.org")
    thunderbird(home, ".var/app/org.mozilla.Thunderbird/.thunderbird", "flatpak", "imap.example.net")
    evolution(home)
    kmail(home)
    claws(home)
    plain(home)
    store(home)
    exported(home)
    # A second way to a place that is there already.
    os.symlink(os.path.join(home.root, "Maildir"), os.path.join(home.root, ".maildir"))
    return home.places


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("home")
    for place in make(parser.parse_args().home):
        print(json.dumps(place, ensure_ascii=False))


if __name__ == "__main__":
    main()
