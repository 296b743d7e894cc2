// Core-namespace (nsc1) enumerations. They sit in their own file because
// nss1__AlarmUpdate reuses nsc1__AckStatus, so they are imported before the
// nss1 records.

// Bit set, written as the space-separated names of the set bits:
// 10 is written "NonAlarmEvent Configuration".
enum * nsc1__SubscribeLogOptions
{
    nsc1__SubscribeLogOptions__Trend = 1,
    nsc1__SubscribeLogOptions__NonAlarmEvent = 2,
    nsc1__SubscribeLogOptions__Alarm = 4,
    nsc1__SubscribeLogOptions__Configuration = 8,
    nsc1__SubscribeLogOptions__Quality = 16
};

// Acknowledgement state of an alarm; also used by nss1__AlarmUpdate.
enum nsc1__AckStatus
{
    nsc1__AckStatus__NotAcked = 0,
    nsc1__AckStatus__Acked = 1,
    nsc1__AckStatus__Closed = 2
};

