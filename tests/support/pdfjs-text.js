// Opens a PDF with pdf.js (Debian's libjs-pdf) under node, as a browser's viewer does, and prints
// the number of pages, then each page's text on a line "page N: TEXT" and each of its form fields'
// widgets on a line "widget N: LEFT TOP RIGHT BOTTOM TYPE VALUE", in pixels of the page shown at
// 36 dpi and the value as JSON. pdf.js's warnings go to
// standard error; a file it cannot open or a page it cannot read exits 1. Encrypted files are
// opened with the empty user password, as viewers do without asking.
'use strict';
const build = process.env.PDFJS_BUILD || '/usr/share/javascript/pdf/build';
const pdfjs = require(build + '/pdf.js');
pdfjs.GlobalWorkerOptions.workerSrc = build + '/pdf.worker.js';
// pdf.js reports warnings through console.log; they are complaints, not text.
const log = console.log;
console.log = (...args) => console.error(...args);

(async () => {
  const data = new Uint8Array(require('fs').readFileSync(process.argv[2]));
  const doc = await pdfjs.getDocument({data, verbosity: pdfjs.VerbosityLevel.WARNINGS, isEvalSupported: false,
    stopAtErrors: true}).promise;
  log(`pages ${doc.numPages}`);
  for (let n = 1; n <= doc.numPages; n++) {
    const page = await doc.getPage(n);
    const content = await page.getTextContent();
    log(`page ${n}: ${content.items.map(item => item.str).join(' ').replace(/\s+/g, ' ')}`);
    const viewport = page.getViewport({scale: 0.5});
    for (const annotation of await page.getAnnotations()) {
      if (annotation.subtype !== 'Widget') continue;
      const [x0, y0, x1, y1] = viewport.convertToViewportRectangle(annotation.rect);
      const box = [Math.min(x0, x1), Math.min(y0, y1), Math.max(x0, x1), Math.max(y0, y1)].map(Math.round);
      log(`widget ${n}: ${box.join(' ')} ${annotation.fieldType} ${JSON.stringify(annotation.fieldValue || '')}`);
    }
  }
  await doc.destroy();
})().catch(error => {
  console.error(`pdf.js: ${error && error.message}`);
  process.exit(1);
});
