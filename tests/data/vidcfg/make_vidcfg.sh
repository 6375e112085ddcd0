#!/usr/bin/env bash
# Makes the codec configurations the video configuration parser is tested on: one-frame
# streams from ffmpeg, cut down to the headers the parser reads, and ffprobe's view of each
# whole stream in refs.txt.
#
# Each NAME.bin is what the front end would hand the parser:
#   H.264 / HEVC   the parameter sets, each behind 00 00 00 01 (the rewritten avcC / hvcC)
#   MPEG-4 Visual  everything before the first VOP (VOS, VO, VOL, user data)
#   MPEG-2         everything before the first GOP or picture (sequence header, extension)
#   H.263          the first 32 bytes of the picture
#   AV1            the CodecPrivate (av1C) that ffmpeg's Matroska muxer writes, and NAME.tu.bin,
#                  the first 64 bytes of the temporal unit (the frame case)
#
# refs.txt: NAME codec width height coded_width coded_height profile level. Width, height,
# profile (its name, spaces removed) and level are ffprobe's; the coded size (before cropping)
# comes from the header fields ffmpeg's trace_headers filter prints, where it knows the codec.
#
# Needs ffmpeg, ffprobe and python3. Made with Debian's ffmpeg 5.1; encoders run
# single-threaded with bit-exact flags so that a re-run gives the same bytes.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

enc() {  # enc NAME SIZE FORMAT EXT ffmpeg-output-options...
  local name=$1 size=$2 fmt=$3 ext=$4; shift 4
  ffmpeg -nostdin -loglevel error -y -f lavfi -i "testsrc2=size=$size:rate=25" -frames:v 1 \
    -threads 1 -fflags +bitexact -flags:v +bitexact "$@" -f "$fmt" "$tmp/$name.$ext"
  local probe trace
  # csv follows ffprobe's own field order: codec, profile, width, height, level
  probe=$(ffprobe -v error -select_streams v:0 -of csv=p=0 \
    -show_entries stream=codec_name,profile,width,height,level "$tmp/$name.$ext")
  trace=$(ffmpeg -nostdin -loglevel debug -i "$tmp/$name.$ext" -c copy -bsf:v trace_headers \
    -f null - 2>&1 | grep -E '(mbs|map_units|luma_samples|size_value|size_extension|frame_width|frame_height)' \
    | head -20 || true)
  python3 - "$name" "$probe" "$trace" >>"$tmp/refs.txt" <<'EOPY'
import re, sys
name, probe, trace = sys.argv[1], sys.argv[2], sys.argv[3]
codec, profile, width, height, level = probe.split(",")[:5]  # MPEG-2 adds side data
f = {}
for m in re.finditer(r"\d+\s+(\w+)(?:\[0\])?\s+[01]+ = (\d+)", trace):
    f.setdefault(m.group(1), int(m.group(2)))  # the first (sequence-level) occurrence
# The coded size as the stream's headers give it, before any cropping. trace_headers knows
# only these codecs; for the others ffprobe's size is the coded one.
if codec == "h264":
    cw = (f["pic_width_in_mbs_minus1"] + 1) * 16
    ch = (f["pic_height_in_map_units_minus1"] + 1) * 16 * (2 - f["frame_mbs_only_flag"])
elif codec == "hevc":
    cw, ch = f["pic_width_in_luma_samples"], f["pic_height_in_luma_samples"]
elif codec == "mpeg2video":
    cw = f["horizontal_size_extension"] << 12 | f["horizontal_size_value"]
    ch = f["vertical_size_extension"] << 12 | f["vertical_size_value"]
elif codec == "av1":
    cw, ch = f["max_frame_width_minus_1"] + 1, f["max_frame_height_minus_1"] + 1
else:
    cw, ch = width, height
print(name, codec, width, height, cw, ch, profile.replace(" ", "") or "-", level)
EOPY
}

