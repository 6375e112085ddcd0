#!/usr/bin/env python3
"""Decodes what the plug-in hands out and what ffmpeg reads from the same file, and compares.

For every video track and every AAC, MP3, MP2, AC-3, E-AC-3, FLAC, Opus and Vorbis track of
each file the plug-in opens, `qmkvprobe --extract` writes the track as a raw stream (Annex-B,
IVF, ADTS, ...); ffmpeg decodes that stream and, separately, the same track of the original
file, each to one MD5 per decoded frame (framemd5). The MD5 columns must be equal, frame for
frame and in order. Timestamps are not compared: a raw stream has none of the container's.

Opus and Vorbis have no raw form ffmpeg reads; their extracted payloads are cut back into
packets by the sizes `qmkvprobe --json` reports and wrapped in Ogg here, behind headers made
from the track's codec-specific data.

PCM tracks, which the plug-in hands out converted to the sample format its pcm-encoding key
names, must equal ffmpeg's conversion of the track to that format, sample for sample (a raw
PCM stream has no frames of its own, so the whole stream is compared).

Tracks of other codecs are listed with the reason they are not compared.

usage: decode_check.py [--probe QMKVPROBE] [--ffmpeg FFMPEG] [--ffprobe FFPROBE]
                       [--keep DIR] [FILE ...]
Without FILEs, the repository's corpus: tests/data/conformance/*.mk[va],
tests/data/corpus/*.mk[va] and samples/sample.mkv. QMKVPROBE defaults to build/native/qmkvprobe.

Exit status: 0 every compared track decodes the same; 1 a track differs or could not be
compared; 2 usage error; 77 ffmpeg or ffprobe is not installed (nothing was checked).
"""

import argparse
import glob
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TIMEOUT = 60  # seconds for any one program run; the corpus files are a few seconds long

# What the plug-in publishes (MIME) -> short name, ffmpeg's demuxer for the extracted raw
# stream, and the codec names ffprobe gives the same track in the container.
COMPARED = {
    "video/avc": ("h264", "h264", {"h264"}),
    "video/hevc": ("hevc", "hevc", {"hevc"}),
    "video/x-vnd.on2.vp8": ("vp8", "ivf", {"vp8"}),
    "video/x-vnd.on2.vp9": ("vp9", "ivf", {"vp9"}),
    "video/av01": ("av1", "ivf", {"av1"}),
    "video/mp4v-es": ("mpeg4", "m4v", {"mpeg4"}),
    "video/mpeg2": ("mpeg2", "mpegvideo", {"mpeg2video", "mpeg1video"}),
    "video/3gpp": ("h263", "h263", {"h263"}),
    "audio/mp4a-latm": ("aac", "aac", {"aac"}),
    "audio/mpeg": ("mp3", "mp3", {"mp3"}),
    "audio/mpeg-L2": ("mp2", "mp3", {"mp2"}),  # ffmpeg's mp3 demuxer reads layer 2 as well
    "audio/ac3": ("ac3", "ac3", {"ac3"}),
    "audio/eac3": ("eac3", "eac3", {"eac3"}),
    "audio/flac": ("flac", "flac", {"flac"}),
    "audio/opus": ("opus", "ogg", {"opus"}),  # wrapped in Ogg by this script
    "audio/vorbis": ("vorbis", "ogg", {"vorbis"}),  # likewise
}

# Codecs that are published but not compared, and why.
NOT_COMPARED = {
    "application/x-subrip": "subtitles are text, not decoded",
    "text/x-ass": "subtitles are text, not decoded",
    "text/vtt": "subtitles are text, not decoded",
}


def run(cmd, **kwargs):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=TIMEOUT, **kwargs)


def last_line(data):
    """The last line a program wrote to stderr: where ffmpeg says why it stopped."""
    text = data.decode("utf-8", "replace").strip()
    return text.splitlines()[-1] if text else "(no message)"


