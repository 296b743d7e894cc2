"""Device commands end to end: clients call sendDeviceCmd and
getDeviceCmdResult through nginx with zeep while the reference device
handler (tools/devhandler) serves /Devices/TestMeter from the same store.
Results are polled until the handler has answered (with a deadline, not a
pause). A full queue is answered with its text, and the gateway answers
whether or not a handler runs. The handler is found through WSB_DEVHANDLER, else beside cdsctl in
the build tree."""
import os
import signal
import subprocess
import time

import pytest

DEVICE = "/Devices/TestMeter"
IDLE = "/Devices/Idle"  # registered, but no handler runs for it
CMDS = "/Software/Commands/"


def node_name(path):
    return path.lstrip("/").replace("%", "%25").replace(".", "%2E") \
        .replace(":", "%3A").replace("/", ".")


def devhandler_path():
    env = os.environ.get("WSB_DEVHANDLER", "")
    if env:
        return env
    cdsctl = os.environ.get("WSB_CDSCTL", "")
    tools = os.path.dirname(os.path.dirname(cdsctl))
    return os.path.join(tools, "devhandler", "devhandler")


@pytest.fixture(scope="module")
def cmds(gateway):
    exe = devhandler_path()
    if not os.access(exe, os.X_OK):
        pytest.skip("devhandler not built")
    store = gateway.store
    store.run("mknode", IDLE + "/Volts")
    store.run("set", IDLE + "/Volts/Value", "real", "1.5")
    # --once registers synchronously, so no test races the registration.
    for dev, extra in ((DEVICE, []), (IDLE, ["--max-count", "1"])):
        subprocess.run([exe, "--store", store.path, "--device", dev, "--once"] + extra,
                       check=True, timeout=60)
    proc = subprocess.Popen([exe, "--store", store.path, "--device", DEVICE,
                             "--period", "20", "--age", "3600"],
                            stderr=subprocess.PIPE)
    try:
        yield gateway, gateway.zeep_for("sendDeviceCmd")[1], exe
    finally:
        proc.send_signal(signal.SIGTERM)
        assert proc.wait(timeout=30) == 0


def text(value):
    """zeep reads an empty string element as None."""
    return value or ""


def send(svc, cmd, dev=DEVICE, options=""):
    body = {"cmdVersion": 1}
    body.update(cmd)
    return svc.sendDeviceCmd(options=options, devPath=dev, cmd=body)


def poll(svc, handle, dev=DEVICE, deadline=60.0):
    """getDeviceCmdResult until the handler has answered (or the deadline).
    The handler creates the answer's node, then writes its text: in between
    the answer reads as "Could not read results", which is still pending."""
    end = time.monotonic() + deadline
    while True:
        r = svc.getDeviceCmdResult(options="", devPath=dev, cmdHandle=handle)
        pending = r.numericStatus == "cmdFailHandle" or r.cmdStatus == "Could not read results"
        if not pending or time.monotonic() > end:
            return r
        time.sleep(0.05)


def test_every_kind_runs_through_the_handler(cmds):
    gw, svc, _ = cmds
    sent = {
        "version": send(svc, {"cmdLine": "version"}),
        "read": send(svc, {"cmdLine": "read Voltage"}),
        "set": send(svc, {"cmdIval": {"name": "set", "param": "Setpoint", "num": 0,
                                      "psswd": 0, "iValue": 42}}),
        "harm": send(svc, {"cmdBasic": {"name": "harmonics", "param": "Voltage",
                                        "num": 5, "psswd": 0}}),
    }
    for name, reply in sent.items():
        assert text(reply.result) == "", name
    handles = [r.cmdHandle for r in sent.values()]
    assert len(set(handles)) == len(handles)

    r = poll(svc, sent["version"].cmdHandle)
    assert (text(r.result), r.numericStatus) == ("", "cmdSuccess")
    assert r.cmdHandle == sent["version"].cmdHandle
    assert DEVICE in r.cmdResults.resText
    r = poll(svc, sent["read"].cmdHandle)
    assert r.numericStatus == "cmdSuccess", r
    assert float(r.cmdResults.resText) == 230.5
    r = poll(svc, sent["set"].cmdHandle)
    assert r.numericStatus == "cmdSuccess"
    assert float(gw.store.get(DEVICE + "/Setpoint/Value").split()[-1]) == 42.0
    r = poll(svc, sent["harm"].cmdHandle)
    assert r.numericStatus == "cmdSuccess"
    h = r.cmdResults.resHarms
    assert h.cdsName == DEVICE + "/Voltage"
    assert [x.frequency for x in h.hData] == [50, 100, 150, 200, 250]
    assert h.hData[0].magnitude == pytest.approx(230.5)
    # Executed commands leave the input queue.
    assert gw.store.children(CMDS + node_name(DEVICE) + "/inpQueue") == ["maxCount"]


def test_full_queue_without_a_handler(cmds):
    _, svc, _ = cmds
    first = send(svc, {"cmdLine": "version"}, dev=IDLE)
    assert text(first.result) == ""
    full = send(svc, {"cmdLine": "version"}, dev=IDLE)
    assert full.result == "? 31 Device Busy or Not Available : Input Queue already full"
    # Nobody serves IDLE: the gateway answers at once that nothing is there.
    r = svc.getDeviceCmdResult(options="", devPath=IDLE, cmdHandle=first.cmdHandle)
    assert r.numericStatus == "cmdFailHandle"
    assert r.result == "? 32 Handle Invalid or Expired : %s for cmd #%d" % (IDLE, first.cmdHandle)
