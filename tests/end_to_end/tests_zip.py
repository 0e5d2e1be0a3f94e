"""The archive of tests for a real Windows, tried under Wine where nothing is registered."""
import os
import pathlib
import re
import subprocess
import tempfile
import zipfile

import tracks

ROOT = tracks.SCRIPTS.parent


def main():
    # In the build's folder, so that the prefix can be made of links.
    with tempfile.TemporaryDirectory(dir=ROOT / 'build', ignore_cleanup_errors=True) as temporary:
        folder = pathlib.Path(temporary)
        subprocess.run([ROOT / 'package.sh', '--tests', folder], check=True,
                       stdout=subprocess.DEVNULL)
        archive, = folder.glob('*-tests.zip')
        zipfile.ZipFile(archive).extractall(folder / 'zip')
        # A sixth of each program's tests: here all of them run by themselves.
        environment = os.environ | {'WINEPREFIX': str(folder / 'prefix'), 'GTEST_TOTAL_SHARDS': '6',
                                    'GTEST_SHARD_INDEX': '1'}

        def run(expected_code, *programs):
            ran = subprocess.run([tracks.SCRIPTS / 'run-wine.sh', 'cmd', '/c', 'run-tests.cmd', *programs],
                                 cwd=folder / 'zip', env=environment, stdin=subprocess.DEVNULL,
                                 capture_output=True, check=False)
            assert ran.returncode == expected_code, ran
            return ran.stdout.decode().split('\r\n')[-2]

        def settings(*action):
            return subprocess.run([tracks.SCRIPTS / 'run-wine.sh', 'reg', *action], env=environment, check=True,
                                  stdin=subprocess.DEVNULL, capture_output=True).stdout

        reading = [r'HKLM\Software\Corvane\Tagsmith\Settings', '/v', 'Standard reading']
        settings('add', *reading, '/t', 'REG_DWORD', '/d', '1')
        count = len(list((folder / 'zip/samples').iterdir()))
        assert run(0) == f'{count + 2} passed, 0 failed'
        assert b'0x1' in settings('query', *reading)
        answer = folder / 'zip/expected/chord.mp3.json'
        answer.write_text(answer.read_text().replace('chord', 'other', 1))
        (folder / 'zip/bin/unit_test.exe').unlink()
        assert run(1, 'unit_test') == f'{count - 1} passed, 2 failed'
        assert re.search(r'expected .*other.*\n *seen .*chord', (folder / 'zip/report.txt').read_text())
        print(f'{count + 2} passed')


if __name__ == '__main__':
    main()
