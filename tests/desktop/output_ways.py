"""Ways by which mail leaves the archive through the window: output_ways.py KELDANEPRO KELDANE [WAY...]."""
import codecs
import mailbox
import os
import subprocess

from way import OneWindow, mail, main, read, terminal

MAILS = {'Minutes': mail('Minutes', 10), 'Agenda': mail('Agenda', 11, sender='Carl <carl@club.example>'),
         'News': mail('News', 13, html='<h1>Headline</h1><p>Of the day.</p>'),
         'Invoice': mail('Invoice', 15, text='Rhubarb, please pay.', attachment='%PDF paid')}


class Leaving(OneWindow):
    mails = tuple(MAILS.values())

    def saved(self, name, accept, title):
        """Names the file in the chooser, and what it holds once the alert of this title has come."""
        path = self.path(name)
        self.window.choose_file(path, accept)
        self.assertIn(path, self.window.answer(title))
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o600)
        text = read(path)
        return text.decode('utf-16').encode() if text.startswith(codecs.BOM_UTF16_LE) else text

    def test_save(self):
        """The list, messages as text, their sources, an attachment."""
        window = self.window
        window.select('Invoice')
        window.choose('Message', 'Save', 'list')
        text = self.saved('list.txt', 'Save', 'List has been saved').decode()
        for subject in MAILS:
            self.assertIn(subject, text)
        window.choose('Message', 'Save', 'this email')
        window.answer('Strip Quoted Messages', 'No')
        text = self.saved('one.txt', 'Save', 'Email has been saved')
        self.assertIn(b'Rhubarb, please pay.', text)
        self.assertNotIn(b'Text of Agenda.', text)
        window.choose('Message', 'Save', 'all email in list')
        window.answer('Strip Quoted Messages', 'Yes')
        text = self.saved('all.txt', 'Save', 'The email in the list has been saved')
        for words in (b'Rhubarb, please pay.', b'Text of Agenda.', b'Text of Minutes.'):
            self.assertIn(words, text)
        window.choose('Message', 'Save', 'this original email')
        self.assertEqual(self.saved('one.eml', 'Save', 'Raw source email has been saved').strip(),
                         MAILS['Invoice'].strip())
        window.choose('Message', 'Save', 'all original email in list')
        text = self.saved('all.eml', 'Save', 'Raw source email has been saved')
        for one in MAILS.values():
            self.assertIn(one.strip(), text)
        window.choose('Message', 'Save', 'attachments of this email')
        os.mkdir(self.path('saved'))
        window.choose_file(self.path('saved'), 'Choose')
        window.answer('Attachments Saved')
        self.assertEqual(read(self.path('saved/4_bill.pdf')), b'%PDF paid')

    def test_export(self):
        """The list in every form; what is written is read back."""
        window = self.window
        for item, name, title in (('Tab-Delimited...', 'list.tab', 'Done Exporting'),
                                  ('Comma-Delimited...', 'list.csv', 'Done Exporting')):
            window.choose('Archive', 'Export List', item)
            text = self.saved(name, 'Export', title).decode()
            for subject in MAILS:
                self.assertIn(subject, text)
        window.choose('Archive', 'Export List', 'Mbox...')
        self.saved('list.mbox', 'Export', 'Done exporting')
        self.assertEqual(sorted(one['Subject'] for one in mailbox.mbox(self.path('list.mbox'))), sorted(MAILS))
        window.choose('Archive', 'Export List', 'Email Addresses...')
        for box in ('From', 'To'):
            if not window.control(box, 'check box').getState().contains(window.bus.STATE_CHECKED):
                window.press(box, within='Export Email Addresses')
        window.press('Export...', within='Export Email Addresses')
        text = self.saved('addresses.txt', 'Save', 'Done exporting').decode()
        for address in ('ann@club.example', 'bo@club.example', 'carl@club.example'):
            self.assertIn(address, text)
        window.choose('Archive', 'Export List', 'SQL...')
        window.choose_file(self.path('list.sql'), 'Export')
        window.enter('Database name:', 'copy', within='Export SQL')
        window.press('Export', within='Export SQL')
        self.assertIn(self.path('list.sql'), window.answer('Done exporting'))
        self.assertIn(b'Rhubarb', read(self.path('list.sql')))

    def test_pdf(self):
        """Of a message as text and of one as HTML."""
        window = self.window
        for subject, words in (('Invoice', 'Rhubarb, please pay.'), ('News', 'Headline')):
            window.select(subject)
            window.choose('Message', 'Save as PDF...')
            path = self.path(f'{subject}.pdf')
            window.choose_file(path, 'Save')
            self.assertIn(path, window.answer('PDF has been saved'))
            text = subprocess.run(['pdftotext', path, '-'], check=True, capture_output=True, text=True).stdout
            self.assertIn(words, text)
            self.assertIn(subject, text)


class Deleting(OneWindow):

    def setUp(self):
        terminal(self.home, 'archive', self.path('mail'))
        super().setUp()
    mails = tuple(MAILS.values())

    def test_delete_from_the_database(self):
        """Asked first; what is deleted is gone for everybody, and its file brings it back."""
        window = self.window
        window.select('Agenda')
        title = 'Delete this email from database'
        for button, left in (('Cancel', 4), ('Delete', 3)):
            window.choose('Message', 'Delete', 'this email from database...')
            self.assertIn('Do you want to delete the selected email from the database?', window.answer(title, button))
            window.status(f'{left} emails in the database.')
        self.assertNotIn('Agenda', window.subjects())
        self.assertNotIn('Agenda', terminal(self.home, 'find', 'agenda'))
        window.press('Browse', role='push button')
        window.status('3 emails in this list.')
        terminal(self.home, 'archive', self.path('mail'))
        window.press('Browse', role='push button')
        window.status('4 emails in this list.')
        window.select('Agenda')
        self.assertIn('Text of Agenda.', window.text(window.field('Message')))

    def test_delete_attachments(self):
        window = self.window
        window.select('Invoice')
        window.choose('Message', 'Delete', 'attachments of this email from database...')
        window.answer('Delete Email in Database', 'Delete')
        window.answer('Duplicates were deleted')
        window.select('Agenda')
        window.select('Invoice')
        self.assertNotIn('bill.pdf', terminal(self.home, 'attachments', '4'))

    def test_a_backup_brings_back_what_is_deleted(self):
        window = self.window
        window.choose('Archive', 'Back Up Database...')
        window.choose_file(self.path('backup.sql'), 'Backup')
        window.answer('Keldane Pro will be unresponsive')
        window.answer('Done Exporting')
        window.choose('Message', 'Delete', 'all email in list from database...')
        window.answer('Delete Email in Database', 'Delete')
        window.status('0 emails in the database.')
        window.choose('Archive', 'Import SQL File...')
        window.choose_file(self.path('backup.sql'), 'Open')
        window.answer('Import SQL File', 'Import')
        window.answer('Done Importing')
        window.press('Browse', role='push button')
        window.status('4 emails in this list.')
        window.select('Agenda')
        self.assertIn('Text of Agenda.', window.text(window.field('Message')))


if __name__ == '__main__':
    main()
