"""The window program as a screen reader has it: found, read and used through the accessibility bus
alone, by role and name. Runs under a screen and a session bus of its own (`in_own_session`)."""
import os
import shutil
import signal
import subprocess
import sys
import time

SKIPPED = 77  # what ctest takes for "skipped"
LONG_SECONDS = int(os.environ.get("KELDANE_LONG_SECONDS", "90"))
KEYSYMS = {'Enter': 0xff0d, 'Tab': 0xff09, 'Esc': 0xff1b, 'Space': 0x20, 'Del': 0xffff, 'Home': 0xff50,
           'Down': 0xff54, 'Up': 0xff52, 'Right': 0xff53, 'Left': 0xff51, 'F3': 0xffc0, 'F10': 0xffc7}
MODIFIERS = {'Ctrl': 37, 'Shift': 50, 'Alt': 64}  # key codes of the usual keyboard


def in_own_session():
    """Starts this script anew under a screen and a bus of its own; returns in the new process."""
    if os.environ.get('KELDANE_OWN_SESSION'):
        return
    for program in ('Xvfb', 'dbus-run-session', 'matchbox-window-manager'):
        if shutil.which(program) is None:
            skip(f'{program} is missing')
    try:
        import pyatspi  # noqa: F401
    except ImportError:
        skip('python3-pyatspi is missing')
    # The screen finds a free number by itself; xvfb-run may take one that another has just taken.
    reading, writing = os.pipe()
    screen = subprocess.Popen(['Xvfb', '-displayfd', str(writing), '-screen', '0', '1400x1000x24'],
                              pass_fds=(writing,), stderr=subprocess.DEVNULL)
    try:
        display = ':' + os.read(reading, 10).decode().strip()
        environment = dict(os.environ, KELDANE_OWN_SESSION='1', NO_AT_BRIDGE='0', DISPLAY=display)
        session = ['dbus-run-session', '--', 'sh', '-c', 'matchbox-window-manager & exec "$@"', 'sh']
        status = subprocess.run(session + [sys.executable, '-B', '-W', 'ignore'] + sys.argv,
                                env=environment, check=False).returncode
    finally:
        screen.terminate()
        screen.wait()
    sys.exit(status)


def skip(why):
    print(f'skipped: {why}; script/setup --window installs what is needed')
    sys.exit(SKIPPED)


def wait_for(find, what, seconds=LONG_SECONDS):
    """What `find` answers once it is true. Fails when that takes too long."""
    end = time.monotonic() + seconds
    while True:
        try:
            found = find()
        except Exception:  # a control that went away while it was asked
            found = None
        if found:
            return found
        if time.monotonic() > end:
            raise AssertionError(f'waited in vain for {what}')
        time.sleep(0.02)


