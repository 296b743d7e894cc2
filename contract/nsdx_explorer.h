// Device-explorer namespace (nsdx) types and operations in the rpc/literal
// shape: the operation element's children are its parameters; they and the
// record fields are unqualified local elements. The "st..." types carry no
// namespace prefix.
// The two waveform operations answer "nsdx:getWaveConfigResponse" and
// "nsdx:getWaveDataResponse" on purpose: clients expect these names.

// A decimal number from 0 to the largest value is read as that number,
// named or not; any other unknown text is a type error.
enum nsdx__LogRqstType
{
    nsdx__LogRqstType__LgRqTypDeltas = 1,
    nsdx__LogRqstType__LgRqTypAlarmEvents = 2,
    nsdx__LogRqstType__LgRqTypSystemEvents = 3
};

enum nsdx__LeafTypes
{
    nsdx__LeafTypes__LeafTypeNormal = 0,
    nsdx__LeafTypes__LeafTypePersist = 1,
    nsdx__LeafTypes__LeafTypeAuto = 2,
    nsdx__LeafTypes__LeafTypeMPL = 3
};

enum nsdx__RatePeriod
{
    nsdx__RatePeriod__RatePeriodA = 1,
    nsdx__RatePeriod__RatePeriodB = 2,
    nsdx__RatePeriod__RatePeriodC = 3,
    nsdx__RatePeriod__RatePeriodD = 4,
    nsdx__RatePeriod__RatePeriodAll = 5
};

enum enumSampleType
{
    enumSampleType__SAMPLE_TYPE_NORMAL = 0,
    enumSampleType__SAMPLE_TYPE_PF = 1,
    enumSampleType__SAMPLE_TYPE_LISTEND = 2
};

class nsdx__deviceDescriptor
{
  public:
    std::string devPath 1;
    std::string devType 1;
    std::string devDisplayName 1;
    int devQuality 1;
    int devChangeCount 1;
    LONG64 devChangeTime 1;
};

class nsdx__leafDescriptor
{
  public:
    std::string *result 0;  // omitted when absent
    LONG64 leafChangeTime 1;
    enum nsdx__LeafTypes leafType 1;
};

class nsdx__MinAvgMaxValue
{
  public:
    std::string result 1;
    std::string path 1;
    int numValues 1;
    double avgValue 1;
    double minValue 1;
    LONG64 minTime 1;
    double maxValue 1;
    LONG64 maxTime 1;
    enum nsdx__RatePeriod ratePeriod 1;
};

// The single `request` of getDeltaLog, getEventLog and getActiveAlarms.
class nsdx__logRetrieveRequest
{
  public:
    std::string options 1;
    enum nsdx__LogRqstType rqstType 1;
    LONG64 startTime 1;
    LONG64 endTime 1;
    int nMaxToReturn 1;
    bool bLatestEvents 1;
    bool bReverseOrder 1;
    bool bTrimIncomplete 1;
    std::string path 1;
};

class nsdx__getTrendDataRequest
{
  public:
    std::string options 1;
    std::string devicePath 1;
    std::vector<std::string> pointPaths 0;
    std::vector<ULONG64> periods 0;
    LONG64 startTime 1;
    LONG64 endTime 1;
    int nMaxToReturn 1;
    ULONG64 startingOffset 1;
    bool ascendingOrder 1;
};

class stDeviceParams
{
  public:
    std::string devicePath 1;
    std::vector<std::string> paramPaths 0;
};

class stSample
{
  public:
    double min 1;
    double max 1;
    double avg 1;
    double actual 1;
    bool minValid 1;
    bool maxValid 1;
    bool avgValid 1;
    bool actualValid 1;
};

class stSnapshot
{
  public:
    ULONG64 period 1;
    LONG64 timestamp 1;
    double percent_valid 1;  // "percent-valid" on the wire
    std::vector<stSample> data 0;
};

class stDeviceData
{
  public:
    stDeviceParams params 1;
    std::vector<stSnapshot> samples 0;
};

class stParamProperties
{
  public:
    std::string path 1;
    enum enumSampleType type 1;
    bool hasMin 1;
    bool hasMax 1;
    bool hasAvg 1;
    bool hasActual 1;
};

class stPeriodProperties
{
  public:
    ULONG64 period 1;
    ULONG64 max_entries 1;  // "max-entries" on the wire
};

class nsdx__getWaveDataRequest
{
  public:
    std::string options 1;
    std::string url 1;
    std::string channel 1;
};

// Responses: `result` first ("OK", empty or an error text); an empty
// sequence writes no element at all.

class nsdx__getDeviceTreeResponse
{
  public:
    std::string result 1;
    std::vector<nsdx__deviceDescriptor> devices 0;
};

