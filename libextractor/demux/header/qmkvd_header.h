// Header model entry points: creation and deletion of the demuxer context, the header parse
// and the level-1 element parsers it dispatches to.
#pragma once

#include <stdint.h>

#include "demux/qmkvd.h"
#include "demux/seek/qmkvd_cues.h"

// Chapters, Attachments and Tags only describe the file: parses the one with this ID at
// data_pos unless one was already taken. A damaged one is dropped with a warning (a later copy
// may still be taken) and never fails the file. Always 0.
int qmkvd_parse_descriptive(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t id,
                            int64_t elem_pos, int64_t data_pos, uint64_t size);

int parse_segmentinfo(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_INFO* info);
int parse_seekhead(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                   QMKVD_ELEMENT_POS* seekhead);
int parse_seekhead_seek(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t data_pos,
                        int64_t size);

int parse_track(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TRACKS* tracks);
int parse_tags(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TAGS* tags);
int parse_tag(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TAGS* tags);
int parse_tag_simpletag(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_SIMPLE_TAG* tag);
int parse_tag_targets(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                      QMKVD_ELEMENT_POS* targets);
int parse_attachments(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                      QMKVD_ELEMENT_POS* attachments);
int parse_chapters(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                   QMKVD_ELEMENT_POS* chapters);
