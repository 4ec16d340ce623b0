#!/usr/bin/env python3
"""Judges the CAdES-X Long Type 1 evidence of a DER CMS SignedData, and spoils it, for the tests.

    cades-evidence.py check     SIG WORK [SIGNER]      judge the signer's evidence (below); prints one
                                                       line per check, exits 1 at the first failure
    cades-evidence.py swap-ocsp SIG HOW OUT [SIGNER]   the signer's kept OCSP answer replaced by one
                                                       that says "revoked" (HOW=revoked) or by the same
                                                       answer with its signature spoilt (HOW=broken);
                                                       its reference follows, and the CAdES-C
                                                       time-stamp is renewed at the trusted TSA
    cades-evidence.py restamp   SIG KEY CERT OUT [SIGNER]  the signature time-stamp replaced by a token
                                                       of the TSA KEY/CERT (PEM), the CAdES-C one
                                                       renewed at the trusted TSA
    cades-evidence.py signed    SIG [SIGNER]           the SHA-256 of the signer's signed part: its
                                                       SignerInfo without the unsigned attributes
SIGNER is the signer's index (default 0). The PKI is $CADES_EMULATOR_HOME (its openssl.cnf, its
pem/trusted.pem, the trusted TSA pem/tsa_gost and OCSP responder pem/ocsp_gost).

What `check` holds the evidence to (ETSI TS 101 733 / RFC 5126, ETSI EN 319 122-1), read from the
standards' text and nothing else:
  - signature-time-stamp (.14): openssl ts accepts the token over the signature value's octets,
    and its message imprint is the hash, computed here, of those octets;
  - CAdES-C time-stamp (.25), TS 101 733 6.3.5 / EN 319 122-1 A.1.5.1: the imprint is the hash of
    the concatenated values "without the type or length encoding for that value" of the signature
    value (the OCTET STRING's content) and of the attributes signature-time-stamp,
    complete-certificate-references and complete-revocation-references (each Attribute SEQUENCE's
    content: attrType then attrValues); openssl ts accepts the token over those octets;
  - complete-certificate-references (.21) pair by position with certificate-values (.23): the same
    number, each OtherCertID's hash that of its certificate, its issuerSerial the certificate's;
    the first certificate issued the signer's, each next one the one before (chain order);
  - complete-revocation-references (.22), TS 101 733 6.2.2: one CrlOcspRef for the signer's
    certificate, then one per certificate reference in the same order; each OcspResponsesID names
    a kept BasicOCSPResponse (revocation-values .24) by responder ID, producedAt and hash; the
    root's is empty; every kept answer is named once;
  - every kept OCSP answer: openssl ocsp verifies it against the trusted roots and finds the
    certificate it is referenced for "good"; it was produced at or after the signature time-stamp.
"""
import base64
import datetime
import hashlib
import os
import subprocess
import sys
import tempfile
import urllib.request

SEQUENCE, SET, OID, OCTETS, INTEGER, BITS, UNSIGNED, GENTIME = 0x30, 0x31, 0x06, 0x04, 0x02, 0x03, 0xA1, 0x18
AA = "1.2.840.113549.1.9.16.2."
SIGNATURE_TS, CERT_REFS, REV_REFS, CERT_VALUES, REV_VALUES, CADES_C_TS = (AA + n for n in ("14", "21", "22", "23", "24", "25"))
DIGESTS = {"1.2.643.7.1.1.2.2": "md_gost12_256", "1.2.643.7.1.1.2.3": "md_gost12_512", "1.2.643.2.2.9": "md_gost94",
           "1.3.14.3.2.26": "sha1", "2.16.840.1.101.3.4.2.1": "sha256", "2.16.840.1.101.3.4.2.3": "sha512"}
PKI = os.environ.get("CADES_EMULATOR_HOME", "")
ENV = dict(os.environ, OPENSSL_CONF=os.path.join(PKI, "openssl.cnf"))


