"""Time, memory and size of a folder's page beside those of JSON Lines: measure_page.py RUN-WINE TSPROBE FOLDER [JSON-FILE]"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

RUN_WINE, TSPROBE, FOLDER, *JSON_FILE = sys.argv[1:]


def measure(*options):
    """Processor seconds, seconds, and the most memory of a run."""
    start = time.monotonic()
    run = subprocess.Popen([RUN_WINE, TSPROBE, '--registered', *options, FOLDER], stdout=subprocess.DEVNULL)
    _, status, used = os.wait4(run.pid, 0)
    if status != 0:
        sys.exit('tsprobe failed')
    return used.ru_utime + used.ru_stime, time.monotonic() - start, used.ru_maxrss


def report(name, value, unit, floor=None):
    """Prints a row, and adds it to the JSON file."""
    row = {'name': name, 'value': value, 'unit': unit, 'floor': floor, 'ratio': floor and value / floor,
           'calls': None, 'allocations': None, 'bytes': None}
    print(f'  {name:46} {value:11.2f} {unit:3}' + (f' {row["ratio"]:7.2f} x {floor:.2f}' if floor else ''))
    for path in JSON_FILE:
        with open(path, 'a', encoding='utf-8') as file:
            print(json.dumps(row), file=file)


with tempfile.TemporaryDirectory() as scratch:
    page = pathlib.Path(scratch) / 'page.html'
    tracks = sum(1 for _ in pathlib.Path(FOLDER).rglob('*.mp3'))
    json_cpu, json_seconds, _ = measure()
    page_cpu, page_seconds, memory = measure('--html', page)
    print(f'\nThe page of {tracks} tracks, beside their JSON Lines')
    report('page', page_seconds, 's', json_seconds)
    report('page, of processor', page_cpu, 's', json_cpu)
    report('page, memory at the most', memory / 1000, 'MB')
    report('page, of each track', page.stat().st_size / max(tracks, 1) / 1000, 'KB')