cut() {  # cut NAME EXT KIND: writes NAME.bin
  python3 - "$tmp/$1.$2" "$1.bin" "$3" <<'PY'
import sys
src, dst, kind = sys.argv[1], sys.argv[2], sys.argv[3]
data = open(src, "rb").read()

def units(d):  # Annex-B units without their start codes
    starts, i = [], 0
    while True:
        i = d.find(b"\x00\x00\x01", i)
        if i < 0: break
        starts.append(i + 3); i += 3
    for n, s in enumerate(starts):
        e = starts[n + 1] - 3 if n + 1 < len(starts) else len(d)
        yield d[s:e].rstrip(b"\x00") if n + 1 < len(starts) else d[s:e]

def ebml_private(d):  # the first CodecPrivate (63 A2) of a Matroska file
    i = d.find(b"\x63\xa2")
    b = d[i + 2]; n = 1
    while not b & (0x80 >> (n - 1)): n += 1
    size = b & (0xFF >> n)
    for k in range(1, n): size = size << 8 | d[i + 2 + k]
    return d[i + 2 + n:i + 2 + n + size]

out = b""
if kind == "h264":
    out = b"".join(b"\x00\x00\x00\x01" + u for u in units(data) if u[0] & 0x1F in (7, 8))
elif kind == "hevc":
    out = b"".join(b"\x00\x00\x00\x01" + u for u in units(data) if (u[0] >> 1) & 0x3F in (32, 33, 34))
elif kind == "mpeg4":
    out = data[:data.find(b"\x00\x00\x01\xb6")]
elif kind == "mpeg2":
    ends = [p for p in (data.find(b"\x00\x00\x01\xb8"), data.find(b"\x00\x00\x01\x00")) if p >= 0]
    out = data[:min(ends)]
elif kind == "h263":
    out = data[:32]
elif kind == "av1c":
    out = ebml_private(data)
elif kind == "av1tu":
    out = data[:64]
open(dst, "wb").write(out)
PY
}

rm -f refs.txt ./*.bin
x264=(-c:v libx264 -preset veryfast -x264-params threads=1)
enc h264_1080p 1920x1080 h264 h264 "${x264[@]}" -profile:v high -level 40
enc h264_cif 352x288 h264 h264 "${x264[@]}" -profile:v baseline -level 13
enc h264_crop 200x122 h264 h264 "${x264[@]}" -profile:v main
enc h264_interlaced 720x576 h264 h264 "${x264[@]}" -flags +ildct -x264-params threads=1:tff=1
enc h264_high444 320x240 h264 h264 "${x264[@]}" -pix_fmt yuv444p10le -x264-params threads=1:cqm=jvt
for n in h264_1080p h264_cif h264_crop h264_interlaced h264_high444; do cut $n h264 h264; done

x265=(-c:v libx265 -preset ultrafast -x265-params pools=none:frame-threads=1:log-level=error)
enc hevc_1080p 1920x1080 hevc hevc "${x265[@]}"
enc hevc_crop 200x100 hevc hevc "${x265[@]}"
enc hevc_main10 416x240 hevc hevc "${x265[@]}" -pix_fmt yuv420p10le
for n in hevc_1080p hevc_crop hevc_main10; do cut $n hevc hevc; done

enc mpeg4_qcif 176x144 m4v m4v -c:v mpeg4
enc mpeg4_dp 640x480 m4v m4v -c:v mpeg4 -data_partitioning 1
enc mpeg4_asp 320x240 m4v m4v -c:v mpeg4 -flags +qpel+ildct -mpeg_quant 1 -vtag XVID
for n in mpeg4_qcif mpeg4_dp mpeg4_asp; do cut $n m4v mpeg4; done

enc h263_sqcif 128x96 h263 h263 -c:v h263
enc h263_cif 352x288 h263 h263 -c:v h263
enc h263p_custom 320x240 h263 h263 -c:v h263p
enc h263p_qcif 176x144 h263 h263 -c:v h263p
for n in h263_sqcif h263_cif h263p_custom h263p_qcif; do cut $n h263 h263; done

enc mpeg2_pal 720x576 mpeg2video m2v -c:v mpeg2video
enc mpeg2_1080 1920x1080 mpeg2video m2v -c:v mpeg2video -profile:v 4 -level:v 4
for n in mpeg2_pal mpeg2_1080; do cut $n m2v mpeg2; done

aom=(-c:v libaom-av1 -cpu-used 8 -row-mt 0 -tiles 1x1)
enc av1_qvga 320x240 matroska mkv "${aom[@]}"
enc av1_720p 1280x720 matroska mkv "${aom[@]}"
for n in av1_qvga av1_720p; do
  cut $n mkv av1c
  ffmpeg -nostdin -loglevel error -y -i "$tmp/$n.mkv" -c copy -f obu "$tmp/$n.obu"
  python3 -c "import sys; open('$n.tu.bin','wb').write(open('$tmp/$n.obu','rb').read()[:64])"
done

mv "$tmp/refs.txt" refs.txt
cat refs.txt
du -cb ./*.bin refs.txt | tail -1
