#!/usr/bin/python3
"""filled-form-pdf.py KIND OUT: a one-page form filled the way form fillers do, with values set,
appearances stale or missing, and /NeedAppearances true. KIND "reportlab": text, combo box, list box, check box and radio fields made by reportlab, then
filled by editing their values. KIND "hand": fields written by hand with no appearances at all:
auto-sized, coloured, centred, right-aligned, turned, comb, multiline and inherited attributes;
KIND "hand-bare" the same with no default appearance in the form and its resources indirect;
KIND "reportlab-aes" the reportlab form encrypted with AES-256 and an empty user password.
Prints the filled values, one per line, then "rect X1 Y1 X2 Y2" for every widget."""
import re, subprocess, sys

kind, out = sys.argv[1], sys.argv[2]


def utf16(text):
    return b"<FEFF" + text.encode("utf-16-be").hex().upper().encode() + b">"


def pdf_of(objects):
    data, offsets = b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n", []
    for number, body in enumerate(objects, 1):
        offsets.append(len(data))
        data += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    xref = len(data)
    data += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    data += b"".join(b"%010d 00000 n \n" % o for o in offsets)
    return data + b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, xref)


def reportlab_form():
    from reportlab.pdfgen import canvas
    import io
    buffer = io.BytesIO()
    c = canvas.Canvas(buffer, pagesize=(400, 400), pageCompression=0)
    c.drawString(20, 380, "Form")
    form = c.acroForm
    form.textfield(name="name", value="AAAA1", x=20, y=320, width=200, height=24, fontSize=12)
    form.textfield(name="city", value="AAAA2", x=20, y=280, width=200, height=24, fontSize=0)
    form.choice(name="color", value="red", options=["red", "green", "blue"], x=20, y=240, width=120, height=24)
    form.listbox(name="size", value="small", options=["small", "medium", "large"], x=20, y=150, width=120, height=70)
    form.checkbox(name="agree", checked=False, x=250, y=320, size=20)
    form.checkbox(name="other", checked=False, x=280, y=320, size=20)
    form.radio(name="pick", value="one", selected=True, x=250, y=280, size=20)
    form.radio(name="pick", value="two", selected=False, x=280, y=280, size=20)
    c.showPage()
    c.save()
    data = buffer.getvalue()
    # Filled as a form filler does: new values, the old appearances left as they were.
    data = data.replace(b"/V (AAAA1)", b"/V (Filled Latin)").replace(b"/V (AAAA2)", b"/V " + utf16("Казань"))
    data = data.replace(b"/V (red)", b"/V (blue)").replace(b"/V (small)", b"/V (large)")
    data = b"endobj".join(o.replace(b"/V /Off", b"/V /Yes") if b"/T (agree)" in o else o
                          for o in data.split(b"endobj"))
    data = data.replace(b"/V /one", b"/V /two")
    data = data.replace(b"/Fields [", b"/NeedAppearances true /Fields [")
    values = ["Filled Latin", "Казань", "blue", "large"]
    return data, values


