#!/usr/bin/env bash
# Makes the benchmark's large files, outside the repository (default /tmp/qmkv_bench, or the
# directory given): 4.5 minutes of 1080p H.264 (constant 8.5 Mbit/s) with stereo AAC, about
# 300 MB, muxed by mkvmerge four ways, and an audio-only file with laced audio.
#
#   big_cues.mkv       Cues at the end, reachable from the SeekHead (mkvmerge's default)
#   big_nocues.mkv     the same without Cues
#   big_100ms.mkv      Clusters of 100 ms
#   audio_laced.mka    the AAC and an MP3 track alone, laced as mkvmerge laces them
#
# Needs ffmpeg and mkvmerge. The encode runs single-threaded and takes a few minutes.
set -euo pipefail
out=${1:-/tmp/qmkv_bench}
mkdir -p "$out"
cd "$out"
seconds=270
if [ ! -s src.mkv ]; then
  ffmpeg -v error -y \
    -f lavfi -i "testsrc2=size=1920x1080:rate=30" \
    -f lavfi -i "sine=frequency=440:sample_rate=48000,aformat=channel_layouts=stereo" \
    -t "$seconds" -map 0:v -map 1:a \
    -c:v libx264 -preset ultrafast -threads 1 -g 60 -b:v 8500k -minrate 8500k -maxrate 8500k \
    -bufsize 17000k -x264-params nal-hrd=cbr:force-cfr=1 -pix_fmt yuv420p \
    -c:a aac -b:a 128k \
    src.mkv
  ffmpeg -v error -y -f lavfi -i "sine=frequency=330:sample_rate=44100" -t "$seconds" \
    -c:a libmp3lame -b:a 128k mp3.mka
fi
mkvmerge -q -o big_cues.mkv src.mkv
mkvmerge -q -o big_nocues.mkv --no-cues src.mkv
mkvmerge -q -o big_100ms.mkv --cluster-length 100ms src.mkv
mkvmerge -q -o audio_laced.mka --no-video src.mkv mp3.mka
ls -l "$out"/*.mkv "$out"/*.mka
