"""A running gateway for end-to-end tests: a temporary store, `wsbridge -d`
on its own FastCGI socket, and a private nginx in front of it that includes
the shipped deploy/nginx/wsbridge-locations.conf. See conftest.py for the
fixtures and README-style notes on how to use them.
"""
import os
import shutil
import signal
import subprocess
import sys
import tempfile

import requests

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(TOP, "deploy", "nginx"))
import frontend  # noqa: E402  (deploy/nginx/frontend.py, shared with the demo)

# Demo/test users; each one's role in the test store matches its name
# (viewer has no role leaf: unknown users are viewers).
USERS = {"admin": "admin-pw", "operator": "operator-pw", "viewer": "viewer-pw"}

SOAP11_NS = "http://schemas.xmlsoap.org/soap/envelope/"
SOAP12_NS = "http://www.w3.org/2003/05/soap-envelope"
NSC1 = "http://device-ws.example.com/Corvane"

CONNECTIONS = "/Software/Data Servers/BACnet WebServices/Connections"


def envelope(body_xml, soap12=False, ns_decls=""):
    """A request envelope around body_xml (SOAP 1.1 unless soap12)."""
    env_ns = SOAP12_NS if soap12 else SOAP11_NS
    return ('<?xml version="1.0" encoding="UTF-8"?>\n'
            '<SOAP-ENV:Envelope xmlns:SOAP-ENV="%s" %s>'
            '<SOAP-ENV:Body>%s</SOAP-ENV:Body></SOAP-ENV:Envelope>'
            % (env_ns, ns_decls, body_xml))


def locale_request(soap12=False):
    """A raw nsc1:getDefaultLocale request."""
    return envelope('<nsc1:getDefaultLocale><nsc1:options></nsc1:options>'
                    '</nsc1:getDefaultLocale>', soap12,
                    'xmlns:nsc1="%s"' % NSC1)


class Binaries:
    """Paths of the built programs and contract files, from the environment
    that tests/e2e/CMakeLists.txt sets (WSB_WSBRIDGE, WSB_CDSCTL, WSB_WSDL_DIR)."""

    def __init__(self):
        self.wsbridge = os.environ.get("WSB_WSBRIDGE", "")
        self.cdsctl = os.environ.get("WSB_CDSCTL", "")
        self.wsdl_dir = os.environ.get("WSB_WSDL_DIR", "")

    def missing(self):
        out = []
        for name in ("wsbridge", "cdsctl"):
            if not os.access(getattr(self, name), os.X_OK):
                out.append(name)
        if not os.path.isdir(self.wsdl_dir):
            out.append("wsdl folder")
        return out


class Store:
    """A temporary data-store file handled through the built cdsctl."""

    def __init__(self, cdsctl, path):
        self.cdsctl = cdsctl
        self.path = path

    def run(self, *args, check=True):
        r = subprocess.run([self.cdsctl, "--store", self.path] + list(args),
                           capture_output=True, text=True, timeout=60)
        if check and r.returncode != 0:
            raise RuntimeError("cdsctl %s failed (%d): %s"
                               % (" ".join(args), r.returncode, r.stderr))
        return r

    def import_json(self, json_file):
        self.run("import", json_file)

    def children(self, path):
        """Names of the child nodes of path; [] when the node does not exist."""
        r = self.run("ls", path, check=False)
        if r.returncode != 0:
            return []
        names = []
        for line in r.stdout.splitlines():
            line = line.strip()
            if line.endswith("/"):
                names.append(line.rstrip("/").rsplit("/", 1)[-1])
        return names

    def get(self, path):
        return self.run("get", path).stdout.strip()


