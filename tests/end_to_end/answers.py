"""The handlers' answers follow from what the library reads: answers.py TSDUMP TSPROBE

Runs the native tsdump and the Windows tsprobe, through COM, over the same tracks (or over the files
given as further arguments), and compares properties and columns by the tables below: properties
with the stream path, columns with the file path in quick mode."""
import base64
import html
import json
import pathlib
import re
import subprocess
import sys
import tempfile

import tracks

TSDUMP, TSPROBE = (pathlib.Path(path).resolve() for path in sys.argv[1:3])
WINE = tracks.SCRIPTS / 'run-wine.sh'

STARS = {0: 0, 1: 1, 2: 25, 3: 50, 4: 75, 5: 99}

# Property and its canonical type, column, value in tsdump's object (None: neither is there). Columns
# of texts that are empty have no value; those of numbers are i4.
V2 = [
    ('System.Title', 'string', 'Title', lambda d: d['title']),
    ('System.Media.SubTitle', 'string', 'Subtitle', lambda d: d['subtitle']),
    ('System.Comment', 'string', 'Comment', lambda d: d['comment']),
    ('System.Music.Artist', 'strings', 'Artist', lambda d: d['artist']),
    (None, None, 'Author', lambda d: d['artist']),
    ('System.Music.AlbumArtist', 'string', 'Orchestra', lambda d: d['albumArtist']),
    ('System.Music.AlbumTitle', 'string', 'Album', lambda d: d['album']),
    ('System.Media.Year', 'uint32', 'Year', lambda d: year(d['year'])),
    ('System.Music.TrackNumber', 'uint32', 'Track', lambda d: known(d['track'], 65535)),
    ('System.Music.Genre', 'strings', 'Genre', lambda d: d['genre']),
    ('System.Media.Publisher', 'string', 'Publisher', lambda d: d['publisher']),
    ('System.Media.EncodedBy', 'string', 'Encoded by', lambda d: narrow(d['encodedBy'])),
    ('System.Link.TargetUrl', 'string', 'URL', lambda d: narrow(d['userUrl'])),
    ('System.Media.AuthorUrl', 'string', None, lambda d: narrow(d['artistUrl'] or d['userUrl'])),
    ('System.Copyright', 'string', 'Copyright', lambda d: d['copyright']),
    ('System.Music.Composer', 'strings', 'Composer', lambda d: d['composer']),
    ('System.Music.Conductor', 'strings', 'Conductor', lambda d: d['conductor']),
    ('System.Music.ContentGroupDescription', 'string', 'Content', lambda d: d['contentGroup']),
    ('System.Music.PartOfSet', 'string', 'Part of set', lambda d: part_of_set(d)),
    ('System.Music.InitialKey', 'string', 'Initial key', lambda d: narrow(d['initialKey'])),
    ('System.Music.BeatsPerMinute', 'string', 'BPM', lambda d: narrow(d['bpm'])),
    ('System.Rating', 'uint32', None, lambda d: STARS[d['ratingStars']]),
    (None, None, 'Rating', lambda d: stars(d['ratingStars'])),
    ('System.Music.IsCompilation', 'bool', None, lambda d: d['compilation']),
    (None, None, 'Compilation', lambda d: 'Yes' if d['compilation'] else 'No'),
    # Without a registered description the vector stays as it is.
    ('Corvane.Tagsmith.OriginalArtist', 'asGiven', 'Original artist', lambda d: d['originalArtist']),
    ('Corvane.Tagsmith.Podcast', 'vt:4107', None, lambda d: [d['podcast']]),
    (None, None, 'Podcast', lambda d: 'Yes' if d['podcast'] else 'No'),
]
V1 = [
    ('System.Title', 'string', None, lambda d: narrow(d['v1Title'])),
    ('System.Comment', 'string', None, lambda d: narrow(d['v1Comment'])),
    ('System.Music.Artist', 'strings', 'Artist', lambda d: narrow(d['v1Artist'])),
    ('System.Music.AlbumTitle', 'string', 'Album', lambda d: narrow(d['v1Album'])),
    ('System.Media.Year', 'uint32', 'Year', lambda d: year(d['v1Year'])),
    ('System.Music.TrackNumber', 'uint32', 'Track', lambda d: known(d['v1Track'], 255)),
    ('System.Music.Genre', 'strings', 'Genre', lambda d: d['v1GenreName']),
]
AUDIO_COLUMNS = [
    ('Duration', 'ui8', lambda d: d['duration'] * 10_000_000),
    ('Bit rate', 'ui4', lambda d: d['bitRate'] * 1000),
    ('Sample rate', 'ui4', lambda d: d['sampleRate']),
]


def stars(count):
    return None if count == 0 else f"{count} star{' ' if count < 2 else 's'}"


