"""Key management servers on the embedded host, with real TLS servers on the loopback interface."""

import contextlib
import os
import shutil
import socket
import ssl
import subprocess
import tempfile
import threading
import unittest

import hosts
import pyquelt


class Certificates(object):
    """An authority and certificates of servers, made with the openssl command."""

    def __init__(self):
        self.folder = tempfile.mkdtemp()
        self.files = {}
        self.make("ca", issuer=None)
        self.make("other-ca", issuer=None)
        self.make("good", names="IP:127.0.0.1,DNS:localhost")
        self.make("expired", names="IP:127.0.0.1", days=-1)
        self.make("other-name", names="IP:192.0.2.1,DNS:kms.example")

    def make(self, name, names="DNS:ca", issuer="ca", days=2):
        key, request, certificate = (os.path.join(self.folder, name + end)
                                     for end in (".key", ".csr", ".pem"))
        request_options = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                           "-subj", "/CN=" + name, "-keyout", key]
        if issuer is None:
            self.openssl("req", "-x509", "-days", str(days), "-out", certificate, *request_options)
        else:
            self.openssl("req", "-addext", "subjectAltName=" + names, "-out", request,
                         *request_options)
            self.openssl("x509", "-req", "-in", request, "-out", certificate, "-days", str(days),
                         "-copy_extensions", "copy", "-CAcreateserial",
                         "-CA", self.files[issuer][0], "-CAkey", self.files[issuer][1])
        self.files[name] = (certificate, key)

    def openssl(self, *args):
        subprocess.check_output(("openssl",) + args, stderr=subprocess.STDOUT)

    def text(self, name):
        with open(self.files[name][0]) as file:
            return file.read()


def setUpModule():
    global certificates
    certificates = Certificates()


def tearDownModule():
    shutil.rmtree(certificates.folder)


# The system takes connections, the server never answers them.
SILENT = None


