#!/usr/bin/env python3
"""Connects to servers whose encryption is as it should not be, and to stand-ins for a server that
want the password: each must be refused in one sentence, and the password must never leave in the
clear.

Usage: tls_run.py KELDANE
Without the programs for it (openssl, mariadbd) it says so, and ends with status 77."""
import os
import re
import shutil
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time

SKIPPED = 77
PASSWORD = "swordfish-0f7"
CLIENT_SSL = 0x800
CAPABILITIES = 0xF7FE | 0x81FF << 16  # all that matters, with plugins of authentication


def make_certificates(folder):
    """An authority, and certificates good and bad, each as NAME.pem and NAME.key."""
    def openssl(*words):
        subprocess.run(["openssl", *words], cwd=folder, check=True, capture_output=True)

    for name in ("authority", "stranger"):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", name + ".key", "-out",
                name + ".pem", "-days", "30", "-subj", f"/CN={name}")
    for name, signer, names, days in (
            ("good", "authority", "DNS:localhost,IP:127.0.0.1", "30"),
            ("wrong-name", "authority", "DNS:db.example.org", "30"),
            ("wrong-authority", "stranger", "DNS:localhost,IP:127.0.0.1", "30"),
            ("expired", "authority", "DNS:localhost,IP:127.0.0.1", "-1")):
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", name + ".key", "-out",
                name + ".csr", "-subj", f"/CN={name}")
        with open(os.path.join(folder, "names"), "w", encoding="ascii") as file:
            file.write("subjectAltName=" + names)
        openssl("x509", "-req", "-in", name + ".csr", "-CA", signer + ".pem", "-CAkey",
                signer + ".key", "-CAcreateserial", "-out", name + ".pem", "-extfile", "names",
                "-days", days)


def free_port():
    with socket.socket() as each:
        each.bind(("127.0.0.1", 0))
        return each.getsockname()[1]


