"""The installer in a Wine prefix of its own: installer.py TSPROBE [FOLDER]

Installs over another program's handler, has the installed handler answer, upgrades, repairs, changes
and removes, silently and with a display, and compares registry and files as a whole with what they
were before. With FOLDER, they are written there after each step."""
import collections
import concurrent.futures
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
ROOT = tracks.SCRIPTS.parent

HANDLERS = r'Software\Microsoft\Windows\CurrentVersion\PropertySystem\PropertyHandlers'
SETTINGS = r'Software\Corvane\Tagsmith\Settings'
THUMBNAILS = r'ShellEx\{e357fccd-a995-4576-b01f-234630154e96}'
PROVIDER = rf'Software\Classes\.aiff\{THUMBNAILS}'
COLUMNS = r'Software\Classes\folder\shellex\ColumnHandlers\{A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71}'
CLASSES = r'Software\Classes\CLSID'
PROPERTY_CLASS = '{7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13}'
FOREIGN = '{foreign}'
FOLDER = 'C:\\Program Files\\Corvane\\Tagsmith\\'
ENTRIES = r'machine\Software\Microsoft\Windows\CurrentVersion\Uninstall'
MACHINE = r'HKLM\System\CurrentControlSet\Control\Session Manager\Environment'
VERSIONS = r'HKCU\Software\Wine\AppDefaults\msiexec.exe'

SETTING_NAMES = {'Properties': 'Add property handler', 'Aiff': 'Add AIFF association',
                 'Thumbnails': 'Add thumbnail handler', 'Columns': 'Add column handler',
                 'StandardReading': 'Standard reading'}
OLD, NEW, BROKEN = '1.26.43', '1.27.0', 'broken'

WINDOWS = r'Software\Microsoft\Windows\CurrentVersion'
# Other programs' handlers, key by key; what else decides who answers; and who does then.
FOREIGN_KEYS = [
    (f'HKLM\\{HANDLERS}\\.mp3', '', FOREIGN),
    (rf'HKLM\Software\Classes\Player\{THUMBNAILS}', '', FOREIGN),
    (rf'HKLM\Software\Classes\SystemFileAssociations\audio\{THUMBNAILS}', '', FOREIGN),
    (rf'HKCU\{WINDOWS}\Explorer\FileExts\.aif\UserChoice', 'ProgId', 'Player'),
]
IN_THE_WAY = [
    (rf'HKLM\{WINDOWS}\PropertySystem\SystemPropertyHandlers', '.mp3', 'REG_SZ', '{windows}'),
    (rf'HKCU\{SETTINGS}', 'Add property handler', 'REG_DWORD', '0'),
    (rf'HKCU\{WINDOWS}\Policies\Explorer', 'DisableThumbnails', 'REG_DWORD', '1'),
    (rf'HKLM\{WINDOWS}\PropertySystem\PropertyHandlers\.aiff', 'tsmithbak', 'REG_SZ', 'earlier'),
]
ANSWERS = {'properties of .aif': ('ours', 'nobody: switched off for this user'),
           'properties of .mp3': ('ours', "Windows' own handler"),
           'thumbnails of .mp3': ('ours', 'nobody: DisableThumbnails switches thumbnails off'),
           'thumbnails of .aif': (f"another handler: {FOREIGN} (user's choice)",
                                  'nobody: DisableThumbnails switches thumbnails off'),
           'columns': ('not asked for since Windows Vista',) * 2}

Step = collections.namedtuple('Step', 'name arguments code version features windows before')


def read_steps(group):
    for line in group.splitlines():
        if not line.startswith('#'):
            name, arguments, code, after, around = (part.strip() for part in line.split('|'))
            version, *features = after.split() or [None]
            windows, before = (around + ',').split(',')[:2]
            yield Step(name, arguments.split(), int(code), version, set(features), windows, before)


