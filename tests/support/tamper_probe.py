#!/usr/bin/env python3
"""Stands in for qmkvprobe and spoils what --extract writes: runs the real qmkvprobe (path in
QMKV_REAL_PROBE) with the same arguments, then inverts one byte at 60 % of the extracted
file. decode_check.py run with this as its --probe must report a difference; the test that
does so shows the check can fail."""

import os
import subprocess
import sys


def main():
    args = sys.argv[1:]
    status = subprocess.call([os.environ["QMKV_REAL_PROBE"]] + args)
    if status == 0 and "--extract" in args:
        out = args[args.index("--extract") + 2]
        with open(out, "r+b") as f:
            size = f.seek(0, os.SEEK_END)
            f.seek(size * 6 // 10)
            byte = f.read(1)
            f.seek(size * 6 // 10)
            f.write(bytes([byte[0] ^ 0xFF]))
    return status


if __name__ == "__main__":
    sys.exit(main())
