"""What the ways of a user have in common: a home folder with mail, a window, the terminal program."""
import contextlib
import email.message
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import warnings

from heard_window import HeardWindow, in_own_session, wait_for

PROGRAMS = {}
CONNECTED = 'This Computer \u25b8 myemaildb'


def mail(subject, day, text='', sender='Ann <ann@club.example>', html='', attachment=''):
    message = email.message.EmailMessage()
    message['From'] = sender
    message['To'] = 'Bo <bo@club.example>'
    message['Subject'] = subject
    message['Date'] = f'Fri, {day:02} Jan 2022 09:30:00 +0100'
    message['Message-ID'] = f'<{day}.{len(subject)}@club.example>'
    message.set_content(text or f'Text of {subject}.')
    if html:
        message.set_content(html, subtype='html')
    if attachment:
        message.add_attachment(attachment.encode(), maintype='application', subtype='pdf', filename='bill.pdf')
    return message.as_bytes()


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'wb') as file:
        file.write(data)


def read(path):
    with open(path, 'rb') as file:
        return file.read()


def terminal(home, *arguments):
    return subprocess.run([PROGRAMS['terminal'], *arguments], env=dict(os.environ, HOME=home), check=True,
                          capture_output=True, text=True).stdout


class Way(unittest.TestCase):
    """Ways that share a home folder with a private server and mail in it, and most of them a window."""
    mails = ()
    opens = True

    @classmethod
    def setUpClass(cls):
        cls.window = None
        cls.home = tempfile.mkdtemp(prefix='kw', dir='/tmp')
        cls.addClassCleanup(cls.clear)
        for number, one in enumerate(cls.mails):
            write(cls.path(f'mail/{number}.eml'), one)
        if cls.mails:
            terminal(cls.home, 'archive', cls.path('mail'))
        if cls.opens:
            cls.open()

    @classmethod
    def clear(cls):
        if cls.window:
            cls.window.quit()
        subprocess.run([PROGRAMS['terminal'], 'server', 'stop'], env=dict(os.environ, HOME=cls.home), check=False,
                       capture_output=True)
        shutil.rmtree(cls.home, ignore_errors=True)

    @classmethod
    def path(cls, name):
        return f'{cls.home}/{name}'

    @classmethod
    def another(cls, **how):
        return HeardWindow(PROGRAMS['window'], cls.home, **how)

    @classmethod
    def open(cls, **how):
        cls.window = cls.another(**how)
        cls.window.control(CONNECTED, 'label')

    def setUp(self):
        self.start = time.monotonic()
        self.addCleanup(lambda: print(f'  {self.id().split(".")[-1]}: {time.monotonic() - self.start:.1f} s',
                                      flush=True))


class OneWindow(Way):
    """Ways that go on in the window of the way before, with all emails in its list."""
    least = 0

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.least = cls.least or len(cls.mails)

    def setUp(self):
        super().setUp()
        # What a way before has left open is closed.
        while len(self.window.windows()) > 1:
            before = len(self.window.windows())
            self.window.keys('Esc')
            wait_for(lambda: len(self.window.windows()) < before, 'a panel to close')
        self.window.press('Browse', role='push button')
        wait_for(lambda: len(self.window.subjects()) >= self.least, 'all emails')


@contextlib.contextmanager
def own_program(path):
    """The program under a name of its own, beside itself: one of the same name on this machine would end it."""
    own = f'{path}-{os.getpid()}'
    os.link(path, own)
    try:
        yield own
    finally:
        os.unlink(own)


def main():
    in_own_session()
    warnings.simplefilter('ignore')
    window, terminal_program = (os.path.abspath(one) for one in sys.argv[1:3])
    with own_program(window) as own:
        PROGRAMS.update(window=own, terminal=terminal_program)
        unittest.main(argv=sys.argv[:1] + sys.argv[3:], module='__main__', verbosity=0)
