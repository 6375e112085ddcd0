#!/usr/bin/env bash
# Makes the GStreamer part of the conformance corpus: files written by GStreamer's matroskamux,
# a third muxer beside ffmpeg and mkvmerge, with ffprobe's view of each under conformance/ref/
# (refs.sh). matroskamux writes its DocType as "matroska" and a NUL, and with streamable=true
# (as live pipelines use it) a Segment and Clusters of unknown size, no Cues and no Duration.
#
# File                                 what it covers
# gst_h264_mp3_matroskamux.mkv         H.264 with B-frames, MP3; Cues, Duration
# gst_live_h264_opus_matroskamux.mkv   streamable=true: H.264, Opus; unknown sizes, no Cues
# gst_vp8_vorbis_matroskamux.mkv       VP8, Vorbis
#
# Needs gst-launch-1.0 with gstreamer1.0-plugins-base, -good, -ugly (x264, lame) and -bad
# (parsers), and ffprobe. matroskamux writes a random SegmentUID and the date, so a re-run gives
# other bytes with the same frames.
set -euo pipefail
cd "$(dirname "$0")"
out=conformance
source ./refs.sh

video() {  # 2 s of 160x90 at 25 fps
  echo "videotestsrc num-buffers=50 pattern=ball ! video/x-raw,width=160,height=90,framerate=25/1"
}
audio() {  # 2 s of a tone, 48 kHz stereo
  echo "audiotestsrc num-buffers=94 samplesperbuffer=1024 freq=440 ! audio/x-raw,rate=48000,channels=2"
}
x264="x264enc threads=1 key-int-max=25 bframes=2 ! h264parse"
mux() {  # mux OUT PROPERTIES: the muxer, named m, writing OUT
  echo "matroskamux name=m $2 ! filesink location=$out/$1"
}

mux_file() {
  local name=$1 props=$2 vchain=$3 achain=$4
  # shellcheck disable=SC2046  # the pipeline is meant to be split into words
  gst-launch-1.0 -q $(video) ! $vchain ! $(mux "$name" "$props") $(audio) ! $achain ! m.
  refs "$out/$name" "$out/ref"
  echo "$name: $(stat -c %s "$out/$name") bytes"
}

mux_file gst_h264_mp3_matroskamux.mkv "" "$x264" "lamemp3enc ! mpegaudioparse"
mux_file gst_live_h264_opus_matroskamux.mkv "streamable=true" "$x264" "opusenc ! opusparse"
mux_file gst_vp8_vorbis_matroskamux.mkv "" "vp8enc threads=1 deadline=1 keyframe-max-dist=25" \
  "vorbisenc"
