#!/usr/bin/python3
"""getValues of 1,000 paths through nginx: starts the end-to-end harness
(temporary store, wsbridge -d, private nginx) on a store of NODES meter
points and times raw SOAP POSTs over one keep-alive connection.

    WSB_WSBRIDGE=... WSB_CDSCTL=... WSB_WSDL_DIR=... \\
        /usr/bin/python3 bench/values/nginx_bench.py [nodes=20000] [rounds=100]
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
from gateway import NSC1, USERS, Binaries, Gateway, envelope, make_workdir  # noqa: E402

BATCH = 1000


def store_json(path, nodes):
    tree = {"format": "cds-store", "version": 1, "nodes": [
        {"path": "/Software/Security/Users/admin",
         "leaves": [{"name": "Role", "type": "String", "value": "admin"}]}]}
    for i in range(nodes):
        tree["nodes"].append({"path": "/Bench/Meter%05d" % i, "leaves": [
            {"name": "Value", "type": "Real", "value": 200.0 + i * 0.125},
            {"name": "Units", "type": "String", "value": "V"}]})
    with open(path, "w") as f:
        json.dump(tree, f)


def main():
    nodes = int(sys.argv[1]) if len(sys.argv) > 1 else 20000
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 100
    binaries = Binaries()
    if binaries.missing():
        sys.exit("not built: " + ", ".join(binaries.missing()))
    work = make_workdir()
    json_file = os.path.join(work, "bench-store.json")
    store_json(json_file, nodes)
    gw = Gateway(binaries, work, json_file)
    try:
        gw.start()
        paths = "".join("<nsc1:string>/Bench/Meter%05d/Value</nsc1:string>"
                        % ((i * (nodes // BATCH)) % nodes) for i in range(BATCH))
        body = envelope("<nsc1:getValues><nsc1:options></nsc1:options><nsc1:paths>%s"
                        "</nsc1:paths></nsc1:getValues>" % paths,
                        ns_decls='xmlns:nsc1="%s"' % NSC1).encode()
        session = requests.Session()
        session.auth = ("admin", USERS["admin"])
        headers = {"Content-Type": "text/xml; charset=utf-8", "SOAPAction": '""'}
        samples = []
        for i in range(rounds + 1):
            t0 = time.perf_counter()
            r = session.post(gw.url, data=body, headers=headers, timeout=60)
            elapsed = (time.perf_counter() - t0) * 1000.0
            if r.status_code != 200 or r.text.count("getValuesResult>") != 2 * BATCH:
                sys.exit("bad reply: %d %s" % (r.status_code, r.text[:300]))
            if i:  # the first request warms the caches
                samples.append(elapsed)
        print("through nginx: store of %d nodes, %d paths per call, %d rounds" %
              (nodes, BATCH, rounds))
        print("  getValues median %.2f ms, best %.2f ms (goal < 10 ms)" %
              (statistics.median(samples), min(samples)))
    finally:
        gw.stop()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