def hand_form(bare):
    resources = b"<< /Font << /Helv 9 0 R /ZaDb 10 0 R >> >>"
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [4 0 R 5 0 R 6 0 R 7 0 R 8 0 R 11 0 R 12 0 R 15 0 R 16 0 R]"
        b" /NeedAppearances true " + (b"/DR 22 0 R" if bare else b"/DA (/Helv 0 Tf 0 g) /DR " + resources) + b" >> >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 400] /Contents 19 0 R /Resources << >>"
        b" /Annots [4 0 R 5 0 R 6 0 R 7 0 R 8 0 R 13 0 R 14 0 R 15 0 R 16 0 R 17 0 R 18 0 R] >>",
        # auto size, inherited DA from the form, centred, background and border
        b"<< /FT /Tx /T (a) /V (Centred) /Q 1 /Type /Annot /Subtype /Widget /Rect [20 340 220 370] /P 3 0 R"
        b" /MK << /BG [0.9 0.9 1] /BC [0 0 1] >> /F 4 >>",
        # blue 10 pt, right-aligned, Cyrillic
        b"<< /FT /Tx /T (b) /V " + utf16("Петров") + b" /Q 2 /DA (0 0 1 rg /Helv 10 Tf) /Type /Annot /Subtype /Widget"
        b" /Rect [20 300 220 325] /P 3 0 R /F 4 >>",
        # comb of 6 cells
        b"<< /FT /Tx /T (c) /V (123456) /Ff 16777216 /MaxLen 6 /DA (/Helv 12 Tf 0 g) /Type /Annot /Subtype /Widget"
        b" /Rect [20 260 140 285] /P 3 0 R /MK << /BC [0 0 0] >> /F 4 >>",
        # multiline, turned by 90 degrees
        b"<< /FT /Tx /T (d) /V (Turned text) /Ff 4096 /DA (/Helv 9 Tf 0 g) /Type /Annot /Subtype /Widget"
        b" /Rect [300 200 330 380] /P 3 0 R /MK << /R 90 >> /F 4 >>",
        # combo box with export values
        b"<< /FT /Ch /T (e) /Ff 131072 /V (g) /Opt [[(r) (Red)] [(g) (Green)]] /DA (/Helv 11 Tf 0 g) /Type /Annot"
        b" /Subtype /Widget /Rect [20 220 140 245] /P 3 0 R /F 4 >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /ZapfDingbats >>",
        # a field whose kids inherit /FT, /DA and /V: two widgets of one text field
        b"<< /FT /Tx /T (f) /V (Twice) /DA (/Helv 10 Tf 0 g) /Kids [13 0 R 14 0 R] >>",
        # radio group: the value picks the second button, both show /Off
        b"<< /FT /Btn /T (g) /Ff 49152 /V /B /Kids [17 0 R 18 0 R] >>",
        b"<< /Parent 11 0 R /Type /Annot /Subtype /Widget /Rect [20 180 140 200] /P 3 0 R /F 4 >>",
        b"<< /Parent 11 0 R /Type /Annot /Subtype /Widget /Rect [160 180 280 200] /P 3 0 R /F 4 >>",
        # check box on, showing /Off
        b"<< /FT /Btn /T (h) /V /Yes /AS /Off /Type /Annot /Subtype /Widget /Rect [20 140 40 160] /P 3 0 R /F 4"
        b" /AP << /N << /Yes 20 0 R /Off 21 0 R >> >> >>",
        # list box, second option chosen
        b"<< /FT /Ch /T (i) /V (Two) /Opt [(One) (Two) (Three)] /DA (/Helv 10 Tf 0 g) /Type /Annot /Subtype /Widget"
        b" /Rect [160 100 280 160] /P 3 0 R /F 4 >>",
        b"<< /Parent 12 0 R /Type /Annot /Subtype /Widget /Rect [20 100 40 120] /P 3 0 R /F 4 /AS /Off"
        b" /AP << /N << /A 20 0 R /Off 21 0 R >> >> >>",
        b"<< /Parent 12 0 R /Type /Annot /Subtype /Widget /Rect [60 100 80 120] /P 3 0 R /F 4 /AS /Off"
        b" /AP << /N << /B 20 0 R /Off 21 0 R >> >> >>",
        b"<< /Length 0 >>\nstream\n\nendstream",
    ]
    on = b"0 0 0 rg 3 3 14 14 re f"
    objects.append(b"<< /Type /XObject /Subtype /Form /BBox [0 0 20 20] /Length %d >>\nstream\n" % len(on) + on +
                   b"\nendstream")
    off = b"0 0 0 RG 0.5 0.5 19 19 re S"
    objects.append(b"<< /Type /XObject /Subtype /Form /BBox [0 0 20 20] /Length %d >>\nstream\n" % len(off) + off +
                   b"\nendstream")
    objects.append(resources)
    values = ["Centred", "Петров", "Turned text", "Green", "Twice", "Two"]
    return pdf_of(objects), values


data, values = reportlab_form() if kind.startswith("reportlab") else hand_form(kind == "hand-bare")
open(out + ".raw", "wb").write(data)
# qpdf writes the cross-reference table anew after the edits.
aes = ["--encrypt", "", "owner", "256", "--"] if kind.endswith("-aes") else []
subprocess.run(["qpdf"] + aes + [out + ".raw", out], check=False)
print("\n".join(values))
for rect in re.findall(rb"/Rect \[\s*([-\d. ]+?)\s*\]", data):
    print("rect " + " ".join("%g" % float(v) for v in rect.split()))
