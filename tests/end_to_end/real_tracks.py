"""tsdump's answers beside mutagen's: real_tracks.py TSDUMP"""
import io
import itertools
import json
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

import mutagen.aiff
import mutagen.id3
import mutagen.mp3

import tracks

TSDUMP = sys.argv.pop()

# tsdump's member and mutagen's frame, where both show the text as it stands.
FIELDS = {'title': 'TIT2', 'artist': 'TPE1', 'album': 'TALB', 'genre': 'TCON', 'comment': 'COMM',
          'lyrics': 'USLT', 'composer': 'TCOM', 'albumArtist': 'TPE2'}


def dump(*arguments, folder=None):
    result = subprocess.run([TSDUMP, *map(str, arguments)], capture_output=True, cwd=folder,
                            check=False)
    return result.returncode, [json.loads(line) for line in result.stdout.split(b'\n') if line]


class RealTracks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.files = tracks.make(cls.temporary.name)

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def good(self):
        return [f for f in self.files
                if f.stem not in ('short', 'cut-tag', 'cut-frame', 'empty', 'zeros')]

    @staticmethod
    def is_readable_comment(frame):
        """Without mark a comment needs a zero behind a byte at an even place to be taken."""
        if frame.encoding == 3:
            return len(frame.text[0].encode()) % 2 == 1
        return frame.encoding != 2

    def check_tag(self, seen, tags):
        for member, frame_id in FIELDS.items():
            frames = tags.getall(frame_id)
            if not frames:
                self.assertIsNone(seen[member], member)
                continue
            if member == 'comment' and not self.is_readable_comment(frames[0]):
                self.assertIsNone(seen[member])
                continue
            expected = frames[0].text if member == 'lyrics' else frames[0].text[0]
            if member == 'genre':
                expected = frames[0].genres[0]
            if member == 'lyrics':
                expected = expected.replace('\r', '\n').replace('\n', '\r\n')
            self.assertEqual(seen[member]['value'].split('\0')[0], expected, member)
        pictures = tags.getall('APIC')
        self.assertEqual([p['size'] for p in seen['pictures']], [len(p.data) for p in pictures])
        for text in tags.getall('TXXX'):
            if text.encoding != 2:
                self.assertIn((text.desc, text.text[0]),
                              [(t['description']['value'], t['value']['value'])
                               for t in seen['userTexts']])
        track = tags.get('TRCK')
        # The number is read from the raw bytes: UTF-16 begins with a mark and gives 0.
        expected = 65535 if track is None else 0 if track.encoding == 1 else +track
        self.assertEqual(seen['track'], expected)

    def test_tags_and_audio_agree_with_mutagen(self):
        status, seen = dump(*self.good())
        self.assertEqual(status, 0)
        for path, answer in zip(self.good(), seen):
            with self.subTest(path.name):
                self.assertEqual(answer['file'], str(path))
                if path.stem == 'late-change':
                    # mutagen takes the first frame's rate for all: 64 instead of the average.
                    audio = mutagen.mp3.MP3(path)
                    self.assertEqual((answer['bitRate'], answer['isVbr']), (160, True))
                elif path.suffix == '.mp3':
                    audio = mutagen.mp3.MP3(path)
                    self.assertEqual(answer['sampleRate'], audio.info.sample_rate)
                    # The encoder's own tag frame counts as a frame here, and its rate too.
                    self.assertAlmostEqual(answer['bitRate'], audio.info.bitrate / 1000, delta=3)
                    if path.stem != 'low':  # the walk over MPEG-2.5 ends at its second frame
                        self.assertAlmostEqual(answer['duration'], audio.info.length, delta=1.1)
                        self.assertEqual(answer['isVbr'],
                                         'VBR' in str(audio.info.bitrate_mode))
                else:
                    audio = mutagen.aiff.AIFF(path)
                    self.assertEqual(answer['sampleRate'], audio.info.sample_rate)
                    self.assertEqual(answer['bitsPerSample'], audio.info.bits_per_sample)
                    self.assertEqual(answer['bitRate'], audio.info.bitrate // 1000)
                self.assertEqual(answer['fileSize'], path.stat().st_size)
                if audio.tags is not None and answer['v2Present']:
                    self.check_tag(answer, audio.tags)
                self.assertEqual([e for e in answer['log'] if e['level'] < 3 and
                                  'Non-standard' not in e['message']], [])

    def test_both_ways_read_the_same_tag(self):
        audio = {'bitRate', 'bitRateText', 'duration', 'durationText', 'frameCount', 'isVbr',
                 'bitsPerSample', 'encoderText', 'audioOffset', 'id3AreaSize', 'syncLost'}
        for path in self.good():
            _, [by_file] = dump(path)
            _, [by_stream] = dump('--stream', path)
            for key in by_file.keys() - audio - {'via', 'log', 'opened'}:
                details = {'versionIndex', 'layerIndex', 'channelMode', 'sampleRateField',
                           'sampleRate', 'protectionBit', 'copyrightBit', 'originBit'}
                if not by_stream['opened'] and key in details:
                    continue  # a stream without tag is searched from offset 10
                self.assertEqual(by_file[key], by_stream[key], f'{path.name}: {key}')
            if by_file['v2Present']:
                self.assertTrue(by_stream['opened'], path.name)

    def test_known_values(self):
        by_name = {path.name: answer for path, answer in zip(self.good(), dump(*self.good())[1])}
        self.assertEqual(by_name['lame-v1.mp3']['v1Title'], 'Only V1')
        self.assertEqual(by_name['lame-v1.mp3']['v1GenreName'], 'Hard Rock')
        self.assertEqual(by_name['lame-v2.mp3']['title']['value'], 'Лёд')
        self.assertEqual(by_name['eyed3 ü.mp3']['title']['value'], 'Eye')
        self.assertTrue(by_name['cbr.mp3']['encoderText'].startswith('LAME3.'))
        self.assertEqual(by_name['cbr.mp3']['bitRateText'], '160 kbps (CBR)')
        self.assertIn('(VBR average)', by_name['vbr.mp3']['bitRateText'])

    def test_bad_files_are_reported_and_stop_nothing(self):
        bad = [f for f in self.files if f not in self.good()]
        missing = pathlib.Path(self.temporary.name) / 'missing.mp3'
        folder = pathlib.Path(self.temporary.name)
        for options in ([], ['--stream'], ['--scan-mode', '1']):
            status, seen = dump(*options, *bad, missing, folder)
            self.assertEqual(status, 1)
            self.assertEqual([s['file'] for s in seen], [str(f) for f in [*bad, missing, folder]])
            opened = {pathlib.Path(s['file']).stem for s in seen if s['opened']}
            self.assertEqual(opened, {'cut-frame'})

    def test_what_cannot_be_read_is_logged(self):
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, 'folder.mp3').mkdir()
            names = ('missing.mp3', 'folder.mp3')
            seen = dump('--write-check', *names, folder=folder)[1] + dump('--stream', *names, folder=folder)[1]
        self.assertEqual([[entry['message'] for entry in s['log']] for s in seen], [
            ['Opening ID3 track: missing.mp3',
             'Open file write check error: No such file or directory (2)',
             "Failed to open the file 'missing.mp3' for reading (error: No such file or directory)"],
            ['Opening ID3 track: folder.mp3', 'Open file write check error: Is a directory (21)',
             'File is not a valid MP3 file (0x00000000)'],
            ['Invalid MP3 data stream (0)'], []])
        self.assertEqual([(s['opened'], s['readOnly']) for s in seen], 4 * [(False, True)])

    def test_usage(self):
        for arguments in ([], ['--unknown', 'x.mp3'], ['--scan-mode'], ['--scan-mode', 'x', 'f'],
                          ['--extra-frames', '3', 'f']):
            result = subprocess.run([TSDUMP, *arguments], capture_output=True, check=False)
            self.assertEqual(result.returncode, 2)
            self.assertEqual(result.stdout, b'')
            self.assertIn(b'usage:', result.stderr)


