// Internal interface between the parts of wscomtrade: the configuration
// parser, the confined file reads, the data decoder's record geometry and
// the sample-time helpers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "comtrade.h"

namespace toolkit {
namespace ct {

class CodePage;

// Parses a .cfg text into `out`; names that are not UTF-8 are converted
// through `page`. CT_ERR_CONFIG with `error` naming the line when a line is
// missing, a count is wrong or a field is malformed.
int parseConfig(const char* text, size_t size, const CodePage& page, CWaveConfigData& out,
                std::string& error);

// How reading one of a record's files went.
enum class FileRead { Ok, Missing, Unreadable, Outside };

// Reads the regular file at `path` whole, but only when its real location
// (links resolved) lies below `root`, itself a real path. Missing: nothing
// at `path` (a link to nothing included). Outside: it resolves elsewhere.
// Unreadable: not a regular file (a FIFO is never waited on), larger than
// `limit`, or no permission.
FileRead readBelow(const std::string& path, const std::string& root, size_t limit,
                   std::vector<char>& out);

// `path` with links resolved; false when it does not resolve.
bool realPath(const std::string& path, std::string& out);
// Whether real path `real` lies below real folder `root` (not the folder).
bool isBelow(const std::string& real, const std::string& root);

// Bytes of one binary data record (number, time stamp, analog values, status
// words); 0 for ASCII.
size_t binaryRecordSize(const CWaveConfigData& cfg);

// Decodes analog channel `c` of `count` binary records into `out` (resized).
// The caller has checked that the bytes hold `count` records.
void decodeColumn(const CWaveConfigData& cfg, const char* bytes, size_t count, size_t c,
                  std::vector<float>& out);

// First and last time stamps of the data (raw units), for nrates = 0.
// False when the data holds fewer than two readable records.
bool firstLastStamps(const CWaveConfigData& cfg, const char* bytes, size_t size, int64_t& first,
                     int64_t& last);

// 0-based index of the sample nearest `offsetMicros` after the first one,
// walking the rate segments; clamped to the record.
int indexAtOffset(const CWaveConfigData& cfg, double offsetMicros);

}  // namespace ct
}  // namespace toolkit
