"""Refused writes through nginx as the client sees them (HTTP 401): setValue,
and the operations that change the device without a leaf write (a command,
an alarm acknowledgement)."""
import pytest

from gateway import NSC1, envelope

METER = "/E2E/Meter"
NSC3 = "http://device-ws.example.com/CorvaneC3"
COMMANDS = "/Software/Commands"
DEVICE_CMDS = COMMANDS + "/E2E.Meter"


@pytest.fixture(scope="module")
def values_gw(gateway):
    """The shared gateway with a meter point, a device handler's registration
    and an alarm planted through cdsctl (the store is shared between
    processes)."""
    s = gateway.store
    s.run("mknode", METER)
    s.run("set", METER + "/Value", "real", "230.5")
    s.run("set", METER + "/Writable", "bool", "true")
    s.run("set", METER + "/Units", "text", "V")
    # A device handler's registration, so that an allowed command is queued.
    for node, value in ((COMMANDS + "/nextCommandID", "1"), (DEVICE_CMDS + "/WsdlVersion", "1"),
                        (DEVICE_CMDS + "/inpQueue/maxCount", "8")):
        s.run("mknode", node)
        s.run("set", node + "/Value", "uint", value, "--property", "persistent")
    s.run("mknode", DEVICE_CMDS + "/cmdList/cmdIval/set/Value")
    s.run("raise", "601", METER + "/Value", "260", "3")
    return gateway


def core(gw, user="admin"):
    return gw.zeep_for("getValue", user=user)[1]


def test_viewer_write_is_http_401(values_gw):
    body = ('<nsc1:setValue><nsc1:options></nsc1:options><nsc1:path>%s/Value</nsc1:path>'
            '<nsc1:value>1</nsc1:value></nsc1:setValue>' % METER)
    before = core(values_gw).getValue(options="", path=METER + "/Value")
    r = values_gw.post(envelope(body, ns_decls='xmlns:nsc1="%s"' % NSC1), user="viewer")
    assert r.status_code == 401, r.text
    assert core(values_gw).getValue(options="", path=METER + "/Value") == before
    # The zeep client sees the same refusal as an error, never as a reply.
    with pytest.raises(Exception):
        core(values_gw, user="viewer").setValue(options="", path=METER + "/Value", value="1")
    assert values_gw.answers(), "the gateway goes on serving after a refusal"


# Operations that change the device although they write no leaf of the
# client's: a viewer is refused exactly as a refused write (HTTP 401, the
# same fault) with the store unchanged; an operator is served.
ROLE_ESCAPES = [
    ("sendDeviceCmd",
     '<nsc3:sendDeviceCmd><options/><devPath>%s</devPath><cmd><cmdVersion>1</cmdVersion>'
     '<cmdIval><name>set</name><param>Value</param><num>0</num><psswd>0</psswd>'
     '<iValue>5</iValue></cmdIval></cmd></nsc3:sendDeviceCmd>' % METER,
     'xmlns:nsc3="%s"' % NSC3, ("export", COMMANDS)),
    ("acknowledgeAlarm",
     '<nsc1:acknowledgeAlarm><nsc1:requests><nsc1:AckRequest><nsc1:EventId>601</nsc1:EventId>'
     '<nsc1:VariationLevel>0</nsc1:VariationLevel><nsc1:Status>Acked</nsc1:Status>'
     '</nsc1:AckRequest></nsc1:requests></nsc1:acknowledgeAlarm>',
     'xmlns:nsc1="%s"' % NSC1, ("alarms",)),
]


@pytest.mark.parametrize("op,body,ns,state", ROLE_ESCAPES, ids=[r[0] for r in ROLE_ESCAPES])
def test_viewer_cannot_change_the_device(values_gw, op, body, ns, state):
    refused_write = values_gw.post(envelope(
        '<nsc1:setValue><nsc1:path>%s/Value</nsc1:path><nsc1:value>1</nsc1:value>'
        '</nsc1:setValue>' % METER, ns_decls='xmlns:nsc1="%s"' % NSC1), user="viewer")
    before = values_gw.store.run(*state).stdout
    r = values_gw.post(envelope(body, ns_decls=ns), user="viewer")
    assert (r.status_code, r.text) == (401, refused_write.text)
    assert values_gw.store.run(*state).stdout == before
    r = values_gw.post(envelope(body, ns_decls=ns), user="operator")
    assert r.status_code == 200, r.text
    assert "? " not in r.text, r.text
    assert values_gw.store.run(*state).stdout != before
