// Sizes of the records whose layout other components rely on, checked where they matter: on
// the 32-bit target, where pointers are 4 bytes and 64-bit fields are 8-byte aligned.
#include "demux/qmkvd_types.h"

static_assert(sizeof(QMKVD_INDEX_ENTRY) == 16, "an exported index entry is 16 bytes");
static_assert(sizeof(QMKVD_ELEMENT_POS) == 24, "element position record");
static_assert(sizeof(QMKVD_POS_ENTRY) == 24, "file summary position entry");
static_assert(sizeof(QMKVD_SEEK_ENTRY) == 16, "seek table entry");

#if defined(__arm__) || (defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4)
static_assert(sizeof(void*) == 4, "32-bit target");
static_assert(sizeof(QMKVD_MASTERING) == 40, "mastering record is 40 bytes on the target");
static_assert(sizeof(QMKVD_COLOUR) == 128, "colour record is 128 bytes on the target");
static_assert(sizeof(QCMN_MFAL) == 68, "access record: nine functions, reserved words, user");
#else
static_assert(sizeof(QMKVD_COLOUR) == 128, "colour record keeps 128 bytes on 64-bit hosts");
#endif
