#!/usr/bin/env python3
"""How far pellsub is with many files: a bar on a terminal, gone at the end, and none where nobody looks.

progress.py SAMPLE PELLSUB...
"""
import fcntl
import os
import pathlib
import pty
import struct
import subprocess
import sys
import tempfile
import termios

sample, pellsub = pathlib.Path(sys.argv[1]), sys.argv[2:]
FILES = 300


def on_terminal(*arguments, columns=80):
    """What the tool writes to a terminal as standard error."""
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    with subprocess.Popen([*pellsub, *arguments], stdout=subprocess.DEVNULL, stderr=theirs) as tool:
        os.close(theirs)
        text = b""
        while True:
            try:
                part = os.read(ours, 65536)
            except OSError:  # the other end is closed
                break
            if not part:
                break
            text += part
    os.close(ours)
    return text.decode()


def piped(*arguments):
    return subprocess.run([*pellsub, *arguments], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE).stderr.decode()


with tempfile.TemporaryDirectory() as folder:
    first = pathlib.Path(folder, "0.srt")
    first.write_bytes(sample.read_bytes() * 100)  # long enough for a bar anywhere
    for i in range(1, FILES):
        os.link(first, f"{folder}/{i}.srt")
    for jobs, columns in (("1", 80), ("2", 20)):
        seen = on_terminal("check", "-j", jobs, "-r", folder, columns=columns)
        drawn, last = seen.rstrip("\r\n").rsplit("\r", 1)
        counts = [int(line.split(" of ")[0].rsplit(" ", 1)[-1]) for line in drawn.split("\r") if " of " in line]
        assert counts and counts == sorted(counts) and counts[-1] <= FILES, counts
        rows = drawn.split("\r")
        assert max(map(len, rows)) < columns, rows
        assert rows[-1].isspace() and len(rows[-1]) == len(rows[-2]), "the bar is taken away"
        assert last.startswith(f"pellsub: {FILES} files, "), last
        assert "[" not in piped("check", "-j", jobs, "-r", folder)
    assert "[" not in on_terminal("check", str(sample)), "one file, no bar"