class Gateway:
    """One gateway behind one nginx. Create with start(); always stop()."""

    def __init__(self, binaries, workdir, store_json):
        self.bin = binaries
        self.dir = workdir
        self.socket = os.path.join(workdir, "wsbridge.socket")
        self.stderr_path = os.path.join(workdir, "wsbridge.stderr")
        self.stdout_path = os.path.join(workdir, "wsbridge.stdout")
        self.nginx_prefix = os.path.join(workdir, "nginx")
        self.store = Store(binaries.cdsctl, os.path.join(workdir, "cds.db"))
        self.store_json = store_json
        self.proc = None
        self.port = None
        self.tls_port = None
        self.exit_code = None
        self._clients = {}

    # -- lifecycle ---------------------------------------------------------

    def start(self, setup=None):
        """Imports the test store, runs setup(store) if given (to plant data
        before the process sees the store), starts wsbridge, then nginx."""
        self.store.import_json(self.store_json)
        if setup is not None:
            setup(self.store)
        self._start_wsbridge()
        self._start_nginx()
        return self

    def _start_wsbridge(self):
        env = dict(os.environ, CDS_STORE=self.store.path, WSBRIDGE_SOCKET=self.socket)
        logs = [("-h", "deadband.db"), ("-a", "alarms.db"), ("-s", "system.db"),
                ("-t", "interval-trends.db")]
        argv = [self.bin.wsbridge, "-d"]
        for opt, name in logs:
            argv += [opt, os.path.join(self.dir, name)]
        waves = os.path.join(self.dir, "waves")
        os.makedirs(waves, exist_ok=True)
        argv += ["-w", waves]
        with open(self.stderr_path, "wb") as err, open(self.stdout_path, "wb") as out:
            self.proc = subprocess.Popen(argv, cwd=self.dir, env=env, stdout=out,
                                         stderr=err, stdin=subprocess.DEVNULL)
        # Ready once it says it listens and the socket exists. The socket is
        # not probed with a bare connect: an empty FastCGI connection would
        # occupy the single-threaded loop.
        ok = frontend.wait_until(
            lambda: self.proc.poll() is not None
            or ("FCGI app listening at socket" in self.stderr()
                and os.path.exists(self.socket)), 20)
        if not ok or self.proc.poll() is not None:
            raise RuntimeError("wsbridge did not start (exit %s):\n%s"
                               % (self.proc.poll(), self.stderr()))

    def _start_nginx(self):
        users = os.path.join(self.dir, "htpasswd")
        frontend.write_users(users, USERS)
        self.port = frontend.free_port()
        frontend.write_conf(self.nginx_prefix, self.port, self.socket,
                            self.bin.wsdl_dir, users)
        self._add_tls_server(users)
        frontend.start(self.nginx_prefix, self.port)

    def _add_tls_server(self, users):
        """A second server over TLS (self-signed) with the same locations,
        when openssl is there to make the certificate."""
        if shutil.which("openssl") is None:
            return
        cert = os.path.join(self.dir, "tls.pem")
        key = os.path.join(self.dir, "tls.key")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2",
                        "-subj", "/CN=127.0.0.1", "-keyout", key, "-out", cert],
                       check=True, capture_output=True, timeout=60)
        self.tls_port = frontend.free_port()
        with open(os.path.join(self.nginx_prefix, "conf.d", "tls.conf"), "w") as f:
            f.write("server {\n"
                    "    listen 127.0.0.1:%d ssl;\n"
                    "    ssl_certificate %s;\n"
                    "    ssl_certificate_key %s;\n"
                    "    set $wsbridge_wsdl_dir %s;\n"
                    "    set $wsbridge_users %s;\n"
                    "    include %s;\n"
                    "}\n" % (self.tls_port, cert, key, self.bin.wsdl_dir, users,
                              frontend.LOCATIONS))

    def alive(self):
        return self.proc is not None and self.proc.poll() is None

    def terminate(self, timeout=30):
        """SIGTERM and wait (polling) for the exit; returns the exit code,
        None if the process did not end within timeout seconds."""
        if self.proc is None:
            return None
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(timeout)
            except subprocess.TimeoutExpired:
                return None
        self.exit_code = self.proc.returncode
        return self.exit_code

    def stop(self):
        """Tears everything down; safe to call twice."""
        if self.proc is not None and self.terminate() is None:
            self.proc.kill()
            self.proc.wait()
        if self.port is not None:
            frontend.stop(self.nginx_prefix)

    # -- observation -------------------------------------------------------

    def stderr(self):
        """Everything wsbridge has written to standard error so far."""
        try:
            with open(self.stderr_path, "rb") as f:
                return f.read().decode("utf-8", "replace")
        except OSError:
            return ""

    def wait_for_stderr(self, text, count=1, timeout=20):
        """Polls until text occurs count times in the standard error; returns
        the standard error then. The gateway records a connection only after
        the reply is finished, so a client may see the reply first."""
        frontend.wait_until(lambda: self.stderr().count(text) >= count, timeout)
        return self.stderr()

    def nginx_error_log(self):
        try:
            with open(os.path.join(self.nginx_prefix, "logs", "error.log")) as f:
                return f.read()
        except OSError:
            return ""

    # -- clients -----------------------------------------------------------

    @property
    def url(self):
        return "http://127.0.0.1:%d/wsbridge" % self.port

    def wsdl_url(self, name):
        return "http://127.0.0.1:%d/wsbridge/wsdl/%s" % (self.port, name)

    def wsdl_names(self):
        return sorted(n for n in os.listdir(self.bin.wsdl_dir) if n.endswith(".wsdl"))

    @property
    def tls_url(self):
        """The endpoint over TLS (None without openssl); certificate not verified."""
        return None if self.tls_port is None else "https://127.0.0.1:%d/wsbridge" % self.tls_port

    def post(self, body, soap12=False, user="admin", password=None, headers=None,
             timeout=60, tls=False):
        """Raw POST of body (str or bytes) to /wsbridge (over TLS with tls=True);
        returns the requests.Response. user=None sends no credentials."""
        h = {"Content-Type": "application/soap+xml; charset=utf-8" if soap12
             else "text/xml; charset=utf-8"}
        if not soap12:
            h["SOAPAction"] = '""'
        h.update(headers or {})
        auth = None if user is None else (user, password or USERS[user])
        if isinstance(body, str):
            body = body.encode("utf-8")
        url = self.tls_url if tls else self.url
        return requests.post(url, data=body, headers=h, auth=auth, timeout=timeout,
                             verify=False)

    def answers(self):
        """True when a raw getDefaultLocale request is answered with en-US."""
        r = self.post(locale_request())
        return r.status_code == 200 and "en-US" in r.text

    def zeep(self, wsdl_name, user="admin"):
        """A python3-zeep client built from the WSDL as served by nginx
        (cached per WSDL and user)."""
        key = (wsdl_name, user)
        if key not in self._clients:
            self._clients[key] = self._new_zeep(wsdl_name, user)
        return self._clients[key]

    def _new_zeep(self, wsdl_name, user):
        import zeep
        from zeep.transports import Transport
        session = requests.Session()
        session.auth = (user, USERS[user])
        transport = Transport(session=session, timeout=60, operation_timeout=60)
        return zeep.Client(self.wsdl_url(wsdl_name), transport=transport)

    def zeep_for(self, operation, user="admin"):
        """(client, service proxy) of the WSDL that declares operation."""
        for name in self.wsdl_names():
            client = self.zeep(name, user)
            for service in client.wsdl.services.values():
                for port in service.ports.values():
                    if operation in port.binding._operations:
                        return client, client.bind(service.name, port.name)
        raise LookupError("no WSDL declares " + operation)


def make_workdir():
    return tempfile.mkdtemp(prefix="wsb-e2e-")
