"""Key management servers on the embedded host, with real TLS servers on the loopback interface."""

import contextlib
import os
import socket
import ssl
import subprocess
import threading
import time
import unittest

import hosts
import kmip_peer
import pyquelt

FOLDER = hosts.FOLDER
HTTP = b"HTTP/1.0 400 Bad Request\r\n\r\n"
NO_CLIENT = "no client certificate is configured, and the server requires one"
UNKNOWN_CLIENT = "it rejects the client certificate: unknown CA"
CLOSED = "it closed the connection without a response"
ANOTHER_PROTOCOL = "it is not a KMIP server: it responds in another protocol"


def path(name, end=".pem"):
    return os.path.join(FOLDER, name + end)


def text(name, end=".pem"):
    with open(path(name, end)) as file:
        return file.read()


def make_certificate(name, extension, issuer="ca", validity=("-days", "2")):
    """Creates a key and its certificate with the openssl command."""
    key, request, certificate = (path(name, end) for end in (".key", ".csr", ".pem"))
    signed = (["-selfsign", "-keyfile", key] if issuer == name else
              ["-cert", path(issuer), "-keyfile", path(issuer, ".key")])
    # "openssl ca" accepts dates in the past; "openssl x509" rejects them from 3.5 on.
    settings = hosts.write("ca.cnf", "[ca]\ndefault_ca = it\n[it]\ndatabase = {0}/{1}\n"
                           "new_certs_dir = {0}\nrand_serial = yes\ndefault_md = sha256\n"
                           "copy_extensions = copy\npolicy = any\n[any]\n"
                           "commonName = supplied\n".format(FOLDER, name))
    hosts.write(name, "")
    for command in (["req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                     "-subj", "/CN=" + name, "-addext", extension, "-keyout", key, "-out", request],
                    ["ca", "-batch", "-notext", "-config", settings, "-in", request,
                     "-out", certificate] + list(validity) + signed):
        subprocess.check_output(["openssl"] + command, stderr=subprocess.STDOUT)


def setUpModule():
    for name in "ca", "other-ca":
        make_certificate(name, "basicConstraints=CA:TRUE", issuer=name)
    make_certificate("good", "subjectAltName=IP:127.0.0.1,DNS:localhost")
    make_certificate("expired", "subjectAltName=IP:127.0.0.1",
                     validity=("-startdate", "20200101000000Z", "-enddate", "20200102000000Z"))
    make_certificate("other-name", "subjectAltName=IP:192.0.2.1,DNS:kms.example")
    make_certificate("client", "extendedKeyUsage=clientAuth")
    make_certificate("unknown-client", "extendedKeyUsage=clientAuth", issuer="other-ca")


@contextlib.contextmanager
def server(serve):
    """Yields the port of a server that calls serve(connection) for each client. If `serve` is None,
    clients can connect, but the server never responds."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(5)

    def run():
        with contextlib.suppress(OSError):
            while serve:
                with contextlib.closing(listener.accept()[0]) as client:
                    with contextlib.suppress(OSError):
                        serve(client)

    thread = threading.Thread(target=run)
    thread.start()
    try:
        yield listener.getsockname()[1]
    finally:
        listener.shutdown(socket.SHUT_RDWR)  # also interrupts accept()
        listener.close()
        thread.join()


def tls(name, respond=kmip_peer.replay, client_ca=None, verify=ssl.CERT_REQUIRED, version=None):
    """Serves TLS with this certificate, or with anonymous ciphers, which need none: `respond`
    returns the bytes to send for a KMIP request. If it is None, the server waits until the client
    disconnects."""
    context = ssl.SSLContext(getattr(ssl, "PROTOCOL_TLS_SERVER", ssl.PROTOCOL_SSLv23))
    if name:
        context.load_cert_chain(path(name), path(name, ".key"))
    else:
        context.set_ciphers("AECDH:@SECLEVEL=0")
    # An old ssl module has no names for these options.
    context.options |= {None: 0, "1.2": 0x20000000, "1.3": 0x08000000}[version]
    if client_ca:
        context.verify_mode = verify
        context.load_verify_locations(path(client_ca))

    def serve(client):
        with context.wrap_socket(client, server_side=True) as connection:
            request = connection.recv(4096)
            if respond:
                connection.sendall(respond(request))
            else:
                connection.recv(1)

    return serve


def one_server(port, **changes):
    return dict({"name": "kms-1", "kmipClusterId": "c", "address": "127.0.0.1", "port": port},
                **changes)


class KmsTest(hosts.HostTestCase):

    def load_kms(self, *servers, trusted=("ca",), bundle=False, **kms):
        certificates = [text(name) for name in trusted]
        self.assertEqual("", self.load({"kms": dict(
            kms, servers=servers, keys={"c": ["key"]},
            trustedCertificates=["".join(certificates)] if bundle else certificates)}))

    def check(self, port, trusted=("ca",), seconds=20, client=None, **changes):
        """The reason why the check rejects one server; "" if it is good."""
        server = one_server(port, **changes)
        self.load_kms(server, trusted=trusted, **({} if not client else {"clientCertificates": {
            "c": {"certificate": text(client), "key": text(client, ".key")}}}))
        status = pyquelt.CheckKmsStatus("c", "key", seconds)
        name = 'KMS server "kms-1" ({}:{}): '.format(server["address"], port)
        if status["reason"]:
            self.assertEqual(status["reason"][:len(name)], name)
        self.assertEqual(status["good"], not status["reason"])
        return status["reason"][len(name):]

    def test_server_is_good_only_after_a_trusted_kmip_response(self):
        not_trusted = "its certificate is not trusted: "
        no_issuer = not_trusted + "unable to get local issuer certificate"
        another_name = "its certificate is for another name"
        expired = "its certificate has expired"
        asked = " (it asked for a client certificate; no client certificate is configured)"
        failed = kmip_peer.failed(3, "Who are you?")
        rejected = "it rejects the KMIP request: Authentication Not Successful (Who are you?)"
        # The server, the reason ("" if it is good), changes to the configuration.
        for serve, reason, changes in [
                (tls("good"), "", {}),
                (tls("good"), "", {"trusted": ["other-ca", "ca"], "address": "localhost"}),
                (tls("good"), "", {"trusted": ["good"]}),  # without its CA
                (tls("good"), no_issuer, {"trusted": []}),
                (tls("good"), no_issuer, {"trusted": ["other-ca", "expired"]}),
                (tls("ca"), not_trusted + "self-signed certificate", {"trusted": ["other-ca"]}),
                (tls("expired"), expired, {}),
                (tls("expired"), expired, {"trusted": ["expired"]}),
                (tls("other-name"), another_name, {}),
                (tls("other-name"), another_name, {"address": "localhost"}),
                (None, "timed out during the TLS handshake", {"seconds": 1}),
                (tls("good", None), "timed out waiting for the KMIP response", {"seconds": 1}),
                (lambda _: None, "it closed the connection during the TLS handshake", {}),
                (lambda client: client.recv(4096) and client.sendall(HTTP),
                 "it does not speak TLS", {}),
                (None, "it is behind a proxy, which this host cannot use",
                 {"proxyAddress": "127.0.0.1"}),
                (None, "it has no address", {"address": ""}),
                (None, "Name or service not known", {"address": "a..b"})] + [
                row for version in ("1.2", "1.3") for row in (
                    (tls("good", version=version), "", {"client": "client"}),
                    (tls("good", lambda request: b"", version=version), CLOSED, {}),
                    (tls("good", version=version, client_ca="ca"), "", {"client": "client"}),
                    (tls("good", version=version, client_ca="ca"), NO_CLIENT, {}),
                    (tls("good", version=version, client_ca="ca"), UNKNOWN_CLIENT,
                     {"client": "unknown-client"}),
                    (tls("good", lambda request: failed, "ca", ssl.CERT_OPTIONAL, version),
                     rejected + asked, {}),
                    (tls("good", lambda request: b"", "ca", ssl.CERT_OPTIONAL, version),
                     CLOSED + asked, {}),
                    (tls("good", lambda request: failed, version=version, client_ca="ca"),
                     rejected, {"client": "client"}))]:
            with self.subTest(reason, changes=changes), server(serve) as port:
                self.assertEqual(self.check(port, **changes), reason)

    def test_server_is_good_only_after_a_well_formed_kmip_response(self):
        item, response, failed = kmip_peer.item, kmip_peer.response, kmip_peer.failed
        version, stamp, count = kmip_peer.VERSION, kmip_peer.TIME, kmip_peer.COUNT
        operation, success = kmip_peer.OPERATION, kmip_peer.SUCCESS
        deep = b""
        for _ in range(20):
            deep = item(0x7C, 1, deep)
        not_kmip = "it is not a KMIP server: "
        malformed = not_kmip + "its response is malformed"
        another = not_kmip + "it responds to another request"
        rejects = "it rejects the KMIP request: "
        good = response()
        for answer, reason in (
                (good, ""), (kmip_peer.RESPONSE, ""), (failed(5), ""),
                (response([operation, item(0x93, 8, b"\r\n\r\n")] + success), ""),
                (failed(4), rejects + "Invalid Message"),
                (failed(99), rejects + "Result Reason 99"),
                (failed(0, "\n\u20ac" + "x" * 300),
                 rejects + "Result Reason 0 (????" + "x" * 196 + ")"),
                (b"\x16\x03\x03", ANOTHER_PROTOCOL), (kmip_peer.REQUEST, ANOTHER_PROTOCOL),
                (HTTP, ANOTHER_PROTOCOL),
                (good[:4] + b"\x00\x01\x00\x00", not_kmip + "its response is too long"),
                (good[:7], CLOSED), (good[:-1], CLOSED), (good + b"\0", malformed),
                (response([operation] + success[:1]), malformed),
                (response([operation] + success[1:]), malformed),
                (response([operation, item(0x7F, 2, 0), success[1]]), malformed),
                (response([operation, item(0x7F, 5, b""), success[1]]), malformed),
                (response([operation, item(0x7F, 5, 1)]), malformed),
                (response(header=[version, stamp]), malformed),
                (response(header=[version, count]), malformed),
                (response(header=[item(0x69, 1, []), stamp, count]), malformed),
                (response(header=[version, stamp, item(0x0D, 2, 2)]), another),
                (response(success), another),
                (response([item(0x5C, 5, 1)] + success), another),
                (response([operation, item(0x93, 8, b"x")] + success), another)) + tuple(
                    (response([operation] + success + [invalid]), malformed) for invalid in (
                        item(0x7D, 11, b""), b"\0" * 4, deep,
                        b"\x42\0\x7d\x07\0\0\0\x10" + b"x" * 8,
                        b"\x42\0\x7d\x07\0\0\0\x01" + b"x" * 8)):
            with self.subTest(reason, answer=answer), server(tls("good", lambda _: answer)) as port:
                self.assertEqual(self.check(port), reason)

    @unittest.skipIf(kmip_peer.UNAVAILABLE, kmip_peer.UNAVAILABLE)
    def test_packaged_kmip_server_is_good_for_its_clients(self):
        for version in ("1.2", "1.3"):
            with kmip_peer.packaged(version, path("good"), path("good", ".key"),
                                    path("ca")) as port:
                for client, reason in (("client", ""), (None, NO_CLIENT),
                                       ("good", "it rejects the KMIP request: Authentication Not "
                                        "Successful (Error verifying the client certificate. See "
                                        "server logs for more information.)"),
                                       ("unknown-client", UNKNOWN_CLIENT)):
                    with self.subTest(client, version=version):
                        self.assertEqual(self.check(port, client=client), reason)

    def test_environment_does_not_change_which_servers_are_trusted(self):
        """Only the certificates in the host's own store are trusted, none if it is empty."""
        settings = hosts.write(
            "openssl.cnf", "openssl_conf = a\n[a]\nssl_conf = b\n[b]\nsystem_default = c\n"
            "[c]\nVerifyMode = \nVerifyCAFile = %s\nMinProtocol = TLSv1\n"
            "MaxProtocol = TLSv1.2\nCipherString = ALL:aNULL:@SECLEVEL=0\n"
            "Options = UnsafeLegacyServerConnect\n" % path("ca"))
        for trusted, serve, reason in (
                ((), tls("good"), "not trusted"), (("other-ca",), tls("good"), "not trusted"),
                (("ca",), tls(None, version="1.2"), "TLS failed")):
            with server(serve) as port:
                self.load_kms(one_server(port), trusted=trusted)
                status = self.script(
                    "import pyquelt; print(pyquelt.CheckKmsStatus('c', 'key', 20))",
                    env={"SSL_CERT_FILE": path("ca"), "OPENSSL_CONF": settings,
                         "SSL_CERT_DIR": FOLDER, "PYTHONHTTPSVERIFY": "0"})
            self.assertIn(reason, status)

    def test_unknown_cluster_or_key_is_not_good_and_a_recorded_status_decides(self):
        with server(tls("good")) as port:
            self.load_kms(one_server(port))
            for *names, reason in (("c", "other", 'KMIP cluster "c" has no key "other"'),
                                   ("d", "key", 'No server of KMIP cluster "d" is configured')):
                self.assertEqual(pyquelt.CheckKmsStatus(*names, 20),
                                 {"good": False, "reason": reason})
            self.load_kms(one_server(port), statuses={"c": {"other": {"good": True}}})
            for key, good in ("other", True), ("key", False):
                self.assertEqual(pyquelt.CheckKmsStatus("c", key, 20)["good"], good)
        self.assertEqual(pyquelt.CheckCloudKmsStatus("else"),
                         {"good": False, "error": 'The host knows no cloud KMS "else"'})

    def test_unresponsive_servers_do_not_shorten_the_time_of_others(self):
        late = tls("good", lambda request: time.sleep(1.5) or kmip_peer.replay(request))
        with server(None) as refusing:
            pass
        with server(None) as silent, server(late) as good:
            self.load_kms(*[one_server(silent, name=name, timeout=1) for name in "abcd"]
                          + [one_server(good, name="good", timeout=1),
                             one_server(refusing, name="e")])
            start = time.monotonic()
            status = pyquelt.CheckKmsStatus("c", "key", 3)
        self.assertLess(abs(time.monotonic() - start - 3), 1)
        self.assertEqual(status, {"good": True, "reason": "; ".join(
            'KMS server "{}" (127.0.0.1:{}): {}'.format(name, port, cause) for name, port, cause in
            [(name, silent, "timed out during the TLS handshake") for name in "abcd"]
            + [("e", refusing, "Connection refused")])})

    def test_client_key_stays_secret_and_is_required(self):
        encrypted = subprocess.check_output(
            ["openssl", "pkey", "-in", path("client", ".key"), "-aes256", "-passout", "pass:x"])
        client = {"certificate": text("client") + text("ca"), "key": encrypted.decode("ascii")}
        document = {"kms": {"clientCertificates": {"c": client}}}
        self.assertIn("The key cannot be read as an unencrypted private key", self.load(document))
        with server(tls("good", client_ca="ca")) as port:
            client["key"] = text("client", ".key")
            self.load_kms(one_server(port), clientCertificates={"c": client})
            self.tool("journal", "start")
            self.assertTrue(pyquelt.CheckKmsStatus("c", "key", 20)["good"])
            self.assertEqual(self.dump()["kms"]["clientCertificates"], {"c": client})
            dump = hosts.quelt_host("dump").out
            for output in (dump, self.tool("show"), self.tool("journal", "show", "--json")):
                self.assertNotIn(client["key"].split("\n")[1], output)
            self.assertEqual(hosts.quelt_host("load", "-", input=dump).code, 0)
            self.assertIn("no key of the client certificate is configured, and the server requires "
                          "one", pyquelt.CheckKmsStatus("c", "key", 20)["reason"])

    def test_running_check_does_not_block_the_state(self):
        statuses = []
        with server(None) as port:
            self.load_kms(one_server(port))
            thread = threading.Thread(
                target=lambda: statuses.append(pyquelt.CheckKmsStatus("c", "key", 30)))
            thread.start()
            for i in range(5):
                # A fork waits for threads that use a connection to the state.
                if os.fork() == 0:
                    os._exit(hosts.outcome(pyquelt.SetKekId, str(i)) is not None)
                self.assertEqual(os.wait()[1], 0)
            self.assertEqual((pyquelt.GetKekId(), statuses), ("4", []))
        thread.join()  # closing the listener ends the check
        self.assertFalse(statuses[0]["good"])

    def test_certificate_is_stored_once_and_in_pem_form(self):
        self.load_kms(trusted=())
        ca, good, other = text("ca"), text("good"), text("other-ca")
        lines = ca.split("\n")
        wide = "\n".join([lines[0], "".join(lines[1:-2]), lines[-2]])
        for form in (ca, ca.replace("\n", "\r\n"), ca.replace("\n", " "), wide,
                     "Issued for us:\n-------\n" + ca + "\nas agreed\n", good, ca,
                     (ca + other + other).replace("\n", "")):
            pyquelt.AddKmsTrustedCert(form)
        self.assertEqual(self.dump()["kms"]["trustedCertificates"], [ca, good, other])
        self.load_kms(trusted=("ca", "good"), bundle=True)
        self.assertEqual(self.dump()["kms"]["trustedCertificates"], [ca, good])

    def test_rejects_an_invalid_trust_text_and_names_the_damaged_certificate(self):
        self.load_kms()
        good, key, other = text("good"), text("good", ".key"), text("other-ca")
        lines = good.split("\n")
        none = "The text holds no certificate"
        first, second = ("Certificate %d of the text cannot be read" % i for i in (1, 2))
        damaged = (good[:-30], lines[0], lines[0] + "\n" + lines[-2],
                   "\n".join(lines[:2] + lines[3:]), "\n".join(lines[:2] + ["%"] + lines[2:]),
                   good.replace("BEGIN CERTIFICATE-----", "BEGIN CERTIFICATE-----AAAA"),
                   key.replace("PRIVATE KEY", "CERTIFICATE"), lines[0] + "\n" + good)
        # Damaged BEGIN and END lines: alone, these texts contain nothing like a certificate.
        marks = (good[1:], good.replace("BEGIN", "BEGUN"), "\n".join(lines[1:]), key)
        for invalid, reason in (
                [(text, none) for text in ("", "x") + marks]
                + [(text, first) for text in damaged + ("\n".join(reversed(lines)),)]
                + [(text + other, first) for text in damaged + marks]
                + [(other + text, second) for text in damaged + marks]):
            self.assert_raises_exactly(ValueError, reason, pyquelt.AddKmsTrustedCert, invalid)
        self.assertEqual(self.dump()["kms"]["trustedCertificates"], [text("ca")])

    def test_password_belongs_to_its_kek_and_cluster(self):
        passwords = [{"kekId": kek, "kmipClusterId": cluster, "password": kek + " of " + cluster}
                     for kek in ("a", "1:a", "a@", "") for cluster in ("b", "@b", "")]
        self.load_kms(passwords=passwords)
        self.assertEqual([pyquelt.GetKmsPasswordFromConfigStore(entry["kekId"],
                                                                entry["kmipClusterId"])
                          for entry in passwords], [entry["password"] for entry in passwords])
        self.assertIsNone(pyquelt.GetKmsPasswordFromConfigStore("b", "a"))