class Server:
    """A MariaDB of our own on the loopback."""

    def __init__(self, folder, certificates):
        self.folder, self.certificates, self.port = folder, certificates, free_port()
        me = ["--user=root"] if os.geteuid() == 0 else []
        self.common = ["--no-defaults", f"--datadir={folder}/data", *me]
        subprocess.run(["mariadb-install-db", "--skip-test-db",
                        "--auth-root-authentication-method=normal", *self.common], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.process = None

    def start(self, *options):
        self.process = subprocess.Popen(
            ["mariadbd", *self.common, f"--socket={self.folder}/s", f"--port={self.port}",
             "--bind-address=127.0.0.1", f"--pid-file={self.folder}/pid", *options],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        end = time.monotonic() + 60
        while subprocess.run(
                ["mariadb", "--no-defaults", "--user=root", "--socket", f"{self.folder}/s", "-e",
                 f"CREATE USER IF NOT EXISTS ann@localhost IDENTIFIED BY '{PASSWORD}';"
                 "GRANT ALL ON *.* TO ann@localhost"], capture_output=True).returncode != 0:
            if time.monotonic() > end or self.process.poll() is not None:
                sys.exit("the server did not start")
            time.sleep(0.2)

    def stop(self):
        if self.process:
            self.process.terminate()
            self.process.wait()

    def options(self, certificate):
        return [f"--ssl-cert={self.certificates}/{certificate}.pem",
                f"--ssl-key={self.certificates}/{certificate}.key"] if certificate else []


class StandIn(threading.Thread):
    """Speaks as a server does until it has what it wants, and keeps all that it is given."""

    def __init__(self, plugin, context=None, drops=False, asks_file=False):
        super().__init__(daemon=True)
        self.plugin, self.context = plugin.encode(), context
        self.drops, self.asks_file = drops, asks_file
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.got = b""

    def run(self):
        while True:
            try:
                link, _ = self.listener.accept()
            except OSError:
                return
            link.settimeout(5)
            try:
                self.serve(link)
            except (OSError, struct.error):
                pass
            link.close()

    def send(self, link, number, payload):
        link.sendall(struct.pack("<I", len(payload))[:3] + bytes([number]) + payload)

    def receive(self, link):
        head = b""
        while len(head) < 4:
            piece = link.recv(4 - len(head))
            if not piece:
                raise OSError("gone")
            head += piece
        length, number = struct.unpack("<I", head[:3] + b"\0")[0], head[3]
        body = b""
        while len(body) < length:
            piece = link.recv(length - len(body))
            if not piece:
                raise OSError("gone")
            body += piece
        self.got += head + body
        return number, body

    def serve(self, link):
        offered = CAPABILITIES & ~CLIENT_SSL | (CLIENT_SSL if self.context or self.drops else 0)
        salt = b"abcdefgh" + b"ijklmnopqrst\0"
        self.send(link, 0, b"\x0a5.5.5-10.11.0-MariaDB\0" + struct.pack("<I", 7) + salt[:8] + b"\0" +
                  struct.pack("<HBHHB", offered & 0xFFFF, 33, 2, offered >> 16, 21) + b"\0" * 10 +
                  salt[8:] + b"mysql_native_password\0")
        number, body = self.receive(link)
        if len(body) == 32:  # asks for TLS
            if self.drops:
                return
            link = self.context.wrap_socket(link, server_side=True)
            number, body = self.receive(link)
        if self.asks_file:
            self.send(link, number + 1, b"\0\0\0\2\0\0\0")
            self.receive(link)
            self.send(link, 1, b"\xfb/etc/passwd")
            self.receive(link)
            self.receive(link)
            return
        self.send(link, number + 1, b"\xfe" + self.plugin + b"\0" + salt)
        self.receive(link)

    def close(self):
        self.listener.close()


class Check:
    def __init__(self, keldane, home, authority):
        self.keldane, self.authority, self.bad = keldane, authority, 0
        self.environment = dict(os.environ, HOME=home, TMPDIR=home, TZ="UTC",
                                KELDANE_PASSWORD=PASSWORD)

    def run(self, *words):
        done = subprocess.run([self.keldane, *words], env=self.environment, text=True,
                              capture_output=True, errors="replace", timeout=120)
        return done.returncode, done.stdout, done.stderr

    def use(self, port, mode, authority=True):
        words = ["--tls-ca", self.authority] if authority else ["--tls-ca", ""]
        self.run("connections", "add", "T", "--host", f"127.0.0.1:{port}", "--user", "ann",
                 "--database", "tls", "--tls", mode, "--replace", *words)
        self.run("connections", "use", "T")

    def expect(self, name, good, words=""):
        self.bad += not good
        print(f"{'ok ' if good else 'BAD'} {name}" + (f": {words.strip()}" if words else ""),
              flush=True)

    def refused(self, name, wanted):
        status, _, err = self.run("status")
        lines = [line for line in err.splitlines() if line]
        self.expect(name, status != 0 and len(lines) == 1 and re.search(wanted, err), err)

    def accepted(self, name, wanted):
        status, out, err = self.run("status")
        found = re.search(r"^Encryption: *(.*)$", out, re.MULTILINE)
        self.expect(name, status == 0 and found and re.search(wanted, found[1]),
                    found[1] if found else err)


def real_servers(check, server, mail):
    server.start(*server.options("good"))
    check.use(server.port, "verify")
    status, out, err = check.run("archive", "--no-index", mail)
    check.expect("an archive over a verified session", status == 0, err if status else "")
    check.accepted("verify, all as it should be", "^TLSv1")
    backup = os.path.join(check.environment["HOME"], "backup.sql")
    status, out, err = check.run("backup", backup)
    check.expect("a backup by the tool of the server", status == 0, err if status else "")
    check.use(server.port, "verify", authority=False)
    check.refused("verify, the authority is not known", "certificate .* refused.*issuer")
    check.use(server.port, "off")
    check.accepted("off", "^none")
    server.stop()
    for certificate, wanted in (("wrong-name", "another name"), ("wrong-authority", "issuer"),
                                ("expired", "expired")):
        server.start(*server.options(certificate))
        check.use(server.port, "verify")
        check.refused("verify, " + certificate, "certificate .* refused.*" + wanted)
        check.use(server.port, "require")
        check.accepted("require, " + certificate, "^TLSv1")
        server.stop()
    server.start(*server.options("good"), "--require-secure-transport=ON")
    check.use(server.port, "off")
    check.refused("a server that demands it, off", "insecure transport|Access denied")
    check.use(server.port, "prefer")
    check.accepted("a server that demands it, prefer", "^TLSv1")
    server.stop()
    server.start("--skip-ssl")
    for mode in ("require", "verify"):
        check.use(server.port, mode)
        check.refused("a server that has none, " + mode, "no encrypted session")
    check.use(server.port, "prefer")
    check.accepted("a server that has none, prefer", "^none")
    server.stop()


def stand_ins(check, certificates):
    stranger = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    stranger.load_cert_chain(certificates + "/wrong-authority.pem",
                             certificates + "/wrong-authority.key")
    for mode in ("off", "prefer", "require", "verify"):
        for plugin in ("mysql_clear_password", "dialog", "mysql_old_password"):
            for context in (None, stranger):
                stand_in = StandIn(plugin, context)
                stand_in.start()
                check.use(stand_in.port, mode)
                status, _, _ = check.run("status")
                stand_in.close()
                line = "over TLS" if context else "in the open"
                check.expect(f"{mode}, {plugin} asked for {line}",
                             status != 0 and PASSWORD.encode() not in stand_in.got)
                if mode == "verify" and b"ann" in stand_in.got:
                    check.expect(f"verify, {line}: not even the name is sent", False)
    # That the stand-in would see the password if it were sent: the true server may have it.
    own = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    own.load_cert_chain(certificates + "/good.pem", certificates + "/good.key")
    stand_in = StandIn("mysql_clear_password", own)
    stand_in.start()
    check.use(stand_in.port, "verify")
    check.run("status")
    stand_in.close()
    check.expect("verify, all as it should be: the password is given",
                 PASSWORD.encode() in stand_in.got)
    stand_in = StandIn("", drops=True)
    stand_in.start()
    check.use(stand_in.port, "verify")
    check.refused("dropped in the middle of the handshake", "no encrypted session came about")
    stand_in.close()
    stand_in = StandIn("", asks_file=True)
    stand_in.start()
    check.use(stand_in.port, "off")
    check.run("status")
    stand_in.close()
    check.expect("a file of this machine is not given away", b"root:" not in stand_in.got)


def main():
    lacking = [program for program in ("openssl", "mariadbd", "mariadb-install-db", "mariadb")
               if not shutil.which(program, path=os.environ["PATH"] + ":/usr/sbin")]
    if lacking:
        print("skipped: there is no " + ", ".join(lacking))
        return SKIPPED
    os.environ["PATH"] += ":/usr/sbin"
    with tempfile.TemporaryDirectory(prefix="kt", dir="/tmp") as folder:
        certificates = os.path.join(folder, "certificates")
        home, mail = os.path.join(folder, "home"), os.path.join(folder, "mail")
        for path in (certificates, home, mail):
            os.makedirs(path)
        with open(os.path.join(mail, "1.eml"), "w", encoding="ascii") as file:
            file.write("From: ann@example.org\nTo: bob@example.org\nSubject: One\n"
                       "Date: Mon, 2 Jan 2023 10:00:00 +0000\n\nText\n")
        os.utime(os.path.join(mail, "1.eml"), (1e9, 1e9))
        make_certificates(certificates)
        check = Check(os.path.abspath(sys.argv[1]), home, certificates + "/authority.pem")
        server = Server(folder, certificates)
        try:
            real_servers(check, server, mail)
        finally:
            server.stop()
        stand_ins(check, certificates)
        print(f"{check.bad} bad")
        return 1 if check.bad else 0


if __name__ == "__main__":
    sys.exit(main())
