"""Makes the release out of the finished Windows build:
package.py --version X.Y.Z --module-version X.Y.Z [--tests] FOLDER

The same build, commit and tools give the same bytes: SOURCE_DATE_EPOCH is the only time that is
used, and identifiers come from the content."""
import argparse
import datetime
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import struct
import subprocess
import tempfile
import uuid

PACKAGING = pathlib.Path(__file__).resolve().parent
ROOT = PACKAGING.parent
BIN = ROOT / 'build/windows/bin'
EPOCH = int(os.environ['SOURCE_DATE_EPOCH'])
UPGRADE_CODE = '{5D0C7B0E-6E7C-4B57-9B0A-2F4E1C98A7D3}'

# Programs with the files that they are packed as; texts with theirs.
PROGRAMS = ['tsshell.dll', 'tsprobe.exe']
TEXTS = {'Tagsmith.propdesc': 'Tagsmith.propdesc', 'NOTICE': 'NOTICE.txt',
         'tagsmith.ico': 'tagsmith.ico', 'tsshell.wxs': 'tsshell.wxs'}

# In the archive of tests: its programs, and the pictures of its samples, of which Windows may make
# something else than Wine does.
TEST_PROGRAMS = ['unit_test', 'shell_test', 'same_text']
PICTURES = {'opaque.png': ['gradient:red-blue'], 'alpha.png': ['xc:#ff000080'],
            'cut.jpg': ['plasma:red-blue', '-seed', '7'],
            'grey.jpg': ['gradient:', '-colorspace', 'Gray']}

# What is linked in: name, Debian package that it comes from, licence, copyright. A licence without an
# identifier of its own stands in NOTICE, between two headings.
LINKED = [
    ('libstdc++ and libgcc', 'gcc-mingw-w64-x86-64-posix-runtime',
     'GPL-3.0-or-later WITH GCC-exception-3.1',
     'Copyright (C) 1997-2022 Free Software Foundation, Inc.'),
    ('winpthreads', 'mingw-w64-x86-64-dev', 'MIT AND BSD-3-Clause',
     'Copyright (c) 2011-2016 mingw-w64 project; (C) 2010 Lockless Inc.'),
    ('mingw-w64 run-time library', 'mingw-w64-x86-64-dev',
     'ZPL-2.1 AND LicenseRef-Lucent AND BSD-2-Clause AND ISC',
     'Copyright (C) 2009-2016 the mingw-w64 project; 1997-2001 Lucent Technologies; '
     '2000 The NetBSD Foundation, Inc.; 2002 Todd C. Miller'),
    ('zlib', 'libz-mingw-w64-dev', 'Zlib', '(C) 1995-2022 Jean-loup Gailly and Mark Adler'),
]
LUCENT = 'Its conversion and printing of numbers:', 'Its reading of command lines'

# Custom actions call the installed module, deferred and with the installer's rights (3089); removal
# ignores what it answers (3153). On every change the handlers go by the settings as they were
# (after InstallInitialize, 1500) and come by the settings as they are then (after
# WriteRegistryValues, 5000). When a change is rolled back, what each did is undone (3409). They are
# the functions without a message box, which nobody would answer in a silent installation.
ACTIONS = [
    ('UndoRemoval', 3409, 'DllRegisterServer', 'Installed', 1850),
    ('RemoveHandlers', 3153, 'DllUnregisterServer', 'Installed', 1900),
    ('UndoInstallation', 3409, 'DllUnregisterServer', 'NOT (REMOVE="ALL")', 5050),
    ('InstallHandlers', 3089, 'DllRegisterServer', 'NOT (REMOVE="ALL")', 5100),
]


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE,
                          text=True, **options).stdout


def sign(path):
    command = os.environ.get('TAGSMITH_SIGN')
    if command:
        run(*shlex.split(command), path)


def identifier(*parts):
    """A GUID made of the parts: the same for the same."""
    return '{%s}' % str(uuid.uuid5(uuid.UUID(UPGRADE_CODE), '\n'.join(parts))).upper()


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def stage(folder):
    """Puts everything that is packed into a folder, stamped with the commit's time."""
    for name in PROGRAMS:
        # The copy writes the time stamp; of what is stripped already it changes nothing else.
        run('x86_64-w64-mingw32-objcopy', *([] if name.endswith('.dll') else ['--strip-all']),
            BIN / name, folder / name)
        sign(folder / name)
    for source, name in TEXTS.items():
        shutil.copyfile(PACKAGING / source, folder / name)
    for path in folder.iterdir():
        os.utime(path, (EPOCH, EPOCH))