class nsdx__getLeafDescriptorsResponse
{
  public:
    std::string result 1;
    std::vector<nsdx__leafDescriptor *> descriptors 0;
};

class nsdx__findAttributeMatchesResponse
{
  public:
    std::string result 1;
    std::vector<std::string> nodes 0;
    std::vector<std::string> data 0;
};

class nsdx__whoAmIResponse
{
  public:
    std::string result 1;
};

class nsdx__getLocalAndUtcTimeResponse
{
  public:
    std::string result 1;
    LONG64 utcTime 1;
    LONG64 localTime 1;
    std::string timezone 1;
};

class nsdx__getMinAvgMaxValuesResponse
{
  public:
    std::string result 1;
    LONG64 startTime 1;
    LONG64 endTime 1;
    std::vector<nsdx__MinAvgMaxValue> minAvgMaxValues 0;
};

class nsdx__getTrendPeriodsResponse
{
  public:
    std::string result 1;
    std::vector<stPeriodProperties> periodProperties 0;
};

class nsdx__getDeviceTrendParamsResponse
{
  public:
    std::string result 1;
    std::vector<stParamProperties> deviceParams 0;
};

class nsdx__getTrendDataResponse
{
  public:
    std::string result 1;
    stDeviceData data 1;
};

class nsdx__getDeltaLogResponse
{
  public:
    std::string result 1;
    int numTrimmedPoints 1;
    std::vector<nss1__PublishedValue *> loggedValues 0;
};

// `events` may mix nss1__Event and nss1__AlarmUpdate (written with xsi:type).
class nsdx__getEventLogResponse
{
  public:
    std::string result 1;
    int numTrimmedEvents 1;
    std::vector<nss1__Event *> events 0;
};

class nsdx__getActiveAlarmsResponse
{
  public:
    std::string result 1;
    int numTrimmedEvents 1;
    std::vector<nss1__AlarmUpdate *> alarms 0;
};

class nsdx__getWaveConfigResponse
{
  public:
    std::string result 1;
    std::string stationID 1;
    std::string deviceID 1;
    std::string eventDescr 1;
    std::string triggerChannel 1;
    double samplingRate 1;
    int numberSamples 1;
    LONG64 startTime 1;
    LONG64 triggerTime 1;
    int triggerIndex 1;
    std::vector<std::string> analogChannelNames 0;
    std::vector<std::string> digitalChannelNames 0;
};

class nsdx__getWaveDataResponse
{
  public:
    std::string result 1;
    double samplingRate 1;
    LONG64 startTime 1;
    LONG64 triggerTime 1;
    int triggerIndex 1;
    std::vector<double> data 0;
};

int nsdx__getDeviceTree(std::string *options, std::string *startingPath, bool bRecursive,
                        nsdx__getDeviceTreeResponse &response);
int nsdx__getLeafDescriptors(std::string *options, std::string *basePath,
                             std::vector<std::string> leafPaths,
                             nsdx__getLeafDescriptorsResponse &response);
int nsdx__findAttributeMatches(std::string *options, std::string *startingPath, bool bRecursive,
                               std::string *attribMatch, std::string *regexMatchPattern,
                               nsdx__findAttributeMatchesResponse &response);
int nsdx__whoAmI(std::string *options, nsdx__whoAmIResponse &response);
int nsdx__getLocalAndUtcTime(std::string *options, nsdx__getLocalAndUtcTimeResponse &response);
int nsdx__getMinAvgMaxValues(std::string *options, std::vector<std::string> *paths,
                             LONG64 startTime, LONG64 endTime, enum nsdx__RatePeriod ratePeriod,
                             nsdx__getMinAvgMaxValuesResponse &response);
int nsdx__getTrendPeriods(std::string *options, nsdx__getTrendPeriodsResponse &response);
int nsdx__getDeviceTrendParams(std::string *options, std::string *devicePath,
                               nsdx__getDeviceTrendParamsResponse &response);
int nsdx__getTrendData(nsdx__getTrendDataRequest *request, nsdx__getTrendDataResponse &response);
int nsdx__getDeltaLog(nsdx__logRetrieveRequest *request, nsdx__getDeltaLogResponse &response);
int nsdx__getEventLog(nsdx__logRetrieveRequest *request, nsdx__getEventLogResponse &response);
int nsdx__getActiveAlarms(nsdx__logRetrieveRequest *request,
                          nsdx__getActiveAlarmsResponse &response);
int nsdx__getWaveformConfig(std::string *options, std::string *url,
                            nsdx__getWaveConfigResponse &response);
int nsdx__getWaveformData(nsdx__getWaveDataRequest *request, nsdx__getWaveDataResponse &response);
