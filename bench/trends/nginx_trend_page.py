#!/usr/bin/python3
"""An 833-snapshot trend page of 50 parameters through nginx and wsbridge
(raw SOAP POST, the response read whole), beside the handler figures of
bench_trends. Starts a private gateway with the end-to-end harness
(tests/e2e/gateway.py) on the log that bench_trends built.

    WSB_WSBRIDGE=... WSB_CDSCTL=... WSB_WSDL_DIR=... \
        bench/trends/nginx_trend_page.py /tmp/wsb-bench-trends/interval-trends.db
"""
import os
import shutil
import statistics
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tests", "e2e"))
from gateway import Binaries, Gateway, envelope, make_workdir  # noqa: E402

NSDX = "http://device-ws.example.com/CorvaneDX"
RUNS = 15
START = (1672531200 + 365 * 96 // 2 * 900) * 1000000  # mid-year, as bench_trends


def page_request(count):
    body = ("<nsdx:getTrendData><request><options></options><devicePath>/Meters/Feeder"
            "</devicePath><periods>1</periods><startTime>%d</startTime><endTime>0</endTime>"
            "<nMaxToReturn>%d</nMaxToReturn><startingOffset>0</startingOffset>"
            "<ascendingOrder>true</ascendingOrder></request></nsdx:getTrendData>"
            % (START, count))
    return envelope(body, ns_decls='xmlns:nsdx="%s"' % NSDX)


def main():
    if len(sys.argv) < 2:
        print(__doc__)
        return 2
    log = os.path.abspath(sys.argv[1])
    b = Binaries()
    if b.missing():
        print("not built: " + ", ".join(b.missing()))
        return 2
    store_json = os.path.join(HERE, "..", "..", "tests", "e2e", "store.json")
    gw = Gateway(b, make_workdir(), store_json)
    try:
        gw.start()
        os.symlink(log, os.path.join(gw.dir, "interval-trends.db"))
        body = page_request(833)
        r = gw.post(body)
        if r.status_code != 200 or r.text.count("<samples>") != 833:
            print("unexpected answer: %d %s" % (r.status_code, r.text[:600]))
            return 1
        times = []
        for _ in range(RUNS):
            t = time.perf_counter()
            r = gw.post(body)
            _ = r.content
            times.append((time.perf_counter() - t) * 1000)
        print("trend page of 833 snapshots x 50 parameters through nginx: median %.1f ms, "
              "min %.1f ms, %d bytes (%d runs)"
              % (statistics.median(times), min(times), len(r.content), RUNS))
    finally:
        gw.stop()
        shutil.rmtree(gw.dir, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
