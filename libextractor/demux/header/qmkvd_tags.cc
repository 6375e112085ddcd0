// Tags and Chapters. Every SimpleTag of the file is gathered into one table for the text
// metadata; Chapters and tag Targets are only located and checked for well-formed child headers.
#include <stdlib.h>
#include <string.h>

#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_header.h"

namespace {

// No rules: every child is stepped over by its size; a broken child header fails the walk.
const QMKVD_MASTER kStepOver = {nullptr,
                                0,
                                /*skip_empty=*/false,
                                /*cap_size=*/false,
                                QMKVD_OVERRUN_FOLLOW,
                                QMKVD_ENDS_AT_SIZE};

int WalkResult(int walked) {
  return walked < 0 ? -1 : 0;
}

int StepOver(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t data_pos, uint64_t size) {
  return WalkResult(
      qmkvd_walk_children(ctx, mfal, fp, data_pos, size, &kStepOver, nullptr, nullptr));
}

// A tag text is cut to its field (255 or 1023 bytes); the walk still steps the whole element.
template <size_t kField>
int ReadTagText(QMKVD_WALK* walk, const QMKVD_CHILD* child, char (&field)[kField]) {
  return qmkvd_walk_read_text(walk, child, field, kField) == 0 ? QMKVD_WALK_NEXT : -1;
}

int ReadTagName(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  return ReadTagText(walk, child, static_cast<QMKVD_SIMPLE_TAG*>(record)->name);
}
int ReadTagLanguage(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  return ReadTagText(walk, child, static_cast<QMKVD_SIMPLE_TAG*>(record)->language);
}
int ReadTagString(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  return ReadTagText(walk, child, static_cast<QMKVD_SIMPLE_TAG*>(record)->value);
}

const QMKVD_CHILD_RULE kSimpleTagRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_TAG_NAME, ReadTagName),
    QMKVD_RULE_HANDLER(MKV_ID_TAG_LANGUAGE, ReadTagLanguage),
    QMKVD_RULE_HANDLER(MKV_ID_TAG_STRING, ReadTagString),
};
const QMKVD_MASTER kSimpleTag = QMKVD_MASTER_OF(kSimpleTagRules, /*skip_empty=*/true,
                                                /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// Makes room for one more simple tag, 20 entries at a time. Returns -1 when memory runs out.
int GrowTable(QMKVD_TAGS* tags) {
  if (tags->count + 1 <= tags->capacity) return 0;
  uint32_t capacity = tags->capacity + QMKVD_TAG_GROWTH;
  QMKVD_SIMPLE_TAG* entries =
      static_cast<QMKVD_SIMPLE_TAG*>(calloc(capacity, sizeof(QMKVD_SIMPLE_TAG)));
  if (!entries) return -1;
  if (tags->count > 0) memcpy(entries, tags->entries, tags->count * sizeof(QMKVD_SIMPLE_TAG));
  free(tags->entries);
  tags->entries = entries;
  tags->capacity = capacity;
  return 0;
}

int ReadSimpleTag(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_TAGS* tags = static_cast<QMKVD_TAGS*>(record);
  // Past the cap, further simple tags are stepped over: metadata takes the first value of
  // each name, and a file cannot make us hold an unbounded table.
  if (tags->count >= QMKVD_MAX_SIMPLE_TAGS) return QMKVD_WALK_NEXT;
  if (GrowTable(tags) != 0) return -1;
  QMKVD_SIMPLE_TAG* entry = &tags->entries[tags->count++];
  entry->data_pos = child->data_pos;
  entry->size = static_cast<uint32_t>(child->size);
  return parse_tag_simpletag(walk->ctx, walk->mfal, walk->fp, entry) == 0 ? QMKVD_WALK_NEXT : -1;
}

int ReadTargets(QMKVD_WALK* walk, const QMKVD_CHILD* child, void*) {
  QMKVD_ELEMENT_POS targets = {child->elem_pos, child->data_pos,
                               static_cast<uint32_t>(child->size)};
  return parse_tag_targets(walk->ctx, walk->mfal, walk->fp, &targets) == 0 ? QMKVD_WALK_NEXT : -1;
}

const QMKVD_CHILD_RULE kTagRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_SIMPLE_TAG, ReadSimpleTag),
    QMKVD_RULE_HANDLER(MKV_ID_TARGETS, ReadTargets),
};
const QMKVD_MASTER kTag =
    QMKVD_MASTER_OF(kTagRules, /*skip_empty=*/false, /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

int ReadTag(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_TAGS* tags = static_cast<QMKVD_TAGS*>(record);
  tags->tag_data_pos = child->data_pos;
  tags->tag_size = static_cast<uint32_t>(child->size);
  return parse_tag(walk->ctx, walk->mfal, walk->fp, tags) == 0 ? QMKVD_WALK_NEXT : -1;
}

const QMKVD_CHILD_RULE kTagsRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_TAG, ReadTag),
};
const QMKVD_MASTER kTags =
    QMKVD_MASTER_OF(kTagsRules, /*skip_empty=*/false, /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

}  // namespace

int parse_tags(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TAGS* tags) {
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, tags->pos.data_pos, tags->pos.size, &kTags,
                                        tags, nullptr));
}

int parse_tag(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TAGS* tags) {
  return WalkResult(
      qmkvd_walk_children(ctx, mfal, fp, tags->tag_data_pos, tags->tag_size, &kTag, tags, nullptr));
}

int parse_tag_simpletag(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                        QMKVD_SIMPLE_TAG* tag) {
  return WalkResult(
      qmkvd_walk_children(ctx, mfal, fp, tag->data_pos, tag->size, &kSimpleTag, tag, nullptr));
}

int parse_tag_targets(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                      QMKVD_ELEMENT_POS* targets) {
  return StepOver(ctx, mfal, fp, targets->data_pos, targets->size);
}

int parse_chapters(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                   QMKVD_ELEMENT_POS* chapters) {
  return StepOver(ctx, mfal, fp, chapters->data_pos, chapters->size);
}
