"""The faults of servers that a program is to call."""
import contextlib
import json
import socket
import ssl
import subprocess
import threading

from faults import Fault


@contextlib.contextmanager
def listener(machine, answer, scheme):
    """A server that gives everybody the same answer, or does to each socket what a function says."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        def serve():
            with contextlib.suppress(OSError):
                while True:
                    peer, _ = server.accept()
                    with peer, contextlib.suppress(ssl.SSLError):
                        if callable(answer):
                            answer(peer)
                        else:
                            peer.recv(4096)
                            peer.sendall(answer)

        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        machine.arguments += ["--connect", f"{scheme}://127.0.0.1:{server.getsockname()[1]}"]
        yield
        server.shutdown(socket.SHUT_RDWR)
        thread.join()


def answering(answer, scheme="tcp"):
    return lambda machine: listener(machine, answer, scheme)


@contextlib.contextmanager
def closed_port(machine):
    """A port that is taken, so that nobody else listens there, without a listener."""
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        machine.arguments += ["--connect", f"tcp://127.0.0.1:{taken.getsockname()[1]}"]
        yield


def configured(**settings):
    """An endpoint of the configuration, called without TLS."""
    def arrange(machine):
        machine.arguments += ["--connect", "tcp://10.0.0.1:8083", "--config",
                              json.dumps({"endpoints": {"10.0.0.1:8083": settings}})]
    return arrange


def silent(scheme):
    """A server that takes connections and says nothing. The client's own time limit applies."""
    @contextlib.contextmanager
    def arrange(machine):
        with socket.create_server(("127.0.0.1", 0)) as server:
            machine.variables["FERROLINK_CONNECT_TIMEOUT_MS"] = "300"
            machine.arguments += ["--connect", f"{scheme}://127.0.0.1:{server.getsockname()[1]}"]
            yield
    return arrange


def make_certificate(certificate, key, name, days, password=None):
    """Signed by itself. openssl makes none that has expired unless it signs a request."""
    request, extensions = certificate.with_suffix(".csr"), certificate.with_suffix(".ext")
    extensions.write_text(f"subjectAltName={name}\n")
    lock = ["-passout", f"pass:{password}"] if password else ["-nodes"]
    unlock = ["-passin", f"pass:{password}"] if password else []
    subprocess.run(["openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", *lock,
                    "-keyout", key, "-out", request, "-subj", "/CN=test"], check=True, capture_output=True)
    subprocess.run(["openssl", "x509", "-req", "-in", request, "-signkey", key, *unlock, "-days", str(days), "-extfile",
                    extensions, "-out", certificate], check=True, capture_output=True)


def revocation_list(certificate, revokes, *times):
    """A list of the authority that the certificate itself is."""
    folder, file = certificate.parent, certificate.with_name("revoked.pem")
    (folder / "index.txt").write_text("")
    (folder / "ca.cnf").write_text(f"[ca]\ndefault_ca = it\n[it]\ndatabase = {folder}/index.txt\ndefault_md = sha256\n")
    authority = ["openssl", "ca", "-config", folder / "ca.cnf", "-cert", certificate, "-keyfile",
                 certificate.with_suffix(".key")]
    for act in [["-revoke", certificate]] * revokes + [["-gencrl", *times, "-out", file]]:
        subprocess.run([*authority, *act], check=True, capture_output=True)
    return file


def unknown_name(machine):
    # A machine without a network need not wait for its name server.
    machine.variables["RES_OPTIONS"] = "timeout:1 attempts:1"
    machine.arguments += ["--connect", "tcp://no-such-server.invalid.:8080"]


