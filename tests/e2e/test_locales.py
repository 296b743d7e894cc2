"""Locales through the whole chain: zeep from the served WSDL, and raw SOAP
1.1 / 1.2 envelopes, each answered in its own envelope version."""
import pytest
from lxml import etree

from gateway import NSC1, SOAP11_NS, SOAP12_NS, locale_request, envelope


def test_default_locale_through_zeep(gateway):
    _, svc = gateway.zeep_for("getDefaultLocale")
    assert svc.getDefaultLocale(options="") == "en-US"


def test_supported_locales_through_zeep(gateway):
    _, svc = gateway.zeep_for("getSupportedLocales")
    result = svc.getSupportedLocales(options="")
    # An ArrayOfString: zeep gives the wrapper; its one list holds the texts.
    values = result if isinstance(result, list) else list(result.__values__.values())[0]
    assert list(values) == ["en-US"]


@pytest.mark.parametrize("user", ["admin", "operator", "viewer"])
def test_every_user_is_answered(gateway, user):
    _, svc = gateway.zeep_for("getDefaultLocale", user=user)
    assert svc.getDefaultLocale(options="") == "en-US"


@pytest.mark.parametrize("soap12,env_ns,content_type", [
    (False, SOAP11_NS, "text/xml"),
    (True, SOAP12_NS, "application/soap+xml"),
])
def test_raw_envelope_answered_in_its_version(gateway, soap12, env_ns, content_type):
    r = gateway.post(locale_request(soap12))
    assert r.status_code == 200, r.text
    assert r.headers["Content-Type"].startswith(content_type)
    doc = etree.fromstring(r.content)
    assert doc.tag == "{%s}Envelope" % env_ns
    result = doc.find(".//{%s}getDefaultLocaleResponse" % NSC1)
    assert result is not None, r.text
    assert [e.text for e in result.iter() if e is not result] == ["en-US"]


@pytest.mark.parametrize("options", ["", "locale=fr-FR", "garbage;;==;", "precision=abc"])
def test_options_never_change_the_locale(gateway, options):
    body = ('<nsc1:getDefaultLocale><nsc1:options>%s</nsc1:options>'
            '</nsc1:getDefaultLocale>' % options)
    r = gateway.post(envelope(body, ns_decls='xmlns:nsc1="%s"' % NSC1))
    assert r.status_code == 200
    doc = etree.fromstring(r.content)
    assert doc.findtext(".//{%s}getDefaultLocaleResult" % NSC1) == "en-US"
