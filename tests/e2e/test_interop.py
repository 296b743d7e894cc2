"""Independent SOAP stacks against the served site: python3-suds reads each
WSDL through nginx (its schemas found by location) and calls operations of
every service; Perl's SOAP::Lite calls the value services without a WSDL.
Both check the values they parse."""
import shutil
import subprocess

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


PERL_CLIENT = r'''
use strict; use warnings; use SOAP::Lite;
my ($url, $user, $pw, $op, @args) = @ARGV;
sub SOAP::Transport::HTTP::Client::get_basic_credentials { return ($user, $pw) }
my $soap = SOAP::Lite->proxy($url)->autotype(0)
                     ->default_ns('http://device-ws.example.com/Corvane');
$soap->on_action(sub { '""' });
my @params;
while (my ($name, $value) = splice(@args, 0, 2)) {
    push @params, SOAP::Data->name($name => $value);
}
my $som = $soap->call($op, @params);
die $som->faultstring . "\n" if $som->fault;
binmode STDOUT, ':utf8';
print $som->result, "\n";
'''


def perl(gw, *args, user="admin"):
    if shutil.which("perl") is None or subprocess.run(
            ["perl", "-MSOAP::Lite", "-e", "1"], capture_output=True).returncode != 0:
        pytest.skip("Perl SOAP::Lite is not installed")
    r = subprocess.run(["perl", "-e", PERL_CLIENT, gw.url, user, USERS[user]] + list(args),
                       capture_output=True, text=True, timeout=60)
    return r.returncode, r.stdout.rstrip("\n"), r.stderr


def test_values_through_perl_soap_lite(gw):
    assert perl(gw, "setValue", "options", "", "path", POINT + "/Value", "value", "232.5",
                user="operator") == (0, "232.5", "")
    assert perl(gw, "getValue", "options", "", "path", POINT + "/Value") == (0, "232.5", "")
    text = "Z\u00e4hler \u20ac"
    gw.store.run("set", POINT + "/Units", "text", text)
    assert perl(gw, "getValue", "options", "", "path", POINT + "/Units") == (0, text, "")
    code, _, err = perl(gw, "setValue", "options", "", "path", POINT + "/Value", "value", "1",
                        user="viewer")
    assert code != 0 and "401" in err
    assert gw.store.get(POINT + "/Value") == "232.5"
