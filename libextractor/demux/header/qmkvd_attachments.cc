// Attachments: each AttachedFile's name, MIME type and where its data lies, for the cover art of
// the file's metadata. The data itself is not read here. A broken child header of Attachments
// fails the parse as before; a broken AttachedFile is only left out.
#include <string.h>

#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_header.h"

namespace {

int LocateData(QMKVD_WALK*, const QMKVD_CHILD* child, void* record) {
  QMKVD_ATTACHMENT* file = static_cast<QMKVD_ATTACHMENT*>(record);
  file->data_pos = child->data_pos;
  file->data_size = child->size;
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kAttachedFileRules[] = {
    QMKVD_RULE_TEXT(MKV_ID_FILE_NAME, QMKVD_ATTACHMENT, name),
    QMKVD_RULE_TEXT(MKV_ID_FILE_MIME_TYPE, QMKVD_ATTACHMENT, mime),
    QMKVD_RULE_HANDLER(MKV_ID_FILE_DATA, LocateData),
};
const QMKVD_MASTER kAttachedFile = QMKVD_MASTER_OF(kAttachedFileRules, /*skip_empty=*/false,
                                                   /*cap_size=*/false, QMKVD_OVERRUN_STOP);

int ReadAttachedFile(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_ATTACHMENTS* attached = static_cast<QMKVD_ATTACHMENTS*>(record);
  if (attached->count >= QMKVD_MAX_ATTACHMENTS) return QMKVD_WALK_NEXT;
  QMKVD_ATTACHMENT file;
  memset(&file, 0, sizeof(file));
  if (qmkvd_walk_children(walk->ctx, walk->mfal, walk->fp, child->data_pos, child->size,
                          &kAttachedFile, &file, nullptr) < 0) {
    return QMKVD_WALK_NEXT;  // the others stay usable
  }
  attached->files[attached->count++] = file;
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kAttachmentsRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_ATTACHED_FILE, ReadAttachedFile),
};
const QMKVD_MASTER kAttachments = QMKVD_MASTER_OF(kAttachmentsRules, /*skip_empty=*/false,
                                                  /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

}  // namespace

int parse_attachments(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                      QMKVD_ELEMENT_POS* attachments) {
  ctx->attached.count = 0;
  const int walked = qmkvd_walk_children(ctx, mfal, fp, attachments->data_pos, attachments->size,
                                         &kAttachments, &ctx->attached, nullptr);
  return walked < 0 ? -1 : 0;
}
