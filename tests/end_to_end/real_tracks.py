"""tsdump's answers beside mutagen's, and mutagen's tables: real_tracks.py TSDUMP"""
import io
import itertools
import os
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

TSDUMP = str(pathlib.Path(sys.argv.pop()).resolve())

# tsdump's member and mutagen's frame, where both show the text as it stands.
FIELDS = {'title': 'TIT2', 'artist': 'TPE1', 'album': 'TALB', 'genre': 'TCON', 'comment': 'COMM',
          'lyrics': 'USLT', 'composer': 'TCOM', 'albumArtist': 'TPE2'}


def dump(folder, *arguments):
    return tracks.ask(TSDUMP, *arguments, cwd=folder)


class RealTracks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.bad = ['short.mp3', 'cut-tag.mp3', 'cut-frame.mp3', 'empty.mp3', 'zeros.mp3']
        cls.good = [f.name for f in tracks.make(temporary.name) if f.name not in cls.bad]

    def expected_text(self, member, frame):
        """What is shown of the frame; None: nothing."""
        if member == 'comment':
            # UTF-8 is taken when a zero follows a byte at an even place.
            if frame.encoding == 3 and len(frame.text[0].encode()) % 2 == 0:
                return None
        if member == 'lyrics':
            return frame.text.replace('\r', '\n').replace('\n', '\r\n')
        return (frame.genres if member == 'genre' else frame.text)[0]

    def check_tag(self, seen, tags):
        for member, frame_id in FIELDS.items():
            frames = tags.getall(frame_id)
            value = seen[member] and seen[member]['value'].split('\0')[0]
            self.assertEqual(value, self.expected_text(member, frames[0]) if frames else None, member)
        pictures = tags.getall('APIC')
        self.assertEqual([p['size'] for p in seen['pictures']], [len(p.data) for p in pictures])
        self.assertEqual([(t['description']['value'], t['value']['value'])
                          for t in seen['userTexts'] if t['value']['value'].isascii()],
                         [(t.desc, t.text[0]) for t in tags.getall('TXXX') if t.text[0].isascii()])
        track = tags.get('TRCK')
        # The number is read from the raw bytes: UTF-16 begins with a mark and gives 0.
        self.assertEqual(seen['track'], 65535 if not track else 0 if track.encoding == 1 else +track)

    def test_tags_and_audio_agree_with_mutagen(self):
        status, seen = dump(self.folder, *self.good)
        self.assertEqual(status, 0)
        for name, answer in zip(self.good, seen):
            with self.subTest(name):
                self.assertEqual(answer['file'], name)
                path = self.folder / name
                audio = (mutagen.mp3.MP3 if path.suffix == '.mp3' else mutagen.aiff.AIFF)(path)
                self.assertEqual(answer['sampleRate'], audio.info.sample_rate)
                if path.stem == 'late-change':
                    # mutagen takes the first frame's rate for all: 64 instead of the average.
                    self.assertEqual((answer['bitRate'], answer['isVbr']), (160, True))
                elif path.suffix == '.mp3':
                    # The encoder's own tag frame counts as a frame here, and its rate too.
                    self.assertAlmostEqual(answer['bitRate'], audio.info.bitrate / 1000, delta=3)
                    if path.stem != 'low':  # the walk over MPEG-2.5 ends at its second frame
                        self.assertAlmostEqual(answer['duration'], audio.info.length, delta=1.1)
                        self.assertEqual(answer['isVbr'], 'VBR' in str(audio.info.bitrate_mode))
                else:
                    self.assertEqual(answer['bitsPerSample'], audio.info.bits_per_sample)
                    self.assertEqual(answer['bitRate'], audio.info.bitrate // 1000)
                if audio.tags is not None and answer['v2Present']:
                    self.check_tag(answer, audio.tags)
                    self.assertTrue(dump(self.folder, '--stream', name)[1][0]['opened'])
                self.assertEqual([e for e in answer['log'] if e['level'] < 3 and
                                  'Non-standard' not in e['message']], [])

    def test_the_standard_reading_agrees_with_mutagen(self):
        for name, answer in zip(self.good, dump(self.folder, '--stream', '--standard', *self.good)[1]):
            with self.subTest(name):
                path = self.folder / name
                audio = (mutagen.mp3.MP3 if path.suffix == '.mp3' else mutagen.aiff.AIFF)(path)
                if path.stem != 'late-change':  # of which mutagen takes the first frame's rate
                    self.assertAlmostEqual(answer['durationTicks'] / 1e7, audio.info.length, delta=0.1)
                for member, frame_id in FIELDS.items():
                    frames = audio.tags.getall(frame_id) if audio.tags is not None else []
                    values = (frames[0].genres if member == 'genre' else frames[0].text) if frames else []
                    wanted = values if isinstance(values, str) else '; '.join(values)
                    wanted = wanted.replace('/', '; ')  # between the names of 2.3
                    self.assertEqual(answer[member]['value'] if answer[member] else '', wanted, member)
                track = audio.tags.get('TRCK') if audio.tags is not None else None
                self.assertEqual(answer['track'], +track if track else 65535)

    def test_the_standard_reading_tells_how_long_a_decoder_plays(self):
        wav = self.folder / 'made.wav'
        tracks.run('sox', '-n', '-r', '44100', '-c', '2', wav, 'synth', '9', 'pinknoise', 'fade', '3', '9', '3')
        names = ['late-change.mp3']
        for encoder, options in (('lame', '-V5'), ('lame', '-V5 -t'), ('lame', '--abr 56 -p'),
                                 ('lame', '-b64 -t -p'), ('lame', '-V5 -t --resample 16'),
                                 ('lame', '-b24 -m m -t --resample 24'), ('lame', '-V5 -t --resample 8'),
                                 ('twolame', '-b192'), ('twolame', '-v'), ('twolame', '-b56 -m m')):
            names.append(f'{encoder} {options}.mp3')
            tracks.run(encoder, *options.split(), wav, self.folder / names[-1])
        for name, answer in zip(names, dump(self.folder, '--stream', '--standard', *names)[1]):
            with self.subTest(name):
                played = subprocess.run(['mpg123', '-q', '-s', '--stereo', name], cwd=self.folder,
                                        capture_output=True, check=True).stdout
                self.assertAlmostEqual(answer['durationTicks'] / 1e7, len(played) / 4 / answer['sampleRate'],
                                       delta=4 if name == names[0] else 0.2)

    def test_bad_files_are_reported_and_stop_nothing(self):
        (self.folder / 'folder.mp3').mkdir()
        names = [*self.bad, 'missing.mp3', 'folder.mp3']
        cannot = "Failed to open the file 'missing.mp3' for reading (error: No such file or directory)"
        for option, last in (
                ('--write-check', [['Opening ID3 track: missing.mp3',
                                    'Open file write check error: No such file or directory (2)', cannot],
                                   ['Opening ID3 track: folder.mp3',
                                    'Open file write check error: Is a directory (21)',
                                    'File is not a valid MP3 file (0x00000000)']]),
                ('--stream', [['Invalid MP3 data stream (0)'], []])):
            status, seen = dump(self.folder, option, *names)
            self.assertEqual(status, 1)
            self.assertEqual([(s['file'], s['opened'], s['readOnly']) for s in seen],
                             [(n, n == 'cut-frame.mp3', option == '--stream' or n in names[5:])
                              for n in names])
            self.assertEqual([[entry['message'] for entry in s['log']] for s in seen[-2:]], last)

    def test_a_file_that_may_not_be_written_is_read_only(self):
        path = self.folder / 'protected.mp3'
        path.write_bytes((self.folder / 'cbr.mp3').read_bytes())
        path.chmod(0o444)
        self.folder.chmod(0o755)
        nobody = 65534 if os.geteuid() == 0 else None  # root may write everything
        _, [answer] = tracks.ask(TSDUMP, '--write-check', path.name, cwd=self.folder, user=nobody)
        self.assertTrue(answer['readOnly'])
        self.assertEqual([entry['level'] for entry in answer['log']], [3])

    def test_usage(self):
        for arguments in ([], ['--unknown', 'x.mp3'], ['--scan-mode'], ['--scan-mode', 'x', 'f'],
                          ['--extra-frames', '3', 'f']):
            result = subprocess.run([TSDUMP, *arguments], capture_output=True, check=False)
            self.assertEqual((result.returncode, result.stdout), (2, b''))
            self.assertIn(b'usage:', result.stderr)


class Tables(unittest.TestCase):
    """Bit rates, sample rates and genres are those of mutagen's tables."""

    def ask(self, contents, *options):
        with tempfile.TemporaryDirectory() as folder:
            for i, content in enumerate(contents):
                (pathlib.Path(folder) / f'{i}.mp3').write_bytes(content)
            return dump(folder, *options, *(f'{i}.mp3' for i in range(len(contents))))[1]

    def test_headers(self):
        kinds = list(itertools.product((3, 2, 0), (1, 2, 3), range(1, 15), range(3)))
        known = bytes.fromhex('FFFB9000') + bytes(413)
        frames, contents, exact = [], [], []
        for i, (version, layer, bit_rate, rate) in enumerate(kinds):
            header = struct.pack('>I', 0xFFE << 20 | version << 19 | layer << 17 | i % 2 << 16 |
                                 bit_rate << 12 | rate << 10 | i // 2 % 2 << 9 | i % 16 << 4 | i % 13)
            file = io.BytesIO(header + bytes(5000))
            frames.append(mutagen.mp3.MPEGFrame(file))
            # Layer 2 is not looked for. The lengths of layers 2 and MPEG-1 layer 3 are those of
            # their documents: another header follows.
            size = 99 if layer == 3 or (version != 3 and layer == 1) else file.tell()
            contents.append((known if layer == 2 else b'') + file.getvalue()[:size] + header)
            # Layer 1 has slots of four bytes, 12 for each bit of a sample; mutagen reckons with 48.
            slots = 12 * frames[-1].bitrate // frames[-1].sample_rate + i // 2 % 2
            exact.append(file.getvalue()[:4 * slots if layer == 3 else file.tell()] + header)
        for answer, frame, (version, layer, _, _), content in zip(
                self.ask(contents), frames, kinds, contents):
            with self.subTest(content[-4:].hex(' ')):
                if layer != 2:
                    self.assertEqual(
                        [answer[key] for key in ('versionIndex', 'layerIndex', 'sampleRate', 'bitRate',
                                                 'protectionBit', 'channelMode', 'copyrightBit',
                                                 'originBit')],
                        [version, frame.layer - 1, frame.sample_rate, frame.bitrate // 1000,
                         1 - frame.protected, frame.mode, content[3] >> 3 & 1, content[3] >> 2 & 1])
                counted = {2: 3, 1: 2 if version == 3 else 1}.get(layer, 1)
                # The walk over MPEG-2.5 ends at its second header.
                self.assertEqual(answer['frameCount'], counted if version else 1)
        # The standard reading finds a frame of whatever kind by the header after it.
        for answer, frame in zip(self.ask(exact, '--standard', '--stream'), frames):
            self.assertEqual([answer[key] for key in ('audioOffset', 'sampleRate', 'bitRate', 'layerIndex')],
                             [0, frame.sample_rate, frame.bitrate // 1000, frame.layer - 1])

    def test_genres(self):
        # Spelt otherwise here, or written otherwise there.
        others = {'Alt. Rock': 'AlternRock', 'Gangsta Rap': 'Gangsta', 'Psychedelic': 'Psychadelic',
                  'Fast-Fusion': 'Fast Fusion', 'Humour': 'Humor', 'A Cappella': 'A Capella'}
        names = [others.get(name, name) for name in mutagen.id3.TCON.GENRES[:126]]
        contents = []
        for i in range(192):
            text = f'\0({i})'.encode()
            frame = b'TCON' + struct.pack('>IH', len(text), 0) + text
            contents.append(b'ID3\3\0\0\0\0\0' + bytes([len(frame)]) + frame + b'TAG' + bytes(124) + bytes([i]))
        standard = self.ask(contents, '--standard', '--stream')
        self.assertEqual([answer['genre']['value'] for answer in standard], mutagen.id3.TCON.GENRES[:192])
        seen = self.ask(contents[:126])
        self.assertEqual([answer['genre']['value'] for answer in seen], names)
        self.assertEqual([answer['v1GenreName'] for answer in seen], names[:80] + ['Other'] * 46)


if __name__ == '__main__':
    unittest.main()
