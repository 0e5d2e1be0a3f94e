"""The thumbnails are the pictures: thumbnails.py TSPROBE [FILE...]

Has ImageMagick make pictures in every format and mutagen put them into tracks, asks the handler for
the thumbnails, and compares their pixels with what ImageMagick reads from the same picture bytes.
With files of one's own the comparison is made for their first pictures."""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

from mutagen.id3 import APIC, ID3, TIT2

import tracks

TSPROBE = pathlib.Path(sys.argv[1]).resolve()
CONVERT = '/usr/bin/convert'
SOURCE = ['-size', '61x47', '-seed', '7', 'plasma:red-blue']
ALPHA = [*SOURCE, '(', '-size', '61x47', 'gradient:', ')', '-compose', 'CopyOpacity', '-composite']
ANY = object()  # whatever the decoder makes of it
MIMES = {b'\xff\xd8': 'image/jpeg', b'GI': 'image/gif', b'BM': 'image/bmp', b'MM': 'image/tiff'}
HOLE = [*SOURCE, '-colors', '50', '-transparent', 'blue', '-fill', 'none', '-draw',
        'rectangle 5,5 20,20']

FULL = ['-sampling-factor', '1x1']  # decoders differ in spreading colours of fewer samples
# File name, ImageMagick's arguments, bits per pixel (where decoders may choose: all of them),
# largest difference of a channel; None: not decoded.
PICTURES = [
    ('baseline.jpg', [*SOURCE, '-quality', '92', *FULL, '-interlace', 'none'], {24}, 3),
    ('progressive.jpg', [*SOURCE, '-quality', '92', *FULL, '-interlace', 'JPEG'], {24}, 3),
    ('grey.jpg', [*SOURCE, '-colorspace', 'Gray', '-quality', '92'], {8}, 2),
    ('cmyk.jpg', [*SOURCE, '-colorspace', 'CMYK', '-quality', '95', *FULL], {32}, 3),
    ('palette8.png', [*SOURCE, '-colors', '200', 'png8:'], {8}, 0),
    ('palette4.png', [*SOURCE, '-colors', '12', 'png8:'], {4, 8}, 0),
    ('grey.png', [*SOURCE, '-colorspace', 'Gray', '-depth', '8'], {8, 24, 32}, 0),
    ('colour.png', [*SOURCE, '-depth', '8', 'png24:'], {24, 32}, 0),
    ('alpha.png', [*ALPHA, '-depth', '8', 'png32:'], {32}, 0),
    ('deep.png', [*SOURCE, 'png48:'], {24, 32}, 1),
    ('palette.gif', [*SOURCE, '-colors', '100'], {8}, 0),
    ('hole.gif', HOLE, {8}, 0),
    ('one.bmp', [*SOURCE, '-monochrome', '-type', 'bilevel', 'bmp3:'], {1}, 0),
    ('four.bmp', [*SOURCE, '-colors', '16', '-type', 'palette', 'bmp3:'], {4, 8}, 0),
    ('eight.bmp', [*SOURCE, '-colors', '200', '-compress', 'none', 'bmp3:'], {8}, 0),
    ('run-length.bmp', [*SOURCE, '-colors', '200', '-compress', 'RLE', 'bmp3:'], {8, 32}, 0),
    ('colour.bmp', [*SOURCE, '-type', 'truecolor', 'bmp3:'], {24}, 0),
    ('big-endian.tiff', [*SOURCE, '-depth', '8', '-define', 'tiff:endian=msb'], {24, 32}, 0),
    ('fine.png', [*ALPHA, '-units', 'PixelsPerInch', '-density', '300', 'png64:'], {32}, 1),
    ('pixel.png', ['-size', '1x1', 'xc:#123456'], None, 0),
    ('large.jpg', ['-size', '2000x2000', 'plasma:', '-quality', '85', *FULL], {24}, 3),
]


def make_picture(folder, name, arguments):
    path = folder / name
    *options, last = arguments
    target = last + str(path) if last.endswith(':') and last[:-1] + 'x' in (
        'png8x', 'png24x', 'png32x', 'png48x', 'png64x', 'bmp3x') else None
    tracks.run(CONVERT, *(options if target else arguments), target or path)
    return path.read_bytes()


def make_track(path, pictures):
    tags = ID3()
    tags.add(TIT2(encoding=0, text='Pictures'))
    for number, data in enumerate(pictures):
        tags.add(APIC(encoding=0, mime=MIMES.get(data[:2], 'image/png'), type=3 if number else 0, desc=str(number),
                      data=data))
    path.write_bytes(AUDIO)
    tags.save(path, v2_version=3)


def pixels(path):
    """Red, green, blue, alpha of each pixel, 8 bits each."""
    return subprocess.run([CONVERT, str(path) + '[0]', '-colorspace', 'sRGB', '-alpha', 'set',
                           '-depth', '8', 'rgba:-'], capture_output=True, check=True).stdout


def largest_difference(source, shown):
    """Over the pixels that can be seen in the source."""
    a, b = pixels(source), pixels(shown)
    if len(a) != len(b):
        return 'other size'
    if a == b:
        return 0
    largest = 0
    for at in range(0, len(a), 4):
        if a[at + 3] != 0:
            largest = max(largest, *(abs(a[at + i] - b[at + i]) for i in range(3)))
            if source.suffix != '.gif':
                largest = max(largest, abs(a[at + 3] - b[at + 3]))
    return largest


