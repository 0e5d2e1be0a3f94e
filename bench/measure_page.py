"""Time, memory and size of a folder's page beside those of JSON Lines: measure_page.py RUN-WINE TSPROBE FOLDER"""
import pathlib
import resource
import subprocess
import sys
import tempfile
import time

RUN_WINE, TSPROBE, FOLDER = sys.argv[1:]


def measure(*options):
    """Processor seconds and seconds of a run."""
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    subprocess.run([RUN_WINE, TSPROBE, '--registered', *options, FOLDER], stdout=subprocess.DEVNULL, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, time.monotonic() - start


with tempfile.TemporaryDirectory() as scratch:
    page = pathlib.Path(scratch) / 'page.html'
    tracks = sum(1 for _ in pathlib.Path(FOLDER).rglob('*.mp3'))
    json_cpu, json_seconds = measure()
    page_cpu, page_seconds = measure('--html', page)
    memory = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    print(f'{tracks} tracks: JSON {json_seconds:.0f} s ({json_cpu:.0f} s of processor), page {page_seconds:.0f} s '
          f'({page_cpu:.0f} s of processor), at most {memory / 1000:.0f} MB of memory, '
          f'{page.stat().st_size / max(tracks, 1) / 1000:.1f} KB of page a track')
