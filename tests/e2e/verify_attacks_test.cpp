// "verify" against the published attacks on PDF signatures (incremental saving, shadow attacks,
// universal signature forgery, signature wrapping), each made by make-attack-corpus.py from a
// file the module signed once and from one it co-signed; honest files beside them stay clean.

#include "ModuleClient.h"
#include "RealWorldCorpus.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <map>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

using Signers = std::vector<std::pair<std::string, bool>>;
using Verdict = std::pair<Signers, json>;

const std::string kChanged = "tr{Документ изменён после подписания:} ";
const std::string kMisplaced = "tr{Словарь подписи не тот, на который указывают ссылки файла:} ";
const std::string kMalformed = "tr{Неверный /ByteRange подписи:} tr{подпись} №1";
const std::string kNotAtZero = "tr{Подписанные данные начинаются не с начала файла:} ";
const std::string kNotAtEnd = "tr{Подписанные данные не заканчиваются в конце редакции файла:} ";
const std::string kBadSignature = "Сообщение содержит неверную подпись.";
const std::string kNotValid = "tr{PAdESTypeSigner::sign CpSigner::addCoSign Signature is not valid}";
const json kStamp = json::parse(R"({"watermark": {"page": -2, "strings": [{"text": "Подписано"}]}})");

const Signers kI{{kIvanov, true}}, kIP{{kIvanov, true}, {kPetrova, true}};
const Signers kIFalse{{kIvanov, false}}, kIFalseP{{kIvanov, false}, {kPetrova, true}};

// What each attack answers on the file signed by Ivanov, and on the one Petrova co-signed (the
// dictionary edits go for Ivanov's signature, wrapping for the last one).
struct Attack {
    Verdict single, cosigned;
};
const std::map<std::string, Attack>& attacks() {
    const json changedI = {kChanged + kIvanov}, changedIP = {kChanged + kIvanov, kChanged + kPetrova};
    const auto unsignedUpdate = Attack{{kI, changedI}, {kIP, changedIP}};
    const auto forged = [](const std::string& text, const json& singleExtra) {
        json single = json::array({text + kIvanov}), cosigned = single;
        for (const auto& item : singleExtra) single.push_back(item), cosigned.push_back(item);
        cosigned.push_back(kChanged + kPetrova);
        return Attack{{kIFalse, single}, {kIFalseP, cosigned}};
    };
    const auto malformed = Attack{{{}, {kMalformed}}, {{{kPetrova, true}}, {kMalformed, kChanged + kPetrova}}};
    static const std::map<std::string, Attack> table = {
        {"incremental-page-content", unsignedUpdate},
        {"incremental-new-root", unsignedUpdate},
        {"incremental-object-without-xref", unsignedUpdate},
        {"incremental-bytes-after-eof", unsignedUpdate},
        {"shadow-root-swap", unsignedUpdate},
        {"shadow-overlay-annotation", unsignedUpdate},
        {"usf-contents-removed", forged(kMisplaced, json::array())},
        {"usf-contents-null", forged(kMisplaced, json::array())},
        {"usf-contents-replaced", forged(kMisplaced, json::array())},
        {"usf-byterange-missing",
         {{{}, {"tr{This PDF file does not contain a signature.}"}}, {{{kPetrova, true}}, {kChanged + kPetrova}}}},
        {"usf-byterange-null", malformed},
        {"usf-byterange-empty", malformed},
        {"usf-byterange-strings", malformed},
        {"usf-byterange-negative", malformed},
        {"usf-byterange-past-end", forged(kNotAtEnd, {kBadSignature})},
        {"usf-byterange-short-of-revision-end", forged(kNotAtEnd, {kBadSignature})},
        {"usf-byterange-first-not-at-zero", forged(kNotAtZero, {kBadSignature})},
        {"wrapping-second-range-moved",
         {{kIFalse, {kMisplaced + kIvanov}},
          {{{kIvanov, true}, {kPetrova, false}}, {kMisplaced + kPetrova, kChanged + kIvanov}}}},
    };
    return table;
}

