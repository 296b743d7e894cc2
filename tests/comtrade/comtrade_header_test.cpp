// Header facts: our recorder's key=value form, foreign INI-like, XML and
// plain headers, the trigger index taken from the configuration when the
// header has none, and headers that are there but cannot be read.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "comtrade.h"
#include "record_writer.h"

using namespace toolkit;

namespace {

const int kDerived = -1;  // the row expects the configuration's index

TEST(ComtradeHeader, Forms) {
    struct Row {
        std::string text, description, channel;
        int index;
    } rows[] = {
        {"", "", "", kDerived},
        {"EventDescription=Phase A to ground\nTriggerChannel=IA\nTriggerIndex=120\n",
         "Phase A to ground", "IA", 120},
        {"EventDescription=Breaker fail\r\nTriggerChannel=VB\r\nTriggerIndex=7", "Breaker fail",
         "VB", 7},
        {"TriggerIndex = 12\rTriggerChannel = IC\rEventDescription = CR only\r", "CR only", "IC",
         12},
        {"[Event]\r\nEvent Type = Overcurrent\r\nTrigger Source: IB\r\n", "Overcurrent", "IB",
         kDerived},
        {"Summary:\nEVENT = CG T\nTRIGGER = 51N\n", "CG T", "51N", kDerived},
        {"<?xml version=\"1.0\"?>\n<record><EventDescription>Breaker &amp; fault</EventDescription>"
         "<TriggerChannel>VA</TriggerChannel><Trigger_Index>7</Trigger_Index></record>",
         "Breaker & fault", "VA", 7},
        {"<header><event type=\"x\">Reclose</event></header>", "Reclose", "", kDerived},
        {"Fault on feeder 3\nrecorded by unit 7\n", "Fault on feeder 3", "", kDerived},
        {"\n\n[Section]\n  first words  \n", "first words", "", kDerived},
        {"EventDescription=\nComments=Cause of Trigger: Command\n", "Cause of Trigger: Command", "",
         kDerived},
        {"Event=first\nEvent=second\n", "first", "", kDerived},
        {"TriggerIndex=abc\n", "TriggerIndex=abc", "", kDerived},
        {"TriggerIndex=-5\nEvent=x\n", "x", "", kDerived},
        {"TriggerIndex=99999999999\nEvent=x\n", "x", "", kDerived},
        // Name/value elements, attributes in any order and quoting; the
        // declared encoding is the file's, and the text is UTF-8 by now.
        {"\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"GB2312\"?>\n<record>\n"
         "  <general name=\"TrigChannel\" value=\"A相\"/>\n"
         "  <general value='Earth fault' name='FaultType'/>\n</record>\n",
         "Earth fault", "A相", kDerived},
        {"<cfg><ch id=\"1\">IA</ch><general NAME=\"Trig_Channel\" Value=\"I&amp;N\"/></cfg>", "",
         "I&N", kDerived},
        {"<r><general name=\"TrigChannel\" value=\"IC\"/><general name=\"", "", "IC", kDerived},
    };
    for (const auto& row : rows) {
        CWaveHeaderHandle handle;
        handle.text = row.text;
        handle.derivedTriggerIndex = 42;
        CWaveHeaderData h;
        ASSERT_EQ(CT_OK, h.fillData(&handle)) << row.text;
        EXPECT_EQ(row.description, h.eventDescription) << row.text;
        EXPECT_EQ(row.channel, h.triggerChannel) << row.text;
        EXPECT_EQ(row.index == kDerived ? 42 : row.index, h.triggerIndex) << row.text;
    }
}

TEST(ComtradeHeader, NotTextIsAnError) {
    CWaveHeaderHandle handle;
    handle.text = std::string("Event=a\0b", 9);
    CWaveHeaderData h;
    EXPECT_EQ(CT_ERR_HEADER, h.fillData(&handle));
    EXPECT_EQ(CT_ERR_HEADER, h.fillData(nullptr));
}

TEST(ComtradeHeader, RecordWithoutHeaderUsesTheConfiguration) {
    cttest::ScratchDir dir;
    cttest::GenRecord r = cttest::standardRecord(2013, "BINARY");
    r.triggerTime = "13:45:10.133456";  // 10 ms after the start at 1000 Hz
    CComtradeView view;
    ASSERT_EQ(CT_OK, view.initialize(cttest::writeRecordSet(r, dir.path(), "rec")));
    ASSERT_TRUE(view.isHeaderLoaded());
    CWaveHeaderData h;
    ASSERT_EQ(CT_OK, h.fillData(view.headerHandle()));
    EXPECT_EQ("", h.eventDescription);
    EXPECT_EQ(10, h.triggerIndex);
}

TEST(ComtradeHeader, HeaderFileAndSectionAreRead) {
    cttest::ScratchDir dir;
    cttest::GenRecord r = cttest::standardRecord(2013, "ASCII");
    r.withHeader = true;
    r.header =
        "--- Summary: relay 7 ---\nEventDescription=Earth fault\nTriggerChannel=IB\nTriggerIndex=3";
    for (bool single : {false, true}) {
        CComtradeView view;
        std::string path = single ? cttest::writeCff(r, dir.path(), "one")
                                  : cttest::writeRecordSet(r, dir.path(), "set");
        ASSERT_EQ(CT_OK, view.initialize(path));
        CWaveHeaderData h;
        ASSERT_EQ(CT_OK, h.fillData(view.headerHandle())) << single;
        EXPECT_EQ("Earth fault", h.eventDescription) << single;
        EXPECT_EQ("IB", h.triggerChannel);
        EXPECT_EQ(3, h.triggerIndex);
    }
}

TEST(ComtradeHeader, UnreadableHeaderIsNotLoaded) {
    cttest::ScratchDir dir;
    std::string cfg =
        cttest::writeRecordSet(cttest::standardRecord(2013, "BINARY"), dir.path(), "rec");
    ASSERT_EQ(0, mkdir(dir.file("rec.hdr").c_str(), 0700));  // there, but no file to read
    CComtradeView view;
    ASSERT_EQ(CT_OK, view.initialize(cfg));
    EXPECT_FALSE(view.isHeaderLoaded());
    EXPECT_EQ(nullptr, view.headerHandle());
    CWaveConfigData c;
    EXPECT_EQ(CT_OK, view.getConfigurationData(c)) << "the configuration is still there";
}

}  // namespace
