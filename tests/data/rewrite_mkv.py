#!/usr/bin/env python3
"""Rewrites the frames of chosen tracks of a Matroska file, for test files no installed muxer
will write. Used by make_corpus.sh.

    rewrite_mkv.py IN OUT TRACK=OP [TRACK=OP ...]

TRACK is a track number. OP is one of:
    strip:HEX  header stripping: cut the bytes HEX from the front of every frame and record
               them as ContentCompAlgo 3 in the TrackEntry
    nal2       AVC/HEVC: rewrite every 4-byte NAL length as a 2-byte one and say so in the
               track's configuration record

Only unlaced and fixed-laced blocks are handled (anything else stops the script). Blocks
shrink, and with them their BlockGroups and Clusters; everything after moves up, and the
positions that point at moved elements (SeekHead entries, CueClusterPosition,
CueRelativePosition, the Segment size) are rewritten in place with their original widths.
Room for new TrackEntry children comes out of the EBML Void that mkvmerge leaves after
Tracks, so nothing before the first Cluster moves.
"""
import sys

ID_SEGMENT = 0x18538067
ID_SEEKHEAD, ID_SEEK, ID_SEEK_POSITION = 0x114D9B74, 0x4DBB, 0x53AC
ID_TRACKS, ID_TRACK_ENTRY, ID_TRACK_NUMBER, ID_CODEC_PRIVATE = 0x1654AE6B, 0xAE, 0xD7, 0x63A2
ID_CLUSTER, ID_BLOCK_GROUP, ID_BLOCK, ID_SIMPLE_BLOCK = 0x1F43B675, 0xA0, 0xA1, 0xA3
ID_CUES, ID_CUE_POINT, ID_CUE_TRACK_POSITIONS = 0x1C53BB6B, 0xBB, 0xB7
ID_CUE_CLUSTER_POSITION, ID_CUE_RELATIVE_POSITION = 0xF1, 0xF0
ID_VOID = 0xEC


def fail(message):
    raise SystemExit('rewrite_mkv: ' + message)


def vint(buf, pos):
    first = buf[pos]
    width = next((i + 1 for i in range(8) if first & (0x80 >> i)), 0)
    if not width:
        fail('bad size at %d' % pos)
    value = first & (0xFF >> width)
    for b in buf[pos + 1:pos + width]:
        value = (value << 8) | b
    unknown = value == (1 << (7 * width)) - 1
    return value, width, unknown


def elem_id(buf, pos):
    first = buf[pos]
    width = next((i + 1 for i in range(4) if first & (0x80 >> i)), 0)
    if not width:
        fail('bad ID at %d' % pos)
    return int.from_bytes(buf[pos:pos + width], 'big'), width


def size_bytes(value, width):
    if value >= (1 << (7 * width)) - 1:
        fail('size %d does not fit %d bytes' % (value, width))
    return ((1 << (7 * width)) | value).to_bytes(width, 'big')


class Elem:
    def __init__(self, buf, pos):
        self.pos = pos
        self.id, iw = elem_id(buf, pos)
        self.size, sw, self.unknown = vint(buf, pos + iw)
        self.id_bytes = bytes(buf[pos:pos + iw])
        self.size_width = sw
        self.data = pos + iw + sw
        self.end = self.data + self.size

    def header(self, new_size):
        return self.id_bytes + size_bytes(new_size, self.size_width)


def children(buf, start, end):
    pos = start
    while pos < end:
        e = Elem(buf, pos)
        if e.unknown:
            fail('unknown-size element at %d' % pos)
        yield e
        pos = e.end


def uint(buf, e):
    return int.from_bytes(buf[e.data:e.end], 'big')


