#!/usr/bin/env bash
# Makes the real-file corpus under corpus/ and its references under corpus/ref/: small files
# from ffmpeg and mkvmerge that cover the codecs, the three lacing kinds, subtitles, header
# stripping and the track model (languages, names, tags, chapters, attachments). The frame
# readers are checked against the ffprobe packet lists, the track model against mkvinfo.
#
# Needs ffmpeg, ffprobe, mkvmerge, mkvinfo and python3 (for rewrite_mkv.py beside this
# script). Every encoder runs single-threaded with bit-exact flags and mkvmerge runs with a
# fixed seed and no date, so that a re-run gives the same bytes with the same tool versions
# (made with ffmpeg 5.1 and mkvmerge v74).
#
# What each file holds, and the lacing each track really got (counted from the block flags at
# the positions mkvinfo -v -v prints; the script prints the counts at its end):
#   avc_ffmpeg.mkv      ffmpeg's muxer, which never laces: H.264 with B-frames, AAC, Opus, SRT
#                       subtitles; languages, names, global and track tags, chapters, one
#                       attachment. The first AAC and Opus blocks and all subtitle blocks are
#                       BlockGroups, the rest SimpleBlocks.
#   hevc_mkvmerge.mkv   mkvmerge: HEVC with B-frames (unlaced); Vorbis, Xiph lacing in 15
#                       blocks (last block an unlaced BlockGroup); FLAC, EBML lacing in 6
#                       blocks (last unlaced); SRT subtitles (unlaced); languages (English left
#                       implicit), names, global and track tags, chapters, one attachment.
#   vp9_remux.mkv       ffmpeg (VP9 + Opus, with tags, a chapter and an attachment) remuxed by
#                       mkvmerge with AAC and MP3 added: VP9 unlaced; Opus EBML lacing in 6
#                       blocks, 55 unlaced; AAC Xiph lacing in 10 blocks, EBML in 2; MP3 fixed
#                       lacing in 11 blocks, Xiph in 1; new languages, names, default
#                       durations, track tags.
#   fixed_lacing.mkv    mkvmerge, audio only (so it picks TimestampScale 20832 ns, not 1 ms):
#                       AC-3 (9 blocks), E-AC-3 (5), MP2 (4, last unlaced) and 16-bit PCM (4),
#                       all fixed lacing.
#   blockgroups.mkv     mkvmerge with --engage no_simpleblocks: H.264 with B-frames and AAC, every
#                       block a BlockGroup (key frames are those without ReferenceBlock); AAC
#                       laced inside them (Xiph and EBML lacing).
#   hdrstrip.mkv        header stripping (ContentCompAlgo 3): MPEG-4 part 2 video without its
#                       leading 00 00 01 (unlaced), AC-3 without 0B 77 in front of each frame
#                       (fixed lacing in 8 blocks, last unlaced). This mkvmerge fills the frames
#                       with garbage when asked to strip (--compression TID:mpeg4_p2) and has no
#                       other way to write it, so rewrite_mkv.py makes the file from an
#                       unstripped mkvmerge one; ffprobe, which puts the bytes back, must then
#                       see the unstripped file's packets.
#   nal2.mkv            H.264 and HEVC with 2-byte NAL lengths (unlaced). mkvmerge accepts
#                       --nalu-size-length but writes 4-byte lengths all the same, so
#                       rewrite_mkv.py shortens them in an mkvmerge file; ffmpeg must decode
#                       both tracks to the same pictures as before.
#   seek_ffmpeg.mkv     for seeking: 4 s of H.264 with a key frame every 0.4 s (B-frames) and
#                       AAC, muxed by ffmpeg. Its Clusters do not start at key frames, so each
#                       cue names a Cluster that opens with blocks before the cued key frame.
#   seek_cues.mkv       the same streams muxed by mkvmerge, which opens a Cluster at every key
#                       frame and cues each one;
#   seek_nocues.mkv     and the same again without Cues (--no-cues).
#   seek_audio.mka      MP3 alone, unlaced (--disable-lacing): its Cues index only the audio track.
set -euo pipefail
cd "$(dirname "$0")"
out=corpus
mkdir -p "$out/ref"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

