"""The service descriptions as they are served: every schema compiles on its
own (imports found by location), every type is declared in one namespace
only, and each WSDL imports the schemas instead of repeating them."""
import collections
import glob
import os

import pytest
from lxml import etree

WSDL_DIR = os.environ.get("WSB_WSDL_DIR", "")
XSD = "{http://www.w3.org/2001/XMLSchema}"
WSDL = "{http://schemas.xmlsoap.org/wsdl/}"


def files(pattern):
    found = sorted(glob.glob(os.path.join(WSDL_DIR, pattern)))
    if not found:
        pytest.skip("no service descriptions in " + WSDL_DIR)
    return found


@pytest.mark.parametrize("name", ["nsc1", "nst1", "nss1", "nsdx", "nsc3"])
def test_each_schema_compiles_on_its_own(name):
    path = os.path.join(WSDL_DIR, name + ".xsd")
    if not os.path.exists(path):
        pytest.skip("not built")
    etree.XMLSchema(etree.parse(path))  # raises XMLSchemaParseError


def test_every_type_is_declared_once():
    declared = collections.defaultdict(list)
    for path in files("*.xsd"):
        tree = etree.parse(path)
        namespace = tree.getroot().get("targetNamespace")
        for kind in ("complexType", "simpleType"):
            for node in tree.getroot().findall(XSD + kind):
                declared[node.get("name")].append(namespace)
    repeated = {name: spaces for name, spaces in declared.items() if len(spaces) > 1}
    # The contract gives these two namespaces a string list of their own.
    assert repeated == {"ArrayOfString": ["http://device-ws.example.com/Corvane",
                                          "http://device-ws.example.com/CorvaneSubscriber"]}
    for name in ("stDeviceData", "stSnapshot", "stSample", "stParamProperties",
                 "stPeriodProperties", "stDeviceParams", "enumSampleType"):
        assert declared[name] == ["http://device-ws.example.com/CorvaneDX"], name


def test_wsdls_import_the_schemas_by_location():
    for path in files("*.wsdl"):
        types = etree.parse(path).getroot().find(WSDL + "types")
        assert types.findall(".//" + XSD + "complexType") == [], path
        locations = {i.get("schemaLocation") for i in types.iter(XSD + "import")}
        assert locations == {"nsc1.xsd", "nst1.xsd", "nss1.xsd", "nsdx.xsd", "nsc3.xsd"}, path
