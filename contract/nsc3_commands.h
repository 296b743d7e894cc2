// Device-command namespace (nsc3) types and operations in the rpc/literal
// shape with unqualified fields. The same types are the storage format of
// the command queues: a queued command is one "nsc3:sendCmd-s" element, a
// handler's answer one "nsc3:getDeviceCmdResultResponse" element, as XML
// text. Read them with soap_get_<type>(soap, p, "<element name>", NULL):
// the generated soap_read_<type> accepts any root element name.

// A value without a text (such as 10) is written as its decimal number
// and read back as that number; open_enum_readers.cmake gives the generated
// enum the type int and opens its reader.
enum nsc3__cmdNumStatus
{
    nsc3__cmdNumStatus__cmdUnknown = 0,
    nsc3__cmdNumStatus__cmdSuccess = 1,
    nsc3__cmdNumStatus__cmdPending = 2,
    nsc3__cmdNumStatus__cmdFailInvalid = 3,
    nsc3__cmdNumStatus__cmdFailUnable = 4,
    nsc3__cmdNumStatus__cmdFailBusy = 5,
    nsc3__cmdNumStatus__cmdFailTimeout = 6,
    nsc3__cmdNumStatus__cmdFailHandle = 7,
    nsc3__cmdNumStatus__cmdFailOther = 8,
    nsc3__cmdNumStatus__cmdSuccessOther = 9
};

// The command schema version a handler understands; "1" on the wire.
enum nsc3__cmdSchemaVersion
{
    nsc3__cmdSchemaVersion__1 = 1
};

class nsc3__simpleCmd
{
  public:
    std::string name 1;
    std::string param 1;
    int num 1;
    int psswd 1;
};

class nsc3__setValueCmd
{
  public:
    std::string name 1;
    std::string param 1;
    int num 1;
    int psswd 1;
    int iValue 1;
};

class nsc3__setTextCmd
{
  public:
    std::string name 1;
    std::string param 1;
    int num 1;
    int psswd 1;
    std::string text 1;
};

// The command choice. The selector values are the generated
// SOAP_UNION__nsc3__union_sendCmd_s_* constants: 1 cmdLine, 2 cmdBasic,
// 3 cmdIval, 4 cmdText; any other selector writes no element.
union _nsc3__union_sendCmd_s
{
    char *cmdLine;
    nsc3__simpleCmd *cmdBasic;
    nsc3__setValueCmd *cmdIval;
    nsc3__setTextCmd *cmdText;
};

class nsc3__sendCmd_s
{
  public:
    int cmdVersion 1;
    int __union_sendCmd_s;
    union _nsc3__union_sendCmd_s union_sendCmd_s;
};

class nsc3__harmonic_s
{
  public:
    int frequency 1;
    float magnitude 1;
    float phase 1;
};

class nsc3__harmonicResponse
{
  public:
    std::string cdsName 1;
    std::string displayName 1;
    LONG64 timeSample 1;
    std::vector<nsc3__harmonic_s> hData 0;
};

// The result choice: 2 resText, 3 resHarms. Selector 1 (resNone, never
// serialised) and any other selector write no payload; a result read back
// without payload has selector 0.
union _nsc3__union_cmdResult_s
{
    void *resNone;
    char *resText;
    nsc3__harmonicResponse *resHarms;
};

class nsc3__cmdResult_s
{
  public:
    int cmdVersion 1;
    int __union_cmdResult_s;
    union _nsc3__union_cmdResult_s union_cmdResult_s;
};

class nsc3__sendDeviceCmdResponse
{
  public:
    std::string result 1;
    int cmdHandle 1;
};

class nsc3__getDeviceCmdResultResponse
{
  public:
    std::string result 1;
    int cmdHandle 1;
    enum nsc3__cmdNumStatus numericStatus 1;
    std::string cmdStatus 1;
    nsc3__cmdResult_s cmdResults 1;
};

int nsc3__sendDeviceCmd(std::string *options, std::string *devPath, nsc3__sendCmd_s *cmd,
                        nsc3__sendDeviceCmdResponse &response);
int nsc3__getDeviceCmdResult(std::string *options, std::string *devPath, int cmdHandle,
                             nsc3__getDeviceCmdResultResponse &response);
