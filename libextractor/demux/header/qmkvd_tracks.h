// Track entries, their Video, Audio and ContentEncodings children, and the colour records.
#pragma once

#include "demux/qmkvd_types.h"

// The ContentCompAlgo values a player can undo on the fly: zlib and header stripping.
enum : uint32_t { QMKVD_COMP_ZLIB = 0, QMKVD_COMP_HEADER_STRIPPING = 3 };

int parse_track_entry(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TRACK* track);
int parse_video(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_VIDEO* video);
int parse_audio(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_AUDIO* audio);
int parse_contentencodings(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                           QMKVD_ENCODINGS* encodings);
int parse_contentencoding(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                          QMKVD_ENCODING* encoding);
int parse_contentcomp(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                      QMKVD_COMPRESSION* compression);
int parse_colour(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_COLOUR* colour);
int parse_mastering_metadata(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                             QMKVD_MASTERING* mastering);

// The parsed track of this TrackNumber, or null.
const QMKVD_TRACK* qmkvd_find_track(const QMKVD_CTX* ctx, uint32_t number);

// Frees what a track record owns (colour records, codec private data, compression settings).
void qmkvd_free_track(QMKVD_TRACK* track);
// Frees a colour record with its mastering record and chromaticity pairs; accepts null.
void qmkvd_free_colour(QMKVD_COLOUR* colour);
void qmkvd_free_mastering(QMKVD_MASTERING* mastering);
