"""Delta and event logs end to end: log files filled with cdslog, read
through nginx and wsbridge by python3-zeep (an event page with an alarm
update among plain events) and by raw SOAP (the alarm's xsi:type).
cdslog is taken from $WSB_CDSLOG, else from the build tree beside the WSDL
folder; without it these tests are skipped.
"""
import os
import re
import subprocess

import pytest

from gateway import envelope

NSDX = "http://device-ws.example.com/CorvaneDX"
T0 = 1700000000  # Unix seconds of the first planted record


@pytest.fixture(scope="module")
def cdslog(binaries):
    path = os.environ.get("WSB_CDSLOG") or os.path.join(
        os.path.dirname(binaries.wsdl_dir), "tools", "cdslog", "cdslog")
    if not os.access(path, os.X_OK):
        pytest.skip("cdslog not built")

    def run(*args):
        r = subprocess.run([path] + [str(a) for a in args], capture_output=True, text=True)
        assert r.returncode == 0, r.stderr
        return r.stdout
    return run


def log_request(**fields):
    r = dict(options="", rqstType="LgRqTypDeltas", startTime=0, endTime=0, nMaxToReturn=0,
             bLatestEvents=False, bReverseOrder=False, bTrimIncomplete=False, path="")
    r.update(fields)
    return r


def raw_log_request(op, rqst_type, max_records=0):
    body = ("<nsdx:%s><request><options></options><rqstType>%s</rqstType>"
            "<startTime>0</startTime><endTime>0</endTime><nMaxToReturn>%d</nMaxToReturn>"
            "<bLatestEvents>false</bLatestEvents><bReverseOrder>false</bReverseOrder>"
            "<bTrimIncomplete>false</bTrimIncomplete><path></path></request></nsdx:%s>"
            % (op, rqst_type, max_records, op))
    return envelope(body, ns_decls='xmlns:nsdx="%s"' % NSDX)


def test_event_page_with_alarm_update(gateway, cdslog):
    log = os.path.join(gateway.dir, "alarms.db")
    cdslog("append", log, "--path", "/Meters/M1/Value", "--value", "230.5", "--vtype", "Real",
           "--time", T0)
    cdslog("append", log, "--type", 8, "--path", "/Meters/M1/Value", "--value", "251",
           "--vtype", "Real", "--time", T0 + 1, "--event-id", 4242, "--ack", 1,
           "--priority", 5, "--condition", "--note", "checked", "--quality", 64)
    cdslog("append", log, "--type", 256, "--level", 3, "--path", "/Meters/M1/Value",
           "--time", T0 + 2)
    _, svc = gateway.zeep_for("getEventLog")
    r = svc.getEventLog(request=log_request(rqstType="LgRqTypAlarmEvents"))
    assert (r.result or "") == ""
    assert r.numTrimmedEvents == 0
    assert len(r.events) == 3
    plain, alarm, entry = r.events
    assert not hasattr(plain, "AckStatus")
    assert plain.EventType == "Event" and plain.Value == "230.5"
    assert alarm.EventType == "Alarm" and alarm.EventId == 4242
    assert alarm.AckStatus == "Acked" and alarm.BasePriority == "5"
    assert alarm.ConditionPresent is True and alarm.Note == "checked"
    assert alarm.Quality == "64" and alarm.SourcePath == "/Meters/M1"
    assert entry.Description == "Critical Event" and entry.Quality == "192"

    raw = gateway.post(raw_log_request("getEventLog", "LgRqTypAlarmEvents"))
    assert raw.status_code == 200
    assert re.search(r'xsi:type="[A-Za-z0-9]+:AlarmUpdate"', raw.text), raw.text
    assert raw.text.count("AlarmUpdate") >= 1


def test_missing_log_is_answered_in_band(gateway):
    assert not os.path.exists(os.path.join(gateway.dir, "system.db"))
    _, svc = gateway.zeep_for("getEventLog")
    r = svc.getEventLog(request=log_request(rqstType="LgRqTypSystemEvents"))
    assert r.result == "? 21 No History : Failed to open event log database"
    assert not r.events
    assert not os.path.exists(os.path.join(gateway.dir, "system.db"))
    assert "Failed to open database" in gateway.stderr()
