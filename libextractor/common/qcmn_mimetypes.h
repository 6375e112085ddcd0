// MIME types the framework has no constant for at API 30. The extractor still has to name
// these tracks, so the names and values are ours (see docs/reference.md, "MIME types"). Kept apart from
// platform/ so they are never mistaken for framework symbols.
#pragma once

// A track of no kind we publish, and audio or video tracks whose codec we cannot name.
constexpr const char* QCMN_MIMETYPE_UNKNOWN = "application/octet-stream";
constexpr const char* QCMN_MIMETYPE_AUDIO_UNKNOWN = "audio/x-unknown";
constexpr const char* QCMN_MIMETYPE_VIDEO_UNKNOWN = "video/x-unknown";

// Codecs with a registered or customary type but no framework constant.
constexpr const char* QCMN_MIMETYPE_AUDIO_DTS = "audio/vnd.dts";
constexpr const char* QCMN_MIMETYPE_TEXT_ASS = "text/x-ass";
constexpr const char* QCMN_MIMETYPE_TEXT_SSA = "text/x-ssa";
