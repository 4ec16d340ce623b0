#!/usr/bin/env python3
"""Local time-stamp (RFC 3161) and OCSP (RFC 6960) services over the test PKI.

    scripts/test-services.py PKI_DIR

PKI_DIR is a folder made by scripts/make-test-pki.sh. The server listens on 127.0.0.1 only, on a
free port, and prints "PORT <n>" on its first line of output once it accepts requests. It stops
when its standard input closes (so it never outlives the test that started it) or on SIGTERM.

Every answer is made by the openssl command with the PKI's GOST engine configuration:
    POST /tsa                 `openssl ts -reply` signed by pem/tsa_gost (critical timeStamping)
    POST /ocsp                `openssl ocsp -index ocsp/ca_gost.index -CA ... -rsigner pem/ocsp_gost`
Misbehaving variants, for the clients' error paths:
    POST /tsa/garbage         200 with a DER value that is no TimeStampResp
    POST /tsa/text            200 with text, not DER at all
    POST /tsa/reject          a TimeStampResp with status "rejection"
    POST /tsa/wrong-imprint   a genuine token over a different message imprint
    POST /tsa/silent          never answers in time (sleeps 30 s)
    POST /ocsp/garbage        200 with a DER value that is no OCSPResponse
    POST /ocsp/silent         never answers in time
"""
import http.server
import os
import socketserver
import subprocess
import sys
import tempfile
import threading
import time

PKI = os.path.abspath(sys.argv[1]) if len(sys.argv) == 2 else sys.exit(__doc__)
WORK = tempfile.mkdtemp(prefix="vesk-services-")
ENV = dict(os.environ, OPENSSL_CONF=os.path.join(PKI, "openssl.cnf"))
LOCK = threading.Lock()  # the TSA serial file is shared by the requests

TSA_CONF = os.path.join(WORK, "tsa.cnf")
with open(TSA_CONF, "w") as conf:
    conf.write(f""".include {PKI}/openssl.cnf
[tsa]
default_tsa = tsa_config
[tsa_config]
serial = {WORK}/tsa-serial
crypto_device = builtin
signer_digest = md_gost12_256
default_policy = 1.2.643.100.113.1.1
other_policies = 1.2.643.100.113.1.2
digests = md_gost12_256, md_gost12_512, md_gost94, sha256, sha1
accuracy = secs:1
ordering = no
tsa_name = no
ess_cert_id_chain = no
ess_cert_id_alg = sha256
""")
with open(os.path.join(WORK, "tsa-serial"), "w") as serial:
    serial.write("01\n")


def openssl(args, data):
    """Runs openssl with DATA as its input file; returns its output file, or None."""
    with LOCK:
        query = os.path.join(WORK, "in.der")
        answer = os.path.join(WORK, "out.der")
        with open(query, "wb") as f:
            f.write(data)
        if os.path.exists(answer):
            os.remove(answer)
        done = subprocess.run(["openssl"] + [a.replace("IN", query).replace("OUT", answer) for a in args],
                              env=ENV, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=20)
        if done.returncode != 0 or not os.path.exists(answer):
            sys.stderr.write(done.stderr.decode(errors="replace"))
            return None
        with open(answer, "rb") as f:
            return f.read()


def der_header(data, at):
    """(tag, content start, content end) of the DER element at offset AT."""
    tag = data[at]
    length = data[at + 1]
    start = at + 2
    if length & 0x80:
        count = length & 0x7F
        length = int.from_bytes(data[start:start + count], "big")
        start += count
    return tag, start, start + length


def with_other_imprint(query):
    """The TimeStampReq with the last byte of its hashedMessage changed."""
    _, body, _ = der_header(query, 0)            # TimeStampReq
    _, _, after_version = der_header(query, body)  # version
    _, imprint, _ = der_header(query, after_version)  # messageImprint
    _, _, after_algorithm = der_header(query, imprint)  # hashAlgorithm
    _, _, hash_end = der_header(query, after_algorithm)  # hashedMessage
    changed = bytearray(query)
    changed[hash_end - 1] ^= 0x5A
    return bytes(changed)


def time_stamp(query):
    return openssl(["ts", "-reply", "-config", TSA_CONF, "-section", "tsa_config", "-queryfile", "IN",
                    "-inkey", f"{PKI}/pem/tsa_gost.key", "-signer", f"{PKI}/pem/tsa_gost.crt",
                    "-chain", f"{PKI}/pem/tsa_gost.chain.pem", "-out", "OUT"], query)


def ocsp(request):
    return openssl(["ocsp", "-index", f"{PKI}/ocsp/ca_gost.index", "-CA", f"{PKI}/pem/ca_gost.crt",
                    "-rsigner", f"{PKI}/pem/ocsp_gost.crt", "-rkey", f"{PKI}/pem/ocsp_gost.key",
                    "-reqin", "IN", "-respout", "OUT"], request)


GARBAGE = bytes.fromhex("3003" "020105")  # SEQUENCE { INTEGER 5 }
REJECTION = bytes.fromhex("3005" "3003" "020102")  # TimeStampResp { status { rejection } }

ROUTES = {
    "/tsa": ("application/timestamp-reply", time_stamp),
    "/tsa/garbage": ("application/timestamp-reply", lambda q: GARBAGE),
    "/tsa/text": ("application/timestamp-reply", lambda q: b"this is no time-stamp response\n"),
    "/tsa/reject": ("application/timestamp-reply", lambda q: REJECTION),
    "/tsa/wrong-imprint": ("application/timestamp-reply", lambda q: time_stamp(with_other_imprint(q))),
    "/ocsp": ("application/ocsp-response", ocsp),
    "/ocsp/garbage": ("application/ocsp-response", lambda q: GARBAGE),
}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        if self.path.endswith("/silent"):
            time.sleep(30)
            return
        route = ROUTES.get(self.path)
        answer = route[1](body) if route else None
        if answer is None:
            self.send_error(404 if route is None else 500)
            return
        self.send_response(200)
        self.send_header("Content-Type", route[0])
        self.send_header("Content-Length", str(len(answer)))
        self.end_headers()
        self.wfile.write(answer)

    def log_message(self, format, *args):
        sys.stderr.write("test-services: " + (format % args) + "\n")


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True


def stop_when_stdin_closes():
    sys.stdin.buffer.read()
    os._exit(0)


server = Server(("127.0.0.1", 0), Handler)
threading.Thread(target=stop_when_stdin_closes, daemon=True).start()
print(f"PORT {server.server_address[1]}", flush=True)
server.serve_forever()
