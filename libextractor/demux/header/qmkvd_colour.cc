// Colour and HDR mastering metadata of a video track.
#include <stdlib.h>

#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_tracks.h"

namespace {

// Brightest and darkest luminance a mastering display may claim, in cd/m2.
constexpr float kLuminanceMaxLimit = 9999.99f;
constexpr float kLuminanceMinLimit = 999.9999f;

// A colour value is the element's unsigned value, low 32 bits, zero-extended; one the file leaves
// out is absent.
#define COLOUR_RULE(id, field)                                                                 \
  QMKVD_RULE_HANDLER_DEFAULT(id, ReadColourValue<offsetof(QMKVD_COLOUR, field)>, QMKVD_COLOUR, \
                             field, QMKVD_COLOUR_ABSENT)

template <size_t kOffset>
int ReadColourValue(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  uint64_t value = 0;
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &value) != 0) return -1;
  int64_t* field = reinterpret_cast<int64_t*>(static_cast<uint8_t*>(record) + kOffset);
  *field = static_cast<int64_t>(value & 0xFFFFFFFFu);
  return QMKVD_WALK_NEXT;
}

int ReadMastering(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_COLOUR* colour = static_cast<QMKVD_COLOUR*>(record);
  if (!colour->mastering) {
    colour->mastering = static_cast<QMKVD_MASTERING*>(calloc(1, sizeof(QMKVD_MASTERING)));
    if (!colour->mastering) return -1;
  }
  colour->mastering->data_pos = child->data_pos;
  colour->mastering->size = static_cast<int64_t>(child->size);
  return parse_mastering_metadata(walk->ctx, walk->mfal, walk->fp, colour->mastering) == 0
             ? QMKVD_WALK_NEXT
             : -1;
}

const QMKVD_CHILD_RULE kColourRules[] = {
    COLOUR_RULE(MKV_ID_MATRIX_COEFFICIENTS, matrix_coefficients),
    COLOUR_RULE(MKV_ID_BITS_PER_CHANNEL, bits_per_channel),
    COLOUR_RULE(MKV_ID_CHROMA_SUBSAMPLING_HORZ, chroma_subsampling_horz),
    COLOUR_RULE(MKV_ID_CHROMA_SUBSAMPLING_VERT, chroma_subsampling_vert),
    COLOUR_RULE(MKV_ID_CB_SUBSAMPLING_HORZ, cb_subsampling_horz),
    COLOUR_RULE(MKV_ID_CB_SUBSAMPLING_VERT, cb_subsampling_vert),
    COLOUR_RULE(MKV_ID_CHROMA_SITING_HORZ, chroma_siting_horz),
    COLOUR_RULE(MKV_ID_CHROMA_SITING_VERT, chroma_siting_vert),
    COLOUR_RULE(MKV_ID_RANGE, range),
    COLOUR_RULE(MKV_ID_TRANSFER_CHARACTERISTICS, transfer_characteristics),
    COLOUR_RULE(MKV_ID_PRIMARIES, primaries),
    COLOUR_RULE(MKV_ID_MAX_CLL, max_cll),
    COLOUR_RULE(MKV_ID_MAX_FALL, max_fall),
    QMKVD_RULE_HANDLER(MKV_ID_MASTERING_METADATA, ReadMastering),
};
const QMKVD_MASTER kColour = QMKVD_MASTER_OF(kColourRules, /*skip_empty=*/true,
                                             /*cap_size=*/false, QMKVD_OVERRUN_STOP);

QMKVD_CHROMATICITY** PairOf(QMKVD_MASTERING* m, uint32_t id) {
  switch (id) {
    case MKV_ID_PRIMARY_R_X:
    case MKV_ID_PRIMARY_R_Y: return &m->red;
    case MKV_ID_PRIMARY_G_X:
    case MKV_ID_PRIMARY_G_Y: return &m->green;
    case MKV_ID_PRIMARY_B_X:
    case MKV_ID_PRIMARY_B_Y: return &m->blue;
    default: return &m->white_point;
  }
}

