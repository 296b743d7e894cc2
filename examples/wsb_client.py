"""Shared by the examples: a zeep proxy for every operation the gateway's
WSDLs declare. Settings come from the environment so each script runs
against the demo unchanged:
    WSB_URL      http://127.0.0.1:8080/wsbridge
    WSB_USER     admin
    WSB_PASSWORD admin-demo"""
import os

import requests
import zeep
from zeep.transports import Transport

URL = os.environ.get("WSB_URL", "http://127.0.0.1:8080/wsbridge").rstrip("/")
WSDLS = ("Corvane.wsdl", "CorvaneDX.wsdl", "CorvaneC3.wsdl")


def connect():
    """An object whose attributes are the gateway's operations:
    gw.getValue(options="", path="/Devices/Meter1/Frequency/Value")."""
    session = requests.Session()
    session.auth = (os.environ.get("WSB_USER", "admin"),
                    os.environ.get("WSB_PASSWORD", "admin-demo"))
    ops = {}
    for name in WSDLS:
        client = zeep.Client("%s/wsdl/%s" % (URL, name),
                             transport=Transport(session=session, timeout=30))
        for service in client.wsdl.services.values():
            for port in service.ports.values():
                proxy = client.bind(service.name, port.name)
                for op in port.binding._operations:
                    ops.setdefault(op, getattr(proxy, op))

    class Ops:
        def __getattr__(self, op):
            return ops[op]
    return Ops()
