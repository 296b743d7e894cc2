"""Subscriptions and alarms end to end: python3-zeep through nginx and
wsbridge creates, extends and cancels a subscription (read back with
getSubscribedNodes and with cdsctl, as the publisher would), acknowledges
alarms raised by cdsctl, and lists the active alarms.
"""
import pytest

SUBS = "/Software/Data Servers/WS-Publisher/Subscriptions"
VOLTAGE = "/Devices/TestMeter/Voltage"
SETPOINT = "/Devices/TestMeter/Setpoint"


def node(path, freshness=0, deadband=0.0):
    return {"Path": path, "RequestedFreshness": freshness, "DeadbandPercent": deadband}


def results(r):
    # zeep unwraps the single-child wrapper into a list (None when absent).
    if r is None:
        return []
    return list(r) if isinstance(r, list) else list(r.RealTimeNodeSubscriptionResult)


def test_subscription_lifecycle(gateway):
    _, svc = gateway.zeep_for("createSubscription")
    _, test = gateway.zeep_for("getSubscribedNodes")
    r = svc.createSubscription(options="", subscriptionId="e2e 1", replyUri="http://sup/cb",
                               leaseDuration=30000,
                               realTimeNodes={"NodeSubscription": [node(VOLTAGE, 500, 1.5)]},
                               logSinceTime=0, subscribeLogOptions=["Alarm", "Trend"])
    entries = results(r)
    assert len(entries) == 1
    assert entries[0].Value == gateway.store.get(VOLTAGE + "/Value")
    assert gateway.store.get(SUBS + "/e2e 1/ReplyURI/Value") == "http://sup/cb"
    assert gateway.store.get(SUBS + "/e2e 1/LogOptions/Value") == "5"
    assert gateway.store.get(SUBS + "/e2e 1/RTNodes/Devices.TestMeter.Voltage/Deadband/Value") == "1.5"

    u = svc.updateSubscriptionRealTimeNodes(
        subscriptionId="e2e 1",
        realTimeNodesToAdd={"NodeSubscription": [node(SETPOINT), node(VOLTAGE)]},
        realTimeNodesToRemove={"string": [VOLTAGE]})
    assert len(results(u)) == 2
    assert test.getSubscribedNodes(subscriptionId="e2e 1") == [SETPOINT]
    assert gateway.store.get(SUBS + "/e2e 1/RTNodeCount/Value") == "1"

    unknown = svc.updateSubscriptionRealTimeNodes(subscriptionId="nobody")
    assert results(unknown)[0].Value == (
        "? 28 No match for SubscriberId : updateSubscriptionRealTimeNodes() failed")

    svc.cancelSubscription(subscriptionId="e2e 1")
    assert gateway.store.children(SUBS) == []
    assert gateway.store.get("/Software/Data Servers/WS-Publisher/SubUpdateCount/Value") == "2"
    gone = test.getSubscribedNodes(subscriptionId="e2e 1")
    assert gone == ["? 28 No match for SubscriberId : e2e 1"]


def test_hostile_subscription_ids(gateway):
    _, svc = gateway.zeep_for("createSubscription")
    before = gateway.store.run("export", "/Devices").stdout
    for bad in ["..", "a/b", "../../Devices"]:
        r = svc.createSubscription(options="", subscriptionId=bad, replyUri="x",
                                   leaseDuration=0,
                                   realTimeNodes={"NodeSubscription": [node(VOLTAGE)]},
                                   logSinceTime=0, subscribeLogOptions=[])
        assert results(r)[0].Value == "? 27 Could not set up subscription : Invalid subscriptionId"
    assert gateway.store.run("export", "/Devices").stdout == before


def test_acknowledge_and_active_alarms(gateway):
    gateway.store.run("raise", "501", VOLTAGE + "/Value", "262.5", "3")
    gateway.store.run("raise", "502", SETPOINT + "/Value", "7", "0")
    _, svc = gateway.zeep_for("acknowledgeAlarm")
    _, dx = gateway.zeep_for("getActiveAlarms")
    request = dict(options="", rqstType="LgRqTypAlarmEvents", startTime=0, endTime=0,
                   nMaxToReturn=0, bLatestEvents=False, bReverseOrder=False,
                   bTrimIncomplete=False, path="")

    active = dx.getActiveAlarms(request=request)
    assert (active.result or "") == ""
    assert sorted(a.EventId for a in active.alarms) == [501, 502]

    out = svc.acknowledgeAlarm(requests={"AckRequest": [
        {"EventId": 501, "Note": "on my way", "VariationLevel": 1, "Status": "Acked"},
        {"EventId": 999, "VariationLevel": 0, "Status": "Acked"}]})
    assert [o or "" for o in out] == ["", "? 20 Write Failed : CDS event_send failed"]
    assert "Ack'ing Alarm #501 (AckStatus=1, varLevel=1). \n" in gateway.stderr()
    assert "               Note = on my way \n" in gateway.stderr()

    acked = {a.EventId: a for a in dx.getActiveAlarms(request=request).alarms}
    assert acked[501].AckStatus == "Acked" and acked[501].Note == "on my way"
    assert acked[501].SourcePath == VOLTAGE and acked[501].BasePriority == "3"

    gateway.store.run("clear", "501")
    left = dx.getActiveAlarms(request=dict(request, path="/Devices"))
    assert [a.EventId for a in left.alarms] == [502]

    # The raise, the acknowledgement and the closing are in the event log.
    _, log = gateway.zeep_for("getEventLog")
    events = log.getEventLog(request=request).events
    assert [(e.EventId, e.AckStatus) for e in events if e.EventId == 501] == [
        (501, "NotAcked"), (501, "Acked"), (501, "Closed")]
