"""Key management servers on the embedded host, with real TLS servers on the loopback interface."""

import contextlib
import os
import socket
import ssl
import subprocess
import threading

import hosts
import pyquelt

FOLDER = hosts.FOLDER


def path(name, end=".pem"):
    return os.path.join(FOLDER, name + end)


def text(name, end=".pem"):
    with open(path(name, end)) as file:
        return file.read()


def make_certificate(name, extension, issuer="ca", validity=("-days", "2")):
    """A key and its certificate, made with the openssl command."""
    key, request, certificate = (path(name, end) for end in (".key", ".csr", ".pem"))
    signed = (["-selfsign", "-keyfile", key] if issuer == name else
              ["-cert", path(issuer), "-keyfile", path(issuer, ".key")])
    # "openssl ca" takes dates in the past; "openssl x509" from 3.5 on takes none.
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
    make_certificate("ca", "basicConstraints=CA:TRUE", issuer="ca")
    make_certificate("other-ca", "basicConstraints=CA:TRUE", issuer="other-ca")
    make_certificate("good", "subjectAltName=IP:127.0.0.1,DNS:localhost")
    make_certificate("expired", "subjectAltName=IP:127.0.0.1",
                     validity=("-startdate", "20200101000000Z", "-enddate", "20200102000000Z"))
    make_certificate("other-name", "subjectAltName=IP:192.0.2.1,DNS:kms.example")


@contextlib.contextmanager
def server(serve):
    """The port of a server that calls serve(connection) for each client; without it the system
    takes connections and nobody answers."""
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
        listener.shutdown(socket.SHUT_RDWR)  # ends the wait for clients too
        listener.close()
        thread.join()


def tls(name):
    """Shakes hands with this certificate and waits for the client to leave."""
    context = ssl.SSLContext(getattr(ssl, "PROTOCOL_TLS_SERVER", ssl.PROTOCOL_SSLv23))
    context.load_cert_chain(path(name), path(name, ".key"))
    return lambda client: context.wrap_socket(client, server_side=True).recv(1)


def tls_without_certificate():
    """Shakes hands in the way that asks nobody for a certificate."""
    context = ssl.SSLContext(getattr(ssl, "PROTOCOL_TLS_SERVER", ssl.PROTOCOL_SSLv23))
    context.options |= getattr(ssl, "OP_NO_TLSv1_3", 0)
    context.set_ciphers("AECDH:@SECLEVEL=0")
    return lambda client: context.wrap_socket(client, server_side=True).recv(1)


def hang_up(client):
    pass


def answer_in_plain_text(client):
    client.recv(4096)
    client.sendall(b"HTTP/1.0 400 Bad Request\r\n\r\n")


def one_server(port, **changes):
    return dict({"name": "kms-1", "kmipClusterId": "c", "address": "127.0.0.1", "port": port},
                **changes)


