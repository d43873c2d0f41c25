"""Serves with the KMIP server that Debian packages as python3-pykmip: a program for the system's
python3, which prints its port and serves until its standard input ends.

    packaged_kmip_server.py TLS_VERSION CERTIFICATE KEY CA FOLDER

With TLS 1.2 it runs the server itself, which supports no newer version; with TLS 1.3 a listener
that passes connections to its engine.
"""

import logging
import os
import signal
import socket
import ssl
import sys
import threading


def end_with_input():
    os.read(0, 1)  # not sys.stdin: forked processes would wait for its mutex
    os.killpg(0, signal.SIGKILL)  # including the processes that the server started


def serve_itself(certificate, key, ca, folder):
    from kmip.services.server import KmipServer
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    server = KmipServer("127.0.0.1", port, certificate, key, ca, "TLS1.2", config_path=None,
                        log_path=folder + "/kmip.log", policy_path=folder,
                        enable_tls_client_auth=True, logging_level="CRITICAL",
                        database_path=folder + "/kmip.db")
    server.start()
    # The server listens only in serve(); an earlier client could not connect.
    server._socket.listen(5)
    print(port, flush=True)
    server.serve()


def serve_engine(certificate, key, ca, folder):
    from kmip.services.server.engine import KmipEngine
    from kmip.services.server.session import KmipSession
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.minimum_version = ssl.TLSVersion.TLSv1_3
    context.verify_mode = ssl.CERT_REQUIRED
    context.load_cert_chain(certificate, key)
    context.load_verify_locations(ca)
    listener = socket.create_server(("127.0.0.1", 0))
    print(listener.getsockname()[1], flush=True)
    engine = KmipEngine(policies={}, database_path=folder + "/kmip.db")
    while True:
        client, address = listener.accept()
        connection = context.wrap_socket(client, server_side=True, do_handshake_on_connect=False)
        KmipSession(engine, connection, address).run()


if __name__ == "__main__":
    logging.disable(logging.CRITICAL)
    os.setpgrp()
    threading.Thread(target=end_with_input, daemon=True).start()
    {"1.2": serve_itself, "1.3": serve_engine}[sys.argv[1]](*sys.argv[2:])
