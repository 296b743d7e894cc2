"""Envelope-level faults: an unknown operation, malformed envelopes and every
operation not built yet each get a SOAP fault, and the loop goes on serving."""
import pytest
import zeep
from lxml import etree
from zeep import xsd

from gateway import NSC1, SOAP11_NS, SOAP12_NS, envelope

NOT_AVAILABLE = "not available"


def fault_of(response):
    """(envelope namespace, fault text) of a fault reply; fails on anything else."""
    doc = etree.fromstring(response.content)
    for ns in (SOAP11_NS, SOAP12_NS):
        fault = doc.find(".//{%s}Fault" % ns)
        if fault is not None:
            return ns, " ".join(t.strip() for t in fault.itertext() if t.strip())
    raise AssertionError("not a fault: " + response.text[:500])


UNKNOWN = '<nsc1:noSuchOperation><nsc1:options/></nsc1:noSuchOperation>'
FOREIGN = '<x:getDefaultLocale xmlns:x="urn:somebody-else"><x:options/></x:getDefaultLocale>'

# (case, body, content type is SOAP 1.2)
MALFORMED = [
    ("unknown operation", envelope(UNKNOWN, ns_decls='xmlns:nsc1="%s"' % NSC1), False),
    ("unknown operation, SOAP 1.2",
     envelope(UNKNOWN, soap12=True, ns_decls='xmlns:nsc1="%s"' % NSC1), True),
    ("known name in a foreign namespace", envelope(FOREIGN), False),
    ("envelope without a body", '<SOAP-ENV:Envelope xmlns:SOAP-ENV="%s"/>' % SOAP11_NS, False),
    ("deep nesting as the body", envelope("<a>" * 100000 + "</a>" * 100000), False),
    ("undeclared prefix", envelope('<zz:getDefaultLocale/>'), False),
    ("not an envelope", '<?xml version="1.0"?><Body><getDefaultLocale/></Body>', False),
    ("empty body element", envelope(''), False),
    ("text, not XML", "this is not XML at all", False),
    ("two roots", envelope('') + envelope(''), False),
    ("envelope never closed",
     envelope('<nsc1:getDefaultLocale/>', ns_decls='xmlns:nsc1="%s"' % NSC1)
     .replace("</SOAP-ENV:Body></SOAP-ENV:Envelope>", ""), False),
    ("mismatched end tag", envelope('<nsc1:getDefaultLocale></nsc1:getValue>',
                                    ns_decls='xmlns:nsc1="%s"' % NSC1), False),
    ("mismatched envelope end tag",
     envelope('<nsc1:getDefaultLocale/>', ns_decls='xmlns:nsc1="%s"' % NSC1)
     .replace("</SOAP-ENV:Envelope>", "</SOAP-ENV:Envelop>"), False),
    ("attribute name that is not a name",
     envelope('<nsc1:getValue><nsc1:path 0="x">/Devices</nsc1:path></nsc1:getValue>',
              ns_decls='xmlns:nsc1="%s"' % NSC1), False),
    ("HTTP request head before the envelope",
     "POST /wsbridge HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\n\r\n" +
     envelope('<nsc1:getDefaultLocale/>', ns_decls='xmlns:nsc1="%s"' % NSC1), False),
]

# Invalid UTF-8 inside a text is the text's fault, not the document's: the
# operation answers (here it ignores the text), with a well-formed envelope.
TOLERATED = [
    ("bad UTF-8", envelope('<nsc1:getDefaultLocale><nsc1:options>\xff\xfe</nsc1:options>'
                           '</nsc1:getDefaultLocale>',
                           ns_decls='xmlns:nsc1="%s"' % NSC1).encode("latin-1")),
]


