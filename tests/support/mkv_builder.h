// Builds Matroska/EBML byte streams for tests: a tree of elements in, file bytes out.
//
// Element IDs are written exactly as they stand in a file (0x1A45DFA3 is the four bytes
// 1A 45 DF A3, 0xD7 the single byte D7). Sizes use the shortest EBML width unless a test asks
// for another one, an unknown size or a deliberately wrong size. Misuse (an ID whose first byte
// disagrees with its length, a size that does not fit the forced width, ...) is a bug in the
// test and trips an assert.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

namespace mkvtest {

struct ElementCodec;

// One node of the tree: a master with children, a leaf with its payload, or raw bytes written
// verbatim without any header. Copyable; modifiers chain on temporaries and on lvalues.
class Element {
 public:
  // An empty Raw element: writes nothing.
  Element();

  // Width of the size field in bytes (1..8) instead of the shortest one.
  Element& SizeWidth(int n) &;
  Element&& SizeWidth(int n) && { return static_cast<Element&&>(SizeWidth(n)); }
  // Size field with every value bit set: 0xFF, or the all-ones form of the SizeWidth.
  Element& UnknownSize() &;
  Element&& UnknownSize() && { return static_cast<Element&&>(UnknownSize()); }
  // Writes this size in the header whatever the payload really holds.
  Element& DeclaredSize(uint64_t size) &;
  Element&& DeclaredSize(uint64_t size) && { return static_cast<Element&&>(DeclaredSize(size)); }
  // Uint (zero-padded) or Int (sign-extended) payload of exactly n bytes; n may exceed 8.
  Element& Width(int n) &;
  Element&& Width(int n) && { return static_cast<Element&&>(Width(n)); }

 private:
  friend struct ElementCodec;
  enum class Kind { kMaster, kLeaf, kUint, kInt, kRaw };

  Kind kind_ = Kind::kRaw;
  uint32_t id_ = 0;
  std::vector<uint8_t> payload_;   // leaf payload, or the bytes of a Raw element
  std::vector<Element> children_;  // masters only
  uint64_t value_ = 0;             // Uint value, or Int value as two's complement bits
  int size_width_ = 0;             // 0: shortest
  bool unknown_size_ = false;
  bool has_declared_size_ = false;
  uint64_t declared_size_ = 0;
};

// Generic elements.
Element Master(uint32_t id, std::vector<Element> children);
Element Uint(uint32_t id, uint64_t v);                // minimal big-endian, 0 as one 0x00 byte
Element Int(uint32_t id, int64_t v);                  // minimal two's complement
Element Float(uint32_t id, double v, int width = 8);  // 4: IEEE single, 8: double
Element String(uint32_t id, const std::string& s);    // bytes of s, no terminating NUL
Element Binary(uint32_t id, std::vector<uint8_t> data);
Element Raw(std::vector<uint8_t> bytes);  // verbatim, no header

// File bytes of one element, or of several one after the other.
std::vector<uint8_t> Serialize(const Element& e);
std::vector<uint8_t> Serialize(const std::vector<Element>& elements);
// The parts one after the other.
std::vector<uint8_t> Concat(const std::vector<std::vector<uint8_t>>& parts);

// Where things land: the header is the ID plus the size field (0 for Raw); the encoded size is
// header plus payload, i.e. how far the next sibling starts after this one.
uint64_t HeaderSize(const Element& e);
uint64_t EncodedSize(const Element& e);
uint64_t EncodedSize(const std::vector<Element>& elements);

// Codings on their own, for hand-made headers inside Raw.
std::vector<uint8_t> EncodeId(uint32_t id);
// EBML variable-length number; width 0 picks the shortest that is not all ones.
std::vector<uint8_t> EncodeVint(uint64_t value, int width = 0);

// The EBML header of a Matroska (or WebM) file.
Element EbmlHeader(const std::string& doctype = "matroska", uint64_t doctype_version = 4);

// Level-1 masters and their common children.
Element Segment(std::vector<Element> children);
Element Info(std::vector<Element> children);
Element Tracks(std::vector<Element> children);
Element TrackEntry(std::vector<Element> children);
Element Cluster(std::vector<Element> children);
Element Cues(std::vector<Element> children);
Element SeekHead(std::vector<Element> children);
Element BlockGroup(std::vector<Element> children);

// A Seek entry: SeekID holding the target ID's bytes, SeekPosition as a minimal Uint.
Element SeekEntry(uint32_t target_id, uint64_t position);

// Blocks: track number as a shortest vint, 16-bit big-endian relative timecode, the flags byte
// as given, then the payload.
Element SimpleBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                    std::vector<uint8_t> payload);
Element Block(uint64_t track, int16_t rel_timecode, uint8_t flags, std::vector<uint8_t> payload);

// Several frames in one block. `flags` must not carry lacing bits (the key-frame bit and others
// are kept); the helper adds them with the frame count and the lace sizes. `simple` picks a
// SimpleBlock, otherwise a Block for a BlockGroup. Fixed lacing needs frames of equal size.
Element XiphLacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                       std::vector<std::vector<uint8_t>> frames, bool simple = true);
Element EbmlLacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                       std::vector<std::vector<uint8_t>> frames, bool simple = true);
Element FixedLacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                        std::vector<std::vector<uint8_t>> frames, bool simple = true);

}  // namespace mkvtest
