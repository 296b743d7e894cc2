// Trend logs: the lazily opened trend log of the process, the rate periods,
// a device's trended parameters, and pages of trend snapshots
// (nsdx:getTrendPeriods, nsdx:getDeviceTrendParams, nsdx:getTrendData).
#pragma once

#include <vector>

#include "soapH.h"
#include "trend_log.h"
#include "ws_core_options.h"
#include "ws_global.h"

// Returns 1 when g.trendLog is open, opening it on first use; the handle then
// stays open for the process. Returns 0 with `error` = code 21 "Failed to
// open trend log database" (and a line on standard error) when the open
// fails; g.trendLog stays empty so the next request tries again.
int CheckOpenTrendLog(global_data_t& g, const service_options_t& opts, tk_string& error);

// Finds `devicePath` (exact bytes) among the trend log's devices and fills
// `device` and `params` with its parameters, reduced to those whose path is
// in `requested` when that is not empty (library order kept). Returns 0 when
// at least one parameter is left, else -1 or the library's code with `error`
// filled (codes 21/22) and the matching line on standard error. Needs an
// open g.trendLog.
int GetDeviceParams(global_data_t& g, const service_options_t& opts, const tk_string& devicePath,
                    const std::vector<std::string>& requested, tk_string& error,
                    toolkit::trend::CDeviceProperties& device,
                    std::vector<toolkit::trend::CParamProperties>& params);

// Appends one wire record per parameter (path, type, the four has-flags).
void MapDeviceParams(const std::vector<toolkit::trend::CParamProperties>& params,
                     std::vector<stParamProperties>& out);

// Fills `out` from a page: device path, parameter paths and one stSnapshot
// per snapshot; absent (NaN) values go out as 0 with their flag false.
void MapTrendData(const toolkit::trend::CDeviceData& data, stDeviceData& out);