@pytest.mark.parametrize("case,body,soap12", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_request_gets_fault_and_loop_goes_on(gateway, case, body, soap12):
    r = gateway.post(body, soap12=soap12)
    assert r.status_code in (400, 500), (case, r.status_code, r.text[:300])
    assert not r.text.startswith("Status:"), r.text[:200]
    ns, text = fault_of(r)
    assert text, case
    if soap12:
        assert ns == SOAP12_NS, case
    assert NOT_AVAILABLE not in text, case  # no handler may have been reached
    assert gateway.alive(), gateway.stderr()
    assert gateway.answers(), case


@pytest.mark.parametrize("case,body", TOLERATED, ids=[t[0] for t in TOLERATED])
def test_leniently_parsed_request_gets_an_envelope(gateway, case, body):
    r = gateway.post(body)
    assert r.status_code in (200, 500), (case, r.status_code)
    assert etree.fromstring(r.content).tag == "{%s}Envelope" % SOAP11_NS
    assert gateway.alive(), gateway.stderr()
    assert gateway.answers(), case


def test_exception_in_a_service_is_a_fault(gateway):
    """A subscription whose node list holds an empty element makes the
    subscribed-node listing throw; the client receives a fault, not a 502."""
    _, svc = gateway.zeep_for("createSubscription")
    svc.createSubscription(options="", subscriptionId="empty element", replyUri="http://sup/cb",
                           leaseDuration=600,
                           realTimeNodes={"NodeSubscription": [
                               {"Path": "/a;;b", "RequestedFreshness": 0,
                                "DeadbandPercent": 0.0}]},
                           logSinceTime=0, subscribeLogOptions=["Alarm"])
    nst1 = 'xmlns:nst1="%s"' % (NSC1 + "Test")
    r = gateway.post(envelope('<nst1:getSubscribedNodes><nst1:subscriptionId>empty element'
                              '</nst1:subscriptionId></nst1:getSubscribedNodes>',
                              ns_decls=nst1))
    assert r.status_code == 500, (r.status_code, r.text[:300])
    _, text = fault_of(r)
    assert "failed while serving" in text, text
    assert gateway.alive(), gateway.stderr()
    assert gateway.answers()


def test_unknown_operation_is_reported_as_such(gateway):
    r = gateway.post(envelope(UNKNOWN, ns_decls='xmlns:nsc1="%s"' % NSC1))
    _, text = fault_of(r)
    assert "noSuchOperation" in text or "method" in text.lower(), text


def all_operations(gateway):
    """(wsdl, service, port, operation) for every operation of every WSDL."""
    ops = []
    for name in gateway.wsdl_names():
        client = gateway.zeep(name, user="viewer")
        for service in client.wsdl.services.values():
            for port in service.ports.values():
                for op in port.binding._operations:
                    ops.append((name, service.name, port.name, op))
    return ops


def empty_arguments(client, service, port, op):
    """Every input part skipped: the request element arrives without children."""
    binding = client.wsdl.services[service].ports[port].binding
    body = binding._operations[op].input.body
    elements = getattr(body.type, "elements", []) if body is not None else []
    return {name: xsd.SkipValue for name, _ in elements}


def test_every_operation_is_dispatched(gateway):
    """Through zeep, as a viewer (so nothing with side effects is allowed):
    each operation either answers or faults, never with a dispatch failure,
    and those not built yet say so."""
    ops = all_operations(gateway)
    assert len(ops) >= 36, [o[3] for o in ops]
    not_built = []
    for wsdl, service, port, op in ops:
        client = gateway.zeep(wsdl, user="viewer")
        proxy = client.bind(service, port)
        try:
            getattr(proxy, op)(**empty_arguments(client, service, port, op))
        except zeep.exceptions.Fault as f:
            text = "%s %s" % (f.message, etree.tostring(f.detail).decode()
                               if f.detail is not None else "")
            assert "not recognized" not in text and "not implemented" not in text, (op, text)
            if NOT_AVAILABLE in text:
                not_built.append(op)
        assert gateway.alive(), (op, gateway.stderr())
    assert not_built == [], "operations answered 'not available': %s" % not_built
    assert gateway.answers()
