#!/usr/bin/python3
"""Reads values; an answer starting with "?" is the gateway's error text.
    examples/read.py [PATH ...]   (default: meter 1's voltages)"""
import sys

from wsb_client import connect

gw = connect()
paths = sys.argv[1:] or ["/Devices/Meter1/Voltage/L%d/Value" % p for p in (1, 2, 3)]
if len(paths) == 1:
    print(paths[0], "=", gw.getValue(options="", path=paths[0]))
else:
    # One call, one answer per path in order.
    for path, value in zip(paths, gw.getValues(options="", paths={"string": paths})):
        print(path, "=", value)
