"""Every operation of the published WSDL files, called by an independent SOAP
client (python3-zeep): the request is built by zeep from our WSDL, served by
our dispatcher (wire_driver) and the reply parsed back by zeep."""

import glob
import os
import subprocess

import pytest
import zeep
from lxml import etree
from zeep.xsd import Choice, ComplexType, Sequence

WSDL_DIR = os.environ.get("WSB_WSDL_DIR", "")
DRIVER = os.environ.get("WSB_WIRE_DRIVER", "")
XSD_NS = "{http://www.w3.org/2001/XMLSchema}"
SERVICES = {
    "Corvane": "http://device-ws.example.com/Corvane",
    "CorvaneTest": "http://device-ws.example.com/CorvaneTest",
    "CorvaneDX": "http://device-ws.example.com/CorvaneDX",
    "CorvaneC3": "http://device-ws.example.com/CorvaneC3",
}
OPERATION_COUNT = 36


class _Reply:
    """What zeep's binding expects of an HTTP response."""

    def __init__(self, content, status_code):
        self.content = content
        self.status_code = status_code
        self.headers = {"Content-Type": "text/xml; charset=utf-8"}
        self.encoding = "utf-8"


def _wsdl_files():
    return sorted(glob.glob(os.path.join(WSDL_DIR, "*.wsdl")))


def _enumerations(wsdl_path):
    """Named simple types of the schemas beside the WSDL (which imports
    them) -> their enumeration values."""
    enums = {}
    for path in glob.glob(os.path.join(os.path.dirname(wsdl_path), "*.xsd")):
        for simple in etree.parse(path).iter(XSD_NS + "simpleType"):
            name = simple.get("name")
            values = [e.get("value") for e in simple.iter(XSD_NS + "enumeration")]
            if name and values:
                enums[name] = values
    return enums


def _simple_value(xsd_type, enums):
    name = xsd_type.qname.localname if getattr(xsd_type, "qname", None) else ""
    kinds = {cls.__name__ for cls in type(xsd_type).__mro__}
    if "ListType" in kinds:
        item = enums.get(name, ["1"])
        return item[-2:]
    if name in enums:
        return enums[name][-1]
    if "Boolean" in kinds:
        return True
    if "Integer" in kinds:  # before Decimal: zeep derives integers from it
        return 2
    if kinds & {"Double", "Float", "Decimal"}:
        return 1.5
    return "/Meter/kW"


def _unchosen_alternatives(xsd_type):
    """Names of the choice alternatives left out: a choice takes its last
    alternative (the richest command kind)."""
    skipped = set()
    pending = [xsd_type._element] if xsd_type._element is not None else []
    while pending:
        indicator = pending.pop()
        if isinstance(indicator, Choice):
            skipped.update(e.name for e in list(indicator)[:-1])
        elif isinstance(indicator, Sequence):
            pending.extend(indicator)
    return skipped


def _sample(element, enums):
    """A value for `element` with every field present: two items for a
    sequence, nested records filled the same way."""
    xsd_type = element.type
    if isinstance(xsd_type, ComplexType):
        skipped = _unchosen_alternatives(xsd_type)
        value = {name: _sample(child, enums)
                 for name, child in xsd_type.elements if name not in skipped}
    else:
        value = _simple_value(xsd_type, enums)
    if element.max_occurs == "unbounded" or (isinstance(element.max_occurs, int) and element.max_occurs > 1):
        return [value, value]
    return value


def _operations():
    cases = []
    for path in _wsdl_files():
        client = zeep.Client(path)
        for service in client.wsdl.services.values():
            for port in service.ports.values():
                for name in sorted(port.binding._operations):
                    cases.append(pytest.param(path, name, id=f"{service.name}.{name}"))
    return cases


def _serve(envelope, tmp_path):
    done = subprocess.run([DRIVER], input=envelope, capture_output=True, cwd=tmp_path,
                          env={k: v for k, v in os.environ.items() if not k.startswith("REMOTE_")},
                          timeout=60, check=False)
    errors = done.stderr.decode(errors="replace")
    assert done.returncode in (0, 1, 2), errors
    assert "Sanitizer" not in errors and "runtime error" not in errors, errors
    return done.stdout, 200 if done.returncode == 0 else 500


pytestmark = pytest.mark.skipif(not (WSDL_DIR and DRIVER), reason="WSB_WSDL_DIR and WSB_WIRE_DRIVER not set")


def test_every_service_description_is_published():
    names = sorted(os.path.basename(p)[:-5] for p in _wsdl_files())
    assert names == sorted(SERVICES)
    for schema in ("nsc1", "nst1", "nss1", "nsdx", "nsc3"):
        assert os.path.exists(os.path.join(WSDL_DIR, schema + ".xsd"))