def narrow(text):
    """The handler reads narrow text in the ANSI code page, tsdump as ISO-8859-1."""
    return (text or '').encode('latin-1').decode('cp1252', 'replace')


def year(text):
    digits = text.strip()
    return int(digits) if digits.isdigit() and int(digits) != 0 else None


def known(number, unknown):
    return number if number < unknown else None


def part_of_set(dump):
    if 65535 in (dump['disc'], dump['discCount']):
        return None
    return f"{dump['disc']}/{dump['discCount']}"


def text_of(field):
    """At most 1023 UTF-16 units of a text field or a text."""
    if isinstance(field, dict):
        field = narrow(field['value']) if field['encoding'] == 0 else field['value']
    units = (field or '').split('\0')[0].encode('utf-16-le', 'surrogatepass')[:2046]
    return units.decode('utf-16-le', 'surrogatepass')


def expected_items(dump):
    rows = []
    audio = {'duration': 0, 'bitRate': 0}
    if dump['opened']:
        audio = dump
        rows = V2 if dump['v2Present'] else V1 if dump['v1Present'] else []
    items = {'System.Media.Duration': ('uint64', audio['duration'] * 10_000_000),
             'System.Audio.EncodingBitrate': ('uint32', audio['bitRate'] * 1000)}
    for name, kind, _, value in rows:
        if name is None:
            continue
        value = value(dump)
        if name in ('System.Media.Year', 'System.Music.TrackNumber', 'System.Music.PartOfSet') \
                and value is None:
            continue
        if kind in ('string', 'strings', 'asGiven'):
            text = text_of(value)
            if kind == 'asGiven':
                items[name] = ('strings', [text])
            elif not text.strip():
                items[name] = ('empty', None)
            else:
                items[name] = (kind, text if kind == 'string' else [text])
        else:
            items[name] = (kind, value)
    return items


def expected_columns(dump):
    rows = V2 if dump['opened'] and dump['v2Present'] else V1 if dump['v1Present'] else []
    columns = {title: (kind, value(dump)) for title, kind, value in AUDIO_COLUMNS
               if dump['opened']}
    for _, kind, title, value in rows:
        if title is None:
            continue
        value = value(dump) if kind == 'uint32' else text_of(value(dump)) or None
        if value is not None:
            columns[title] = ('i4' if kind == 'uint32' else 'bstr', value)
    return columns


def run(command, files):
    result = subprocess.run([*command, *files], capture_output=True, check=False)
    return [json.loads(line) for line in result.stdout.decode('utf-8').splitlines()]


def main():
    with tempfile.TemporaryDirectory() as folder:
        files = [str(f) for f in (sys.argv[3:] or tracks.make(folder))]
        streams = run([TSDUMP, '--stream'], files)
        quick = run([TSDUMP, '--scan-mode', '1'], files)
        probes = run([WINE, TSPROBE, '--properties', '--columns', '--registered'], files)
        assert len(streams) == len(quick) == len(probes) == len(files) > 0, len(probes)
        differences = 0

        def compare(path, expected, seen):
            nonlocal differences
            for name in sorted(expected.keys() | seen.keys()):
                if expected.get(name) != seen.get(name):
                    differences += 1
                    print(path, name, 'expected', expected.get(name), 'seen', seen.get(name))

        for path, stream, file, probe in zip(files, streams, quick, probes):
            assert stream['file'] == probe['file'] == path, (stream['file'], probe['file'], path)
            compare(path, expected_items(stream),
                    {i['name']: (i['type'], i['value']) for i in probe['properties']['items']})
            assert [c['index'] for c in probe['columns']] == list(range(31)), probe['columns']
            for column in probe['columns']:
                assert column['hresult'] in ('0x00000000', '0x00000001'), column
                assert (column['value'] is None) == (column['type'] is None) == \
                    (column['hresult'] == '0x00000001'), column
            compare(path, expected_columns(file),
                    {c['title']: (c['type'], c['value']) for c in probe['columns']
                     if c['hresult'] == '0x00000000'})
        # The page has a section for each file, with its title and picture.
        page = pathlib.Path(folder) / 'page.html'
        run([WINE, TSPROBE, '--html', page], files)
        sections = page.read_text('utf-8').split('<section>')[1:]
        for path, stream, section in zip(files, streams, sections, strict=True):
            title = html.escape(text_of(stream['title']) if stream['v2Present'] else '')
            image = re.search('data:image/png;base64,([^"]*)', section)
            if html.escape(path) not in section or (stream['opened'] and title not in section) or \
                    (image and not base64.b64decode(image[1]).startswith(b'\x89PNG')):
                differences += 1
                print(path, 'is not shown rightly by the page')
        if len(sys.argv) == 3:
            assert sum('data:image/png' in section for section in sections) == 2, 'two samples'
    print(f'{len(files)} files, {differences} differences')
    sys.exit(1 if differences else 0)


if __name__ == '__main__':
    main()
