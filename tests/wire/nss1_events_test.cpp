// Event records on the wire: an alarm update mixed into an event list keeps
// its seventeen fields and derived type, and a reader that knows only the
// base event still gets the first eleven.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "wire_xml.h"

namespace {

using wiretest::Context;

const std::vector<std::string> kEventFields = {
    "nss1:EventId", "nss1:SequenceIndex", "nss1:EventType", "nss1:SourcePath",
    "nss1:Time", "nss1:Description", "nss1:Value", "nss1:NumericValue",
    "nss1:Quality", "nss1:ComtradeWaveformUrls", "nss1:Details"};
const std::vector<std::string> kAlarmFields = {
    "nss1:BasePriority", "nss1:AckStatus", "nss1:AutoClosing",
    "nss1:ConditionPresent", "nss1:Note", "nss1:VariationLevel"};

std::vector<std::string> allAlarmFields()
{
    std::vector<std::string> all = kEventFields;
    all.insert(all.end(), kAlarmFields.begin(), kAlarmFields.end());
    return all;
}

// Fills every field of the event part, optional ones included, with values
// distinct per `seed`.
void fillEvent(struct soap *soap, nss1__Event &e, int seed)
{
    e.EventId = 9000000000000000000ULL + seed;
    e.SequenceIndex = 4000000000u + seed;
    e.EventType = nss1__EventType__Alarm;
    e.SourcePath = soap_new_std__string(soap);
    *e.SourcePath = "/Meter " + std::to_string(seed) + "/kW";
    e.Time = -1234567890123LL * seed;
    e.Description = soap_new_std__string(soap);
    *e.Description = "over <limit> & rising";
    e.Value = soap_new_std__string(soap);
    *e.Value = "High";
    e.NumericValue = soap_new_std__string(soap);
    *e.NumericValue = "3";
    e.Quality = soap_new_std__string(soap);
    *e.Quality = "64";
    e.ComtradeWaveformUrls = soap_new_nss1__ArrayOfString(soap);
    e.ComtradeWaveformUrls->string = {"rec1.cfg", "rec2.cfg"};
    e.Details = soap_new_nss1__ArrayOfEventDetail(soap);
    e.Details->EventDetail.resize(1);
    e.Details->EventDetail[0].Key = soap_new_std__string(soap);
    *e.Details->EventDetail[0].Key = "phase";
    e.Details->EventDetail[0].Value = soap_new_std__string(soap);
    *e.Details->EventDetail[0].Value = "B";
}

nss1__AlarmUpdate *newAlarm(struct soap *soap, int seed)
{
    nss1__AlarmUpdate *a = soap_new_nss1__AlarmUpdate(soap);
    fillEvent(soap, *a, seed);
    a->BasePriority = soap_new_std__string(soap);
    *a->BasePriority = "12";
    a->AckStatus = nsc1__AckStatus__Closed;
    a->AutoClosing = true;
    a->ConditionPresent = true;
    a->Note = soap_new_std__string(soap);
    *a->Note = "seen by operator";
    a->VariationLevel = -3;
    return a;
}

void expectSameEvent(const nss1__Event &got, const nss1__Event &want)
{
    EXPECT_EQ(got.EventId, want.EventId);
    EXPECT_EQ(got.SequenceIndex, want.SequenceIndex);
    EXPECT_EQ(got.EventType, want.EventType);
    ASSERT_TRUE(got.SourcePath && got.Description && got.Value && got.NumericValue && got.Quality);
    EXPECT_EQ(*got.SourcePath, *want.SourcePath);
    EXPECT_EQ(got.Time, want.Time);
    EXPECT_EQ(*got.Description, *want.Description);
    EXPECT_EQ(*got.Value, *want.Value);
    EXPECT_EQ(*got.NumericValue, *want.NumericValue);
    EXPECT_EQ(*got.Quality, *want.Quality);
    ASSERT_TRUE(got.ComtradeWaveformUrls && got.Details);
    EXPECT_EQ(got.ComtradeWaveformUrls->string, want.ComtradeWaveformUrls->string);
    ASSERT_EQ(got.Details->EventDetail.size(), 1u);
    EXPECT_EQ(*got.Details->EventDetail[0].Key, *want.Details->EventDetail[0].Key);
    EXPECT_EQ(*got.Details->EventDetail[0].Value, *want.Details->EventDetail[0].Value);
}

void expectSameAlarm(const nss1__AlarmUpdate &got, const nss1__AlarmUpdate &want)
{
    expectSameEvent(got, want);
    ASSERT_TRUE(got.BasePriority && got.Note);
    EXPECT_EQ(*got.BasePriority, *want.BasePriority);
    EXPECT_EQ(got.AckStatus, want.AckStatus);
    EXPECT_EQ(got.AutoClosing, want.AutoClosing);
    EXPECT_EQ(got.ConditionPresent, want.ConditionPresent);
    EXPECT_EQ(*got.Note, *want.Note);
    EXPECT_EQ(got.VariationLevel, want.VariationLevel);
}

// An event list of one plain event followed by one alarm update.
class MixedEventsTest : public ::testing::Test {
protected:
    MixedEventsTest()
    {
        event = soap_new_nss1__Event(writer.get());
        fillEvent(writer.get(), *event, 1);
        event->EventType = nss1__EventType__StructureChanged;
        alarm = newAlarm(writer.get(), 2);
        list.Event = {event, alarm};
        xml = wiretest::toXml(writer.get(), list, soap_write_nss1__ArrayOfEvent);
    }
    Context writer;
    nss1__Event *event;
    nss1__AlarmUpdate *alarm;
    nss1__ArrayOfEvent list;
    std::string xml;
};

TEST_F(MixedEventsTest, AlarmIsWrittenWithItsDerivedTypeAndAllFields)
{
    ASSERT_FALSE(xml.empty());
    EXPECT_EQ(wiretest::childNames(xml, "nss1:ArrayOfEvent"),
              (std::vector<std::string>{"nss1:Event", "nss1:Event"}));
    // Item one is the plain event, item two the alarm with its type.
    size_t first = xml.find("<nss1:Event>");
    size_t second = xml.find("<nss1:Event xsi:type=\"nss1:AlarmUpdate\">");
    ASSERT_NE(first, std::string::npos) << xml;
    ASSERT_NE(second, std::string::npos) << xml;
    EXPECT_LT(first, second);
    EXPECT_EQ(wiretest::childNames(xml.substr(second), "nss1:Event"), allAlarmFields());
    // The plain event carries no type attribute and only its own fields.
    EXPECT_EQ(xml.substr(0, second).find("xsi:type"), std::string::npos);
    EXPECT_EQ(wiretest::childNames(xml, "nss1:Event"), kEventFields);
}

TEST_F(MixedEventsTest, ReadBackGivesTheDerivedRecord)
{
    Context reader;
    nss1__ArrayOfEvent back;
    ASSERT_EQ(wiretest::fromXml(reader.get(), xml, "nss1:ArrayOfEvent", back, soap_get_nss1__ArrayOfEvent), SOAP_OK);
    ASSERT_EQ(back.Event.size(), 2u);
    ASSERT_TRUE(back.Event[0] && back.Event[1]);
    EXPECT_EQ(dynamic_cast<nss1__AlarmUpdate *>(back.Event[0]), nullptr);
    expectSameEvent(*back.Event[0], *event);
    auto *gotAlarm = dynamic_cast<nss1__AlarmUpdate *>(back.Event[1]);
    ASSERT_NE(gotAlarm, nullptr);
    expectSameAlarm(*gotAlarm, *alarm);
}

TEST_F(MixedEventsTest, ReaderThatKnowsOnlyEventsGetsTheFirstEleven)
{
    std::string plain = xml;
    const std::string attr = " xsi:type=\"nss1:AlarmUpdate\"";
    plain.erase(plain.find(attr), attr.size());
    Context reader;
    nss1__ArrayOfEvent back;
    ASSERT_EQ(wiretest::fromXml(reader.get(), plain, "nss1:ArrayOfEvent", back, soap_get_nss1__ArrayOfEvent), SOAP_OK);
    ASSERT_EQ(back.Event.size(), 2u);
    ASSERT_TRUE(back.Event[1]);
    EXPECT_EQ(dynamic_cast<nss1__AlarmUpdate *>(back.Event[1]), nullptr);
    expectSameEvent(*back.Event[1], *alarm);
}

TEST(EventLogResponseTest, EventsCarryTheAlarmTypeInsideTheLogReply)
{
    Context writer;
    nsdx__getEventLogResponse response;
    response.result = "OK";
    response.numTrimmedEvents = 4;
    nss1__Event *event = soap_new_nss1__Event(writer.get());
    fillEvent(writer.get(), *event, 3);
    nss1__AlarmUpdate *alarm = newAlarm(writer.get(), 4);
    response.events = {alarm, event};
    std::string xml = wiretest::toXml(writer.get(), response, soap_write_nsdx__getEventLogResponse);
    ASSERT_FALSE(xml.empty());
    EXPECT_EQ(wiretest::childNames(xml, "nsdx:getEventLogResponse"),
              (std::vector<std::string>{"result", "numTrimmedEvents", "events", "events"}));
    EXPECT_NE(xml.find("<events xsi:type=\"nss1:AlarmUpdate\">"), std::string::npos) << xml;
    EXPECT_EQ(wiretest::childNames(xml, "events"), allAlarmFields());

    Context reader;
    nsdx__getEventLogResponse back;
    ASSERT_EQ(wiretest::fromXml(reader.get(), xml, "nsdx:getEventLogResponse", back, soap_get_nsdx__getEventLogResponse), SOAP_OK);
    EXPECT_EQ(back.numTrimmedEvents, 4);
    ASSERT_EQ(back.events.size(), 2u);
    auto *gotAlarm = dynamic_cast<nss1__AlarmUpdate *>(back.events[0]);
    ASSERT_NE(gotAlarm, nullptr);
    expectSameAlarm(*gotAlarm, *alarm);
    EXPECT_EQ(dynamic_cast<nss1__AlarmUpdate *>(back.events[1]), nullptr);
}

TEST(EventFieldsTest, AbsentOptionalFieldsAreOmittedAndReadAsNull)
{
    Context writer;
    nss1__Event event;
    event.soap_default(writer.get());
    event.EventId = 5;
    nss1__ArrayOfEvent list;
    list.Event = {&event};
    std::string xml = wiretest::toXml(writer.get(), list, soap_write_nss1__ArrayOfEvent);
    EXPECT_EQ(wiretest::childNames(xml, "nss1:Event"),
              (std::vector<std::string>{"nss1:EventId", "nss1:SequenceIndex", "nss1:EventType", "nss1:Time"}));
    EXPECT_NE(xml.find("<nss1:EventType>Event</nss1:EventType>"), std::string::npos);

    Context reader;
    nss1__ArrayOfEvent back;
    ASSERT_EQ(wiretest::fromXml(reader.get(), xml, "nss1:ArrayOfEvent", back, soap_get_nss1__ArrayOfEvent), SOAP_OK);
    ASSERT_EQ(back.Event.size(), 1u);
    EXPECT_EQ(back.Event[0]->EventId, 5u);
    EXPECT_EQ(back.Event[0]->Quality, nullptr);
    EXPECT_EQ(back.Event[0]->Details, nullptr);
}

} // namespace
