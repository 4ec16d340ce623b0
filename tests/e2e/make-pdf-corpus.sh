#!/usr/bin/env bash
# The PDFs of independent producers for the real-world PDF tests, written into the current folder
# beside gs-sizes.pdf (which the tests make first): ghostscript, qpdf transforms, mutool create,
# clean and run. Page files for mutool create hold content of our own choosing; the mutool scripts
# change page 1.
set -ex
line() { printf '%s\n' "$@"; }
page1() { line 'var doc = new PDFDocument(scriptArgs[0]);' "doc.findPage(0).$1;" \
  "doc.save(scriptArgs[1], 'compress');"; }
# Text running up the page: ghostscript turns the page with /Rotate 90.
line '%!PS' '<< /PageSize [595 842] >> setpagedevice' '/Helvetica findfont 18 scalefont setfont' \
  '560 60 moveto 90 rotate (Landscape text on a portrait sheet, auto-rotated) show' showpage > gs-rotated.ps
ps2pdf -dAutoRotatePages=/PageByPage gs-rotated.ps gs-rotated.pdf
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
