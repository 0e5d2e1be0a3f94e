"""Makes tracks with real encoders and taggers."""
import json
import pathlib
import subprocess

from mutagen.id3 import (APIC, COMM, PCST, POPM, TALB, TBPM, TCON, TCOP, TDRC, TENC, TIT1, TIT2,
                         TIT3, TKEY, TOPE, TPE1, TPE3, TPOS, TPUB, TRCK, TXXX, UFID, USLT, WOAR,
                         WXXX, ID3)

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / 'scripts'


def run(*command):
    subprocess.run([str(c) for c in command], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def ask(*command, **how):
    """The exit status, and the answers that a tool prints, a line each."""
    result = subprocess.run(command, capture_output=True, check=False, **how)
    return result.returncode, [json.loads(line) for line in result.stdout.split(b'\n') if line.strip()]


def tag(path, encoding, version, v1=0):
    """Tags by mutagen."""
    jpeg = b'\xff\xd8\xff\xe0' + bytes(range(256)) * 200
    frames = [
        TIT2(encoding=encoding, text='Ä title'), TPE1(encoding=encoding, text=['One', 'Two']),
        TALB(encoding=encoding, text='Album'), TCON(encoding=0, text='Jazz'),
        TRCK(encoding=0, text='7/9'), TPOS(encoding=0, text='1'), TDRC(encoding=0, text='2021'),
        COMM(encoding=encoding, lang='eng', desc='', text='odd' if encoding == 3 else 'Comment'),
        USLT(encoding=0, lang='eng', desc='', text='la\nla\rla'),
        TXXX(encoding=encoding, desc='Key', text='Value'),
        WXXX(encoding=encoding, desc='d', url='http://example/'),
        TIT3(encoding=encoding, text='Subtitle'), TPUB(encoding=encoding, text='Publisher'),
        TENC(encoding=encoding, text='Encöder'), TCOP(encoding=encoding, text='2021 Ä'),
        TPE3(encoding=encoding, text='Conductor'), TIT1(encoding=encoding, text='Group'),
        TKEY(encoding=0, text='C#m'), TOPE(encoding=encoding, text='Origínal'), PCST(value=1),
        TBPM(encoding=0, text='97'), POPM(email='a@example', rating=[0, 1, 255, 128][encoding]),
        WOAR(url='http://artist/'), UFID(owner='http://example/', data=b'\x01\x02'),
        APIC(encoding=encoding, mime='image/jpeg', type=3, desc='Cover', data=jpeg),
    ]
    tags = ID3()
    for frame in frames:
        tags.add(frame)
    tags.update_to_v23() if version == 3 else None
    tags.save(path, v1=v1, v2_version=version)


def make(folder):
    """All tracks, by name."""
    folder = pathlib.Path(folder)
    run(SCRIPTS / 'make-samples.sh', folder)
    wav = folder / 'tone.wav'
    run('sox', '-n', '-r', '44100', '-c', '2', '-b', '16', wav, 'synth', '4', 'pinknoise', 'vol',
        '0.3', 'fade', '1', '4', '1')
    plain = {
        'cbr.mp3': ['-b', '160'],
        'vbr.mp3': ['-V', '4'],
        'mono22.mp3': ['-b', '56', '-m', 'm', '--resample', '22.05'],
        'low.mp3': ['-b', '16', '-m', 'm', '--resample', '8'],
        'lame-v1.mp3': ['-b', '128', '--id3v1-only', '--tt', 'Only V1', '--tn', '5', '--tg', '79'],
        'lame-v2.mp3': ['-b', '128', '--id3v2-utf16', '--tt', 'Лёд', '--ta', 'LAME', '--ty', '1999',
                        '--tn', '3/4'],
    }
    for name, options in plain.items():
        run('lame', '--quiet', *options, wav, folder / name)
    for name, encoding, version, v1 in [('u8-24.mp3', 3, 4, 0), ('u16-24.mp3', 1, 4, 2),
                                        ('be-24.mp3', 2, 4, 0), ('u16-23.mp3', 1, 3, 2),
                                        ('latin-24.mp3', 0, 4, 0)]:
        (folder / name).write_bytes((folder / 'vbr.mp3').read_bytes())
        tag(folder / name, encoding, version, v1)
    (folder / 'eyed3 ü.mp3').write_bytes((folder / 'cbr.mp3').read_bytes())
    run('eyeD3', '--to-v2.4', '--title', 'Eye', '--artist', 'D3', '--track', '2', '--genre', 'Rock',
        '--comment', 'By eyeD3', folder / 'eyed3 ü.mp3')
    for name, options in [('plain.aiff', []), ('mono8.aif', ['-b', '8', '-c', '1', '-r', '22050'])]:
        run('sox', wav, *options, folder / name)
    broken = (folder / 'u16-23.mp3').read_bytes()
    (folder / 'short.mp3').write_bytes(broken[:100])
    (folder / 'cut-tag.mp3').write_bytes(broken[:5000])
    (folder / 'cut-frame.mp3').write_bytes(broken[:70000])
    (folder / 'empty.mp3').write_bytes(b'')
    (folder / 'zeros.mp3').write_bytes(bytes(100000))
    # Longer than quick walks look, with another bit rate after that.
    low, high, long = (folder / name for name in ('low-rate.mp3', 'high-rate.mp3', 'long.wav'))
    run('sox', '-n', '-r', '44100', long, 'synth', '16', 'pinknoise')
    run('lame', '--quiet', '-t', '-b', '64', long, low)
    run('lame', '--quiet', '-t', '-b', '256', long, high)
    (folder / 'late-change.mp3').write_bytes(low.read_bytes() + high.read_bytes())
    for part in (low, high, long):
        part.unlink()
    wav.unlink()
    return sorted(folder.iterdir())
