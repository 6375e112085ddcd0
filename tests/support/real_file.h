// The committed real files under tests/data and what their references need.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

namespace mkvtest {

// Path and bytes of a file given relative to tests/data ("sample.mkv", "corpus/x.mkv").
std::string DataPath(const std::string& name);
std::vector<uint8_t> ReadDataFile(const std::string& name);

// A test-name part made of a file's name: "corpus/x-y.mkv" -> "x_y_mkv" (keep_suffix) or
// "x_y".
std::string FileTestName(const std::string& name, bool keep_suffix);

// Loads a file's ffprobe references, "corpus/x.mkv" -> corpus/ref/x.mkv.packets.csv and
// .streams.json. Returns "" or what is wrong.
struct FfprobeRef;
std::string LoadRefOf(const std::string& name, FfprobeRef* ref);

// AVC and HEVC frames come out with every NAL length field replaced by the start code
// 00 00 00 01; ffprobe hashes the stored, length-prefixed form. This turns the output back:
// each unit runs to the next 00 00 00 01 (emulation prevention keeps that pattern out of the
// units) and gets a big-endian length of `field` bytes. Returns "" or what is wrong.
std::string ToLengthPrefixed(const std::vector<uint8_t>& in, int field, std::vector<uint8_t>* out);

enum : uint8_t { kSimpleBlockId = 0xA3, kBlockId = 0xA1 };

// The ID of the element whose payload starts at pos (ffprobe's pos of a packet is the block's
// payload): the byte before a size field that ends exactly at pos. 0 when none fits.
uint8_t BlockIdBefore(const std::vector<uint8_t>& bytes, int64_t pos);

}  // namespace mkvtest