def frame_md5s(ffmpeg, input_args, stream):
    """Decodes one stream to a list of per-frame MD5s, or raises RuntimeError."""
    # One thread: reproducible and light on a shared machine. skip_manual keeps the decoder
    # from trimming priming and padding samples, which the container (CodecDelay,
    # DiscardPadding) and a raw stream (an MP3 Info header) express differently.
    cmd = [ffmpeg, "-nostdin", "-v", "error", "-threads", "1", "-flags2", "+skip_manual"]
    cmd += input_args
    cmd += ["-map", "0:%d" % stream, "-fps_mode", "passthrough", "-f", "framemd5", "-"]
    done = run(cmd)
    if done.returncode != 0:
        raise RuntimeError("ffmpeg failed: " + last_line(done.stderr))
    hashes = []
    for line in done.stdout.decode("ascii", "replace").splitlines():
        if line.startswith("#") or not line.strip():
            continue
        hashes.append(line.rsplit(",", 1)[-1].strip())
    return hashes


# The plug-in's PCM sample formats (pcm-encoding) -> ffmpeg's raw format and codec, bytes a
# sample.
PCM_FORMATS = {
    2: ("s16le", "pcm_s16le", 2),
    3: ("u8", "pcm_u8", 1),
    4: ("f32le", "pcm_f32le", 4),
}


def converted_pcm(ffmpeg, path, stream, pcm_format, pcm_codec):
    """The stream's samples as ffmpeg converts them to one raw format, or raises RuntimeError."""
    done = run([ffmpeg, "-nostdin", "-v", "error", "-i", path, "-map", "0:%d" % stream,
                "-f", pcm_format, "-c:a", pcm_codec, "-"])
    if done.returncode != 0:
        raise RuntimeError("ffmpeg failed: " + last_line(done.stderr))
    return done.stdout


def ogg_crc(data):
    crc = 0
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = ((crc << 1) ^ 0x04C11DB7 if crc & 0x80000000 else crc << 1) & 0xFFFFFFFF
    return crc


