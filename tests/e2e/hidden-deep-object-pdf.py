#!/usr/bin/env python3
"""hidden-deep-object-pdf.py LEVELS MODE OUT: a one-page PDF whose page refers to an object nested
LEVELS dictionaries deep, where a scan of the file's bytes in order does not see it as an object:
MODE "flate" or "plain" puts it in an object stream (compressed or not), "stream" inside a content
stream's body, "comment" after a "%"; the cross-reference stream points at it all the same.
MODE "data" and "data-indirect" make a valid PDF instead: object 5 is a stream whose data holds
LEVELS "<<" and no ">>", its /Length direct or in object 8."""
import struct, sys, zlib
levels, mode, out = int(sys.argv[1]), sys.argv[2], sys.argv[3]
deep = b"<< /A " * levels + b"1" + b" >>" * levels
parts, offsets = [b"%PDF-1.5\n%\xe2\xe3\xcf\xd3\n"], {}
def size(): return sum(map(len, parts))
def add(number, text):
    offsets[number] = size()
    parts.append(b"%d 0 obj\n" % number + text + b"\nendobj\n")
add(1, b"<< /Type /Catalog /Pages 2 0 R >>")
add(2, b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>")
add(3, b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Resources << >> /Contents 7 0 R /Deep 5 0 R >>")
kinds = {4: (0, 0, 0)}
if mode.startswith("data"):
    data = b"<<" * levels
    add(5, b"<< /Length " + (b"8 0 R" if mode == "data-indirect" else b"%d" % len(data)) + b" >>\nstream\n" +
        data + b"\nendstream")
    add(8, b"%d" % len(data))
if mode != "stream":
    add(7, b"<< /Length 4 >>\nstream\nq Q\n\nendstream")
if mode in ("flate", "plain"):
    coded = zlib.compress(b"5 0 " + deep, 9) if mode == "flate" else b"5 0 " + deep
    add(4, b"<< /Type /ObjStm /N 1 /First 4 " + (b"/Filter /FlateDecode " if mode == "flate" else b"") +
        b"/Length %d >>\nstream\n" % len(coded) + coded + b"\nendstream")
    kinds = {5: (2, 4, 0)}
elif mode == "stream":
    hidden = b"q Q\n5 0 obj\n" + deep + b"\nendobj\n"
    head = b"7 0 obj\n<< /Length %d >>\nstream\n" % len(hidden)
    offsets[7], offsets[5] = size(), size() + len(head) + 4
    parts.append(head + hidden + b"\nendstream\nendobj\n")
elif mode == "comment":
    offsets[5] = size() + 1
    parts.append(b"%5 0 obj " + deep + b" endobj\n")
offsets[6] = size()
rows = b"".join(struct.pack(">BIH", *kinds.get(n, (1, offsets[n], 0) if n in offsets else (0, 0, 65535)))
               for n in range(9))
parts.append(b"6 0 obj\n<< /Type /XRef /Size 9 /W [1 4 2] /Root 1 0 R /Length %d >>\nstream\n" % len(rows) +
             rows + b"\nendstream\nendobj\nstartxref\n%d\n%%%%EOF\n" % offsets[6])
open(out, "wb").write(b"".join(parts))