class Rewriter:
    def __init__(self, data, ops):
        self.data = data
        self.ops = ops

    # --- frames ---------------------------------------------------------------------------------
    def frame(self, track, f):
        op = self.ops[track]
        if op[0] == 'strip':
            if not f.startswith(op[1]):
                fail('track %d: a frame does not start with %s' % (track, op[1].hex()))
            return f[len(op[1]):]
        out, pos = bytearray(), 0
        while pos < len(f):
            if pos + 4 > len(f):
                fail('track %d: frame ends inside a NAL length' % track)
            n = int.from_bytes(f[pos:pos + 4], 'big')
            if n >= 1 << 16 or pos + 4 + n > len(f):
                fail('track %d: NAL unit of %d bytes' % (track, n))
            out += n.to_bytes(2, 'big') + f[pos + 4:pos + 4 + n]
            pos += 4 + n
        return bytes(out)

    def block(self, payload):
        track, tw, _ = vint(payload, 0)
        if track not in self.ops:
            return None
        head = tw + 3
        lacing = payload[head - 1] & 0x06
        if lacing == 0:
            return bytes(payload[:head]) + self.frame(track, bytes(payload[head:]))
        if lacing == 0x04:
            count = payload[head] + 1
            body = payload[head + 1:]
            if len(body) % count:
                fail('fixed lacing with uneven frames')
            n = len(body) // count
            frames = [self.frame(track, bytes(body[i * n:(i + 1) * n])) for i in range(count)]
            if len(set(len(f) for f in frames)) != 1:
                fail('fixed-laced frames of different sizes after the rewrite')
            return bytes(payload[:head + 1]) + b''.join(frames)
        fail('track %d: only unlaced and fixed-laced blocks are handled' % track)

    # --- elements -------------------------------------------------------------------------------
    def cluster(self, c):
        """New Cluster bytes, and old -> new offsets of its children from its data start."""
        d = self.data
        body, moved = bytearray(), {}
        for e in children(d, c.data, c.end):
            moved[e.pos - c.data] = len(body)
            whole = d[e.pos:e.end]
            if e.id == ID_SIMPLE_BLOCK:
                new = self.block(d[e.data:e.end])
                if new is not None:
                    whole = e.header(len(new)) + new
            elif e.id == ID_BLOCK_GROUP:
                inner = bytearray()
                for g in children(d, e.data, e.end):
                    part = d[g.pos:g.end]
                    if g.id == ID_BLOCK:
                        new = self.block(d[g.data:g.end])
                        if new is not None:
                            part = g.header(len(new)) + new
                    inner += part
                whole = e.header(len(inner)) + inner
            body += whole
        return c.header(len(body)) + body, moved

    def encodings(self, cut):
        comp = b'\x42\x54\x81\x03' + b'\x42\x55' + size_bytes(len(cut), 1) + cut
        comp = b'\x50\x34' + size_bytes(len(comp), 1) + comp
        enc = b'\x62\x40' + size_bytes(len(comp), 1) + comp
        return b'\x6d\x80' + size_bytes(len(enc), 1) + enc

    def tracks(self, t):
        d = self.data
        body = bytearray()
        for e in children(d, t.data, t.end):
            entry = bytearray(d[e.data:e.end])
            number = next(uint(d, c) for c in children(d, e.data, e.end) if c.id == ID_TRACK_NUMBER)
            op = self.ops.get(number)
            if op and op[0] == 'strip':
                entry += self.encodings(op[1])
            if op and op[0] == 'nal2':
                cp = next(c for c in children(d, e.data, e.end) if c.id == ID_CODEC_PRIVATE)
                at = cp.data - e.data
                # avcC keeps lengthSizeMinusOne in byte 4, hvcC in byte 21 (low two bits).
                at += 4 if self.is_avc(number) else 21
                entry[at] = (entry[at] & 0xFC) | 1
            body += e.header(len(entry)) + entry
        return t.header(len(body)) + body

    def is_avc(self, number):
        d = self.data
        for tr in self.top:
            if tr.id != ID_TRACKS:
                continue
            for e in children(d, tr.data, tr.end):
                kids = list(children(d, e.data, e.end))
                if any(c.id == ID_TRACK_NUMBER and uint(d, c) == number for c in kids):
                    codec = next(bytes(d[c.data:c.end]) for c in kids if c.id == 0x86)
                    return codec.startswith(b'V_MPEG4/ISO/AVC')
        fail('no track %d' % number)

    @staticmethod
    def patch_uint(blob, e, base, value):
        width = e.end - e.data
        if value >= 1 << (8 * width):
            fail('position %d does not fit %d bytes' % (value, width))
        at = e.data - base
        blob[at:at + width] = value.to_bytes(width, 'big')

    def run(self):
        d = self.data
        ebml = Elem(d, 0)
        seg = Elem(d, ebml.end)
        if seg.id != ID_SEGMENT:
            fail('no Segment after the EBML header')
        seg_end = len(d) if seg.unknown else seg.end
        self.top = list(children(d, seg.data, seg_end))

        blobs, cluster_moves = [], {}
        grown = 0
        for e in self.top:
            if e.id == ID_TRACKS:
                blob = self.tracks(e)
                grown = len(blob) - (e.end - e.pos)
            elif e.id == ID_VOID and grown:
                total = e.end - e.pos - grown
                if total < 2:
                    fail('the Void after Tracks is too small')
                width = 1 if total - 2 < 127 else 8
                blob = b'\xec' + size_bytes(total - 1 - width, width) + bytes(total - 1 - width)
                grown = 0
            elif e.id == ID_CLUSTER:
                blob, cluster_moves[e.pos - seg.data] = self.cluster(e)
            else:
                blob = d[e.pos:e.end]
            blobs.append(bytearray(blob))
            if grown and e.id != ID_TRACKS:
                fail('no Void right after Tracks')

        # Old -> new positions of the Segment's children, relative to its data start.
        new_pos, at = {}, 0
        for e, blob in zip(self.top, blobs):
            new_pos[e.pos - seg.data] = at
            at += len(blob)

        for e, blob in zip(self.top, blobs):
            if e.id == ID_SEEKHEAD:
                for s in children(d, e.data, e.end):
                    if s.id != ID_SEEK:
                        continue
                    for p in children(d, s.data, s.end):
                        if p.id == ID_SEEK_POSITION:
                            self.patch_uint(blob, p, e.pos, new_pos[uint(d, p)])
            elif e.id == ID_CUES:
                for point in children(d, e.data, e.end):
                    if point.id != ID_CUE_POINT:
                        continue
                    for tp in children(d, point.data, point.end):
                        if tp.id != ID_CUE_TRACK_POSITIONS:
                            continue
                        kids = list(children(d, tp.data, tp.end))
                        cluster = next(uint(d, k) for k in kids if k.id == ID_CUE_CLUSTER_POSITION)
                        for k in kids:
                            if k.id == ID_CUE_CLUSTER_POSITION:
                                self.patch_uint(blob, k, e.pos, new_pos[cluster])
                            elif k.id == ID_CUE_RELATIVE_POSITION:
                                self.patch_uint(blob, k, e.pos, cluster_moves[cluster][uint(d, k)])

        body = b''.join(bytes(b) for b in blobs)
        head = d[:seg.data]
        if not seg.unknown:
            head = d[:seg.pos] + seg.header(len(body))
        return bytes(head) + body + bytes(d[seg_end:])


def main():
    if len(sys.argv) < 4:
        fail(__doc__)
    ops = {}
    for arg in sys.argv[3:]:
        number, op = arg.split('=', 1)
        if op.startswith('strip:'):
            ops[int(number)] = ('strip', bytes.fromhex(op[6:]))
        elif op == 'nal2':
            ops[int(number)] = ('nal2',)
        else:
            fail('unknown operation ' + op)
    data = bytearray(open(sys.argv[1], 'rb').read())
    out = Rewriter(data, ops).run()
    open(sys.argv[2], 'wb').write(out)


if __name__ == '__main__':
    main()
