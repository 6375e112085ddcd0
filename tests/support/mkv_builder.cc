#include "mkv_builder.h"
#include "mkv_ids.h"

#include <assert.h>
#include <string.h>

#include <utility>

namespace mkvtest {

namespace {

using namespace id;

enum : uint8_t { kLacingXiph = 0x02, kLacingFixed = 0x04, kLacingEbml = 0x06 };

// Largest value a vint of `width` bytes can carry; all ones is reserved for "unknown".
uint64_t VintMax(int width) {
  return (uint64_t{1} << (7 * width)) - 2;
}

int ShortestVintWidth(uint64_t value) {
  int width = 1;
  while (width < 8 && value > VintMax(width)) ++width;
  assert(value <= VintMax(width) && "value too large for any EBML size");
  return width;
}

// `width` bytes of `bits`, big-endian; bytes beyond the 8 a uint64 holds repeat `fill`.
void AppendBigEndian(uint64_t bits, int width, uint8_t fill, std::vector<uint8_t>* out) {
  for (int i = width - 1; i >= 0; --i) {
    out->push_back(i < 8 ? static_cast<uint8_t>(bits >> (8 * i)) : fill);
  }
}

void Append(const std::vector<uint8_t>& bytes, std::vector<uint8_t>* out) {
  out->insert(out->end(), bytes.begin(), bytes.end());
}

// The length marker plus `value`, unchecked: the caller has made sure it fits.
std::vector<uint8_t> MarkedVint(uint64_t value, int width) {
  std::vector<uint8_t> out;
  AppendBigEndian(value | (uint64_t{1} << (7 * width)), width, 0x00, &out);
  return out;
}

std::vector<uint8_t> UnsignedBytes(uint64_t v, int width) {
  assert(width >= 0);
  assert((width >= 8 || (v >> (8 * width)) == 0) && "Uint does not fit the width");
  std::vector<uint8_t> out;
  AppendBigEndian(v, width, 0x00, &out);
  return out;
}

int MinimalUnsignedWidth(uint64_t v) {
  int width = 1;
  while (width < 8 && (v >> (8 * width)) != 0) ++width;
  return width;
}

bool FitsSigned(int64_t v, int width) {
  if (width >= 8) return true;
  const int64_t limit = int64_t{1} << (8 * width - 1);
  return v >= -limit && v < limit;
}

std::vector<uint8_t> SignedBytes(int64_t v, int width) {
  assert(width >= 0);
  assert((width > 0 ? FitsSigned(v, width) : v == 0) && "Int does not fit the width");
  std::vector<uint8_t> out;
  AppendBigEndian(static_cast<uint64_t>(v), width, v < 0 ? 0xFF : 0x00, &out);
  return out;
}

int MinimalSignedWidth(int64_t v) {
  int width = 1;
  while (!FitsSigned(v, width)) ++width;
  return width;
}

// A lace size difference: the vint of (diff + bias), the bias centring the width's range on 0.
std::vector<uint8_t> SignedVint(int64_t diff) {
  for (int width = 1; width <= 8; ++width) {
    const int64_t bias = (int64_t{1} << (7 * width - 1)) - 1;
    if (diff >= -bias && diff <= bias) return EncodeVint(static_cast<uint64_t>(diff + bias), width);
  }
  assert(false && "lace size difference too large");
  return {};
}

// Track number, relative timecode and flags: the head every block body starts with.
std::vector<uint8_t> BlockHead(uint64_t track, int16_t rel_timecode, uint8_t flags) {
  std::vector<uint8_t> body = EncodeVint(track);
  AppendBigEndian(static_cast<uint16_t>(rel_timecode), 2, 0x00, &body);
  body.push_back(flags);
  return body;
}

std::vector<uint8_t> XiphSizes(const std::vector<std::vector<uint8_t>>& frames) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < frames.size(); ++i) {
    size_t size = frames[i].size();
    for (; size >= 255; size -= 255) out.push_back(255);
    out.push_back(static_cast<uint8_t>(size));
  }
  return out;
}

std::vector<uint8_t> EbmlSizes(const std::vector<std::vector<uint8_t>>& frames) {
  std::vector<uint8_t> out;
  if (frames.size() < 2) return out;
  out = EncodeVint(frames[0].size());
  for (size_t i = 1; i + 1 < frames.size(); ++i) {
    const int64_t diff =
        static_cast<int64_t>(frames[i].size()) - static_cast<int64_t>(frames[i - 1].size());
    Append(SignedVint(diff), &out);
  }
  return out;
}

bool AllSameSize(const std::vector<std::vector<uint8_t>>& frames) {
  for (const auto& frame : frames) {
    if (frame.size() != frames[0].size()) return false;
  }
  return true;
}

