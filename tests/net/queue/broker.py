# SPDX-License-Identifier: MIT
"""A RabbitMQ broker of the tests' own: every file in one folder, every port on loopback, ended with the object.

    with Broker(folder) as broker:
        broker.url()
        broker.stop(); broker.start()
"""
import contextlib
import os
import pathlib
import secrets
import signal
import socket
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "support"))
from ports import free_port  # noqa: E402

# The programs themselves: those in /usr/sbin change to the user of the installed broker.
PROGRAMS = pathlib.Path("/usr/lib/rabbitmq/bin")
SECONDS = 120


def can_connect(port):
    with socket.socket() as tried:
        tried.settimeout(1)
        return tried.connect_ex(("127.0.0.1", port)) == 0


LIVE = []  # brokers to end with this process


def end_all(number, _):
    for broker in LIVE:
        broker.__exit__()
    os._exit(128 + number)


class Broker:
    """`settings` are lines of rabbitmq.conf; `tls` is a folder with ca.pem, server.pem and server.key."""

    def __init__(self, folder, settings=(), tls=None):
        self.folder = pathlib.Path(folder).resolve()
        self.folder.mkdir(parents=True)
        self.port, self.tls_port = free_port(), free_port() if tls else None
        self.epmd_port, self.distribution_port = free_port(), free_port()
        self.user, self.password = "worker", "secret-" + secrets.token_hex(8)
        self.process = self.epmd = None
        lines = ["loopback_users = none", f"listeners.tcp.1 = 127.0.0.1:{self.port}", f"default_user = {self.user}",
                 f"default_pass = {self.password}", "default_vhost = /", "max_message_size = 536870912",
                 "vm_memory_high_watermark.absolute = 2GB", "disk_free_limit.absolute = 50MB", *settings]
        if tls:
            lines += [f"listeners.ssl.1 = 127.0.0.1:{self.tls_port}", f"ssl_options.cacertfile = {tls}/ca.pem",
                      f"ssl_options.certfile = {tls}/server.pem", f"ssl_options.keyfile = {tls}/server.key",
                      "ssl_options.verify = verify_none", "ssl_options.fail_if_no_peer_cert = false"]
        (self.folder / "rabbitmq.conf").write_text("\n".join(lines) + "\n")
        (self.folder / "enabled_plugins").write_text("[].\n")
        name = f"tovkit{self.port}@localhost"
        self.environment = {
            "PATH": f"{PROGRAMS}:/usr/bin:/bin", "HOME": str(self.folder), "LANG": "C.UTF-8",
            "RABBITMQ_NODENAME": name, "RABBITMQ_CONFIG_FILE": str(self.folder / "rabbitmq"),
            "RABBITMQ_CONF_ENV_FILE": str(self.folder / "none.conf"),
            "RABBITMQ_MNESIA_BASE": str(self.folder / "mnesia"), "RABBITMQ_LOG_BASE": str(self.folder / "log"),
            "RABBITMQ_ENABLED_PLUGINS_FILE": str(self.folder / "enabled_plugins"),
            "RABBITMQ_PID_FILE": str(self.folder / "pid"), "RABBITMQ_DIST_PORT": str(self.distribution_port),
            "RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS": "-start_epmd false -kernel inet_dist_use_interface {127,0,0,1}",
            "ERL_EPMD_ADDRESS": "127.0.0.1", "ERL_EPMD_PORT": str(self.epmd_port)}

    def url(self, password=None, port=None, scheme="amqp", host="127.0.0.1", rest=""):
        return f"{scheme}://{self.user}:{password or self.password}@{host}:{port or self.port}{rest}"

    def start(self):
        if self not in LIVE:
            LIVE.append(self)
            signal.signal(signal.SIGTERM, end_all)
        if self.epmd is None:
            self.epmd = subprocess.Popen(["epmd", "-relaxed_command_check"], env=self.environment,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with open(self.folder / "output", "ab") as output:
            self.process = subprocess.Popen([PROGRAMS / "rabbitmq-server"], env=self.environment, stdin=subprocess.DEVNULL,
                                            stdout=output, stderr=output, start_new_session=True, cwd=self.folder)
        self.await_ready()

    def await_ready(self):
        """Ports open before the broker has its user: asked until it says that all is up."""
        deadline = time.monotonic() + SECONDS
        while True:
            if self.process.poll() is not None:
                raise RuntimeError(f"the broker has ended:\n{(self.folder / 'output').read_text()[-3000:]}")
            output = (self.folder / "output").read_text(errors="replace")
            if output.count("completed with") > getattr(self, "starts", 0) and can_connect(self.port):
                self.starts = output.count("completed with")
                return
            if time.monotonic() > deadline:
                raise RuntimeError(f"the broker does not start:\n{output[-3000:]}")
            time.sleep(0.1)

    def control(self, *words):
        return subprocess.run([PROGRAMS / "rabbitmqctl", *words], env=self.environment, check=True, cwd=self.folder,
                              capture_output=True, text=True, timeout=SECONDS).stdout

    def stop(self):
        """As a machine that is shut down does it."""
        self.end(signal.SIGTERM)

    def kill(self):
        self.end(signal.SIGKILL)

    def end(self, number):
        if self.process is None:
            return
        # The script, the runtime and its helpers are one session, which this object has started.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, number)
        try:
            self.process.wait(SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        deadline = time.monotonic() + SECONDS
        while can_connect(self.port) and time.monotonic() < deadline:
            time.sleep(0.1)
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process = None

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.kill()
        if self.epmd is not None:
            self.epmd.kill()
            self.epmd.wait()