class HeardWindow:
    """A running program. Controls are those of its showing windows, the uppermost window first."""

    def __init__(self, program, home, arguments=(), path=''):
        import pyatspi
        self.bus = pyatspi
        self.environment = dict(
            os.environ, HOME=home, TMPDIR=os.path.join(home, 'tmp'), XDG_RUNTIME_DIR=os.path.join(home, 'run'),
            QT_QPA_PLATFORM='xcb', QT_LINUX_ACCESSIBILITY_ALWAYS_ON='1', QTWEBENGINE_DISABLE_SANDBOX='1',
            QTWEBENGINE_CHROMIUM_FLAGS='--no-sandbox --disable-gpu',
            PATH=path + os.environ['PATH'])
        for folder in ('tmp', 'run'):
            os.makedirs(os.path.join(home, folder), mode=0o700, exist_ok=True)
        self.log = open(os.path.join(home, 'program.log'), 'a', encoding='utf-8')
        self.process = subprocess.Popen([program, *arguments], env=self.environment,
                                        stdout=self.log, stderr=self.log)
        self.application = wait_for(self._application, 'the program on the bus')
        wait_for(self.windows, 'a window')

    def _application(self):
        if self.process.poll() is not None:
            raise AssertionError('the program has ended')
        for one in self.bus.Registry.getDesktop(0):
            if one is not None and one.get_process_id() == self.process.pid:
                return one
        return None

    def quit(self):
        """As a session does that ends."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.log.close()

    # Finding

    def windows(self):
        """The windows that show; those that were opened last come first."""
        shown = [one for one in self.application if one is not None and self.shows(one)]
        return sorted(shown, key=lambda one: (one.getRoleName() == 'frame', -one.getIndexInParent()))

    def window(self, title):
        """The window of this title, once it shows."""
        return wait_for(lambda: next((one for one in self.windows() if one.name == title), None),
                        f'the window {title!r}')

    def gone(self, title):
        wait_for(lambda: all(one.name != title for one in self.windows()), f'the end of {title!r}')

    def shows(self, control):
        states = control.getState()
        return states.contains(self.bus.STATE_VISIBLE) and states.contains(self.bus.STATE_SHOWING)

    def walk(self, root):
        """All controls below that show, and the items of menus, which do so only while open."""
        for one in root:
            if one is None:
                continue
            role = one.getRoleName()
            if role in ('tree', 'table', 'document web'):
                yield one
                continue
            if role not in ('menu item', 'popup menu', 'menu bar') and not self.shows(one):
                continue
            yield one
            yield from self.walk(one)

    def control(self, name, role=None, within=None):
        """The control of this name, once it shows."""
        def find():
            roots = [self.window(within)] if within else self.windows()
            for root in roots:
                for one in self.walk(root):
                    if one.name == name and (role is None or one.getRoleName() == role):
                        return one
            return None
        return wait_for(find, f'{role or "control"} {name!r} in {[one.name for one in self.windows()]}')

    def field(self, name, within=None):
        return self.control(name, 'text', within)

    def focused(self):
        """The control that the keys go to, or what in it they go to."""
        found = [one for one in self.walk(self.windows()[0]) if one.getState().contains(self.bus.STATE_FOCUSED)]
        return found[-1] if found else None

    # Reading

    @staticmethod
    def text(control):
        text = control.queryText()
        return text.getText(0, text.characterCount)

    def rows(self, table):
        """The cells of a table, by the title of their column."""
        cells = table.queryTable()
        titles = [cells.getColumnDescription(column) for column in range(cells.nColumns)]
        return [{titles[column]: cells.getAccessibleAt(row, column).name
                 for column in range(cells.nColumns)} for row in range(cells.nRows)]

    def subjects(self):
        return [row['Subject'] for row in self.rows(self.control('Emails', 'tree'))]

    def status(self, text):
        self.control(text, 'label')

    # Using

    def press(self, name, within=None, role=None):
        """Presses a button or chooses an item of a menu. What opens may keep the answer back."""
        control = wait_for(lambda: self._pressable(name, within, role), f'{name!r} to be ready')
        self._act(control, ('Press', 'Toggle'))

    def _pressable(self, name, within, role):
        control = self.control(name, role, within)
        return control if 'Action' in self.bus.listInterfaces(control) and \
            control.queryAction().nActions and control.getState().contains(self.bus.STATE_ENABLED) else None

    def _act(self, control, names):
        import gi
        gi.require_version('Atspi', '2.0')
        from gi.repository import Atspi, GLib
        action = control.queryAction()
        index = next(i for i in range(action.nActions) if action.getName(i) in names)
        Atspi.set_timeout(300, 15000)
        try:
            action.doAction(index)
        except (GLib.Error, RuntimeError, NotImplementedError):
            pass
        finally:
            Atspi.set_timeout(15000, 15000)
        # A button is seen to go down, and what it does begins when it comes up.
        wait_for(lambda: not self._is_down(control), f'{control.name!r} to come up')

    def _is_down(self, control):
        try:
            return control.getState().contains(self.bus.STATE_PRESSED)
        except Exception:  # gone with its window
            return False

    def choose(self, *titles):
        """An item of the menu bar, by the titles on the way to it."""
        item = self.control(titles[0], 'menu item')
        for title in titles[1:]:
            item = wait_for(lambda: next((one for one in self._items(item) if one.name == title), None),
                            f'the item {title!r}')
        self._act(item, ('Press',))

    def _items(self, item):
        for one in item:
            if one.getRoleName() == 'popup menu':
                yield from one
            else:
                yield one

    def enter(self, name, text, within=None):
        """Puts a text into a field, in place of what it has."""
        field = self.field(name, within)
        field.queryEditableText().setTextContents(text)
        wait_for(lambda: self.text(field) == text, f'{text!r} in {name!r}')

    def pick(self, name, title, within=None):
        """An item of a menu button."""
        box = self.control(name, 'combo box', within)
        self.focus(box)
        self.keys('Home')
        for _ in range(200):
            if box.name == title or self.chosen(box) == title:
                return
            self.keys('Down')
        raise AssertionError(f'{name!r} has no {title!r}')

    def choose_row(self, name, title):
        """A row of a list, by the keys."""
        rows = self.control(name, 'list')
        self.focus(rows)
        self.keys('Home')
        for _ in range(20):
            row = wait_for(self.focused, f'a row of {name!r}')
            if row.name == title:
                return
            self.keys('Down')
        raise AssertionError(f'{name!r} has no {title!r}')

    def chosen(self, box):
        return box.queryText().getText(0, -1) if 'Text' in self.bus.listInterfaces(box) else ''

    def focus(self, control):
        control.queryComponent().grabFocus()
        wait_for(lambda: control.getState().contains(self.bus.STATE_FOCUSED), f'the focus on {control.name!r}')

    def keys(self, *chords):
        """Keys as they are pressed: "Ctrl+f", "Tab". What is typed before the window has them is lost."""
        wait_for(lambda: self.windows()[0].getState().contains(self.bus.STATE_ACTIVE), 'the window to take keys')
        for chord in chords:
            *held, key = chord.split('+')
            for one in held:
                self.bus.Registry.generateKeyboardEvent(MODIFIERS[one], None, self.bus.KEY_PRESS)
            self.bus.Registry.generateKeyboardEvent(KEYSYMS.get(key) or ord(key), None, self.bus.KEY_SYM)
            for one in reversed(held):
                self.bus.Registry.generateKeyboardEvent(MODIFIERS[one], None, self.bus.KEY_RELEASE)

    def type(self, text):
        for character in text:
            self.keys(character)

    def select(self, subject):
        """Goes to this message in the list, by the keys."""
        wait_for(lambda: subject in self.subjects(), f'{subject!r} in the list')
        self.keys('Ctrl+f', 'Down', 'Home', *['Down'] * self.subjects().index(subject))

        def is_shown():
            heads = [one for one in self.walk(self.windows()[0]) if one.name == 'Subject' and one.getRoleName() == 'text']
            return heads and self.text(heads[0]) == subject
        wait_for(is_shown, f'{subject!r} to be shown')

    def go_to(self, name, key='Tab', most=40):
        """Presses the key until the keys go to the control of this name."""
        for _ in range(most):
            at = wait_for(self.focused, f'the focus, on the way to {name!r}')
            if at.name == name:
                return
            self.keys(key)
            wait_for(lambda: self.focused() not in (None, at), f'the focus to leave {at.name!r}')
        raise AssertionError(f'{key} does not lead to {name!r}')

    def click(self, control):
        """In its middle."""
        area = control.queryComponent().getExtents(self.bus.DESKTOP_COORDS)
        self.bus.Registry.generateMouseEvent(area.x + area.width // 2, area.y + area.height // 2, 'b1c')

    def answer(self, title, button='OK'):
        """Presses a button of the alert of this title, and answers what the alert says."""
        def alert():
            for window in self.windows():
                labels = [one.name for one in self.walk(window) if one.getRoleName() == 'label']
                if window.getRoleName() in ('alert', 'dialog') and title in (window.name, *labels):
                    return window, labels
            return None
        window, labels = wait_for(alert, f'the alert {title!r} in {[one.name for one in self.windows()]}')
        found = next(one for one in self.walk(window) if one.name == button)
        self._act(found, ('Press',))
        wait_for(lambda: window not in self.windows(), f'the end of the alert {title!r}')
        return ' '.join(labels)

    def choose_file(self, path, accept):
        """Answers the chooser of files that has come."""
        chooser = wait_for(lambda: next((one for one in self.windows() if one.getRoleName() == 'dialog' and
                                         self._has(one, 'Look in:')), None), 'the chooser')
        field = next(one for one in self.walk(chooser) if one.getRoleName() == 'text')
        field.queryEditableText().setTextContents(path)
        self._act(next(one for one in self.walk(chooser) if one.name.replace('&', '') == accept), ('Press',))
        wait_for(lambda: chooser not in self.windows(), 'the end of the chooser')

    def _has(self, root, *names):
        return any(one.name in names for one in self.walk(root))
