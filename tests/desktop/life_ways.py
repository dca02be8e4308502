"""Ways through the days of an archive: settings, schedule, servers, and the keyboard alone.
life_ways.py KELDANEPRO KELDANE [WAY...]."""
import os

from further_servers import PASSWORD, USER, FurtherServer
from heard_window import wait_for
from way import CONNECTED, Way, mail, main, terminal, write


class Settled(Way):
    mails = (mail('Minutes', 10),)
    opens = False

    def test_settings_survive_a_restart(self):
        for dates in ('Day first', 'Year first'):
            self.open()
            window = self.window
            window.keys('Ctrl+,')
            window.press('Viewing', role='page tab')
            window.press(dates, within='Viewing')
            window.press('Save', within='Viewing')
            window.answer('Settings Saved')
            window.quit()
            self.open()
            window = self.window
            shown = window.rows(window.control('Emails', 'tree'))[0]['Date']
            self.assertEqual(shown[:10], '10-01-2022' if dates == 'Day first' else '2022-01-10')
            window.quit()


class Scheduling(Way):
    mails = (mail('Minutes', 10),)
    opens = False

    def test_schedule(self):
        """Set in the window, seen by the terminal program and where the system looks for it."""
        write(self.path('tools/systemctl'), f'#!/bin/sh\necho "$@" >> {self.home}/asked\n'.encode())
        os.chmod(self.path('tools/systemctl'), 0o755)
        self.open(path=self.path('tools') + ':')
        window = self.window
        window.keys('Ctrl+,')
        window.press('Schedule', role='page tab')
        window.press('Monday', within='Schedule')
        window.focus(window.control('At:', 'spin button'))
        window.keys('Up')
        window.press('Schedule', role='push button', within='Schedule')
        window.answer('Archive Scheduled')
        self.assertIn('mon at 13:00', terminal(self.home, 'schedule', 'show'))
        with open(self.path('.config/systemd/user/keldanepro-schedule.timer'), encoding='utf-8') as timer:
            self.assertIn('OnCalendar=Mon *-*-* 13:00:00\n', timer.read())
        with open(self.path('asked'), encoding='utf-8') as asked:
            self.assertIn('keldanepro-schedule.timer', asked.read())
        window.press('Remove Schedule', within='Schedule')
        window.answer('Schedule Removed')
        self.assertFalse(os.path.exists(self.path('.config/systemd/user/keldanepro-schedule.timer')))


class SecondServer(Way):
    mails = (mail('Minutes', 10),)

    def test_connect_to_a_second_server(self):
        """Saved, connected, filled; the next start comes back to it, and a press to the first."""
        server = FurtherServer(self.path('second'))
        self.addCleanup(server.end)
        server.start()
        window = self.window
        window.choose('Archive', 'Connect to Server...')
        for name, text in (('Name:', 'Second'), ('Host:', '127.0.0.1'), ('User:', USER), ('Database:', 'letters'),
                           ('Port:', str(server.port)), ('Socket:', '')):
            window.enter(name, text, within='Connect to Server')
        window.focus(window.control('Password:', 'password text'))
        window.keys('Ctrl+a')
        window.type(PASSWORD)
        window.press('Save', within='Connect to Server')
        window.press('Connect', within='Connect to Server')
        window.control('Second \u25b8 letters', 'label')
        window.press('Open a folder or file...')
        window.press('A Folder...')
        window.choose_file(self.path('mail'), 'Open')
        window.press('Archive', within='Archive Email')
        window.answer('Archive Log')
        window.status('1 emails in the database.')
        window.quit()
        window = type(self).window = self.another()
        window.control('Second \u25b8 letters', 'label')
        window.status('1 emails in the database.')
        window.choose('Archive', 'Connect to Server...')
        window.choose_row('Saved connections', 'This Computer')
        window.press('Connect', within='Connect to Server')
        window.control(CONNECTED, 'label')
        window.select('Minutes')


class Keyboard(Way):
    opens = False

    def test_from_the_start_to_an_export(self):
        """Keys alone, as they are pressed: what is heard is only looked at."""
        for number, subject in enumerate(('Minutes', 'Agenda')):
            write(self.path(f'Maildir/cur/{number}:2,S'), mail(subject, number + 10))
        for folder in ('new', 'tmp'):
            os.makedirs(self.path(f'Maildir/{folder}'), exist_ok=True)
        self.open()
        window = self.window
        window.go_to('Archive my mail...')
        window.keys('Space')
        window.window('Archive My Mail')
        window.go_to('Archive')
        window.keys('Enter')
        window.control('Done Archiving Email', 'label')
        window.keys('Enter')
        window.status('2 emails in the database.')
        window.keys('Alt+a', 'Down')
        window.go_to('Export List', 'Down')
        window.keys('Right')
        window.go_to('Mbox...', 'Down')
        window.keys('Enter')
        window.window('Save Exported Mbox File')
        window.type(self.path('all.mbox'))
        window.keys('Enter')
        window.control('Done exporting', 'label')
        window.keys('Enter')
        wait_for(lambda: len(window.windows()) == 1, 'the main window alone')
        with open(self.path('all.mbox'), encoding='utf-8') as file:
            text = file.read()
        self.assertIn('Subject: Minutes', text)
        self.assertIn('Subject: Agenda', text)


if __name__ == '__main__':
    main()
