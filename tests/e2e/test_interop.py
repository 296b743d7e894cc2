"""A second, independent SOAP stack against the served descriptions:
python3-suds reads each WSDL through nginx (its schemas found by location)
and calls operations of every service, checking the values it parses."""
import pytest

from gateway import USERS

suds_client = pytest.importorskip("suds.client")
suds_http = pytest.importorskip("suds.transport.http")

POINT = "/Interop/Meter"


@pytest.fixture(scope="module")
def gw(gateway):
    s = gateway.store
    s.run("mknode", POINT)
    s.run("set", POINT + "/Value", "real", "230.5")
    s.run("set", POINT + "/Writable", "bool", "true")
    s.run("set", POINT + "/Units", "text", "V")
    return gateway


def client(gw, name, user="admin"):
    transport = suds_http.HttpAuthenticated(username=user, password=USERS[user])
    return suds_client.Client(gw.wsdl_url(name + ".wsdl"), transport=transport, cache=None)


def test_values_through_suds(gw):
    core = client(gw, "Corvane").service
    assert core.getValue(options="", path=POINT + "/Value") == "230.5"
    assert core.setValue(options="", path=POINT + "/Value", value="231.25") == "231.25"
    assert core.getDefaultLocale(options="") == "en-US"


def test_explorer_through_suds(gw):
    dx = client(gw, "CorvaneDX", user="operator").service
    assert dx.whoAmI(options="") == "operator"
    r = dx.getLeafDescriptors(options="", basePath=POINT + "/", leafPaths=["Value", "Units"])
    assert r.result == "OK"
    assert [d.result for d in r.descriptors] == ["231.25", "V"]


def test_node_management_and_commands_through_suds(gw):
    test = client(gw, "CorvaneTest").service
    assert test.CreateNode(options="", basePath="/Interop/New", paths=["Note"],
                           values=["by suds"]) in ("", None)
    assert gw.store.get("/Interop/New/Note") == "by suds"
    c3 = client(gw, "CorvaneC3").service
    r = c3.getDeviceCmdResult(options="", devPath="/Interop/None", cmdHandle=7)
    assert r.result == "? 32 Handle Invalid or Expired : /Interop/None for cmd #7"
