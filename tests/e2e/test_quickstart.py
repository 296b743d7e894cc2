"""The quick start's stack: the demo store, the simulated meter (history
first, then live), the reference device handler, wsbridge and nginx, as
deploy/demo/run-demo.sh starts them but in a temporary folder on a free
port. Every step of deploy/demo/tour.py is checked, then a soak of ten
simulated minutes reads through the gateway while the simulator writes."""
import os
import re
import signal
import subprocess
import sys

import pytest

from gateway import USERS, Gateway, make_workdir

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(TOP, "deploy", "demo"))
import tour  # noqa: E402

DEMO_STORE = os.path.join(TOP, "deploy", "demo", "demo-store.json")
METER = "/Devices/Meter1"


def tool(name):
    """A tool built beside cdsctl (build/tools/<name>/<name>)."""
    tools = os.path.dirname(os.path.dirname(os.environ.get("WSB_CDSCTL", "")))
    return os.path.join(tools, name, name)


def sim_args(gw):
    d = gw.dir
    return [tool("devsim"), "--store", gw.store.path,
            "--delta-log", os.path.join(d, "deadband.db"),
            "--alarm-log", os.path.join(d, "alarms.db"),
            "--system-log", os.path.join(d, "system.db"),
            "--trend-log", os.path.join(d, "interval-trends.db"),
            "--wave-dir", os.path.join(d, "waves")]


def stop(proc):
    if proc.poll() is None:
        proc.send_signal(signal.SIGTERM)
    return proc.wait(timeout=60)


@pytest.fixture(scope="module")
def demo(binaries, request):
    for name in ("devsim", "devhandler"):
        if not os.access(tool(name), os.X_OK):
            pytest.skip(name + " not built")
    gw = Gateway(binaries, make_workdir(), DEMO_STORE)

    def history(store):
        # 90 simulated minutes, with a breaker trip and its record among them.
        subprocess.run(sim_args(gw) + ["--speed", "60", "--steps", "90"], check=True,
                       timeout=300, stderr=subprocess.DEVNULL)
        subprocess.run([tool("devhandler"), "--store", store.path, "--device", METER,
                        "--once"], check=True, timeout=60, stdout=subprocess.DEVNULL)

    procs = []
    try:
        gw.start(history)
        procs.append(subprocess.Popen([tool("devhandler"), "--store", gw.store.path,
                                       "--device", METER, "--period", "50"],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        yield gw, procs
    finally:
        codes = [stop(p) for p in procs]
        gw.stop()
        if not os.environ.get("WSB_E2E_KEEP"):
            subprocess.run(["rm", "-rf", gw.dir])
    assert codes == [0] * len(codes)


def tour_args(gw):
    return tour.parse(["--url", gw.url, "--user", "admin", "--password", USERS["admin"],
                       "--wave-dir", os.path.join(gw.dir, "waves")])


def test_every_tour_step_is_answered(demo):
    gw, _ = demo
    with open(os.devnull, "w") as out:
        answers = tour.run(tour_args(gw), out=out)
    failed = {k: v for k, v in answers.items() if isinstance(v, tour.TourError)}
    assert not failed
    assert any(d.startswith(METER + " ") for d in answers["device list"])
    volts = float(answers["a value"].split("= ")[1].split()[0])
    assert 220 < volts < 240
    assert gw.store.get(METER + "/Setpoints/OverCurrent/Value").split()[-1] in ("600", "600.0")
    assert answers["a trend page"].startswith("8 parameters")
    events = answers["an event page"]
    assert any("Breaker tripped" in e for e in events)
    assert re.match(r"meter1-\d{8}T\d{6}\.cfg: devsim/Meter1 at 1600 Hz, analog VA,VB,VC,IA,IB,IC, "
                    r"status Trip, trigger sample 64$",
                    answers["a waveform configuration"])
    hz = float(answers["a command result"].split("-> ")[1].split()[0])
    assert 49.5 < hz < 50.5


def test_the_tour_script_exits_zero(demo):
    gw, _ = demo
    argv = ["/usr/bin/python3", os.path.join(TOP, "deploy", "demo", "tour.py"),
                           "--url", gw.url, "--password", USERS["admin"],
                           "--wave-dir", os.path.join(gw.dir, "waves")]
    r = subprocess.run(argv, capture_output=True, text=True, timeout=120)
    assert r.returncode == 0, r.stdout + r.stderr
    assert r.stdout.count("FAILED") == 0
    assert len(re.findall(r"^\[\d/7\]", r.stdout, re.M)) == 7


def rss_kb(pid):
    with open("/proc/%d/status" % pid) as f:
        return int(re.search(r"VmRSS:\s+(\d+)", f.read()).group(1))


def sequence(gw, log):
    """(records, first, last) of a log as cdslog info reports them."""
    cdslog = tool("cdslog")
    out = subprocess.run([cdslog, "info", os.path.join(gw.dir, log)], capture_output=True,
                         text=True, check=True).stdout
    v = dict(line.split() for line in out.splitlines() if line.strip())
    return int(v["records"]), int(v["first"]), int(v["last"])


def test_soak_ten_simulated_minutes_with_concurrent_reads(demo):
    gw, _ = demo
    if not os.access(tool("cdslog"), os.X_OK):
        pytest.skip("cdslog not built")
    before = sequence(gw, "deadband.db")
    _, values = gw.zeep_for("getValue")
    _, dx = gw.zeep_for("getDeltaLog")
    _, alarms = gw.zeep_for("getActiveAlarms")
    # 100 steps of 6 simulated seconds, a step every 20 ms of real time.
    sim = subprocess.Popen(sim_args(gw) + ["--interval", "0.02", "--speed", "300",
                                           "--steps", "100"],
                           stderr=subprocess.PIPE, text=True)
    errors, calls, rss = [], 0, []
    try:
        while sim.poll() is None or calls < 150:
            v = values.getValue(options="", path=METER + "/Current/L1/Value")
            try:
                float(v)
            except ValueError:
                errors.append(v)
            page = dx.getDeltaLog(request=dict(
                options="", rqstType="LgRqTypDeltas", startTime=0, endTime=0, nMaxToReturn=50,
                bLatestEvents=True, bReverseOrder=False, bTrimIncomplete=False, path=METER))
            if page.result:
                errors.append(page.result)
            r = alarms.getActiveAlarms(request=dict(
                options="", rqstType="LgRqTypAlarmEvents", startTime=0, endTime=0,
                nMaxToReturn=0, bLatestEvents=False, bReverseOrder=False, bTrimIncomplete=False,
                path=""))
            if r.result:
                errors.append(r.result)
            calls += 1
            if calls == 20:
                rss.append(rss_kb(gw.proc.pid))
    finally:
        code = stop(sim)
    assert code == 0, sim.stderr.read()
    rss.append(rss_kb(gw.proc.pid))
    assert errors == []
    assert gw.alive()
    n, first, last = sequence(gw, "deadband.db")
    assert (first, n) == (1, last)  # contiguous, nothing lost or repeated
    assert last > before[2]
    for log in ("alarms.db", "system.db"):
        n, first, last = sequence(gw, log)
        assert (first, n) == (1, last), log
    # The gateway's resident memory settles once its caches are warm. A
    # sanitizer build holds freed memory in quarantine, so its resident size
    # says nothing about leaks (LeakSanitizer checks those at exit).
    if not os.environ.get("WSB_SANITIZED"):
        assert rss[-1] <= rss[0] * 1.25 + 4096, rss
