"""The page in a browser shows what the handlers answer: page.py TSPROBE AXE-FOLDER [SCREENSHOTS]

Opens a folder's page in headless Chromium; npm puts axe-core into AXE-FOLDER. Leaves pictures of
the page in SCREENSHOTS. Exit status 77 when all is fine but axe-core could not be had."""
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from mutagen.id3 import COMM, ID3, TALB, TIT2, TPE1
from selenium import webdriver
from selenium.webdriver.common.keys import Keys

import tracks

TSPROBE = [tracks.SCRIPTS / 'run-wine.sh', pathlib.Path(sys.argv[1]).resolve()]
AXE_FOLDER = pathlib.Path(sys.argv[2]).resolve()
AXE = AXE_FOLDER / 'node_modules/axe-core/axe.min.js'
HOSTILE = {
    'script.mp3': '</script><script>hostile=1</script><img src=x onerror="hostile=1">',
    'comment.mp3': '<!-- <script> ]]> &lt;&amp; "\'',
    'override \u202e.mp3': 'abc\u202ecba \u2067\u05d0',
    'word.mp3': 'W' * 900,
    'LINES.MP3': 'one\ntwo',
}
READ_PAGE = pathlib.Path(__file__).with_name('read_page.js').read_text()


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        music = folder / 'music'
        cls.files = [*map(str, tracks.make(music / 'made')), *(f'{music}/{name}' for name in HOSTILE)]
        (music / 'a.txt').touch()
        for name, text in HOSTILE.items():
            tag = ID3()
            for frame in (TIT2(1, text), TALB(1, text), TPE1(1, [text]), COMM(1, 'eng', '', text)):
                tag.add(frame)
            (music / name).write_bytes((music / 'made/cbr.mp3').read_bytes())
            tag.save(music / name, v2_version=3)
        cls.page = folder / 'page.html'
        cls.given = [music, 'none.mp3', tracks.__file__]
        _, cls.answers = tracks.ask(*TSPROBE, '--html', cls.page, *cls.given)
        cls.names = [answer['file'].rsplit('/', 1)[-1] for answer in cls.answers]
        options = webdriver.ChromeOptions()
        for option in ('headless', 'no-sandbox', 'disable-dev-shm-usage', 'disable-background-networking'):
            options.add_argument('--' + option)
        options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
        cls.browser = webdriver.Chrome(options=options)
        cls.browser.set_script_timeout(300)
        cls.addClassCleanup(cls.browser.quit)
        cls.shown = cls.open(cls.page)

    @classmethod
    def open(cls, page, scheme='light', width=1300, media=''):
        cls.browser.set_window_size(width, 1600)
        cls.browser.execute_cdp_cmd('Emulation.setEmulatedMedia', {
            'media': media, 'features': [{'name': 'prefers-color-scheme', 'value': scheme}]})
        cls.browser.get(page.as_uri())
        return cls.browser.execute_script(READ_PAGE)

    def tearDown(self):
        self.assertEqual([], self.browser.get_log('browser'))

    def test_values_are_those_of_the_handlers(self):
        self.assertEqual([answer['file'] for answer in self.answers], self.shown['links'])
        self.assertCountEqual([*self.files, 'none.mp3', tracks.__file__], self.shown['links'])
        for answer, section, row in zip(self.answers, self.shown['tracks'], self.shown['all'], strict=True):
            with self.subTest(answer['file']):
                values = {item['value'] if item['type'] == 'string' else '; '.join(item['value'])
                          for item in answer['properties']['items'] if item['type'] in ('string', 'strings')}
                self.assertLessEqual(values, {row[-1] for row in section['rows']})
                for column, cell in zip(answer['columns'], row[2:], strict=True):
                    if column['type'] in ('bstr', None):
                        self.assertEqual(column['value'] or '', cell)
                self.assertEqual(answer['thumbnail']['width'] is not None, section['hasPicture'])
                self.assertEqual(section['headline'], row[1])

    def test_words_are_the_shells(self):
        lines = pathlib.Path(__file__).with_name('page_words.txt').read_text().splitlines()
        for line in filter(None, lines[1:]):
            label, _, value = line.strip().partition(' = ')
            if not value:
                number = self.names.index(label)
                rows = {row[0]: row[-1] for row in reversed(self.shown['tracks'][number]['rows'])}
            elif label == 'headline':
                self.assertRegex(self.shown['all'][number][1], value)
            else:
                self.assertEqual(value, rows.get(label), label)

    def test_hostile_texts_stay_texts(self):
        self.assertEqual(('undefined', []), (self.shown['hostile'], self.shown['bare']))
        self.assertFalse({'script', 'iframe', 'object', 'link'} & set(self.shown['elements']))
        # What gets into the page all the same is not loaded, and not run.
        self.browser.execute_script(r"""document.write('<img src="http://localhost/x"><img src="data:," onerror="hostile=1">')""")
        self.assertEqual(2, sum('Content Security Policy' in entry['message'] for entry in self.browser.get_log('browser')))

    def test_sorts_by_keyboard_and_filters(self):
        self.open(self.page)
        for order, direction in (('ascending', 1), ('descending', -1)):
            self.browser.find_element('xpath', '//button[.="Bit rate"]').send_keys(Keys.ENTER)
            shown = self.browser.execute_script(READ_PAGE)
            rates = [row[shown['heads'].index(['Bit rate', order])] for row in shown['all']]
            known = sorted(filter(None, rates), key=lambda rate: direction * int(rate.removesuffix('kbps')))
            self.assertEqual(known + [''] * (len(rates) - len(known)), rates)
        self.browser.find_element('id', 'filter').send_keys('two TONES')
        links = self.browser.execute_script(READ_PAGE)['links']
        self.assertEqual(['chord.aiff', 'chord.mp3'], sorted(link.rsplit('/', 1)[-1] for link in links))

    def test_fits_and_is_accessible(self):
        if not AXE.exists():
            subprocess.run(['env', 'npm', 'install', '--prefix', AXE_FOLDER, '--no-save', '--fetch-retries=0',
                            'axe-core@4.10.3'], capture_output=True, check=False)
        few = self.page.with_name('few.html')
        few.write_bytes(b''.join(line for line in self.page.read_bytes().splitlines(True) if b'class="track">' not in line
                                 or any(name in line for name in (b'/chord.mp3', b'cut-tag.mp3'))))
        for look in [('light', 1300), ('dark', 1300), ('dark', 390), ('light', 800, 'print')]:
            shown = self.open(self.page, *look)
            self.assertLessEqual(shown['overflow'], 0, look)
            if len(sys.argv) > 3:
                self.browser.save_screenshot('{}/{}-{}.png'.format(sys.argv[3], *look))
            if AXE.exists() and 'print' not in look:
                self.open(few, *look)
                self.browser.find_element('id', 'empty').click()
                self.browser.execute_script(AXE.read_text())
                self.assertEqual([], self.browser.execute_async_script('axe.run({preload: false}).then((result) => '
                    'arguments[0](result.violations.map((found) => [found.id, found.nodes[0].html])))'))
        self.assertIn('Comments\tone\ntwo', shown['seen'])
        if not AXE.exists():
            self.skipTest('npm cannot get axe-core')

    def test_interrupted_page_shows_what_was_read(self):
        page = self.page.with_name('interrupted.html')
        probe = subprocess.Popen([*TSPROBE, '--html', page, *self.given * 20], stdout=subprocess.DEVNULL,
                                 start_new_session=True)
        while probe.poll() is None and not (page.exists() and b'class="track"' in page.read_bytes()):
            time.sleep(0.05)
        os.killpg(probe.pid, signal.SIGINT)  # Ctrl-C
        self.assertEqual(1, probe.wait(60))
        whole = page.read_bytes()
        for end in (len(whole), whole.rindex(b'"properties"')):
            page.write_bytes(whole[:end])
            shown = self.open(page)
            self.assertEqual((self.shown['tracks'] * 20)[:len(shown['tracks'])], shown['tracks'])
            self.assertRegex(shown['about'], f'{len(shown["tracks"])} tracks?, interrupted')
        self.assertLess(len(shown['tracks']), 20 * len(self.answers))


if __name__ == '__main__':
    outcome = unittest.main(argv=sys.argv[:1], exit=False).result
    sys.exit(1 if not outcome.wasSuccessful() else 77 if outcome.skipped else 0)