class VerifyAttacks : public ::testing::Test {
protected:
    void SetUp() override { useCadesLibrary(cadesLibraryUnderTest()); }

    json sign(const fs::path& in, const fs::path& out, const std::string& serial, json extra = json::object()) {
        return client.requestJson(signRequest(in.string(), out.string(), "PAdES", serial, extra));
    }
    // Signs and expects success; the output.
    fs::path signed_(const fs::path& in, const std::string& name, const std::string& serial, json extra = {}) {
        if (extra.is_null()) extra = json::object();
        const json answer = sign(in, dir / name, serial, extra);
        EXPECT_TRUE(answer["error"].is_null()) << name << ": " << answer.dump();
        return dir / name;
    }
    Verdict verify(const fs::path& file) {
        const json answer = client.requestJson(verifyRequest(file));
        Signers list;
        if (answer.value("data", json()).is_array())
            for (const auto& s : answer["data"]) list.emplace_back(s.at("SerialNumber"), s.at("Verifyed"));
        return {list, answer.value("error", json())};
    }
    void corpus(const fs::path& signedPdf, const std::string& folder, int target) {
        produce("python3 " + q(VESK_E2E_DIR "/make-attack-corpus.py") + " attack " + q(signedPdf) + " " +
                q(dir / folder) + " " + std::to_string(target));
    }

    ModuleClient client;
    fs::path dir = makeTempDir("attacks");
};

}  // namespace

TEST_F(VerifyAttacks, EveryAttackIsRefusedOrSaidAndHonestFilesStayClean) {
    makePdf(dir / "plain.pdf", 2);
    // The shadow attacks' catalog and page, prepared before signing: honest until switched on.
    produce("python3 " + q(VESK_E2E_DIR "/make-attack-corpus.py") + " prepare " + q(dir / "plain.pdf") + " " +
            q(dir / "prepared.pdf"));
    const fs::path single = signed_(dir / "prepared.pdf", "single.pdf", kIvanov);
    const fs::path cosigned =
        signed_(single, "cosigned.pdf", kPetrova, {{"cosign", true}, {"watermark", kStamp["watermark"]}});
    corpus(single, "single", 1);
    corpus(cosigned, "cosigned", 1);
    for (const auto& [name, expected] : attacks()) {
        SCOPED_TRACE(name);
        EXPECT_EQ(verify(dir / "single" / (name + ".pdf")), expected.single);
        EXPECT_EQ(verify(dir / "cosigned" / (name + ".pdf")), expected.cosigned);
    }

    // Honest: signed, co-signed, co-signed again, with and without stamps; pdfsig's signature
    // (its dictionary puts /ByteRange after /Contents) then ours; an encrypted file signed by us.
    const auto stamped = [&](const fs::path& in, const std::string& name, const std::string& serial, bool cosign) {
        json extra = {{"watermark", kStamp["watermark"]}, {"cosign", cosign}};
        return signed_(in, name, serial, extra);
    };
    const fs::path s1 = stamped(dir / "plain.pdf", "s1.pdf", kIvanov, false);
    const fs::path s2 = stamped(s1, "s2.pdf", kPetrova, true);
    const fs::path s3 = stamped(s2, "s3.pdf", kIvanov, true);
    const fs::path p3 =
        signed_(signed_(cosigned, "p3.pdf", kIvanov, {{"cosign", true}}), "p4.pdf", kPetrova, {{"cosign", true}});
    pdfsigSign(dir / "plain.pdf", dir / "poppler.pdf", "Poppler");
    const fs::path poppler = signed_(dir / "poppler.pdf", "poppler-ours.pdf", kIvanov, {{"cosign", true}});
    produce("qpdf --encrypt \"\" owner 128 --use-aes=y -- " + q(dir / "plain.pdf") + " " + q(dir / "aes.pdf"));
    const fs::path encrypted = signed_(signed_(dir / "aes.pdf", "aes-1.pdf", kIvanov), "aes-2.pdf", kPetrova,
                                       {{"cosign", true}, {"watermark", kStamp["watermark"]}});
    // Cross-reference and object streams: the stamped page is first read from an object stream.
    produce("qpdf --object-streams=generate " + q(dir / "plain.pdf") + " " + q(dir / "objstm.pdf"));
    const fs::path streams =
        stamped(stamped(dir / "objstm.pdf", "objstm-1.pdf", kIvanov, false), "objstm-2.pdf", kPetrova, true);
    const Signers kIPIP{{kIvanov, true}, {kPetrova, true}, {kIvanov, true}, {kPetrova, true}};
    const std::map<fs::path, Signers> honest = {{single, kI},
                                                {cosigned, kIP},
                                                {s1, kI},
                                                {s2, kIP},
                                                {s3, {{kIvanov, true}, {kPetrova, true}, {kIvanov, true}}},
                                                {p3, kIPIP},
                                                {poppler, {{"0x5001", true}, {kIvanov, true}}},
                                                {encrypted, kIP}};
    for (const auto& [file, signers] : honest) EXPECT_EQ(verify(file), Verdict(signers, nullptr)) << file;
}

