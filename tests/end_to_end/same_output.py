"""The Windows tsdump prints what the native one prints: same_output.py NATIVE WINDOWS"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

import tracks

NATIVE, WINDOWS = ([pathlib.Path(path).resolve()] for path in sys.argv[1:])
WINDOWS.insert(0, tracks.SCRIPTS / 'run-wine.sh')


def dump(command, options, files, folder):
    result = subprocess.run([*command, *options, *files], capture_output=True, cwd=folder, check=False)
    return [f'exit {result.returncode}', *result.stdout.decode().replace('\\\\', '/').split('\n')]


class SameOutput(unittest.TestCase):
    def test_all_options(self):
        with tempfile.TemporaryDirectory() as folder:
            files = [path.name for path in tracks.make(folder)] + ['missing.mp3']
            for options in ([], ['--stream'], ['--scan-mode', '1', '--narrow'],
                            ['--extra-frames', '2', '--write-check'], ['--text']):
                with self.subTest(options):
                    native = dump(NATIVE, options, files, folder)
                    self.assertGreater(len(native), len(files))
                    self.assertEqual(native, dump(WINDOWS, options, files, folder))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
