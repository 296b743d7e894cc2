#!/usr/bin/python3
"""Pulls history: the newest value changes of a device, its newest trend
snapshots and the newest alarm events.
    examples/history.py [DEVICE]   (default /Devices/Meter1)"""
import sys

from wsb_client import connect

gw = connect()
dev = sys.argv[1] if len(sys.argv) > 1 else "/Devices/Meter1"
log = dict(options="", rqstType="LgRqTypDeltas", startTime=0, endTime=0, nMaxToReturn=10,
           bLatestEvents=True, bReverseOrder=False, bTrimIncomplete=False, path=dev)

deltas = gw.getDeltaLog(request=log)
print("value changes (newest 10):")
for v in deltas.loggedValues or []:
    print("  %s %s = %s" % (v.Time, v.Path, v.Value))

periods = gw.getTrendPeriods(options="")
print("trend periods (s):", [p.period for p in periods.periodProperties or []])
trend = gw.getTrendData(request=dict(options="", devicePath=dev, pointPaths=[], periods=[60],
                                     startTime=0, endTime=0, nMaxToReturn=5, startingOffset=0,
                                     ascendingOrder=False))
if trend.result not in (None, "", "OK"):
    print("trend:", trend.result)
else:
    names = trend.data.params.paramPaths
    for s in trend.data.samples:
        print("  %s %s" % (s.timestamp, ", ".join(
            "%s avg %.2f" % (n.rsplit("/", 2)[-2], d.avg) for n, d in zip(names, s.data))))

events = gw.getEventLog(request=dict(log, rqstType="LgRqTypAlarmEvents", path=""))
print("alarm events (newest 10):")
for e in events.events or []:
    print("  %s %s %s %s" % (e.Time, e.EventType, e.SourcePath, e.Value))
