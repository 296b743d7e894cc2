#!/usr/bin/python3
"""Lists the devices below a path, then each device's points with units.
    examples/browse.py [/Devices]"""
import sys

from wsb_client import connect

gw = connect()
start = sys.argv[1] if len(sys.argv) > 1 else "/Devices"
tree = gw.getDeviceTree(options="", startingPath=start, bRecursive=False)
if tree.result:
    sys.exit(tree.result)
for dev in tree.devices:
    print("%s  %s  quality %s" % (dev.devPath, dev.devDisplayName, dev.devQuality))
    # Every point below the device that has a "Units" leaf, with its units.
    m = gw.findAttributeMatches(options="", startingPath=dev.devPath, bRecursive=True,
                                attribMatch="Units", regexMatchPattern=".*")
    for path, units in zip(m.nodes or [], m.data or []):
        print("    %-40s %s" % (path, units))
