"""Reads an archive of a private server for the checks in this folder, with the server's own client."""
import json
import os
import signal
import subprocess
import time

faults = []


def check(condition, what):
    """Notes what does not hold and goes on."""
    if not condition:
        faults.append(what)
        print("  FAULT: " + what)


def server_status(keldane, environment):
    """What the program itself tells of the private server."""
    out = subprocess.run([keldane, "server", "status", "--json"], env=environment,
                         capture_output=True, check=True).stdout
    return json.loads(out)


def server_socket(keldane, environment):
    return server_status(keldane, environment)["socket"]


def kill_after(seconds, process, what, keldane, environment):
    """Kills the process, or the private server when `what` says "server", if it still runs by then."""
    time.sleep(seconds)
    if process.poll() is not None:
        return
    target = server_status(keldane, environment)["processId"] if what == "server" else process.pid
    if target:
        os.kill(target, signal.SIGKILL)


class Archive:
    def __init__(self, socket, database):
        self.socket = socket
        self.database = database

    def rows(self, sql):
        """Rows of a statement, each a list of texts. Binary columns are to be selected as HEX."""
        client = next(c for c in ("mariadb", "mysql") if
                      subprocess.run(["which", c], capture_output=True).returncode == 0)
        out = subprocess.run(
            [client, "--no-defaults", "--socket", self.socket, "--user", "root", "--batch",
             "--skip-column-names", "--quick", "--max-allowed-packet=1G",
             "--default-character-set=utf8mb4", self.database, "-e", sql],
            capture_output=True, check=True).stdout
        return [line.split("\t") for line in out.decode("utf-8", "replace").split("\n") if line]

    def digests(self):
        """One digest a message over everything that is stored of it, ids apart, sorted."""
        self_rows = self.rows(
            "SELECT e.id, MD5(CONCAT_WS('|', date_fld, from_fld, to_fld, subj_fld, mailto, mailbox,"
            " MD5(body_fld), numAttach, attachNames, MD5(attachText), MD5(headings),"
            " IFNULL(MD5(orig_fld), 'no source'), IFNULL(HEX(content_sha256), 'no fingerprint'),"
            " IFNULL(HEX(source_sha256), ''))) FROM email e LEFT JOIN origemail o ON o.id = e.id"
            " LEFT JOIN keldane_fingerprints f ON f.id = e.id")
        parts = {}
        for number, digest in self.rows(
                "SELECT id, MD5(CONCAT_WS('|', type_fld, filename_fld, encode_fld, MD5(attach_fld)))"
                " FROM attachments"):
            parts.setdefault(number, []).append(digest)
        return sorted(digest + "+" + ",".join(sorted(parts.pop(number, [])))
                      for number, digest in self_rows), parts
