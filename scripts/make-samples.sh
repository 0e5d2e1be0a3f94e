#!/usr/bin/env bash
# Makes sample tracks with real encoders and taggers: make-samples.sh DIR
set -euo pipefail
dir=$1
mkdir -p "$dir"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sox -q -n -r 44100 -c 2 -b 16 "$work/chord.wav" synth 5 sine 261.63 sine 329.63 vol 0.4 fade 0.1 5 0.5
lame --quiet -b 128 "$work/chord.wav" "$work/chord.mp3"
sox -q "$work/chord.wav" "$work/chord.aiff"

/usr/bin/python3 - "$work" <<'PYTHON'
import struct
import sys
import zlib

from mutagen.aiff import AIFF
from mutagen.id3 import (APIC, COMM, POPM, TALB, TBPM, TCMP, TCOM, TCON, TDRC, TIT2, TPE1, TPE2,
                         TPOS, TRCK, TXXX, TYER, USLT, ID3)


def picture():
    """A PNG of 64 by 64 pixels that fades from blue to orange."""
    rows = b''.join(b'\0' + bytes(v for x in range(64) for v in (4 * x, 80 + y, 252 - 4 * x))
                    for y in range(64))
    def chunk(kind, data):
        body = kind + data
        return struct.pack('>I', len(data)) + body + struct.pack('>I', zlib.crc32(body))
    return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 64, 64, 8, 2, 0, 0, 0)) +
            chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b''))


def frames(title):
    return [
        TIT2(encoding=1, text=title), TPE1(encoding=1, text='The Sine Waves'),
        TALB(encoding=0, text='Two Tones'), TPE2(encoding=0, text='Various'),
        TCOM(encoding=1, text='Joseph Fourier'), TCON(encoding=0, text='(26)'),
        TRCK(encoding=0, text='1/2'), TPOS(encoding=0, text='1/1'), TBPM(encoding=0, text='120'),
        TCMP(encoding=0, text='1'), COMM(encoding=1, lang='eng', desc='', text='A major third'),
        USLT(encoding=1, lang='eng', desc='', text='Mmm'), POPM(email='me@example', rating=196),
        TXXX(encoding=1, desc='MOOD', text='calm'),
        APIC(encoding=0, mime='image/png', type=3, desc='', data=picture()),
    ]


work = sys.argv[1]
tag = ID3()
for frame in frames('Grüße, 世界'):
    tag.add(frame)
tag.add(TYER(encoding=0, text='2024'))
tag.save(work + '/chord.mp3', v1=2, v2_version=3)

track = AIFF(work + '/chord.aiff')
track.add_tags()
for frame in frames('Chord'):
    track.tags.add(frame)
track.tags.add(TDRC(encoding=0, text='2024-05-17'))
track.save()
PYTHON

mv "$work/chord.mp3" "$work/chord.aiff" "$dir"
