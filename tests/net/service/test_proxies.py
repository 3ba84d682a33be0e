# SPDX-License-Identifier: MIT
"""The reverse proxies of the guide in front of a server: their examples with other ports, run without root on loopback."""
import json
import re
import shutil
import signal
import socket
import subprocess

import pytest

from ports import free_port
from server import TOP, Server, label
from tovkit_server import until

NAME = "pictures.example.org"


class Proxy:
    """A proxy that ends with the block, and curl that asks it under its name."""

    def __init__(self, command, port, folder, authority, environment=None):
        self.port, self.folder, self.authority = port, folder, authority
        self.log = open(folder / "proxy.log", "wb")
        self.process = subprocess.Popen(command, stdout=self.log, stderr=self.log, stdin=subprocess.DEVNULL, cwd=folder, env=environment)

    def __enter__(self):
        def listens():
            assert self.process.poll() is None, (self.folder / "proxy.log").read_text()
            with socket.socket() as one:
                return one.connect_ex(("127.0.0.1", self.port)) == 0
        until(listens, "a proxy that listens")
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.log.close()

    @property
    def origin(self):
        return f"https://{NAME}:{self.port}"

    def curl(self, path, *options, data=None):
        """(status, version of HTTP, media type, body)"""
        body = self.folder / "body"
        body.unlink(missing_ok=True)
        arguments = ["curl", "-sS", "--max-time", "60", "--cacert", str(self.authority()), "--resolve", f"{NAME}:{self.port}:127.0.0.1",
                     "-o", str(body), "-w", "%{http_code} %{http_version} %{content_type}", *options, self.origin + path]
        if data is not None:
            arguments += ["--data-binary", "@-"]
        result = subprocess.run(arguments, input=data, capture_output=True, check=False)
        assert result.returncode == 0, result.stderr.decode() + (self.folder / "proxy.log").read_text()[-2000:]
        status, version, *kind = result.stdout.decode().split()
        return int(status), version, " ".join(kind), body.read_bytes() if body.exists() else b""

    def draw(self, text, *options):
        path, data = label(text)
        return self.curl(path, "-H", "Content-Type: application/json", *options, data=data)


def replace(text, pattern, by):
    """What the example has for a machine of its own, as it is here."""
    changed, count = re.subn(pattern, by, text)
    assert count, f"not in the example: {pattern}"
    return changed


