"""The installer in a Wine prefix of its own: installer.py TSPROBE

Installs over another program's handler, has the installed handler answer, upgrades, changes the
features and removes, and compares the registry as a whole with what it was before."""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from mutagen.id3 import ID3, TIT2

import tracks

TSPROBE = pathlib.Path(sys.argv[1]).resolve()
PACKAGE = tracks.SCRIPTS.parent / 'package.sh'

HANDLERS = r'Software\Microsoft\Windows\CurrentVersion\PropertySystem\PropertyHandlers'
SETTINGS = r'Software\Corvane\Tagsmith\Settings'
PROVIDER = r'\ShellEx\{e357fccd-a995-4576-b01f-234630154e96}'
PROPERTY_CLASS = r'Software\Classes\CLSID\{7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13}'
OURS = '"{7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13}"'

VERSIONS = r'HKCU\Software\Wine\AppDefaults\msiexec.exe'

# Keys that other keys of ours were made below; empty ones of them stay.
LEFT = re.compile(r'machine\\Software\\Classes\\(\.(aiff?|mp3)(\\ShellEx)?|SystemFileAssociations)$'
                  r'|machine\\Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem(\\.*)?$'
                  r'|machine\\Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions'
                  r'(\\Approved)?$'
                  r'|user\\Software\\Wine\\AppDefaults$'
                  # Windows Installer's own book-keeping.
                  r'|machine\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\'
                  r'|machine\\Software\\Classes\\Installer(\\.*)?$')


class Prefix:
    def __init__(self, folder):
        self.folder = folder
        self.environment = os.environ | {'WINEPREFIX': str(folder)}
        self.wine(0, 'cmd', '/c', 'exit')

    def wine(self, expected, *command):
        result = subprocess.run([tracks.SCRIPTS / 'run-wine.sh', *map(str, command)],
                                env=self.environment, stdin=subprocess.DEVNULL,
                                capture_output=True, check=False)
        assert result.returncode == expected, (command, result)
        return result.stdout.decode()

    def registry(self):
        """All keys with their values, names in lower case."""
        subprocess.run(['wineserver', '-w'], env=self.environment, check=True)
        tree = {}
        for hive, name in (('machine', 'system.reg'), ('user', 'user.reg')):
            text = (self.folder / name).read_text('utf-8', 'surrogateescape')
            values = {}
            for line in text.replace('\\\n', '').splitlines():
                if line.startswith('['):
                    key = line[1:line.rindex(']')].replace('\\\\', '\\')
                    values = tree.setdefault(hive + '\\' + key, {})
                elif '=' in line and not line.startswith(('#', ';')):
                    value_name, value = re.match(r'(@|"(?:[^"\\]|\\.)*")=(.*)', line).groups()
                    values[value_name] = value
        return tree


def value(tree, key, name='@'):
    return tree.get('machine\\' + key, {}).get(name)


def settings(tree):
    return {name.strip('"'): int(value.removeprefix('dword:'), 16)
            for name, value in tree.get('machine\\' + SETTINGS, {}).items()}


def differences(seen, expected):
    """But for keys that stay empty, and for what Wine notes of the machine's hardware."""
    found = []
    for key in sorted(seen.keys() | expected.keys()):
        if key.startswith('machine\\System\\'):
            continue
        if seen.get(key) != expected.get(key) and \
                not (LEFT.match(key) and not expected.get(key) and
                     ('Installer' in key or not seen.get(key))):
            found.append((key, expected.get(key), seen.get(key)))
    return found


