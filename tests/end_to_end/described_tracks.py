"""Tracks described in ../tracks/*.txt, and what tsdump shows of them: described_tracks.py TSDUMP"""
# A description begins with `track NAME` and its content, one item a line:
#
#   + BYTES            bytes as they are
#   v1 TITLE BYTES     an ID3v1 block of this title that ends with the bytes
#   tag VERSION/FLAGS  an ID3v2 tag of the frames below it, each `ID/FLAGS BYTES`; `_` is a blank
#   form TYPE          an AIFF form of the chunks below it, each `ID BYTES` and items below it
#
# BYTES are hexadecimal digits, "text" in ISO-8859-1 (le"" and be"" in UTF-16, u8"" in UTF-8) and
# (BYTES), all of them with *COUNT.
#
# Below `gives OPTIONS` stands what differs from empty.json: `key=value` (of a text field with
# :byteSize/length/encoding; texts with *COUNT and +TEXT), `log LEVEL MESSAGE`, `picture FORMAT/KIND BYTES`, `raw ID BYTES`, `user
# DESCRIPTION VALUE`; after `file:` or `stream:` it holds for that way of opening alone. What stands
# below `base` holds for all tracks of a file; the items below `after` end each of them. Below `shows`
# stands what tsdump prints for people, after the name.
import functools
import itertools
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

TRACKS = pathlib.Path(__file__).resolve().parents[1] / 'tracks'
EMPTY = (TRACKS / 'empty.json').read_text()
CODECS = {'': 'latin-1', 'le': 'utf-16-le', 'be': 'utf-16-be', 'u8': 'utf-8'}
TOKEN = re.compile(r' *(?:(\()|((?:[0-9A-F]{2})+)|(\w*)(?="))')
COUNT = re.compile(r'(?:\*(\d+))? *')
PIECE = re.compile(r'\*|\+(?=")')
SIZES = re.compile(r':(\d+)/(\d+)/(\d+)')
parse_json = json.JSONDecoder().raw_decode


def take_bytes(text, at=0):
    """The bytes up to the end or a closing parenthesis, and what comes after it."""
    out = b''
    while at < len(text) and text[at] != ')':
        token = TOKEN.match(text, at)
        opening, digits, codec = token.groups()
        at = token.end()
        if opening:
            part, at = take_bytes(text, at)
        elif digits:
            part = bytes.fromhex(digits)
        else:
            part, at = parse_json(text, at)
            part = part.encode(CODECS[codec], 'surrogatepass')
        count = COUNT.match(text, at)
        at = count.end()
        out += part * int(count[1] or 1)
    return out, at + 1


def items(lines):
    """Each line with the deeper ones below it."""
    while lines:
        depth = len(lines[0]) - len(lines[0].lstrip())
        end = next((i for i, line in enumerate(lines) if i and not line.startswith(' ' * depth + ' ')),
                   len(lines))
        yield lines[0].strip(), lines[1:end]
        lines = lines[end:]


def big(value, size=4):
    return value.to_bytes(size, 'big')


def syncsafe(value):
    return bytes(value >> shift & 127 for shift in (21, 14, 7, 0))


def chunk(name, body):
    return name.encode() + big(len(body)) + body + bytes(len(body) % 2)


def frame(version, name, body):
    name, _, flags = name.partition('/')
    if version <= 2:
        return name.encode() + big(len(body), 3) + body
    size = big(len(body)) if version == 3 else syncsafe(len(body))
    return name.encode() + size + bytes.fromhex('00' + (flags or '00')) + body


def build(lines, wrap=None):
    out = b''
    for text, below in items(lines):
        word, _, rest = text.partition(' ')
        if word == '+':
            out += take_bytes(rest)[0]
        elif word == 'v1':
            title, at = parse_json(rest)
            last = take_bytes(rest, at)[0]
            out += b'TAG' + title.encode('latin-1').ljust(125 - len(last), b'\0') + last
        elif word == 'tag':
            version, _, flags = rest.partition('/')
            body = build(below, functools.partial(frame, int(version)))
            head = bytes([int(version), 0]) + bytes.fromhex(flags or '00')
            out += b'ID3' + head + syncsafe(len(body)) + body
        elif word == 'form':
            body = rest.encode() + build(below, chunk)
            out += b'FORM' + big(len(body)) + body
        else:
            body = take_bytes(rest)[0] + build(below)
            out += b''.join(wrap(name.replace('_', ' '), body) for name in word.split(','))
    return out


def fnv1a64(data):
    value = 0xCBF29CE484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001B3 % 2 ** 64
    return f'{value:016x}'


