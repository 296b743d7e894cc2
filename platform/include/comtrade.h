// COMTRADE disturbance records (IEEE C37.111, 1991/1999/2013): a record set
// (.cfg + .dat, optional .hdr and .inf) or a single .cff file, opened as one
// toolkit::CComtradeView, with its configuration, header facts and samples.
// Standalone: no data store, no SOAP; every call returns a status, none throws.
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace toolkit {
namespace ct {
class CodePage;
}

// Status values of every call below: 0 is success.
enum comtrade_status_t {
    CT_OK = 0,
    CT_ERR_URL = -1,        // URL refused or not naming a file below the folder
    CT_ERR_IO = -2,         // file missing, unreadable or too large
    CT_ERR_CONFIG = -3,     // .cfg text malformed (counts, missing lines, fields)
    CT_ERR_DATA = -4,       // .dat absent, truncated or malformed
    CT_ERR_HEADER = -5,     // .hdr present but unreadable or not text
    CT_ERR_NOT_LOADED = -6  // called before a successful initialize
};

enum class WaveDataFormat { Ascii, Binary, Binary32, Float32 };

// One sampling-rate segment: `rate` Hz up to and including sample number
// `lastSample` (1-based, as in the file).
struct CWaveRate {
    double rate = 0;
    int64_t lastSample = 0;
};

// One analog channel line. Texts are trimmed of blanks and UTF-8 (names that
// are not valid UTF-8 are converted from the record's code page).
struct CWaveAnalogChannelConfig {
    int index = 0;  // An, as written
    std::string name, phase, circuit, units;
    double a = 1, b = 0;      // value = a * raw + b
    double skew = 0;          // microseconds
    double min = 0, max = 0;  // raw limits as written; never used to reject data
    double primary = 1, secondary = 1;
    char ps = 'P';  // 'P' or 'S': a*x+b yields primary or secondary values
    // Factor that turns a*x+b into primary values (primary/secondary for 'S').
    double toPrimary() const;
};

struct CWaveDigitalChannelConfig {
    int index = 0;  // Dn, as written
    std::string name, phase, circuit;
    int normalState = 0;
};

// The parsed configuration. Times are UTC: the time stamps of the file are
// recorder-local by the time-code field (2013) and are moved to UTC with it.
struct CWaveConfigData {
    std::string stationId, deviceId;
    int revision = 1991;      // layout read: 1991, 1999 or 2013 (1991 without a year)
    int writtenRevision = 0;  // the year on line 1 (1997, 2000, ...); 0 when absent
    double lineFrequency = 0;
    std::vector<CWaveRate> rates;  // empty when the file gives nrates = 0
    // First segment's rate; with nrates = 0 the rate implied by the first and
    // last time stamps of the data (0 when there is no data to tell).
    double samplingRate = 0;
    int64_t numberSamples = 0;  // last sample number of the file
    timeval startTime{0, 0};
    timeval triggerTime{0, 0};
    int triggerIndex = 0;  // 0-based sample nearest the trigger time
    WaveDataFormat format = WaveDataFormat::Ascii;
    double timeMult = 1;          // time stamp unit, microseconds
    int timeCodeMinutes = 0;      // offset of the file's times from UTC
    int localCodeMinutes = 0;     // offset of local time from UTC
    bool localCodeKnown = false;  // false for "x" or when absent
    int timeQuality = 0;          // tmq_code, 0..15
    int leapSecond = 0;           // 0..3
    std::vector<CWaveAnalogChannelConfig> analog;
    std::vector<CWaveDigitalChannelConfig> digital;
};

// What the view hands to CWaveHeaderData: the .hdr text in UTF-8 (empty
// when the record has none) and the trigger index derived from the
// configuration.
struct CWaveHeaderHandle {
    std::string text;
    int derivedTriggerIndex = 0;
};

// What the view hands to CWaveSampleData: the .dat bytes (owned by the view)
// and the configuration they follow.
struct CWaveDataHandle {
    const char* bytes = nullptr;
    size_t size = 0;
    const CWaveConfigData* config = nullptr;
};

// The event facts of a header. The recorder of this device writes them as
// key=value lines: "EventDescription=", "TriggerChannel=", "TriggerIndex=".
// Foreign headers are searched for like-named keys ("key = value",
// "key: value"; in XML <Key>value</Key> and <any name="Key" value="value"/>;
// case, blanks and '_' ignored); with no
// description key the first non-blank line stands for it. Without a trigger
// index key the index derived from the configuration is used.
class CWaveHeaderData {
  public:
    // 0 on success; CT_ERR_HEADER when the text holds NUL bytes (not text)
    // or the handle is null.
    int fillData(const CWaveHeaderHandle* header);

    std::string eventDescription;
    std::string triggerChannel;
    int triggerIndex = 0;
};

// Decoded samples. Analog values are a*raw+b in single precision; a missing
// value (empty ASCII field, 0x8000 / 0x80000000 binary) is NaN.
class CWaveSampleData {
  public:
    // Decodes every analog channel (and, unless analogOnly, the status
    // channels and sample times). 0 on success; CT_ERR_DATA when the data
    // holds fewer samples than the configuration's count or is malformed.
    // Never allocates more than the data's size can fill. With analogOnly
    // and binary data the sizes are checked here but a channel is decoded
    // at its first analog() look-up, from the view's bytes: the view must
    // then outlive this object.
    int fillData(const CWaveDataHandle* data, bool analogOnly);

    // First analog channel named exactly `name`; null when there is none.
    // Not thread-safe (it may decode the channel on first use).
    const std::vector<float>* analog(const std::string& name) const;
    // First status channel named exactly `name` (0/1 per sample); null when
    // there is none or fillData ran with analogOnly.
    const std::vector<uint8_t>* digital(const std::string& name) const;
    // Microseconds of each sample after the first (from the rates, or from
    // the time stamps when the file gives nrates = 0); empty with analogOnly.
    const std::vector<double>& times() const { return m_times; }
    size_t sampleCount() const { return m_count; }

  private:
    friend struct SampleDecoder;
    size_t m_count = 0;
    std::vector<std::string> m_analogNames, m_digitalNames;
    mutable std::vector<std::vector<float>> m_analog;
    const char* m_bytes = nullptr;  // set while columns wait to be decoded
    const CWaveConfigData* m_cfg = nullptr;
    std::vector<std::vector<uint8_t>> m_digital;
    std::vector<double> m_times;
};

// Where the code page of a record's texts came from.
enum class CodePageOrigin {
    Utf8,      // every text was UTF-8 already
    Folder,    // the operator's ".codepage" file
    Detected,  // the detector's guess
    Default    // no usable guess: Windows-1252
};

// One opened record. Typical use: parseUrlToFilepath, initialize,
// getConfigurationData, then the header and data handles.
class CComtradeView {
  public:
    CComtradeView() = default;
    // The handles point into the view, so it is neither copied nor moved.
    CComtradeView(const CComtradeView&) = delete;
    CComtradeView& operator=(const CComtradeView&) = delete;

    // Maps a client URL to the record's file below `waveFolder`. Accepted:
    // a relative path naming a .cfg or .cff file ("2026-11/feeder3.cfg") and
    // the same after "file:" ("file:2026-11/feeder3.cfg"); %XX escapes are
    // decoded. Refused (CT_ERR_URL): empty, NUL, absolute paths, "..", "\",
    // other extensions, a missing or non-regular file, and any path whose
    // real location (symbolic links resolved) is not below the folder's.
    // On success `out` is the resolved path.
    static int parseUrlToFilepath(const std::string& url, const std::string& waveFolder,
                                  std::string& out);

    // Reads the record (.cfg with its siblings, or .cff) and parses the
    // configuration. Every file read must lie below `waveFolder` (links
    // resolved); the one-argument form confines the files to the folder
    // that holds `path`. CT_ERR_IO when the .cfg/.cff cannot be read, a .cff
    // has no configuration section, or any file of the record (a .dat, .hdr
    // or .inf that is there) resolves outside the folder. A configuration
    // that does not parse is not an error here: getConfigurationData
    // reports it. Names and header text end up in UTF-8 (see codePage()).
    int initialize(const std::string& path, const std::string& waveFolder);
    int initialize(const std::string& path);

    // Copies the configuration; its parse status (CT_ERR_CONFIG with
    // errorText() telling the line) otherwise.
    int getConfigurationData(CWaveConfigData& out) const;

    bool isHeaderLoaded() const { return m_headerLoaded; }
    const CWaveHeaderHandle* headerHandle() const { return m_headerLoaded ? &m_header : nullptr; }
    // Loaded when the record has data bytes and a valid configuration.
    bool isDataLoaded() const { return m_dataLoaded; }
    const CWaveDataHandle* dataHandle() const { return m_dataLoaded ? &m_data : nullptr; }
    const std::string& infText() const { return m_inf; }
    // The iconv name of the code page the texts were converted from
    // ("UTF-8" when they needed none), and where it came from.
    const std::string& codePage() const { return m_codePage; }
    CodePageOrigin codePageOrigin() const { return m_codePageOrigin; }
    // Why the latest failing call failed, for operators ("line 4: ...").
    const std::string& errorText() const { return m_error; }

  private:
    int loadRecordSet(const std::string& path);
    int loadSingleFile(const std::string& path);
    bool readConfined(const std::string& path, size_t limit, std::vector<char>& out);
    std::unique_ptr<ct::CodePage> chooseCodePage();
    void finish();

    std::string m_root, m_path;  // real paths of the wave folder and the record
    std::string m_cfgText, m_inf, m_error;
    std::string m_codePage = "UTF-8";
    CodePageOrigin m_codePageOrigin = CodePageOrigin::Utf8;
    std::vector<char> m_bytes;  // the .dat file, or the whole .cff
    size_t m_datOffset = 0, m_datSize = 0;
    bool m_datDeclaredBinary = false;
    CWaveConfigData m_config;
    int m_configStatus = CT_ERR_NOT_LOADED;
    CWaveHeaderHandle m_header;
    bool m_headerLoaded = false;
    CWaveDataHandle m_data;
    bool m_dataLoaded = false;
};

}  // namespace toolkit
