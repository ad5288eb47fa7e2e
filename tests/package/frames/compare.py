"""Compares the frames that programs get from the library with the checksums that decoding-host writes of the same
files.

usage: compare.py PICTURES CHECKSUMS DECODING_HOST CLIPS, a folder
"""

import pathlib
import subprocess
import sys
import tempfile

KINDS = ("video", "audio")


def written(host, clip):
    """What decoding-host writes for the clip: for each kind, size and checksum of each frame."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([host, "decode", "--quiet", "--output", "framemd5:" + folder, clip], check=False, timeout=100,
                       stderr=subprocess.DEVNULL)
        sums = {}
        for kind in KINDS:
            lines = []
            for path in pathlib.Path(folder).glob(f"*.{kind}.framemd5"):
                lines += [line.split(",") for line in path.read_text().splitlines() if not line.startswith("#")]
            sums[kind] = [f"{fields[4].strip()} {fields[5].strip()}" for fields in lines]
        return sums


def read(checksums, clip):
    """What a program gets from the library."""
    run = subprocess.run([checksums, clip], check=False, timeout=100, capture_output=True, text=True)
    lines = [line.split(" ", 1) for line in run.stdout.splitlines()]
    return {kind: [rest for word, rest in lines if word == kind] for kind in KINDS}


def main(pictures, checksums, host, folder):
    clips = sorted(path for path in pathlib.Path(folder).iterdir()
                   if path.suffix in (".264", ".h265", ".mp4", ".flac", ".opus", ".ogg", ".avi", ".mkv", ".ts", ".ivf"))
    assert clips, f"there are no clips in {folder}"
    different = 0
    for clip in clips:
        expected, actual = written(host, clip), read(checksums, clip)
        lines = subprocess.run([pictures, clip], check=False, timeout=100, capture_output=True,
                               text=True).stdout.splitlines()
        counts = ", ".join(f"{len(actual[kind])} {kind}" for kind in KINDS)
        same = expected == actual and len(lines) == len(expected["video"])
        print(f"{clip.name}: {counts}{'' if same else ' - DIFFERENT'}")
        different += not same
        assert any(expected.values()), f"{clip.name} has no frames"
    return 1 if different else 0


sys.exit(main(*sys.argv[1:]))
