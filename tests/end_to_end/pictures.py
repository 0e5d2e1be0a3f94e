"""Sizes told by pictures' headers, described and made by ImageMagick: pictures.py PICTURE_SIZES"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

import described_tracks

# What ImageMagick is told.
REAL = {
    'red.jpg': ['xc:red'], 'progressive.jpg': ['xc:red', '-interlace', 'JPEG'],
    'cmyk.jpg': ['xc:red', '-colorspace', 'CMYK'], 'red.png': ['xc:red'], 'two.gif': ['xc:red', 'xc:blue'],
    'bmp3:red.bmp': ['xc:red', '-type', 'truecolor'],
    'msb.tiff': ['xc:red', '-type', 'truecolor', '-depth', '8', '-define', 'tiff:endian=msb'],
    'lsb.tiff': ['xc:red', '-type', 'truecolor', '-depth', '8', '-define', 'tiff:endian=lsb'],
}


class Pictures(unittest.TestCase):
    maxDiff = None

    def check(self, folder, names, expected):
        seen = subprocess.run([pathlib.Path(sys.argv[-1]).resolve(), *names], cwd=folder, capture_output=True, check=True)
        self.assertEqual(list(zip(names, seen.stdout.decode().split())), list(zip(names, expected)))

    def test_described(self):
        room = pathlib.Path(__file__).with_suffix('.txt')
        with tempfile.TemporaryDirectory() as folder:
            pictures = list(described_tracks.blocks_of(room))
            for i, (_, below) in enumerate(pictures):
                pathlib.Path(folder, str(i)).write_bytes(described_tracks.build(below))
            self.check(folder, [str(i) for i in range(len(pictures))],
                       [head.split()[1] for head, _ in pictures])

    def test_real(self):
        with tempfile.TemporaryDirectory() as folder:
            for name, arguments in REAL.items():
                subprocess.run(['convert', '-size', '61x47', *arguments, name], cwd=folder, check=True)
            self.check(folder, [name.split(':')[-1] for name in REAL], ['61x47'] * len(REAL))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
