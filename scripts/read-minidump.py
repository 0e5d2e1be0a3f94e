#!/usr/bin/env python3
"""Names the source line of the exception in a minidump: read-minidump.py DUMP [DEBUG-FILE...]

A DEBUG-FILE is named after its module (tsshell.dll.debug). Needs objdump and addr2line of
mingw-w64."""
import pathlib
import re
import struct
import subprocess
import sys

MODULE_LIST, EXCEPTION = 4, 6


def streams(dump):
    signature, _, count, directory = struct.unpack_from('<IIII', dump)
    if signature != 0x504D444D:
        sys.exit('not a minidump')
    for i in range(count):
        kind, _, offset = struct.unpack_from('<III', dump, directory + 12 * i)
        yield kind, offset


def modules(dump, offset):
    count, = struct.unpack_from('<I', dump, offset)
    for i in range(count):
        base, size, _, _, name = struct.unpack_from('<QIIII', dump, offset + 4 + 108 * i)
        length, = struct.unpack_from('<I', dump, name)
        path = dump[name + 4:name + 4 + length].decode('utf-16-le')
        yield base, size, path


def source_line(debug_file, offset):
    headers = subprocess.run(['x86_64-w64-mingw32-objdump', '-p', debug_file],
                             capture_output=True, text=True, check=True).stdout
    image_base = int(re.search(r'ImageBase\s+([0-9a-f]+)', headers).group(1), 16)
    return subprocess.run(['x86_64-w64-mingw32-addr2line', '-s', '-C', '-f', '-i', '-e', debug_file,
                           hex(image_base + offset)],
                          capture_output=True, text=True, check=True).stdout.rstrip()


def main():
    dump = pathlib.Path(sys.argv[1]).read_bytes()
    found = dict(streams(dump))
    code, = struct.unpack_from('<I', dump, found[EXCEPTION] + 8)
    address, = struct.unpack_from('<Q', dump, found[EXCEPTION] + 24)
    print(f'exception {code:08X} at {address:x}')
    for base, size, path in modules(dump, found[MODULE_LIST]):
        if base <= address < base + size:
            name = re.split(r'[\\/]', path)[-1]
            print(f'{name} + {address - base:x}')
            for debug_file in sys.argv[2:]:
                if pathlib.Path(debug_file).name == name + '.debug':
                    print(source_line(debug_file, address - base))


if __name__ == '__main__':
    main()