def make_installer(folder, version, module_version, installer):
    content = [f'{path.name} {sha256(path)}' for path in sorted(folder.iterdir())]
    product = identifier('product', version, *content)
    size = sum((folder / name).stat().st_size
               for name in ('tsshell.dll', 'Tagsmith.propdesc', 'NOTICE.txt'))
    # The compiler takes the files' names from its own folder on only.
    run('wixl', '-a', 'x64', '-D', f'Version={version}', '-D', f'ProductCode={product}', '-D',
        f'Kilobytes={(size + 1023) // 1024}', '-o', installer, 'tsshell.wxs', cwd=folder)

    queries = [
        # Without the module's own version Windows would keep an installed one.
        f"UPDATE File SET Version='{module_version}.0', Language='1033' WHERE File='tsshell.dll'",
        "DELETE FROM MsiFileHash WHERE File_='tsshell.dll'",
        "UPDATE File SET FileName='TAGSMI~1.PRO|Tagsmith.propdesc' WHERE File='Tagsmith.propdesc'",
        # Another build of the same version is replaced, too, and its choice of features kept.
        "DELETE FROM Upgrade WHERE ActionProperty='WIX_UPGRADE_DETECTED'",
        "INSERT INTO Upgrade (UpgradeCode, VersionMax, Attributes, ActionProperty) VALUES "
        f"('{UPGRADE_CODE}', '{version}', 513, 'WIX_UPGRADE_DETECTED')",
        # Within the transaction: when the new version fails, the old one comes back.
        "UPDATE InstallExecuteSequence SET Sequence=1501 WHERE Action='RemoveExistingProducts'",
        "CREATE TABLE `Condition` (`Feature_` CHAR(38) NOT NULL, `Level` INT NOT NULL, "
        "`Condition` CHAR(255) PRIMARY KEY `Feature_`, `Level`)",
        *("INSERT INTO Condition (Feature_, Level, Condition) VALUES "
          f"('{feature}', 0, 'VersionNT {systems} 600')"
          for feature, systems in (('Columns', '>='), ('Tools', '<'))),
    ]
    for action, kind, function, condition, sequence in ACTIONS:
        queries += [
            "INSERT INTO CustomAction (Action, Type, Source, Target) VALUES "
            f"('{action}', {kind}, 'tsshell.dll', '{function}')",
            "INSERT INTO InstallExecuteSequence (Action, Condition, Sequence) VALUES "
            f"('{action}', '{condition}', {sequence})"]
    for directory in ('INSTALLDIR', 'MANUFACTURERDIR'):
        queries.append("INSERT INTO RemoveFile (FileKey, Component_, DirProperty, InstallMode) "
                       f"VALUES ('{directory}', 'Module', '{directory}', 2)")
    run('msibuild', installer, *(part for query in queries for part in ('-q', query)))
    run('msibuild', installer, '-s', 'Tagsmith Shell Extension', 'Corvane', 'x64;1033',
        identifier('package', product, sha256(pathlib.Path(__file__))))
    stamp(installer)
    sign(installer)


def stamp(installer):
    """Sets the two times of the summary information, which its tools take from the clock."""
    data = bytearray(installer.read_bytes())
    start = data.index(uuid.UUID('F29F85E0-4FF9-1068-AB91-08002B27B3D9').bytes_le)
    file_time = struct.pack('<IQ', 64, (EPOCH + 11644473600) * 10**7)  # VT_FILETIME, since 1601
    times = list(re.finditer(rb'\x40\0\0\0.{7}\x01', bytes(data[start:start + 1024]), re.S))
    assert len(times) == 2, times
    for match in times:
        data[start + match.start():start + match.end()] = file_time
    installer.write_bytes(data)


def bill_of_materials(files, version, folder):
    """SPDX 2.3: the installer, what it packs, and what is linked in."""
    packages, relations = [], []

    def package(identifier_, name, package_version, licence, copyright_text, **more):
        packages.append({'SPDXID': f'SPDXRef-{identifier_}', 'name': name,
                         'versionInfo': package_version, 'downloadLocation': 'NOASSERTION',
                         'filesAnalyzed': False, 'licenseConcluded': licence,
                         'licenseDeclared': licence, 'copyrightText': copyright_text, **more})

    def relate(element, kind, other):
        relations.append({'spdxElementId': f'SPDXRef-{element}', 'relationshipType': kind,
                          'relatedSpdxElement': f'SPDXRef-{other}'})

    package('tsshell', 'Tagsmith Shell Extension', version, 'NOASSERTION', 'Copyright Corvane',
            supplier='Organization: Corvane', packageFileName=files[0].name,
            checksums=[{'algorithm': 'SHA256', 'checksumValue': sha256(files[0])}])
    relate('DOCUMENT', 'DESCRIBES', 'tsshell')
    for number, (name, debian, licence, owner) in enumerate(LINKED):
        package(f'linked-{number}', name, run('dpkg-query', '-W', '-f=${Version}', debian),
                licence, owner, comment=f'Debian package {debian}')
        relate('tsshell', 'STATIC_LINK', f'linked-{number}')
    listed = []
    for path in [*sorted(folder / name for name in (*PROGRAMS, 'Tagsmith.propdesc', 'NOTICE.txt'))]:
        reference = 'file-' + path.name
        listed.append({'SPDXID': f'SPDXRef-{reference}', 'fileName': f'./{path.name}',
                       'licenseConcluded': 'NOASSERTION', 'copyrightText': 'NOASSERTION',
                       'checksums': [{'algorithm': 'SHA1', 'checksumValue': hashlib.sha1(
                           path.read_bytes()).hexdigest()},
                           {'algorithm': 'SHA256', 'checksumValue': sha256(path)}]})
        relate('tsshell', 'CONTAINS', reference)
    sums = sorted(file['checksums'][0]['checksumValue'] for file in listed)
    packages[0]['filesAnalyzed'] = True
    packages[0]['packageVerificationCode'] = {
        'packageVerificationCodeValue': hashlib.sha1(''.join(sums).encode()).hexdigest()}
    notices = (PACKAGING / 'NOTICE').read_text()
    created = datetime.datetime.fromtimestamp(EPOCH, datetime.timezone.utc)
    return json.dumps({
        'spdxVersion': 'SPDX-2.3', 'dataLicense': 'CC0-1.0', 'SPDXID': 'SPDXRef-DOCUMENT',
        'name': f'tsshell-{version}',
        'documentNamespace': f'https://corvane.example/spdx/tsshell-{version}-{sha256(files[0])}',
        'creationInfo': {'created': created.strftime('%Y-%m-%dT%H:%M:%SZ'),
                         'creators': [f'Tool: package.py-{version}', 'Organization: Corvane']},
        'hasExtractedLicensingInfos': [{
            'licenseId': 'LicenseRef-Lucent', 'name': 'Lucent',
            'extractedText': notices.split(LUCENT[0])[1].split(LUCENT[1])[0].strip()}],
        'packages': packages, 'files': listed, 'relationships': relations}, indent=1) + '\n'


