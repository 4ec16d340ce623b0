// The incremental update a signing appends, each written file under the PDF judge (readers, qpdf,
// pdfsig, openssl, the module's verify): over cross-reference tables and streams, linearized files,
// encrypted files without document information (whose new objects must not take the numbers PoDoFo
// freed), a header after leading junk, and damaged files. The update's layout is read by qpdf and
// mutool.

#include "RealWorldCorpus.h"

#include <cstdio>
#include <iterator>
#include <map>
#include <regex>
#include <set>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

const json kStamp = {{"watermark", {{"strings", {{{"text", "Подписано: <sign_date: 21.11.2026>"}}}}, {"page", -1}}}};
const StampSeen kSeen = stampOf(kStamp["watermark"], "Подписано: 21.11.2026");

// The document information as poppler reads it.
std::string documentInformation(const fs::path& pdf) {
    return runCommand("pdfinfo " + q(pdf) + " 2>&1 | grep -E '^(Title|Author|Subject|Creator|Producer|CreationDate):'")
        .output;
}

// Poppler's text reads the stamp (the judge has pdf.js read it).
bool popplerReadsStamp(const fs::path& pdf) {
    return has(runCommand("pdftotext " + q(pdf) + " - 2>/dev/null").output, "Подписано:");
}

// A key of the trailer as mutool shows it ("/Prev 1234", "/Encrypt 13 0 R"); empty when absent.
std::string trailerKey(const fs::path& pdf, const std::string& key) {
    const std::string trailer = runCommand("mutool show " + q(pdf) + " trailer 2>/dev/null").output;
    std::smatch found;
    if (!std::regex_search(trailer, found, std::regex("/" + key + "\\b ?((\\d+ \\d+ R)|\\d+|\\[[^\\]]*\\]|/\\w+)")))
        return {};
    return found.str(0);
}

// "/Prev N" naming the last cross-reference section of `pdf`'s bytes.
std::string prevOf(const std::string& pdf) {
    return "/Prev " + std::to_string(std::stol(pdf.substr(pdf.rfind("startxref") + 9)));
}

// Object number -> offset of every object in use in the file's final cross-reference data, -1 for
// one in an object stream.
std::map<long, long> objectsInUse(const fs::path& pdf) {
    std::map<long, long> objects;
    const std::string xref = runCommand("qpdf --show-xref " + q(pdf) + " 2>/dev/null").output;
    const std::regex entry(R"((\d+)/\d+: (uncompressed; offset = (\d+)|compressed))");
    for (auto it = std::sregex_iterator(xref.begin(), xref.end(), entry); it != std::sregex_iterator(); ++it)
        objects[std::stol((*it)[1])] = (*it)[3].matched ? std::stol((*it)[3]) : -1;
    return objects;
}

long number(const std::string& text) {
    std::smatch digits;
    return std::regex_search(text, digits, std::regex(R"(\d+)")) ? std::stol(digits.str(0)) : -1;
}

// The object number of the last page, as qpdf lists the pages.
long lastPage(const fs::path& pdf) {
    const std::string pages = runCommand("qpdf --show-pages " + q(pdf) + " | grep '^page'").output;
    return number(pages.substr(pages.rfind(": ")));
}

class IncrementalUpdate : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("update");
        makePdf(dir / "sample.pdf", 2);
        produce("qpdf " + q(dir / "sample.pdf") + " " + q(dir / "clean.pdf"));
        // The same document with no /Info in its trailer: PoDoFo makes one while loading.
        produce("qpdf --qdf --object-streams=disable " + q(dir / "sample.pdf") + " " + q(dir / "qdf.pdf"));
        writeBytes(dir / "qdf-noinfo.pdf",
                   std::regex_replace(readFile(dir / "qdf.pdf"), std::regex(R"(/Info \d+ 0 R)"), ""));
        produce("fix-qdf " + q(dir / "qdf-noinfo.pdf") + " > " + q(dir / "fixed.pdf"));
        produce("qpdf " + q(dir / "fixed.pdf") + " " + q(dir / "noinfo.pdf"));
    }

    json sign(const fs::path& file, const fs::path& output, const json& extra = kStamp,
              const std::string& signer = kIvanov) {
        return client.requestJson(signRequest(file.string(), output.string(), "PAdES", signer, extra));
    }

    ModuleClient client;
    fs::path dir;
};