# Keys that other keys of ours were made below; empty ones of them stay.
LEFT = re.compile(r'machine\\Software\\Classes\\(\.(aiff?|mp3)(\\ShellEx)?|SystemFileAssociations)$'
                  r'|machine\\Software\\Classes\\folder\\shellex\\ColumnHandlers$'
                  r'|machine\\Software\\Microsoft\\Windows\\CurrentVersion\\'
                  r'(PropertySystem(\\.*)?|Shell Extensions(\\Approved)?)$'
                  r'|user\\Software\\(Corvane(\\.*)?|Wine\\AppDefaults(\\msiexec.exe)?)$'
                  r'|user\\Software\\Microsoft\\Windows\\CurrentVersion\\Policies(\\Explorer)?$'
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
                                capture_output=True, check=False, timeout=300)
        assert result.returncode == expected, (command, result)
        return result.stdout.decode()

    def tree(self):
        """All keys with their values, names in lower case, and the files below Program Files."""
        # Ending the server is what writes the registry at once; one that ends serves nobody.
        for action in ('-k', '-w'):
            subprocess.run(['wineserver', action], env=self.environment, check=False, timeout=60)
        tree = {}
        for hive, name in (('machine', 'system.reg'), ('user', 'user.reg')):
            text = (self.folder / name).read_text('utf-8', 'surrogateescape')
            values = {}
            for line in text.replace('\\\n', '').split('\n'):
                if line.startswith('['):
                    key = line[1:line.rindex(']')].replace('\\\\', '\\')
                    values = tree.setdefault(hive + '\\' + key, {})
                elif '=' in line and not line.startswith(('#', ';')):
                    value_name, value = re.match(r'(@|"(?:[^"\\]|\\.)*")=(.*)', line).groups()
                    values[value_name.strip('"')] = value.strip('"').replace('\\\\', '\\')
        for path in (self.folder / 'drive_c/Program Files').rglob('*'):
            if path.is_file():
                tree['file ' + str(path.relative_to(self.folder / 'drive_c'))] = {}
        return tree


def differences(seen, expected):
    """But for keys that stay empty, and for what Wine notes of the machine's hardware."""
    found = []
    for key in sorted(seen.keys() | expected.keys()):
        if key.startswith('machine\\System\\') or seen.get(key) == expected.get(key):
            continue
        if not (LEFT.match(key) and not expected.get(key) and
                ('Installer' in key or not seen.get(key))):
            found.append((key, expected.get(key), seen.get(key)))
    return found


def check(tree, version, features, windows):
    """That these features are there, registered, and nothing of the others."""
    def value(key, name='@'):
        return tree.get('machine\\' + key, {}).get(name)

    assert tree.get('machine\\' + SETTINGS, {}) == {
        name: 'dword:00000001' for feature, name in SETTING_NAMES.items() if feature in features}
    assert value(r'Software\Corvane\Tagsmith', 'Installation path') == FOLDER
    has_properties = 'Properties' in features and windows != 'winxp64'
    assert value(CLASSES + '\\' + PROPERTY_CLASS + r'\InProcServer32') == \
        (FOLDER + 'tsshell.dll' if has_properties else None), tree
    for extension, foreign in (('.mp3', FOREIGN), ('.aif', None)):
        key = HANDLERS + '\\' + extension
        assert value(key) == (PROPERTY_CLASS if has_properties else foreign), key
        assert value(key, 'tsmithbak') == (foreign if has_properties else None), key
    assert bool(value(PROVIDER)) == ('Thumbnails' in features and not windows)
    assert bool(value(COLUMNS)) == ('Columns' in features)
    files = {'NOTICE.txt', 'Tagsmith.propdesc', 'tsshell.dll'}
    files |= {'tsprobe.exe'} if 'Tools' in features else set()
    assert {pathlib.Path(key).name for key in tree if key.startswith('file ')
            and 'Corvane' in key} == files, tree
    entry, = (values for key, values in tree.items() if key.startswith(ENTRIES)
              and values.get('DisplayName') == 'Tagsmith Shell Extension')
    assert entry['DisplayVersion'] == version and entry['NoModify'] == 'dword:00000001', entry
    assert '/X{' in entry['UninstallString'] and '/I{' not in entry['ModifyPath'], entry
    assert entry['InstallLocation'] == FOLDER and entry['HelpLink'] and entry['Contact'], entry
    assert 300 < int(entry['Size']) < 3000, entry
    assert any(values.get('ProductIcon', '').endswith('tagsmith.ico') for values in tree.values())


