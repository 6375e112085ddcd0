// Named limits of the demuxer: every bound the parsers apply to sizes and counts read from a
// file, with why it is what it is.
#pragma once

#include <stdint.h>

enum : uint32_t {
  // Slots for tracks and streams, fixed so that the stream functions can index without growth.
  QMKVD_MAX_TRACKS = 128,
  // File names, titles, codec ids and similar text fields hold 255 characters and a NUL.
  QMKVD_TEXT_FIELD = 256,
  QMKVD_TEXT_MAX = QMKVD_TEXT_FIELD - 1,
  // The EBML header's DocType field holds 11 characters and a NUL.
  QMKVD_DOCTYPE_FIELD = 12,
  QMKVD_DOCTYPE_MAX = QMKVD_DOCTYPE_FIELD - 1,
  // Unsigned integer elements are read whole into an 8-byte scratch.
  QMKVD_UINT_MAX = 8,
  // SegmentUID and PrevUID fill their 16-byte fields.
  QMKVD_UID_FIELD = 16,
  // NextUID is accepted up to 256 bytes although its field holds 16; the rest is read and
  // dropped so that the element is taken without writing past the field.
  QMKVD_NEXT_UID_MAX = 256,
  // Children of these masters above this size are refused as corrupt.
  QMKVD_CHILD_SIZE_CAP = 0x7FFFFFFF,
  // Simple tags are gathered 20 entries at a time...
  QMKVD_TAG_GROWTH = 20,
  // ...and at most this many are kept (about 1.6 MB); later ones are stepped over.
  QMKVD_MAX_SIMPLE_TAGS = 1000,
  // Position entries in the file summary.
  QMKVD_MAX_POS_ENTRIES = 16,
  // Nodes of one stream's cluster list: an hour at 4 Clusters a second is 14,400; a file of
  // tiny Clusters stops the list here rather than exhausting memory (about 32 MB on 32-bit).
  QMKVD_MAX_CLUSTER_NODES = 1u << 20,
  // A Cues payload is read into memory whole; a 10-hour file needs about a megabyte, so
  // anything beyond this is refused like an allocation failure.
  QMKVD_MAX_CUES_SIZE = 256u << 20,
  // Attached files kept (name, type and where their data lies); later ones are stepped over.
  QMKVD_MAX_ATTACHMENTS = 16,
  // Metadata text slots (title, artist, album, comment, two unused, composer, writer, date).
  QMKVD_METADATA_SLOTS = 9,
  // Masters being walked that an element of unknown size is measured against: Tags nest
  // deepest (Tags, Tag, SimpleTag, SimpleTag...); deeper masters are walked but not remembered.
  QMKVD_WALK_DEPTH = 8,
};

// Default TimecodeScale: one millisecond per tick.
static const uint32_t QMKVD_DEFAULT_TIMECODE_SCALE = 1000000;
