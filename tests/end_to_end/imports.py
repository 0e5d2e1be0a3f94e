"""The module imports only what the oldest systems that it is for export: imports.py MODULE

Wine exports everything in every version that it imitates, so that nothing else would show it."""
import pathlib
import re
import subprocess
import sys

KNOWN = pathlib.Path(__file__).with_name('exports_before_vista.txt')


def imports(module):
    """Pairs of library and name, or number for what is imported by that."""
    found, library = set(), None
    for line in subprocess.run(['x86_64-w64-mingw32-objdump', '-p', module], check=True,
                               capture_output=True, text=True).stdout.splitlines():
        if name := re.match(r'\s*DLL Name: (\S+)', line):
            library = name[1].lower()
        elif entry := re.match(r'\t[0-9a-f]+\t\s*([0-9a-f]+)\s+(\S+)\s*$', line):
            found.add((library, str(int(entry[1], 16)) if entry[2] == '<none>' else entry[2]))
    return found


def main():
    known = {(line.split()[0].lower(), name) for line in KNOWN.read_text().splitlines()
             if not line.startswith('#') for name in line.split()[1:]}
    found = imports(sys.argv[1])
    newer = sorted(found - known)
    assert not newer, f'not known to be exported before Windows Vista: {newer}'
    # By number, which shows that the table has been read to its end as well.
    assert ('shlwapi.dll', '219') in found and len(found) > 100, sorted(found)
    print(f'{len(found)} imports, all of them known')


if __name__ == '__main__':
    main()