@contextlib.contextmanager
def server(serve):
    """The port of a server that calls serve(connection) for each client, or is SILENT."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(5)

    def run():
        while True:
            try:
                connection = listener.accept()[0]
            except OSError:
                return
            with contextlib.closing(connection), contextlib.suppress(OSError):
                serve(connection)

    thread = threading.Thread(target=run)
    if serve is not SILENT:
        thread.start()
    try:
        yield listener.getsockname()[1]
    finally:
        listener.shutdown(socket.SHUT_RDWR)  # ends the wait for clients too
        listener.close()
        if serve is not SILENT:
            thread.join()


def tls(name):
    """Shakes hands with this certificate and waits for the client to leave."""
    context = ssl.SSLContext(getattr(ssl, "PROTOCOL_TLS_SERVER", ssl.PROTOCOL_SSLv23))
    context.load_cert_chain(*certificates.files[name])

    def serve(connection):
        context.wrap_socket(connection, server_side=True).recv(1)

    return serve


def free_port():
    with contextlib.closing(socket.socket()) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class KmsTestCase(hosts.HostTestCase):

    def load(self, servers, trusted=(), **kms):
        super(KmsTestCase, self).load({"kms": dict({
            "servers": servers, "keys": {"c": ["key"]},
            "trustedCertificates": [certificates.text(name) for name in trusted]}, **kms)})

    def trusted(self):
        return self.dump().get("kms", {}).get("trustedCertificates", [])


def one_server(port, **changes):
    return dict({"name": "kms-1", "kmipClusterId": "c", "address": "127.0.0.1", "port": port},
                **changes)


class StatusTest(KmsTestCase):

    def test_environment_switches_verification_off_or_trusts_more(self):
        """Only what the host's own store holds is trusted; an empty one trusts nothing."""
        settings = os.path.join(certificates.folder, "openssl.cnf")
        with open(settings, "w") as file:
            file.write("openssl_conf = a\n[a]\nssl_conf = b\n[b]\nsystem_default = c\n"
                       "[c]\nVerifyMode = \nVerifyCAFile = %s\nMinProtocol = TLSv1\n"
                       "Options = UnsafeLegacyServerConnect\n" % certificates.files["ca"][0])
        with server(tls("good")) as port:
            for trusted in (), ("other-ca",):
                self.load([one_server(port)], trusted)
                status = self.script(
                    "import pyquelt; print(pyquelt.CheckKmsStatus('c', 'key', 20))",
                    env={"SSL_CERT_FILE": certificates.files["ca"][0], "OPENSSL_CONF": settings,
                         "SSL_CERT_DIR": certificates.folder, "PYTHONHTTPSVERIFY": "0"})
                self.assertIn("not trusted", status)

    def check(self, reason, port, trusted=("ca",), seconds=20, **changes):
        """`reason` follows the server's name; "" when the server is good."""
        self.load([one_server(port, **changes)], trusted)
        address = changes.get("address", "127.0.0.1")
        status = pyquelt.CheckKmsStatus("c", "key", seconds)
        shown = 'KMS server "kms-1" ({}:{}): '.format(address, port) + reason if reason else ""
        self.assertEqual(status, {"good": not reason, "reason": shown})

    def test_certificate_is_judged_wrongly(self):
        for name, trusted, address, reason in (
                ("good", ("ca",), "127.0.0.1", ""),
                ("good", ("other-ca", "ca"), "localhost", ""),
                ("good", ("good",), "127.0.0.1", ""),  # the server's own, without its authority
                ("good", (), "127.0.0.1",
                 "its certificate is not trusted: unable to get local issuer certificate"),
                ("good", ("other-ca", "expired"), "127.0.0.1",
                 "its certificate is not trusted: unable to get local issuer certificate"),
                ("ca", ("other-ca",), "127.0.0.1",
                 "its certificate is not trusted: self-signed certificate"),
                ("expired", ("ca",), "127.0.0.1", "its certificate has expired"),
                ("expired", ("expired",), "127.0.0.1", "its certificate has expired"),
                ("other-name", ("ca",), "127.0.0.1", "its certificate is for another name"),
                ("other-name", ("ca",), "localhost", "its certificate is for another name")):
            with self.subTest(name, trusted=trusted, address=address), server(tls(name)) as port:
                self.check(reason, port, trusted, address=address)

    def test_broken_server_is_good_or_waited_for_too_long(self):
        self.check("Connection refused", free_port())
        with server(SILENT) as port:
            self.check("timed out", port, seconds=1)
            self.check("timed out", port, seconds=10 ** 9, timeout=1)
        with server(lambda connection: None) as port:
            self.load([one_server(port)], ("ca",))
            # Closed before or after our first message was taken.
            self.assertRegex(pyquelt.CheckKmsStatus("c", "key", 20)["reason"],
                             "closed the connection during the TLS handshake|Connection reset")
        with server(lambda connection: connection.recv(4096) and connection.sendall(
                b"HTTP/1.0 400 Bad Request\r\n\r\n")) as port:
            self.check("the TLS handshake failed: wrong version number", port)
        self.check("it is behind a proxy, which this host cannot use", 1, proxyAddress="127.0.0.1")
        self.check("it has no address", 1, address="")

    def test_unknown_cluster_or_key_is_good(self):
        with server(tls("good")) as port:
            self.load([one_server(port)], ("ca",))
            for cluster, key, reason in (
                    ("c", "other", 'KMIP cluster "c" has no key "other"'),
                    ("d", "key", 'No server of KMIP cluster "d" is configured')):
                self.assertEqual(pyquelt.CheckKmsStatus(cluster, key, 20),
                                 {"good": False, "reason": reason})

    def test_one_bad_server_hides_behind_others_or_hides_them(self):
        bad = free_port()
        with server(SILENT) as silent, server(tls("good")) as good:
            self.load([one_server(silent, name="silent"), one_server(good, name="good"),
                       one_server(bad, name="bad")], ("ca",))
            status = pyquelt.CheckKmsStatus("c", "key", 6)
        self.assertEqual(status, {
            "good": False,
            "reason": 'KMS server "silent" (127.0.0.1:{}): timed out; KMS server "bad" '
                      '(127.0.0.1:{}): Connection refused'.format(silent, bad)})

    def test_running_check_holds_the_state_up(self):
        statuses = []
        with server(SILENT) as port:
            self.load([one_server(port)], ("ca",))
            thread = threading.Thread(
                target=lambda: statuses.append(pyquelt.CheckKmsStatus("c", "key", 30)))
            thread.start()
            for i in range(5):
                # A fork waits for whoever holds a connection to the state.
                child = os.fork()
                if child == 0:
                    try:
                        pyquelt.SetKekId(str(i))
                    finally:
                        os._exit(0)
                self.assertEqual(os.waitpid(child, 0)[1], 0)
            self.assertEqual((pyquelt.GetKekId(), statuses), ("4", []))
        thread.join()  # the listener's end ends the check
        self.assertFalse(statuses[0]["good"])


