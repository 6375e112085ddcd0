"""Counts a Matroska file's blocks per track by lacing kind, reading each block's flags byte
at the position mkvinfo -v -v prints. Used by the corpus scripts to state which lacing each
track really got."""
import collections
import re
import subprocess

LACING = {0: 'none', 2: 'xiph', 4: 'fixed', 6: 'ebml'}


def width(first):
    return next(i for i in range(8) if first & (0x80 >> i)) + 1


def listing_of(path):
    return subprocess.run(['mkvinfo', '-v', '-v', path], capture_output=True, text=True,
                          check=True).stdout


def block_kinds(data, listing, with_kind=False):
    """Counter of (track, lacing); with_kind prefixes S (SimpleBlock) or G (BlockGroup)."""
    kinds = collections.Counter()
    for m in re.finditer(r'(Simple block|Block): .*?track number (\d+), (\d+) frame\(s\).* at (\d+)',
                         listing):
        pos = int(m.group(4)) + 1
        pos += width(data[pos])
        pos += width(data[pos]) + 2
        lacing = LACING[data[pos] & 6]
        if with_kind:
            lacing = ('S' if m.group(1) == 'Simple block' else 'G') + lacing
        kinds[(int(m.group(2)), lacing)] += 1
    return kinds


def report(kinds):
    return ' '.join('track%d:%s=%d' % (t, l, n) for (t, l), n in sorted(kinds.items()))


if __name__ == '__main__':
    import sys
    for path in sys.argv[1:]:
        print(path, report(block_kinds(open(path, 'rb').read(), listing_of(path))))