ff() { ffmpeg -v error -y -nostdin "$@"; }
mkv() { mkvmerge -q --deterministic 20240501 --no-date --disable-track-statistics-tags "$@"; }
bitexact=(-fflags +bitexact -flags:v +bitexact -flags:a +bitexact)
video=(-f lavfi -i testsrc2=size=160x120:rate=25 -t 2)
stereo=(-f lavfi -i sine=frequency=440:sample_rate=48000 -t 2 -ac 2)
# Bursts of a rising tone with silence between: Vorbis frames then differ by more than 63
# bytes while staying under 255, which makes Xiph lacing mkvmerge's cheapest choice.
bursts=(-f lavfi -i "aevalsrc=exprs='if(lt(mod(t\,0.09)\,0.045)\,0.4*sin(2*PI*(300+2000*t)*t)\,0)':sample_rate=22050" -t 1.5 -ac 1)

# --- Sources -----------------------------------------------------------------------------------
ff "${video[@]}" -c:v libx264 -preset veryfast -crf 32 -bf 2 -g 25 -threads 1 -pix_fmt yuv420p \
  "${bitexact[@]}" "$tmp/avc.mp4"
ff "${video[@]}" -c:v libx264 -preset veryfast -crf 32 -bf 2 -g 25 -threads 1 -pix_fmt yuv420p \
  "${bitexact[@]}" -f h264 "$tmp/v.h264"
ff "${video[@]}" -c:v libx265 -preset fast -crf 34 -pix_fmt yuv420p \
  -x265-params log-level=error:bframes=2:keyint=25:pools=1:frame-threads=1 "${bitexact[@]}" \
  -f hevc "$tmp/v.hevc"
ff "${video[@]}" -c:v libvpx-vp9 -b:v 60k -deadline good -cpu-used 4 -threads 1 -g 25 \
  "${bitexact[@]}" "$tmp/vp9.webm"
ff -f lavfi -i testsrc2=size=160x120:rate=25 -t 1 -c:v mpeg4 -q:v 10 -g 12 -bf 0 \
  "${bitexact[@]}" "$tmp/mpeg4.avi"
ff "${stereo[@]}" -c:a aac -b:a 48k "${bitexact[@]}" "$tmp/a.m4a"
ff "${stereo[@]}" -c:a libopus -b:a 32k "${bitexact[@]}" "$tmp/a.opus"
ff "${stereo[@]}" -c:a libmp3lame -b:a 48k "${bitexact[@]}" "$tmp/a.mp3"
ff "${stereo[@]}" -c:a ac3 -b:a 96k "${bitexact[@]}" "$tmp/a.ac3"
ff -f lavfi -i sine=frequency=660:sample_rate=48000 -t 1 -ac 2 -c:a eac3 -b:a 64k \
  "${bitexact[@]}" "$tmp/a.eac3"
ff -f lavfi -i sine=frequency=550:sample_rate=32000 -t 1 -ac 1 -c:a mp2 -b:a 48k \
  "${bitexact[@]}" "$tmp/a.mp2"
ff -f lavfi -i sine=frequency=330:sample_rate=8000 -t 1 -ac 1 -c:a pcm_s16le "${bitexact[@]}" \
  "$tmp/a.wav"
ff -f lavfi -i sine=frequency=440:sample_rate=22050 -t 2 -ac 1 -c:a flac -frame_size 1152 \
  "${bitexact[@]}" "$tmp/a.flac"
ff "${bursts[@]}" -c:a libvorbis -q:a 1 "${bitexact[@]}" "$tmp/a.ogg"

# Two cues with a gap of more than half a second between them and after the second.
cat > "$tmp/subs.srt" <<'SRT'
1
00:00:00,100 --> 00:00:00,600
Hello

2
00:00:01,300 --> 00:00:01,500
Zweite Zeile, über zwei Wörter
SRT
printf 'Attached notes for the corpus.\n' > "$tmp/notes.txt"

# --- avc_ffmpeg.mkv: ffmpeg's own muxer ----------------------------------------------------------
cat > "$tmp/meta.txt" <<'META'
;FFMETADATA1
title=AVC corpus clip
artist=Corpus Artist
comment=Made by make_corpus.sh
[CHAPTER]
TIMEBASE=1/1000
START=0
END=1000
title=Opening
[CHAPTER]
TIMEBASE=1/1000
START=1000
END=2000
title=Closing
META
ff -i "$tmp/avc.mp4" -i "$tmp/a.m4a" -i "$tmp/a.opus" -i "$tmp/subs.srt" -i "$tmp/meta.txt" \
  -map 0:v -map 1:a -map 2:a -map 3:s -map_metadata 4 -map_metadata:s:v -1 -map_metadata:s:a -1 \
  -map_chapters 4 -c copy -c:s srt \
  -metadata:s:v:0 title="Test pattern" \
  -metadata:s:a:0 language=eng -metadata:s:a:0 title="Main audio" \
  -metadata:s:a:0 comment="Sine at 440 Hz" \
  -metadata:s:a:1 language=ger -metadata:s:a:1 title="Kommentar" \
  -metadata:s:s:0 language=fre -metadata:s:s:0 title="Sous-titres" \
  -attach "$tmp/notes.txt" -metadata:s:t mimetype=text/plain \
  "${bitexact[@]}" "$out/avc_ffmpeg.mkv"