class KmsTest(hosts.HostTestCase):

    def load_kms(self, *servers, trusted=("ca",), bundle=False, **kms):
        certificates = [text(name) for name in trusted]
        self.assertEqual("", self.load({"kms": dict(
            kms, servers=servers, keys={"c": ["key"]},
            trustedCertificates=["".join(certificates)] if bundle else certificates)}))

    def test_server_is_judged_wrongly_or_waited_for_too_long(self):
        not_trusted = "its certificate is not trusted: "
        no_issuer = not_trusted + "unable to get local issuer certificate"
        another_name = "its certificate is for another name"
        expired = "its certificate has expired"
        # What serves, who is trusted, changes of the configuration, the reason ("": it is good).
        for serve, trusted, changes, reason in (
                (tls("good"), ["ca"], {}, ""),
                (tls("good"), ["other-ca", "ca"], {"address": "localhost"}, ""),
                (tls("good"), ["good"], {}, ""),  # the server's own, without its authority
                (tls("good"), [], {}, no_issuer),
                (tls("good"), ["other-ca", "expired"], {}, no_issuer),
                (tls("ca"), ["other-ca"], {}, not_trusted + "self-signed certificate"),
                (tls("expired"), ["ca"], {}, expired),
                (tls("expired"), ["expired"], {}, expired),
                (tls("other-name"), ["ca"], {}, another_name),
                (tls("other-name"), ["ca"], {"address": "localhost"}, another_name),
                (None, ["ca"], {"seconds": 1}, "timed out"),
                (None, ["ca"], {"seconds": 10 ** 9, "timeout": 1}, "timed out"),
                # Closed before or after our first message was taken.
                (hang_up, ["ca"], {}, "closed the connection during the TLS handshake|Connection "
                 "reset by peer"),
                (answer_in_plain_text, ["ca"], {},
                 "the TLS handshake failed: wrong version number"),
                (None, ["ca"], {"proxyAddress": "127.0.0.1"},
                 "it is behind a proxy, which this host cannot use"),
                (None, ["ca"], {"address": ""}, "it has no address")):
            with self.subTest(reason, trusted=trusted, changes=changes), server(serve) as port:
                changes = dict({"address": "127.0.0.1", "seconds": 20}, **changes)
                seconds = changes.pop("seconds")
                self.load_kms(one_server(port, **changes), trusted=trusted)
                name = 'KMS server "kms-1" ({}:{}): '.format(changes["address"], port)
                self.assertIn(pyquelt.CheckKmsStatus("c", "key", seconds), [
                    {"good": not reason, "reason": reason and name + each}
                    for each in reason.split("|")])

    def test_environment_switches_verification_off_or_trusts_more(self):
        """Only what the host's own store holds is trusted; an empty one trusts nothing."""
        settings = hosts.write(
            "openssl.cnf", "openssl_conf = a\n[a]\nssl_conf = b\n[b]\nsystem_default = c\n"
            "[c]\nVerifyMode = \nVerifyCAFile = %s\nMinProtocol = TLSv1\n"
            "MaxProtocol = TLSv1.2\nCipherString = ALL:aNULL:@SECLEVEL=0\n"
            "Options = UnsafeLegacyServerConnect\n" % path("ca"))
        for trusted, serve, reason in (
                ((), tls("good"), "not trusted"), (("other-ca",), tls("good"), "not trusted"),
                (("ca",), tls_without_certificate(), "handshake failed")):
            with server(serve) as port:
                self.load_kms(one_server(port), trusted=trusted)
                status = self.script(
                    "import pyquelt; print(pyquelt.CheckKmsStatus('c', 'key', 20))",
                    env={"SSL_CERT_FILE": path("ca"), "OPENSSL_CONF": settings,
                         "SSL_CERT_DIR": FOLDER, "PYTHONHTTPSVERIFY": "0"})
            self.assertIn(reason, status)

    def test_unknown_cluster_or_key_is_good(self):
        with server(tls("good")) as port:
            self.load_kms(one_server(port))
            for cluster, key, reason in (
                    ("c", "other", 'KMIP cluster "c" has no key "other"'),
                    ("d", "key", 'No server of KMIP cluster "d" is configured')):
                self.assertEqual(pyquelt.CheckKmsStatus(cluster, key, 20),
                                 {"good": False, "reason": reason})
        self.assertEqual(pyquelt.CheckCloudKmsStatus("else"),
                         {"good": False, "error": 'The host knows no cloud KMS "else"'})

    def test_one_bad_server_hides_behind_others_or_hides_them(self):
        with server(None) as bad:
            pass
        with server(None) as silent, server(tls("good")) as good:
            self.load_kms(one_server(silent, name="silent"), one_server(good, name="good"),
                          one_server(bad, name="bad"))
            status = pyquelt.CheckKmsStatus("c", "key", 6)
        self.assertEqual(status, {
            "good": False,
            "reason": 'KMS server "silent" (127.0.0.1:{}): timed out; KMS server "bad" '
                      '(127.0.0.1:{}): Connection refused'.format(silent, bad)})

    def test_running_check_holds_the_state_up(self):
        statuses = []
        with server(None) as port:
            self.load_kms(one_server(port))
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

    def test_rejects_a_trust_text_and_names_the_damaged_certificate(self):
        self.load_kms()
        good, key, other = text("good"), text("good", ".key"), text("other-ca")
        lines = good.split("\n")
        none = "The text holds no certificate"
        first, second = ("Certificate %d of the text cannot be read" % i for i in (1, 2))
        damaged = (good[:-30], lines[0], lines[0] + "\n" + lines[-2],
                   "\n".join(lines[:2] + lines[3:]), "\n".join(lines[:2] + ["%"] + lines[2:]),
                   good.replace("BEGIN CERTIFICATE-----", "BEGIN CERTIFICATE-----AAAA"),
                   key.replace("PRIVATE KEY", "CERTIFICATE"), lines[0] + "\n" + good)
        # Damaged BEGIN and END lines: on their own these texts hold nothing that looks like one.
        marks = (good[1:], good.replace("BEGIN", "BEGUN"), "\n".join(lines[1:]), key)
        for bad, reason in (
                [("", none), ("x", none)] + [(text, none) for text in marks]
                + [(text, first) for text in damaged + ("\n".join(reversed(lines)),)]
                + [(text + other, first) for text in damaged + marks]
                + [(other + text, second) for text in damaged + marks]):
            self.assert_raises_exactly(ValueError, reason, pyquelt.AddKmsTrustedCert, bad)
        self.assertEqual(self.dump()["kms"]["trustedCertificates"], [text("ca")])

    def test_password_is_given_for_another_kek(self):
        passwords = [{"kekId": kek, "kmipClusterId": cluster, "password": kek + " of " + cluster}
                     for kek in ("a", "1:a", "a@", "") for cluster in ("b", "@b", "")]
        self.load_kms(passwords=passwords)
        self.assertEqual([pyquelt.GetKmsPasswordFromConfigStore(entry["kekId"],
                                                                entry["kmipClusterId"])
                          for entry in passwords], [entry["password"] for entry in passwords])
        self.assertIsNone(pyquelt.GetKmsPasswordFromConfigStore("b", "a"))
