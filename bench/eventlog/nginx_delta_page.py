#!/usr/bin/python3
"""A 10,000-record delta page from a large delta log through nginx and
wsbridge (raw SOAP POST, the response read whole), beside the gateway's own
handler figures of bench_eventlog. Starts a private gateway with the
end-to-end harness (tests/e2e/gateway.py).

    WSB_WSBRIDGE=... WSB_CDSCTL=... WSB_WSDL_DIR=... \
        bench/eventlog/nginx_delta_page.py /tmp/wsb-bench-eventlog/deadband-1000000.db
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


def page_request(count):
    body = ("<nsdx:getDeltaLog><request><options></options><rqstType>LgRqTypDeltas"
            "</rqstType><startTime>0</startTime><endTime>0</endTime><nMaxToReturn>%d"
            "</nMaxToReturn><bLatestEvents>false</bLatestEvents><bReverseOrder>false"
            "</bReverseOrder><bTrimIncomplete>false</bTrimIncomplete><path></path>"
            "</request></nsdx:getDeltaLog>" % count)
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
        os.symlink(log, os.path.join(gw.dir, "deadband.db"))
        body = page_request(10000)
        r = gw.post(body)
        if r.status_code != 200 or r.text.count("<loggedValues>") != 10000:
            print("unexpected answer: %d %s" % (r.status_code, r.text[:300] + r.text[-600:]))
            return 1
        times = []
        for _ in range(RUNS):
            t = time.perf_counter()
            r = gw.post(body)
            _ = r.content
            times.append((time.perf_counter() - t) * 1000)
        print("delta page of 10000 records through nginx: median %.1f ms, min %.1f ms, "
              "%d bytes (%d runs)" % (statistics.median(times), min(times), len(r.content), RUNS))
    finally:
        gw.stop()
        shutil.rmtree(gw.dir, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
