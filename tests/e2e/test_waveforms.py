"""Waveforms through the whole chain: a BINARY32 record written here (from
the file layout, independently of the gateway's reader) into the gateway's
wave folder, read with zeep through nginx: configuration, channel data and
the in-band error texts."""
import calendar
import os
import struct

import pytest

RATE = 2000
SAMPLES = 300
CHANNELS = [("IA", 0.001, 0.5), ("IB", 0.002, -1.0), ("V\u00e1", 0.25, 0.0)]
STATUS = ["TRIP", "CLOSE"]


def raw(c, k):
    return (k * 53 + c * 7000) % 20001 - 10000


def write_record(folder, stem):
    os.makedirs(folder, exist_ok=True)
    lines = ["Esta\u00e7\u00e3o 1,REC-7,2013",
             "%d,%dA,%dD" % (len(CHANNELS) + len(STATUS), len(CHANNELS), len(STATUS))]
    for i, (name, a, b) in enumerate(CHANNELS, 1):
        lines.append("%d,%s,,,A,%r,%r,0,-2147483647,2147483647,1,1,P" % (i, name, a, b))
    for i, name in enumerate(STATUS, 1):
        lines.append("%d,%s,,,0" % (i, name))
    lines += ["50", "1", "%d,%d" % (RATE, SAMPLES),
              "03/11/2026,10:20:30.000000", "03/11/2026,10:20:30.050000",
              "BINARY32", "1", "0,0", "0,0"]
    # The station name is written in ISO-8859-1, as older recorders do.
    with open(os.path.join(folder, stem + ".cfg"), "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("latin-1"))
    with open(os.path.join(folder, stem + ".dat"), "wb") as f:
        for k in range(SAMPLES):
            f.write(struct.pack("<II", k + 1, k * 500))
            f.write(struct.pack("<%di" % len(CHANNELS), *[raw(c, k) for c in range(len(CHANNELS))]))
            f.write(struct.pack("<H", k % 4))
    with open(os.path.join(folder, stem + ".hdr"), "w") as f:
        f.write("EventDescription=Feeder 3 earth fault\nTriggerChannel=IB\n")


@pytest.fixture(scope="module")
def waves(gateway):
    folder = os.path.join(gateway.dir, "waves")
    write_record(os.path.join(folder, "2026-11"), "feeder3")
    return folder


def device_time(y, mo, d, h, mi, s, us):
    return calendar.timegm((y, mo, d, h, mi, s)) * 1000000 + us


def test_configuration_through_zeep(gateway, waves):
    _, svc = gateway.zeep_for("getWaveformConfig")
    r = svc.getWaveformConfig(options="", url="2026-11/feeder3.cfg")
    assert r.result == "OK"
    assert r.stationID == "Esta\u00e7\u00e3o 1"
    assert r.deviceID == "REC-7"
    assert r.eventDescr == "Feeder 3 earth fault"
    assert r.triggerChannel == "IB"
    assert r.samplingRate == RATE
    assert r.numberSamples == 2048
    assert r.startTime == device_time(2026, 11, 3, 10, 20, 30, 0)
    assert r.triggerTime == device_time(2026, 11, 3, 10, 20, 30, 50000)
    assert r.triggerIndex == 100  # 50 ms at 2 kHz
    assert list(r.analogChannelNames) == [c[0] for c in CHANNELS]
    assert list(r.digitalChannelNames) == STATUS


def test_channel_data_through_zeep(gateway, waves):
    index = 2  # a name beyond ASCII, written in ISO-8859-1
    name, a, b = CHANNELS[index]
    _, svc = gateway.zeep_for("getWaveformData")
    r = svc.getWaveformData(request={"options": "", "url": "2026-11/feeder3.cfg", "channel": name})
    assert r.result == "OK"
    assert r.samplingRate == RATE
    assert r.triggerIndex == 100
    assert len(r.data) == SAMPLES
    for k, v in enumerate(r.data):
        assert v == pytest.approx(a * raw(index, k) + b, rel=1e-6, abs=1e-6), k


@pytest.mark.parametrize("url,channel,expected", [
    ("2026-11/feeder3.cfg", "ia", "? 33 Argument Invalid/Not Supported : No such Analog Channel"),
    ("2026-11/feeder3.cfg", "TRIP", "? 33 Argument Invalid/Not Supported : No such Analog Channel"),
    ("../waves/2026-11/feeder3.cfg", "IA", "? 33 Argument Invalid/Not Supported : Cannot parse URL"),
    ("/etc/passwd", "IA", "? 33 Argument Invalid/Not Supported : Cannot parse URL"),
    ("../../etc/passwd.cfg", "IA", "? 33 Argument Invalid/Not Supported : Cannot parse URL"),
    ("2026-11/none.cfg", "IA", "? 33 Argument Invalid/Not Supported : Cannot parse URL"),
])
def test_data_errors_in_band(gateway, waves, url, channel, expected):
    _, svc = gateway.zeep_for("getWaveformData")
    r = svc.getWaveformData(request={"options": "", "url": url, "channel": channel})
    assert r.result == expected
    assert not r.data
