"""Private nginx front end for wsbridge: writes a configuration from
standalone.conf.in around the shipped wsbridge-locations.conf, a basic-auth
user file, starts nginx under its own prefix on a free loopback port and stops
it. Used by deploy/demo/run-demo.sh, tests/e2e and bench/host (also as a CLI).
"""
import argparse
import base64
import errno
import hashlib
import os
import signal
import socket
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
TEMPLATE = os.path.join(HERE, "standalone.conf.in")
LOCATIONS = os.path.join(HERE, "wsbridge-locations.conf")
NGINX = "/usr/sbin/nginx"


def ssha_entry(user, password):
    """One user-file line in nginx's {SSHA} form (salted SHA-1)."""
    salt = os.urandom(8)
    digest = hashlib.sha1(password.encode() + salt).digest()
    return "%s:{SSHA}%s\n" % (user, base64.b64encode(digest + salt).decode())


def write_users(path, users):
    """users: mapping user -> password. The file is readable by its owner only."""
    fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
    with os.fdopen(fd, "w") as f:
        for user, password in users.items():
            f.write(ssha_entry(user, password))


def port_is_free(port):
    s = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    try:
        s.bind(("127.0.0.1", port))
        return True
    except OSError:
        return False
    finally:
        s.close()


def free_port(first=None):
    """first, or the next free port above it; any free port when first is None."""
    if first is None:
        s = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        s.bind(("127.0.0.1", 0))
        port = s.getsockname()[1]
        s.close()
        return port
    for port in range(first, min(first + 200, 65536)):
        if port_is_free(port):
            return port
    raise RuntimeError("no free port from %d" % first)


def write_conf(prefix, port, socket_path, wsdl_dir, users_file):
    """Creates prefix/{conf,logs,tmp,conf.d,locations.d} and prefix/conf/nginx.conf."""
    for sub in ("conf", "logs", "tmp", "conf.d", "locations.d"):
        os.makedirs(os.path.join(prefix, sub), exist_ok=True)
    values = {
        "@PREFIX@": prefix,
        "@PORT@": str(port),
        "@SOCKET@": socket_path,
        "@WSDL_DIR@": wsdl_dir,
        "@USERS@": users_file,
        "@LOCATIONS@": LOCATIONS,
        # As root, nginx would hand its workers to "nobody", which may not
        # open the gateway's socket; keep them with the calling user.
        "@USER_LINE@": "user root;" if os.geteuid() == 0 else "",
    }
    with open(TEMPLATE) as f:
        text = f.read()
    for key, value in values.items():
        text = text.replace(key, value)
    conf = os.path.join(prefix, "conf", "nginx.conf")
    with open(conf, "w") as f:
        f.write(text)
    return conf


def _nginx(prefix, *args):
    return subprocess.run(
        [NGINX, "-p", prefix + "/", "-e", os.path.join(prefix, "logs", "error.log"),
         "-c", os.path.join(prefix, "conf", "nginx.conf")] + list(args),
        capture_output=True, text=True)


def read_pid(prefix):
    try:
        with open(os.path.join(prefix, "nginx.pid")) as f:
            return int(f.read().strip())
    except (OSError, ValueError):
        return None


def pid_alive(pid):
    try:
        os.kill(pid, 0)
        return True
    except OSError as e:
        return e.errno == errno.EPERM


def wait_until(predicate, timeout, step=0.05):
    """Polls predicate until it is true or timeout seconds have passed."""
    deadline = time.monotonic() + timeout
    while True:
        if predicate():
            return True
        if time.monotonic() >= deadline:
            return False
        time.sleep(step)


def _listening(port):
    try:
        socket.create_connection(("127.0.0.1", port), timeout=1).close()
        return True
    except OSError:
        return False


def start(prefix, port):
    """Tests the configuration, starts nginx and waits until the port accepts."""
    check = _nginx(prefix, "-t", "-q")
    if check.returncode != 0:
        raise RuntimeError("nginx configuration rejected:\n" + check.stderr)
    run = _nginx(prefix)
    if run.returncode != 0:
        raise RuntimeError("nginx did not start:\n" + run.stderr)
    if not wait_until(lambda: _listening(port), 10):
        raise RuntimeError("nginx is not listening on port %d" % port)
    return read_pid(prefix)


def stop(prefix, timeout=10):
    """Stops the nginx of this prefix, if any; True when none is left running."""
    pid = read_pid(prefix)
    if pid is None or not pid_alive(pid):
        return True
    try:
        os.kill(pid, signal.SIGQUIT)  # graceful: finish open requests
    except ProcessLookupError:
        return True
    if wait_until(lambda: not pid_alive(pid), timeout):
        return True
    os.kill(pid, signal.SIGTERM)
    return wait_until(lambda: not pid_alive(pid), timeout)


def main(argv):
    p = argparse.ArgumentParser(description=__doc__)
    sub = p.add_subparsers(dest="cmd", required=True)
    s = sub.add_parser("start", help="write the configuration and start nginx")
    s.add_argument("--prefix", required=True)
    s.add_argument("--socket", required=True)
    s.add_argument("--wsdl-dir", required=True)
    s.add_argument("--port", type=int, default=None,
                   help="first port to try (default: any free port)")
    s.add_argument("--user", action="append", default=[], metavar="NAME:PASSWORD")
    t = sub.add_parser("stop", help="stop the nginx of a prefix")
    t.add_argument("--prefix", required=True)
    args = p.parse_args(argv)

    if args.cmd == "stop":
        return 0 if stop(os.path.abspath(args.prefix)) else 1
    prefix = os.path.abspath(args.prefix)
    os.makedirs(prefix, exist_ok=True)
    users_file = os.path.join(prefix, "htpasswd")
    write_users(users_file, dict(u.split(":", 1) for u in args.user))
    stop(prefix)
    port = free_port(args.port)
    write_conf(prefix, port, os.path.abspath(args.socket),
               os.path.abspath(args.wsdl_dir), users_file)
    start(prefix, port)
    print(port)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
