# SPDX-License-Identifier: MIT
"""TLS with an authority of the test's own: only the right certificate for the right name is talked to."""
import subprocess
import unittest

from broker import Broker
from support import QueueTest, job


def make_certificates(folder):
    """ca.pem, a server certificate for localhost, and other.pem, an authority that has signed nothing."""
    def openssl(*words):
        subprocess.run(["openssl", *words], cwd=folder, check=True, capture_output=True)
    key = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-sha256", "-days", "2")
    for name in ("ca", "other"):
        openssl("req", "-x509", *key, "-keyout", f"{name}.key", "-out", f"{name}.pem", "-subj", f"/CN=Authority {name}")
    (folder / "names").write_text("subjectAltName = DNS:localhost\n")
    openssl("req", *key[:-2], "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=localhost")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial", "-out", "server.pem",
            "-days", "2", "-sha256", "-extfile", "names")


class TlsTest(QueueTest):
    @classmethod
    def start_broker(cls, folder):
        cls.tls = folder / "tls"
        cls.tls.mkdir()
        make_certificates(cls.tls)
        return Broker(folder / "broker", tls=cls.tls)

    def address(self, host):
        return self.broker.url(scheme="amqps", port=self.broker.tls_port, host=host)

    def test_the_right_certificate_is_talked_to(self):
        channel = self.declare()
        worker = self.working("--ca-file", str(self.tls / "ca.pem"), "--inline", address=self.address("localhost"))
        self.assertIn("amqps://", worker.errors())
        self.put(channel, *(job(number) for number in range(50)), job("large", size="3000x3000", effort=1))
        self.assertEqual({self.take_result(channel)["state"] for _ in range(51)}, {"done"})
        self.stop(worker)

    def test_a_certificate_for_another_name_is_refused(self):
        self.declare()
        worker = self.worker("--ca-file", str(self.tls / "ca.pem"), address=self.address("127.0.0.1"))
        self.assertEqual(worker.wait(), 1)
        self.assertIn("the certificate of the broker is not for 127.0.0.1", worker.errors())

    def test_a_certificate_of_a_stranger_is_refused(self):
        self.declare()
        for name, words in {"other": ("--ca-file", str(self.tls / "other.pem")), "system": ()}.items():
            worker = self.worker(*words, name=name, address=self.address("localhost"))
            self.assertEqual(worker.wait(), 1)
            self.assertIn("the certificate of the broker comes from nobody who is trusted", worker.errors())
            self.assertNotIn(self.broker.password, worker.errors())

    def test_a_port_without_tls_is_told(self):
        self.declare()
        worker = self.worker("--ca-file", str(self.tls / "ca.pem"), address=self.broker.url(scheme="amqps", host="localhost"))
        worker.await_line("next attempt in")
        self.assertIn("TLS fails: ", worker.errors())
        self.stop(worker)


if __name__ == "__main__":
    unittest.main()
