"""The handlers answer of real tracks what the library reads: answers.py TSDUMP TSPROBE [FILE...]

Compares the native tsdump with the Windows tsprobe, through COM: properties with the stream path,
columns with the file path in quick mode."""
import pathlib
import sys
import tempfile

import tracks

TSDUMP, TSPROBE = (pathlib.Path(path).resolve() for path in sys.argv[1:3])
WINE = tracks.SCRIPTS / 'run-wine.sh'


def title_of(dump, is_column):
    """As the handlers hand it out: narrow text in the ANSI code page."""
    if dump['v2Present'] and dump['opened']:
        text, is_wide = dump['title']['value'], dump['title']['encoding'] == 1
    else:
        text, is_wide = '' if is_column or not dump['opened'] else dump['v1Title'], False
    return text if is_wide else text.encode('latin-1').decode('cp1252', 'replace')


def main():
    with tempfile.TemporaryDirectory() as folder:
        files = [str(f) for f in (sys.argv[3:] or tracks.make(folder))]
        streams = tracks.ask(TSDUMP, '--stream', *files)[1]
        quick = tracks.ask(TSDUMP, '--scan-mode', '1', *files)[1]
        probes = tracks.ask(WINE, TSPROBE, '--properties', '--columns', '--registered', *files)[1]
        wrong = []
        for path, stream, file, probe in zip(files, streams, quick, probes, strict=True):
            assert stream['file'] == probe['file'] == path, (stream['file'], probe['file'], path)
            items = {item['name']: item['value'] for item in probe['properties']['items']}
            columns = {c['title']: c['value'] for c in probe['columns']}
            seen = [items.get('System.Title') or '', columns['Title'] or '',
                    items['System.Media.Duration'], columns['Duration'],
                    items['System.Audio.EncodingBitrate'], columns['Bit rate']]
            audio = [dump[key] * unit if dump['opened'] else none
                     for key, unit in (('duration', 10_000_000), ('bitRate', 1000))
                     for dump, none in ((stream, 0), (file, None))]
            expected = [title_of(stream, False).strip(), title_of(file, True), *audio]
            if seen != expected:
                wrong.append((path, 'expected', expected, 'seen', seen))
            if [c['index'] for c in probe['columns']] != list(range(31)) or \
                    any((c['value'] is None, c['type'] is None) != (c['hresult'] != '0x00000000',) * 2
                        for c in probe['columns']):
                wrong.append((path, probe['columns']))
    print(*wrong, f'{len(files)} files, {len(wrong)} differences', sep='\n')
    sys.exit(1 if wrong else 0)


if __name__ == '__main__':
    main()