// Each kind of file signed with a stamp on its last page, then co-signed, both under the judge:
// the document information is the input's (PoDoFo's own changes to it, or the one it makes, are
// not written), the update holds only the last page, the catalog and new objects, new numbers lie
// past the input's /Size, /Prev names the previous last cross-reference section and the section is
// of the input's kind, and the trailer keeps /Encrypt and the first /ID.
TEST_F(IncrementalUpdate, EveryKindOfFileGetsAnUpdateReadersFollow) {
    const std::string rows[][3] = {
        {"classic", "sample.pdf", ""},
        {"xref-stream", "sample.pdf", "--object-streams=generate"},
        {"linearized", "sample.pdf", "--linearize"},
        {"linearized-xref-stream", "sample.pdf", "--linearize --object-streams=generate"},
        {"rc4-128", "noinfo.pdf", "--allow-weak-crypto --encrypt \"\" owner 128 --use-aes=n --"},
        {"aes128", "noinfo.pdf", "--encrypt \"\" owner 128 --use-aes=y --"},
        {"aes256-r5", "noinfo.pdf", "--allow-weak-crypto --encrypt \"\" owner 256 --force-R5 --"},
        {"aes256-r6", "noinfo.pdf", "--encrypt \"\" owner 256 --"},
        {"aes256-xref-stream", "noinfo.pdf", "--object-streams=generate --encrypt \"\" owner 256 --"},
        {"aes128-linearized", "noinfo.pdf", "--linearize --encrypt \"\" owner 128 --use-aes=y --"},
    };
    for (const auto& [name, source, options] : rows) {
        SCOPED_TRACE(name);
        const fs::path input = dir / (name + ".pdf"), output = dir / (name + "-signed.pdf");
        produce("qpdf " + options + " " + q(dir / source) + " " + q(input));
        ASSERT_EQ(sign(input, output), answerWith(output));
        judgeSignedPdf(input, output, 1, kSeen);
        const std::string before = readFile(input);
        EXPECT_EQ(documentInformation(output), documentInformation(input));

        EXPECT_EQ(trailerKey(output, "Prev"), prevOf(before));
        EXPECT_EQ(trailerKey(output, "Type"), trailerKey(input, "Type")) << "a cross-reference section of another kind";
        // The encryption dictionary, and the first identifier, from which the file's key is made.
        EXPECT_EQ(trailerKey(output, "Encrypt"), trailerKey(input, "Encrypt"));
        EXPECT_EQ(trailerKey(output, "ID").substr(0, 40), trailerKey(input, "ID").substr(0, 40));

        const long size = number(trailerKey(input, "Size"));
        const std::map<long, long> inUse = objectsInUse(input);
        const std::set<long> changeable = {number(trailerKey(input, "Root")), lastPage(input)};
        int rewritten = 0;
        for (const auto& [object, offset] : objectsInUse(output)) {
            if (offset < static_cast<long>(before.size()) || object >= size) continue;
            ++rewritten;
            EXPECT_TRUE(inUse.count(object) && changeable.count(object))
                << "object " << object << " is not one the update changes";
        }
        EXPECT_EQ(rewritten, 2);

        // A co-signature: the second update follows the first one back.
        const fs::path cosigned = dir / (name + "-cosigned.pdf");
        ASSERT_EQ(sign(output, cosigned, {{"cosign", true}}, kPetrova), answerWith(cosigned));
        judgeSignedPdf(output, cosigned, 2);
        EXPECT_EQ(trailerKey(cosigned, "Prev"), prevOf(readFile(output)));
        EXPECT_EQ(trailerKey(cosigned, "Encrypt"), trailerKey(input, "Encrypt"));
    }
}

// Stamped before a detached signing: the stamp's update keeps the encryption of a file without
// document information readable, and the signature covers the stamped file.
TEST_F(IncrementalUpdate, StampBeforeADetachedSignatureKeepsTheEncryption) {
    for (const std::string bits : {"128 --use-aes=y", "256"}) {
        SCOPED_TRACE(bits);
        const fs::path input = dir / "encrypted.pdf";
        fs::remove(input.string() + ".sgn");
        produce("qpdf --encrypt \"\" owner " + bits + " -- " + q(dir / "noinfo.pdf") + " " + q(input));
        fs::copy_file(input, dir / "unstamped.pdf", fs::copy_options::overwrite_existing);
        ASSERT_EQ(client.requestJson(signRequest(input.string(), input.string(), "Detached", kIvanov, kStamp)),
                  answerWith(input.string() + ".sgn"));
        judgeWrittenPdf(dir / "unstamped.pdf", input, kSeen);
        EXPECT_TRUE(opensslVerifies(input.string() + ".sgn", input));
        EXPECT_TRUE(popplerReadsStamp(input));
    }
}

// Files readers forgive, and PoDoFo loads: a trailer whose /Size is short of the objects, a
// startxref that points at the end-of-line before its section, junk before the "%PDF-" header
// (kept, its offsets counted from the header). What "sign" writes passes the judge, and the
// signature's ranges start at the file's first byte.
TEST_F(IncrementalUpdate, ForgivenFilesAreSignedAndVerified) {
    const std::string clean = readFile(dir / "clean.pdf");
    const size_t startxref = clean.rfind("startxref\n") + 10;
    const std::string rows[][2] = {
        {"short-size", std::regex_replace(clean, std::regex(R"(/Size \d+)"), "/Size 3")},
        {"early-startxref",
         clean.substr(0, startxref) + std::to_string(std::stol(clean.substr(startxref)) - 1) + "\n%%EOF\n"},
        {"junk", "JUNK\r\nbefore the header\n" + clean},
    };
    for (const auto& [name, bytes] : rows) {
        SCOPED_TRACE(name);
        const fs::path input = writeBytes(dir / (name + ".pdf"), bytes), output = dir / (name + "-signed.pdf");
        ASSERT_EQ(sign(input, output), answerWith(output));
        judgeSignedPdf(input, output, 1, kSeen);
        const auto signatures = pdfSignatures(readFile(output));
        ASSERT_EQ(signatures.size(), 1u);
        EXPECT_EQ(signatures[0].a, 0u);
        EXPECT_TRUE(popplerReadsStamp(output));
    }
}

