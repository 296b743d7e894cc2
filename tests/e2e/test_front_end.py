"""The shipped nginx locations as a client meets them: authentication, the
methods allowed, the body limit and the read-only contract files."""
import os
import re

import pytest
import requests

from gateway import USERS


def first(gateway, ext):
    """The first built contract file with this extension (a WSDL if none)."""
    names = sorted(n for n in os.listdir(gateway.bin.wsdl_dir) if n.endswith(ext))
    return names[0] if names else gateway.wsdl_names()[0]


# (case, method, path, user, password, expected status)
REQUESTS = [
    ("no credentials", "POST", "/wsbridge", None, None, 401),
    ("wrong password", "POST", "/wsbridge", "admin", "not-the-password", 401),
    ("unknown user", "POST", "/wsbridge", "mallory", "admin-pw", 401),
    ("GET on the service", "GET", "/wsbridge", "admin", None, 405),
    ("PUT on the service", "PUT", "/wsbridge", "admin", None, 405),
    ("WSDL without credentials", "GET", "/wsbridge/wsdl/{wsdl}", None, None, 401),
    ("WSDL", "GET", "/wsbridge/wsdl/{wsdl}", "viewer", None, 200),
    ("schema", "GET", "/wsbridge/wsdl/{xsd}", "viewer", None, 200),
    ("POST to a WSDL", "POST", "/wsbridge/wsdl/{wsdl}", "admin", None, 403),
    ("folder listing", "GET", "/wsbridge/wsdl/", "admin", None, 404),
    ("other file type", "GET", "/wsbridge/wsdl/htpasswd", "admin", None, 404),
    ("escaped traversal", "GET", "/wsbridge/wsdl/..%2f..%2fhtpasswd.xsd", "admin", None, 404),
    ("missing WSDL", "GET", "/wsbridge/wsdl/none.wsdl", "admin", None, 404),
    ("outside the gateway", "GET", "/", "admin", None, 404),
    ("service with a suffix", "POST", "/wsbridgeX", "admin", None, 404),
]


@pytest.mark.parametrize("case,method,path,user,password,status", REQUESTS,
                         ids=[r[0] for r in REQUESTS])
def test_request_is_routed(gateway, case, method, path, user, password, status):
    path = path.format(wsdl=first(gateway, ".wsdl"), xsd=first(gateway, ".xsd"))
    auth = None if user is None else (user, password or USERS.get(user, "x"))
    url = "http://127.0.0.1:%d%s" % (gateway.port, path)
    r = requests.request(method, url, auth=auth, data=b"<x/>" if method != "GET" else None,
                         timeout=30)
    assert r.status_code == status, (case, r.status_code, r.text[:200])


def test_served_wsdl_points_at_this_server(gateway):
    for name in gateway.wsdl_names():
        r = requests.get(gateway.wsdl_url(name), auth=("viewer", USERS["viewer"]), timeout=30)
        assert r.status_code == 200
        locations = re.findall(r'location="([^"]+)"', r.text)
        assert locations, name
        assert all(loc == gateway.url for loc in locations), (name, locations)
        with open("%s/%s" % (gateway.bin.wsdl_dir, name), encoding="utf-8") as f:
            # Only the endpoint changes; the contract itself is served as built.
            assert len(r.text) - len(f.read()) == len(locations) * (
                len(gateway.url) - len("http://localhost/wsbridge"))
