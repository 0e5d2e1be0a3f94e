"""The module weakens no host, and the oldest systems can load it: module_headers.py MODULE

It imports only what those systems export. Wine exports everything in every version that it imitates,
so that nothing else would show it."""
import pathlib
import re
import subprocess
import sys

KNOWN = pathlib.Path(__file__).with_name('exports_before_vista.txt')
EXPORTS = ['DllCanUnloadNow', 'DllGetClassObject', 'DllRegisterServer', 'DllUnregisterServer',
           'InstallHandlers', 'RemoveHandlers']
# The loader takes these from the system's folder, whatever lies beside the program.
LIBRARIES = {f'{name}.dll' for name in (
    'advapi32', 'gdi32', 'kernel32', 'msvcrt', 'ole32', 'oleaut32', 'shell32', 'shlwapi', 'user32')}


def imports(lines):
    """Pairs of library and name, or number for what is imported by that."""
    found, library = set(), None
    for line in lines:
        if name := re.match(r'\s*DLL Name: (\S+)', line):
            library = name[1].lower()
        elif entry := re.match(r'\t[0-9a-f]+\t\s*([0-9a-f]+)\s+(\S+)\s*$', line):
            found.add((library, str(int(entry[1], 16)) if entry[2] == '<none>' else entry[2]))
    return found


def main():
    headers = subprocess.run(['x86_64-w64-mingw32-objdump', '-p', '-h', sys.argv[1]], check=True,
                             capture_output=True, text=True).stdout
    flags = re.search(r'^DllCharacteristics.*\n((\t+[A-Z_]+\n)+)', headers, re.MULTILINE)[1].split()
    assert {'HIGH_ENTROPY_VA', 'DYNAMIC_BASE', 'NX_COMPAT'} <= set(flags), flags
    relocations = re.search(r'[0-9a-f]{16} ([0-9a-f]{8}) Base Relocation', headers)
    assert int(relocations[1], 16) > 0 and 'relocations stripped' not in headers, relocations
    code = re.findall(r'^ +(\S.*\bCODE\b.*)', headers, re.MULTILINE)
    assert code and all('READONLY' in section for section in code), code
    assert re.findall(r'^\t\[ *\d+\] ([A-Za-z]\w+)$', headers, re.MULTILINE) == EXPORTS, headers

    known = {(line.split()[0].lower(), name) for line in KNOWN.read_text().splitlines()
             if not line.startswith('#') for name in line.split()[1:]}
    found = imports(headers.splitlines())
    newer = sorted(found - known)
    assert not newer, f'not known to be exported before Windows Vista: {newer}'
    # By number, which shows that the table has been read to its end as well.
    assert ('shlwapi.dll', '219') in found and len(found) > 100, sorted(found)
    assert {library for library, _ in found} == LIBRARIES, sorted(found)
    print(f'{len(found)} imports, all of them known')


if __name__ == '__main__':
    main()