// A hand-made one-page form whose text field's default appearance lies in its AcroForm.
std::string formPdf() {
    const std::string objects[] = {
        "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [4 0 R] /DA (/Helv 0 Tf 0 g) /DR << /Font << /Helv 5 0 R "
        ">> >> >> >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 300 300] /Annots [4 0 R] >>",
        "<< /Type /Annot /Subtype /Widget /FT /Tx /T (name) /V (Ivanov) /DA (/Helv 12 Tf 0 g) /Rect [50 200 250 230] "
        "/P 3 0 R >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
    };
    std::string pdf = "%PDF-1.7\n", table = "xref\n0 6\n0000000000 65535 f \n";
    for (size_t i = 0; i < std::size(objects); ++i) {
        char entry[32];
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", pdf.size());
        table += entry;
        pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const size_t xref = pdf.size();
    return pdf + table + "trailer\n<< /Size 6 /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
}

// The strings of the objects an update changes read as they did, in AES-256 files too (PoDoFo
// decrypts them with their padding on): the form's default appearance stays "/Helv 0 Tf 0 g".
TEST_F(IncrementalUpdate, ChangedObjectsKeepTheirStringsInAes256Files) {
    writeBytes(dir / "form.pdf", formPdf());
    const std::string rows[][3] = {{"r6", "", ""},
                                   {"r6-xref-stream", "--object-streams=generate", ""},
                                   {"r5", "--allow-weak-crypto", "--force-R5"}};
    for (const auto& [name, options, encryption] : rows) {
        SCOPED_TRACE(name);
        const fs::path input = dir / (name + ".pdf"), output = dir / (name + "-signed.pdf");
        produce("qpdf " + options + " --encrypt \"\" owner 256 " + encryption + " -- " + q(dir / "form.pdf") + " " +
                q(input));
        ASSERT_EQ(sign(input, output), answerWith(output));
        judgeSignedPdf(input, output, 1, kSeen);
        const std::string root = std::to_string(number(trailerKey(output, "Root")));
        EXPECT_TRUE(has(runCommand("qpdf --show-object=" + root + " " + q(output)).output, "/DA (/Helv 0 Tf 0 g)"));
    }
}

// A file whose cross-reference table sends the last page's content to another object: readers
// rebuild the table. An update that would refer to that content is refused, nothing written; one
// that leaves it alone passes the judge.
TEST_F(IncrementalUpdate, DamagedFileIsRefusedWhereTheUpdateWouldReferToTheDamage) {
    std::string bytes = readFile(dir / "clean.pdf");
    const std::string pages = runCommand("qpdf --show-pages " + q(dir / "clean.pdf")).output;
    const long lastContent = number(pages.substr(pages.rfind("content:")));
    const long firstContent = number(pages.substr(pages.find("content:")));
    // Classic entries are 20 bytes each, from object 0 on, after "xref\n0 N\n".
    const size_t table = bytes.find('\n', bytes.find('\n', bytes.rfind("\nxref") + 1) + 1) + 1;
    bytes.replace(table + 20 * static_cast<size_t>(lastContent), 10, bytes.substr(table + 20 * firstContent, 10));
    const fs::path damaged = writeBytes(dir / "damaged.pdf", bytes);
    ASSERT_NE(runCommand("pdftotext " + q(damaged) + " /dev/null 2>&1").output, "") << "the damage went unnoticed";

    const fs::path refused = dir / "refused.pdf";
    EXPECT_EQ(sign(damaged, refused), refusal("tr{The PDF is damaged: objects it refers to cannot be read}"));
    EXPECT_FALSE(fs::exists(refused));

    const fs::path output = dir / "damaged-signed.pdf";
    json firstPage = kStamp;
    firstPage["watermark"]["page"] = 0;
    ASSERT_EQ(sign(damaged, output, firstPage), answerWith(output));
    StampSeen firstSeen = kSeen;
    firstSeen.page = 0;
    judgeSignedPdf(damaged, output, 1, firstSeen);
    EXPECT_TRUE(popplerReadsStamp(output));
}

// A .pdf that is neither a PDF nor a signature message answers why it is not a PDF.
TEST_F(IncrementalUpdate, FileThatIsNeitherPdfNorSignatureAnswersTheLoadError) {
    const std::string rows[] = {"%PDF-1.7\n1 0 obj\n<< /Type /Catalog", "plain text, nothing more\n"};
    for (const std::string& content : rows) {
        const fs::path file = writeBytes(dir / "broken.pdf", content);
        const json answer = client.requestJson(verifyRequest(file));
        ASSERT_TRUE(answer["data"].is_null() && answer["error"].size() == 1) << answer.dump();
        EXPECT_EQ(answer["error"][0].get<std::string>().rfind("tr{Error on load file:} ePdfError_", 0), 0u)
            << answer.dump();
    }
}

}  // namespace
