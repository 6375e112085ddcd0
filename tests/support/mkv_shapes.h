// Small, valid building blocks of test files, so that each test spells out only what it is
// about.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "mkv_builder.h"
#include "mkv_ids.h"

namespace mkvtest {

// Info with TimecodeScale 1 ms, an 8-byte Duration of 1000 ticks and a MuxingApp.
Element MinimalInfo();
// Tracks with one video TrackEntry (number 1, V_VP9, 64x48).
Element OneTrack();
// TrackEntries: number, type and CodecID, then the extra children. The audio one wraps `audio`
// in an Audio master.
Element VideoTrack(uint64_t number, std::vector<Element> extra = {},
                   const std::string& codec = "V_VP9");
Element AudioTrack(uint64_t number, std::vector<Element> audio, const std::string& codec = "A_OPUS",
                   std::vector<Element> extra = {});
Element TextTrack(uint64_t number, const std::string& codec = "S_TEXT/UTF8",
                  std::vector<Element> extra = {});
// ContentEncodings with header stripping of these bytes.
Element HeaderStripping(std::vector<uint8_t> bytes);
// A Cluster of these blocks at this timecode, a CRC-32 first when `crc`.
Element ClusterAt(uint64_t timecode, std::vector<Element> blocks, bool crc = false);
// Info, Tracks of these tracks, then the rest (Clusters, Cues...), padded with a Void to the
// 128 bytes the sniffer wants when `pad`.
std::vector<uint8_t> FileOf(std::vector<Element> tracks, std::vector<Element> rest,
                            bool pad = false);
// A Cluster at timecode 0 with one key-frame SimpleBlock of track 1.
Element SmallCluster(uint64_t timecode = 0);
// A CuePoint: CueTime, then one CueTrackPositions with CueTrack and CueClusterPosition. The time
// and the position are `width` bytes wide (0: the shortest).
Element CuePoint(uint64_t time, uint64_t track, uint64_t cluster_pos, int width = 0);
// EBML header (DocType "matroska") followed by a Segment of these children.
std::vector<uint8_t> MkvFile(std::vector<Element> segment_children);
// Info, Tracks and one Cluster: the least a file needs to open.
std::vector<uint8_t> MinimalFile();

}  // namespace mkvtest
