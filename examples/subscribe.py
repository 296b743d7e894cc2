#!/usr/bin/python3
"""Creates a subscription for two points (the gateway sends changes to the
reply URI) with their present values, lists the active alarms, then cancels.
    examples/subscribe.py [REPLY_URI]"""
import sys

from wsb_client import connect

gw = connect()
uri = sys.argv[1] if len(sys.argv) > 1 else "http://127.0.0.1:9999/bms"
points = ["/Devices/Meter1/Power/Active", "/Devices/Meter1/Frequency"]
nodes = [{"Path": p, "RequestedFreshness": 1000, "DeadbandPercent": 1.0} for p in points]
r = gw.createSubscription(options="", subscriptionId="bms-example", replyUri=uri,
                          leaseDuration=60000, realTimeNodes={"NodeSubscription": nodes},
                          logSinceTime=0, subscribeLogOptions=["Alarm"])
# The answer holds each node's present value (or an error text), in the
# order of the request.
entries = r if isinstance(r, list) else (r.RealTimeNodeSubscriptionResult if r else [])
for path, e in zip(points, entries):
    print("subscribed %s = %s (quality %s)" % (path, e.Value, e.Quality))
alarms = gw.getActiveAlarms(request=dict(
    options="", rqstType="LgRqTypAlarmEvents", startTime=0, endTime=0, nMaxToReturn=0,
    bLatestEvents=False, bReverseOrder=False, bTrimIncomplete=False, path=""))
for a in alarms.alarms or []:
    print("alarm %s %s %s present=%s %s" % (a.EventId, a.SourcePath, a.Value, a.ConditionPresent,
                                            a.AckStatus))
gw.cancelSubscription(subscriptionId="bms-example")
print("cancelled")
