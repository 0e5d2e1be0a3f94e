"""The thumbnails are the pictures: thumbnails.py TSPROBE

Has ImageMagick make pictures in every format and mutagen put them into tracks, asks the handler for
the thumbnails, and compares their pixels with what ImageMagick reads from the same picture bytes."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from mutagen.id3 import APIC, ID3

import tracks
from described_tracks import fnv1a64

TSPROBE = pathlib.Path(sys.argv[1]).resolve()
CONVERT = '/usr/bin/convert'
SOURCE = '-size 61x47 -seed 7 plasma:red-blue'
WORDS = {'SOURCE': SOURCE, 'FULL': '-sampling-factor 1x1',
         'ALPHA': f'{SOURCE} ( -size 61x47 gradient: ) -compose CopyOpacity -composite'}


def pixels(path):
    """Blue, green, red, alpha of each pixel, 8 bits each."""
    return subprocess.run([CONVERT, f'{path}[0]', '-colorspace', 'sRGB', '-alpha', 'set', '-depth',
                           '8', 'bgra:-'], capture_output=True, check=True).stdout


def largest_difference(source, shown):
    """Over the pixels that can be seen in the source; of GIF files alpha does not count."""
    a, b = pixels(source), pixels(shown)
    assert len(a) == len(b), f'{source.name} has another size'
    seen = a[3::4]
    return max(max((abs(x - y) for x, y, alpha in zip(a[i::4], b[i::4], seen) if alpha), default=0)
               for i in range(3 if source.suffix == '.gif' else 4)) if a != b else 0


KINDS = {b'\x89P': 'png', b'GI': 'gif', b'BM': 'bmp', b'MM': 'tiff'}


def ask(files, out, *program):
    _, answers = tracks.ask(tracks.SCRIPTS / 'run-wine.sh', *program, '--thumbnail', '--png', out, *files)
    return [answer['thumbnail'] for answer in answers]


def main():
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        audio = b'\xff\xfb\x90\x04' + bytes(413)
        files, expected, data = [], [], {}

        def add(name, pictures, source=None, bits=None, tolerance=0, reason=None):
            files.append(folder / (name + '.mp3'))
            tags = ID3()
            for number, picture in enumerate(pictures):
                kind = KINDS.get(picture[:2], 'jpeg')
                tags.add(APIC(encoding=0, mime='image/' + kind, type=3 if number else 0,
                              desc=str(number), data=picture))
            files[-1].write_bytes(audio * 4)
            tags.save(files[-1], v2_version=3)
            expected.append((source, bits, tolerance, reason))

        for line in pathlib.Path(__file__).with_suffix('.txt').read_text().splitlines()[3:]:
            name, bits, tolerance, *words = line.split()
            path = folder / name.split(':')[-1]
            arguments = ' '.join(WORDS.get(word, word) for word in words).split()
            draw = ['rectangle 5,5 20,20'] if arguments[-1] == '-draw' else []
            tracks.run(CONVERT, *arguments, *draw, name.replace(path.name, str(path)))
            data[path.name] = path.read_bytes()
            add(path.name, [data[path.name]], path, {*map(int, bits.split(','))}, int(tolerance))
        add('first-of-two', [data['palette.gif'], data['alpha.png']], folder / 'palette.gif', {8})
        png, huge = data['alpha.png'], (30000).to_bytes(4, 'big')
        for reason, *pictures in [
                ('there is none', ), ('is damaged .jpeg, 9 bytes, no size', b'\xff\xd8\xff\xe0 junk', png),
                ('too large .* 30000 x 30000 pixels', png[:16] + huge * 2 + png[24:]),
                ('no format .* "image/jpeg"', b'RIFF\0\0\0\0WEBP'), ('png, announced as "image/jpeg"', b'\0' + png),
                *(('is damaged', data[name][:40]) for name in
                  ('alpha.png', 'palette.gif', 'big-endian.tiff', 'eight.bmp', 'baseline.jpg'))]:
            add(f'bad-{len(files)}', pictures, reason=reason)

        wrong = []
        answers = ask(files, folder / 'out', TSPROBE)
        for file, (source, bits, tolerance, reason), answer in zip(files, expected, answers, strict=True):
            if source is None:
                right = (answer['hresult'], answer['width']) == ('0x0000000D', None) and \
                    re.search(reason, answer['reason'])
            else:
                right = answer['hresult'] == '0x00000000' and answer['bitsPerPixel'] in bits and not answer['reason'] and \
                    largest_difference(source, pathlib.Path(answer['png'])) <= tolerance
            if source and source.name == 'colour.png':
                right = right and answer['fnv1a64'] == fnv1a64(pixels(source))
            wrong += [] if right else [(file.name, answer)]
        # The image extractor, which older systems are served, makes the same of the same bytes.
        older = TSPROBE.with_name('tsprobe_winxp64.exe')
        shutil.copy(TSPROBE, older)
        for answer, extracted in zip(answers, ask(files, folder / 'older', '--windows-version',
                                                  'winxp64', older), strict=True):
            wanted = answer | {'png': extracted['png'], 'alpha': answer['alpha'] and 'unknown'}
            if answer['bitsPerPixel'] == 32:  # whose alpha only the provider tells of
                wanted['fnv1a64'] = extracted['fnv1a64']
            wrong += [] if extracted == wanted else [('extractor', extracted, wanted)]
    print(*wrong, f'{len(files)} thumbnails, {len(wrong)} wrong', sep='\n')
    sys.exit(1 if wrong else 0)


if __name__ == '__main__':
    main()
