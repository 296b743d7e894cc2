"""Text through the whole chain (zeep, nginx, wsbridge, store and logs):
UTF-8 round trips for values, log records, trend devices and waveform
names, and replies that an XML parser takes whatever bytes the store or a
log holds."""
import os
import subprocess
import xml.etree.ElementTree as ET

import pytest

from gateway import NSC1, envelope

DEV = "/Dev/Z\u00e4hler"
TEXT = "caf\u00e9 \u20ac \u0422\u043e\u043a \u7535 \U0001F600"
T0 = 1700000000


@pytest.fixture(scope="module")
def tool(binaries):
    def run(name, *args):
        path = os.environ.get("WSB_" + name.upper())
        if not path:
            pytest.skip(name + " not built")
        r = subprocess.run([path] + [str(a) for a in args], capture_output=True)
        assert r.returncode == 0, r.stderr.decode("utf-8", "replace")
        return r.stdout.decode("utf-8")
    return run


@pytest.fixture(scope="module")
def gw(gateway):
    s = gateway.store
    s.run("mknode", DEV + "/V")
    s.run("set", DEV + "/V/Value", "text", "-")
    s.run("set", DEV + "/V/Writable", "bool", "true")
    s.run("mknode", "/Raw")
    return gateway


def get_value_raw(gw, path):
    """The parsed getValueResult of a raw request; the reply must parse."""
    body = "<nsc1:getValue><nsc1:path>%s</nsc1:path></nsc1:getValue>" % path
    r = gw.post(envelope(body, ns_decls='xmlns:nsc1="%s"' % NSC1))
    assert r.status_code == 200
    assert int(r.headers["Content-Length"]) == len(r.content)
    root = ET.fromstring(r.content)  # raises on anything not well-formed
    return root.find(".//{%s}getValueResult" % NSC1).text


def test_value_round_trip(gw):
    _, svc = gw.zeep_for("setValue")
    assert svc.setValue(options="", path=DEV + "/V/Value", value=TEXT) == TEXT
    assert svc.getValue(options="", path=DEV + "/V/Value") == TEXT
    assert gw.store.get(DEV + "/V/Value") == TEXT
    assert svc.getValue(options="", path=DEV + "/V:Writable") == "true"


@pytest.mark.parametrize("value, code", [
    ("a&#1;b", "? 12 Bad Value Format"),
    ("a&#0;b", "? 12 Bad Value Format"),
    ("\x1b[2J", "? 12 Bad Value Format"),
])
def test_text_xml_cannot_carry_is_refused(gw, value, code):
    body = ("<nsc1:setValue><nsc1:path>%s/V/Value</nsc1:path><nsc1:value>%s</nsc1:value>"
            "</nsc1:setValue>" % (DEV, value))
    r = gw.post(envelope(body, ns_decls='xmlns:nsc1="%s"' % NSC1))
    assert r.status_code == 200
    assert code in r.text
    assert gw.store.get(DEV + "/V/Value") != value


@pytest.mark.parametrize("stored, sent", [
    ("bell\x07", "bell\ufffd"),
    ("esc\x1b[0m", "esc\ufffd[0m"),
])
def test_stored_control_characters_leave_as_replacements(gw, stored, sent):
    gw.store.run("set", "/Raw/Value", "text", stored)
    assert get_value_raw(gw, "/Raw/Value") == sent


def test_log_records_keep_their_text(gw, tool):
    deltas = os.path.join(gw.dir, "deadband.db")
    tool("cdslog", "append", deltas, "--path", DEV + "/V/Value", "--value", TEXT,
         "--time", T0)
    tool("cdslog", "append", deltas, "--path", "/Other/Value", "--value", "x", "--time", T0)
    alarms = os.path.join(gw.dir, "alarms.db")
    tool("cdslog", "append", alarms, "--type", 8, "--path", DEV + "/V/Value", "--value", "1",
         "--vtype", "Real", "--time", T0, "--event-id", 7, "--descr", "\u00dcberlast",
         "--note", "gepr\u00fcft \x01")
    _, svc = gw.zeep_for("getDeltaLog")
    request = dict(options="", rqstType="LgRqTypDeltas", startTime=0, endTime=0,
                   nMaxToReturn=0, bLatestEvents=False, bReverseOrder=False,
                   bTrimIncomplete=False, path=DEV)
    r = svc.getDeltaLog(request=request)
    assert [(v.Path, v.Value) for v in r.loggedValues] == [(DEV + "/V", TEXT)]
    _, svc = gw.zeep_for("getEventLog")
    r = svc.getEventLog(request=dict(request, rqstType="LgRqTypAlarmEvents", path=""))
    assert len(r.events) == 1
    assert r.events[0].Description == "\u00dcberlast"
    assert r.events[0].Note == "gepr\u00fcft \ufffd"


def test_trend_device_found_by_its_path(gw, tool):
    log = os.path.join(gw.dir, "interval-trends.db")
    tool("cdstrend", log, "period", 1, 0)
    tool("cdstrend", log, "generate", DEV, 2, 1, T0, 900, 4)
    _, svc = gw.zeep_for("getDeviceTrendParams")
    r = svc.getDeviceTrendParams(options="", devicePath=DEV)
    assert r.result == "OK"
    assert [p.path for p in r.deviceParams] == [DEV + "/P0", DEV + "/P1"]


def test_waveform_names_outside_latin1(gw):
    folder = os.path.join(gw.dir, "waves")
    os.makedirs(folder, exist_ok=True)
    names = ["\u0422\u043e\u043a \u0444\u0430\u0437\u044b \u0411", "\u7535\u538b"]
    lines = ["\u041f\u043e\u0434\u0441\u0442\u0430\u043d\u0446\u0438\u044f,REC,2013", "2,2A,0D"]
    lines += ["%d,%s,,,A,1.0,0.0,0,-32767,32767,1,1,P" % (i, n) for i, n in enumerate(names, 1)]
    lines += ["50", "1", "1000,3", "03/11/2026,10:20:30.000000",
              "03/11/2026,10:20:30.000000", "ASCII", "1", "0,0", "0,0"]
    with open(os.path.join(folder, "ru.cfg"), "w", encoding="utf-8") as f:
        f.write("\r\n".join(lines) + "\r\n")
    with open(os.path.join(folder, "ru.dat"), "w") as f:
        f.write("1,0,10,-10\r\n2,1000,20,-20\r\n3,2000,30,-30\r\n")
    _, svc = gw.zeep_for("getWaveformConfig")
    r = svc.getWaveformConfig(options="", url="ru.cfg")
    assert r.result == "OK"
    assert r.stationID == "\u041f\u043e\u0434\u0441\u0442\u0430\u043d\u0446\u0438\u044f"
    assert list(r.analogChannelNames) == names
    _, svc = gw.zeep_for("getWaveformData")
    r = svc.getWaveformData(request={"options": "", "url": "ru.cfg", "channel": names[1]})
    assert r.result == "OK"
    assert [float(x) for x in r.data] == [-10.0, -20.0, -30.0]