bool IsX(uint32_t id) {
  return id == MKV_ID_PRIMARY_R_X || id == MKV_ID_PRIMARY_G_X || id == MKV_ID_PRIMARY_B_X ||
         id == MKV_ID_WHITE_POINT_X;
}

// A coordinate allocates its pair on first use and is kept only within [0, 1].
int ReadChromaticity(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  double value = 0;
  const int read = qmkvd_walk_read_float(walk, child, &value);
  if (read < 0) return -1;
  if (read != 0) return QMKVD_WALK_NEXT;
  QMKVD_CHROMATICITY** pair = PairOf(static_cast<QMKVD_MASTERING*>(record), child->id);
  if (!*pair) {
    *pair = static_cast<QMKVD_CHROMATICITY*>(calloc(1, sizeof(QMKVD_CHROMATICITY)));
    if (!*pair) return -1;
  }
  if (value >= 0.0 && value <= 1.0) {
    (IsX(child->id) ? (*pair)->x : (*pair)->y) = static_cast<float>(value);
  }
  return QMKVD_WALK_NEXT;
}

int ReadLuminance(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_MASTERING* m = static_cast<QMKVD_MASTERING*>(record);
  double value = 0;
  const int read = qmkvd_walk_read_float(walk, child, &value);
  if (read < 0) return -1;
  if (read != 0) return QMKVD_WALK_NEXT;
  bool is_max = child->id == MKV_ID_LUMINANCE_MAX;
  const double limit = is_max ? kLuminanceMaxLimit : kLuminanceMinLimit;
  if (value >= 0.0 && value <= limit) {
    (is_max ? m->luminance_max : m->luminance_min) = static_cast<float>(value);
  }
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kMasteringRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_PRIMARY_R_X, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_PRIMARY_R_Y, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_PRIMARY_G_X, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_PRIMARY_G_Y, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_PRIMARY_B_X, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_PRIMARY_B_Y, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_WHITE_POINT_X, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_WHITE_POINT_Y, ReadChromaticity),
    QMKVD_RULE_HANDLER(MKV_ID_LUMINANCE_MAX, ReadLuminance),
    QMKVD_RULE_HANDLER(MKV_ID_LUMINANCE_MIN, ReadLuminance),
};
const QMKVD_MASTER kMastering = QMKVD_MASTER_OF(kMasteringRules, /*skip_empty=*/true,
                                                /*cap_size=*/false, QMKVD_OVERRUN_STOP);

int WalkResult(int walked) {
  return walked < 0 ? -1 : 0;
}

}  // namespace

void qmkvd_free_mastering(QMKVD_MASTERING* m) {
  if (!m) return;
  free(m->red);
  free(m->green);
  free(m->blue);
  free(m->white_point);
  m->red = m->green = m->blue = m->white_point = nullptr;
}

void qmkvd_free_colour(QMKVD_COLOUR* colour) {
  if (!colour) return;
  qmkvd_free_mastering(colour->mastering);
  free(colour->mastering);
  free(colour);
}

int parse_colour(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_COLOUR* colour) {
  // A repeated Colour starts over; what an earlier one allocated is released, not dropped.
  qmkvd_free_mastering(colour->mastering);
  free(colour->mastering);
  colour->mastering = nullptr;
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, colour->data_pos,
                                        static_cast<uint64_t>(colour->size), &kColour, colour,
                                        nullptr));
}

int parse_mastering_metadata(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                             QMKVD_MASTERING* mastering) {
  qmkvd_free_mastering(mastering);
  mastering->luminance_max = 0;
  mastering->luminance_min = 0;
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, mastering->data_pos,
                                        static_cast<uint64_t>(mastering->size), &kMastering,
                                        mastering, nullptr));
}