class TrustTest(KmsTestCase):

    def test_certificate_is_kept_twice_or_in_another_form(self):
        self.load([])
        text = certificates.text("ca")
        body = "".join(text.split("\n")[1:-2])
        wide = "-----BEGIN CERTIFICATE-----\n" + body + "\n-----END CERTIFICATE-----"
        for form in (text, text.replace("\n", "\r\n"), text.replace("\n", " "), wide,
                     "Issued for us:\n\n" + text + "\nas agreed\n",
                     certificates.text("good"), text):
            pyquelt.AddKmsTrustedCert(form)
        self.assertEqual(self.trusted(), [text, certificates.text("good")])

    def test_text_that_is_not_one_certificate_is_trusted(self):
        self.load([], ("ca",))
        text = certificates.text("good")
        lines = text.split("\n")
        with open(certificates.files["good"][1]) as file:
            key = file.read()
        none, unreadable = "The text holds no certificate", "The text's certificate cannot be read"
        for bad, reason in (
                ("", none), ("x", none), (key, none), (lines[0], none), (text[:-30], none),
                ("\n".join(reversed(lines)), none),
                (lines[0] + "\n" + lines[-2], unreadable),
                ("\n".join(lines[:2] + lines[3:]), unreadable),
                ("\n".join(lines[:2] + ["%"] + lines[2:]), unreadable),
                (text.replace("BEGIN CERTIFICATE-----", "BEGIN CERTIFICATE-----AAAA"), unreadable),
                (key.replace("PRIVATE KEY", "CERTIFICATE"), unreadable),
                (text + text, "The text holds more than one certificate"),
                (text + certificates.text("ca"), "The text holds more than one certificate"),
                (text + lines[0], "The text holds more than one certificate")):
            self.assert_raises_exactly(ValueError, reason, pyquelt.AddKmsTrustedCert, bad)
        self.assertEqual(self.trusted(), [certificates.text("ca")])


class AnswerTest(KmsTestCase):

    def test_default_host_answers_otherwise(self):
        self.assertEqual([entry["name"] for entry in pyquelt.GetKms()], ["kms-1", "kms-2"])
        self.assertEqual({entry["password"] for entry in pyquelt.GetKms()}, {"(not shown)"})
        self.assertEqual(pyquelt.CheckCloudKmsStatus("naa.58ce38ee20a1c004"),
                         {"good": True, "error": ""})
        self.assertEqual(pyquelt.CheckCloudKmsStatus("else"),
                         {"good": False, "error": 'The host knows no cloud KMS "else"'})
        self.assertEqual(pyquelt.GetKmsPasswordFromConfigStore("kek-2026-01", "kmip-a"),
                         "kek-secret")

    def test_password_is_given_for_another_kek(self):
        passwords = [{"kekId": kek, "kmipClusterId": cluster, "password": kek + " of " + cluster}
                     for kek in ("a", "1:a", "a@", "") for cluster in ("b", "@b", "")]
        self.load([], passwords=passwords)
        for entry in passwords:
            self.assertEqual(pyquelt.GetKmsPasswordFromConfigStore(entry["kekId"],
                                                                   entry["kmipClusterId"]),
                             entry["password"])
        self.assertIsNone(pyquelt.GetKmsPasswordFromConfigStore("b", "a"))


if __name__ == "__main__":
    unittest.main()
