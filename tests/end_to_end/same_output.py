"""The Windows tsdump prints what the native one prints: same_output.py NATIVE WINDOWS"""
import json
import pathlib
import subprocess
import sys
import tempfile

import tracks

NATIVE, WINDOWS = (pathlib.Path(path).resolve() for path in sys.argv[1:])
WINE = tracks.SCRIPTS / 'run-wine.sh'


def dump(command, options, files, folder):
    result = subprocess.run([*command, *options, *files], capture_output=True, cwd=folder,
                            check=False)
    return result.returncode, result.stdout.decode('utf-8').replace('\\\\', '/').splitlines()


def main():
    with tempfile.TemporaryDirectory() as folder:
        files = [path.name for path in tracks.make(folder)] + ['missing.mp3']
        differences = 0
        for options in ([], ['--stream'], ['--scan-mode', '1', '--narrow'],
                        ['--extra-frames', '2', '--write-check'], ['--text']):
            native = dump([NATIVE], options, files, folder)
            windows = dump([WINE, WINDOWS], options, files, folder)
            assert len(native[1]) >= len(files), 'the native tool printed too little'
            if native != windows:
                differences += 1
                print(options, 'exit', native[0], windows[0])
                for left, right in zip(native[1], windows[1]):
                    if left == right:
                        continue
                    if '--text' in options:
                        print(left, '|', right)
                        continue
                    left, right = json.loads(left), json.loads(right)
                    print(left['file'], {k: (left[k], right[k]) for k in left
                                         if left[k] != right.get(k)})
    print(f'{len(files)} files, {differences} differences')
    sys.exit(1 if differences else 0)


if __name__ == '__main__':
    main()
