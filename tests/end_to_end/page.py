"""The page in a browser shows what the handlers answer: page.py TSPROBE AXE-FOLDER [SCREENSHOTS]

Opens a folder's page in headless Chromium; npm puts axe-core into AXE-FOLDER. Leaves pictures of
the page in SCREENSHOTS. Exit status 77 when all is fine but axe-core could not be had."""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

from mutagen.id3 import COMM, ID3, TALB, TIT2, TPE1
from selenium import webdriver
from selenium.webdriver.common.keys import Keys

import tracks

TSPROBE, AXE_FOLDER = (pathlib.Path(path).resolve() for path in sys.argv[1:3])
AXE = AXE_FOLDER / 'node_modules/axe-core/axe.min.js'
HOSTILE = {
    'script.mp3': '</script><script>hostile=1</script><img src=x onerror="hostile=1">',
    'comment.mp3': '<!-- <script> ]]> &lt;&amp; "\'',
    'override \u202e.mp3': 'abc\u202ecba \u2067\u05d0',
    'word.mp3': 'W' * 900,
    'LINES.MP3': 'one\ntwo',
}
WORDS = {
    'chord.mp3': {
        'Title': 'Grüße, 世界', 'Contributing artists': 'The Sine Waves', 'Album': 'Two Tones', '#': '1',
        'Year': '2024', 'Length': '00:00:05', 'Bit rate': '128kbps', 'Rating': '4 Stars', 'Size': '91.0 KB',
        'Part of a compilation': 'Yes', 'Podcast': 'No', 'Item type': 'MP3 File', 'Part of set': '1/1',
        'Composers': 'Joseph Fourier', 'Comments': 'A major third', 'Beats-per-minute': '120',
        'Album artist': 'Various', 'Sample rate': '44100 Hz', 'Properties': 'answered'},
    'u16-23.mp3': {
        'Subtitle': 'Subtitle', 'Publisher': 'Publisher', 'Encoded by': 'Encöder', 'Conductors': 'Conductor',
        'Author URL': 'http://artist/', 'Copyright': '2021 Ä', 'Group description': 'Group', 'Rating': '1 Star',
        'Initial key': 'C#m', 'Link target': 'http://example/', 'Original artist': 'Origínal', 'Podcast': 'Yes',
        'Thumbnail': 'no picture (0x0000000D)'},
}
HEADLINES = {
    'chord.mp3': '^$', 'empty.mp3': 'the file is empty', 'vbr.mp3': 'first ten bytes', 'none.mp3': 'not found',
    'cut-tag.mp3': 'ends within its tag', 'plain.aiff': 'no ID3 tag', 'u16-23.mp3': 'none that can be shown',
    'tracks.py': 'Not a track by its name',
}
READ_PAGE = """dispatchEvent(new Event('beforeprint'));
const all = (selector, read) => [...document.querySelectorAll(selector)].map(read);
const rows = (table) => [...table.tBodies[0].rows].map((row) => [...row.cells].map((cell) => cell.textContent));
return {
  all: rows(document.getElementById('table')), about: document.getElementById('about-line').textContent,
  heads: all('thead th', (head) => [head.textContent, head.ariaSort]),
  links: all('tbody tr:not([hidden]) a', (link) => document.querySelector(link.hash).querySelector('h3').textContent),
  bare: all('body *', (e) => e.localName !== 'bdi' &&
      [...e.childNodes].some((node) => node.nodeType === 3 && node.data.includes('\\u202e'))).filter(Boolean),
  elements: all('main *', (e) => e.localName), hostile: typeof hostile, seen: document.body.innerText,
  overflow: document.documentElement.scrollWidth - innerWidth,
  tracks: all('.track', (section) => ({
    headline: section.querySelector('.bad')?.textContent ?? '', hasPicture: section.querySelector('img') !== null,
    rows: [...section.querySelectorAll('table')].flatMap(rows)}))};"""


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
        result = subprocess.run([tracks.SCRIPTS / 'run-wine.sh', TSPROBE, '--html', cls.page, music, 'none.mp3', tracks.__file__],
                                capture_output=True, check=False)
        cls.answers = [json.loads(line) for line in result.stdout.decode().split('\n') if line]
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
        for name, words in WORDS.items():
            rows = {row[0]: row[-1] for row in reversed(self.shown['tracks'][self.names.index(name)]['rows'])}
            self.assertEqual(words, {label: rows.get(label) for label in words})
        for name, words in HEADLINES.items():
            self.assertRegex(self.shown['all'][self.names.index(name)][1], words)

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
        whole = self.page.read_bytes()
        cut = self.page.with_name('cut.html')
        cut.write_bytes(whole[:whole.rindex(b'"properties"')])
        shown = self.open(cut)
        self.assertEqual(self.shown['tracks'][:-1], shown['tracks'])
        self.assertIn('interrupted', shown['about'])


if __name__ == '__main__':
    outcome = unittest.main(argv=sys.argv[:1], exit=False).result
    sys.exit(1 if not outcome.wasSuccessful() else 77 if outcome.skipped else 0)