def fnv1a64(data):
    value = 0xcbf29ce484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001b3 & 0xffffffffffffffff
    return f'{value:016x}'


def ask(files, out, *wine):
    result = subprocess.run([tracks.SCRIPTS / 'run-wine.sh', *(wine or [TSPROBE]), '--thumbnail',
                             '--png', out, *files], capture_output=True, check=False)
    return [json.loads(line)['thumbnail'] for line in result.stdout.decode().splitlines()]


def check(name, thumbnail, source, bits, tolerance):
    """What is wrong, None when nothing is."""
    if tolerance is None:
        if source is ANY:
            return None if thumbnail['hresult'] in ('0x0000000D', '0x00000000') else 'failed'
        return None if thumbnail['hresult'] == '0x0000000D' and thumbnail['width'] is None \
            else 'was decoded'
    if thumbnail['hresult'] != '0x00000000':
        return 'was not decoded'
    if bits and thumbnail['bitsPerPixel'] not in bits:
        return f"has {thumbnail['bitsPerPixel']} bits per pixel"
    difference = largest_difference(source, pathlib.Path(thumbnail['png']))
    if difference == 'other size' or difference > tolerance:
        return f'differs by {difference}'
    if name == 'colour.png':
        bgra = pixels(source)
        bgra = b''.join(bytes((bgra[i + 2], bgra[i + 1], bgra[i], bgra[i + 3]))
                        for i in range(0, len(bgra), 4))
        return None if thumbnail['fnv1a64'] == fnv1a64(bgra) else 'has another hash'
    return None


def first_picture(track, folder):
    """Written to a file by ImageMagick's name of the format; None without one."""
    from mutagen import File
    try:
        tags = getattr(File(track), 'tags', None)
    except Exception:  # mutagen gives up on broken tags
        return None
    pictures = tags.getall('APIC') if hasattr(tags, 'getall') else []
    if not pictures:
        return None
    path = folder / (pathlib.Path(track).name + '.picture')
    path.write_bytes(pictures[0].data)
    return path


def main():
    global AUDIO
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        failures = []
        if len(sys.argv) > 2:
            for track, thumbnail in zip(sys.argv[2:], ask(sys.argv[2:], folder / 'out'),
                                        strict=True):
                source = first_picture(track, folder)
                wrong = source and check('', thumbnail, source, None, 3)
                print(track, thumbnail['hresult'], thumbnail['width'], thumbnail['height'],
                      thumbnail['bitsPerPixel'], wrong or
                      ('same pixels' if source else 'no picture for mutagen'))
                failures += [track] if wrong else []
            sys.exit(1 if failures else 0)
        wav = folder / 'tone.wav'
        tracks.run('sox', '-n', '-r', '44100', wav, 'synth', '1', 'sine', '440')
        tracks.run('lame', '--quiet', wav, folder / 'tone.mp3')
        AUDIO = (folder / 'tone.mp3').read_bytes()

        files, expected = [], []
        def add(name, pictures, source, bits=None, tolerance=None):
            files.append(folder / (name + '.mp3'))
            make_track(files[-1], pictures)
            expected.append((name, source, bits, tolerance))

        data = {}
        for name, arguments, bits, tolerance in PICTURES:
            data[name] = make_picture(folder, name, arguments)
            add(name, [data[name]], folder / name, bits, tolerance)
        add('first-of-two', [data['palette.gif'], data['alpha.png']], folder / 'palette.gif', {8}, 0)
        add('first-is-broken', [b'\xff\xd8\xff\xe0 junk', data['alpha.png']], None)
        add('none', [], None)
        for name in ('alpha.png', 'palette.gif', 'big-endian.tiff', 'eight.bmp', 'baseline.jpg'):
            add('head-of-' + name, [data[name][:40]], None)
        # Cut within its pixels: decoders may show what there is, or nothing.
        for name in ('alpha.png', 'baseline.jpg'):
            add('most-of-' + name, [data[name][:len(data[name]) * 9 // 10]], ANY)
        add('garbage', [data['alpha.png'][:60] + bytes(range(256)) * 9], None)

        answers = ask(files, folder / 'out')
        assert len(answers) == len(files), answers
        for (name, source, bits, tolerance), thumbnail in zip(expected, answers):
            wrong = check(name, thumbnail, source, bits, tolerance)
            if wrong:
                failures.append(name)
                print(name, wrong, thumbnail)
        # The image extractor, which older systems are served, makes the same of the same bytes.
        older = TSPROBE.with_name('tsprobe_winxp64.exe')
        shutil.copy(TSPROBE, older)
        some = [number for number, entry in enumerate(expected)
                if entry[0] in ('colour.png', 'palette.gif', 'none')]
        extracted = ask([files[number] for number in some], folder / 'older',
                        '--windows-version', 'winxp64', older)
        for number, thumbnail in zip(some, extracted, strict=True):
            wanted = answers[number] | {'png': thumbnail['png'],
                                        'alpha': answers[number]['alpha'] and 'unknown'}
            if thumbnail != wanted:
                failures.append(expected[number][0])
                print('extractor:', thumbnail, 'instead of', wanted)
    print(f'{len(files)} thumbnails, {len(failures)} wrong')
    sys.exit(1 if failures else 0)


if __name__ == '__main__':
    main()