TEST_F(VerifyAttacks, CosigningRefusesAChangedFileUnlessForced) {
    makePdf(dir / "plain.pdf", 1);
    const fs::path single = signed_(dir / "plain.pdf", "single.pdf", kIvanov);
    corpus(single, "single", 1);
    const json cosign = {{"cosign", true}};
    EXPECT_EQ(sign(dir / "single" / "incremental-page-content.pdf", dir / "out.pdf", kPetrova, cosign),
              failed({kChanged + kIvanov, kNotValid}));
    EXPECT_EQ(sign(dir / "single" / "usf-contents-null.pdf", dir / "out.pdf", kPetrova, cosign),
              failed({kMisplaced + kIvanov, kNotValid}));
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));

    // Forced, the co-signature covers the change, and the first signer is told what it changed.
    const fs::path forced = signed_(dir / "single" / "incremental-page-content.pdf", "forced.pdf", kPetrova,
                                    {{"cosign", true}, {"cosign_force", true}});
    const std::string said = kChanged + kIvanov + " tr{изменения подписаны подписью} " + kPetrova + " (tr{страницы})";
    EXPECT_EQ(verify(forced), Verdict(kIP, {said}));
    // A stamped co-signature that also brings an overlay annotation is named as well.
    const fs::path overlay = signed_(dir / "single" / "shadow-overlay-annotation.pdf", "overlay.pdf", kPetrova,
                                     {{"cosign", true}, {"cosign_force", true}, {"watermark", kStamp["watermark"]}});
    EXPECT_EQ(verify(overlay), Verdict(kIP, {said}));
    // The command line host shows it under its table of signers, and fails.
    const auto shown = runCommand(q(VESK_CLI_PATH) + " verify " + q(forced) + " 2>/dev/null");
    EXPECT_EQ(shown.exitCode, 1);
    EXPECT_NE(shown.output.find("verified\n" + said + "\n"), std::string::npos) << shown.output;
}

TEST_F(VerifyAttacks, HoleMustBeExactlyTheSignaturesOwnContents) {
    makePdf(dir / "plain.pdf", 1);
    // Signed by openssl into a dictionary whose /ByteRange follows /Contents: honest when the
    // hole is the <…> of /Contents, forged when it also takes in the signing time after it.
    const std::map<std::string, Verdict> expected = {
        {"exact", {kI, nullptr}},
        {"wide",
         {kIFalse, {std::string("tr{Подпись не совпадает со значением /Contents своего словаря:} ") + kIvanov}}}};
    for (const auto& [mode, verdict] : expected) {
        const fs::path pdf = dir / (mode + ".pdf"), covered = dir / (mode + ".bin"), der = dir / (mode + ".der");
        const std::string script = "python3 " + q(VESK_E2E_DIR "/make-attack-corpus.py");
        produce(script + " hole " + q(dir / "plain.pdf") + " " + mode + " " + q(pdf) + " " + q(covered));
        opensslSign(covered, der, "user_gost256", true);
        produce(script + " fill " + q(pdf) + " " + q(der));
        EXPECT_EQ(verify(pdf), verdict) << mode;
    }
}