class Tables(unittest.TestCase):
    """Bit rates, sample rates and genres are those of mutagen's tables."""

    def ask(self, contents):
        with tempfile.TemporaryDirectory() as folder:
            for i, content in enumerate(contents):
                (pathlib.Path(folder) / f'{i}.mp3').write_bytes(content)
            return dump(*(f'{i}.mp3' for i in range(len(contents))), folder=folder)[1]

    def test_headers(self):
        kinds = list(itertools.product((3, 2, 0), (1, 2, 3), range(1, 15), range(3)))
        known = bytes.fromhex('FFFB9000') + bytes(413)
        frames, contents = [], []
        for i, (version, layer, bit_rate, rate) in enumerate(kinds):
            header = struct.pack('>I', 0xFFE << 20 | version << 19 | layer << 17 | i % 2 << 16 |
                                 bit_rate << 12 | rate << 10 | i // 2 % 2 << 9 | i % 16 << 4 | i % 13)
            file = io.BytesIO(header + bytes(5000))
            frames.append(mutagen.mp3.MPEGFrame(file))
            # Layer 2 is not looked for; MPEG-1 layer 3 alone has frames of its documents' length.
            contents.append(known + header if layer == 2 else
                            file.getvalue()[:file.tell() if version == 3 and layer == 1 else 99] + header)
        for answer, frame, (version, layer, _, _), content in zip(
                self.ask(contents), frames, kinds, contents):
            with self.subTest(content[:4].hex(' ')):
                if layer != 2:
                    self.assertEqual(
                        [answer[key] for key in ('versionIndex', 'layerIndex', 'sampleRate', 'bitRate',
                                                 'protectionBit', 'channelMode', 'copyrightBit',
                                                 'originBit')],
                        [version, frame.layer - 1, frame.sample_rate, frame.bitrate // 1000,
                         1 - frame.protected, frame.mode, content[3] >> 3 & 1, content[3] >> 2 & 1])
                    self.assertEqual(answer['frameCount'], 2 if version == 3 and layer == 1 else 1)
                elif version:
                    self.assertEqual(answer['bitRate'], (128000 + frame.bitrate) // 2000)

    def test_genres(self):
        # Spelt otherwise here, or written otherwise there.
        others = {'Alt. Rock': 'AlternRock', 'Gangsta Rap': 'Gangsta', 'Psychedelic': 'Psychadelic',
                  'Fast-Fusion': 'Fast Fusion', 'Humour': 'Humor', 'A Cappella': 'A Capella'}
        names = [others.get(name, name) for name in mutagen.id3.TCON.GENRES[:126]]
        contents = []
        for i in range(len(names)):
            text = f'\0({i})'.encode()
            frame = b'TCON' + struct.pack('>IH', len(text), 0) + text
            contents.append(b'ID3\3\0\0\0\0\0' + bytes([len(frame)]) + frame + b'TAG' + bytes(124) + bytes([i]))
        seen = self.ask(contents)
        self.assertEqual([answer['genre']['value'] for answer in seen], names)
        self.assertEqual([answer['v1GenreName'] for answer in seen], names[:80] + ['Other'] * 46)


if __name__ == '__main__':
    unittest.main()
