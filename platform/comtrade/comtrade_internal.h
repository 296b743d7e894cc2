// Internal interface between the parts of wscomtrade: the configuration
// parser, the data decoder's record geometry and the sample-time helpers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "comtrade.h"

namespace toolkit {
namespace ct {

// Parses a .cfg text into `out`. CT_ERR_CONFIG with `error` naming the line
// when a line is missing, a count is wrong or a field is malformed.
int parseConfig(const char* text, size_t size, CWaveConfigData& out, std::string& error);

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