Element LacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags, uint8_t lacing,
                   const std::vector<uint8_t>& lace_sizes,
                   const std::vector<std::vector<uint8_t>>& frames, bool simple) {
  assert((flags & 0x06) == 0 && "pass the flags without lacing bits");
  assert(!frames.empty() && frames.size() <= 256);
  std::vector<uint8_t> body = BlockHead(track, rel_timecode, flags | lacing);
  body.push_back(static_cast<uint8_t>(frames.size() - 1));
  Append(lace_sizes, &body);
  for (const auto& frame : frames) Append(frame, &body);
  return Binary(simple ? kSimpleBlock : kBlock, std::move(body));
}

}  // namespace

// The one place that sees inside Element: builds nodes and writes them out.
struct ElementCodec {
  static Element Make(Element::Kind kind, uint32_t id) {
    EncodeId(id);  // checks the ID's shape
    Element e;
    e.kind_ = kind;
    e.id_ = id;
    return e;
  }

  static Element Master(uint32_t id, std::vector<Element> children) {
    Element e = Make(Element::Kind::kMaster, id);
    e.children_ = std::move(children);
    return e;
  }

  static Element Leaf(uint32_t id, std::vector<uint8_t> payload) {
    Element e = Make(Element::Kind::kLeaf, id);
    e.payload_ = std::move(payload);
    return e;
  }

  // Numbers keep their value so that Width() can re-code it.
  static Element Unsigned(uint32_t id, uint64_t v) {
    Element e = Make(Element::Kind::kUint, id);
    e.value_ = v;
    e.payload_ = UnsignedBytes(v, MinimalUnsignedWidth(v));
    return e;
  }

  static Element Signed(uint32_t id, int64_t v) {
    Element e = Make(Element::Kind::kInt, id);
    e.value_ = static_cast<uint64_t>(v);
    e.payload_ = SignedBytes(v, MinimalSignedWidth(v));
    return e;
  }

  static Element Raw(std::vector<uint8_t> bytes) {
    Element e;
    e.payload_ = std::move(bytes);
    return e;
  }

  static bool IsRaw(const Element& e) { return e.kind_ == Element::Kind::kRaw; }

  static uint64_t PayloadSize(const Element& e) {
    if (e.kind_ != Element::Kind::kMaster) return e.payload_.size();
    return EncodedSize(e.children_);
  }

  static std::vector<uint8_t> SizeField(const Element& e) {
    if (e.unknown_size_) {
      const int width = e.size_width_ ? e.size_width_ : 1;
      return MarkedVint(VintMax(width) + 1, width);
    }
    const uint64_t size = e.has_declared_size_ ? e.declared_size_ : PayloadSize(e);
    return EncodeVint(size, e.size_width_);
  }

  static uint64_t HeaderSize(const Element& e) {
    if (IsRaw(e)) return 0;
    return EncodeId(e.id_).size() + SizeField(e).size();
  }

  static void Write(const Element& e, std::vector<uint8_t>* out) {
    if (!IsRaw(e)) {
      Append(EncodeId(e.id_), out);
      Append(SizeField(e), out);
    }
    if (e.kind_ == Element::Kind::kMaster) {
      for (const Element& child : e.children_) Write(child, out);
    } else {
      Append(e.payload_, out);
    }
  }
};

Element::Element() = default;

Element& Element::SizeWidth(int n) & {
  assert(kind_ != Kind::kRaw && "Raw elements have no size field");
  assert(n >= 1 && n <= 8);
  size_width_ = n;
  return *this;
}

Element& Element::UnknownSize() & {
  assert(kind_ != Kind::kRaw && "Raw elements have no size field");
  assert(!has_declared_size_ && "UnknownSize and DeclaredSize exclude each other");
  unknown_size_ = true;
  return *this;
}

Element& Element::DeclaredSize(uint64_t size) & {
  assert(kind_ != Kind::kRaw && "Raw elements have no size field");
  assert(!unknown_size_ && "UnknownSize and DeclaredSize exclude each other");
  has_declared_size_ = true;
  declared_size_ = size;
  return *this;
}

Element& Element::Width(int n) & {
  assert((kind_ == Kind::kUint || kind_ == Kind::kInt) && "Width applies to Uint and Int");
  payload_ = kind_ == Kind::kUint ? UnsignedBytes(value_, n)
                                  : SignedBytes(static_cast<int64_t>(value_), n);
  return *this;
}

std::vector<uint8_t> EncodeId(uint32_t id) {
  assert(id != 0 && "element IDs are never 0");
  std::vector<uint8_t> out;
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (!out.empty() || (id >> shift) & 0xFF) out.push_back(static_cast<uint8_t>(id >> shift));
  }
  // The first byte's leading marker must announce exactly the bytes the value has; anything
  // else cannot be written as given (use Raw for malformed IDs).
  size_t marked = 1;
  while (marked <= 8 && !(out[0] & (0x80 >> (marked - 1)))) ++marked;
  assert(marked == out.size() && "ID's first byte disagrees with its length");
  (void)marked;
  return out;
}

std::vector<uint8_t> EncodeVint(uint64_t value, int width) {
  if (width == 0) width = ShortestVintWidth(value);
  assert(width >= 1 && width <= 8);
  assert(value <= VintMax(width) && "value does not fit the size width");
  return MarkedVint(value, width);
}