def described(key, name, content):
    """A picture or raw frame as tsdump shows it."""
    return {key: name, 'size': len(content), 'fnv1a64': fnv1a64(content)}


def take_value(text, at):
    value, at = parse_json(text, at)
    last = value
    while piece := PIECE.match(text, at):
        part, at = parse_json(text, piece.end())
        last = last * (part - 1) if piece[0] == '*' else part
        value += last
    if sizes := SIZES.match(text, at):
        value = {'value': value, 'byteSize': int(sizes[1]), 'length': int(sizes[2]),
                 'encoding': int(sizes[3])}
        at = sizes.end()
    return value, at + 1


def expect(answer, lines):
    """Changes an answer to what the lines say."""
    for line in lines:
        only, _, rest = line.strip().partition(': ')
        if only not in ('file', 'stream'):
            rest = line.strip()
        elif only != answer['via']:
            continue
        word, _, operands = rest.partition(' ')
        name, _, content = operands.partition(' ')
        if word == 'log':
            message = parse_json(content)[0] if content[0] == '"' else content
            message = message.replace('NAME', answer['file'])
            answer['log'].append({'level': int(name), 'message': message})
        elif word == 'picture':
            name, _, kind = name.partition('/')
            picture = {**described('format', name, take_bytes(content)[0]), 'kind': int(kind or 0)}
            answer['pictures'].append(picture)
        elif word == 'raw':
            answer['rawFrames'].append(described('id', name, take_bytes(content)[0]))
        elif word == 'user':
            description, at = take_value(operands, 0)
            value = take_value(operands, at)[0]
            answer['userTexts'].append({'description': description, 'value': value})
        else:
            at = 0
            while at < len(rest):
                key = rest[at:rest.index('=', at)]
                answer[key], at = take_value(rest, at + len(key) + 1)


def blocks_of(room):
    lines = room.read_text().split('\n')
    return list(items([line for line in lines if line.strip() and line[0] != '#']))


def read_cases(room, folder):
    """Writes the tracks of a file into the folder; their names, the options and what is wanted."""
    blocks = blocks_of(room)
    shared = dict(blocks)
    for i, (head, below) in enumerate(blocks):
        word, _, rest = head.partition(' ')
        if word == 'track':
            name = f'{i}/{rest}'
            content = build(below) + build(shared.get('after', []))
            (folder / name).parent.mkdir()
            (folder / name).write_bytes(content)
            size = {'fileSize': len(content), 'fileSizeText': f'{len(content)} bytes'}
        elif word == 'gives':
            for way in (['file'], ['stream', '--stream']):
                wanted = {**json.loads(EMPTY), **size, 'file': name, 'via': way[0]}
                expect(wanted, shared.get('base', []) + below)
                yield name, rest.split() + way[1:], wanted
        elif word == 'shows':
            yield name, ['--text'], '\n'.join(['NAME', *below, '', '']).replace('NAME', name)


def lines_of(answer, keys):
    """`key=value`, of lists one line an entry."""
    for key in keys:
        value = answer.get(key)
        for entry in value + ['end'] if isinstance(value, list) else [value]:
            yield f'{key}={json.dumps(entry, ensure_ascii=False, sort_keys=True)}'


class DescribedTracks(unittest.TestCase):
    maxDiff = None

    def check(self, room):
        with tempfile.TemporaryDirectory() as folder:
            cases = sorted(read_cases(room, pathlib.Path(folder)), key=lambda case: case[1])
            for options, group in itertools.groupby(cases, key=lambda case: case[1]):
                names, _, all_wanted = zip(*group)
                result = subprocess.run([TSDUMP, *options, *names], capture_output=True, cwd=folder,
                                        check=False)
                output = result.stdout.decode()
                if options == ['--text']:
                    self.assertEqual(output, ''.join(all_wanted))
                    continue
                seen = [json.loads(line) for line in output.split('\n')[:-1]]
                self.assertEqual(len(seen), len(names))
                self.assertEqual(result.returncode, 0 if all(s['opened'] for s in seen) else 1)
                for answer, wanted in zip(seen, all_wanted):
                    with self.subTest(' '.join([room.name, wanted['file'], *options])):
                        self.assertEqual('\n'.join(lines_of(answer, wanted)),
                                         '\n'.join(lines_of(wanted, wanted)))


for path in sorted(TRACKS.glob('*.txt')):
    setattr(DescribedTracks, f'test_{path.stem}', lambda self, room=path: self.check(room))

if __name__ == '__main__':
    TSDUMP = str(pathlib.Path(sys.argv.pop()).resolve())
    unittest.main()