# --- hevc_mkvmerge.mkv ---------------------------------------------------------------------------
cat > "$tmp/global_tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags>
  <Tag>
    <Targets><TargetTypeValue>50</TargetTypeValue></Targets>
    <Simple><Name>ARTIST</Name><String>Corpus Artist</String></Simple>
    <Simple><Name>DATE_RELEASED</Name><String>2024</String></Simple>
    <Simple><Name>COMMENT</Name><String>Kommentar</String><TagLanguage>ger</TagLanguage></Simple>
  </Tag>
</Tags>
XML
cat > "$tmp/track_tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags>
  <Tag>
    <Targets><TargetTypeValue>50</TargetTypeValue></Targets>
    <Simple><Name>TITLE</Name><String>Bursts</String></Simple>
  </Tag>
</Tags>
XML
cat > "$tmp/chapters.txt" <<'CH'
CHAPTER01=00:00:00.000
CHAPTER01NAME=Start
CHAPTER02=00:00:01.000
CHAPTER02NAME=Middle
CH
mkv -o "$out/hevc_mkvmerge.mkv" --title "HEVC corpus clip" --global-tags "$tmp/global_tags.xml" \
  --chapter-language eng --chapters "$tmp/chapters.txt" \
  --attachment-mime-type text/plain --attachment-description "Notes" --attach-file "$tmp/notes.txt" \
  --track-name 0:"Pattern" --language 0:und --default-duration 0:25fps \
  "$tmp/v.hevc" \
  --language 0:jpn --track-name 0:"Vorbis bursts" --tags 0:"$tmp/track_tags.xml" "$tmp/a.ogg" \
  --language 0:eng --track-name 0:"Lossless" "$tmp/a.flac" \
  --language 0:spa --track-name 0:"Subtítulos" "$tmp/subs.srt"

# --- vp9_remux.mkv: ffmpeg first, then mkvmerge over its output ----------------------------------
cat > "$tmp/vp9meta.txt" <<'META'
;FFMETADATA1
title=VP9 corpus clip
genre=Test
[CHAPTER]
TIMEBASE=1/1000
START=0
END=2000
title=Everything
META
ff -i "$tmp/vp9.webm" -i "$tmp/a.opus" -i "$tmp/vp9meta.txt" -map 0:v -map 1:a \
  -map_metadata 2 -map_chapters 2 -c copy -metadata:s:a:0 language=ita \
  -metadata:s:a:0 title="Opus track" -metadata:s:v:0 encoder_note="ffmpeg made" \
  -attach "$tmp/notes.txt" -metadata:s:t mimetype=text/plain -metadata:s:t filename=notes.txt \
  "${bitexact[@]}" "$tmp/vp9_opus.mkv"
cat > "$tmp/aac_tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags>
  <Tag>
    <Targets><TargetTypeValue>50</TargetTypeValue></Targets>
    <Simple><Name>PERFORMER</Name><String>Sine generator</String></Simple>
  </Tag>
</Tags>
XML
mkv -o "$out/vp9_remux.mkv" \
  --track-name 0:"VP9 pattern" --language 0:nld --default-duration 0:25fps \
  --language 1:ita "$tmp/vp9_opus.mkv" \
  --language 0:por --track-name 0:"AAC stereo" --tags 0:"$tmp/aac_tags.xml" "$tmp/a.m4a" \
  --language 0:pol "$tmp/a.mp3"

# --- fixed_lacing.mkv ----------------------------------------------------------------------------
mkv -o "$out/fixed_lacing.mkv" --language 0:eng "$tmp/a.ac3" --language 0:eng "$tmp/a.eac3" \
  --language 0:swe "$tmp/a.mp2" --language 0:fin "$tmp/a.wav"

