#!/usr/bin/env bash
# Makes the tracks that are measured, with real encoders and taggers: make-corpus.sh DIR
set -euo pipefail
dir=$1
mkdir -p "$dir"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

noise() { sox -q -n -r 44100 -c 2 -b 16 "$1" synth "$2" pinknoise vol 0.3; }
noise "$work/short.wav" 30
noise "$work/middle.wav" 140
noise "$work/long.wav" 600
lame --quiet -b 128 "$work/short.wav" "$work/cbr.mp3"
lame --quiet -V 2 "$work/middle.wav" "$work/vbr-art.mp3"
lame --quiet -b 128 "$work/short.wav" "$work/no-tag.mp3"
lame --quiet -b 192 "$work/short.wav" "$work/cover.mp3"
lame --quiet -b 128 "$work/long.wav" "$work/long-128k.mp3"
lame --quiet -V 2 "$work/long.wav" "$work/long-V2.mp3"
lame --quiet -b 320 "$work/long.wav" "$work/long-320k.mp3"
lame --quiet -b 32 -m m --resample 44.1 "$work/long.wav" "$work/long-32k.mp3"
/usr/bin/convert -size 1400x1400 -seed 1 plasma: -attenuate 0.3 +noise Gaussian -define jpeg:extent=400KB "$work/cover.jpg"
sox -q "$work/middle.wav" "$work/tag-at-end.aiff"

/usr/bin/python3 - "$work" <<'PYTHON'
import random
import sys

from mutagen.aiff import AIFF
from mutagen.id3 import (APIC, TALB, TBPM, TCOM, TCON, TIT2, TPE1, TPE2, TPOS, TRCK, TYER, ID3)

work = sys.argv[1]
texts = [TIT2(1, 'Title'), TPE1(1, 'Artist'), TALB(1, 'Album'), TPE2(1, 'Album artist'),
         TCOM(1, 'Composer'), TCON(0, '(17)'), TRCK(0, '1/9'), TPOS(0, '1/1'), TBPM(0, '120'),
         TYER(0, '2024')]
art = APIC(0, 'image/jpeg', 3, '', b'\xff\xd8\xff\xe0' + random.Random(1).randbytes(300_000))


def save(name, frames):
    tag = ID3()
    for frame in frames:
        tag.add(frame)
    tag.save(f'{work}/{name}', v2_version=3, v1=2)


save('cbr.mp3', texts)
save('vbr-art.mp3', texts + [art])
for name in ('128k', 'V2', '320k', '32k'):
    save(f'long-{name}.mp3', texts)
save('cover.mp3', texts + [APIC(0, 'image/jpeg', 3, '', open(f'{work}/cover.jpg', 'rb').read())])
track = AIFF(f'{work}/tag-at-end.aiff')
track.add_tags()
for frame in texts:
    track.tags.add(frame)
track.save()
PYTHON

rm "$work"/*.wav "$work"/*.jpg
mv "$work"/* "$dir"
