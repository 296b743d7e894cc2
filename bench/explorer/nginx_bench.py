#!/usr/bin/python3
"""The device explorer through nginx: starts the end-to-end harness
(temporary store, wsbridge -d, private nginx) on a store of NODES points and
DEVICES devices, and times raw SOAP POSTs of findAttributeMatches (recursive,
a pattern found in 1% of the points) and getDeviceTree (every device).

    WSB_WSBRIDGE=... WSB_CDSCTL=... WSB_WSDL_DIR=... \\
        /usr/bin/python3 bench/explorer/nginx_bench.py [nodes=100000] [devices=1000] [rounds=5]
"""
import json
import os
import shutil
import statistics
import sys
import time

import requests

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(TOP, "tests", "e2e"))
from gateway import USERS, Binaries, Gateway, envelope, make_workdir  # noqa: E402

NSDX = "http://device-ws.example.com/CorvaneDX"
GROUPS = 10


def text(name, value):
    return {"name": name, "type": "String", "value": value}


def store_json(path, nodes, devices):
    tree = {"format": "cds-store", "version": 1, "nodes": [
        {"path": "/Software/Security/Users/admin", "leaves": [text("Role", "admin")]}]}
    per_group = max(1, nodes // (GROUPS * GROUPS))
    n = 0
    for a in range(GROUPS):
        for b in range(GROUPS):
            for i in range(per_group):
                value = ("match-" if n % 100 == 0 else "value-") + str(n)
                tree["nodes"].append({"path": "/Bench/A%02d/B%02d/N%05d" % (a, b, i),
                                      "leaves": [text("Value", value), text("Units", "V")]})
                n += 1
    for d in range(devices):
        tree["nodes"].append({"path": "/Devices/D%04d" % d, "leaves": [
            text("NodeType", "Device"), text("DisplayName", "D%04d" % d),
            {"name": ".Quality", "type": "Unsigned", "value": 192}]})
        tree["nodes"].append({"path": "/Devices/D%04d/sDevChangeCount" % d, "leaves": [
            {"name": "Value", "type": "Unsigned", "value": d}]})
    with open(path, "w") as f:
        json.dump(tree, f)
    return n // 100 + (1 if n % 100 else 0)


def timed(session, url, body, check, rounds):
    headers = {"Content-Type": "text/xml; charset=utf-8", "SOAPAction": '""'}
    samples = []
    for i in range(rounds + 1):
        t0 = time.perf_counter()
        r = session.post(url, data=body, headers=headers, timeout=120)
        elapsed = (time.perf_counter() - t0) * 1000.0
        if r.status_code != 200 or not check(r.text):
            sys.exit("bad reply: %d %s" % (r.status_code, r.text[:300]))
        if i:  # the first request warms the caches
            samples.append(elapsed)
    return statistics.median(samples), min(samples)


def main():
    nodes = int(sys.argv[1]) if len(sys.argv) > 1 else 100000
    devices = int(sys.argv[2]) if len(sys.argv) > 2 else 1000
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    binaries = Binaries()
    if binaries.missing():
        sys.exit("not built: " + ", ".join(binaries.missing()))
    work = make_workdir()
    json_file = os.path.join(work, "bench-store.json")
    expected = store_json(json_file, nodes, devices)
    gw = Gateway(binaries, work, json_file)
    try:
        gw.start()
        session = requests.Session()
        session.auth = ("admin", USERS["admin"])
        ns = 'xmlns:nsdx="%s"' % NSDX
        search = envelope(
            "<nsdx:findAttributeMatches><startingPath>/Bench</startingPath>"
            "<bRecursive>true</bRecursive><regexMatchPattern>^match-</regexMatchPattern>"
            "</nsdx:findAttributeMatches>", ns_decls=ns).encode()
        tree = envelope(
            "<nsdx:getDeviceTree><startingPath>/Devices</startingPath>"
            "<bRecursive>true</bRecursive></nsdx:getDeviceTree>", ns_decls=ns).encode()
        s_med, s_best = timed(session, gw.url, search,
                              lambda t: t.count("<nodes>") == expected, rounds)
        t_med, t_best = timed(session, gw.url, tree,
                              lambda t: t.count("<devices>") == devices, rounds)
        print("through nginx: %d points, %d devices, %d rounds" % (nodes, devices, rounds))
        print("  findAttributeMatches (%d matches) median %.1f ms, best %.1f ms (goal < 2 s)"
              % (expected, s_med, s_best))
        print("  getDeviceTree (%d devices) median %.1f ms, best %.1f ms"
              % (devices, t_med, t_best))
    finally:
        gw.stop()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
