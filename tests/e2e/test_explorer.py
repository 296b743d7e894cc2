"""The device explorer through nginx, called from zeep with the served WSDL:
whoAmI per user, the attribute search (also with a pathological pattern,
which must not hold the gateway) and the server fault of
getMinAvgMaxValues."""
import json

import pytest
import zeep


def leaf(name, type_, value, **extra):
    d = {"name": name, "type": type_, "value": value}
    d.update(extra)
    return d


PLANT = {"format": "cds-store", "version": 1, "nodes": [
    {"path": "/Plant/F1/Volts", "leaves": [leaf("Units", "String", "V")]},
    {"path": "/Plant/F1/Amps", "leaves": [leaf("Units", "String", "A")]},
    {"path": "/Plant/F1/Tag", "leaves": [leaf("Value", "String", "a" * 40 + "b")]},
]}


@pytest.fixture(scope="module")
def explorer(gateway, tmp_path_factory):
    path = tmp_path_factory.mktemp("explorer") / "plant.json"
    path.write_text(json.dumps(PLANT))
    gateway.store.import_json(str(path))
    return gateway


def service(gw, operation, user="admin"):
    return gw.zeep_for(operation, user)[1]


@pytest.mark.parametrize("user", ["admin", "operator", "viewer"])
def test_who_am_i(explorer, user):
    assert service(explorer, "whoAmI", user).whoAmI(options="") == user


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
