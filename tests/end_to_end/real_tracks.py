"""tsdump's answers beside mutagen's: real_tracks.py TSDUMP"""
import json
import pathlib
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


def dump(*arguments):
    result = subprocess.run([TSDUMP, *map(str, arguments)], capture_output=True, check=False)
    return result.returncode, [json.loads(line) for line in result.stdout.splitlines()]


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

    def test_usage(self):
        for arguments in ([], ['--unknown', 'x.mp3'], ['--scan-mode'], ['--scan-mode', 'x', 'f'],
                          ['--extra-frames', '3', 'f']):
            result = subprocess.run([TSDUMP, *arguments], capture_output=True, check=False)
            self.assertEqual(result.returncode, 2)
            self.assertEqual(result.stdout, b'')
            self.assertIn(b'usage:', result.stderr)


if __name__ == '__main__':
    unittest.main()