class Node:
    def __init__(self, tag, body):
        self.tag, self.body = tag, body  # body: bytes, or a list of Nodes when constructed

    def content(self):
        return b"".join(child.encode() for child in self.body) if isinstance(self.body, list) else self.body

    def encode(self):
        content = self.content()
        n = len(content)
        size = (n.bit_length() + 7) // 8
        length = bytes([n]) if n < 0x80 else bytes([0x80 | size]) + n.to_bytes(size, "big")
        return bytes([self.tag]) + length + content


def parse(data):
    nodes, at = [], 0
    while at < len(data):
        tag, length = data[at], data[at + 1]
        start = at + 2
        if length & 0x80:
            count = length & 0x7F
            length = int.from_bytes(data[start:start + count], "big")
            start += count
        content = data[start:start + length]
        if start + length > len(data):
            raise ValueError("truncated DER")
        nodes.append(Node(tag, parse(content) if tag & 0x20 else content))
        at = start + length
    return nodes


def parse_header(data):
    """The first DER value of `data` (a PDF's signature hole is padded after it)."""
    length, start = data[1], 2
    if length & 0x80:
        count = length & 0x7F
        length, start = int.from_bytes(data[2:2 + count], "big"), 2 + count
    return data[:start + length]


def one(data):
    nodes = parse(data)
    if len(nodes) != 1:
        raise ValueError("not one DER value")
    return nodes[0]