class OggWriter:
    """One logical Ogg stream: each packet starts a page (continued on further pages when it
    needs more than 255 lacing values)."""

    def __init__(self, out):
        self.out = out
        self.sequence = 0

    def packet(self, data, granule, first=False, last=False):
        lacing = [255] * (len(data) // 255) + [len(data) % 255]
        at = 0
        continued = False
        while True:
            values, lacing = lacing[:255], lacing[255:]
            body = data[at:at + sum(values)]
            at += len(body)
            flags = (1 if continued else 0) | (2 if first and not continued else 0)
            if not lacing and last:
                flags |= 4
            # A page on which the packet does not end has no granule position (-1).
            page_granule = granule if not lacing else -1
            header = b"OggS" + bytes([0, flags]) + struct.pack(
                "<qIII", page_granule, 1, self.sequence, 0) + bytes([len(values)] + values)
            page = header + body
            crc = ogg_crc(page)
            self.out.write(page[:22] + struct.pack("<I", crc) + page[26:])
            self.sequence += 1
            continued = True
            if not lacing:
                return


def opus_samples(packet):
    """Samples at 48 kHz an Opus packet decodes to, from its TOC byte."""
    if not packet:
        return 0
    config = packet[0] >> 3
    if config < 12:
        frame = (480, 960, 1920, 2880)[config & 3]
    elif config < 16:
        frame = (480, 960)[config & 1]
    else:
        frame = (120, 240, 480, 960)[config & 3]
    code = packet[0] & 3
    count = 1 if code == 0 else 2 if code < 3 else (packet[1] & 0x3F if len(packet) > 1 else 0)
    return frame * count


def wrap_in_ogg(codec, fmt, packets, raw_path, ogg_path):
    """Cuts the extracted payloads into packets by the sizes qmkvprobe reported and writes an
    Ogg stream with the codec's headers from csd-0 (and csd-1). Returns an error or None."""
    with open(raw_path, "rb") as f:
        raw = f.read()
    sizes = [p["size"] for p in packets]
    if sum(sizes) != len(raw):
        return "the extract holds %d bytes, the packets %d" % (len(raw), sum(sizes))
    csd0 = bytes.fromhex(fmt.get("csd-0", ""))
    if codec == "opus":
        if not csd0.startswith(b"OpusHead"):
            return "csd-0 is not an OpusHead"
        headers = [csd0, b"OpusTags" + struct.pack("<II", 0, 0)]
        granule = struct.unpack("<H", csd0[10:12])[0] if len(csd0) >= 12 else 0  # pre-skip
    else:
        csd1 = bytes.fromhex(fmt.get("csd-1", ""))
        if not csd0.startswith(b"\x01vorbis") or not csd1.startswith(b"\x05vorbis"):
            return "csd-0 and csd-1 are not the Vorbis identification and setup headers"
        # The comment header is not part of the codec-specific data; an empty one stands in.
        headers = [csd0, b"\x03vorbis" + struct.pack("<II", 0, 0) + b"\x01", csd1]
        granule = 0
    with open(ogg_path, "wb") as out:
        ogg = OggWriter(out)
        for i, header in enumerate(headers):
            ogg.packet(header, 0, first=i == 0)
        at = 0
        for i, size in enumerate(sizes):
            data = raw[at:at + size]
            at += size
            # Opus granules count samples; for Vorbis ffmpeg works packet durations out
            # itself, and with skip_manual the granules decide nothing that is compared.
            granule += opus_samples(data) if codec == "opus" else 1
            ogg.packet(data, granule, last=i == len(sizes) - 1)
    return None


def starts_with_info_frame(path):
    """True when the MP3 stream's first frame is a Xing, Info or VBRI header frame."""
    with open(path, "rb") as f:
        head = f.read(64)
    if len(head) < 40 or head[0] != 0xFF or (head[1] & 0xE0) != 0xE0:
        return False
    return b"Xing" in head[4:40] or b"Info" in head[4:40] or head[36:40] == b"VBRI"


def compare(extracted, original):
    """(first differing frame index or None, frames compared)."""
    for i, (a, b) in enumerate(zip(extracted, original)):
        if a != b:
            return i, i
    if len(extracted) != len(original):
        return min(len(extracted), len(original)), min(len(extracted), len(original))
    return None, len(extracted)


class Checker:
    def __init__(self, probe, ffmpeg, ffprobe, keep):
        self.probe = probe
        self.ffmpeg = ffmpeg
        self.ffprobe = ffprobe
        self.keep = keep
        self.failures = 0
        self.counts = {"OK": 0, "DIFFER": 0, "FAIL": 0, "SKIP": 0}

    def say(self, name, track, codec, status, detail):
        self.counts[status] += 1
        if status in ("DIFFER", "FAIL"):
            self.failures += 1
        print("%-40s track %-2s %-22s %-6s %s" % (name, track, codec, status, detail), flush=True)

    def extract(self, name, path, index, codec, out):
        """qmkvprobe --extract of one track into out; False (and a FAIL line) when it fails."""
        extracted = run([self.probe, "--extract", str(index), out, path])
        if extracted.returncode != 0:
            self.say(name, index, codec, "FAIL",
                     "qmkvprobe --extract: status %d: %s" %
                     (extracted.returncode, last_line(extracted.stderr)))
            return False
        return True

    def check_file(self, path, workdir):
        name = os.path.relpath(path, ROOT) if path.startswith(ROOT + os.sep) else path
        probed = run([self.probe, "--json", path])
        if probed.returncode == 1:
            self.say(name, "-", "-", "SKIP", "the plug-in does not claim or open this file")
            return
        try:
            document = json.loads(probed.stdout)
        except ValueError as e:
            self.say(name, "-", "-", "FAIL", "qmkvprobe --json: status %d, not JSON (%s)" %
                     (probed.returncode, e))
            return
        if probed.returncode != 0:
            self.say(name, "-", "-", "FAIL", "qmkvprobe --json: status %d" % probed.returncode)
            return
        tracks = document.get("tracks", [])
        if not tracks:
            self.say(name, "-", "-", "SKIP", "the plug-in opens this file but publishes no track")
            return
        probed_streams = run([self.ffprobe, "-v", "error", "-show_entries",
                              "stream=index,codec_type,codec_name", "-of", "json", path])
        if probed_streams.returncode != 0:
            self.say(name, "-", "-", "FAIL", "ffprobe failed: " + last_line(probed_streams.stderr))
            return
        streams = json.loads(probed_streams.stdout).get("streams", [])

        # The k-th published track of a codec is the k-th stream of that codec in ffprobe's
        # list: both keep the file's track order, and this holds when either side leaves out a
        # track the other lists (the plug-in a codec it does not take, ffprobe attachments).
        used = {}
        for track in tracks:
            index = track.get("index")
            mime = track.get("format", {}).get("mime", "?")
            if mime == "audio/raw":
                k = used.get("pcm", 0)
                used["pcm"] = k + 1
                matching = [s["index"] for s in streams
                            if s.get("codec_name", "").startswith("pcm_")]
                if k >= len(matching):
                    self.say(name, index, "pcm", "FAIL",
                             "ffprobe lists no PCM stream number %d" % (k + 1))
                else:
                    self.check_pcm(name, path, index, track["format"], matching[k], workdir)
                continue
            if mime not in COMPARED:
                reason = NOT_COMPARED.get(
                    mime, "the plug-in does not take this codec (it publishes %s)" % mime)
                self.say(name, index, mime, "SKIP", reason)
                continue
            codec, demuxer, ffmpeg_codecs = COMPARED[mime]
            matching = [s["index"] for s in streams if s.get("codec_name") in ffmpeg_codecs]
            k = used.get(codec, 0)
            used[codec] = k + 1
            if k >= len(matching):
                self.say(name, index, codec, "FAIL",
                         "ffprobe lists no %s stream number %d" % (codec, k + 1))
                continue
            self.check_track(name, path, track, codec, demuxer, matching[k], workdir)

    def check_pcm(self, name, path, index, fmt, stream, workdir):
        encoding = fmt.get("pcm-encoding", 2)
        if encoding not in PCM_FORMATS:
            self.say(name, index, "pcm", "FAIL", "unknown pcm-encoding %s" % encoding)
            return
        pcm_format, pcm_codec, width = PCM_FORMATS[encoding]
        codec = "pcm " + pcm_format
        out = os.path.join(self.keep or workdir,
                           "%s.track%d.%s" % (os.path.basename(path), index, pcm_format))
        if not self.extract(name, path, index, codec, out):
            return
        try:
            original = converted_pcm(self.ffmpeg, path, stream, pcm_format, pcm_codec)
        except (RuntimeError, subprocess.TimeoutExpired) as e:
            self.say(name, index, codec, "FAIL", str(e))
            return
        with open(out, "rb") as f:
            raw = f.read()
        step = width * max(1, fmt.get("channel-count", 1))
        differ_at = next((i for i, (a, b) in enumerate(zip(raw, original)) if a != b), None)
        if differ_at is None and len(raw) != len(original):
            differ_at = min(len(raw), len(original))
        if differ_at is None:
            self.say(name, index, codec, "OK", "%d samples (whole stream)" % (len(raw) // step))
        else:
            self.say(name, index, codec, "DIFFER",
                     "first difference at sample %d (counting from 0); %d samples from the "
                     "extract, %d from ffmpeg's conversion; ffmpeg stream 0:%d" %
                     (differ_at // step, len(raw) // step, len(original) // step, stream))

    def original_md5s(self, path, stream):
        """ffmpeg's frames of the stream in the file; none when ffmpeg finds no packet of it
        (a damaged file), since ffmpeg then stops with an error instead of an empty list."""
        try:
            return frame_md5s(self.ffmpeg, ["-i", path], stream)
        except RuntimeError:
            listed = run([self.ffprobe, "-v", "error", "-select_streams", str(stream),
                          "-show_entries", "packet=size", "-of", "json", path])
            if listed.returncode == 0:
                try:
                    packets = json.loads(listed.stdout).get("packets", [])
                except ValueError:
                    packets = None
                if packets == []:
                    return []
            raise

    def check_track(self, name, path, track, codec, demuxer, stream, workdir):
        index = track["index"]
        base = "%s.track%d.%s" % (os.path.basename(path), index, demuxer)
        out = os.path.join(self.keep or workdir, base)
        if demuxer == "ogg":
            out += ".raw"
        if not self.extract(name, path, index, codec, out):
            return
        if demuxer == "ogg":
            ogg = out[:-len(".raw")]
            why = wrap_in_ogg(codec, track["format"], track.get("packets", []), out, ogg)
            if why:
                self.say(name, index, codec, "FAIL", "cannot wrap in Ogg: " + why)
                return
            out = ogg
        try:
            # ffmpeg cannot open a stream without frames; no payload bytes decode to nothing.
            payload = sum(p.get("size", 0) for p in track.get("packets", []))
            raw = frame_md5s(self.ffmpeg, ["-f", demuxer, "-i", out], 0) if payload else []
            original = self.original_md5s(path, stream)
        except (RuntimeError, subprocess.TimeoutExpired) as e:
            self.say(name, index, codec, "FAIL", str(e))
            return
        note = ""
        if codec in ("mp3", "mp2") and starts_with_info_frame(out) and original:
            # ffmpeg's raw MP3 demuxer takes a leading Xing/Info frame as a file header and
            # does not hand it to the decoder; from a container the decoder gets it (as
            # silence). The plug-in hands it out like any frame, so leave that one out here.
            original = original[1:]
            note = " (the Info header frame, which the raw demuxer swallows, left out)"
        differ_at, compared = compare(raw, original)
        if differ_at is None:
            self.say(name, index, codec, "OK", "%d frames%s" % (compared, note))
        else:
            self.say(name, index, codec, "DIFFER",
                     "first difference at frame %d (counting from 0); %d decoded frames from "
                     "the extract, %d from the original; ffmpeg stream 0:%d%s" %
                     (differ_at, len(raw), len(original), stream, note))


def corpus_files():
    patterns = ["tests/data/conformance/*.mkv", "tests/data/conformance/*.mka",
                "tests/data/corpus/*.mkv", "tests/data/corpus/*.mka", "samples/sample.mkv"]
    files = []
    for pattern in patterns:
        files += sorted(glob.glob(os.path.join(ROOT, pattern)))
    return files


def main():
    parser = argparse.ArgumentParser(
        description="Compares decoded frames of the plug-in's extracted tracks with ffmpeg's "
        "reading of the same files.")
    parser.add_argument("--probe", default=os.path.join(ROOT, "build", "native", "qmkvprobe"))
    parser.add_argument("--ffmpeg", default="ffmpeg")
    parser.add_argument("--ffprobe", default="ffprobe")
    parser.add_argument("--keep", metavar="DIR", help="write the extracted streams here")
    parser.add_argument("files", nargs="*")
    args = parser.parse_args()

    ffmpeg = shutil.which(args.ffmpeg)
    ffprobe = shutil.which(args.ffprobe)
    if not ffmpeg or not ffprobe:
        print("decode_check: SKIP, %s not installed: nothing was checked" %
              (args.ffmpeg if not ffmpeg else args.ffprobe))
        return 77
    if not os.access(args.probe, os.X_OK):
        print("decode_check: no qmkvprobe at %s (build it, or give --probe)" % args.probe,
              file=sys.stderr)
        return 2
    files = args.files or corpus_files()
    if not files:
        print("decode_check: no files", file=sys.stderr)
        return 2
    if args.keep:
        os.makedirs(args.keep, exist_ok=True)

    checker = Checker(args.probe, ffmpeg, ffprobe, args.keep)
    with tempfile.TemporaryDirectory(prefix="decode_check.") as workdir:
        for path in files:
            try:
                checker.check_file(os.path.abspath(path), workdir)
            except subprocess.TimeoutExpired as e:
                checker.say(path, "-", "-", "FAIL", "timed out: %s" % " ".join(e.cmd))
    c = checker.counts
    print("decode_check: %d OK, %d DIFFER, %d FAIL, %d not compared" %
          (c["OK"], c["DIFFER"], c["FAIL"], c["SKIP"]))
    return 1 if checker.failures else 0


if __name__ == "__main__":
    sys.exit(main())
