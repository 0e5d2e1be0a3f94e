#!/usr/bin/env bash
# Makes a music folder with real encoders and taggers, in folders of twelve tracks with covers of
# 1000 x 1000 pixels: make-folder.sh DIR COUNT
set -euo pipefail
dir=$1
mkdir -p "$dir"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sox -q -n -r 44100 -c 2 -b 16 "$work/tone.wav" synth 4 pinknoise vol 0.3
lame --quiet -b 128 "$work/tone.wav" "$work/tone.mp3"
for seed in {0..9}; do
  /usr/bin/convert -size 1000x1000 -seed "$seed" plasma: -attenuate 0.3 +noise Gaussian \
    -define jpeg:extent=200KB "$work/$seed.jpg"
done

/usr/bin/python3 - "$dir" "$2" "$work" <<'PYTHON'
import pathlib
import sys

from mutagen.id3 import APIC, COMM, ID3, TALB, TBPM, TCOM, TCON, TIT2, TPE1, TPE2, TRCK, TYER

folder, count, work = pathlib.Path(sys.argv[1]), int(sys.argv[2]), pathlib.Path(sys.argv[3])
audio = (work / 'tone.mp3').read_bytes()
covers = [(work / f'{seed}.jpg').read_bytes() for seed in range(10)]
for number in range(count):
    album, track = number // 12, number % 12 + 1
    path = folder / f'Album {album:03}' / f'{track:02} Title {number}.mp3'
    path.parent.mkdir(exist_ok=True)
    path.write_bytes(audio)
    tag = ID3()
    for frame in [TIT2(1, f'Title {number}'), TPE1(1, f'Artist {number % 97}'), TALB(1, f'Album {album}'),
                  TPE2(1, 'Album artist'), TCOM(1, 'Composer'), TCON(0, '(17)'), TRCK(0, f'{track}/12'),
                  TYER(0, '2024'), TBPM(0, '120'), COMM(1, 'eng', '', 'A comment as taggers write it'),
                  APIC(0, 'image/jpeg', 3, '', covers[album % 10])]:
        tag.add(frame)
    tag.save(path, v1=0, v2_version=3)
PYTHON
