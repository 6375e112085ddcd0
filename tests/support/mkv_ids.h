// Matroska element IDs for building test files, written down once and apart from the library's
// own table, so that a wrong ID in the library cannot hide behind the same wrong ID here.
#pragma once

#include <stdint.h>

namespace mkvtest {
namespace id {

enum : uint32_t {
  // EBML header and the Segment's level
  kEbml = 0x1A45DFA3,
  kEbmlVersion = 0x4286,
  kEbmlReadVersion = 0x42F7,
  kEbmlMaxIdLength = 0x42F2,
  kEbmlMaxSizeLength = 0x42F3,
  kDocType = 0x4282,
  kDocTypeVersion = 0x4287,
  kDocTypeReadVersion = 0x4285,
  kSegment = 0x18538067,
  kSeekHead = 0x114D9B74,
  kSeek = 0x4DBB,
  kSeekId = 0x53AB,
  kSeekPosition = 0x53AC,
  kInfo = 0x1549A966,
  kTracks = 0x1654AE6B,
  kCluster = 0x1F43B675,
  kCues = 0x1C53BB6B,
  kTags = 0x1254C367,
  kAttachments = 0x1941A469,
  kVoid = 0xEC,
  kCrc32 = 0xBF,
  // Info
  kTimecodeScale = 0x2AD7B1,
  kDuration = 0x4489,
  kTitle = 0x7BA9,
  kMuxingApp = 0x4D80,
  kWritingApp = 0x5741,
  kDateUtc = 0x4461,
  kSegmentFilename = 0x7384,
  kPrevFilename = 0x3C83AB,
  kNextFilename = 0x3E83BB,
  // Tracks
  kTrackEntry = 0xAE,
  kTrackNumber = 0xD7,
  kTrackUid = 0x73C5,
  kTrackType = 0x83,
  kDefaultDuration = 0x23E383,
  kName = 0x536E,
  kLanguage = 0x22B59C,
  kCodecId = 0x86,
  kCodecPrivate = 0x63A2,
  kVideo = 0xE0,
  kPixelWidth = 0xB0,
  kPixelHeight = 0xBA,
  kDisplayWidth = 0x54B0,
  kDisplayHeight = 0x54BA,
  kAudio = 0xE1,
  kSamplingFrequency = 0xB5,
  kOutputSamplingFrequency = 0x78B5,
  kChannels = 0x9F,
  kBitDepth = 0x6264,
  kContentEncodings = 0x6D80,
  kContentEncoding = 0x6240,
  kContentEncodingScope = 0x5032,
  kContentCompression = 0x5034,
  kContentCompAlgo = 0x4254,
  kContentCompSettings = 0x4255,
  kContentEncryption = 0x5035,
  // Clusters
  kTimecode = 0xE7,
  kBlockGroup = 0xA0,
  kBlock = 0xA1,
  kSimpleBlock = 0xA3,
  kBlockDuration = 0x9B,
  kReferenceBlock = 0xFB,
  // Cues
  kCuePoint = 0xBB,
  kCueTime = 0xB3,
  kCueTrackPositions = 0xB7,
  kCueTrack = 0xF7,
  kCueClusterPosition = 0xF1,
  kCueBlockNumber = 0x5378,
  kCueRelativePosition = 0xF0,
  // Tags
  kTag = 0x7373,
  kSimpleTag = 0x67C8,
  kTagName = 0x45A3,
  kTagString = 0x4487,
  // Attachments
  kAttachedFile = 0x61A7,
  kFileName = 0x466E,
  kFileMimeType = 0x4660,
  kFileData = 0x465C,
  kFileUid = 0x46AE,
};

// Colour and MasteringMetadata, under Video.
namespace colour {
enum : uint32_t {
  kColour = 0x55B0,
  kMatrix = 0x55B1,
  kBits = 0x55B2,
  kRange = 0x55B9,
  kTransfer = 0x55BA,
  kPrimaries = 0x55BB,
  kMaxCll = 0x55BC,
  kMaxFall = 0x55BD,
  kMastering = 0x55D0,
  kRx = 0x55D1,
  kRy = 0x55D2,
  kGx = 0x55D3,
  kGy = 0x55D4,
  kBx = 0x55D5,
  kBy = 0x55D6,
  kWx = 0x55D7,
  kWy = 0x55D8,
  kLumMax = 0x55D9,
  kLumMin = 0x55DA,
};
}  // namespace colour

}  // namespace id
}  // namespace mkvtest