def endpoint_faults():
    """Those of servers without TLS, and of a client's files."""
    return [
        Fault("a name that nobody has", "endpoint-name-unknown", "Correct the name", unknown_name,
              "no-such-server.invalid.:8080: "),
        Fault("nobody listens", "endpoint-unreachable", "Start the server", closed_port),
        Fault("nobody listens at the second address", "endpoint-unreachable", "Start the server",
              configured(connect=["127.0.0.1:1", "127.0.0.1:2"]), "127.0.0.1:2: Connection refused"),
        Fault("TLS is required and not used", "endpoint-requires-tls", "Use tls://",
              configured(connect="127.0.0.1:1", tls="required"), "10.0.0.1:8083"),
        Fault("no Ferrolink server", "endpoint-no-ferrolink", "Correct the port",
              answering(b"HTTP/1.1 400 No\r\n\r\n")),
        Fault("a server without TLS", "tls-handshake", "Use tcp://", answering(b"FRLK\2\1\0\0", "tls")),
        Fault("a silent server", "endpoint-no-ferrolink", "Correct the port", silent("tcp"), "no answer within 300 ms"),
        Fault("a silent server for TLS", "tls-handshake", "server's log", silent("tls"), "no answer within 300 ms"),
        Fault("a server of another version", "endpoint-other-version", "the same version",
              answering(b"FRLK\x63\x01\0\0")),
    ]


def text_as(*places, variable=None, **variables):
    """A file that is no PEM file, as the value of an option or a variable."""
    def arrange(machine):
        file = machine.place / "text.pem"
        file.write_text("no certificate\n")
        machine.arguments += [*places, str(file)] if places else []
        machine.variables.update(variables, **{variable: str(file)} if variable else {})
        return listener(machine, b"", "tls")
    return arrange


@contextlib.contextmanager
def configured_client(machine, certificate, key):
    """The client's own files in the configuration."""
    with listener(machine, b"", "tls"):
        settings = {"connect": machine.arguments[-1].removeprefix("tls://"), "certificate": str(certificate),
                    "key": str(key)}
        machine.arguments += ["--config", json.dumps({"endpoints": {"10.0.0.1:8083": settings}})]
        yield


def incomplete_variables(machine):
    """A certificate in a variable. The configuration has a certificate and a key."""
    certificate, key = machine.place / "own.pem", machine.place / "own.key"
    make_certificate(certificate, key, "DNS:client", 90)
    machine.variables["FERROLINK_TLS_CERTIFICATE"] = str(certificate)
    return configured_client(machine, certificate, key)


def configured_text(machine):
    file = machine.place / "text.pem"
    file.write_text("no certificate\n")
    return configured_client(machine, file, file)


def key_with_password(machine):
    """The password is offered on standard input, where a program must not ask for it."""
    certificate, key = machine.place / "own.pem", machine.place / "own.key"
    make_certificate(certificate, key, "DNS:client", 90, password="secret")
    machine.variables.update(FERROLINK_TLS_CERTIFICATE=str(certificate), FERROLINK_TLS_KEY=str(key))
    machine.stdin = "secret\n"
    return listener(machine, b"", "tls")


def client_file_faults():
    """Those of the client's own files; they are found before the server says a word."""
    return [
        Fault("a text as authorities", "tls-authorities-unusable", "Name a PEM file", text_as("--tls-ca"), "text.pem"),
        Fault("a text as own certificate", "tls-own-certificate", "FERROLINK_TLS_CERTIFICATE",
              text_as(variable="FERROLINK_TLS_CERTIFICATE", FERROLINK_TLS_KEY="/nowhere/own.key"), "text.pem"),
        Fault("a key without a certificate", "tls-own-certificate", "that belong together",
              text_as(variable="FERROLINK_TLS_KEY"), "FERROLINK_TLS_CERTIFICATE is not set"),
        Fault("a certificate in a variable, its key in the configuration", "tls-own-certificate",
              "Correct FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY: ", incomplete_variables,
              "FERROLINK_TLS_KEY is not set"),
        Fault("a text as certificate in the configuration", "tls-own-certificate",
              "Correct \"certificate\" and \"key\": ", configured_text, "text.pem"),
        Fault("a key with a password", "tls-own-certificate", "without a password", key_with_password,
              "it needs a password"),
    ]