def test_every_operation_is_described_once():
    seen = {}
    for path in _wsdl_files():
        client = zeep.Client(path)
        for service in client.wsdl.services.values():
            assert service.name in SERVICES
            for port in service.ports.values():
                assert port.binding_options["address"] == "http://localhost/wsbridge"
                for name in port.binding._operations:
                    assert (service.name, name) not in seen
                    seen[(service.name, name)] = path
    assert len(seen) == OPERATION_COUNT


@pytest.mark.parametrize("wsdl_path,operation", _operations())
def test_operation_called_from_wsdl(wsdl_path, operation, tmp_path):
    client = zeep.Client(wsdl_path)
    binding = client.service._binding
    op = binding._operations[operation]
    enums = _enumerations(wsdl_path)
    args = {name: _sample(element, enums) for name, element in op.input.body.type.elements}
    envelope = etree.tostring(client.create_message(client.service, operation, **args))
    content, status = _serve(envelope, tmp_path)
    try:
        reply = binding.process_reply(client, op, _Reply(content, status))
    except zeep.exceptions.Fault as fault:
        # The faults a handler may answer with: a refused write (401), the
        # engine's plain server fault and its plain client fault (status 1:
        # a subscription call without a known ID). Any other fault means the
        # request built from the WSDL did not decode.
        assert fault.message in ("Error 401: HTTP 401 Unauthorized", "Server fault",
                                 "Client fault"), (fault.code, fault.message, content)
        return
    assert status == 200
    # The reply decoded against the WSDL; zeep unwraps one-field replies,
    # a reply of several fields keeps all of them.
    fields = [name for name, _ in op.output.body.type.elements]
    if len(fields) > 1:
        assert all(hasattr(reply, name) for name in fields), (fields, reply)

ENVELOPE = ('<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/"'
            ' xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"'
            ' xmlns:nss1="http://device-ws.example.com/CorvaneSubscriber"'
            ' xmlns:nsdx="http://device-ws.example.com/CorvaneDX">'
            "<SOAP-ENV:Body>{}</SOAP-ENV:Body></SOAP-ENV:Envelope>")


def _explorer_reply(operation, body):
    client = zeep.Client(os.path.join(WSDL_DIR, "CorvaneDX.wsdl"))
    binding = client.service._binding
    return binding.process_reply(client, binding._operations[operation],
                                 _Reply(ENVELOPE.format(body).encode(), 200))


def test_repeated_result_fields_are_read_as_lists():
    reply = _explorer_reply("getWaveformData",
                            "<nsdx:getWaveDataResponse><result>OK</result><samplingRate>960</samplingRate>"
                            "<startTime>5</startTime><triggerTime>6</triggerTime><triggerIndex>7</triggerIndex>"
                            "<data>1.5</data><data>-2</data><data>3.25</data></nsdx:getWaveDataResponse>")
    assert reply.data == [1.5, -2.0, 3.25]
    reply = _explorer_reply("getDeviceTree",
                            "<nsdx:getDeviceTreeResponse><result>OK</result>"
                            + "".join(f"<devices><devPath>/D{i}</devPath><devType>meter</devType>"
                                      f"<devDisplayName>D{i}</devDisplayName><devQuality>0</devQuality>"
                                      f"<devChangeCount>{i}</devChangeCount><devChangeTime>9</devChangeTime></devices>"
                                      for i in range(3))
                            + "</nsdx:getDeviceTreeResponse>")
    assert [d.devPath for d in reply.devices] == ["/D0", "/D1", "/D2"]


def test_alarm_updates_in_an_event_log_reply_keep_their_fields():
    event = ("<nss1:EventId>1</nss1:EventId><nss1:SequenceIndex>2</nss1:SequenceIndex>"
             "<nss1:EventType>Alarm</nss1:EventType><nss1:SourcePath>/M</nss1:SourcePath>"
             "<nss1:Time>3</nss1:Time>")
    alarm = event + ("<nss1:BasePriority>12</nss1:BasePriority><nss1:AckStatus>Closed</nss1:AckStatus>"
                     "<nss1:AutoClosing>true</nss1:AutoClosing><nss1:ConditionPresent>false</nss1:ConditionPresent>"
                     "<nss1:Note>n</nss1:Note><nss1:VariationLevel>-3</nss1:VariationLevel>")
    reply = _explorer_reply("getEventLog",
                            "<nsdx:getEventLogResponse><result>OK</result><numTrimmedEvents>0</numTrimmedEvents>"
                            f"<events>{event}</events>"
                            f'<events xsi:type="nss1:AlarmUpdate">{alarm}</events>'
                            "</nsdx:getEventLogResponse>")
    assert len(reply.events) == 2
    assert reply.events[0].SourcePath == "/M"
    assert reply.events[1].AckStatus == "Closed"
    assert reply.events[1].VariationLevel == -3
