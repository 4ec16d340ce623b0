#!/usr/bin/env bash
# The PDFs of independent producers for the real-world PDF tests and the fuzz seeds, written into
# FOLDER (default: the current folder): ghostscript, qpdf transforms, mutool create, clean and run,
# reportlab, cairo, img2pdf, groff and LibreOffice; and forms: reportlab's AcroForm fields, and a
# hand-made form whose widgets have no appearances and ask for them with /NeedAppearances true.
# Page files for mutool create hold content of our own choosing; the mutool scripts change page 1.
# Usage: make-pdf-corpus.sh [FOLDER [no-libreoffice]]; LibreOffice takes seconds to start.
set -ex
mkdir -p "${1:-.}" && cd "${1:-.}"
libreoffice=${2:-libreoffice}
python=/usr/bin/python3  # the system's, which has reportlab and cairo
# LibreOffice starts slowly: its document is made meanwhile, in a profile of its own. Its text
# begins a third of the way down, below the stamp the tests draw at the top.
printf '%s\n' '<?xml version="1.0" encoding="UTF-8"?>' \
  '<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"' \
  ' xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0" office:version="1.3"' \
  ' office:mimetype="application/vnd.oasis.opendocument.text"><office:body><office:text>' \
  "$(printf '<text:p/>%.0s' {1..16})" '<text:h text:outline-level="1">Договор LibreOffice</text:h><text:p>Текст первой страницы.</text:p>' \
  '</office:text></office:body></office:document>' > lo.fodt
[ "$libreoffice" = no-libreoffice ] || HOME="$PWD/lo-home" soffice --headless \
  --convert-to 'pdf:writer_pdf_Export:{"SelectPdfVersion":{"type":"long","value":"2"},"UseTaggedPDF":{"type":"boolean","value":"true"}}' \
  lo.fodt > lo.log 2>&1 &
lo=$!
line() { printf '%s\n' "$@"; }
page1() { line 'var doc = new PDFDocument(scriptArgs[0]);' "doc.findPage(0).$1;" \
  "doc.save(scriptArgs[1], 'compress');"; }
# Text running up the page: ghostscript turns the page with /Rotate 90.
line '%!PS' '<< /PageSize [595 842] >> setpagedevice' '/Helvetica findfont 18 scalefont setfont' \
  '560 60 moveto 90 rotate (Landscape text on a portrait sheet, auto-rotated) show' showpage > gs-rotated.ps
ps2pdf -dAutoRotatePages=/PageByPage gs-rotated.ps gs-rotated.pdf
for size in '595 842' '612 792' '595 420'; do
  set -- $size
  line "<< /PageSize [$1 $2] >> setpagedevice" '/Helvetica findfont 18 scalefont setfont' \
    "40 $(($2 - 60)) moveto (Ghostscript page $1 x $2) show" showpage
done > gs-sizes.ps
ps2pdf -dAutoRotatePages=/None gs-sizes.ps gs-sizes.pdf
qpdf --object-streams=generate gs-sizes.pdf qpdf-objstm.pdf
qpdf --linearize gs-sizes.pdf qpdf-linear.pdf
qpdf --rotate=+90:1 --rotate=180:2 --rotate=270:3 gs-sizes.pdf qpdf-rotate.pdf
line '%%MediaBox 0 0 595 842' '%%Font F1 Helvetica' 'BT /F1 18 Tf 40 780 Td (Page that ends inside a cm) Tj ET' \
  '0.5 0 0 0.5 300 -200 cm' > cm.txt
line '%%MediaBox 0 0 595 842' '%%Font F1 Helvetica' \
  'BT /F1 18 Tf 40 780 Td (OCR-like page: render mode 3 left on) Tj ET' '3 Tr' \
  'BT /F1 12 Tf 40 400 Td (invisible text layer) Tj ET' > tr.txt
mutool create -o mutool-state.pdf cm.txt tr.txt
mutool clean -gggg -z mutool-state.pdf mutool-clean.pdf
line '%%MediaBox 100 200 712 992' '%%Font F1 Helvetica' 'BT /F1 18 Tf 150 930 Td (MediaBox from 100,200) Tj ET' \
  > offset.txt
line '%%MediaBox -300 -400 295 442' '%%Rotate 180' '%%Font F1 Helvetica' \
  'BT /F1 18 Tf -250 -350 Td (Offset box, turned 180) Tj ET' > turned.txt
line '%%MediaBox 0 0 420 595' '%%Rotate 270' '%%Font F1 Helvetica' 'BT /F1 18 Tf 40 540 Td (Turned 270) Tj ET' \
  > turned270.txt
mutool create -o mutool-boxes.pdf offset.txt turned.txt turned270.txt
page1 "put('CropBox', [150, 250, 662, 942])" > crop.js
mutool run crop.js mutool-boxes.pdf mutool-cropped.pdf
line '%%MediaBox 0 0 400 300' '%%Rotate 90' '0 0 1 rg 20 20 60 100 re f' > bare.txt
mutool create -o mutool-page.pdf bare.txt
page1 "delete('Resources')" > strip.js
mutool run strip.js mutool-page.pdf mutool-bare.pdf
# A page tree two levels deep: pages 1 and 2 under an inner node that they inherit /Rotate 90 from.
line "var doc = new PDFDocument(scriptArgs[0]);" \
  "var root = doc.getTrailer().get('Root').get('Pages'), kids = root.get('Kids');" \
  "var node = doc.addObject({Type: doc.newName('Pages'), Parent: root, Kids: [kids.get(0), kids.get(1)], Count: 2," \
  "  Rotate: 90});" \
  "kids.get(0).put('Parent', node); kids.get(1).put('Parent', node);" \
  "root.put('Kids', [node, kids.get(2)]);" "doc.save(scriptArgs[1]);" > nest.js