def tls_faults(server):
    """Those of a TLS server; server(machine, name, days, demands) runs one with a certificate for that many days.
    It may demand a certificate of its clients."""
    def tls(name, days, scheme="tls", trusts=True, demands=False):
        @contextlib.contextmanager
        def arrange(machine):
            with server(machine, name, days, demands) as (port, certificate):
                machine.arguments += ["--connect", f"{scheme}://127.0.0.1:{port}"]
                machine.arguments += ["--tls-ca", str(certificate)] if trusts else []
                yield
        return arrange

    def listed(revokes, *times):
        @contextlib.contextmanager
        def arrange(machine):
            with server(machine, "IP:127.0.0.1", 90, False) as (port, certificate):
                machine.variables["FERROLINK_TLS_CRL_FILE"] = str(revocation_list(certificate, revokes, *times))
                machine.arguments += ["--connect", f"tls://127.0.0.1:{port}", "--tls-ca", str(certificate)]
                yield
        return arrange

    return [
        Fault("a revoked certificate", "tls-revoked", "Give the server a new certificate",
              listed(True, "-crldays", "9"), "certificate revoked"),
        Fault("a revocation list that has expired", "tls-untrusted", "Renew the revocation list",
              listed(False, "-crl_lastupdate", "20200101000000Z", "-crl_nextupdate", "20200102000000Z"),
              "CRL has expired"),
        Fault("an unknown authority", "tls-untrusted", "--tls-ca", tls("IP:127.0.0.1", 90, trusts=False)),
        Fault("another name", "tls-name", "by a name in its certificate", tls("DNS:other.example", 90)),
        Fault("an expired certificate", "tls-expired", "Renew", tls("IP:127.0.0.1", -1)),
        Fault("a certificate that ends soon", "tls-expires-soon", "Renew", tls("IP:127.0.0.1", 3)),
        Fault("a server that wants a certificate", "tls-client-refused", "FERROLINK_TLS_CERTIFICATE",
              tls("IP:127.0.0.1", 90, demands=True), "certificate required"),
        Fault("an older server that wants a certificate", "tls-client-refused", "FERROLINK_TLS_CERTIFICATE",
              older_tls, "handshake failure"),
        Fault("TLS where none is used", "endpoint-speaks-tls", "Use tls://", tls("IP:127.0.0.1", 90, scheme="tcp")),
    ]


@contextlib.contextmanager
def older_tls(machine):
    """A server of TLS 1.2 that demands a certificate. Unlike with 1.3, its refusal ends the handshake."""
    certificate, key = machine.place / "server.pem", machine.place / "server.key"
    make_certificate(certificate, key, "IP:127.0.0.1", 90)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.maximum_version = ssl.TLSVersion.TLSv1_2
    context.load_cert_chain(certificate, key)
    context.load_verify_locations(certificate)
    context.verify_mode = ssl.CERT_REQUIRED
    machine.arguments += ["--tls-ca", str(certificate)]

    def answer(peer):
        with context.wrap_socket(peer, server_side=True):
            pass

    with listener(machine, answer, "tls"):
        yield


def server_file(settings):
    """A configuration file of the server."""
    def arrange(machine):
        file = machine.place / "server.json"
        file.write_text(settings)
        machine.arguments += ["--server-config", str(file)]
    return arrange


def server_file_faults():
    """Those of the server's configuration file, in the server's own words."""
    return [
        Fault("a refused limit", "server-configuration-refused", "The page server.md",
              server_file('{"runtime": "jvm", "max-connections": 0}'),
              "server.json: /max-connections: expected an integer 1 to 65535, got 0"),
        Fault("a server without runtime", "server-configuration-refused", "The page server.md", server_file("{}"),
              "--runtime is missing: jvm or cpp."),
        Fault("a plug-in that is not there", "server-plug-in-unusable", "plug-in",
              server_file('{"runtime": "jvm", "plug-in": "lib/orders.jar"}'), "lib/orders.jar: No such file"),
        Fault("a server's key that is not there", "server-tls-unusable", "LoadCredential",
              server_file('{"runtime": "cpp", "tls-certificate": "no.pem", "tls-key": "no.key"}'),
              "Cannot use the certificate"),
    ]


def all_faults(server):
    return endpoint_faults() + client_file_faults() + tls_faults(server) + server_file_faults()