Element Master(uint32_t id, std::vector<Element> children) {
  return ElementCodec::Master(id, std::move(children));
}

Element Uint(uint32_t id, uint64_t v) {
  return ElementCodec::Unsigned(id, v);
}

Element Int(uint32_t id, int64_t v) {
  return ElementCodec::Signed(id, v);
}

Element Float(uint32_t id, double v, int width) {
  assert((width == 4 || width == 8) && "floats are 4 or 8 bytes");
  std::vector<uint8_t> payload;
  if (width == 4) {
    const float f = static_cast<float>(v);
    uint32_t bits;
    memcpy(&bits, &f, sizeof(bits));
    AppendBigEndian(bits, 4, 0x00, &payload);
  } else {
    uint64_t bits;
    memcpy(&bits, &v, sizeof(bits));
    AppendBigEndian(bits, 8, 0x00, &payload);
  }
  return ElementCodec::Leaf(id, std::move(payload));
}

Element String(uint32_t id, const std::string& s) {
  return ElementCodec::Leaf(id, std::vector<uint8_t>(s.begin(), s.end()));
}

Element Binary(uint32_t id, std::vector<uint8_t> data) {
  return ElementCodec::Leaf(id, std::move(data));
}

Element Raw(std::vector<uint8_t> bytes) {
  return ElementCodec::Raw(std::move(bytes));
}

std::vector<uint8_t> Serialize(const Element& e) {
  std::vector<uint8_t> out;
  ElementCodec::Write(e, &out);
  return out;
}

std::vector<uint8_t> Serialize(const std::vector<Element>& elements) {
  std::vector<uint8_t> out;
  for (const Element& e : elements) ElementCodec::Write(e, &out);
  return out;
}

uint64_t HeaderSize(const Element& e) {
  return ElementCodec::HeaderSize(e);
}

uint64_t EncodedSize(const Element& e) {
  return ElementCodec::HeaderSize(e) + ElementCodec::PayloadSize(e);
}

uint64_t EncodedSize(const std::vector<Element>& elements) {
  uint64_t total = 0;
  for (const Element& e : elements) total += EncodedSize(e);
  return total;
}

Element EbmlHeader(const std::string& doctype, uint64_t doctype_version) {
  return Master(kEbml, {Uint(kEbmlVersion, 1), Uint(kEbmlReadVersion, 1), Uint(kEbmlMaxIdLength, 4),
                        Uint(kEbmlMaxSizeLength, 8), String(kDocType, doctype),
                        Uint(kDocTypeVersion, doctype_version), Uint(kDocTypeReadVersion, 2)});
}

Element Segment(std::vector<Element> children) {
  return Master(kSegment, std::move(children));
}
Element Info(std::vector<Element> children) {
  return Master(kInfo, std::move(children));
}
Element Tracks(std::vector<Element> children) {
  return Master(kTracks, std::move(children));
}
Element TrackEntry(std::vector<Element> children) {
  return Master(kTrackEntry, std::move(children));
}
Element Cluster(std::vector<Element> children) {
  return Master(kCluster, std::move(children));
}
Element Cues(std::vector<Element> children) {
  return Master(kCues, std::move(children));
}
Element SeekHead(std::vector<Element> children) {
  return Master(kSeekHead, std::move(children));
}
Element BlockGroup(std::vector<Element> children) {
  return Master(kBlockGroup, std::move(children));
}

Element SeekEntry(uint32_t target_id, uint64_t position) {
  return Master(kSeek, {Binary(kSeekId, EncodeId(target_id)), Uint(kSeekPosition, position)});
}

Element SimpleBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                    std::vector<uint8_t> payload) {
  std::vector<uint8_t> body = BlockHead(track, rel_timecode, flags);
  Append(payload, &body);
  return Binary(kSimpleBlock, std::move(body));
}

Element Block(uint64_t track, int16_t rel_timecode, uint8_t flags, std::vector<uint8_t> payload) {
  std::vector<uint8_t> body = BlockHead(track, rel_timecode, flags);
  Append(payload, &body);
  return Binary(kBlock, std::move(body));
}

Element XiphLacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                       std::vector<std::vector<uint8_t>> frames, bool simple) {
  return LacedBlock(track, rel_timecode, flags, kLacingXiph, XiphSizes(frames), frames, simple);
}

Element EbmlLacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                       std::vector<std::vector<uint8_t>> frames, bool simple) {
  return LacedBlock(track, rel_timecode, flags, kLacingEbml, EbmlSizes(frames), frames, simple);
}

Element FixedLacedBlock(uint64_t track, int16_t rel_timecode, uint8_t flags,
                        std::vector<std::vector<uint8_t>> frames, bool simple) {
  const bool same_size = AllSameSize(frames);
  assert(same_size && "fixed lacing needs frames of one size");
  (void)same_size;
  return LacedBlock(track, rel_timecode, flags, kLacingFixed, {}, frames, simple);
}

std::vector<uint8_t> Concat(const std::vector<std::vector<uint8_t>>& parts) {
  std::vector<uint8_t> out;
  for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

}  // namespace mkvtest