def make_nginx(folder, server_port):
    program = shutil.which("nginx") or shutil.which("/usr/sbin/nginx")
    if not program:
        pytest.skip("no nginx here")
    port = free_port()
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={NAME}", "-addext",
                    f"subjectAltName=DNS:{NAME}", "-keyout", str(folder / "key.pem"), "-out", str(folder / "certificate.pem")],
                   check=True, capture_output=True)
    site = (TOP / "examples/service/nginx.conf").read_text()
    site = replace(site, r"server 127\.0\.0\.1:8017;", f"server 127.0.0.1:{server_port};")
    site = replace(site, r"listen 443 ", f"listen 127.0.0.1:{port} ")
    site = replace(site, r"/etc/ssl/certs/\S+\.pem", str(folder / "certificate.pem"))
    site = replace(site, r"/etc/ssl/private/\S+\.key", str(folder / "key.pem"))
    (folder / "site.conf").write_text(site)
    places = "".join(f"  {kind}_temp_path {folder}/{kind};\n" for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    (folder / "nginx.conf").write_text(f"daemon off;\nmaster_process off;\npid {folder}/pid;\nerror_log stderr;\nevents {{}}\nhttp {{\n"
                                       f"  access_log off;\n{places}  include {folder}/site.conf;\n}}\n")
    return Proxy([program, "-p", str(folder), "-c", str(folder / "nginx.conf"), "-e", "stderr"], port, folder,
                 lambda: folder / "certificate.pem")


def make_caddy(folder, server_port):
    program = shutil.which("caddy")
    if not program:
        pytest.skip("no caddy here")
    port = free_port()
    site = (TOP / "examples/service/Caddyfile").read_text()
    site = replace(site, r"127\.0\.0\.1:8017", f"127.0.0.1:{server_port}")
    site = replace(site, rf"(?m)^{re.escape(NAME)} {{", f"https://{NAME}:{port} {{\n\tbind 127.0.0.1\n\ttls internal")
    (folder / "Caddyfile").write_text("{\n\tadmin off\n\tauto_https disable_redirects\n\tskip_install_trust\n"
                                      f"\tstorage file_system {folder}/store\n}}\n{site}")
    environment = {"HOME": str(folder), "XDG_DATA_HOME": str(folder), "XDG_CONFIG_HOME": str(folder), "PATH": "/usr/bin:/bin"}

    def authority():
        file = folder / "store/pki/authorities/local/root.crt"
        until(file.exists, "an authority of caddy's own")
        return file

    return Proxy([program, "run", "--config", str(folder / "Caddyfile")], port, folder, authority, environment)


@pytest.fixture(params=["nginx", "caddy"])
def proxy(request, build, tmp_path):
    with Server(build, "--host", NAME, "--cache", "0") as server:
        with {"nginx": make_nginx, "caddy": make_caddy}[request.param](tmp_path, server.port) as running:
            running.server, running.name = server, request.param
            until(lambda: ready(running), "a proxy that answers")
            yield running


def ready(proxy):
    try:
        return proxy.curl("/readyz")[0] == 200
    except AssertionError:
        return False


def test_requests_come_through_with_tls_and_http_2(proxy):
    status, version, kind, body = proxy.draw("through a proxy")
    assert (status, version, kind) == (200, "2", "image/png")
    assert body == proxy.server.post(*label("through a proxy")).body
    assert proxy.draw("by HTTP/1.1", "--http1.1")[:2] == (200, "1.1")
    assert proxy.curl("/")[0] == 200


def test_the_page_may_ask_under_the_name_of_the_proxy_and_others_may_not(proxy):
    assert proxy.draw("ours", "-H", f"Origin: {proxy.origin}")[0] == 200
    assert proxy.draw("another's", "-H", "Origin: https://elsewhere.example")[0] == 403


def test_problems_come_through_as_they_are(proxy):
    status, _, kind, body = proxy.curl("/v1/draw", "-H", "Content-Type: application/json", data=b'[{"Content": 1}]')
    assert (status, kind) == (422, "application/problem+json")
    assert json.loads(body)["status"] == 422


def test_a_body_beyond_the_limit_is_refused(proxy):
    status = proxy.curl("/v1/draw", "-H", "Content-Type: application/json", "-H", "Expect:", data=b" " * (16 * 2**20 + 1))[0]
    assert status == 413


def test_a_body_without_a_length_and_a_large_answer_come_through(proxy):
    path, data = label("large", (2500, 2500))
    status, _, _, picture = proxy.curl(path.replace("png", "bmp"), "-H", "Content-Type: application/json", data=data)
    assert status == 200 and len(picture) > 2500 * 2500 * 3
    # -T - sends what comes, with no Content-Length.
    path, data = label("up", (1500, 1500))
    (proxy.folder / "up.bmp").write_bytes(proxy.server.post(path.replace("png", "bmp"), data).body)
    with open(proxy.folder / "up.bmp", "rb") as upload:
        result = subprocess.run(["curl", "-sS", "--max-time", "60", "--cacert", str(proxy.authority()), "--resolve",
                                 f"{NAME}:{proxy.port}:127.0.0.1", "-X", "POST", "-T", "-", "-H", "Content-Type: image/bmp", "-w",
                                 "%{http_code}", "-o", str(proxy.folder / "down.png"), proxy.origin + "/v1/image?format=png&resize=10%25"],
                                stdin=upload, capture_output=True, check=False)
    assert result.stdout == b"200", (result, (proxy.folder / "down.png").read_bytes()[:300])
    assert (proxy.folder / "down.png").read_bytes().startswith(b"\x89PNG")


def test_figures_are_not_for_the_world(proxy):
    assert proxy.curl("/metrics")[0] == 404


def test_a_name_that_was_not_given_is_refused(build, tmp_path):
    with Server(build) as server, make_nginx(tmp_path, server.port) as running:
        assert running.curl("/healthz")[0] == 421
