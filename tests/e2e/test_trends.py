"""Trend logs end to end: a trend file filled with cdstrend, read through
nginx and wsbridge by python3-zeep (periods, a device's parameters, an
833-snapshot page and its limit) after an open failure that the next request
retries. cdstrend is taken from $WSB_CDSTREND, else from the build tree
beside the WSDL folder; without it these tests are skipped.
"""
import math
import os
import subprocess

import pytest

T0 = 1700000000  # Unix seconds of the first planted snapshot
STEP = 900
DEVICE = "/Meters/Main"


@pytest.fixture(scope="module")
def cdstrend(binaries):
    path = os.environ.get("WSB_CDSTREND") or os.path.join(
        os.path.dirname(binaries.wsdl_dir), "tools", "cdstrend", "cdstrend")
    if not os.access(path, os.X_OK):
        pytest.skip("cdstrend not built")

    def run(*args):
        r = subprocess.run([path] + [str(a) for a in args], capture_output=True, text=True)
        assert r.returncode == 0, r.stderr
        return r.stdout
    return run


def data_request(**fields):
    r = dict(options="", devicePath=DEVICE, pointPaths=[], periods=[1], startTime=0,
             endTime=0, nMaxToReturn=0, startingOffset=0, ascendingOrder=True)
    r.update(fields)
    return r


def test_missing_log_then_retried(gateway, cdstrend):
    _, svc = gateway.zeep_for("getTrendPeriods")
    r = svc.getTrendPeriods(options="")
    assert r.result == "? 21 No History : Failed to open trend log database"
    log = os.path.join(gateway.dir, "interval-trends.db")
    assert "Failed to open database %s \n" % log in gateway.stderr()
    # The next request opens the log once it exists.
    cdstrend(log, "period", 1, 0)
    cdstrend(log, "period", 4, 35040)
    cdstrend(log, "generate", DEVICE, 5, 1, T0, STEP, 1000, 10)
    r = svc.getTrendPeriods(options="")
    assert r.result == "OK"
    assert [(p.period, p["max-entries"]) for p in r.periodProperties] == [(1, 0), (4, 35040)]


def test_full_page_and_limit(gateway, cdstrend):
    _, svc = gateway.zeep_for("getTrendData")
    r = svc.getTrendData(request=data_request(nMaxToReturn=833, startingOffset=10))
    assert r.result == "OK"
    snaps = r.data.samples
    assert len(snaps) == 833
    assert r.data.params.devicePath == DEVICE
    assert len(r.data.params.paramPaths) == 5
    assert [s.timestamp for s in snaps[:2]] == [(T0 + k * STEP) * 1000000 for k in (10, 11)]
    assert all(len(s.data) == 5 for s in snaps)
    # cdstrend writes every 10th average as absent, starting with the first.
    first = snaps[0].data[0]
    assert first.avgValid is False and first.avg == 0
    assert first.minValid and first.maxValid and first.actualValid
    assert math.isclose(first.max - first.min, 2.0)
    assert snaps[1].data[0].avgValid is True
    r = svc.getTrendData(request=data_request(nMaxToReturn=834))
    assert r.result == "? 34 Result Too Big to Return : Please request less than 833 records."
    assert not r.data.samples


def test_parameters_periods_and_order(gateway, cdstrend):
    _, svc = gateway.zeep_for("getTrendData")
    r = svc.getTrendData(request=data_request(
        nMaxToReturn=3, ascendingOrder=False, pointPaths=[DEVICE + "/P3", DEVICE + "/P1"]))
    assert r.result == "OK"
    assert r.data.params.paramPaths == [DEVICE + "/P1", DEVICE + "/P3"]
    assert [s.timestamp // 1000000 for s in r.data.samples] == [T0 + k * STEP for k in (999, 998, 997)]
    r = svc.getTrendData(request=data_request(periods=[2, 3]))
    assert r.result == "? 21 No History : No Trend periods data matching the request."
    r = svc.getTrendData(request=data_request(startingOffset=2 ** 63))
    assert r.result == "OK" and not r.data.samples
    assert gateway.alive()