def main():
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        installers = []
        for version in ('1.26.43', '1.27.0'):
            installers.append(folder / f'{version}.msi')
            subprocess.run([PACKAGE, '--version', version, installers[-1]], check=True,
                           stdout=subprocess.DEVNULL)
        old, new = installers
        track = folder / 'track.mp3'
        wav = folder / 'tone.wav'
        tracks.run('sox', '-n', '-r', '44100', wav, 'synth', '1', 'sine', '440')
        tracks.run('lame', '--quiet', wav, track)
        tags = ID3()
        tags.add(TIT2(encoding=1, text='Installed'))
        tags.save(track, v2_version=3)

        prefix = Prefix(folder / 'prefix')
        prefix.wine(0, 'reg', 'add', 'HKLM\\' + HANDLERS + r'\.mp3', '/ve', '/d', '{foreign}', '/f')
        # What Windows Installer keeps for all products is there before, too.
        before = prefix.registry()

        def check_installed():
            tree = prefix.registry()
            assert settings(tree) == {'Add property handler': 1, 'Add AIFF association': 1,
                                      'Add thumbnail handler': 1, 'Add column handler': 1}, tree
            path = value(tree, r'Software\Corvane\Tagsmith', '"Installation path"')
            assert path == r'"C:\\Program Files\\Corvane\\Tagsmith\\"', path
            server = value(tree, PROPERTY_CLASS + r'\InProcServer32')
            assert server == path[:-1] + 'tsshell.dll"', server
            assert value(tree, HANDLERS + r'\.mp3') == OURS, tree
            assert value(tree, HANDLERS + r'\.mp3', '"tsmithbak"') == '"{foreign}"'
            assert value(tree, HANDLERS + r'\.aif', '"tsmithbak"') is None
            assert value(tree, r'Software\Classes\.aiff' + PROVIDER), tree
            installed = prefix.folder / 'drive_c/Program Files/Corvane/Tagsmith'
            files = subprocess.run(['msiinfo', 'export', new, 'File'], capture_output=True,
                                   check=True).stdout.decode()
            assert re.search(r'^tsshell\.dll\t.*\t1\.26\.43\.0\t1033\t', files, re.M), files
            assert sorted(os.listdir(installed)) == ['Tagsmith.propdesc', 'tsshell.dll']
            answer = json.loads(prefix.wine(0, TSPROBE, '--registered', '--properties', track))
            assert answer['properties']['items'][0]['value'] == 'Installed', answer

        prefix.wine(0, 'msiexec', '/i', old, '/qn')
        check_installed()
        prefix.wine(0, 'msiexec', '/i', new, '/qn')
        check_installed()
        entries = [values for key, values in prefix.registry().items()
                   if values.get('"DisplayName"') == '"Tagsmith Shell Extension"']
        assert {entry['"DisplayVersion"'] for entry in entries} == {'"1.27.0"'}, entries
        # An older version is refused; a repair brings back what was lost.
        prefix.wine(1603 % 256, 'msiexec', '/i', old, '/qn')
        check_installed()
        installed = prefix.folder / 'drive_c/Program Files/Corvane/Tagsmith'
        (installed / 'Tagsmith.propdesc').unlink()
        prefix.wine(0, 'reg', 'delete', 'HKLM\\' + PROPERTY_CLASS, '/f')
        prefix.wine(0, 'msiexec', '/i', new, '/qn', 'REINSTALL=ALL', 'REINSTALLMODE=amus')
        check_installed()
        prefix.wine(0, 'msiexec', '/x', new, '/qn')
        # Wine leaves the maker's folder, but empty.
        left = list((prefix.folder / 'drive_c/Program Files/Corvane').rglob('*'))
        assert not left, left
        found = differences(prefix.registry(), before)
        assert not found, found

        # Where registration fails, nothing is left: on a system that is too old for the handlers.
        prefix.wine(0, 'reg', 'add', VERSIONS, '/v', 'Version', '/d', 'nt40', '/f')
        prefix.wine(1603 % 256, 'msiexec', '/i', new, '/qn')
        prefix.wine(0, 'reg', 'delete', VERSIONS, '/f')
        assert not settings(prefix.registry())
        found = differences(prefix.registry(), before)
        assert not found, found

        # A choice of features, and its change.
        prefix.wine(0, 'msiexec', '/i', new, '/qn', 'ADDLOCAL=Complete,Properties')
        tree = prefix.registry()
        assert settings(tree) == {'Add property handler': 1}, settings(tree)
        assert value(tree, HANDLERS + r'\.aif') == OURS
        assert value(tree, r'Software\Classes\.mp3' + PROVIDER) is None
        prefix.wine(0, 'msiexec', '/i', new, '/qn', 'ADDLOCAL=Thumbnails', 'REMOVE=Properties')
        tree = prefix.registry()
        assert settings(tree) == {'Add thumbnail handler': 1}, settings(tree)
        assert value(tree, HANDLERS + r'\.mp3') == '"{foreign}"'
        assert value(tree, r'Software\Classes\.mp3' + PROVIDER), tree
        prefix.wine(0, 'msiexec', '/x', new, '/qn')
        found = differences(prefix.registry(), before)
        assert not found, found
        print('installed, upgraded, rolled back, changed and removed')


if __name__ == '__main__':
    main()
