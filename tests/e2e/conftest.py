"""End-to-end fixtures: the real wsbridge behind a real nginx.

    def test_something(gateway):           # one gateway per test module
        r = gateway.post(envelope(...))     # raw SOAP POST, basic auth as admin
        r = gateway.post(body, user="viewer", tls=True)   # over TLS: HTTPS=on
        client = gateway.zeep("x.wsdl")     # zeep from the WSDL served by nginx
        client, svc = gateway.zeep_for("getDefaultLocale")
        assert "..." in gateway.stderr()    # wsbridge's standard error so far
        gateway.store.children(path)        # read the store through cdsctl

    def test_lifecycle(fresh_gateway):     # a gateway of its own, e.g. to stop it
        gw = fresh_gateway(setup=lambda store: store.run("set", path, "text", "x"))
        assert gw.terminate() == 0

Users admin/operator/viewer (passwords in gateway.USERS) have the roles of
their names in the test store (store.json). The binaries come from the
environment set by CMakeLists.txt; without them every test is skipped.
"""
import os
import shutil

import pytest

from gateway import Binaries, Gateway, make_workdir

STORE_JSON = os.path.join(os.path.dirname(os.path.abspath(__file__)), "store.json")


@pytest.fixture(scope="session")
def binaries():
    b = Binaries()
    missing = b.missing()
    if missing:
        pytest.skip("not built: " + ", ".join(missing))
    return b


def _launch(binaries, started, setup=None):
    gw = Gateway(binaries, make_workdir(), STORE_JSON)
    started.append(gw)
    return gw.start(setup)


def _teardown(started, request):
    failed = request.node.rep_call.failed if hasattr(request.node, "rep_call") else False
    for gw in started:
        gw.stop()
        if not failed and not os.environ.get("WSB_E2E_KEEP"):
            shutil.rmtree(gw.dir, ignore_errors=True)
        else:
            print("kept %s" % gw.dir)


@pytest.fixture(scope="module")
def gateway(binaries, request):
    """One gateway shared by the tests of a module."""
    started = []
    try:
        yield _launch(binaries, started)
    finally:
        _teardown(started, request)


@pytest.fixture
def fresh_gateway(binaries, request):
    """Factory of gateways owned by one test (stopped after it):
    fresh_gateway(setup=None), setup(store) runs before wsbridge starts."""
    started = []
    try:
        yield lambda setup=None: _launch(binaries, started, setup)
    finally:
        _teardown(started, request)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    # Lets teardown keep the work folder (logs, store) of a failed test.
    outcome = yield
    rep = outcome.get_result()
    setattr(item, "rep_" + rep.when, rep)