def check_answers(prefix, folder):
    """Who answers by what tsprobe reads in the registry, before and after something else decides."""
    def registration():
        answer = json.loads(prefix.wine(0, TSPROBE, '--registration'))
        return answer, {verdict['subject']: verdict['answer'] for verdict in answer['verdicts']}

    answer, verdicts = registration()
    assert verdicts.items() >= {(what, then[0]) for what, then in ANSWERS.items()}, answer
    assert [found['version'] for found in answer['classes']] == [OLD + '.0'] * 2 + [''], answer
    assert [setting['machine'] for setting in answer['settings']] == [1, 1, None, 1, 1, None], answer
    assert answer['types'][2]['properties']['backup'] == FOREIGN, answer
    for name, action in (('set', '@reg add "{}" /v "{}" /t {} /d {} /f'),
                         ('unset', '@reg delete "{}" /v "{}" /f')):
        (folder / f'{name}.cmd').write_text('\n'.join(action.format(*row) for row in IN_THE_WAY))
    prefix.wine(0, 'cmd', '/c', folder / 'set.cmd')
    answer, verdicts = registration()
    assert verdicts.items() >= {(what, then[1]) for what, then in ANSWERS.items()}, answer
    assert answer['settings'][0]['user'] == 0 and len(answer['policies']) == 1, answer
    assert answer['types'][1]['properties']['backup'] == 'earlier', answer
    prefix.wine(0, 'cmd', '/c', folder / 'unset.cmd')


def make_packages(folder):
    """The old version, a new one that is signed, and one that fails after its files are there."""
    key, certificate, sign = folder / 'key.pem', folder / 'certificate.pem', folder / 'sign.sh'
    tracks.run('openssl', 'req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-subj', '/CN=Test',
               '-addext', 'extendedKeyUsage=codeSigning', '-keyout', key, '-out', certificate)
    sign.write_text('set -e\n'
                    f'osslsigncode sign -key {key} -certs {certificate} -in "$1" -out "$1.signed"\n'
                    'mv "$1.signed" "$1"\n')
    packages = {}
    for version, more in ((OLD, {}), (NEW, {'TAGSMITH_SIGN': f'bash {sign}'})):
        release = folder / version
        subprocess.run([ROOT / 'package.sh', '--version', version, release], check=True,
                       stdout=subprocess.DEVNULL, env=os.environ | more)
        tracks.run('env', '-C', release, 'sha256sum', '-c', '--strict', 'SHA256SUMS')
        packages[version] = release / f'tsshell-{version}.msi'
    tracks.run('osslsigncode', 'verify', '-CAfile', certificate, packages[NEW])
    tracks.run('msiextract', '-C', folder, packages[NEW])
    tracks.run('osslsigncode', 'verify', '-CAfile', certificate,
               folder / 'Corvane/Tagsmith/tsshell.dll')

    packages[BROKEN] = folder / 'broken.msi'
    tracks.run('cp', packages[NEW], packages[BROKEN])
    tracks.run('msibuild', packages[BROKEN],
               '-q', 'INSERT INTO CustomAction (Action, Type, Source, Target) '
                     "VALUES ('Fail', 1058, 'INSTALLDIR', 'cmd.exe /c exit 1')",
               '-q', "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('Fail', 5060)")
    return packages


def check_sequence(package):
    """What Wine does not show: an upgrade keeps the choice of features; the old version goes within
    the transaction, and what each action of ours did is undone by one before it that runs when the
    change is rolled back."""
    def table(name):
        lines = subprocess.run(['msiinfo', 'export', package, name], check=True,
                               capture_output=True, text=True).stdout.splitlines()[3:]
        return [line.split('\t') for line in lines]

    sequence = {row[0]: int(row[2]) for row in table('InstallExecuteSequence')}
    upgrade, = (row for row in table('Upgrade') if row[6] == 'WIX_UPGRADE_DETECTED')
    assert int(upgrade[4]) & 1 and 'MigrateFeatureStates' in sequence, upgrade
    later = sorted((number, action) for action, number in sequence.items()
                   if number > sequence['InstallInitialize'])
    assert later[0][1] == 'RemoveExistingProducts', later
    actions = {row[0]: row[1:] for row in table('CustomAction')}
    for action, undone_by in (('RemoveHandlers', 'UndoRemoval'),
                              ('InstallHandlers', 'UndoInstallation')):
        assert sequence[undone_by] < sequence[action]
        assert int(actions[undone_by][0]) & 256 and not int(actions[action][0]) & 256
        assert {actions[action][2], actions[undone_by][2]} == {'DllRegisterServer',
                                                                'DllUnregisterServer'}


