// Writes one track's payloads to a file a decoder or player can take: Annex-B for AVC and HEVC,
// IVF for VP8, VP9 and AV1, ADTS for AAC, a FLAC stream for FLAC, an elementary stream with
// csd-0 in front for MPEG-4 visual and MPEG-2, the bare payloads otherwise.
#pragma once

#include <memory>
#include <string>

#include "probe_plugin.h"

namespace qmkvtools {

class PayloadWriter : public PacketSink {
 public:
  // Completes the file. False, with a one-line reason, when anything could not be written.
  virtual bool Close(std::string* error) = 0;
};

// The writer for a track of that format, or null with a one-line reason (the format lacks what
// the container needs, or the file cannot be created).
std::unique_ptr<PayloadWriter> MakePayloadWriter(AMediaFormat* format, const std::string& path,
                                                 std::string* error);

// What MakePayloadWriter picks for a MIME type: "annexb", "ivf", "adts", "flac", "es" or
// "raw".
const char* ContainerFor(const char* mime);

}  // namespace qmkvtools
