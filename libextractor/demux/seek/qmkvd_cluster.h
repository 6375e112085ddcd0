// Clusters: the walkers that reach a Cluster's blocks, and a stream's list of every Cluster for
// seeking without cues.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

// Makes the Cluster whose payload starts at data_pos the cursor's current one (timecode cleared,
// not yet parsed), its size known or unknown.
void qmkvd_cluster_enter(QMKVD_CLUSTER_STATE* cluster, int64_t data_pos, uint64_t size,
                         bool unknown_size);

// Where the current Cluster's data ends: its payload plus its size; for a Cluster of unknown
// size, the next element from the cursor's block position on that can only stand at the
// Segment's level, or the end of the data. The handle's position is left anywhere.
int64_t qmkvd_cluster_end(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                          const QMKVD_CLUSTER_STATE* cluster);

// Damage between Clusters (a hole of zeros from an incomplete download, garbage) need not end a
// stream: looks from `from` on, within 16 MiB, for the next Cluster ID followed by a size and a
// Timecode or CRC-32, as a Cluster begins. Its position, or -1. The position is left anywhere.
int64_t qmkvd_cluster_resync(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t from);

// The Cluster whose header starts at pos or, stepping over the Voids, Cues, Tags and other
// Segment-level elements between Clusters (1024 at most), the next one; where damage stands
// instead of an element the Segment can hold, the next one qmkvd_cluster_resync finds. true
// with its payload position and size; false at the end of the data, at an element of unknown
// size other than a Cluster, or when nothing is found.
bool qmkvd_cluster_next(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t pos, uint64_t* size,
                        int64_t* payload);

// Reads a Cluster's leading children (Timecode, Position, PrevSize) from cluster->data_pos up to
// its first block, whose element start goes to cluster->block_pos. 0, or -1 on a read failure.
int32_t parse_cluster(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CLUSTER_STATE* cluster);

// Locates the block at cluster->block_pos and advances block_pos past it. whole_group 0 stops
// at the Block of a BlockGroup; otherwise the whole group is read (a BlockDuration after the
// Block is seen). 0, or -1 when the element is not a block or cannot be read.
int32_t parse_cluster_blockgroup(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                                 QMKVD_BLOCK_LOCATOR* block, QMKVD_CLUSTER_STATE* cluster,
                                 int32_t whole_group);

// Builds the stream's cluster list from its first Cluster on. 0 complete, -1 a block header
// could not be read, -2 no memory, -3 a Cluster could not be parsed.
int32_t qmkvds_make_cluster_list(QMKVDS_CTX* stream);

// The last Cluster that starts at or before time_ns; the first one for an earlier time; null
// for an empty list.
QMKVD_CLUSTER* qmkvds_find_cluster_list(QMKVD_CLUSTER* first, uint32_t unused, int64_t time_ns);
