#!/usr/bin/env bash
# Makes samples/sample.mkv: 3 s of H.264 colour bars (320x240, 25 fps), an AAC 440 Hz tone
# (48 kHz stereo), an SRT subtitle track and file tags, all from synthetic sources.
# Needs ffmpeg, mkvmerge and mkvpropedit (Debian: ffmpeg, mkvtoolnix).
#
# The output is byte-for-byte reproducible with the same tool versions: bit-exact encoders on
# one thread, a fixed mkvmerge seed (UIDs), no muxing date, then a fixed DateUTC written back.
#   bash samples/make_sample.sh          rewrites samples/sample.mkv
#   bash samples/make_sample.sh --check  makes it twice in a scratch directory and compares
#                                        both runs with each other and with the committed file
set -euo pipefail
cd "$(dirname "$0")"

make_into() {
  local out=$1 tmp
  tmp=$(mktemp -d)
  # shellcheck disable=SC2064
  trap "rm -rf '$tmp'" RETURN

  ffmpeg -v error -y -f lavfi -i testsrc2=size=320x240:rate=25 \
    -f lavfi -i sine=frequency=440:sample_rate=48000 -t 3 -map 0:v -map 1:a \
    -c:v libx264 -preset veryfast -bf 2 -g 25 -pix_fmt yuv420p -threads 1 \
    -c:a aac -b:a 64k -ac 2 \
    -fflags +bitexact -flags:v +bitexact -flags:a +bitexact "$tmp/av.mkv"

  printf '%s\n' 1 '00:00:00,200 --> 00:00:01,000' 'One' '' \
    2 '00:00:01,200 --> 00:00:02,000' 'Two — deux' '' \
    3 '00:00:02,200 --> 00:00:02,900' '<i>Three</i>' >"$tmp/subs.srt"

  # The clip's tags (target 50), then the album's (70); the first value of a name wins.
  cat >"$tmp/tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags>
  <Tag>
    <Targets><TargetTypeValue>50</TargetTypeValue></Targets>
    <Simple><Name>TITLE</Name><String>Test Pattern</String></Simple>
    <Simple><Name>ARTIST</Name><String>QMKV Test Signals</String></Simple>
    <Simple><Name>GENRE</Name><String>Test tone</String></Simple>
    <Simple><Name>DATE_RELEASE</Name><String>2020-05-17</String></Simple>
    <Simple><Name>COMMENT</Name><String>Synthetic clip: colour bars over a 440 Hz tone — café</String></Simple>
    <Simple><Name>PART_NUMBER</Name><String>3</String></Simple>
  </Tag>
  <Tag>
    <Targets><TargetTypeValue>70</TargetTypeValue></Targets>
    <Simple><Name>ALBUM</Name><String>Sample Album</String></Simple>
  </Tag>
</Tags>
XML

  mkvmerge -q -o "$out" --deterministic 2020 --no-date --disable-track-statistics-tags \
    --title "Test Pattern" --global-tags "$tmp/tags.xml" \
    --no-track-tags \
    --language 0:eng --track-name 0:"Colour bars" --default-track-flag 0:yes \
    --language 1:fre --track-name 1:"Tone" --default-track-flag 1:yes "$tmp/av.mkv" \
    --language 0:eng --sub-charset 0:UTF-8 --track-name 0:"Numbers" "$tmp/subs.srt"
  mkvpropedit -q "$out" --edit info --set date=2020-05-17T12:00:00Z
}

if [ "${1:-}" = "--check" ]; then
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  make_into "$scratch/a.mkv"
  make_into "$scratch/b.mkv"
  cmp "$scratch/a.mkv" "$scratch/b.mkv"
  cmp "$scratch/a.mkv" sample.mkv
  echo "sample.mkv: reproduced byte for byte ($(stat -c %s sample.mkv) bytes)"
else
  make_into sample.mkv
fi
