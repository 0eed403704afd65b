"""A tool in Python that tells what it did: importer.py CAPTURE-URL DIRECTORY"""

import sys

import kova

kova.start("1234567890", name="Importer", identifier="com.example.importer", version="2.1",
           captureBaseUrl=sys.argv[1], directory=sys.argv[2], assumesNetwork=True)
kova.track("Import started", **{"from": "café.csv", "files": 3, "complete": True})
kova.identify("ada")
kova.track("Import finished", **{"rows": 1200, "dry run": False})
sys.exit(0 if kova.shutdown(10) & kova.STORED else 1)
