#!/usr/bin/python3
"""Writes a setpoint and reads it back. The answer is the value as stored,
or an error text ("? ...") when the write was refused.
    examples/write.py [PATH VALUE]"""
import sys

from wsb_client import connect

gw = connect()
path, value = (sys.argv[1:3] if len(sys.argv) > 2
               else ("/Devices/Meter1/Setpoints/OverCurrent/Value", "620"))
answer = gw.setValue(options="", path=path, value=value)
print("setValue ->", answer)
print("getValue ->", gw.getValue(options="", path=path))
sys.exit(1 if str(answer).startswith("?") else 0)
