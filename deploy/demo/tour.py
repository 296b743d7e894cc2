#!/usr/bin/python3
"""A short tour of a running gateway with python3-zeep: the device list, a
value, a write, a trend page, an event page, a waveform configuration and a
command result, each printed as it is answered.

    deploy/demo/tour.py --url http://127.0.0.1:8080/wsbridge [--user admin
        --password admin-demo] [--device /Devices/Meter1] [--wave-dir DIR]

Exit status 0 when every step was answered without an error text."""
import argparse
import os
import sys
import time

import requests
import zeep
from zeep.transports import Transport

WSDLS = ("Corvane.wsdl", "CorvaneDX.wsdl", "CorvaneC3.wsdl")


class Gateway:
    """Service proxies of the served WSDLs, looked up by operation."""

    def __init__(self, url, user, password):
        session = requests.Session()
        session.auth = (user, password)
        self.ops = {}
        for name in WSDLS:
            client = zeep.Client("%s/wsdl/%s" % (url, name),
                                 transport=Transport(session=session, timeout=30))
            for service in client.wsdl.services.values():
                for port in service.ports.values():
                    proxy = client.bind(service.name, port.name)
                    for op in port.binding._operations:
                        self.ops.setdefault(op, proxy)

    def __getattr__(self, op):
        return getattr(self.ops[op], op)


def text(v):
    return v or ""  # zeep reads an empty element as None


class TourError(Exception):
    pass


def check(result):
    if text(result) not in ("", "OK"):
        raise TourError(result)


def devices(gw, _):
    r = gw.getDeviceTree(options="", startingPath="/Devices", bRecursive=False)
    check(r.result)
    return ["%s (%s)" % (d.devPath, d.devDisplayName) for d in r.devices]


def value(gw, a):
    path = a.device + "/Voltage/L1/Value"
    v = gw.getValue(options="", path=path)
    float(v)  # an error text would not parse
    return "%s = %s V" % (path, v)


def write(gw, a):
    path = a.device + "/Setpoints/OverCurrent/Value"
    v = gw.setValue(options="", path=path, value="600")
    if float(v) != 600:
        raise TourError(v)
    return "%s := %s A" % (path, v)


def trend_page(gw, a):
    r = gw.getTrendData(request=dict(
        options="", devicePath=a.device, pointPaths=[], periods=[60], startTime=0, endTime=0,
        nMaxToReturn=3, startingOffset=0, ascendingOrder=False))
    check(r.result)
    if not r.data.samples:
        raise TourError("no trend snapshot yet")
    s = r.data.samples[0]
    return "%d parameters, newest of %d snapshots at %s: %s max %.1f" % (
        len(r.data.params.paramPaths), len(r.data.samples), s.timestamp,
        r.data.params.paramPaths[0], s.data[0].max)


def event_page(gw, _):
    r = gw.getEventLog(request=dict(
        options="", rqstType="LgRqTypAlarmEvents", startTime=0, endTime=0, nMaxToReturn=5,
        bLatestEvents=True, bReverseOrder=True, bTrimIncomplete=False, path=""))
    check(r.result)
    if not r.events:
        raise TourError("no alarm event yet")
    return ["%s %s %s = %s" % (e.EventType, e.SourcePath, text(e.Description), e.Value)
            for e in r.events]


def newest_record(wave_dir):
    cfgs = [f for f in os.listdir(wave_dir) if f.endswith(".cfg")] if wave_dir else []
    if not cfgs:
        raise TourError("no disturbance record in %s yet" % wave_dir)
    return max(cfgs, key=lambda f: os.path.getmtime(os.path.join(wave_dir, f)))


def waveform(gw, a):
    url = newest_record(a.wave_dir)
    r = gw.getWaveformConfig(options="", url=url)
    check(r.result)
    return "%s: %s/%s at %g Hz, analog %s, status %s, trigger sample %d" % (
        url, r.stationID, r.deviceID, r.samplingRate, ",".join(r.analogChannelNames),
        ",".join(r.digitalChannelNames), r.triggerIndex)


def command(gw, a):
    sent = gw.sendDeviceCmd(options="", devPath=a.device,
                            cmd={"cmdVersion": 1, "cmdLine": "read Frequency"})
    check(sent.result)
    end = time.monotonic() + a.timeout
    while True:
        r = gw.getDeviceCmdResult(options="", devPath=a.device, cmdHandle=sent.cmdHandle)
        pending = r.numericStatus == "cmdFailHandle" or r.cmdStatus == "Could not read results"
        if not pending:
            break
        if time.monotonic() > end:
            raise TourError("no answer from the device handler (is it running?)")
        time.sleep(0.1)
    if r.numericStatus != "cmdSuccess":
        raise TourError("%s %s" % (r.numericStatus, text(r.cmdStatus)))
    return "read Frequency (handle %d) -> %s Hz" % (sent.cmdHandle, r.cmdResults.resText)


STEPS = (("device list", devices), ("a value", value), ("a write", write),
         ("a trend page", trend_page), ("an event page", event_page),
         ("a waveform configuration", waveform), ("a command result", command))


def run(args, out=sys.stdout):
    """Runs every step; returns {step name: answer or TourError}."""
    gw = Gateway(args.url.rstrip("/"), args.user, args.password)
    answers = {}
    for n, (name, step) in enumerate(STEPS, 1):
        try:
            answer = step(gw, args)
        except (TourError, zeep.exceptions.Error, ValueError, AttributeError) as e:
            answer = TourError("%s: %s" % (type(e).__name__, e))
        answers[name] = answer
        print("[%d/%d] %s" % (n, len(STEPS), name), file=out)
        for line in answer if isinstance(answer, list) else [answer]:
            print("      %s%s" % ("FAILED " if isinstance(answer, TourError) else "", line), file=out)
    return answers


def parse(argv):
    p = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    p.add_argument("--url", default="http://127.0.0.1:8080/wsbridge")
    p.add_argument("--user", default="admin")
    p.add_argument("--password", default="admin-demo")
    p.add_argument("--device", default="/Devices/Meter1")
    p.add_argument("--wave-dir", default="")
    p.add_argument("--timeout", type=float, default=20.0, help="seconds to wait for a command")
    return p.parse_args(argv)


if __name__ == "__main__":
    results = run(parse(sys.argv[1:]))
    sys.exit(1 if any(isinstance(v, TourError) for v in results.values()) else 0)
