// Trend log: interval trend snapshots (minimum, maximum, average and actual
// per parameter and rate period) of the device's trended devices, kept in one
// SQLite file (docs/trend-logs.md). The gateway reads it; the device's trend
// logic and the cdstrend tool write it through the writer calls below.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cds_types.h"

struct sqlite3;

namespace toolkit {
namespace trend {

// One rate period and how many snapshots of it a device keeps (0 = no limit).
struct CPeriodProperties {
    uint32_t period = 0;
    uint32_t maxEntries = 0;
};

// One trended device. A fresh record has empty texts and both numbers -1.
struct CDeviceProperties {
    std::string path;         // exact device path, compared byte for byte
    std::string name;         // free text for operators ("" when none)
    int32_t id = -1;          // row of the device in the log; -1 when not read from it
    int32_t paramCount = -1;  // number of parameters defined; -1 when not read
};

// Values of "enumSampleType".
enum SampleType : int32_t { SAMPLE_NORMAL = 0, SAMPLE_PF = 1, SAMPLE_LISTEND = 2 };

// One trended parameter of a device.
struct CParamProperties {
    std::string path;
    int32_t sampleType = SAMPLE_NORMAL;
    bool hasMin = true;
    bool hasMax = true;
    bool hasAvg = true;
    bool hasActual = true;
    bool hasCount = false;  // the fifth value carries a sample count
    int32_t slot = -1;      // position of its values in the device's snapshots
    int32_t decimals = -1;  // display precision for operators; -1 when unset
};

// The selected parameters of one device, as get_trend_data takes them.
struct CDeviceParams {
    CDeviceProperties device;
    std::vector<CParamProperties> params;
};

// An optional double: absent exactly when the value is NaN.
class COptVal {
  public:
    COptVal() = default;
    COptVal(double v) : m_v(v) {}  // NaN makes it absent
    bool has_value() const { return !std::isnan(m_v); }
    explicit operator bool() const { return has_value(); }
    double operator*() const { return m_v; }
    double raw() const { return m_v; }

  private:
    double m_v = std::nan("");
};

// One parameter's values in one snapshot.
struct CSample {
    COptVal min, max, avg, actual;
    COptVal count;  // the fifth value (sample count); only read on request
};

// One interval of one rate period.
struct CSnapshot {
    uint32_t period = 0;
    int64_t time = 0;              // end of the interval, UNIX seconds
    double percentValid = 0.0;     // share of the interval with valid input
    std::vector<CSample> samples;  // one per parameter, in the parameters' order
};

// A page of trend data: the device, its selected parameters and snapshots.
struct CDeviceData {
    std::string devicePath;
    std::vector<CParamProperties> params;
    std::vector<CSnapshot> snapshots;
};

// The trend log. Every call returns 0 on success, else a non-zero
// api_status_code_t (2 not found, 6 busy, 7 I/O, 8 corrupt or not a trend
// log, 10 invalid argument, 13 newer schema). Nothing here throws. A handle
// is used by one thread only. The destructor closes the log.
class CLog {
  public:
    CLog() = default;
    ~CLog();
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    // Opens the log at `path` (closing one already open).
    //  readOnly      never write; the gateway passes true.
    //  create        create the file and its schema when missing (needs
    //                !readOnly); the gateway passes false.
    //  busyMs        how long one statement waits for a writer before it
    //                reports busy (6), in milliseconds; the gateway passes 40
    //                and retries on its own.
    //  exclusive     hold the file locked for the life of the handle (a
    //                single-process tool); the gateway passes false.
    //  pageSize      bytes per page for a new file (0 = SQLite's default).
    //  cacheSize     page cache in bytes (0 = SQLite's default).
    //  heapLimit     process-wide SQLite soft heap limit in bytes (0 = none).
    //  checkIntegrity run SQLite's quick check at open (slow on big logs);
    //                the gateway passes false.
    // A missing file fails with 2 unless `create`; a file that is not a
    // trend log fails with 8. A log busy at open time still opens.
    int open(const std::string& path, bool readOnly, bool create, unsigned busyMs, bool exclusive,
             unsigned pageSize, unsigned cacheSize, unsigned heapLimit, bool checkIntegrity);
    void close();
    bool is_open() const { return m_db != nullptr; }
    // SQLite code of the last failure (0 when none).
    int last_sqlite_code() const { return m_sqliteCode; }

    // Lists, cleared first: periods by number; devices in definition order;
    // a device's parameters in slot order (by the device's id, or its path
    // when the id is -1; an unknown device fails with 2).
    int get_periods(std::vector<CPeriodProperties>& out);
    int get_devices(std::vector<CDeviceProperties>& out);
    int get_params(const CDeviceProperties& device, std::vector<CParamProperties>& out);

    // Fills `out` (cleared first) with the snapshots of `sel.device` whose
    // period is in `periods` and whose time lies in [range.first,
    // range.second] (-1 leaves that side open). `maxCount` 0 means no limit.
    // `ascending` takes the oldest first, else the newest first; snapshots of
    // one time come in period order (reversed when descending). `offset`
    // snapshots are skipped from the end the page starts at. Each snapshot
    // has one sample per parameter of `sel.params`, in that order; a value
    // that was never written is absent. `withCount` also reads the fifth
    // value (else it stays absent).
    int get_trend_data(CDeviceData& out, const CDeviceParams& sel,
                       const std::vector<CPeriodProperties>& periods,
                       const std::pair<int64_t, int64_t>& range, uint32_t maxCount, uint64_t offset,
                       bool ascending, bool withCount);

    // Writer calls (need a handle opened with readOnly false).
    // Adds or updates a period's entry limit.
    int define_period(const CPeriodProperties& period);
    // Adds the device (or updates its name); fills id and paramCount.
    int define_device(CDeviceProperties& device);
    // Adds a parameter to the device named by `devicePath` (2 when unknown),
    // or updates the flags of one with the same path; fills its slot.
    int define_param(const std::string& devicePath, CParamProperties& param);
    // Stores the snapshots of one device in one transaction (a snapshot with
    // an existing period and time replaces it). Each snapshot's samples are
    // in slot order; a period that is not defined fails with 10. Periods
    // with an entry limit lose their oldest snapshots beyond it.
    int append(const std::string& devicePath, const std::vector<CSnapshot>& snapshots);

  private:
    int fail(int sqliteCode, int status = 0);
    int deviceId(const CDeviceProperties& device, int64_t& id);
    ::sqlite3* m_db = nullptr;
    int m_sqliteCode = 0;
};

}  // namespace trend
}  // namespace toolkit
