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
        self.home = home
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

    @contextlib.contextmanager
    def slow(self, change):
        """Such a change ("INSERT ON tags") takes as long as it takes."""
        self.ask(f'CREATE TRIGGER slow BEFORE {change} FOR EACH ROW DO SLEEP(600)')
        yield
        # By now another server may have the data.
        terminal(self.home, 'find', 'minutes')
        self.ask('DROP TRIGGER slow')

    def sleeps(self):
        return 'User sleep' in self.ask('SHOW PROCESSLIST')

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


    def test_two_windows_archive_and_settle(self):
        """What one stores the other has at its next action; of the settings that both change, each keeps its own."""
        first, second = self.window, self.another()
        self.addCleanup(second.quit)
        second.control(CONNECTED, 'label')
        write(self.path('two/1.eml'), mail('Harvest', 25))
        first.choose('Archive', 'Import MBOX Files...')
        first.press('Files...')
        first.choose_file(self.path('two/1.eml'), 'Open')
        first.press('Archive', within='Archive Email')
        first.answer('Archive Log')
        second.press('Browse', role='push button')
        second.status('4 emails in this list.')
        second.select('Harvest')
        def settings():
            return [terminal(self.home, 'settings', 'get', name).strip() for name in ('dateFormat', 'updatesState')]

        dates, updates = settings()
        other = 'Day first' if dates == 'year-first' else 'Year first'
        for window, tab, box in ((first, 'Viewing', other), (second, 'General', 'Check for updates at start')):
            window.choose('Edit', 'Settings...')
            window.press(tab, role='page tab')
            window.press(box, within=tab)
        for window, tab in ((second, 'General'), (first, 'Viewing')):
            window.press('Save', within=tab)
            window.answer('Settings Saved')
            window.press('Cancel', within=tab)
        self.assertTrue(all(now != before for now, before in zip(settings(), (dates, updates))), settings())
        second.quit()
        first.select('Harvest')
        terminal(self.home, 'delete', '--yes', self.id_of('Harvest'))


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
        # One key: what is typed while the server starts goes to the panel that says so.
        window.keys('Home')
        wait_for(lambda: 'Text of Budget.' in window.text(window.field('Message')), 'the first message')
        window.press('Browse', role='push button')
        window.status('3 emails in this list.')


    def import_more(self):
        write(self.path('more.mbox'), b''.join(b'From - Mon Jan  3 10:00:00 2022\n' + mail(f'More {i}', 20 + i) + b'\n'
                                               for i in range(5)))
        self.window.choose('Archive', 'Import MBOX Files...')
        self.window.press('Files...')
        self.window.choose_file(self.path('more.mbox'), 'Open')
        self.window.press('Archive', within='Archive Email')

    def test_it_dies_in_a_change_of_tags(self):
        """Told, and the message has the tags that it had; the same once more goes well."""
        window, server = self.window, Server(self.home)
        server.ask("INSERT INTO tags SELECT id,'Club','',0,'' FROM email WHERE subj_fld='Minutes'")
        window.press('Browse', role='push button')
        window.select('Minutes')
        window.press('Tag', role='push button')
        with server.slow('INSERT ON tags'):
            window.enter('Category', 'Money', within='Tags')
            window.press('Replace Tags', within='Tags')
            wait_for(server.sleeps, 'the change to have begun')
            server.kill()
            for alert in ('SQL Error', 'Done', 'SQL Error'):
                window.answer(alert)
        self.assertEqual(server.ask('SELECT cat_fld FROM tags'), 'Club')
        window.press('Connect Again')
        window.enter('Category', 'Money', within='Tags')
        window.press('Replace Tags', within='Tags')
        window.answer('Done')
        self.assertEqual(server.ask('SELECT cat_fld FROM tags'), 'Money')
        window.press('Close', within='Tags')
        window.gone('Tags')

    def test_it_dies_in_a_deletion(self):
        """Told; the same once more leaves nothing of the message."""
        window, server = self.window, Server(self.home)
        window.select('Agenda')
        with server.slow('DELETE ON origemail'):
            window.choose('Message', 'Delete', 'this email from database...')
            window.answer('Delete this email from database', 'Delete')
            wait_for(server.sleeps, 'the deletion to have begun')
            server.kill()
            window.answer('SQL Error')
        window.press('Connect Again')
        window.choose('Message', 'Delete', 'this email from database...')
        window.answer('Delete this email from database', 'Delete')
        window.status('2 emails in the database.')
        self.assertEqual(server.ask('SELECT count(*) FROM origemail'), '2')

    def test_it_dies_in_a_run(self):
        """Told; the next run stores what this one had not, and each message is there once."""
        server = Server(self.home)
        with server.locked('origemail'):
            self.import_more()
            wait_for(server.waits, 'the run to have begun a message')
            server.kill()
        self.window.answer('Not all has been archived')
        self.window.answer('Archive Log')
        self.import_more()
        self.window.answer('Archive Log')
        self.window.status('7 emails in the database.')
        self.assertEqual(server.ask('SELECT count(*),count(DISTINCT subj_fld) FROM email'), '7\t7')
        terminal(self.home, 'verify')


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