# --- blockgroups.mkv: no SimpleBlocks at all ----------------------------------------------------
mkv -o "$out/blockgroups.mkv" --engage no_simpleblocks --track-name 0:"AVC in groups" \
  "$tmp/avc.mp4" --language 0:eng "$tmp/a.m4a"

# --- hdrstrip.mkv and nal2.mkv: mkvmerge files rewritten by rewrite_mkv.py ---------------------
mkv -o "$tmp/unstripped.mkv" --engage native_mpeg4 --track-name 0:"MPEG-4 video" "$tmp/mpeg4.avi" \
  --track-name 0:"AC-3 stripped" --language 0:dan "$tmp/a.ac3"
python3 rewrite_mkv.py "$tmp/unstripped.mkv" "$out/hdrstrip.mkv" 1=strip:000001 2=strip:0b77

mkv -o "$tmp/nal4.mkv" --track-name 0:"AVC" "$tmp/v.h264" --track-name 0:"HEVC" "$tmp/v.hevc"
python3 rewrite_mkv.py "$tmp/nal4.mkv" "$out/nal2.mkv" 1=nal2 2=nal2

# ffprobe puts stripped bytes back: it must see exactly the packets of the unstripped file.
# The 2-byte NAL lengths change sizes and hashes but nothing else, and decode to the same
# pictures.
packets() { ffprobe -v error -show_packets -show_data_hash md5 -of compact "$1"; }
if ! diff <(packets "$tmp/unstripped.mkv" | sed 's/|pos=[0-9]*//') \
          <(packets "$out/hdrstrip.mkv" | sed 's/|pos=[0-9]*//') > /dev/null; then
  echo "hdrstrip.mkv: ffprobe sees other packets than in the unstripped file" >&2
  exit 1
fi
if ! diff <(packets "$tmp/nal4.mkv" | sed 's/|size=[0-9]*|pos=[0-9]*//; s/|data_hash=.*//') \
          <(packets "$out/nal2.mkv" | sed 's/|size=[0-9]*|pos=[0-9]*//; s/|data_hash=.*//') \
          > /dev/null; then
  echo "nal2.mkv: ffprobe sees other packet times or flags than in the source" >&2
  exit 1
fi
for v in 0:v:0 0:v:1; do
  if ! cmp -s <(ffmpeg -v error -i "$tmp/nal4.mkv" -map $v -f framemd5 -) \
              <(ffmpeg -v error -i "$out/nal2.mkv" -map $v -f framemd5 -); then
    echo "nal2.mkv: track $v decodes differently" >&2
    exit 1
  fi
done

# --- Seek files ---------------------------------------------------------------------------------
ff -f lavfi -i testsrc2=size=128x96:rate=25 -t 4 -c:v libx264 -preset veryfast -crf 36 -bf 2 \
  -g 10 -keyint_min 10 -sc_threshold 0 -threads 1 -pix_fmt yuv420p "${bitexact[@]}" "$tmp/seek.mp4"
ff -f lavfi -i sine=frequency=440:sample_rate=48000 -t 4 -ac 2 -c:a aac -b:a 24k "${bitexact[@]}" \
  "$tmp/seek.m4a"
ff -f lavfi -i sine=frequency=440:sample_rate=22050 -t 4 -ac 1 -c:a libmp3lame -b:a 24k \
  "${bitexact[@]}" "$tmp/seek.mp3"
ff -i "$tmp/seek.mp4" -i "$tmp/seek.m4a" -map 0:v -map 1:a -c copy "${bitexact[@]}" \
  "$out/seek_ffmpeg.mkv"
mkv -o "$out/seek_cues.mkv" "$tmp/seek.mp4" "$tmp/seek.m4a"
mkv -o "$out/seek_nocues.mkv" --no-cues "$tmp/seek.mp4" "$tmp/seek.m4a"
mkv -o "$out/seek_audio.mka" --disable-lacing "$tmp/seek.mp3"

# --- References ----------------------------------------------------------------------------------
source ./refs.sh
for f in "$out"/*.mkv "$out"/*.mka; do
  name=$(basename "${f%.*}")
  refs "$f" "$out/ref"
  mkvinfo -o "$f" > "$out/ref/$name.mkvinfo.txt"
done

# --- Lacing report: per track, blocks by lacing kind ---------------------------------------------
python3 block_lacing.py "$out"/*.mkv "$out"/*.mka
ls -l "$out"/*.mkv "$out"/*.mka
