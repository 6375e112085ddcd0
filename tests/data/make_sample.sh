#!/usr/bin/env bash
# Makes the bundled sample (sample.mkv) and its ffprobe references. Needs ffmpeg and mkvmerge.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

ffmpeg -v error -y -f lavfi -i testsrc2=size=320x240:rate=25 -f lavfi -i sine=frequency=440:sample_rate=48000 \
  -t 2 -map 0:v -map 1:a -c:v libx264 -preset veryfast -bf 2 -g 25 -pix_fmt yuv420p \
  -c:a aac -b:a 64k -ac 2 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact "$tmp/src.mkv"

cat > "$tmp/tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags><Tag><Targets/><Simple><Name>ARTIST</Name><String>Test Artist</String></Simple></Tag></Tags>
XML

mkvmerge -q -o sample.mkv --no-date --disable-track-statistics-tags \
  --title "Sample clip" --global-tags "$tmp/tags.xml" \
  --language 1:fre "$tmp/src.mkv"

source ./refs.sh
refs sample.mkv ref
