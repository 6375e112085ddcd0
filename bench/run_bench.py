#!/usr/bin/env python3
"""Runs the whole-file benchmark and its peers in one run and prints the tables of
docs/performance.md (Markdown) on standard output.

  bench/run_bench.py [--build build/native] [--runs 5] [DIR]

DIR holds the files bench/make_bench_files.sh makes (default /tmp/qmkv_bench). For each file:
our plug-in's full demux (qmkv_bench demux), Debian's libwebm parser reading every frame
(webm_bench), `ffmpeg -v error -i FILE -map 0 -c copy -f null -`, and 64 KiB preads of the
file (the floor); each run --runs times, median and min-max of the wall time. Then opening
(formats of every track) and seeking (200 seeks in each mode, one read after each).
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import time

FILES = ['big_cues.mkv', 'big_nocues.mkv', 'big_100ms.mkv', 'audio_laced.mka']


def parse(line):
    return dict(kv.split('=', 1) for kv in line.split())


def run_tool(cmd):
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    return parse(out.strip().splitlines()[-1])


def timed(cmd):
    start = time.monotonic()
    subprocess.run(cmd, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.monotonic() - start


def spread(values):
    return statistics.median(values), min(values), max(values)


def fmt_time(values):
    med, lo, hi = spread(values)
    return '%.3f (%.3f-%.3f)' % (med, lo, hi)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--build', default='build/native')
    ap.add_argument('--runs', type=int, default=5)
    ap.add_argument('dir', nargs='?', default='/tmp/qmkv_bench')
    args = ap.parse_args()
    bench = os.path.join(args.build, 'bench')
    qmkv = os.path.join(bench, 'qmkv_bench')
    webm = os.path.join(bench, 'webm_bench')
    have_webm = os.path.exists(webm)
    have_ffmpeg = shutil.which('ffmpeg') is not None

    print('## Full demux (seconds: median of %d, min-max)\n' % args.runs)
    print('| file | MB | ours s | MB/s | frames/s | readAt/frame | bytes read/payload | '
          'peak RSS MB | libwebm s | ffmpeg s | pread s | ours vs ffmpeg | ours vs libwebm | '
          'ours vs pread |')
    print('|' + '---|' * 14)
    for name in FILES:
        path = os.path.join(args.dir, name)
        if not os.path.exists(path):
            continue
        size_mb = os.path.getsize(path) / 1e6
        ours, peer_webm, peer_ffmpeg, floor = [], [], [], []
        last = None
        for _ in range(args.runs):
            r = run_tool([qmkv, 'demux', path])
            ours.append(float(r['seconds']))
            last = r
            if have_webm:
                peer_webm.append(float(run_tool([webm, path])['seconds']))
            if have_ffmpeg:
                peer_ffmpeg.append(timed(['ffmpeg', '-v', 'error', '-i', path, '-map', '0',
                                          '-c', 'copy', '-f', 'null', '-']))
            floor.append(float(run_tool([qmkv, 'pread', path])['seconds']))
        med = statistics.median(ours)
        frames = int(last['frames'])
        ratio = lambda peer: '%.2fx' % (statistics.median(peer) / med) if peer else 'n/a'
        print('| %s | %.0f | %s | %.0f | %.0f | %.3f | %.3f | %.1f | %s | %s | %s | %s | %s | %s |'
              % (name, size_mb, fmt_time(ours), size_mb / med, frames / med,
                 int(last['calls']) / frames, int(last['bytes']) / int(last['payload']),
                 int(last['rss_kib']) / 1024.0,
                 fmt_time(peer_webm) if peer_webm else 'n/a',
                 fmt_time(peer_ffmpeg) if peer_ffmpeg else 'n/a', fmt_time(floor),
                 ratio(peer_ffmpeg), ratio(peer_webm),
                 '%.2fx' % (med / statistics.median(floor))))
    print('\n"ours vs ffmpeg" and "ours vs libwebm" are the peer\'s time over ours (above 1: we '
          'are faster); "ours vs pread" is our time over the floor\'s.\n')

    print('## Opening (formats of every track)\n')
    print('| file | readAt calls | bytes read | seconds (median) |')
    print('|---|---|---|---|')
    for name in FILES:
        path = os.path.join(args.dir, name)
        if not os.path.exists(path):
            continue
        runs = [run_tool([qmkv, 'open', path]) for _ in range(args.runs)]
        print('| %s | %s | %s | %.6f |' % (name, runs[0]['calls'], runs[0]['bytes'],
                                          statistics.median(float(r['seconds']) for r in runs)))

    print('\n## Seeking (200 seeks of the first track in each mode, one read after each)\n')
    print('| file | mode | readAt calls, first seek | average | max | ms per seek | failed |')
    print('|---|---|---|---|---|---|---|')
    for name in FILES:
        path = os.path.join(args.dir, name)
        if not os.path.exists(path):
            continue
        out = subprocess.run([qmkv, 'seek', path], check=True, capture_output=True,
                             text=True).stdout
        for line in out.strip().splitlines():
            r = parse(line)
            print('| %s | %s | %s | %s | %s | %.3f | %s |'
                  % (name, r['seek_mode'], r['calls_first'], r['calls_avg'], r['calls_max'],
                     1000 * float(r['seconds']) / int(r['seeks']), r['failed']))
    return 0


if __name__ == '__main__':
    sys.exit(main())