mutool run nest.js gs-sizes.pdf mutool-nested.pdf

$python - <<'PY'
from reportlab.lib.pagesizes import A4
from reportlab.pdfgen import canvas
import cairo

c = canvas.Canvas('reportlab.pdf', pagesize=A4)
for n in (1, 2):
    c.setFont('Helvetica', 16)
    c.drawString(72, 780, 'Reportlab page %d' % n)
    c.rect(72, 600, 200, 100, fill=1)
    c.showPage()
c.save()

# Every kind of field with a value, each widget with the appearances reportlab draws.
c = canvas.Canvas('reportlab-form.pdf', pagesize=A4)
c.drawString(72, 780, 'Reportlab form')
form = c.acroForm
form.textfield(name='name', value='Ivanov Ivan', x=72, y=700, width=200, height=22)
form.checkbox(name='agree', checked=True, x=72, y=660, buttonStyle='check')
form.radio(name='pay', value='card', selected=True, x=72, y=620)
form.radio(name='pay', value='cash', selected=False, x=110, y=620)
form.choice(name='city', value='Kazan', options=['Moscow', 'Kazan'], x=72, y=580, width=150, height=22)
form.listbox(name='langs', value='ru', options=['en', 'ru'], x=72, y=500, width=150, height=50)
c.save()

surface = cairo.PDFSurface('cairo.pdf', 595, 842)
ctx = cairo.Context(surface)
for n in (1, 2):
    ctx.set_source_rgb(0.1, 0.3, 0.8)
    ctx.rectangle(60, 100, 300, 120)
    ctx.fill()
    ctx.set_source_rgb(0, 0, 0)
    ctx.select_font_face('DejaVu Sans')
    ctx.set_font_size(18)
    ctx.move_to(60, 60)
    ctx.show_text('Cairo page %d' % n)
    ctx.show_page()
surface.finish()

# A form as simple producers write it: widgets without appearances, /NeedAppearances true, the
# fonts of /DA in the form's /DR (Helvetica for the text and choice, ZapfDingbats for the check box).
objects = [
    '<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [4 0 R 5 0 R 6 0 R] /NeedAppearances true'
    ' /DA (/Helv 0 Tf 0 g) /DR << /Font << /Helv 7 0 R /ZaDb 8 0 R >> >> >> >>',
    '<< /Type /Pages /Kids [3 0 R] /Count 1 >>',
    '<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 9 0 R /Annots [4 0 R 5 0 R 6 0 R]'
    ' /Resources << /Font << /F1 7 0 R >> >> >>',
    '<< /Type /Annot /Subtype /Widget /FT /Tx /T (name) /V (Petrova Maria) /DA (/Helv 14 Tf 0 0 1 rg) /Q 0'
    ' /Rect [72 700 320 724] /F 4 /P 3 0 R /MK << /BC [0 0 0] >> >>',
    '<< /Type /Annot /Subtype /Widget /FT /Ch /Ff 131072 /T (city) /V (Kazan) /Opt [(Moscow) (Kazan)]'
    ' /DA (/Helv 12 Tf 0 g) /Rect [72 650 250 674] /F 4 /P 3 0 R /MK << /BC [0 0 0] >> >>',
    '<< /Type /Annot /Subtype /Widget /FT /Btn /T (agree) /V /Yes /DA (/ZaDb 14 Tf 0 g) /Rect [72 600 92 620]'
    ' /F 4 /P 3 0 R /MK << /BC [0 0 0] /CA (4) >> >>',
    '<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>',
    '<< /Type /Font /Subtype /Type1 /BaseFont /ZapfDingbats >>',
]
content = b'BT /F1 16 Tf 72 780 Td (Form asking for appearances) Tj ET'
out, offsets = bytearray(b'%PDF-1.7\n%\xe2\xe3\xcf\xd3\n'), []
for n, body in enumerate(objects + [None], 1):
    offsets.append(len(out))
    out += b'%d 0 obj\n' % n
    out += (b'<< /Length %d >>\nstream\n%s\nendstream' % (len(content), content)) if body is None else body.encode()
    out += b'\nendobj\n'
xref = len(out)
out += b'xref\n0 %d\n0000000000 65535 f \n' % (len(offsets) + 1)
out += b''.join(b'%010d 00000 n \n' % o for o in offsets)
out += b'trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n' % (len(offsets) + 1, xref)
open('need-appearances.pdf', 'wb').write(out)
PY
gs -q -sDEVICE=png16m -r40 -dFirstPage=1 -dLastPage=1 -o photo.png gs-sizes.pdf
img2pdf --pagesize A4 -o img2pdf.pdf photo.png
line '.TL' 'Groff document' '.PP' 'A paragraph set by groff for its PDF output device.' | groff -ms -Tpdf > groff.pdf
wait $lo || { cat lo.log; exit 1; }
[ "$libreoffice" = no-libreoffice ] || mv lo.pdf libreoffice-pdfa.pdf
