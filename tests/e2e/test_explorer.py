"""The device explorer through nginx, called from zeep with the served WSDL:
the device tree, leaf descriptors, whoAmI, the device time, the attribute
search (also with a pathological pattern, which must not hold the gateway)
and the server fault of getMinAvgMaxValues."""
import calendar
import json
import time

import pytest
import zeep

CHANGED = "2026-03-04T05:06:07.000089Z"
QUALITY_SET = "2026-01-02T03:04:05.000006Z"


def device_time(iso):
    """Device time of an ISO 8601 UTC stamp: microseconds since 1970."""
    seconds = calendar.timegm(time.strptime(iso[:19], "%Y-%m-%dT%H:%M:%S"))
    return seconds * 1000000 + int(iso[20:26])


def leaf(name, type_, value, **extra):
    d = {"name": name, "type": type_, "value": value}
    d.update(extra)
    return d


PLANT = {"format": "cds-store", "version": 1, "nodes": [
    {"path": "/Plant", "leaves": [
        leaf("NodeType", "String", "Device"), leaf("DisplayName", "String", "Plant"),
        leaf(".Quality", "Unsigned", 192)]},
    {"path": "/Plant/sDevChangeCount", "leaves": [
        leaf("Value", "Unsigned", 4, time=CHANGED)]},
    {"path": "/Plant/F1", "leaves": [
        leaf("NodeType", "String", "Device"), leaf("DisplayName", "String", "Feeder 1")]},
    {"path": "/Plant/F1/Volts", "leaves": [
        leaf("Value", "Real", 231.5, property="persistent"), leaf("Units", "String", "V")]},
    {"path": "/Plant/F1/Amps", "leaves": [
        leaf("Value", "Real", 12.5), leaf("Units", "String", "A")]},
    {"path": "/Plant/F1/Tag", "leaves": [
        leaf("Value", "String", "a" * 40 + "b")]},
    # Shares the prefix "/Plant": listed one level below it as well.
    {"path": "/Plantroom", "leaves": [
        leaf("NodeType", "String", "Device"),
        leaf(".Quality", "Unsigned", 64, time=QUALITY_SET)]},
    {"path": "/Plantroom/Deep", "leaves": [leaf("NodeType", "String", "Device")]},
]}


@pytest.fixture(scope="module")
def explorer(gateway, tmp_path_factory):
    path = tmp_path_factory.mktemp("explorer") / "plant.json"
    path.write_text(json.dumps(PLANT))
    gateway.store.import_json(str(path))
    return gateway


def service(gw, operation, user="admin"):
    return gw.zeep_for(operation, user)[1]


def test_device_tree(explorer):
    svc = service(explorer, "getDeviceTree")
    r = svc.getDeviceTree(options="", startingPath="/Plant", bRecursive=False)
    assert r.result in ("", None)
    devices = {d.devPath: d for d in r.devices}
    assert list(devices) == ["/Plant", "/Plant/F1", "/Plantroom"]
    plant = devices["/Plant"]
    assert (plant.devType, plant.devDisplayName, plant.devQuality, plant.devChangeCount) == \
        ("Device", "Plant", 192, 4)
    assert plant.devChangeTime == device_time(CHANGED)
    room = devices["/Plantroom"]
    assert (room.devDisplayName, room.devQuality, room.devChangeCount) == ("Unknown", 64, 0)
    assert room.devChangeTime == device_time(QUALITY_SET)

    everything = svc.getDeviceTree(options="", startingPath="/Plant", bRecursive=True)
    assert [d.devPath for d in everything.devices] == \
        ["/Plant", "/Plant/F1", "/Plantroom", "/Plantroom/Deep"]


def test_leaf_descriptors(explorer):
    svc = service(explorer, "getLeafDescriptors")
    r = svc.getLeafDescriptors(options="", basePath="/Plant/F1/",
                               leafPaths=["Volts/Value", "Nowhere/Value", "Amps/Units"])
    assert r.result == "OK"
    assert [d.result for d in r.descriptors] == \
        ["231.5", "? 9 Node Not Found : CDS access failed", "A"]
    assert [d.leafType for d in r.descriptors] == \
        ["LeafTypePersist", "LeafTypeNormal", "LeafTypeNormal"]
    assert r.descriptors[0].leafChangeTime > 0

    empty = svc.getLeafDescriptors(options="errorPrefix=E", basePath="/Plant", leafPaths=[])
    assert empty.result == "E? 17 No Paths Provided : No paths"
    assert not empty.descriptors


@pytest.mark.parametrize("user", ["admin", "operator", "viewer"])
def test_who_am_i(explorer, user):
    assert service(explorer, "whoAmI", user).whoAmI(options="") == user


def test_local_and_utc_time(explorer):
    before = int(time.time() * 1e6)
    r = service(explorer, "getLocalAndUtcTime").getLocalAndUtcTime(options="")
    after = int(time.time() * 1e6)
    assert r.result in ("", None)
    assert before <= r.utcTime <= after
    assert isinstance(r.timezone, str)
    assert abs(r.localTime - r.utcTime) <= 14 * 3600 * 1000000


def test_attribute_search(explorer):
    svc = service(explorer, "findAttributeMatches")
    r = svc.findAttributeMatches(options="", startingPath="/Plant", bRecursive=True,
                                 attribMatch="Units", regexMatchPattern="^[AV]$")
    assert r.result in ("", None)
    assert list(r.nodes) == ["/Plant/F1/Volts", "/Plant/F1/Amps"]
    assert list(r.data) == ["V", "A"]

    invalid = svc.findAttributeMatches(options="", startingPath="/Plant", bRecursive=True,
                                       attribMatch="", regexMatchPattern="(")
    assert invalid.result in ("", None)
    assert not invalid.nodes


def test_pathological_pattern_does_not_hold_the_gateway(explorer):
    svc = service(explorer, "findAttributeMatches")
    r = svc.findAttributeMatches(options="", startingPath="/Plant", bRecursive=True,
                                 attribMatch="", regexMatchPattern="(a+)+$")
    assert r.result in ("", None)
    assert not r.nodes
    assert explorer.answers()
    assert explorer.alive()


def test_min_avg_max_values_answers_the_server_fault(explorer):
    svc = service(explorer, "getMinAvgMaxValues")
    with pytest.raises(zeep.exceptions.Fault) as fault:
        svc.getMinAvgMaxValues(options="", paths=["/Plant/F1/Volts"], startTime=0,
                               endTime=10, ratePeriod="RatePeriodA")
    assert fault.value.message == "Server fault"
    assert explorer.alive()
