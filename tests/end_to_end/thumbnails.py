"""The thumbnails are the pictures: thumbnails.py TSPROBE

Has ImageMagick make pictures in every format and mutagen put them into tracks, asks the handler for
the thumbnails, and compares their pixels with what ImageMagick reads from the same picture bytes."""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

from mutagen.id3 import APIC, ID3

import tracks

TSPROBE = pathlib.Path(sys.argv[1]).resolve()
CONVERT = '/usr/bin/convert'
SOURCE = '-size 61x47 -seed 7 plasma:red-blue'
ALPHA = f'{SOURCE} ( -size 61x47 gradient: ) -compose CopyOpacity -composite'
FULL = '-sampling-factor 1x1'  # decoders differ in spreading colours of fewer samples
BIG = '-define tiff:endian=msb -units PixelsPerInch -density'

# File, how it is made, bits per pixel (where decoders may choose: all of them), largest difference
# of a channel.
PICTURES = [
    ('baseline.jpg', f'{SOURCE} -quality 92 {FULL} -interlace none', {24}, 3),
    ('progressive.jpg', f'{SOURCE} -quality 92 {FULL} -interlace JPEG', {24}, 3),
    ('grey.jpg', f'{SOURCE} -colorspace Gray -quality 92', {8}, 2),
    ('cmyk.jpg', f'{SOURCE} -colorspace CMYK -quality 95 {FULL}', {32}, 3),
    ('png8:palette8.png', f'{SOURCE} -colors 200', {8}, 0),
    ('png8:palette4.png', f'{SOURCE} -colors 12', {4, 8}, 0),
    ('grey.png', f'{SOURCE} -colorspace Gray -depth 8', {8, 24, 32}, 0),
    ('png24:colour.png', f'{SOURCE} -depth 8', {24, 32}, 0),
    ('png32:alpha.png', f'{ALPHA} -depth 8', {32}, 0),
    ('png48:deep.png', SOURCE, {24, 32}, 1),
    ('png64:fine.png', f'{ALPHA} -units PixelsPerInch -density 300', {32}, 1),
    ('palette.gif', f'{SOURCE} -colors 100', {8}, 0),
    ('hole.gif', f'{SOURCE} -colors 50 -transparent blue -fill none -draw', {8}, 0),
    ('bmp3:one.bmp', f'{SOURCE} -monochrome -type bilevel', {1}, 0),
    ('bmp3:four.bmp', f'{SOURCE} -colors 16 -type palette', {4, 8}, 0),
    ('bmp3:eight.bmp', f'{SOURCE} -colors 200 -compress none', {8}, 0),
    ('bmp3:run-length.bmp', f'{SOURCE} -colors 200 -compress RLE', {8, 32}, 0),
    ('bmp3:colour.bmp', f'{SOURCE} -type truecolor', {24}, 0),
    ('big-endian.tiff', f'{SOURCE} -depth 8 {BIG} 300', {24, 32}, 0),
    # Premultiplied: the handler has it drawn, a pixel for a pixel whatever the resolution.
    ('large.jpg', f'-size 2000x2000 plasma: -quality 85 {FULL}', {24}, 3),
]


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


def fnv1a64(data):
    value = 0xcbf29ce484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001b3 & 0xffffffffffffffff
    return f'{value:016x}'


KINDS = {b'\x89P': 'png', b'GI': 'gif', b'BM': 'bmp', b'MM': 'tiff'}


def ask(files, out, *program):
    result = subprocess.run([tracks.SCRIPTS / 'run-wine.sh', *program, '--thumbnail', '--png', out,
                             *files], capture_output=True, check=False)
    return [json.loads(line)['thumbnail'] for line in result.stdout.decode().split('\n')
            if line.strip()]


def main():
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        audio = b'\xff\xfb\x90\x04' + bytes(413)
        files, expected, data = [], [], {}

        def add(name, pictures, source=None, bits=None, tolerance=0):
            files.append(folder / (name + '.mp3'))
            tags = ID3()
            for number, picture in enumerate(pictures):
                kind = KINDS.get(picture[:2], 'jpeg')
                tags.add(APIC(encoding=0, mime='image/' + kind, type=3 if number else 0,
                              desc=str(number), data=picture))
            files[-1].write_bytes(audio * 4)
            tags.save(files[-1], v2_version=3)
            expected.append((source, bits, tolerance))

        for name, arguments, bits, tolerance in PICTURES:
            path = folder / name.split(':')[-1]
            draw = ['rectangle 5,5 20,20'] if arguments.endswith('-draw') else []
            tracks.run(CONVERT, *arguments.split(), *draw,
                       name.replace(path.name, str(path)))
            data[path.name] = path.read_bytes()
            add(path.name, [data[path.name]], path, bits, tolerance)
        add('first-of-two', [data['palette.gif'], data['alpha.png']], folder / 'palette.gif', {8})
        add('first-is-broken', [b'\xff\xd8\xff\xe0 junk', data['alpha.png']])
        add('none', [])
        for name in ('alpha.png', 'palette.gif', 'big-endian.tiff', 'eight.bmp', 'baseline.jpg'):
            add('head-of-' + name, [data[name][:40]])

        wrong = []
        answers = ask(files, folder / 'out', TSPROBE)
        for file, (source, bits, tolerance), answer in zip(files, expected, answers, strict=True):
            if source is None:
                right = (answer['hresult'], answer['width']) == ('0x0000000D', None)
            else:
                right = answer['hresult'] == '0x00000000' and answer['bitsPerPixel'] in bits and \
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
