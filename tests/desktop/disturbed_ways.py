"""Ways on which something comes between: another program at the same archive, the end of the window in the middle
of its work, the end of its server. disturbed_ways.py KELDANEPRO KELDANE [WAY...]."""
import contextlib
import json
import os
import signal
import subprocess

from further_servers import PASSWORD, USER, FurtherServer
from heard_window import wait_for
from way import CONNECTED, PROGRAMS, OneWindow, Way, mail, main, terminal, write

SUBJECTS = ('Minutes', 'Agenda', 'Budget')
MAILS = tuple(mail(subject, 10 + number) for number, subject in enumerate(SUBJECTS))


class Server:
    """The private server, asked as its own program asks it."""

    def __init__(self, home):
        self.state = json.loads(terminal(home, 'server', 'status', '--json'))
        self.client = ['mariadb', '--no-defaults', '--user=keldane', f'--socket={self.state["socket"]}',
                       '--skip-column-names', '--unbuffered', 'myemaildb']

    def ask(self, sql):
        return subprocess.run([*self.client, '-e', sql], check=True, capture_output=True, text=True).stdout.strip()

    @contextlib.contextmanager
    def locked(self, table):
        """Nobody reads or writes the table meanwhile."""
        with subprocess.Popen(self.client, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as client:
            print(f"LOCK TABLES {table} WRITE; SELECT 'locked';", file=client.stdin, flush=True)
            client.stdout.readline()
            yield

    def waits(self):
        """Whether a statement of somebody's waits for a lock."""
        return 'metadata lock' in self.ask('SHOW PROCESSLIST')

    def kill(self):
        os.kill(self.state['processId'], signal.SIGKILL)


class Beside(OneWindow):
    mails = MAILS

    def id_of(self, subject):
        return terminal(self.home, '--no-pager', 'search', '--and', f'subject={subject}').splitlines()[1].split()[0]

    def test_the_terminal_program_tags_and_deletes(self):
        window = self.window
        window.select('Minutes')
        terminal(self.home, 'tag', '--category', 'Club', self.id_of('Minutes'))
        terminal(self.home, 'delete', '--yes', self.id_of('Agenda'))
        window.select('Agenda')
        self.assertIn('This email is no longer in the archive.', window.text(window.field('Message')))
        window.select('Minutes')
        wait_for(lambda: 'Club' in window.text(window.field('Tags')), 'the tag above the message')
        terminal(self.home, 'archive', self.path('mail'))
        window.press('Browse', role='push button')
        window.status('3 emails in this list.')

    def test_two_windows(self):
        """Each searches in its own list, also once the other has gone."""
        first, second = self.window, self.another()
        self.addCleanup(second.quit)
        second.control(CONNECTED, 'label')
        second.choose('Search', 'Search Database...')
        second.enter('Text 3', 'Budget')
        second.press('Search', within=second.windows()[0].name)
        wait_for(lambda: second.subjects() == ['Budget'], 'the one row')
        first.choose('Search', 'Search in List...')
        first.enter('Text 3', 'Minutes')
        first.press('Search', within=first.windows()[0].name)
        wait_for(lambda: first.subjects() == ['Minutes'], 'the one row')
        second.quit()
        first.press('Browse', role='push button')
        first.choose('Search', 'Search in List...')
        first.enter('Text 3', 'Agenda')
        first.press('Search', within=first.windows()[0].name)
        wait_for(lambda: first.subjects() == ['Agenda'], 'the one row')


class Unattended(OneWindow):
    mails = MAILS

    def test_a_scheduled_start_beside_the_window(self):
        """Each program that a schedule may start brings the new mail; the window keeps its place and has the mail at
        its next action."""
        write(self.path('tools/systemctl'), b'#!/bin/sh\n')
        os.chmod(self.path('tools/systemctl'), 0o755)
        environment = dict(self.window.environment, PATH=self.path('tools') + ':' + os.environ['PATH'])
        os.mkdir(self.path('kept'))
        terminal(self.home, 'sources', 'add', self.path('kept'))
        subprocess.run([PROGRAMS['terminal'], 'schedule', 'set', '--time', '07:15'], env=environment, check=True,
                       capture_output=True)
        self.window.select('Agenda')
        for number, program in enumerate((PROGRAMS['window'], PROGRAMS['terminal'])):
            write(self.path(f'kept/{number}.eml'), mail(f'Scheduled {number}', 20 + number))
            subprocess.run([program, '1'], env=environment, check=True, capture_output=True, timeout=60)
        self.assertIn('Text of Agenda.', self.window.text(self.window.field('Message')))
        self.window.press('Browse', role='push button')
        self.window.status('5 emails in this list.')
        self.window.select('Scheduled 1')


class Killed(Way):
    mails = MAILS

    def kill(self):
        self.window.process.kill()
        self.window.process.wait()

    def test_in_the_middle_of_a_run_and_of_an_export(self):
        """The next start is clean: no half file, and what the run had begun is completed."""
        server = Server(self.home)
        write(self.path('more.mbox'), b''.join(b'From - Mon Jan  3 10:00:00 2022\n' + mail(f'More {i}', 20 + i) + b'\n'
                                               for i in range(5)))
        with server.locked('origemail'):
            self.window.choose('Archive', 'Import MBOX Files...')
            self.window.press('Files...')
            self.window.choose_file(self.path('more.mbox'), 'Open')
            self.window.press('Archive', within='Archive Email')
            wait_for(server.waits, 'the run to have begun a message')
            self.kill()
        self.open()
        self.assertEqual(len(self.window.windows()), 1)
        self.window.choose('Archive', 'Import MBOX Files...')
        self.window.press('Files...')
        self.window.choose_file(self.path('more.mbox'), 'Open')
        self.window.press('Archive', within='Archive Email')
        self.window.answer('Archive Log')
        self.window.status('8 emails in the database.')
        terminal(self.home, 'verify')

        os.mkdir(self.path('out'))
        self.window.press('Browse', role='push button')
        self.window.status('8 emails in this list.')
        with server.locked('origemail'):
            self.window.choose('Archive', 'Export List', 'Mbox...')
            self.window.choose_file(self.path('out/list.mbox'), 'Export')
            wait_for(server.waits, 'the export to have begun')
            self.kill()
        self.assertFalse(os.path.exists(self.path('out/list.mbox')))
        self.open()
        self.assertEqual(len(self.window.windows()), 1)


class Lost(Way):
    mails = MAILS

    def test_a_private_server_that_dies_comes_back_by_itself(self):
        window = self.window
        window.select('Minutes')
        Server(self.home).kill()
        window.select('Agenda')
        self.assertIn('Text of Agenda.', window.text(window.field('Message')))
        window.press('Browse', role='push button')
        window.status('3 emails in this list.')


class Hosts(Way):
    """Two servers with the same archive, as those of a cluster are, named in one connection."""
    opens = False

    def test_another_host_answers(self):
        """At the start, where the first is dead; and while the window is open."""
        first = FurtherServer(self.path('first'))
        self.addCleanup(first.end)
        first.start()
        environment = dict(os.environ, HOME=self.home, KELDANE_PASSWORD=PASSWORD)
        for number, one in enumerate(MAILS):
            write(self.path(f'mail/{number}.eml'), one)
        for arguments in (['connections', 'add', 'One', '--host', f'127.0.0.1:{first.port}', '--user', USER,
                           '--database', 'letters'],
                          ['connections', 'use', 'One'], ['archive', self.path('mail')]):
            subprocess.run([PROGRAMS['terminal'], *arguments], env=environment, check=True, capture_output=True)
        first.end()
        second = FurtherServer(self.path('second'), like=first)
        self.addCleanup(second.end)
        second.start()
        subprocess.run([PROGRAMS['terminal'], 'connections', 'add', 'Both', '--host',
                        f'127.0.0.1:{first.port}, 127.0.0.1:{second.port}', '--user', USER,
                        '--database', 'letters'], env=environment, check=True, capture_output=True)
        terminal(self.home, 'connections', 'use', 'Both')
        window = type(self).window = self.another()
        window.control('Both \u25b8 letters', 'label')
        window.select('Agenda')
        self.assertIn('Text of Agenda.', window.text(window.field('Message')))
        first.start()
        second.end(signal.SIGKILL)
        window.select('Budget')
        self.assertIn('Text of Budget.', window.text(window.field('Message')))
        window.press('Browse', role='push button')
        window.status('3 emails in this list.')
        first.end(signal.SIGKILL)
        window.keys('Ctrl+f', 'Down', 'Home')
        window.status('The connection to the server is lost.')
        second.start()
        window.press('Connect Again')
        wait_for(lambda: not any(one.name == 'Connect Again' for one in window.walk(window.windows()[0])),
                 'the end of the bar')


if __name__ == '__main__':
    main()
