"""MariaDB servers of a test's own on the loopback, alike but for their port."""
import os
import shutil
import signal
import socket
import subprocess

from heard_window import wait_for

USER, PASSWORD = 'ann', 'garden'


def free_port():
    with socket.socket() as one:
        one.bind(('127.0.0.1', 0))
        return one.getsockname()[1]


class FurtherServer:
    def __init__(self, folder, like=None):
        """Lays its data, or copies that of another which does not run."""
        self.folder, self.port, self.process = folder, free_port(), None
        me = ['--user=root'] if os.geteuid() == 0 else []
        self.common = ['--no-defaults', f'--datadir={folder}/data', '--innodb-log-file-size=16M', *me]
        if like:
            shutil.copytree(like.folder, folder)
            return
        os.mkdir(folder)
        subprocess.run(['mariadb-install-db', '--skip-test-db', '--auth-root-authentication-method=normal',
                        *self.common], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with open(f'{folder}/first.sql', 'w', encoding='utf-8') as sql:
            for place in ('localhost', '127.0.0.1'):
                print(f"CREATE USER IF NOT EXISTS {USER}@'{place}' IDENTIFIED BY '{PASSWORD}';", file=sql)
                print(f"GRANT ALL ON *.* TO {USER}@'{place}';", file=sql)

    def start(self):
        program = shutil.which('mariadbd', path=os.environ['PATH'] + ':/usr/sbin')
        self.process = subprocess.Popen(
            [program, *self.common, f'--socket={self.folder}/s', f'--port={self.port}', '--bind-address=127.0.0.1',
             f'--pid-file={self.folder}/pid', f'--init-file={self.folder}/first.sql',
             '--innodb-flush-log-at-trx-commit=0', f'--log-error={self.folder}/log'])
        wait_for(lambda: socket.create_connection(('127.0.0.1', self.port)).close() is None, 'the server to listen')

    def end(self, how=signal.SIGTERM):
        if self.process:
            self.process.send_signal(how)
            self.process.wait()
            self.process = None