def make_tests(staged, archive):
    """The test programs, samples, and what the handlers answer of them under Wine."""
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        for name in ('bin/propsys_double', 'samples', 'expected'):
            (folder / name).mkdir(parents=True)
        for name in TEST_PROGRAMS:
            run('x86_64-w64-mingw32-strip', BIN / f'{name}.exe', '-o', folder / f'bin/{name}.exe')
        for name in (*PROGRAMS, 'Tagsmith.propdesc'):
            shutil.copyfile(staged / name, folder / 'bin' / name)
        # Only Wine needs it; there the archive is tried.
        shutil.copyfile(BIN / 'propsys_double/propsys.dll', folder / 'bin/propsys_double/propsys.dll')
        shutil.copyfile(PACKAGING / 'run-tests.cmd', folder / 'run-tests.cmd')
        shutil.copyfile(PACKAGING / 'NOTICE', folder / 'NOTICE')
        for path in (ROOT / 'tests/shell/expected').iterdir():
            shutil.copyfile(path, folder / 'expected' / path.name)
        run(ROOT / 'scripts/make-samples.sh', folder / 'samples')
        chord = folder / 'samples/chord.mp3'
        for name, arguments in PICTURES.items():
            picture, sample = folder / name, folder / 'samples' / f'{name}.mp3'
            run('convert', '-size', '60x40', *arguments, picture)
            if name.startswith('cut'):
                picture.write_bytes(picture.read_bytes()[:-200])
            shutil.copyfile(chord, sample)
            run('eyeD3', '--remove-all-images', sample)
            run('eyeD3', '--add-image', f'{picture}:FRONT_COVER', sample)
            picture.unlink()
        for sample in sorted((folder / 'samples').iterdir()):
            answer = subprocess.run(
                [ROOT / 'scripts/run-wine.sh', 'bin/tsprobe.exe', '--module', r'bin\tsshell.dll',
                 rf'samples\{sample.name}'], cwd=folder, stdout=subprocess.PIPE, check=False)
            assert answer.returncode in (0, 1) and answer.stdout, answer
            (folder / 'expected' / f'{sample.name}.json').write_bytes(answer.stdout)
        archive.unlink(missing_ok=True)
        shutil.make_archive(str(archive.with_suffix('')), 'zip', folder)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--version', required=True)
    parser.add_argument('--module-version', required=True)
    parser.add_argument('--tests', action='store_true')
    parser.add_argument('folder', type=pathlib.Path)
    options = parser.parse_args()
    release = options.folder
    release.mkdir(parents=True, exist_ok=True)
    name = f'tsshell-{options.version}'
    files = [release / f'{name}.msi', release / 'tsshell.dll.debug', release / 'NOTICE',
             release / f'{name}.spdx.json']
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        stage(folder)
        files[0].unlink(missing_ok=True)
        make_installer(folder, options.version, options.module_version, files[0])
        shutil.copyfile(BIN / 'tsshell.dll.debug', files[1])
        shutil.copyfile(PACKAGING / 'NOTICE', files[2])
        if options.tests:
            files.append(release / f'{name}-tests.zip')
            make_tests(folder, files[-1])
        files[3].write_text(bill_of_materials(files, options.version, folder))
    (release / 'SHA256SUMS').write_text(
        ''.join(f'{sha256(path)}  {path.name}\n' for path in files))
    print(*files, release / 'SHA256SUMS', sep='\n')


if __name__ == '__main__':
    main()
