#!/usr/bin/env python3
"""Takes CAdES evidence out of a DER CMS SignedData (and spoils it), for the tests' openssl checks.

    cades-evidence.py attr      SIG OID OUT [SIGNER]   the first value of the signer's attribute OID
    cades-evidence.py sigvalue  SIG OUT [SIGNER]       the signature value's octets
    cades-evidence.py cesc-data SIG OUT [SIGNER]       what a CAdES-C time-stamp covers: the signature
                                                       value, then the DER of the attributes
                                                       signature-time-stamp, complete-certificate-
                                                       references and complete-revocation-references
    cades-evidence.py ocsp      SIG PREFIX [SIGNER]    each BasicOCSPResponse of revocation-values,
                                                       wrapped as an OCSPResponse: PREFIX-0.der, ...;
                                                       prints their number
    cades-evidence.py flip      SIG OID OUT [SIGNER]   the signature with the last octet of the
                                                       attribute's value changed
    cades-evidence.py drop      SIG OID OUT [SIGNER]   the signature without that attribute
SIGNER is the signer's index (default 0). The file is walked as a plain DER tree; nothing here
knows the emulator.
"""
import sys

SEQUENCE, SET, OID, OCTETS, UNSIGNED = 0x30, 0x31, 0x06, 0x04, 0xA1


class Node:
    def __init__(self, tag, body):
        self.tag, self.body = tag, body  # body: bytes, or a list of Nodes when constructed

    def encode(self):
        content = b"".join(child.encode() for child in self.body) if isinstance(self.body, list) else self.body
        n = len(content)
        length = bytes([n]) if n < 0x80 else bytes([0x80 | ((n.bit_length() + 7) // 8)]) + n.to_bytes((n.bit_length() + 7) // 8, "big")
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
        nodes.append(Node(tag, parse(content) if tag & 0x20 else content))
        at = start + length
    return nodes


def oid_text(content):
    parts, value = [], 0
    for byte in content:
        value = (value << 7) | (byte & 0x7F)
        if not byte & 0x80:
            parts.append(value)
            value = 0
    first = min(parts[0] // 40, 2)
    return ".".join(str(p) for p in [first, parts[0] - 40 * first] + parts[1:])


def signer_infos(root):
    """SignerInfos in order: SEQUENCEs that begin with an INTEGER and hold the signature OCTET STRING."""
    found = []

    def walk(node):
        if isinstance(node.body, list):
            kids = node.body
            if node.tag == SEQUENCE and len(kids) >= 5 and kids[0].tag == 0x02 and any(k.tag == OCTETS for k in kids[3:]):
                found.append(node)
                return
            for kid in kids:
                walk(kid)

    walk(root)
    return found


def signature_octets(signer):
    return next(k for k in signer.body[3:] if k.tag == OCTETS)


def attribute(signer, oid):
    unsigned = next((k for k in signer.body if k.tag == UNSIGNED), None)
    for attr in unsigned.body if unsigned else []:
        if attr.body[0].tag == OID and oid_text(attr.body[0].body) == oid:
            return unsigned, attr
    sys.exit(f"no attribute {oid}")


def last_primitive(node):
    return node if not isinstance(node.body, list) else last_primitive(node.body[-1])


def main():
    command, sig = sys.argv[1], sys.argv[2]
    args = sys.argv[3:]
    root = parse(open(sig, "rb").read())[0]
    wanted = {"attr": 2, "sigvalue": 1, "cesc-data": 1, "ocsp": 1, "flip": 2, "drop": 2}.get(command)
    if wanted is None or len(args) not in (wanted, wanted + 1):
        sys.exit(__doc__)
    index = int(args.pop()) if len(args) > wanted else 0
    signer = signer_infos(root)[index]
    if command == "attr":
        open(args[1], "wb").write(attribute(signer, args[0])[1].body[1].body[0].encode())
    elif command == "sigvalue":
        open(args[0], "wb").write(signature_octets(signer).body)
    elif command == "cesc-data":
        data = signature_octets(signer).body
        for oid in ("1.2.840.113549.1.9.16.2.14", "1.2.840.113549.1.9.16.2.21", "1.2.840.113549.1.9.16.2.22"):
            data += attribute(signer, oid)[1].encode()
        open(args[0], "wb").write(data)
    elif command == "ocsp":
        values = attribute(signer, "1.2.840.113549.1.9.16.2.24")[1].body[1].body[0]
        responses = [f for f in values.body if f.tag == 0xA1][0].body[0].body
        basic_type = Node(OID, bytes.fromhex("2b0601050507300101"))  # id-pkix-ocsp-basic
        for i, basic in enumerate(responses):
            bytes_field = Node(0xA0, [Node(SEQUENCE, [basic_type, Node(OCTETS, basic.encode())])])
            wrapped = Node(SEQUENCE, [Node(0x0A, b"\x00"), bytes_field])
            open(f"{args[0]}-{i}.der", "wb").write(wrapped.encode())
        print(len(responses))
    elif command == "flip":
        target = last_primitive(attribute(signer, args[0])[1].body[1])
        target.body = target.body[:-1] + bytes([target.body[-1] ^ 0x01])
        open(args[1], "wb").write(root.encode())
    elif command == "drop":
        unsigned, attr = attribute(signer, args[0])
        unsigned.body.remove(attr)
        open(args[1], "wb").write(root.encode())
    else:
        sys.exit(__doc__)


main()