def oid_text(content):
    parts, value = [], 0
    for byte in content:
        value = (value << 7) | (byte & 0x7F)
        if not byte & 0x80:
            parts.append(value)
            value = 0
    first = min(parts[0] // 40, 2)
    return ".".join(str(p) for p in [first, parts[0] - 40 * first] + parts[1:])


class Failed(Exception):
    pass


def expect(condition, what):
    if not condition:
        raise Failed(what)
    print("ok", what)


def openssl(*args, data=None):
    done = subprocess.run(["openssl", *args], input=data, capture_output=True, env=ENV)
    return done.returncode, done.stdout, done.stderr.decode(errors="replace")


def digest(algorithm_oid, data):
    name = DIGESTS.get(algorithm_oid)
    if name is None:
        raise Failed(f"unknown digest {algorithm_oid}")
    status, out, err = openssl("dgst", "-" + name, "-binary", data=data)
    if status != 0:
        raise Failed(f"openssl dgst -{name}: {err}")
    return out


def gentime(node):
    text = node.body.decode().rstrip("Z").split(".")[0]
    return datetime.datetime.strptime(text, "%Y%m%d%H%M%S")


# --- where things are in a SignedData --------------------------------------------------------

def signed_data(root):
    return root.body[1].body[0]  # ContentInfo { contentType, [0] SignedData }


def signer_infos(root):
    return signed_data(root).body[-1].body


def certificates(root):
    field = next((k for k in signed_data(root).body if k.tag == 0xA0), None)
    return field.body if field else []


def signature_octets(signer):
    return next(k for k in signer.body[3:] if k.tag == OCTETS)


def unsigned_attributes(signer):
    return next((k for k in signer.body if k.tag == UNSIGNED), None)


def attribute(signer, oid):
    unsigned = unsigned_attributes(signer)
    for attr in unsigned.body if unsigned else []:
        if oid_text(attr.body[0].body) == oid:
            return attr
    raise Failed(f"no attribute {oid}")


def value(signer, oid):
    values = attribute(signer, oid).body[1].body
    if len(values) != 1:
        raise Failed(f"attribute {oid} holds {len(values)} values")
    return values[0]


def tbs(certificate):
    fields = certificate.body[0].body
    return fields[1:] if fields[0].tag == 0xA0 else fields  # without the [0] version


def issuer_serial(certificate):
    fields = tbs(certificate)
    return fields[2].encode(), fields[0].encode()  # issuer Name, serialNumber


def subject(certificate):
    return tbs(certificate)[4].encode()


def signer_certificate(root, signer):
    sid = signer.body[1]
    for certificate in certificates(root):
        if sid.tag == SEQUENCE and issuer_serial(certificate) == (sid.body[0].encode(), sid.body[1].encode()):
            return certificate
    raise Failed("the signer's certificate is not in the message")


def tst_info(token):
    content = token.body[1].body[0].body[2]  # SignedData.encapContentInfo
    return one(content.body[1].body[0].body)


def pem(certificate):
    text = base64.encodebytes(certificate.encode()).decode()
    return "-----BEGIN CERTIFICATE-----\n" + text + "-----END CERTIFICATE-----\n"


def wrap_basic(basic):
    """An OCSPResponse { successful, responseBytes { id-pkix-ocsp-basic, BasicOCSPResponse } }."""
    basic_type = Node(OID, bytes.fromhex("2b0601050507300101"))
    bytes_field = Node(0xA0, [Node(SEQUENCE, [basic_type, Node(OCTETS, basic.encode())])])
    return Node(SEQUENCE, [Node(0x0A, b"\x00"), bytes_field]).encode()


def response_data(basic):
    fields = basic.body[0].body
    return fields[1:] if fields[0].tag == 0xA0 else fields  # responderID, producedAt, responses...


def cades_c_data(signer):
    data = signature_octets(signer).body
    for oid in (SIGNATURE_TS, CERT_REFS, REV_REFS):
        data += attribute(signer, oid).content()
    return data


# --- the judgement ---------------------------------------------------------------------------

def token_verifies(token, data, work, what):
    token_file, data_file = os.path.join(work, "token.der"), os.path.join(work, "data.bin")
    open(token_file, "wb").write(token.encode())
    open(data_file, "wb").write(data)
    imprint = tst_info(token).body[2]
    algorithm = oid_text(imprint.body[0].body[0].body)
    expect(imprint.body[1].body == digest(algorithm, data), what + ": message imprint recomputed")
    status, _, err = openssl("ts", "-verify", "-token_in", "-in", token_file, "-data", data_file,
                             "-CAfile", os.path.join(PKI, "pem/trusted.pem"))
    expect(status == 0, what + ": openssl ts -verify" + ("" if status == 0 else ": " + err))


def check(root, signer, work):
    signer_cert = signer_certificate(root, signer)
    value_octets = signature_octets(signer).body
    signature_token = value(signer, SIGNATURE_TS)
    token_verifies(signature_token, value_octets, work, "signature time-stamp")
    stamped_at = gentime(tst_info(signature_token).body[4])

    refs = value(signer, CERT_REFS).body
    values = value(signer, CERT_VALUES).body
    expect(len(refs) == len(values) and values, f"{len(refs)} certificate references for {len(values)} values")
    chain = [signer_cert] + values
    for i, (ref, certificate) in enumerate(zip(refs, values)):
        other_hash = ref.body[0]
        if other_hash.tag == OCTETS:
            algorithm, hashed = "1.3.14.3.2.26", other_hash.body
        else:
            algorithm, hashed = oid_text(other_hash.body[0].body[0].body), other_hash.body[1].body
        expect(hashed == digest(algorithm, certificate.encode()), f"certificate reference {i}: hash of value {i}")
        if len(ref.body) > 1:
            names, serial = ref.body[1].body[0], ref.body[1].body[1]
            issuer, own_serial = issuer_serial(certificate)
            expect(names.body[0].tag == 0xA4 and names.body[0].body[0].encode() == issuer and serial.encode() == own_serial,
                   f"certificate reference {i}: issuer and serial of value {i}")
        expect(issuer_serial(chain[i])[0] == subject(certificate), f"value {i} issued the certificate before it")

    kept = []
    revocation_values = value(signer, REV_VALUES)
    for field in revocation_values.body:
        if field.tag == 0xA1:
            kept += field.body[0].body
    used = [False] * len(kept)
    rev_refs = value(signer, REV_REFS).body
    expect(len(rev_refs) == 1 + len(refs), f"{len(rev_refs)} revocation references: the signer's, then one per certificate reference")
    for i, ref in enumerate(rev_refs):
        certificate = chain[i]
        self_signed = issuer_serial(certificate)[0] == subject(certificate)
        ocsp_ids = next((k for k in ref.body if k.tag == 0xA1), None)
        if self_signed:
            expect(not ref.body, f"revocation reference {i}: the root's, empty")
            continue
        if ocsp_ids is None:
            expect(i > 0, f"revocation reference {i}: none for a CA without a responder")
            continue
        for responses_id in ocsp_ids.body[0].body[0].body:
            identifier, rep_hash = responses_id.body[0], responses_id.body[1]
            algorithm, hashed = ("1.3.14.3.2.26", rep_hash.body) if rep_hash.tag == OCTETS else \
                (oid_text(rep_hash.body[0].body[0].body), rep_hash.body[1].body)
            found = [n for n, basic in enumerate(kept) if digest(algorithm, basic.encode()) == hashed]
            expect(len(found) == 1, f"revocation reference {i}: names one kept OCSP answer by hash")
            basic = kept[found[0]]
            used[found[0]] = True
            responder, produced = response_data(basic)[0], response_data(basic)[1]
            expect(identifier.body[0].encode() == responder.encode() and identifier.body[1].encode() == produced.encode(),
                   f"revocation reference {i}: responder ID and producedAt of that answer")
            ocsp_verifies(basic, certificate, chain[i + 1], work, i)
            expect(gentime(produced) >= stamped_at, f"OCSP answer {found[0]}: produced at or after the signature time-stamp")
    expect(all(used), f"every one of the {len(kept)} kept OCSP answers referenced")

    token_verifies(value(signer, CADES_C_TS), cades_c_data(signer), work, "CAdES-C time-stamp")


def ocsp_verifies(basic, certificate, issuer, work, i):
    files = {name: os.path.join(work, name) for name in ("answer.der", "cert.pem", "issuer.pem")}
    open(files["answer.der"], "wb").write(wrap_basic(basic))
    open(files["cert.pem"], "w").write(pem(certificate))
    open(files["issuer.pem"], "w").write(pem(issuer))
    status, out, err = openssl("ocsp", "-no_nonce", "-respin", files["answer.der"], "-issuer", files["issuer.pem"],
                               "-cert", files["cert.pem"], "-CAfile", os.path.join(PKI, "pem/trusted.pem"))
    report = out.decode(errors="replace") + err
    expect(status == 0 and "Response verify OK" in report, f"OCSP answer for certificate {i}: openssl ocsp verifies it: {report.strip()}")
    expect(f"{files['cert.pem']}: good" in report, f"OCSP answer for certificate {i}: good")


# --- spoiling --------------------------------------------------------------------------------

def time_stamp(data, key, cert, chain, work):
    """A token over `data` from the TSA KEY/CERT, made by openssl ts."""
    config = os.path.join(work, "tsa.cnf")
    open(os.path.join(work, "tsa-serial"), "w").write("01\n")
    open(config, "w").write(f".include {ENV['OPENSSL_CONF']}\n[tsa]\ndefault_tsa = tsa_config\n[tsa_config]\n"
                            f"serial = {work}/tsa-serial\ndefault_policy = 1.2.643.100.113.1.1\n"
                            "digests = md_gost12_256, md_gost12_512, sha256\nsigner_digest = md_gost12_256\n"
                            "ess_cert_id_alg = sha256\n")
    query, reply = os.path.join(work, "query.tsq"), os.path.join(work, "token.der")
    open(os.path.join(work, "stamped.bin"), "wb").write(data)
    for args in (("ts", "-query", "-data", os.path.join(work, "stamped.bin"), "-md_gost12_256", "-cert", "-out", query),
                 ("ts", "-reply", "-config", config, "-queryfile", query, "-inkey", key, "-signer", cert,
                  "-chain", chain, "-token_out", "-out", reply)):
        status, _, err = openssl(*args)
        if status != 0:
            sys.exit(f"openssl {args[0]} {args[1]}: {err}")
    return one(open(reply, "rb").read())


def set_value(signer, oid, node):
    attribute(signer, oid).body[1].body[0] = node


def restamp_cades_c(signer, work):
    trusted = (os.path.join(PKI, "pem/tsa_gost.key"), os.path.join(PKI, "pem/tsa_gost.crt"),
               os.path.join(PKI, "pem/tsa_gost.chain.pem"))
    set_value(signer, CADES_C_TS, time_stamp(cades_c_data(signer), *trusted, work))


def answer_saying_revoked(certificate, issuer, work):
    """A genuine answer of the test responder, about `certificate`, from an index that says revoked."""
    number = int.from_bytes(tbs(certificate)[0].body, "big")
    serial = number.to_bytes((number.bit_length() + 7) // 8, "big").hex().upper()
    index = os.path.join(work, "index.txt")
    open(index, "w").write(f"R\t440101000000Z\t240601000000Z,keyCompromise\t{serial}\tunknown\t/CN=x\n")
    open(os.path.join(work, "index.txt.attr"), "w").write("unique_subject = no\n")
    for name, node in (("cert.pem", certificate), ("issuer.pem", issuer)):
        open(os.path.join(work, name), "w").write(pem(node))
    request, answer = os.path.join(work, "request.der"), os.path.join(work, "answer.der")
    for args in (("ocsp", "-no_nonce", "-issuer", os.path.join(work, "issuer.pem"), "-cert",
                  os.path.join(work, "cert.pem"), "-reqout", request),
                 ("ocsp", "-index", index, "-CA", os.path.join(work, "issuer.pem"), "-rsigner",
                  os.path.join(PKI, "pem/ocsp_gost.crt"), "-rkey", os.path.join(PKI, "pem/ocsp_gost.key"),
                  "-reqin", request, "-respout", answer)):
        status, _, err = openssl(*args)
        if status != 0:
            sys.exit(f"openssl ocsp: {err}")
    return one(one(open(answer, "rb").read()).body[1].body[0].body[1].body)


def swap_ocsp(root, signer, how, work):
    signer_cert = signer_certificate(root, signer)
    values = value(signer, CERT_VALUES).body
    ocsp_vals = next(k for k in value(signer, REV_VALUES).body if k.tag == 0xA1).body[0]
    old = ocsp_vals.body[0]
    if how == "revoked":
        new = answer_saying_revoked(signer_cert, values[0], work)
    else:  # the signature's last octet changed
        new = one(old.encode())
        new.body[2].body = new.body[2].body[:-1] + bytes([new.body[2].body[-1] ^ 0x01])
    ocsp_vals.body[0] = new
    responses_id = next(k for k in value(signer, REV_REFS).body[0].body if k.tag == 0xA1).body[0].body[0].body[0]
    rep_hash = responses_id.body[1]
    rep_hash.body[1].body = digest(oid_text(rep_hash.body[0].body[0].body), new.encode())
    responses_id.body[0].body = response_data(new)[:2]
    restamp_cades_c(signer, work)


def main():
    command = sys.argv[1] if len(sys.argv) > 1 else ""
    wanted = {"check": 2, "swap-ocsp": 3, "restamp": 4, "signed": 1}.get(command)
    args = sys.argv[2:]
    if wanted is None or len(args) not in (wanted, wanted + 1):
        sys.exit(__doc__)
    index = int(args.pop()) if len(args) > wanted else 0
    data = open(args[0], "rb").read()
    root = one(parse_header(data))
    signer = signer_infos(root)[index]
    if command == "signed":
        print(hashlib.sha256(b"".join(k.encode() for k in signer.body if k.tag != UNSIGNED)).hexdigest())
        return
    if command == "check":
        try:
            check(root, signer, args[1])
        except (Failed, ValueError, IndexError, AttributeError, StopIteration) as failure:
            sys.exit(f"FAIL: {failure!r}")
        return
    with tempfile.TemporaryDirectory() as work:
        if command == "swap-ocsp":
            swap_ocsp(root, signer, args[1], work)
            out = args[2]
        else:
            set_value(signer, SIGNATURE_TS, time_stamp(signature_octets(signer).body, args[1], args[2], args[2], work))
            restamp_cades_c(signer, work)
            out = args[3]
    open(out, "wb").write(root.encode())


main()
