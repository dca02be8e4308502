"""Three nodes of a Galera cluster on the loopback, in a temporary folder, for the checks in this folder."""
import os
import pwd
import shutil
import signal
import socket
import subprocess
import threading
import time

USER = "keldane"
PASSWORD = "cluster secret"
BETWEEN_LOOKS = 0.2  # seconds
PROVIDERS = ("/usr/lib/galera/libgalera_smm.so", "/usr/lib64/galera/libgalera_smm.so",
             "/usr/lib64/galera-4/libgalera_smm.so")


def missing(scripts):
    """What this machine lacks for a cluster, in words; empty: nothing."""
    path = scripts + os.pathsep + os.environ["PATH"] + os.pathsep + "/usr/sbin"
    lacks = [program for program in ("mariadbd", "mariadb-install-db", "mariadb", "rsync", "lsof",
                                     "wsrep_sst_rsync") if not shutil.which(program, path=path)]
    if not any(os.path.exists(provider) for provider in PROVIDERS):
        lacks.append("the Galera library (galera-4)")
    return ", ".join(lacks)


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


class Node:
    def __init__(self, cluster, number, ports):
        self.cluster, self.number = cluster, number
        self.folder = os.path.join(cluster.folder, f"node{number}")
        self.port, self.group, self.transfer, self.incremental = ports
        self.process = None

    @property
    def socket(self):
        return os.path.join(self.folder, "s")

    def command(self, addresses):
        data = os.path.join(self.folder, "data")
        options = [
            "--no-defaults", f"--datadir={data}", f"--socket={self.socket}", f"--port={self.port}",
            "--bind-address=127.0.0.1", f"--pid-file={self.folder}/pid",
            f"--log-error={self.folder}/log.err", "--binlog-format=ROW",
            "--default-storage-engine=InnoDB", "--innodb-autoinc-lock-mode=2",
            "--innodb-flush-log-at-trx-commit=0", "--innodb-buffer-pool-size=128M",
            "--max-allowed-packet=256M", "--wsrep-on=ON",
            f"--wsrep-provider={next(p for p in PROVIDERS if os.path.exists(p))}",
            f"--wsrep-cluster-address=gcomm://{addresses}", "--wsrep-cluster-name=keldane_check",
            f"--wsrep-node-name=node{self.number}",
            f"--wsrep-node-address=127.0.0.1:{self.group}",
            f"--wsrep-sst-receive-address=127.0.0.1:{self.transfer}", "--wsrep-sst-method=rsync",
            f"--wsrep-provider-options=gmcast.listen_addr=tcp://127.0.0.1:{self.group};"
            f"ist.recv_addr=127.0.0.1:{self.incremental};gcache.size=256M;pc.recovery=TRUE"]
        return ["mariadbd", *options, *self.cluster.extra]

    def start(self, addresses):
        if not addresses:  # the first of a new cluster
            addresses = ""
        self.process = subprocess.Popen(
            self.command(addresses), env=self.cluster.environment, user=self.cluster.user,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def ask(self, sql, database=""):
        """Rows of a statement, each a list of texts; None when the node does not answer."""
        done = subprocess.run(
            ["mariadb", "--no-defaults", "--socket", self.socket, "--user=root", "--batch",
             "--skip-column-names", "--default-character-set=utf8mb4", "--connect-timeout=5",
             database, "-e", sql], capture_output=True)
        if done.returncode != 0:
            return None
        return [line.split("\t") for line in done.stdout.decode("utf-8", "replace").splitlines()]

    def is_synced(self):
        return self.ask("SHOW STATUS LIKE 'wsrep_local_state_comment'") == \
            [["wsrep_local_state_comment", "Synced"]]

    def await_synced(self, seconds=120):
        # Counted, not timed: a machine that was halted meanwhile has not been waited for.
        for _ in range(int(seconds / BETWEEN_LOOKS)):
            if self.process.poll() is not None:
                break
            if self.is_synced():
                return
            time.sleep(BETWEEN_LOOKS)
        with open(os.path.join(self.folder, "log.err"), errors="replace") as log:
            words = "".join(log.readlines()[-15:])
        raise SystemExit(f"node {self.number} did not join:\n{words}")

    def serves(self):
        """Whether a program of the check stands on it."""
        return bool(self.ask("SELECT ID FROM information_schema.PROCESSLIST"
                             f" WHERE USER='{USER}' AND DB IS NOT NULL"))

    def halt(self, halted=True):
        self.process.send_signal(signal.SIGSTOP if halted else signal.SIGCONT)

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()


class Cluster:
    """`folder` must be short: the path of a socket has little room."""

    def __init__(self, folder, scripts="", extra=()):
        self.folder, self.extra = folder, list(extra)
        # Started by root, the nodes run as somebody who is not.
        self.user = "nobody" if os.geteuid() == 0 else None
        self.environment = dict(os.environ, PATH=os.pathsep.join(
            filter(None, [scripts, os.environ["PATH"], "/usr/sbin"])))
        ports = free_ports(12)
        self.nodes = [Node(self, number, ports[4 * number:4 * number + 4]) for number in range(3)]

    @property
    def hosts(self):
        return ",".join(f"127.0.0.1:{node.port}" for node in self.nodes)

    def addresses(self):
        return ",".join(f"127.0.0.1:{node.group}" for node in self.nodes)

    def start(self):
        for node in self.nodes:
            os.makedirs(node.folder)
            if self.user:
                os.chown(node.folder, pwd.getpwnam(self.user).pw_uid, -1)
        os.chmod(self.folder, 0o755)
        first = self.nodes[0]
        subprocess.run(
            ["mariadb-install-db", "--no-defaults", f"--datadir={first.folder}/data",
             "--auth-root-authentication-method=normal", "--skip-test-db"],
            env=self.environment, user=self.user, check=True, cwd=first.folder,
            stdout=subprocess.DEVNULL)
        first.start("")
        first.await_synced()
        made = first.ask(f"CREATE USER {USER} IDENTIFIED BY '{PASSWORD}';"
                         f"GRANT ALL ON *.* TO {USER}")
        if made is None:
            raise SystemExit("the user of the check could not be made")
        for node in self.nodes[1:]:
            os.makedirs(os.path.join(node.folder, "data"))
            if self.user:
                os.chown(os.path.join(node.folder, "data"), pwd.getpwnam(self.user).pw_uid, -1)
            node.start(self.addresses())
            node.await_synced()

    def stop(self):
        for node in self.nodes:
            if node.process is not None and node.process.poll() is None:
                node.process.kill()
                node.process.wait()

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()


class Spread(threading.Thread):
    """One port behind which each connection goes to the next of the nodes."""

    def __init__(self, nodes):
        super().__init__(daemon=True)
        self.ports = [node.port for node in nodes]
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]

    def run(self):
        number = 0
        while True:
            link, _ = self.listener.accept()
            number += 1
            try:
                node = socket.create_connection(("127.0.0.1", self.ports[number % len(self.ports)]))
            except OSError:
                link.close()
                continue
            for source, target in ((link, node), (node, link)):
                source.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                threading.Thread(target=self.carry, args=(source, target), daemon=True).start()

    def carry(self, source, target):
        try:
            while data := source.recv(65536):
                target.sendall(data)
            target.shutdown(socket.SHUT_WR)
        except OSError:
            source.close()
            target.close()
