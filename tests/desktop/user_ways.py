"""Whole ways of a user through the window, by what is heard of it: user_ways.py KELDANEPRO KELDANE [WAY...]."""
import os

from heard_window import wait_for
from way import OneWindow, Way, mail, main, write

REMOTE = '<p>News</p><img src="http://127.0.0.1:9/a.png"><img src="http://127.0.0.1:9/b.png">'


class FirstStart(Way):
    def test_first_start_to_first_message_read(self):
        """The mail found on the machine is archived with two presses, and read."""
        for number, subject in enumerate(('Minutes', 'Agenda')):
            write(self.path(f'Maildir/cur/{number}:2,S'), mail(subject, number + 10))
        for folder in ('new', 'tmp'):
            os.makedirs(self.path(f'Maildir/{folder}'), exist_ok=True)
        window = self.window
        window.press('Archive my mail...')
        window.press('Archive', within='Archive My Mail')
        window.answer('Archive Log')
        window.status('2 emails in the database.')
        window.select('Agenda')
        self.assertIn('Text of Agenda.', window.text(window.field('Message')))


class WithMail(OneWindow):
    mails = (mail('Minutes', 10), mail('Agenda', 11), mail('Budget', 12, sender='Carl <carl@club.example>'),
             mail('News', 13, html=REMOTE), mail('Report', 14),
             mail('Invoice', 15, text='Rhubarb, please pay.', attachment='%PDF paid'))

    def test_search_by_form_and_inside_the_list(self):
        window = self.window
        window.press('Search', role='push button')
        window.enter('Text 1', 'Ann', within='Search email in myemaildb')
        window.press('Search', within='Search email in myemaildb')
        wait_for(lambda: 'Budget' not in window.subjects(), 'fewer rows')
        window.choose('Search', 'Search in List...')
        window.press('Reset')
        wait_for(lambda: window.text(window.field('Text 1')) == '', 'an empty form')
        window.enter('Text 3', 'Minutes')
        window.press('Search', within=window.windows()[0].name)
        wait_for(lambda: window.subjects() == ['Minutes'], 'the one row')

    def test_search_by_a_statement_that_is_saved(self):
        window = self.window
        window.choose('Search', 'Edit SQL...')
        window.enter('What it asks for; this can be edited:', 'WHERE subj_fld LIKE "%genda%"')
        window.press('Saved Searches...', within='Edit SQL')
        window.enter('Name:', 'The agenda', within='Saved Searches')
        window.press('Save', within='Saved Searches')
        window.press('Search', within='Saved Searches')
        wait_for(lambda: window.subjects() == ['Agenda'], 'the one row')

    def test_find_as_one_types(self):
        window = self.window
        before = window.subjects()
        window.keys('Ctrl+f')
        window.type('rhub')
        wait_for(lambda: window.subjects() == ['Invoice'], 'what is found')
        window.keys('Esc')
        wait_for(lambda: window.subjects() == before, 'the former list')

    def test_tags_by_hand(self):
        window = self.window
        window.select('Budget')
        window.press('Tag', role='push button')
        window.enter('Category', 'Club', within='Tags')
        window.press('Add Tags', within='Tags')
        window.answer('Done')
        window.press('Close', within='Tags')
        window.select('Agenda')
        window.select('Budget')
        wait_for(lambda: 'Club' in window.text(window.field('Tags')), 'the tag above the message')

    def import_file(self, *mails):
        self.imports = getattr(self, 'imports', 0) + 1
        path = self.path(f'more/{self.id().split(".")[-1]}-{self.imports}.eml')
        write(path, mails[0])
        self.window.choose('Archive', 'Import MBOX Files...')
        self.window.press('Files...')
        self.window.choose_file(path, 'Open')
        self.window.press('Archive', within='Archive Email')
        self.window.answer('Archive Log')

    def rule(self, name, subject, tags):
        window = self.window
        window.choose('Archive', 'Tag Rules...')
        window.press('Add...', within='Tag Rules')
        window.enter('Rule:', name)
        window.enter('Criterion 3, text', subject)
        if tags:
            window.enter('Category', tags)
        else:
            window.press('Keep the email out of the archive')
        window.press('Save Rule')
        window.gone('Tag Rule')
        window.press('Cancel', within='Tag Rules')

    def test_a_rule_tags_and_another_keeps_out(self):
        window = self.window
        self.rule('Treasurer', 'Receipt', 'Money')
        self.rule('Adverts', 'Bargain', '')
        self.import_file(mail('Receipt', 20))
        self.import_file(mail('Bargain', 21))
        window.press('Browse', role='push button')
        window.status('7 emails in this list.')
        marked = [row['Subject'] for row in window.rows(window.control('Emails', 'tree'))
                  if row['Date'].endswith('*')]
        self.assertIn('Receipt', marked)
        self.assertNotIn('Bargain', window.subjects())

    def test_images_elsewhere_are_held_back(self):
        window = self.window
        window.select('News')
        window.control('2 remote images not loaded.', 'label')
        window.press('Load this once')
        wait_for(lambda: not any(one.name == 'Load this once' for one in window.walk(window.windows()[0])),
                 'the end of the bar')

    def test_statistics(self):
        window = self.window
        window.choose('Archive', 'Statistics...')
        window.press('Make Report', within='Statistics')
        report = window.text(window.field('Report'))
        self.assertIn('Top 10 Senders', report)

    def test_deletes_from_the_list_and_brings_back(self):
        window = self.window
        before = window.subjects()
        window.select('Agenda')
        window.keys('Del')
        wait_for(lambda: 'Agenda' not in window.subjects(), 'the row to go')
        window.press('Browse', role='push button')
        wait_for(lambda: window.subjects() == before, 'the row again')

    def test_every_control_has_a_name(self):
        """Whatever can be used is named, in the main window and in every panel that a menu opens."""
        window = self.window
        used = ('push button', 'check box', 'radio button', 'text', 'combo box', 'tree', 'spin button', 'list',
                'page tab', 'page tab list', 'slider', 'table')
        nameless = []

        def note(root):
            for one in window.walk(root):
                if one.getRoleName() in used and not one.name.strip():
                    nameless.append(f'{root.name}: {one.getRoleName()} in {one.parent.getRoleName()} {one.parent.name}')

        window.select('Invoice')
        note(window.windows()[0])
        for item in (('Message', 'Tag...'), ('Message', 'View Raw Source'), ('Message', 'Open in a Window'), ('Archive', 'Archive Email...'), ('Archive', 'Archive My Mail...'),
                     ('Archive', 'Find Duplicates...'), ('Archive', 'Tag Rules...'), ('Archive', 'Statistics...'),
                     ('Archive', 'Export List', 'Email Addresses...'), ('Edit', 'Settings...'),
                     ('Search', 'Search Database...'), ('Search', 'Edit SQL...'), ('Search', 'Saved Searches...')):
            with self.subTest(item[-1]):
                window.choose(*item)
                wait_for(lambda: len(window.windows()) > 1, f'a window for {item}')
                note(window.windows()[0])
                window.keys('Esc')
                wait_for(lambda: len(window.windows()) == 1, f'the end of the window for {item}')
        window.choose('Edit', 'Settings...')
        window.press('Accounts', role='page tab')
        window.press('Find...')
        note(window.window('Mail on This Computer'))
        for _ in range(2):
            before = len(window.windows())
            window.keys('Esc')
            wait_for(lambda: len(window.windows()) < before, 'the end of a window')
        self.assertEqual(nameless, [])


if __name__ == '__main__':
    main()