def take(step, prefix, packages, track):
    folder = track.parent
    if step.windows:
        prefix.wine(0, 'reg', 'add', VERSIONS, '/v', 'Version', '/d', step.windows, '/f')
    server = None
    if step.before == 'damage':
        (prefix.folder / 'drive_c/Program Files/Corvane/Tagsmith/NOTICE.txt').unlink()
        prefix.wine(0, 'reg', 'delete', f'HKLM\\{CLASSES}\\{PROPERTY_CLASS}', '/f')
    elif step.before == 'display':
        server = subprocess.Popen(['Xvfb', '-displayfd', '1', '-nolisten', 'tcp'],
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        display = ':' + server.stdout.readline().decode().strip()
        prefix.environment['TAGSMITH_DISPLAY'] = display
    command = ['msiexec', *(packages.get(argument, argument) for argument in step.arguments), '/qn']
    if step.before == 'ARM64':
        # In one go: Wine sets the value whenever its server starts.
        batch = folder / 'arm64.cmd'
        batch.write_text(f'@reg add "{MACHINE}" /v PROCESSOR_ARCHITECTURE /d ARM64 /f\n@' +
                         ' '.join(map(str, command)))
        command = ['cmd', '/c', batch]
    prefix.wine(step.code, *command)
    if server:
        del prefix.environment['TAGSMITH_DISPLAY']
        # What is left of this step lives on the display, and would take new programs with it.
        for end in ('-k', '-w'):
            subprocess.run(['wineserver', end], env=prefix.environment, check=False)
        server.kill()
        server.wait()
    if step.name == 'install':
        answer = json.loads(prefix.wine(0, TSPROBE, '--registered', '--properties', track))
        assert answer['properties']['items'][0]['value'] == 'Installed', answer
        prefix.wine(0, TSPROBE, '--html', folder / 'page.html', track)
        assert re.search(r'"columns": \[[^]]*"Installed"', (folder / 'page.html').read_text())
        check_answers(prefix, folder)
    if step.windows:
        prefix.wine(0, 'reg', 'delete', VERSIONS, '/f')


def take_group(group, packages, track):
    prefix = Prefix(pathlib.Path(tempfile.mkdtemp(dir=track.parent)) / 'prefix')
    for key, name, value in FOREIGN_KEYS:
        prefix.wine(0, 'reg', 'add', key, '/v', name, '/d', value, '/f')
    before = prefix.tree()
    for step in read_steps(group):
        try:
            take(step, prefix, packages, track)
            tree = prefix.tree()
            found = differences(tree, before)
            if len(sys.argv) > 2:
                pathlib.Path(sys.argv[2], f'{step.name}.txt').write_text(
                    ''.join(f'{key}\n' + ''.join(f'  {name} = {value}\n' for name, value in
                                                 sorted((seen or {}).items()))
                            for key, _, seen in found) or 'as before\n')
            if step.version:
                check(tree, step.version, step.features, step.windows)
            else:
                assert not found, found
        except AssertionError:
            print('after:', step.name)
            raise


def main():
    # In the build's folder, so that the prefixes can be made of links.
    with tempfile.TemporaryDirectory(dir=ROOT / 'build', ignore_cleanup_errors=True) as temporary:
        folder = pathlib.Path(temporary)
        packages = make_packages(folder)
        check_sequence(packages[OLD])
        track, wav = folder / 'track.mp3', folder / 'tone.wav'
        tracks.run('sox', '-n', '-r', '44100', wav, 'synth', '1', 'sine', '440')
        tracks.run('lame', '--quiet', wav, track)
        tags = ID3()
        tags.add(TIT2(encoding=1, text='Installed'))
        tags.save(track, v2_version=3)

        groups = pathlib.Path(__file__).with_suffix('.txt').read_text().split('\n\n')[1:]
        # Wine waits more than it works.
        with concurrent.futures.ThreadPoolExecutor() as pool:
            list(pool.map(lambda group: take_group(group, packages, track), groups))


if __name__ == '__main__':
    main()
