// Subscriber-namespace (nss1) records: logged events, alarm updates and
// published values. nss1 has no operations; these records travel inside the
// nsc1 and nsdx replies. Elements are qualified ("nss1:EventId").

enum nss1__EventType
{
    nss1__EventType__Event = 0,
    nss1__EventType__Alarm = 1,
    nss1__EventType__StructureChanged = 2,
    nss1__EventType__LostEvent = 3
};

class nss1__ArrayOfString
{
  public:
    std::vector<std::string> string 0;
    struct soap *soap;
};

class nss1__EventDetail
{
  public:
    std::string *Key 0;
    std::string *Value 0;
    struct soap *soap;
};

class nss1__ArrayOfEventDetail
{
  public:
    std::vector<nss1__EventDetail> EventDetail 0;
    struct soap *soap;
};

// One logged event. Serialised polymorphically: a nss1__AlarmUpdate held
// where a nss1__Event is expected is written with xsi:type="nss1:AlarmUpdate"
// and read back as the derived class.
class nss1__Event
{
  public:
    ULONG64 EventId 1;
    unsigned int SequenceIndex 1;
    enum nss1__EventType EventType 1;
    std::string *SourcePath 0;
    LONG64 Time 1;
    std::string *Description 0;
    std::string *Value 0;
    std::string *NumericValue 0;
    std::string *Quality 0;  // text, unlike the numeric quality of values
    nss1__ArrayOfString *ComtradeWaveformUrls 0;
    nss1__ArrayOfEventDetail *Details 0;
    struct soap *soap;
};

// An alarm: the eleven event fields first, then the alarm's own six.
class nss1__AlarmUpdate : public nss1__Event
{
  public:
    std::string *BasePriority 0;
    enum nsc1__AckStatus AckStatus 1;
    bool AutoClosing 1;
    bool ConditionPresent 1;
    std::string *Note 0;
    int VariationLevel 1;
};

// Items are pointers so that alarm updates can be mixed in.
class nss1__ArrayOfEvent
{
  public:
    std::vector<nss1__Event *> Event 0;
    struct soap *soap;
};

// One logged (delta or trend) value.
class nss1__PublishedValue
{
  public:
    std::string *Path 0;
    std::string *Value 0;
    std::string *NumericValue 0;
    unsigned short Quality 1;
    LONG64 Time 1;
    bool RealTime 1;
    bool Trend 1;
    struct soap *soap;
};

class nss1__ArrayOfPublishedValue
{
  public:
    std::vector<nss1__PublishedValue> PublishedValue 0;
    struct soap *soap;
};
