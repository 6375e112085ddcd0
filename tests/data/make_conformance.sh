#!/usr/bin/env bash
# Makes the conformance corpus under conformance/: small Matroska files written by the muxers
# people really use (ffmpeg's and mkvmerge's), with ffprobe's view of each under
# conformance/ref/, and damaged copies of a few of them under conformance/damaged/. The
# end-to-end test runs the extractor over every file and compares what it gives with ffprobe.
#
# Same conventions as make_corpus.sh: every encoder runs single-threaded with bit-exact flags,
# mkvmerge runs with a fixed seed and no date, so a re-run gives the same bytes with the same
# tool versions (made with ffmpeg 5.1.9 and mkvmerge v74). Needs ffmpeg, ffprobe, mkvmerge,
# mkvinfo and python3. conformance/README.md says what each file really holds, as checked with
# mkvinfo; the script prints the facts it is checked against at its end.
#
# File                         muxer     what it covers
# h264_aac_mkvmerge.mkv        mkvmerge  H.264 with B-frames, AAC, MP3, AC-3, SRT, ASS; lacing;
#                                        DefaultDuration on video; 3 audio tracks with languages
#                                        and names; title, global and track tags, chapters, an
#                                        attachment; Cues at the end
# propedit_chain_mkvmerge.mkv  mkvpropedit h264_nolacing_mkvmerge.mkv with tags, a cover and a
#                                        title added in place: a chain of two SeekHeads
# h264_nolacing_mkvmerge.mkv   mkvmerge  H.264 without B-frames, AAC, Opus; --disable-lacing;
#                                        no Cues
# h264_ffmpeg.mkv              ffmpeg    H.264 with B-frames, AAC, SRT, ASS; subtitles in
#                                        BlockGroups with BlockDuration; DiscardPadding; Cues in
#                                        front; tiny Clusters; CRC-32 elements; tags, chapters
# h264_pipe_ffmpeg.mkv         ffmpeg    written to a pipe: Segment of unknown size, no Cues;
#                                        H.264 without B-frames, MP3
# hevc_hdr_mkvmerge.mkv        mkvmerge  HEVC Main 10 with B-frames and colour/mastering
#                                        metadata set by mkvmerge; E-AC-3
# vp8_vorbis_ffmpeg.mkv        ffmpeg    VP8, Vorbis
# vp9_flac_mkvmerge.mkv        mkvmerge  VP9, FLAC; TimestampScale 100000; 1-2 blocks a Cluster
# av1_opus_mkvmerge.mkv        mkvmerge  AV1 (libaom), Opus; BlockGroups only (no_simpleblocks)
# mpeg4_mp2_mkvmerge.mkv       mkvmerge  MPEG-4 ASP video with B-frames (native mode), MP2
# mpeg2_ac3_ffmpeg.mkv         ffmpeg    MPEG-2 video with B-frames, AC-3
# mpeg1_mp2_ffmpeg.mkv         ffmpeg    MPEG-1 video with B-frames (V_MPEG1), MP2
# h263_pcm_ffmpeg.mkv          ffmpeg    H.263 at 128x96, 16-bit PCM
# zlib_mkvmerge.mkv            mkvmerge  MP3 and SRT, both zlib-compressed (ContentEncoding)
# hevc_hdr_ffmpeg.mkv          ffmpeg    hevc_hdr_mkvmerge.mkv remuxed: doubles for the mastering
#                                        values, DisplayUnit 3 (2:1)
# delayed_audio_mkvmerge.mkv   mkvmerge  H.264 (2 s), AAC delayed by 25 s (--sync)
# av1_nocues_mkvmerge.mkv      mkvmerge  av1_opus_mkvmerge.mkv without Cues
# mpeg2_nocues_mkvmerge.mkv    mkvmerge  mpeg2_ac3_ffmpeg.mkv without Cues
# delayed_audio_nocues_mkvmerge.mkv mkvmerge delayed_audio_mkvmerge.mkv without Cues
# laced_audio_mkvmerge.mka     mkvmerge  Opus, Vorbis, AAC, 8 frames a block
# laced_audio_nodd_mkvmerge.mka (propedit) the same without DefaultDurations
# h264_opengop_mkvmerge.mkv    mkvmerge  open-GOP H.264 (one IDR, then I-frames with a recovery
#                                        point), no Cues
# vfw_mpeg4_mkvmerge.mkv       mkvmerge  MPEG-4 ASP from AVI in VfW mode, its VOL after the
#                                        BITMAPINFOHEADER only (global headers)
# vfw_mpeg4_stripped_mkvmerge.mkv (rewrite) the same with header stripping (00 00 01)
# mjpeg_mp3_ffmpeg.mkv         ffmpeg    MJPEG (a codec the extractor does not take), MP3
# pcm_ffmpeg.mka               ffmpeg    PCM u8, s16le, s24le, s32le, f32le, s16be, s24be,
#                                        s32be, one track each with language and name
# cover_art_mkvmerge.mka       mkvmerge  FLAC with three attachments: a font, a PNG, a JPEG cover
# unknown_clusters_ffmpeg.mkv  (rewrite) h264_ffmpeg.mkv with every Cluster of unknown size
# pcm_mkvmerge.mka             mkvmerge  PCM u8, s16le, s24le, s32le, f32le from WAV and the
#                                        big-endian ones from pcm_ffmpeg.mka; audio only, so
#                                        TimestampScale is not 1 ms
# vp9_opus.webm                ffmpeg    WebM (DocType webm): the extractor must not claim it
# damaged/                     script    truncated and byte-flipped copies of four of the above
set -euo pipefail
cd "$(dirname "$0")"
out=conformance
# Only what the script makes goes; README.md stays.
rm -rf "$out/ref" "$out/damaged"
rm -f "$out"/*.mkv "$out"/*.mka "$out"/*.webm
mkdir -p "$out/ref" "$out/damaged" "$out/ref/damaged"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

ff() { ffmpeg -v error -y -nostdin "$@"; }
mkv() { mkvmerge -q --deterministic 20240501 --no-date --disable-track-statistics-tags "$@"; }
bitexact=(-fflags +bitexact -flags:v +bitexact -flags:a +bitexact)
video=(-f lavfi -t 2 -i testsrc2=size=160x90:rate=25)
stereo=(-f lavfi -t 2 -i sine=frequency=440:sample_rate=48000 -ac 2)
mono=(-f lavfi -t 2 -i sine=frequency=660:sample_rate=44100 -ac 1)
x264=(-c:v libx264 -preset veryfast -crf 34 -g 25 -threads 1 -pix_fmt yuv420p)

# --- Sources -------------------------------------------------------------------------------------
ff "${video[@]}" "${x264[@]}" -bf 2 "${bitexact[@]}" "$tmp/h264_bf.mp4"
ff "${video[@]}" "${x264[@]}" -bf 0 "${bitexact[@]}" "$tmp/h264_nobf.mp4"
# 10-bit HEVC that carries the same HDR description in its own SEI as mkvmerge puts in the
# container, as real HDR files do.
ff "${video[@]}" -c:v libx265 -preset fast -crf 34 -pix_fmt yuv420p10le \
  -x265-params "log-level=error:bframes=2:keyint=25:pools=1:frame-threads=1:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:range=limited:hdr10=1:master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,50):max-cll=1000,400" \
  "${bitexact[@]}" -f hevc "$tmp/hevc10.hevc"
ff "${video[@]}" -c:v libvpx -b:v 80k -deadline good -cpu-used 4 -threads 1 -g 25 \
  "${bitexact[@]}" "$tmp/vp8.webm"
ff "${video[@]}" -c:v libvpx-vp9 -b:v 60k -deadline good -cpu-used 4 -threads 1 -g 25 \
  "${bitexact[@]}" "$tmp/vp9.webm"
ff "${video[@]}" -c:v libaom-av1 -cpu-used 8 -crf 45 -b:v 0 -threads 1 -row-mt 0 -g 25 \
  "${bitexact[@]}" -f ivf "$tmp/av1.ivf"
ff "${video[@]}" -c:v mpeg4 -q:v 10 -g 12 -bf 1 "${bitexact[@]}" "$tmp/mpeg4.avi"
# The same with global headers: the VOL goes into the AVI's stream format, not the frames.
ff "${video[@]}" -c:v mpeg4 -q:v 10 -g 12 -bf 1 -fflags +bitexact -flags:v +bitexact+global_header \
  "$tmp/mpeg4_gh.avi"
ff "${stereo[@]}" -c:a aac -b:a 48k "${bitexact[@]}" "$tmp/a.m4a"
ff "${mono[@]}" -c:a aac -b:a 32k "${bitexact[@]}" "$tmp/mono.m4a"
ff "${stereo[@]}" -c:a libopus -b:a 32k "${bitexact[@]}" "$tmp/a.opus"
ff "${mono[@]}" -c:a libmp3lame -b:a 32k "${bitexact[@]}" "$tmp/a.mp3"
ff "${stereo[@]}" -c:a ac3 -b:a 64k "${bitexact[@]}" "$tmp/a.ac3"
ff "${stereo[@]}" -c:a eac3 -b:a 64k "${bitexact[@]}" "$tmp/a.eac3"
ff -f lavfi -t 2 -i sine=frequency=550:sample_rate=32000 -ac 1 -c:a mp2 -b:a 48k \
  "${bitexact[@]}" "$tmp/a.mp2"
ff -f lavfi -t 2 -i sine=frequency=440:sample_rate=22050 -ac 1 -c:a flac -frame_size 1152 \
  "${bitexact[@]}" "$tmp/a.flac"
ff -f lavfi -t 2 -i sine=frequency=330:sample_rate=22050 -ac 1 -c:a libvorbis -q:a 1 \
  "${bitexact[@]}" "$tmp/a.ogg"
# Half a second of 8 kHz mono per PCM kind keeps the PCM files small.
pcm_in=(-f lavfi -t 0.5 -i sine=frequency=500:sample_rate=8000 -ac 1)
for c in pcm_u8 pcm_s16le pcm_s24le pcm_s32le pcm_f32le; do
  ff "${pcm_in[@]}" -c:a $c "${bitexact[@]}" "$tmp/$c.wav"
done

cat > "$tmp/subs.srt" <<'SRT'
1
00:00:00,100 --> 00:00:00,600
Hello

2
00:00:01,200 --> 00:00:01,800
Zweite Zeile, über zwei Wörter
SRT
cat > "$tmp/subs.ass" <<'ASS'
[Script Info]
ScriptType: v4.00+
PlayResX: 160
PlayResY: 90

[V4+ Styles]
Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding
Style: Default,Arial,12,&H00FFFFFF,&H000000FF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,1,0,2,5,5,5,1

[Events]
Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text
Dialogue: 0,0:00:00.20,0:00:00.90,Default,,0,0,0,,First {\i1}styled{\i0} line
Dialogue: 0,0:00:01.00,0:00:01.70,Default,,0,0,0,,Second line
ASS
printf 'Attached notes for the conformance corpus.\n' > "$tmp/notes.txt"
cat > "$tmp/global_tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags>
  <Tag>
    <Targets><TargetTypeValue>50</TargetTypeValue></Targets>
    <Simple><Name>ARTIST</Name><String>Conformance Artist</String></Simple>
    <Simple><Name>DATE_RELEASED</Name><String>2024</String></Simple>
  </Tag>
</Tags>
XML
cat > "$tmp/track_tags.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Tags>
  <Tag>
    <Targets><TargetTypeValue>50</TargetTypeValue></Targets>
    <Simple><Name>TITLE</Name><String>Director's comments</String></Simple>
  </Tag>
</Tags>
XML
cat > "$tmp/chapters.txt" <<'CH'
CHAPTER01=00:00:00.000
CHAPTER01NAME=Start
CHAPTER02=00:00:01.000
CHAPTER02NAME=Middle
CH
cat > "$tmp/meta.txt" <<'META'
;FFMETADATA1
title=ffmpeg conformance clip
artist=Conformance Artist
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

# --- mkvmerge files -------------------------------------------------------------------------------
mkv -o "$out/h264_aac_mkvmerge.mkv" --title "H.264 and friends" \
  --global-tags "$tmp/global_tags.xml" --chapter-language eng --chapters "$tmp/chapters.txt" \
  --attachment-mime-type text/plain --attachment-description "Notes" \
  --attach-file "$tmp/notes.txt" \
  --track-name 0:"Pattern" --default-duration 0:25fps "$tmp/h264_bf.mp4" \
  --language 0:eng --track-name 0:"Main" "$tmp/a.m4a" \
  --language 0:ger --track-name 0:"Kommentar" --tags 0:"$tmp/track_tags.xml" "$tmp/a.mp3" \
  --language 0:fre --track-name 0:"Français" --default-track-flag 0:no "$tmp/a.ac3" \
  --language 0:spa --track-name 0:"Subtítulos" "$tmp/subs.srt" \
  --language 0:eng --track-name 0:"Styled" "$tmp/subs.ass"

mkv -o "$out/h264_nolacing_mkvmerge.mkv" --disable-lacing --no-cues "$tmp/h264_nobf.mp4" \
  --language 0:eng "$tmp/a.m4a" --language 0:ita "$tmp/a.opus"

mkv -o "$out/hevc_hdr_mkvmerge.mkv" --default-duration 0:25fps \
  --color-matrix-coefficients 0:9 --color-bits-per-channel 0:10 --color-range 0:1 \
  --color-transfer-characteristics 0:16 --color-primaries 0:9 \
  --max-content-light 0:1000 --max-frame-light 0:400 \
  --chromaticity-coordinates 0:0.68,0.32,0.265,0.69,0.15,0.06 \
  --white-color-coordinates 0:0.3127,0.329 --max-luminance 0:1000 --min-luminance 0:0.005 \
  "$tmp/hevc10.hevc" --language 0:eng "$tmp/a.eac3"

mkv -o "$out/vp9_flac_mkvmerge.mkv" --timestamp-scale 100000 --cluster-length 1 \
  "$tmp/vp9.webm" --language 0:eng "$tmp/a.flac"

mkv -o "$out/av1_opus_mkvmerge.mkv" --engage no_simpleblocks "$tmp/av1.ivf" \
  --language 0:eng "$tmp/a.opus"

# zlib on every track, as older mkvmerge versions did for subtitles by default.
mkv -o "$out/zlib_mkvmerge.mkv" --compression 0:zlib --language 0:ger "$tmp/a.mp3" \
  --compression 0:zlib --language 0:spa "$tmp/subs.srt"

# Audio delayed by 25 s: its first block lies 23 s after the video's last.
mkv -o "$out/delayed_audio_mkvmerge.mkv" "$tmp/h264_nobf.mp4" --sync 0:25000 --language 0:eng \
  "$tmp/a.m4a"

mkv -o "$out/mpeg4_mp2_mkvmerge.mkv" --engage native_mpeg4 "$tmp/mpeg4.avi" \
  --language 0:eng "$tmp/a.mp2"

# MPEG-4 from AVI as mkvmerge keeps it by default: V_MS/VFW/FOURCC, the BITMAPINFOHEADER followed
# by the VOL, none in the frames; and a copy with the frames' leading 00 00 01 stripped.
mkv -o "$out/vfw_mpeg4_mkvmerge.mkv" "$tmp/mpeg4_gh.avi"
python3 rewrite_mkv.py "$out/vfw_mpeg4_mkvmerge.mkv" "$out/vfw_mpeg4_stripped_mkvmerge.mkv" \
  1=strip:000001

# Music with its cover: a font and a back picture attached before the cover, which is the one
# to publish. The cover is kept beside the references to compare the published bytes with.
ff -f lavfi -i testsrc2=size=96x96 -frames:v 1 "${bitexact[@]}" -c:v mjpeg "$out/ref/cover_art.jpg"
ff -f lavfi -i testsrc2=size=48x48 -frames:v 1 "${bitexact[@]}" -c:v png "$tmp/back.png"
printf '\000\001\000\000not really a font, only its bytes\n' > "$tmp/Font.ttf"
mkv -o "$out/cover_art_mkvmerge.mka" --language 0:eng "$tmp/a.flac" \
  --attachment-mime-type application/x-truetype-font --attach-file "$tmp/Font.ttf" \
  --attachment-mime-type image/png --attachment-name back.png --attach-file "$tmp/back.png" \
  --attachment-mime-type image/jpeg --attachment-name Cover.jpg \
  --attach-file "$out/ref/cover_art.jpg"

# A finished file edited in place by mkvpropedit: tags, a cover and a longer title. Its SeekHead
# has no room for the new entries, so it names a second SeekHead that mkvpropedit writes at the
# end of the file, beside the Tags.
cp "$out/h264_nolacing_mkvmerge.mkv" "$out/propedit_chain_mkvmerge.mkv"
printf '%s' '<?xml version="1.0"?><Tags><Tag><Targets/>' \
  '<Simple><Name>ARTIST</Name><String>Prop Artist</String></Simple>' \
  '<Simple><Name>ALBUM</Name><String>Prop Album</String></Simple></Tag></Tags>' > "$tmp/tags.xml"
mkvpropedit -q "$out/propedit_chain_mkvmerge.mkv" --tags global:"$tmp/tags.xml" \
  --attachment-name cover.jpg --attachment-uid 1 --add-attachment "$out/ref/cover_art.jpg" \
  --edit info --set "title=A title written in place by mkvpropedit"

# --- ffmpeg files ---------------------------------------------------------------------------------
# Cues moved to the front; a new Cluster after 200 ms or 2000 bytes, whichever comes first.
ff -i "$tmp/h264_bf.mp4" -i "$tmp/a.m4a" -i "$tmp/subs.srt" -i "$tmp/subs.ass" -i "$tmp/meta.txt" \
  -map 0:v -map 1:a -map 2:s -map 3:s -map_metadata 4 -map_chapters 4 -c copy \
  -c:s:0 srt -c:s:1 ass -metadata:s:a:0 language=eng -metadata:s:a:0 title="Main" \
  -metadata:s:s:0 language=fre -metadata:s:s:1 language=eng -metadata:s:s:1 title="Styled" \
  -cues_to_front 1 -cluster_time_limit 200 -cluster_size_limit 2000 \
  "${bitexact[@]}" "$out/h264_ffmpeg.mkv"

# To a pipe: ffmpeg cannot seek back, so the Segment keeps an unknown size and there are no Cues.
ff -i "$tmp/h264_nobf.mp4" -i "$tmp/a.mp3" -map 0:v -map 1:a -c copy \
  -metadata:s:a:0 language=ger "${bitexact[@]}" -f matroska - > "$out/h264_pipe_ffmpeg.mkv"

ff -i "$tmp/vp8.webm" -i "$tmp/a.ogg" -map 0:v -map 1:a -c copy -metadata:s:a:0 language=eng \
  "${bitexact[@]}" "$out/vp8_vorbis_ffmpeg.mkv"

ff "${video[@]}" -i "$tmp/a.ac3" -map 0:v -map 1:a -c:v mpeg2video -q:v 8 -g 12 -bf 2 -c:a copy \
  "${bitexact[@]}" "$out/mpeg2_ac3_ffmpeg.mkv"

ff "${video[@]}" "${stereo[@]}" -map 0:v -map 1:a -c:v mpeg1video -q:v 10 -g 12 -bf 2 -c:a mp2 -b:a 64k \
  "${bitexact[@]}" "$out/mpeg1_mp2_ffmpeg.mkv"

ff -f lavfi -t 2 -i testsrc2=size=128x96:rate=25 "${pcm_in[@]}" -map 0:v -map 1:a \
  -c:v h263 -q:v 10 -g 25 -c:a pcm_s16le "${bitexact[@]}" "$out/h263_pcm_ffmpeg.mkv"

ff -f lavfi -t 1 -i testsrc2=size=160x90:rate=10 -i "$tmp/a.mp3" -map 0:v -map 1:a \
  -c:v mjpeg -q:v 12 -pix_fmt yuvj420p -c:a copy "${bitexact[@]}" "$out/mjpeg_mp3_ffmpeg.mkv"

pcm_kinds=(pcm_u8 pcm_s16le pcm_s24le pcm_s32le pcm_f32le pcm_s16be pcm_s24be pcm_s32be)
pcm_args=()
for i in "${!pcm_kinds[@]}"; do
  pcm_args+=(-map 0:a -c:a:$i "${pcm_kinds[$i]}" -metadata:s:a:$i title="${pcm_kinds[$i]}")
done
langs=(eng ger fre spa ita jpn por nld)
for i in "${!langs[@]}"; do pcm_args+=(-metadata:s:a:$i language="${langs[$i]}"); done
ff "${pcm_in[@]}" "${pcm_args[@]}" "${bitexact[@]}" "$out/pcm_ffmpeg.mka"

mkv -o "$out/pcm_mkvmerge.mka" \
  --language 0:eng --track-name 0:"u8" "$tmp/pcm_u8.wav" \
  --language 0:ger --track-name 0:"s16le" "$tmp/pcm_s16le.wav" \
  --language 0:fre --track-name 0:"s24le" "$tmp/pcm_s24le.wav" \
  --language 0:spa --track-name 0:"s32le" "$tmp/pcm_s32le.wav" \
  --language 0:ita --track-name 0:"f32le" "$tmp/pcm_f32le.wav" \
  -a 5,6,7 "$out/pcm_ffmpeg.mka"

ff -i "$tmp/vp9.webm" -i "$tmp/a.opus" -map 0:v -map 1:a -c copy "${bitexact[@]}" \
  -f webm "$out/vp9_opus.webm"

# --- Clusters of unknown size ---------------------------------------------------------------------
# No muxer here writes them (see README.md), so h264_ffmpeg.mkv is rewritten: every Cluster's
# 2-byte size field becomes the 2-byte unknown size (7f ff). Nothing moves, so its Cues and
# CRC-32 elements stay right, and ffprobe reads the same packets from it.
python3 - "$out/h264_ffmpeg.mkv" "$out/unknown_clusters_ffmpeg.mkv" <<'PY'
import sys
data = bytearray(open(sys.argv[1], 'rb').read())
at, count = 0, 0
while True:
    at = data.find(bytes.fromhex('1f43b675'), at)
    if at < 0:
        break
    assert data[at + 4] & 0xC0 == 0x40, 'a Cluster size that is not 2 bytes wide'
    data[at + 4:at + 6] = b'\x7f\xff'
    at += 6
    count += 1
open(sys.argv[2], 'wb').write(data)
print('unknown_clusters_ffmpeg.mkv: %d Clusters of unknown size' % count)
PY

# The HDR10 file as ffmpeg remuxes it: mastering values as doubles, a 2:1 display aspect ratio
# (DisplayUnit 3) over the 160x90 picture.
ff -i "$out/hevc_hdr_mkvmerge.mkv" -map 0:v -c copy -aspect 2:1 -fflags +bitexact \
  "$out/hevc_hdr_ffmpeg.mkv"

# Without Cues, key frames the bitstream cannot tell: AV1 and MPEG-2 remuxed with --no-cues,
# and open-GOP H.264 whose later key frames are I-frames with a recovery point, not IDR.
mkv -o "$out/av1_nocues_mkvmerge.mkv" --no-cues "$out/av1_opus_mkvmerge.mkv"
mkv -o "$out/mpeg2_nocues_mkvmerge.mkv" --no-cues "$out/mpeg2_ac3_ffmpeg.mkv"
mkv -o "$out/delayed_audio_nocues_mkvmerge.mkv" --no-cues "$out/delayed_audio_mkvmerge.mkv"
ff -f lavfi -t 3 -i testsrc2=size=160x90:rate=25 -c:v libx264 -preset veryfast -crf 34 -threads 1 \
  -pix_fmt yuv420p -bf 2 -x264-params open-gop=1:keyint=25:min-keyint=25:scenecut=0 \
  "${bitexact[@]}" "$tmp/opengop.h264"
mkv -o "$out/h264_opengop_mkvmerge.mkv" --no-cues --default-duration 0:25fps "$tmp/opengop.h264"

# Opus, Vorbis and AAC as mkvmerge laces them (8 frames a block), with the DefaultDuration it
# writes for Opus and AAC, and a copy whose DefaultDurations mkvpropedit removed.
mkv -o "$out/laced_audio_mkvmerge.mka" --language 0:eng "$tmp/a.opus" --language 0:eng \
  "$tmp/a.ogg" --language 0:eng "$tmp/a.m4a"
cp "$out/laced_audio_mkvmerge.mka" "$out/laced_audio_nodd_mkvmerge.mka"
mkvpropedit -q "$out/laced_audio_nodd_mkvmerge.mka" --edit track:1 --delete default-duration \
  --edit track:3 --delete default-duration

# --- Damaged copies -------------------------------------------------------------------------------
# Each source cut inside its header (200 bytes) and at 10, 50 and 90 % of its size, and copied
# with bytes inverted at fixed places: in the SeekHead and the size of Tracks (flip_head), and
# in frames and the size of the second Cluster (flip_data).
python3 - "$out" h264_aac_mkvmerge.mkv h264_ffmpeg.mkv hevc_hdr_mkvmerge.mkv \
  mpeg4_mp2_mkvmerge.mkv <<'PY'
import os, sys
out = sys.argv[1]
for name in sys.argv[2:]:
    data = open(os.path.join(out, name), 'rb').read()
    stem, ext = os.path.splitext(name)
    def write(tag, blob):
        with open(os.path.join(out, 'damaged', '%s.%s%s' % (stem, tag, ext)), 'wb') as f:
            f.write(blob)
    write('trunc200', data[:200])
    for pct in (10, 50, 90):
        write('trunc%d' % pct, data[:len(data) * pct // 100])
    def flipped(offsets):
        b = bytearray(data)
        for o in offsets:
            b[o] ^= 0xFF
        return bytes(b)
    def size_end(element_id, nth):
        # Last byte of the size of the nth element with this ID, skipping the copies of the ID
        # that SeekHead entries hold (those follow a SeekID header, 53 AB 84).
        pos, seen = -1, -1
        while seen < nth:
            pos = data.index(element_id, pos + 1)
            if data[pos - 3:pos] != bytes.fromhex('53ab84'):
                seen += 1
        pos += len(element_id)
        return pos + width(data[pos]) - 1
    def width(first):
        return next(i for i in range(8) if first & (0x80 >> i)) + 1
    n = len(data)
    # In the SeekHead, and the size of Tracks.
    head = [100, size_end(bytes.fromhex('1654ae6b'), 0)]
    # Frame bytes at three places, and the size of the second Cluster.
    body = [n * 30 // 100, n * 55 // 100, n * 55 // 100 + 1, n * 80 // 100,
            size_end(bytes.fromhex('1f43b675'), 1)]
    write('flip_head', flipped(head))
    write('flip_data', flipped(body))
    print('%s: flip_head at %s, flip_data at %s' % (name, head, body))
PY

# --- References -----------------------------------------------------------------------------------
# streams: ffprobe's JSON for the streams and the format. packets: one CSV line per packet,
# stream_index,pts,dts,duration,size,pos,flags,data_hash (ffprobe's own field order).
source ./refs.sh
for f in "$out"/*.mkv "$out"/*.mka "$out"/*.webm; do refs "$f" "$out/ref"; done
for f in "$out"/damaged/*; do refs "$f" "$out/ref/damaged" 2>/dev/null; done

# --- Facts the README states, from mkvinfo ------------------------------------------------------------
python3 - "$out"/*.mkv "$out"/*.mka "$out"/*.webm <<'PY'
import re, sys
from block_lacing import block_kinds, listing_of, report, width

for path in sys.argv[1:]:
    data = open(path, 'rb').read()
    listing = listing_of(path)
    kinds = block_kinds(data, listing, with_kind=True)
    scale = re.search(r'Timestamp scale: (\d+)', listing)
    doctype = re.search(r'Document type: (\w+)', listing).group(1)
    def crc_first(section):
        # mkvinfo hides CRC-32 elements; one sits as the first child when its header is
        # followed by 0xBF.
        m = re.search(section + r' at (\d+)', listing)
        if not m:
            return False
        pos = int(m.group(1)) + 4
        return data[pos + width(data[pos])] == 0xBF
    cues = re.search(r'\+ Cues at (\d+)', listing)
    first_cluster = re.search(r'\+ Cluster at (\d+)', listing)
    facts = [
        'doctype=' + doctype,
        'scale=' + (scale.group(1) if scale else '1000000(default)'),
        'segment=' + ('unknown' if re.search(r'Segment: size unknown', listing) else 'sized'),
        'clusters=%d' % listing.count('+ Cluster at'),
        'unknown_clusters=%d' % len(re.findall(r'Cluster: size unknown', listing)),
        'cues=' + ('none' if not cues else
                   'front' if int(cues.group(1)) < int(first_cluster.group(1)) else 'end'),
        'blockdurations=%d' % listing.count('Block duration'),
        'crc32_in_info=%s' % crc_first(r'Segment information'),
        'simple_tags=%d' % len(re.findall(r'\+ Simple at', listing)),
        'chapters=%d' % listing.count('+ Chapter atom'),
        'attachments=%d' % listing.count('+ Attached'),
    ]
    tinfo = []
    tracks = re.search(r'\|\+ Tracks at \d+\n(.*?)\n\|\+ ', listing, re.S).group(1)
    for t in re.split(r'\| \+ Track at \d+\n', tracks)[1:]:
        num = re.search(r'Track number: (\d+)', t)
        codec = re.search(r'Codec ID: (\S+)', t)
        lang = re.search(r'Language: (\S+)', t)
        name = re.search(r'Name: (.*?) at \d+', t)
        dd = 'dd' if 'Default duration' in t else 'nodd'
        tinfo.append('%s:%s:%s:%s:%s%s' % (num.group(1), codec.group(1),
                                          lang.group(1) if lang else 'eng(default)', dd,
                                          '"%s"' % name.group(1) if name else '-',
                                          ':colour' if 'Video colour' in t or 'Video color' in t
                                          else ''))
    print(path)
    print('  ' + ' '.join(facts))
    print('  tracks ' + ' '.join(tinfo))
    print('  blocks ' + report(kinds))
PY
du -b "$out"/*.mkv "$out"/*.mka "$out"/*.webm
du -sb "$out"
